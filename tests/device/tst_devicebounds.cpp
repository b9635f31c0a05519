// A real omdeviced at its limits: every control object answers whatever it
// is sent, and a device out of file descriptors waits for room instead of
// spinning, then serves again.

#include "deviceprocess.h"

#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"
#include "rawclient.h"

#include <om/ppsobject.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <cerrno>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace omtest::raw;
using om::PpsObject;
using om::PpsOpenMode;
using omtest::DeviceProcess;

namespace {
// The control objects of the device, the applications' and the user's side.
const QStringList ControlObjects = {
    QStringLiteral("/pps/services/notify/control"),
    QStringLiteral("/pps/services/notify/settings-control"),
    QStringLiteral("/pps/services/identity/control"),
    QStringLiteral("/pps/services/paymentsystem/control"),
    QStringLiteral("/pps/services/navigator/control"),
    QStringLiteral("/pps/services/invoke/control"),
    QStringLiteral("/pps/system/perimeter/control_public"),
    QStringLiteral("/pps/simulator/notifications"),
    QStringLiteral("/pps/simulator/notification-settings"),
    QStringLiteral("/pps/simulator/identity"),
    QStringLiteral("/pps/simulator/payments"),
    QStringLiteral("/pps/simulator/navigator"),
    QStringLiteral("/pps/simulator/invoke"),
    QStringLiteral("/pps/simulator/perimeter"),
};

bool isControlObject(const QString &object)
{
    return QFileInfo::exists(QFile::decodeName(serverSocket(object)));
}

// Every object under @p directory, at any depth.
QStringList objectsUnder(const QString &directory)
{
    QStringList found;
    for (const QString &name : PpsObject::list(directory)) {
        const QString path = directory + QLatin1Char('/') + name;
        if (name.endsWith(QLatin1Char('/')))
            found += objectsUnder(path.chopped(1));
        else
            found += path;
    }
    return found;
}

bool sendText(int fd, const QByteArray &text)
{
    return ::send(fd, text.constData(), size_t(text.size()), MSG_NOSIGNAL) == text.size();
}

// The first datagram that comes on @p fd within a generous while; empty if
// none, or the connection ended.
QByteArray answerOn(int fd)
{
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 15000) <= 0)
        return QByteArray();
    char buffer[70000];
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
    return n > 0 ? QByteArray(buffer, int(n)) : QByteArray();
}

// CPU time (user and system, all threads) that process @p pid has used, in
// clock ticks.
qint64 cpuTicks(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    // The fields after the command name, which is in parentheses.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields.at(11).toLongLong() + fields.at(12).toLongLong() : -1;
}

int openDescriptors(pid_t pid)
{
    return int(QDir(QStringLiteral("/proc/%1/fd").arg(pid)).entryList(QDir::NoDotAndDotDot).size());
}
} // namespace

class tst_DeviceBounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void everyControlObjectIsListed();
    void everyMessageIsAnswered_data();
    void everyMessageIsAnswered();
    void outOfDescriptorsWaitsAndResumes();

private:
    std::unique_ptr<DeviceProcess> m_device;
};

void tst_DeviceBounds::initTestCase()
{
    m_device.reset(new DeviceProcess);
    QVERIFY2(m_device->start(), m_device->output().constData());
}

void tst_DeviceBounds::cleanupTestCase()
{
    m_device.reset();
}

void tst_DeviceBounds::everyControlObjectIsListed()
{
    // The table below must not miss one: a new control object is tested too.
    QStringList found;
    for (const QString &directory :
         {QStringLiteral("/pps/services"), QStringLiteral("/pps/simulator"),
          QStringLiteral("/pps/system")}) {
        for (const QString &object : objectsUnder(directory)) {
            if (isControlObject(object))
                found += object;
        }
    }
    found.sort();
    QStringList expected = ControlObjects;
    expected.sort();
    QCOMPARE(found, expected);
}

void tst_DeviceBounds::everyMessageIsAnswered_data()
{
    QTest::addColumn<QString>("object");
    QTest::addColumn<QByteArray>("message");
    const QList<QPair<const char *, QByteArray>> messages = {
        {"a line without a colon", "garbage\n"},
        {"a name with no encoding", "msg:notify\n"},
        {"bad json", "msg::notify\nid::j1\ndat:json:{\"a\":\n"},
        {"an unknown encoding", "msg::notify\nid::e1\ndat:zz:1\n"},
        {"binary", QByteArray("\x01\x02\xff\xfe:\x00:\x7f\n", 9)},
        {"an unknown request", "msg::no-such-request\nid::u1\n"},
        {"no request name", "id::n1\nfoo::bar\n"},
    };
    for (const QString &object : ControlObjects) {
        for (const auto &message : messages)
            QTest::addRow("%s, %s", qPrintable(object), message.first) << object << message.second;
    }
}

void tst_DeviceBounds::everyMessageIsAnswered()
{
    QFETCH(QString, object);
    QFETCH(QByteArray, message);
    PpsObject client(object);
    QVERIFY2(client.open(PpsOpenMode::PublishSubscribe),
             qPrintable(QString::number(client.error())));
    QSignalSpy ready(&client, &PpsObject::readyRead);
    QVERIFY(client.write(message));
    // Whatever the service thinks of it, the client is not left waiting.
    // (A known message without an id may go unanswered: the navigator's
    // and identity's applications send some as notices.)
    QVERIFY(ready.wait(10000));
    bool ok = false;
    const QByteArray answer = client.read(&ok);
    QVERIFY(ok);
    QVERIFY2(answer.startsWith('@'), answer.constData());
}

void tst_DeviceBounds::outOfDescriptorsWaitsAndResumes()
{
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
    // The sanitizers' runtime in the device needs descriptors of its own (a
    // pipe to check memory before it reads a type): out of them, it reports
    // sound code as broken.
    QSKIP("the sanitizers cannot run in a process that is out of descriptors");
#endif
#endif
    // The device's pid, as the kernel tells it of the broker's end.
    const int probe = connectTo(busSocket());
    QVERIFY(probe >= 0);
    ucred cred{};
    socklen_t length = sizeof cred;
    QCOMPARE(::getsockopt(probe, SOL_SOCKET, SO_PEERCRED, &cred, &length), 0);
    ::close(probe);
    const pid_t pid = cred.pid;

    // A few descriptors more than it has now, taken by silent clients of
    // the broker and of the notification service until none is left.
    const int free = 8;
    const int limit = openDescriptors(pid) + free;
    rlimit lower{rlim_t(limit), rlim_t(limit)};
    rlimit old{};
    QCOMPARE(::prlimit(pid, RLIMIT_NOFILE, nullptr, &old), 0);
    lower.rlim_max = old.rlim_max;
    QCOMPARE(::prlimit(pid, RLIMIT_NOFILE, &lower, nullptr), 0);
    const QString control = QStringLiteral("/pps/services/notify/control");
    // Silent clients, three times as many as there are free descriptors,
    // until the device says it has run out of them.
    std::vector<int> fillers;
    const auto full = [&]() {
        if (int(fillers.size()) >= 3 * free && m_device->output().contains("Too many open files"))
            return true;
        for (const QByteArray &socket : {busSocket(), serverSocket(control)}) {
            const int fd = connectTo(socket);
            if (fd >= 0)
                fillers.push_back(fd);
        }
        return false;
    };
    QTRY_VERIFY2_WITH_TIMEOUT(full(), m_device->output().right(2000).constData(), 30000);

    // Clients that come now wait: a plain object's open at the broker, a
    // request to a service.
    const int brokered = connectTo(busSocket());
    QVERIFY(brokered >= 0);
    QVERIFY(
        sendText(brokered, openRequest("/pps/services/navigator/state", PpsOpenMode::Subscribe)));
    const int direct = connectTo(serverSocket(control));
    QVERIFY(direct >= 0);
    QVERIFY(sendText(direct, openRequest(control.toUtf8(), PpsOpenMode::PublishSubscribe)));
    QVERIFY(sendText(direct, "msg::no-such-request\nid::w1\n"));

    // Meanwhile the device stays near idle, its listening sockets ready all
    // along: the share of one core it used over a second.
    const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    QElapsedTimer elapsed;
    const qint64 before = cpuTicks(pid);
    elapsed.start();
    // Its output is read meanwhile, so that a device that logs without end
    // is not held up by a full pipe.
    while (elapsed.elapsed() < 1000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        m_device->output();
        QThread::msleep(10);
    }
    const qint64 used = cpuTicks(pid) - before;
    const double share =
        double(used) / (double(elapsed.elapsed()) / 1000.0 * double(ticksPerSecond));
    QVERIFY2(share < 0.2, qPrintable(QStringLiteral("the device used %1% of a core while out of "
                                                    "descriptors")
                                         .arg(share * 100, 0, 'f', 0)));

    // Room again: both get their answers.
    for (const int fd : fillers)
        ::close(fd);
    QVERIFY(answerOn(brokered).startsWith("0\n"));
    QVERIFY(answerOn(direct).startsWith("@control"));
    ::close(brokered);
    ::close(direct);
    QCOMPARE(::prlimit(pid, RLIMIT_NOFILE, &old, nullptr), 0);
}

QTEST_GUILESS_MAIN(tst_DeviceBounds)
#include "tst_devicebounds.moc"
