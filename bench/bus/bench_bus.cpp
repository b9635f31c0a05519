// The device bus measured against what it stands on and what a developer
// would use instead, all in one run so that the ratios hold on a noisy
// machine:
//   (a) NotificationPpsChannel::sendAndWait against a server in another
//       process, through the broker in a third, encoding included;
//   (b) encode + decode of a typical "notify" message;
//   (c) the floor: a raw SOCK_SEQPACKET ping-pong of the same sizes, new
//       connection per round trip;
//   (d) the same request and answer as a QtDBus method call on a private
//       dbus-daemon, over a persistent connection;
//   (e) a QJsonDocument round trip of the same map.
// Usage: bench_bus [iterations]

#include "benchcommon.h"
#include "broker.h"
#include "controlserver.h"

#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char *const DBusService = "org.omplatform.Bench";
const char *const DBusPath = "/bench";
const char *const DBusInterface = "org.omplatform.Bench";

// Waits for a child to say it is ready by writing one byte.
bool awaitReady(int fd)
{
    char c;
    const bool ok = ::read(fd, &c, 1) == 1;
    ::close(fd);
    return ok;
}

pid_t forkBroker(const QString &root)
{
    int ready[2];
    if (::pipe(ready) != 0)
        return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(ready[0]);
        omdevice::Broker broker(root);
        if (!broker.listen(nullptr))
            ::_exit(1);
        (void)!::write(ready[1], "r", 1);
        ::close(ready[1]);
        broker.run();
        ::_exit(0);
    }
    ::close(ready[1]);
    return awaitReady(ready[0]) ? pid : -1;
}

pid_t forkNotifyServer(int argc, char **argv)
{
    int ready[2];
    if (::pipe(ready) != 0)
        return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(ready[0]);
        QCoreApplication app(argc, argv);
        omdevice::ControlServer server(QStringLiteral("/pps/services/notify/control"));
        QObject::connect(&server, &omdevice::ControlServer::message,
                         [&](int client, const QVariantMap &request) {
                             server.reply(client, ombench::typicalAnswer(request));
                         });
        if (!server.open(nullptr))
            ::_exit(1);
        (void)!::write(ready[1], "r", 1);
        ::close(ready[1]);
        app.exec();
        ::_exit(0);
    }
    ::close(ready[1]);
    return awaitReady(ready[0]) ? pid : -1;
}

// Nested maps arrive from QtDBus as QDBusArgument; the service unpacks them
// as any QtDBus service must.
QVariantMap unpack(const QVariantMap &map)
{
    QVariantMap result;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it.value().userType() == qMetaTypeId<QDBusArgument>())
            result.insert(it.key(), unpack(qdbus_cast<QVariantMap>(it.value().value<QDBusArgument>())));
        else
            result.insert(it.key(), it.value());
    }
    return result;
}

class DBusBenchService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.omplatform.Bench")
public Q_SLOTS:
    QVariantMap call(const QVariantMap &request) { return ombench::typicalAnswer(unpack(request)); }
};

pid_t forkDBusService(int argc, char **argv, const QString &address)
{
    int ready[2];
    if (::pipe(ready) != 0)
        return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(ready[0]);
        QCoreApplication app(argc, argv);
        QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("service"));
        DBusBenchService service;
        if (!connection.registerService(QString::fromLatin1(DBusService))
            || !connection.registerObject(QString::fromLatin1(DBusPath), &service,
                                          QDBusConnection::ExportAllSlots))
            ::_exit(1);
        (void)!::write(ready[1], "r", 1);
        ::close(ready[1]);
        app.exec();
        ::_exit(0);
    }
    ::close(ready[1]);
    return awaitReady(ready[0]) ? pid : -1;
}

void stopChild(pid_t pid)
{
    if (pid <= 0)
        return;
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
}

} // namespace

int main(int argc, char **argv)
{
    const int iterations = argc > 1 ? std::max(10, std::atoi(argv[1])) : 2000;
    const QVariantMap request = ombench::typicalRequest();

    // Children are forked before this process starts any thread.
    QTemporaryDir root(QStringLiteral("/tmp/ombench-pps-XXXXXX"));
    qputenv("OM_PPS_ROOT", QFile::encodeName(root.path()));
    const pid_t broker = forkBroker(root.path());
    const pid_t server = broker > 0 ? forkNotifyServer(argc, argv) : -1;
    if (server <= 0) {
        std::fprintf(stderr, "bench_bus: could not start the bus\n");
        stopChild(broker);
        return 1;
    }

    const QByteArray encodedRequest = om::PpsObject::encode(request);
    const QByteArray encodedAnswer = om::PpsObject::encode(ombench::typicalAnswer(request));
    std::printf("bench_bus: %d iterations; request %d bytes, answer %d bytes of PPS text\n\n",
                iterations, int(encodedRequest.size()), int(encodedAnswer.size()));

    const ombench::Stats floor =
        ombench::rawSocketFloor(encodedRequest.size(), encodedAnswer.size(), iterations);

    QCoreApplication app(argc, argv);

    bool failed = false;
    const ombench::Stats channel = ombench::measure(
        [&]() {
            QVariantMap response;
            if (ommock::NotificationPpsChannel::sendAndWait(request, response, 5000) != 0)
                failed = true;
        },
        iterations);
    if (failed)
        std::fprintf(stderr, "bench_bus: a sendAndWait failed\n");

    const ombench::Stats codec = ombench::measure(
        [&]() {
            bool ok = false;
            const QVariantMap back = om::PpsObject::decode(om::PpsObject::encode(request, &ok), &ok);
            if (!ok || back.size() != request.size())
                failed = true;
        },
        iterations * 5);

    const ombench::Stats json = ombench::measure(
        [&]() {
            const QByteArray text = QJsonDocument::fromVariant(request).toJson(QJsonDocument::Compact);
            const QVariantMap back = QJsonDocument::fromJson(text).toVariant().toMap();
            if (back.size() != request.size())
                failed = true;
        },
        iterations * 5);

    // QtDBus on a private dbus-daemon.
    ombench::Stats dbus;
    QTemporaryDir dbusDir(QStringLiteral("/tmp/ombench-dbus-XXXXXX"));
    const QString address = QStringLiteral("unix:path=%1/bus").arg(dbusDir.path());
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                  QStringLiteral("--address=") + address, QStringLiteral("--print-address")});
    const bool daemonUp = daemon.waitForStarted(5000) && daemon.waitForReadyRead(5000);
    pid_t dbusService = -1;
    if (daemonUp) {
        // The DBus service is forked from a process that has no threads yet
        // of QtDBus's own.
        dbusService = forkDBusService(argc, argv, address);
    }
    if (dbusService > 0) {
        QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("client"));
        const QDBusMessage call = QDBusMessage::createMethodCall(
            QString::fromLatin1(DBusService), QString::fromLatin1(DBusPath),
            QString::fromLatin1(DBusInterface), QStringLiteral("call"))
                                      << request;
        dbus = ombench::measure(
            [&]() {
                const QDBusMessage reply = connection.call(call);
                if (reply.type() != QDBusMessage::ReplyMessage
                    || unpack(qdbus_cast<QVariantMap>(reply.arguments().value(0).value<QDBusArgument>()))
                               .value(QStringLiteral("dat")).toMap().size() != 1)
                    failed = true;
            },
            iterations);
    } else {
        std::fprintf(stderr, "bench_bus: no dbus-daemon; (d) not measured\n");
    }

    ombench::report(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"), floor);
    ombench::report(QStringLiteral("(a) NotificationPpsChannel::sendAndWait"), channel, &floor,
                    QStringLiteral("of (c)"));
    if (dbus.iterations > 0) {
        ombench::report(QStringLiteral("(d) QtDBus method call, private bus"), dbus, &floor,
                        QStringLiteral("of (c)"));
    }
    ombench::report(QStringLiteral("(b) PPS encode + decode"), codec);
    ombench::report(QStringLiteral("(e) QJsonDocument round trip"), json, &codec,
                    QStringLiteral("of (b)"));
    std::printf("\n");
    bool met = ombench::target(QStringLiteral("(a) / (c)"), channel.median / floor.median,
                               QStringLiteral("<="), 3.0);
    if (dbus.iterations > 0)
        met &= ombench::target(QStringLiteral("(a) / (d)"), channel.median / dbus.median,
                               QStringLiteral("<="), 0.5);
    met &= ombench::target(QStringLiteral("(e) / (b)"), json.median / codec.median,
                           QStringLiteral(">="), 4.0);

    stopChild(dbusService);
    daemon.terminate();
    daemon.waitForFinished(3000);
    stopChild(server);
    stopChild(broker);
    return failed ? 1 : 0;
}

#include "bench_bus.moc"
