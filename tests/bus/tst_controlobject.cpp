// A control object's clients and its server meet directly, through the
// socket at the object's file: who gets in, what the server learns of them,
// and what happens to the rest when one of them misbehaves or dies.

#include "childprocess.h"
#include "common/statepublisher.h"
#include "fakeserver.h"
#include "pps/bussocket_p.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using om::PpsObject;
using om::PpsOpenMode;

namespace {
const QString Control = QStringLiteral("/pps/services/test/control");

// The socket of @p path's server for reading and writing.
QByteArray socketOf(const QString &path);

QByteArray mirrorOf(const QString &path)
{
    return QFile::encodeName(PpsObject::mirrorFilePath(path));
}

// A raw connection to the socket at @p path's file, as a client that does
// not go through the library would make it.
QByteArray socketOf(const QString &path)
{
    return om::bus::socketPath(mirrorOf(path), om::bus::ReadWrite);
}

int connectRaw(const QString &path)
{
    const om::bus::SocketAddress address(socketOf(path));
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (::connect(fd, address.address(), address.length()) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool sendRaw(int fd, const QByteArray &data)
{
    return ::send(fd, data.constData(), size_t(data.size()), MSG_NOSIGNAL) == data.size();
}

// What is left to read on @p fd before its end; -1 if it has not ended.
int messagesBeforeEnd(int fd)
{
    char buffer[70000];
    for (int count = 0;; ++count) {
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (n == 0)
            return count;
        if (n < 0)
            return errno == ECONNRESET ? count : -1;
    }
}

ino_t inodeOf(const QByteArray &path)
{
    struct stat st;
    return ::lstat(path.constData(), &st) == 0 && S_ISSOCK(st.st_mode) ? st.st_ino : 0;
}

// A server in a child process of its own, which tells by @p ready when it
// serves and by @p got when a request has come, and then stops answering.
pid_t forkSilentServer(const QString &path, int ready, int got)
{
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    PpsObject server(path + QStringLiteral("?server,wait"));
    if (!server.open(PpsOpenMode::PublishSubscribe))
        ::_exit(1);
    (void)!::write(ready, "r", 1);
    for (;;) {
        bool ok = false;
        const QByteArray data = server.read(&ok);
        if (ok && data.startsWith('@'))
            (void)!::write(got, "g", 1);
    }
}

// Asks the server of Control on a connection of its own and waits for the
// answer: the id it repeats, empty if none came.
QString pingedBack(const QString &id)
{
    PpsObject client(Control + QStringLiteral("?wait"));
    if (!client.open(PpsOpenMode::PublishSubscribe) ||
        client.writeMessage(QStringLiteral("ping"), id, QVariantMap()) != 0)
        return QString();
    bool ok = false;
    const QVariantMap answer =
        PpsObject::decode(client.read(&ok)).value(QStringLiteral("@control")).toMap();
    return answer.value(QStringLiteral("id")).toString();
}

char readByte(int fd)
{
    char c = 0;
    return ::read(fd, &c, 1) == 1 ? c : 0;
}
} // namespace

class tst_ControlObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theFileShowsTheObject();
    void refusedByMode_data();
    void refusedByMode();
    void goneServerIsNoEntry_data();
    void goneServerIsNoEntry();
    void closeIsFinal();
    void staleSocketIsReplaced();
    void oneOwnerPerPath();
    void credentialsAndPackage_data();
    void credentialsAndPackage();
    void clientThatNeverReads();
    void garbageAndSilentClients();
    void aThousandClientsAtOnce();
    void serverKilledMidAnswer();
    void flappingServerIsNotHammered();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_server;
};

void tst_ControlObject::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_server.reset(new omtest::FakeServer(Control));
    m_server->answerOk(QStringLiteral("ping"));
    QVERIFY(m_server->start());
}

void tst_ControlObject::cleanup()
{
    m_server.reset();
    m_broker.reset();
}

void tst_ControlObject::theFileShowsTheObject()
{
    // The object's file has its owner and mode, for QFileInfo and ls; its
    // server's sockets lie beside it, hidden, each open to whom the mode
    // grants its access.
    struct stat st;
    QCOMPARE(::lstat(mirrorOf(Control).constData(), &st), 0);
    QVERIFY(S_ISREG(st.st_mode));
    QCOMPARE(st.st_mode & 07777, mode_t(0666));
    QCOMPARE(st.st_uid, ::geteuid());
    for (const int access : {om::bus::Read, om::bus::Write, om::bus::ReadWrite}) {
        QCOMPARE(::lstat(om::bus::socketPath(mirrorOf(Control), access).constData(), &st), 0);
        QVERIFY(S_ISSOCK(st.st_mode));
    }
    QCOMPARE(QDir(QFileInfo(QFile::decodeName(mirrorOf(Control))).absolutePath())
                 .entryList(QDir::Files | QDir::System),
             QStringList{QStringLiteral("control")});
    int error = -1;
    QCOMPARE(PpsObject::list(QStringLiteral("/pps/services/test"), &error),
             QStringList{QStringLiteral("control")});
    QCOMPARE(error, 0);
}

void tst_ControlObject::refusedByMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("openMode");
    QTest::addColumn<int>("error");

    // Another user meets the "other" bits: read to read, write to write.
    QTest::newRow("0600, read and write") << 0600 << 3 << EACCES;
    QTest::newRow("0600, read") << 0600 << 2 << EACCES;
    QTest::newRow("0644, read") << 0644 << 2 << 0;
    QTest::newRow("0644, read and write") << 0644 << 3 << EACCES;
    QTest::newRow("0622, read") << 0622 << 2 << EACCES;
    QTest::newRow("0622, write") << 0622 << 1 << 0;
    QTest::newRow("0666, read and write") << 0666 << 3 << 0;
}

void tst_ControlObject::refusedByMode()
{
    QFETCH(int, mode);
    QFETCH(int, openMode);
    QFETCH(int, error);
    const QString path = QStringLiteral("/pps/services/test/restricted");
    omtest::FakeServer server(path, mode);
    QVERIFY(server.start());
    struct stat st;
    QCOMPARE(::lstat(mirrorOf(path).constData(), &st), 0);
    QCOMPARE(int(st.st_mode & 07777), mode);
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to meet the object as another user");
    const int status = omtest::runInChild(
        [&]() {
            PpsObject pps(path);
            const int byObject = pps.open(PpsOpenMode::Types(openMode)) ? 0 : pps.error();
            const int fd = pps_open(path.toUtf8().constData(), openMode == 2   ? O_RDONLY
                                                               : openMode == 1 ? O_WRONLY
                                                                               : O_RDWR);
            const int byDescriptor = fd >= 0 ? 0 : errno;
            return byObject == byDescriptor ? byObject : 255;
        },
        true);
    QCOMPARE(status, error);
    // Whoever got in is a client like any other; the refused never was one.
    QTRY_COMPARE(server.openedCount(), error == 0 ? 2 : 0);
}

void tst_ControlObject::goneServerIsNoEntry_data()
{
    QTest::addColumn<bool>("killed");
    QTest::newRow("closed") << false;
    QTest::newRow("killed") << true;
}

void tst_ControlObject::goneServerIsNoEntry()
{
    QFETCH(bool, killed);
    const QString path = QStringLiteral("/pps/services/test/mortal");
    if (killed) {
        int ready[2];
        QVERIFY(::pipe(ready) == 0);
        const pid_t pid = forkSilentServer(path, ready[1], ready[1]);
        QCOMPARE(readByte(ready[0]), 'r');
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        ::close(ready[0]);
        ::close(ready[1]);
    } else {
        omtest::FakeServer server(path);
        QVERIFY(server.start());
    }
    // However the server went, an open no longer finds the object: at once
    // after a close(); after a kill, once the kernel has taken the dead
    // process's sockets down, which may be a moment after it was reaped, and
    // the broker the object's file away.
    if (killed)
        QTRY_VERIFY(!QFileInfo::exists(PpsObject::mirrorFilePath(path)));
    PpsObject pps(path);
    QVERIFY(!pps.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(pps.error(), ENOENT);
    QCOMPARE(pps_open(path.toUtf8().constData(), O_RDWR), -1);
    QCOMPARE(errno, ENOENT);
    // Its file and its name go too.
    QTRY_VERIFY(!QFileInfo::exists(PpsObject::mirrorFilePath(path)));
    int error = -1;
    QCOMPARE(PpsObject::list(QStringLiteral("/pps/services/test"), &error),
             QStringList{QStringLiteral("control")});
}

void tst_ControlObject::closeIsFinal()
{
    // Once a server's close() has returned, nobody can open its object.
    const QString path = QStringLiteral("/pps/services/test/brief");
    for (int i = 0; i < 20; ++i) {
        {
            omtest::FakeServer server(path);
            QVERIFY(server.start());
            PpsObject client(path);
            QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
        }
        PpsObject late(path);
        QVERIFY(!late.open(PpsOpenMode::PublishSubscribe));
        QCOMPARE(late.error(), ENOENT);
        QVERIFY(!QFileInfo::exists(PpsObject::mirrorFilePath(path)));
    }
}

void tst_ControlObject::staleSocketIsReplaced()
{
    // A socket whose server died with the broker stays behind in the tree.
    m_server.reset();
    const QByteArray file = socketOf(Control);
    QVERIFY(QDir().mkpath(QFileInfo(QFile::decodeName(file)).absolutePath()));
    {
        const om::bus::SocketAddress address(file);
        const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
        QCOMPARE(::bind(fd, address.address(), address.length()), 0);
        QCOMPARE(::listen(fd, 1), 0);
        ::close(fd);
    }
    const ino_t stale = inodeOf(file);
    QVERIFY(stale != 0);
    // Nobody listens there: the object does not exist.
    PpsObject early(Control);
    QVERIFY(!early.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(early.error(), ENOENT);

    omtest::FakeServer server(Control);
    server.answerOk(QStringLiteral("ping"));
    QVERIFY(server.start());
    QVERIFY(inodeOf(file) != 0);
    QVERIFY(inodeOf(file) != stale);
    QCOMPARE(pingedBack(QStringLiteral("1")), QStringLiteral("1"));
}

void tst_ControlObject::oneOwnerPerPath()
{
    // A second server, a server where a plain object is, and a plain object
    // where a server is: each path has one owner.
    omtest::FakeServer second(Control);
    QVERIFY(!second.start());
    QCOMPARE(second.error(), EBUSY);

    const QString state = QStringLiteral("/pps/services/test/state");
    omdevice::StatePublisher publisher(state);
    QVERIFY(publisher.open(nullptr));
    omtest::FakeServer onPlain(state);
    QVERIFY(!onPlain.start());
    QCOMPARE(onPlain.error(), EBUSY);

    // A publisher that would create an object where a server is becomes
    // that server's client instead.
    PpsObject creator(Control + QStringLiteral("?create"));
    QVERIFY(creator.open(PpsOpenMode::Publish));
    QVERIFY(m_server->waitForClients(1));
    QVERIFY(inodeOf(socketOf(Control)) != 0);
}

void tst_ControlObject::credentialsAndPackage_data()
{
    QTest::addColumn<bool>("asNobody");
    QTest::addColumn<QByteArray>("package");
    QTest::addColumn<QString>("seen");

    QTest::newRow("this user") << false << QByteArray("com.example.one") << "com.example.one";
    QTest::newRow("another user") << true << QByteArray("com.example.two") << "com.example.two";
    // A package is one line of the preface, and one attribute line at the
    // server: what follows a newline is not taken, control characters are
    // masked.
    QTest::newRow("a package with a newline") << false << QByteArray("evil\nuid:n:0") << "evil";
    QTest::newRow("a package with a tab")
        << false << QByteArray("com.example\tthree") << "com.example?three";
}

void tst_ControlObject::credentialsAndPackage()
{
    QFETCH(bool, asNobody);
    QFETCH(QByteArray, package);
    QFETCH(QString, seen);
    if (asNobody && !omtest::canDropPrivileges())
        QSKIP("needs root to be another user");
    // The client names its package and its pid; the kernel vouches for its
    // pid, uid and gid.
    const int status = omtest::runInChild(
        [&]() {
            qputenv("OM_PACKAGE_NAME", package);
            PpsObject pps(Control);
            if (!pps.open(PpsOpenMode::PublishSubscribe))
                return 1;
            // Its supplementary groups, for the server to compare.
            gid_t groups[64];
            const int count = ::getgroups(64, groups);
            QStringList listed;
            for (int i = 0; i < count; ++i)
                listed.append(QString::number(groups[i]));
            return pps.writeMessage(QStringLiteral("ping"), QString::number(::getpid()),
                                    {{QStringLiteral("groups"), listed.join(',')}}) == 0
                       ? 0
                       : 2;
        },
        asNobody);
    QCOMPARE(status, 0);
    QVERIFY(m_server->waitForReceived(1));
    const omtest::Received r = m_server->last();
    QVariantMap info = m_server->clientInfo(r.clientId);
    QStringList groups;
    for (const QVariant &group : info.take(QStringLiteral("groups")).toList())
        groups.append(group.toString());
    QCOMPARE(groups.join(','), r.dat().value(QStringLiteral("groups")).toString());
    const uint user = asNobody ? omtest::NobodyId : ::getuid();
    const uint group = asNobody ? omtest::NobodyId : ::getgid();
    QCOMPARE(info, (QVariantMap{{QStringLiteral("pid"), r.id().toInt()},
                                {QStringLiteral("uid"), int(user)},
                                {QStringLiteral("gid"), int(group)},
                                {QStringLiteral("package"), seen}}));
}

void tst_ControlObject::clientThatNeverReads()
{
    PpsObject reader(Control);
    PpsObject sluggard(Control);
    QVERIFY(reader.open(PpsOpenMode::Subscribe));
    QVERIFY(sluggard.open(PpsOpenMode::Subscribe));
    QVERIFY(m_server->waitForClients(2));
    // Broadcasts pile up for the one that does not read, until the server
    // shuts it out; the other reads along and keeps its connection.
    const QVariantMap big{{QStringLiteral("fill"), QString(60 * 1024, QLatin1Char('x'))}};
    int sent = 0;
    for (; sent < 2000 && m_server->closedCount() == 0; ++sent) {
        QVERIFY(m_server->broadcast(big));
        for (bool ok = true; ok;)
            reader.read(&ok);
    }
    QVERIFY2(m_server->closedCount() == 1, qPrintable(QString::number(sent)));
    QVERIFY(sent > 32 * 1024 / 60); // it held 32 MiB before that
    QCOMPARE(m_server->clients().size(), 1);

    // The server goes on with the others.
    // (Broadcasts are written before broadcast() returns.)
    QVERIFY(m_server->broadcast({{QStringLiteral("msg"), QStringLiteral("still here")}}));
    bool ok = false;
    QCOMPARE(PpsObject::decode(reader.read(&ok))
                 .value(QStringLiteral("@control"))
                 .toMap()
                 .value(QStringLiteral("msg")),
             QVariant(QStringLiteral("still here")));
    QCOMPARE(pingedBack(QStringLiteral("f")), QStringLiteral("f"));

    // The one shut out reads what reached it, then the end, and does not
    // come back as a new client.
    int messages = 0;
    for (ok = true; ok; ++messages)
        sluggard.read(&ok);
    QVERIFY(messages > 1);
    QCOMPARE(sluggard.error(), ENOTCONN);
    QCOMPARE(m_server->openedCount(), 3);
}

void tst_ControlObject::garbageAndSilentClients()
{
    // Connected, then gone without a word.
    const int silent = connectRaw(Control);
    QVERIFY(silent >= 0);
    ::close(silent);
    // A first datagram that is no open request: the server drops it.
    const int garbage = connectRaw(Control);
    QVERIFY(garbage >= 0);
    QVERIFY(sendRaw(garbage, QByteArray("\xff\xfegarbage\0\n\n", 13)));
    // A proper preface, then a message that is no PPS text: that is the
    // service's to judge, and it arrives.
    const int sloppy = connectRaw(Control);
    QVERIFY(sloppy >= 0);
    QVERIFY(sendRaw(sloppy, "OPEN\n" + Control.toUtf8() + "\n3\n\nsloppy"));
    QVERIFY(sendRaw(sloppy, QByteArray("\x01\x02no attributes", 15)));
    QVERIFY(m_server->waitForReceived(1));
    QVERIFY(!m_server->last().decoded);
    QCOMPARE(m_server->last().raw, QByteArray("\x01\x02no attributes", 15));
    QCOMPARE(
        m_server->clientInfo(m_server->last().clientId).value(QStringLiteral("package")).toString(),
        QStringLiteral("sloppy"));
    QTRY_COMPARE(messagesBeforeEnd(garbage), 0);
    ::close(garbage);
    ::close(sloppy);

    // Only the one that opened properly was ever a client; the server
    // answers the next as if nothing had happened.
    QTRY_COMPARE(m_server->closedCount(), 1);
    QCOMPARE(m_server->openedCount(), 1);
    QCOMPARE(pingedBack(QStringLiteral("after")), QStringLiteral("after"));
}

void tst_ControlObject::aThousandClientsAtOnce()
{
    // Four threads open 250 objects each as fast as they can, and each asks
    // and waits; nobody is refused, nobody hangs.
    constexpr int Threads = 4;
    constexpr int Each = 250;
    std::vector<int> answered(Threads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([t, &answered]() {
            std::vector<std::unique_ptr<PpsObject>> objects;
            for (int i = 0; i < Each; ++i) {
                objects.emplace_back(new PpsObject(Control + QStringLiteral("?wait")));
                if (!objects.back()->open(PpsOpenMode::PublishSubscribe) ||
                    objects.back()->writeMessage(QStringLiteral("ping"), QString::number(i),
                                                 QVariantMap()) != 0)
                    return;
            }
            for (auto &object : objects) {
                bool ok = false;
                object->read(&ok);
                answered[size_t(t)] += ok ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(answered, std::vector<int>(Threads, Each));
    QCOMPARE(m_server->openedCount(), Threads * Each);
    QTRY_COMPARE_WITH_TIMEOUT(m_server->closedCount(), Threads * Each, 10000);
}

void tst_ControlObject::serverKilledMidAnswer()
{
    const QString path = QStringLiteral("/pps/services/test/doomed");
    int ready[2];
    int got[2];
    QVERIFY(::pipe(ready) == 0 && ::pipe(got) == 0);
    const pid_t pid = forkSilentServer(path, ready[1], got[1]);
    QCOMPARE(readByte(ready[0]), 'r');

    // Two clients ask; the server has their requests and dies before it
    // answers.
    PpsObject client(path);
    QSignalSpy told(&client, &PpsObject::readyRead);
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    QCOMPARE(client.writeMessage(QStringLiteral("ping"), QStringLiteral("1"), QVariantMap()), 0);
    const int raw = pps_open(path.toUtf8().constData(), O_RDWR);
    QVERIFY(raw >= 0);
    QVERIFY(sendRaw(raw, "msg::ping\nid::2\n"));
    QCOMPARE(readByte(got[0]), 'g');
    QCOMPARE(readByte(got[0]), 'g');
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    for (int fd : {ready[0], ready[1], got[0], got[1]})
        ::close(fd);

    // A descriptor reads the end, as a file would.
    char buffer[256];
    ssize_t n;
    do {
        n = ::read(raw, buffer, sizeof buffer);
    } while (n < 0 && errno == EAGAIN);
    QCOMPARE(n, ssize_t(0));
    ::close(raw);

    // The object waits for the next server and goes on with it, having told
    // its reader nothing in between. (The next may register once the broker
    // has seen the dead one go.)
    QTRY_VERIFY(!QFileInfo::exists(PpsObject::mirrorFilePath(path)));
    omtest::FakeServer next(path);
    next.answerOk(QStringLiteral("ping"));
    QVERIFY(next.start());
    QVERIFY(next.waitForClients(1));
    QCOMPARE(told.count(), 0);
    QCOMPARE(client.writeMessage(QStringLiteral("ping"), QStringLiteral("3"), QVariantMap()), 0);
    QVERIFY(told.wait());
    bool ok = false;
    QCOMPARE(PpsObject::decode(client.read(&ok))
                 .value(QStringLiteral("@doomed"))
                 .toMap()
                 .value(QStringLiteral("id")),
             QVariant(QStringLiteral("3")));
}

void tst_ControlObject::flappingServerIsNotHammered()
{
    // A client whose server went away, and a socket in its place that takes
    // every connection and closes it at once: the client comes back less
    // and less often, not in a loop.
    PpsObject client(Control);
    QSignalSpy told(&client, &PpsObject::readyRead);
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(m_server->waitForClients(1));
    m_server.reset();
    const QByteArray file = socketOf(Control);
    QVERIFY(QDir().mkpath(QFileInfo(QFile::decodeName(file)).absolutePath()));
    const om::bus::SocketAddress address(file);
    const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    QCOMPARE(::bind(listener, address.address(), address.length()), 0);
    QCOMPARE(::listen(listener, 8), 0);
    QElapsedTimer clock;
    QList<qint64> taken;
    QSocketNotifier door(listener, QSocketNotifier::Read);
    connect(&door, &QSocketNotifier::activated, this, [&]() {
        const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            return;
        ::close(fd);
        if (taken.isEmpty())
            clock.start();
        taken.append(clock.elapsed());
    });
    QTRY_VERIFY_WITH_TIMEOUT(taken.size() >= 6, 15000);
    // Twice as long each time, from 20 ms: five waits of at least 40, 80,
    // 160, 320 and 640 ms. A client that came back at once would be done
    // in a moment.
    QVERIFY2(taken.at(5) >= 600, qPrintable(QString::number(taken.at(5))));
    QCOMPARE(told.count(), 0);
    ::close(listener);
}

QTEST_GUILESS_MAIN(tst_ControlObject)
#include "tst_controlobject.moc"
