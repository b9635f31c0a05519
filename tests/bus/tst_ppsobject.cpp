// The device bus as a client sees it: om::PpsObject and pps_open against a
// broker in this process, with fake servers and publishers.

#include "childprocess.h"
#include "fakeserver.h"
#include "statepublisher.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>
#include <QtTest>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using om::PpsObject;
using om::PpsOpenMode;

namespace {
const QString Control = QStringLiteral("/pps/services/test/control");
const QString State = QStringLiteral("/pps/services/test/state");

QVariantMap decoded(const QByteArray &text)
{
    return PpsObject::decode(text);
}

// Descriptors open in this process, the broker's and the fake server's among them.
int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System).size();
}
} // namespace

class tst_PpsObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void openErrors_data();
    void openErrors();
    void noBroker();
    void readWithoutWaitGivesEagain();
    void readWithWaitBlocks();
    void serverSeesEachClientApart();
    void answersReachOnlyTheirClient();
    void broadcastReachesEveryClient();
    void secondServerIsBusy();
    void restartedServerAdoptsClients();
    void messageSizeLimit();
    void plainObjectMergesAndDelivers();
    void plainObjectContentComesWithOpen();
    void deadClientLeavesOthersUntouched();
    void endedClientsAreReleased();
    void permissions();
    void mirrorFileFollowsTheObject();
    void listsObjects();
    void rawDescriptor();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_server;
};

void tst_PpsObject::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_server.reset(new omtest::FakeServer(Control));
    QVERIFY(m_server->start());
}

void tst_PpsObject::cleanup()
{
    m_server.reset();
    m_broker.reset();
}

void tst_PpsObject::openErrors_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("error");

    QTest::newRow("no such object") << QStringLiteral("/pps/services/none") << 3 << ENOENT;
    QTest::newRow("no such plain object to read") << State << 2 << ENOENT;
    QTest::newRow("outside /pps") << QStringLiteral("/etc/passwd") << 3 << EINVAL;
    QTest::newRow("dot component") << QStringLiteral("/pps/../x") << 3 << EINVAL;
    QTest::newRow("unknown option") << Control + QStringLiteral("?fast") << 3 << EINVAL;
    QTest::newRow("bad mode option") << State + QStringLiteral("?create,mode=999") << 1 << EINVAL;
    QTest::newRow("neither read nor write") << Control << 0 << EINVAL;
    QTest::newRow("second server") << Control + QStringLiteral("?server") << 3 << EBUSY;
}

void tst_PpsObject::openErrors()
{
    QFETCH(QString, path);
    QFETCH(int, mode);
    QFETCH(int, error);
    PpsObject pps(path);
    QVERIFY(!pps.open(PpsOpenMode::Types(mode)));
    QCOMPARE(pps.error(), error);
    QVERIFY(!pps.isOpen());
    QVERIFY(!pps.errorString().isEmpty());
}

void tst_PpsObject::noBroker()
{
    m_server.reset();
    m_broker->stop();
    PpsObject pps(Control);
    QVERIFY(!pps.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(pps.error(), ECONNREFUSED);
}

void tst_PpsObject::readWithoutWaitGivesEagain()
{
    PpsObject pps(Control);
    QVERIFY(pps.open(PpsOpenMode::PublishSubscribe));
    bool ok = true;
    QVERIFY(pps.read(&ok).isEmpty());
    QVERIFY(!ok);
    QCOMPARE(pps.error(), 11);
}

void tst_PpsObject::readWithWaitBlocks()
{
    // The answer comes later than the read starts; the read waits for it.
    m_server->answerOk(QStringLiteral("ping"), QVariantMap{{QStringLiteral("pong"), true}}, 100);
    for (const QString &path : {Control + QStringLiteral("?wait"), Control}) {
        PpsObject pps(path);
        pps.setBlocking(path == Control);
        QVERIFY(pps.open(PpsOpenMode::PublishSubscribe));
        QVERIFY(pps.isBlocking());
        QCOMPARE(pps.writeMessage(QStringLiteral("ping"), QStringLiteral("1"), QVariantMap()), 0);
        bool ok = false;
        const QVariantMap answer = decoded(pps.read(&ok)).value(QStringLiteral("@control")).toMap();
        QVERIFY(ok);
        QCOMPARE(answer.value(QStringLiteral("res")).toString(), QStringLiteral("ping"));
        QCOMPARE(answer.value(QStringLiteral("dat")).toMap().value(QStringLiteral("pong")), QVariant(true));
    }
}

void tst_PpsObject::serverSeesEachClientApart()
{
    PpsObject a(Control);
    PpsObject b(Control);
    QVERIFY(a.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(b.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(m_server->waitForClients(2));
    QVERIFY(a.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("from a")}})));
    QVERIFY(b.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("from b")}})));
    QVERIFY(m_server->waitForReceived(2));
    // Each client has a connection of its own: their messages come in any
    // order, each with its sender's id.
    QMap<QString, int> sender;
    for (const omtest::Received &r : m_server->received())
        sender.insert(r.msg(), r.clientId);
    QCOMPARE(sender.keys(), (QStringList{QStringLiteral("from a"), QStringLiteral("from b")}));
    QVERIFY(sender.value(QStringLiteral("from a")) != sender.value(QStringLiteral("from b")));
    QList<int> clients = m_server->clients();
    std::sort(clients.begin(), clients.end());
    QList<int> senders = sender.values();
    std::sort(senders.begin(), senders.end());
    QCOMPARE(clients, senders);

    // No client reads what another wrote.
    bool ok = true;
    b.read(&ok);
    QVERIFY(!ok);
    QCOMPARE(b.error(), EAGAIN);
}

void tst_PpsObject::answersReachOnlyTheirClient()
{
    PpsObject a(Control);
    PpsObject b(Control);
    QVERIFY(a.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(b.open(PpsOpenMode::PublishSubscribe));
    QSignalSpy aReady(&a, &PpsObject::readyRead);
    QVERIFY(a.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("hello")}})));
    QVERIFY(m_server->waitForReceived(1));
    const int clientA = m_server->last().clientId;

    QVERIFY(m_server->reply(clientA, {{QStringLiteral("res"), QStringLiteral("hello")}}));
    QVERIFY(m_server->replyAs(clientA, QStringLiteral("@control_extra"), {{QStringLiteral("n"), 1}}));
    QVERIFY(aReady.wait());
    bool ok = false;
    QCOMPARE(decoded(a.read(&ok)),
             (QVariantMap{{QStringLiteral("@control"), QVariantMap{{QStringLiteral("res"), QStringLiteral("hello")}}}}));
    QVERIFY(ok);
    // The second answer, under another object name, goes to the same client.
    QByteArray second;
    const auto readSecond = [&]() {
        if (second.isEmpty())
            second = a.read(&ok);
        return !second.isEmpty();
    };
    QTRY_VERIFY(readSecond());
    QCOMPARE(decoded(second),
             (QVariantMap{{QStringLiteral("@control_extra"), QVariantMap{{QStringLiteral("n"), 1}}}}));
    b.read(&ok);
    QVERIFY(!ok);
    QCOMPARE(b.error(), EAGAIN);
}

void tst_PpsObject::broadcastReachesEveryClient()
{
    PpsObject a(Control);
    PpsObject listener(Control);
    QVERIFY(a.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(listener.open(PpsOpenMode::Subscribe));
    QVERIFY(m_server->waitForClients(2));
    QSignalSpy aReady(&a, &PpsObject::readyRead);
    QSignalSpy listenerReady(&listener, &PpsObject::readyRead);
    QVERIFY(m_server->broadcast({{QStringLiteral("msg"), QStringLiteral("news")}}));
    QVERIFY(aReady.count() > 0 || aReady.wait());
    QVERIFY(listenerReady.count() > 0 || listenerReady.wait());
    for (PpsObject *pps : {&a, &listener}) {
        bool ok = false;
        QCOMPARE(decoded(pps->read(&ok)).value(QStringLiteral("@control")).toMap().value(QStringLiteral("msg")).toString(),
                 QStringLiteral("news"));
        QVERIFY(ok);
    }
    // A subscriber cannot write.
    QVERIFY(!listener.write("msg::x\n"));
    QCOMPARE(listener.error(), EBADF);
}

void tst_PpsObject::secondServerIsBusy()
{
    omtest::FakeServer second(Control);
    QVERIFY(!second.start());
    QCOMPARE(second.error(), EBUSY);
}

void tst_PpsObject::restartedServerAdoptsClients()
{
    PpsObject client(Control);
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    {
        // A client that has ended is not handed to the next server.
        PpsObject gone(Control);
        QVERIFY(gone.open(PpsOpenMode::PublishSubscribe));
        QVERIFY(m_server->waitForClients(2));
    }
    QVERIFY(m_server->waitForClosed(1));
    m_server->stop();

    // The object is gone for new opens; the open client stays, its writes dropped.
    PpsObject late(Control);
    QVERIFY(!late.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(late.error(), ENOENT);
    QVERIFY(client.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("lost")}})));

    omtest::FakeServer restarted(Control);
    restarted.answerOk(QStringLiteral("again"));
    QVERIFY(restarted.start());
    QVERIFY(restarted.waitForClients(1));
    QVERIFY(client.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("again")},
                                            {QStringLiteral("id"), QStringLiteral("9")}})));
    QVERIFY(restarted.waitForReceived(1));
    QCOMPARE(restarted.received().size(), 1);
    QCOMPARE(restarted.last().msg(), QStringLiteral("again"));
    QCOMPARE(restarted.last().clientId, restarted.clients().value(0));

    QSignalSpy ready(&client, &PpsObject::readyRead);
    QVERIFY(ready.wait());
    bool ok = false;
    QCOMPARE(decoded(client.read(&ok)).value(QStringLiteral("@control")).toMap().value(QStringLiteral("id")).toString(),
             QStringLiteral("9"));
    client.close();
    QVERIFY(restarted.waitForClosed(1));
    QCOMPARE(restarted.openedCount(), 1);
}

void tst_PpsObject::messageSizeLimit()
{
    PpsObject client(Control);
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    const QByteArray header = "big::";
    const QByteArray exact = header + QByteArray(PpsObject::MaxMessageSize - header.size() - 1, 'x') + '\n';
    QCOMPARE(exact.size(), 64 * 1024);
    QVERIFY(client.write(exact));
    QVERIFY(m_server->waitForReceived(1));
    QCOMPARE(m_server->last().attributes.value(QStringLiteral("big")).toString().size(), exact.size() - 6);

    QVERIFY(!client.write(exact + 'y'));
    QCOMPARE(client.error(), EMSGSIZE);
    QCOMPARE(client.writeMessage(QStringLiteral("m"), QStringLiteral("1"),
                                 {{QStringLiteral("big"), QString(70000, QLatin1Char('z'))}}),
             -1);
    QCOMPARE(client.error(), EMSGSIZE);
}

void tst_PpsObject::plainObjectMergesAndDelivers()
{
    omdevice::StatePublisher publisher(State);
    QVERIFY(publisher.open(nullptr));
    QVERIFY(publisher.publish({{QStringLiteral("a"), 1}, {QStringLiteral("b"), QStringLiteral("x")}}));

    PpsObject first(State);
    PpsObject second(State + QStringLiteral("?wait"));
    QVERIFY(first.open(PpsOpenMode::Subscribe));
    QVERIFY(second.open(PpsOpenMode::Subscribe));
    bool ok = false;
    const QVariantMap initial{{QStringLiteral("@state"), QVariantMap{{QStringLiteral("a"), 1},
                                                                      {QStringLiteral("b"), QStringLiteral("x")}}}};
    QCOMPARE(decoded(first.read(&ok)), initial);
    QCOMPARE(decoded(second.read(&ok)), initial);

    QVERIFY(publisher.publish({{QStringLiteral("c"), true}}, {QStringLiteral("a")}));
    const QVariantMap merged{{QStringLiteral("@state"), QVariantMap{{QStringLiteral("b"), QStringLiteral("x")},
                                                                     {QStringLiteral("c"), true}}}};
    QCOMPARE(decoded(second.read(&ok)), merged); // blocks until the update arrives
    QSignalSpy ready(&first, &PpsObject::readyRead);
    QVERIFY(ready.wait());
    QCOMPARE(decoded(first.read(&ok)), merged);
}

void tst_PpsObject::plainObjectContentComesWithOpen()
{
    omdevice::StatePublisher publisher(State);
    QVERIFY(publisher.open(nullptr));
    QVERIFY(publisher.publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}}));
    PpsObject pps(State);
    QSignalSpy ready(&pps, &PpsObject::readyRead);
    QVERIFY(pps.open(PpsOpenMode::Subscribe));
    // Whoever does not read at once hears of the content from readyRead.
    QVERIFY(ready.wait());
    bool ok = false;
    QVERIFY(pps.read(&ok).startsWith("@state\n"));
    QVERIFY(ok);
}

void tst_PpsObject::deadClientLeavesOthersUntouched()
{
    m_server->answerOk(QStringLiteral("work"), QVariantMap{{QStringLiteral("done"), true}});
    const int status = omtest::runInChild([]() {
        PpsObject pps(Control);
        if (!pps.open(PpsOpenMode::PublishSubscribe))
            return 1;
        pps.writeMessage(QStringLiteral("work"), QStringLiteral("dying"), QVariantMap());
        ::_exit(0); // gone before the answer arrives
    });
    QCOMPARE(status, 0);
    QVERIFY(m_server->waitForClosed(1));

    PpsObject survivor(Control + QStringLiteral("?wait"));
    QVERIFY(survivor.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(survivor.writeMessage(QStringLiteral("work"), QStringLiteral("alive"), QVariantMap()), 0);
    bool ok = false;
    const QVariantMap answer = decoded(survivor.read(&ok)).value(QStringLiteral("@control")).toMap();
    QVERIFY(ok);
    QCOMPARE(answer.value(QStringLiteral("id")).toString(), QStringLiteral("alive"));
}

void tst_PpsObject::endedClientsAreReleased()
{
    // The broker keeps a copy of each client's connection while the server
    // has it; those of clients that ended must not pile up.
    const int before = openDescriptors();
    for (int i = 0; i < 600; ++i) {
        PpsObject client(Control);
        QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    }
    QVERIFY(m_server->waitForClosed(600));
    QVERIFY2(openDescriptors() < before + 600, qPrintable(QString::number(openDescriptors() - before)));
    // And once the bus is idle, none is left.
    QTRY_VERIFY_WITH_TIMEOUT(openDescriptors() <= before, 5000);
}

void tst_PpsObject::permissions()
{
    const QString restricted = QStringLiteral("/pps/services/test/restricted");
    omtest::FakeServer server(restricted, 0640);
    QVERIFY(server.start());
    QCOMPARE(QFileInfo(PpsObject::mirrorFilePath(restricted)).permissions(),
             QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser | QFile::ReadGroup);
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to meet the object as another user");

    const int status = omtest::runInChild(
        [&]() {
            PpsObject pps(restricted);
            if (pps.open(PpsOpenMode::PublishSubscribe))
                return 0;
            return pps.error();
        },
        true);
    QCOMPARE(status, EACCES);
    // The open object stays open to others: the owner still gets in.
    PpsObject owner(restricted);
    QVERIFY(owner.open(PpsOpenMode::PublishSubscribe));
}

void tst_PpsObject::mirrorFileFollowsTheObject()
{
    const QString mirror = PpsObject::mirrorFilePath(Control + QStringLiteral("?wait"));
    QCOMPARE(mirror, m_broker->root() + QStringLiteral("/services/test/control"));
    QVERIFY(QFileInfo::exists(mirror));
    m_server->stop();
    QTRY_VERIFY(!QFileInfo::exists(mirror));
}

void tst_PpsObject::listsObjects()
{
    omdevice::StatePublisher publisher(State);
    QVERIFY(publisher.open(nullptr));
    int error = -1;
    QCOMPARE(PpsObject::list(QStringLiteral("/pps"), &error), QStringList{QStringLiteral("services/")});
    QCOMPARE(error, 0);
    QCOMPARE(PpsObject::list(QStringLiteral("/pps/services/test/"), &error),
             (QStringList{QStringLiteral("control"), QStringLiteral("state")}));
    QVERIFY(PpsObject::list(QStringLiteral("/pps/nothing"), &error).isEmpty());
    QCOMPARE(error, ENOENT);
    PpsObject::list(Control, &error);
    QCOMPARE(error, ENOTDIR);
}

void tst_PpsObject::rawDescriptor()
{
    omdevice::StatePublisher publisher(State);
    QVERIFY(publisher.open(nullptr));
    QVERIFY(publisher.publish({{QStringLiteral("x"), QStringLiteral("1")}}));

    const int stateFd = pps_open(State.toUtf8().constData(), O_RDONLY);
    QVERIFY(stateFd >= 0);
    char buf[128 * 1024];
    ssize_t n = ::read(stateFd, buf, sizeof buf);
    QCOMPARE(QByteArray(buf, int(n)), QByteArray("@state\nx::1\n"));
    ::close(stateFd);

    QCOMPARE(pps_open("/pps/services/none", O_RDWR), -1);
    QCOMPARE(errno, ENOENT);

    const int fd = pps_open(Control.toUtf8().constData(), O_RDWR);
    QVERIFY(fd >= 0);
    const QByteArray request = "msg::raw\nid::r1\n";
    QCOMPARE(::write(fd, request.constData(), size_t(request.size())), ssize_t(request.size()));
    QVERIFY(m_server->waitForReceived(1));
    QCOMPARE(m_server->last().id(), QStringLiteral("r1"));
    QVERIFY(m_server->reply(m_server->last().clientId, {{QStringLiteral("res"), QStringLiteral("raw")}}));
    n = ::read(fd, buf, sizeof buf);
    QCOMPARE(QByteArray(buf, int(n)), QByteArray("@control\nres::raw\n"));

    // The kernel holds a raw descriptor to the same message limit.
    const QByteArray tooBig(64 * 1024 + 1, 'x');
    QCOMPARE(::write(fd, tooBig.constData(), size_t(tooBig.size())), ssize_t(-1));
    QCOMPARE(errno, EMSGSIZE);
    ::close(fd);
}

QTEST_GUILESS_MAIN(tst_PpsObject)
#include "tst_ppsobject.moc"
