// The device bus measured against what it stands on and what a developer
// would use instead, all in one run so that the ratios hold on a noisy
// machine:
//   (a) NotificationPpsChannel::sendAndWait against a server in another
//       process, encoding included;
//   (b) encode + decode of a typical "notify" message;
//   (c) the floor: a raw SOCK_SEQPACKET ping-pong of the same sizes, new
//       connection per round trip;
//   (d) the same request and answer as a QtDBus method call on a private
//       dbus-daemon, over a persistent connection;
//   (e) a QJsonDocument round trip of the same map;
//   (f) the exchange of (a) in raw system calls: connect to the server's
//       socket, preface, request and answer, with no codec and no event
//       loop; what (a) cannot go below on this machine;
//   (g) fan-out of a plain object by the broker: bursts of updates, each
//       delivered to 100 subscribers;
//   (h) the same fan-out by dbus-daemon: bursts of signals to 100
//       connections that match them.
// The round trips (a), (c), (d) and (f) are measured in turn, a few runs of
// each at a time, and so are (b) and (e), and (g) and (h).
// Usage: bench_bus [iterations]

#include "benchcommon.h"
#include "broker/broker.h"
#include "common/controlserver.h"
#include "fanout.h"
#include "rawdbus.h"

#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char *const DBusService = "org.omplatform.Bench";
const char *const DBusPath = "/bench";
const char *const DBusInterface = "org.omplatform.Bench";
const char *const FanoutInterface = "org.omplatform.Fanout";
const char *const FanoutObject = "/pps/bench/fanout";

// Subscribers of the fan-out, and updates in one burst.
constexpr int FanoutSubscribers = 100;
constexpr int FanoutBurst = 20;

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
            server.reset(
                new omdevice::ControlServer(QStringLiteral("/pps/services/notify/control")));
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
            result.insert(it.key(),
                          unpack(qdbus_cast<QVariantMap>(it.value().value<QDBusArgument>())));
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
            QDBusConnection connection =
                QDBusConnection::connectToBus(address, QStringLiteral("service"));
            service.reset(new DBusBenchService);
            return connection.registerService(QString::fromLatin1(DBusService)) &&
                   connection.registerObject(QString::fromLatin1(DBusPath), service.get(),
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

// The broker's subscribers of the fan-out object, made by the reader child.
std::vector<int> openPpsSubscribers()
{
    const int creator = ::pps_open(FanoutObject, O_WRONLY | O_CREAT);
    if (creator < 0)
        return {};
    ::close(creator);
    std::vector<int> fds;
    for (int i = 0; i < FanoutSubscribers; ++i) {
        const int fd = ::pps_open(FanoutObject, O_RDONLY);
        if (fd < 0)
            return {};
        fds.push_back(fd);
    }
    return fds;
}

std::vector<int> openDBusSubscribers(const QByteArray &socket)
{
    std::vector<int> fds;
    const QByteArray match = QByteArray("type='signal',interface='") + FanoutInterface + "'";
    for (int i = 0; i < FanoutSubscribers; ++i) {
        ombench::dbus::Framer framer;
        const int fd = ombench::dbus::connectToBus(socket, match.constData(), &framer);
        if (fd < 0)
            return {};
        fds.push_back(fd);
    }
    return fds;
}

bool writeAll(int fd, const QByteArray &data)
{
    return ::write(fd, data.constData(), size_t(data.size())) == data.size();
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
    ombench::FanoutReaders ppsReaders(ombench::FanoutReaders::Datagrams, FanoutBurst,
                                      openPpsSubscribers);

    const QByteArray encodedRequest = om::PpsObject::encode(request);
    const QByteArray encodedAnswer = om::PpsObject::encode(ombench::typicalAnswer(request));
    std::printf("bench_bus: %d iterations; request %d bytes, answer %d bytes of PPS text\n\n",
                iterations, int(encodedRequest.size()), int(encodedAnswer.size()));
    ombench::SocketFloor socketFloor(encodedRequest.size(), encodedAnswer.size());
    ombench::DirectExchange directExchange(encodedRequest.size(), encodedAnswer.size());

    bool failed = false;
    ombench::Comparison codecs(QStringLiteral("The codec against a QJsonDocument round trip"));
    const int codecIndex = codecs.add(QStringLiteral("(b) PPS encode + decode"), [&]() {
        bool ok = false;
        const QVariantMap back = om::PpsObject::decode(om::PpsObject::encode(request, &ok), &ok);
        if (!ok || back.size() != request.size())
            failed = true;
    });
    const int jsonIndex = codecs.add(QStringLiteral("(e) QJsonDocument round trip"), [&]() {
        const QByteArray text = QJsonDocument::fromVariant(request).toJson(QJsonDocument::Compact);
        const QVariantMap back = QJsonDocument::fromJson(text).toVariant().toMap();
        if (back.size() != request.size())
            failed = true;
    });
    codecs.expect(jsonIndex, ombench::Target::atLeast(4.0), codecIndex);
    codecs.run(iterations * 5);

    QCoreApplication app(argc, argv);

    // QtDBus on a private dbus-daemon.
    QTemporaryDir dbusDir(QStringLiteral("/tmp/ombench-dbus-XXXXXX"));
    const QByteArray dbusSocket = QFile::encodeName(dbusDir.path()) + "/bus";
    const QString address = QStringLiteral("unix:path=") + QFile::decodeName(dbusSocket);
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"),
                  QStringLiteral("--nopidfile"), QStringLiteral("--address=") + address,
                  QStringLiteral("--print-address")});
    const bool daemonUp = daemon.waitForStarted(5000) && daemon.waitForReadyRead(5000);
    // The service and the readers are forked before this process has
    // QtDBus's threads.
    const pid_t dbusService = daemonUp ? forkDBusService(argc, argv, address) : -1;
    if (dbusService <= 0)
        std::fprintf(stderr, "bench_bus: no dbus-daemon; (d) and (h) not measured\n");
    std::unique_ptr<ombench::FanoutReaders> dbusReaders;
    if (dbusService > 0)
        dbusReaders.reset(
            new ombench::FanoutReaders(ombench::FanoutReaders::DBusStream, FanoutBurst,
                                       [&]() { return openDBusSubscribers(dbusSocket); }));
    QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("client"));
    const QDBusMessage call = QDBusMessage::createMethodCall(
                                  QString::fromLatin1(DBusService), QString::fromLatin1(DBusPath),
                                  QString::fromLatin1(DBusInterface), QStringLiteral("call"))
                              << request;

    // The round trips in turn, so that they meet the same machine.
    ombench::Comparison roundTrips(QStringLiteral("Round trips against the floor"));
    roundTrips.setFloor(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"),
                        [&]() { socketFloor.roundTrip(); });
    const int directIndex = roundTrips.add(QStringLiteral("(f) raw exchange shaped like (a)"),
                                           [&]() { directExchange.roundTrip(); });
    const int channelIndex =
        roundTrips.add(QStringLiteral("(a) NotificationPpsChannel::sendAndWait"), [&]() {
            QVariantMap response;
            if (ommock::NotificationPpsChannel::sendAndWait(request, response, 5000) != 0)
                failed = true;
        });
    roundTrips.expect(channelIndex, ombench::Target::atMost(2.0));
    if (dbusService > 0) {
        const int dbusIndex =
            roundTrips.add(QStringLiteral("(d) QtDBus method call, private bus"), [&]() {
                const QDBusMessage reply = connection.call(call);
                if (reply.type() != QDBusMessage::ReplyMessage ||
                    unpack(
                        qdbus_cast<QVariantMap>(reply.arguments().value(0).value<QDBusArgument>()))
                            .value(QStringLiteral("dat"))
                            .toMap()
                            .size() != 1)
                    failed = true;
            });
        roundTrips.expect(channelIndex, ombench::Target::atMost(0.25), dbusIndex);
    }
    Q_UNUSED(directIndex)
    roundTrips.run(iterations);

    // Fan-out: a burst of updates, until every subscriber has every one.
    ombench::Comparison fanouts(QStringLiteral("Fan-out to %1 subscribers, bursts of %2")
                                    .arg(FanoutSubscribers)
                                    .arg(FanoutBurst));
    const int publisher = ppsReaders.ready() ? ::pps_open(FanoutObject, O_WRONLY) : -1;
    int value = 0;
    const int ppsIndex =
        publisher >= 0
            ? fanouts.add(
                  QStringLiteral("(g) broker, plain object"),
                  [&]() {
                      for (int i = 0; i < FanoutBurst; ++i) {
                          if (!writeAll(publisher, "n:n:" + QByteArray::number(++value) + '\n'))
                              failed = true;
                      }
                      if (!ppsReaders.waitForBurst())
                          failed = true;
                  })
            : -1;
    ombench::dbus::Framer emitterFramer;
    const int emitter = dbusReaders && dbusReaders->ready()
                            ? ombench::dbus::connectToBus(dbusSocket, nullptr, &emitterFramer)
                            : -1;
    uint32_t serial = 10;
    const int dbusFanoutIndex =
        emitter >= 0 ? fanouts.add(QStringLiteral("(h) dbus-daemon, signal"),
                                   [&]() {
                                       for (int i = 0; i < FanoutBurst; ++i) {
                                           if (!writeAll(emitter, ombench::dbus::signalMessage(
                                                                      "/bench", FanoutInterface,
                                                                      "Tick", ++serial, ++value)))
                                               failed = true;
                                       }
                                       if (!dbusReaders->waitForBurst())
                                           failed = true;
                                   })
                     : -1;
    if (ppsIndex < 0 || dbusFanoutIndex < 0)
        std::fprintf(stderr, "bench_bus: a fan-out could not be set up\n");
    else
        fanouts.run(std::max(20, iterations / 10), 10, 5);
    if (failed)
        std::fprintf(stderr, "bench_bus: an operation failed\n");

    bool met = roundTrips.report();
    met &= codecs.report();
    if (ppsIndex >= 0 && dbusFanoutIndex >= 0) {
        fanouts.report();
        const double deliveries = double(FanoutBurst) * FanoutSubscribers;
        const double ppsRate = deliveries / (fanouts.stats(ppsIndex).median / 1e9);
        const double dbusRate = deliveries / (fanouts.stats(dbusFanoutIndex).median / 1e9);
        std::printf("(g) %.0f deliveries/s, (h) %.0f deliveries/s\n", ppsRate, dbusRate);
        met &= ombench::target(QStringLiteral("deliveries/s (g) / (h)"), ppsRate / dbusRate,
                               QStringLiteral(">="), 3.0);
    }

    if (publisher >= 0)
        ::close(publisher);
    if (emitter >= 0)
        ::close(emitter);
    dbusReaders.reset();
    stopChild(dbusService);
    daemon.terminate();
    daemon.waitForFinished(3000);
    stopChild(server);
    stopChild(broker);
    Q_UNUSED(met)
    return failed ? 1 : 0;
}

#include "bench_bus.moc"
