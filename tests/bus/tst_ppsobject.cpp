// The device bus as a client sees it: om::PpsObject and pps_open against a
// broker in this process, with fake servers and publishers.

#include "childprocess.h"
#include "common/statepublisher.h"
#include "fakeserver.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <thread>
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

// Opens @p pps and writes it a message named @p msg.
bool openAndSend(PpsObject &pps, const QString &msg)
{
    return pps.open(PpsOpenMode::PublishSubscribe) && pps.writeMessage(msg, msg, QVariantMap()) == 0;
}

// Answers the client that wrote the message named @p msg, with that name as "res".
bool answer(omtest::FakeServer &server, const QString &msg)
{
    for (const omtest::Received &r : server.received()) {
        if (r.msg() == msg)
            return server.reply(r.clientId, {{QStringLiteral("res"), msg}});
    }
    return false;
}

// The "res" of an answer to a control object.
QString resultOf(const QByteArray &text)
{
    return decoded(text).value(QStringLiteral("@control")).toMap().value(QStringLiteral("res")).toString();
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
    void restartedServerSeesClientsAgain();
    void writeFindsTheServerBack();
    void waitingReaderAndAServerThatGoes_data();
    void waitingReaderAndAServerThatGoes();
    void messageSizeLimit();
    void plainObjectMergesAndDelivers();
    void plainObjectContentComesWithOpen();
    void deadClientLeavesOthersUntouched();
    void endedClientsAreReleased();
    void eachObjectHearsOnlyItsOwnData();
    void blockingRequestInsideSlot();
    void movedObjectIsToldOnItsThread();
    void connectionEndIsToldOnce_data();
    void connectionEndIsToldOnce();
    void closedObjectLeavesNoReadinessBehind_data();
    void closedObjectLeavesNoReadinessBehind();
    void forkedChildLeavesParentWatching();
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

void tst_PpsObject::restartedServerSeesClientsAgain()
{
    PpsObject client(Control);
    QSignalSpy told(&client, &PpsObject::readyRead);
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    {
        // A client that has ended does not come back with the next server.
        PpsObject gone(Control);
        QVERIFY(gone.open(PpsOpenMode::PublishSubscribe));
        QVERIFY(m_server->waitForClients(2));
    }
    QVERIFY(m_server->waitForClosed(1));
    m_server->stop();

    // The object is gone for new opens; the open client stays open, and what
    // it writes meanwhile is lost without a word.
    PpsObject late(Control);
    QVERIFY(!late.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(late.error(), ENOENT);
    QVERIFY(client.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("lost")}})));
    QVERIFY(client.isOpen());
    bool ok = true;
    client.read(&ok);
    QVERIFY(!ok);
    QCOMPARE(client.error(), EAGAIN);

    // The next server sees the client arrive anew, as a client of its own.
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
    QCOMPARE(restarted.clientInfo(restarted.last().clientId).value(QStringLiteral("pid")).toLongLong(),
             qint64(::getpid()));

    // Nothing of this reached the reader but the answer. The reader may be
    // told more than once while the answer waits unread (the answer can
    // come while the test still waits for the server), so what counts is
    // what there is to read.
    QTRY_VERIFY(!told.isEmpty());
    QCOMPARE(decoded(client.read(&ok)).value(QStringLiteral("@control")).toMap().value(QStringLiteral("id")).toString(),
             QStringLiteral("9"));
    QVERIFY(client.read(&ok).isEmpty());
    QVERIFY(!ok);
    QCOMPARE(client.error(), EAGAIN);
    client.close();
    QVERIFY(restarted.waitForClosed(1));
    QCOMPARE(restarted.openedCount(), 1);
}

void tst_PpsObject::writeFindsTheServerBack()
{
    // The server is replaced before the client has looked: its next write
    // finds the old connection closed and goes to the new server, once.
    PpsObject client(Control);
    QVERIFY(client.open(PpsOpenMode::Publish));
    QVERIFY(m_server->waitForClients(1));
    m_server.reset();
    omtest::FakeServer restarted(Control);
    QVERIFY(restarted.start());
    QVERIFY(client.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("first")}})));
    QVERIFY(client.write(PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("second")}})));
    QVERIFY(restarted.waitForReceived(2));
    QCOMPARE(restarted.received().at(0).msg(), QStringLiteral("first"));
    QCOMPARE(restarted.received().at(1).msg(), QStringLiteral("second"));
    QCOMPARE(restarted.openedCount(), 1);
}

void tst_PpsObject::waitingReaderAndAServerThatGoes_data()
{
    QTest::addColumn<bool>("busStays");
    QTest::newRow("server restarts") << true;
    QTest::newRow("device goes") << false;
}

void tst_PpsObject::waitingReaderAndAServerThatGoes()
{
    // A blocking read while the server is away waits for it to come back,
    // as long as the bus is there; without the bus it fails at once.
    QFETCH(bool, busStays);
    PpsObject client(Control + QStringLiteral("?wait"));
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(m_server->waitForClients(1));
    m_server.reset();
    std::unique_ptr<omtest::FakeServer> restarted;
    std::thread comeBack;
    if (busStays) {
        restarted.reset(new omtest::FakeServer(Control));
        comeBack = std::thread([&]() {
            if (restarted->start() && restarted->waitForClients(1))
                restarted->broadcast({{QStringLiteral("msg"), QStringLiteral("back")}});
        });
    } else {
        m_broker->stop();
    }
    bool ok = false;
    const QByteArray data = client.read(&ok);
    if (comeBack.joinable())
        comeBack.join();
    QCOMPARE(ok, busStays);
    if (busStays)
        QCOMPARE(decoded(data).value(QStringLiteral("@control")).toMap().value(QStringLiteral("msg")).toString(),
                 QStringLiteral("back"));
    else
        QCOMPARE(client.error(), ENOTCONN);
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
    // The server closes an ended client's connection as it learns of the
    // end, not in some later sweep.
    PpsObject first(Control);
    QVERIFY(first.open(PpsOpenMode::PublishSubscribe)); // the thread's watcher exists from here on
    first.close();
    QVERIFY(m_server->waitForClosed(1));
    const int before = openDescriptors();
    for (int i = 0; i < 600; ++i) {
        PpsObject client(Control);
        QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    }
    QVERIFY(m_server->waitForClosed(601));
    QCOMPARE(openDescriptors(), before);
}

void tst_PpsObject::eachObjectHearsOnlyItsOwnData()
{
    // The objects of one thread share a watcher; an answer wakes only its own.
    PpsObject a(Control), b(Control), c(Control);
    QSignalSpy toldA(&a, &PpsObject::readyRead), toldB(&b, &PpsObject::readyRead), toldC(&c, &PpsObject::readyRead);
    PpsObject *const objects[] = {&a, &b, &c};
    QSignalSpy *const told[] = {&toldA, &toldB, &toldC};
    const QString names[] = {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
    for (int i = 0; i < 3; ++i)
        QVERIFY(openAndSend(*objects[i], names[i]));
    QVERIFY(m_server->waitForReceived(3));

    QList<int> expected{0, 0, 0};
    for (const int target : {1, 0, 2}) {
        QVERIFY(answer(*m_server, names[target]));
        QVERIFY(told[target]->wait());
        bool ok = false;
        QCOMPARE(resultOf(objects[target]->read(&ok)), names[target]);
        expected[target] = 1;
        QCOMPARE((QList<int>{int(toldA.count()), int(toldB.count()), int(toldC.count())}), expected);
    }
}

void tst_PpsObject::blockingRequestInsideSlot()
{
    // A slot that waits in a loop of its own for another object's answer, as
    // a blocking request does, gets it while the first object's readyRead is
    // still being handled.
    m_server->answerOk(QStringLiteral("outer"));
    m_server->answerOk(QStringLiteral("inner"));
    enum Ending { NotYet, ByReadyRead, ByGuard };
    int ending = NotYet;
    QString innerResult;
    PpsObject outer(Control);
    connect(&outer, &PpsObject::readyRead, &outer, [&]() {
        bool ok = false;
        outer.read(&ok);
        PpsObject inner(Control);
        if (ending != NotYet || !openAndSend(inner, QStringLiteral("inner")))
            return;
        QEventLoop loop;
        connect(&inner, &PpsObject::readyRead, &loop, [&]() { loop.exit(ByReadyRead); });
        QTimer::singleShot(5000, &loop, [&]() { loop.exit(ByGuard); });
        ending = loop.exec();
        innerResult = resultOf(inner.read(&ok));
    });
    QVERIFY(openAndSend(outer, QStringLiteral("outer")));
    QTRY_VERIFY_WITH_TIMEOUT(ending != NotYet, 10000);
    QCOMPARE(ending, int(ByReadyRead));
    QCOMPARE(innerResult, QStringLiteral("inner"));
}

void tst_PpsObject::movedObjectIsToldOnItsThread()
{
    QThread thread;
    thread.start();
    std::unique_ptr<PpsObject> moved(new PpsObject(Control));
    const auto finish = qScopeGuard([&]() {
        if (moved->thread() == &thread)
            QMetaObject::invokeMethod(moved.get(), [&]() { moved.reset(); }, Qt::BlockingQueuedConnection);
        moved.reset();
        thread.quit();
        thread.wait();
    });
    PpsObject stay(Control);
    QVERIFY(openAndSend(stay, QStringLiteral("stay")));
    QVERIFY(openAndSend(*moved, QStringLiteral("moved")));
    QVERIFY(m_server->waitForReceived(2));

    // Which thread emits the moved object's readyRead, and what it read there.
    QObject here;
    QList<QPair<QThread *, QString>> heard;
    connect(
        moved.get(), &PpsObject::readyRead, moved.get(),
        [&]() {
            bool ok = false;
            const QString res = resultOf(moved->read(&ok));
            QThread *const by = QThread::currentThread();
            QMetaObject::invokeMethod(&here, [&heard, by, res]() { heard.append({by, res}); });
        },
        Qt::DirectConnection);
    moved->moveToThread(&thread);
    QSignalSpy stayTold(&stay, &PpsObject::readyRead);

    QVERIFY(answer(*m_server, QStringLiteral("moved")));
    QTRY_COMPARE(heard.size(), 1);
    QCOMPARE(heard.first().first, &thread);
    QCOMPARE(heard.first().second, QStringLiteral("moved"));
    QCOMPARE(stayTold.count(), 0);

    QVERIFY(answer(*m_server, QStringLiteral("stay")));
    QVERIFY(stayTold.wait());
    bool ok = false;
    QCOMPARE(resultOf(stay.read(&ok)), QStringLiteral("stay"));
    QCOMPARE(heard.size(), 1);
}

void tst_PpsObject::connectionEndIsToldOnce_data()
{
    QTest::addColumn<bool>("answered"); // an answer is still unread when the connection ends
    QTest::addColumn<bool>("readInSlot");
    QTest::addColumn<int>("maxTold");

    QTest::newRow("nothing unread") << false << true << 1;
    QTest::newRow("answer unread") << true << true << 2;
    QTest::newRow("reader does not read") << false << false << 1;
}

void tst_PpsObject::connectionEndIsToldOnce()
{
    QFETCH(bool, answered);
    QFETCH(bool, readInSlot);
    QFETCH(int, maxTold);
    PpsObject client(Control);
    QVERIFY(openAndSend(client, QStringLiteral("hello")));
    QVERIFY(m_server->waitForReceived(1));
    if (answered)
        QVERIFY(answer(*m_server, QStringLiteral("hello")));
    int told = 0;
    QStringList got;
    connect(&client, &PpsObject::readyRead, &client, [&]() {
        ++told;
        for (bool ok = readInSlot; ok;) {
            const QByteArray data = client.read(&ok);
            if (ok)
                got.append(resultOf(data));
        }
    });
    // The bus goes while the server stays: the server ends its clients'
    // connections for good.
    m_broker->stop();
    QTRY_VERIFY(told > 0);
    // An end told again and again would pile up meanwhile.
    QTest::qWait(200);
    QVERIFY2(told <= maxTold, qPrintable(QString::number(told)));
    QCOMPARE(got, answered ? QStringList{QStringLiteral("hello")} : QStringList());
    bool ok = true;
    QVERIFY(client.read(&ok).isEmpty());
    QVERIFY(!ok);
    QCOMPARE(client.error(), ENOTCONN);
}

void tst_PpsObject::closedObjectLeavesNoReadinessBehind_data()
{
    QTest::addColumn<bool>("inSlot");
    QTest::addColumn<bool>("sameObject");

    QTest::newRow("new object after close") << false << false;
    QTest::newRow("same object reopened") << false << true;
    QTest::newRow("replaced in a neighbour's slot") << true << false;
}

void tst_PpsObject::closedObjectLeavesNoReadinessBehind()
{
    // An object closed with an answer unread must not wake what is opened in
    // its place, likely on the same descriptor number.
    QFETCH(bool, inSlot);
    QFETCH(bool, sameObject);
    PpsObject first(Control), neighbour(Control), replacement(Control);
    QVERIFY(openAndSend(first, QStringLiteral("first")));
    QVERIFY(openAndSend(neighbour, QStringLiteral("neighbour")));
    QVERIFY(m_server->waitForReceived(2));
    PpsObject *const next = sameObject ? &first : &replacement;
    QSignalSpy nextTold(next, &PpsObject::readyRead);
    if (inSlot) {
        // Both answers are there for one round of the watcher. Whichever
        // object is told first closes the other and opens the replacement,
        // while the closed one's readiness is still among what that round
        // found.
        const auto replace = [&](PpsObject *self, PpsObject *other) {
            bool ok = false;
            self->read(&ok);
            if (!replacement.isOpen()) {
                other->close();
                openAndSend(replacement, QStringLiteral("next"));
            }
        };
        connect(&first, &PpsObject::readyRead, &first, [&]() { replace(&first, &neighbour); });
        connect(&neighbour, &PpsObject::readyRead, &neighbour, [&]() { replace(&neighbour, &first); });
        QVERIFY(answer(*m_server, QStringLiteral("first")));
        QVERIFY(answer(*m_server, QStringLiteral("neighbour")));
        QTRY_VERIFY(replacement.isOpen());
    } else {
        QSignalSpy firstTold(&first, &PpsObject::readyRead);
        QVERIFY(answer(*m_server, QStringLiteral("first")));
        QVERIFY(firstTold.wait());
        first.close();
        QVERIFY(openAndSend(*next, QStringLiteral("next")));
    }
    QVERIFY(m_server->waitForReceived(3));
    QCOMPARE(nextTold.count(), sameObject ? 1 : 0); // first's own answer, before the close
    QVERIFY(answer(*m_server, QStringLiteral("next")));
    QVERIFY(nextTold.wait());
    bool ok = false;
    QCOMPARE(resultOf(next->read(&ok)), QStringLiteral("next"));
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

void tst_PpsObject::forkedChildLeavesParentWatching()
{
    // A child made by fork() shares the parent's descriptors, the epoll set
    // that watches the parent's objects among them: what the child closes
    // and opens must not change what the parent is told.
    PpsObject a(Control);
    QSignalSpy told(&a, &PpsObject::readyRead);
    QVERIFY(openAndSend(a, QStringLiteral("a")));
    QVERIFY(m_server->waitForReceived(1));
    const int status = omtest::runInChild([&]() {
        a.close();
        PpsObject mine(Control);
        return openAndSend(mine, QStringLiteral("child")) ? 0 : 1;
    });
    QCOMPARE(status, 0);
    QVERIFY(m_server->waitForReceived(2));
    QVERIFY(answer(*m_server, QStringLiteral("a")));
    QVERIFY(told.wait());
    bool ok = false;
    QCOMPARE(resultOf(a.read(&ok)), QStringLiteral("a"));
    QCOMPARE(told.count(), 1);
}

QTEST_GUILESS_MAIN(tst_PpsObject)
#include "tst_ppsobject.moc"
