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
//   (e) a QJsonDocument round trip of the same map;
//   (f) the exchange of (a) in raw system calls: connect to a broker, open,
//       hand-over to a server, request and answer, with no codec and no
//       event loop; what (a) cannot go below on this machine.
// The round trips (a), (c), (d) and (f) are measured in turn, a few runs of each
// at a time, and so are (b) and (e).
// Usage: bench_bus [iterations]

#include "benchcommon.h"
#include "broker/broker.h"
#include "common/controlserver.h"

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
#include <functional>
#include <memory>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char *const DBusService = "org.omplatform.Bench";
const char *const DBusPath = "/bench";
const char *const DBusInterface = "org.omplatform.Bench";

// Forks a child that sets itself up with @p setUp (false: it failed) and then
// serves with @p serve; returns its pid once it is ready, or -1.
pid_t forkServer(const std::function<bool()> &setUp, const std::function<void()> &serve)
{
    int ready[2];
    if (::pipe(ready) != 0)
        return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(ready[0]);
        if (!setUp())
            ::_exit(1);
        (void)!::write(ready[1], "r", 1);
        ::close(ready[1]);
        serve();
        ::_exit(0);
    }
    ::close(ready[1]);
    char c;
    const bool up = ::read(ready[0], &c, 1) == 1;
    ::close(ready[0]);
    return up ? pid : -1;
}

pid_t forkBroker(const QString &root)
{
    std::unique_ptr<omdevice::Broker> broker;
    return forkServer(
        [&]() {
            broker.reset(new omdevice::Broker(root));
            return broker->listen(nullptr);
        },
        [&]() { broker->run(); });
}

pid_t forkNotifyServer(int argc, char **argv)
{
    std::unique_ptr<QCoreApplication> app;
    std::unique_ptr<omdevice::ControlServer> server;
    return forkServer(
        [&]() {
            app.reset(new QCoreApplication(argc, argv));
            server.reset(new omdevice::ControlServer(QStringLiteral("/pps/services/notify/control")));
            QObject::connect(server.get(), &omdevice::ControlServer::message,
                             [&](int client, const QVariantMap &request) {
                                 server->reply(client, ombench::typicalAnswer(request));
                             });
            return server->open(nullptr);
        },
        [&]() { app->exec(); });
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
    std::unique_ptr<QCoreApplication> app;
    std::unique_ptr<DBusBenchService> service;
    return forkServer(
        [&]() {
            app.reset(new QCoreApplication(argc, argv));
            QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("service"));
            service.reset(new DBusBenchService);
            return connection.registerService(QString::fromLatin1(DBusService))
                   && connection.registerObject(QString::fromLatin1(DBusPath), service.get(),
                                                QDBusConnection::ExportAllSlots);
        },
        [&]() { app->exec(); });
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
    ombench::SocketFloor socketFloor(encodedRequest.size(), encodedAnswer.size());
    ombench::BrokeredFloor brokeredFloor(encodedRequest.size(), encodedAnswer.size());

    bool failed = false;
    ombench::Interleaved inProcess;
    const int codecIndex = inProcess.add([&]() {
        bool ok = false;
        const QVariantMap back = om::PpsObject::decode(om::PpsObject::encode(request, &ok), &ok);
        if (!ok || back.size() != request.size())
            failed = true;
    });
    const int jsonIndex = inProcess.add([&]() {
        const QByteArray text = QJsonDocument::fromVariant(request).toJson(QJsonDocument::Compact);
        const QVariantMap back = QJsonDocument::fromJson(text).toVariant().toMap();
        if (back.size() != request.size())
            failed = true;
    });
    inProcess.run(iterations * 5);
    const ombench::Stats codec = inProcess.stats(codecIndex);
    const ombench::Stats json = inProcess.stats(jsonIndex);

    QCoreApplication app(argc, argv);

    // QtDBus on a private dbus-daemon.
    QTemporaryDir dbusDir(QStringLiteral("/tmp/ombench-dbus-XXXXXX"));
    const QString address = QStringLiteral("unix:path=%1/bus").arg(dbusDir.path());
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                  QStringLiteral("--address=") + address, QStringLiteral("--print-address")});
    const bool daemonUp = daemon.waitForStarted(5000) && daemon.waitForReadyRead(5000);
    // The service is forked before this process has QtDBus's threads.
    const pid_t dbusService = daemonUp ? forkDBusService(argc, argv, address) : -1;
    if (dbusService <= 0)
        std::fprintf(stderr, "bench_bus: no dbus-daemon; (d) not measured\n");
    QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("client"));
    const QDBusMessage call = QDBusMessage::createMethodCall(
                                  QString::fromLatin1(DBusService), QString::fromLatin1(DBusPath),
                                  QString::fromLatin1(DBusInterface), QStringLiteral("call"))
                              << request;

    // The three round trips in turn, so that they meet the same machine.
    ombench::Interleaved roundTrips;
    const int channelIndex = roundTrips.add([&]() {
        QVariantMap response;
        if (ommock::NotificationPpsChannel::sendAndWait(request, response, 5000) != 0)
            failed = true;
    });
    const int floorIndex = roundTrips.add([&]() { socketFloor.roundTrip(); });
    const int brokeredIndex = roundTrips.add([&]() { brokeredFloor.roundTrip(); });
    const int dbusIndex = dbusService > 0 ? roundTrips.add([&]() {
        const QDBusMessage reply = connection.call(call);
        if (reply.type() != QDBusMessage::ReplyMessage
            || unpack(qdbus_cast<QVariantMap>(reply.arguments().value(0).value<QDBusArgument>()))
                       .value(QStringLiteral("dat")).toMap().size() != 1)
            failed = true;
    }) : -1;
    roundTrips.run(iterations);
    const ombench::Stats channel = roundTrips.stats(channelIndex);
    const ombench::Stats floor = roundTrips.stats(floorIndex);
    const ombench::Stats brokered = roundTrips.stats(brokeredIndex);
    ombench::Stats dbus;
    if (dbusIndex >= 0)
        dbus = roundTrips.stats(dbusIndex);
    if (failed)
        std::fprintf(stderr, "bench_bus: an operation failed\n");

    ombench::report(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"), floor);
    ombench::report(QStringLiteral("(f) raw exchange shaped like (a)"), brokered, &floor,
                    QStringLiteral("of (c)"));
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
