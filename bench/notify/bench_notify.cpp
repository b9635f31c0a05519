// Notification::notify() against the notification service of a real
// omdeviced process, measured in one run with the floor beneath it:
//   (a) notify() of one item again and again (an update), as an application
//       that keeps its notification up to date does;
//   (b) notify() of a new item each time, the inbox growing;
//   (d) NotificationPpsChannel::sendAndWait of the same message to the same
//       service: the bus and the service without the Notification object;
//   (c) the floor: a raw SOCK_SEQPACKET ping-pong of the same sizes, a new
//       connection per round trip, as notify() opens one per call;
//   (e) the same exchange as notify()'s in plain system calls: an open
//       answered by a broker process, the connection handed to a server
//       process, the request and the answer (no codec, no event loop).
// All four are measured in turn, a few runs of each at a time.
// Usage: bench_notify [iterations]

#include "benchcommon.h"

#include <om/platform/notification.h>
#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QProcess>
#include <QTemporaryDir>
#include <QUuid>

#include <cstdio>

using om::platform::Notification;
using om::platform::NotificationError;

namespace {

void fill(Notification &n)
{
    n.setTitle(QStringLiteral("New message from Alice"));
    n.setBody(QStringLiteral("Are we still on for lunch tomorrow at noon?"));
    n.setCategory(QStringLiteral("messages"));
    n.setTimestamp(QDateTime::currentDateTime());
    n.setIconUrl(QUrl::fromLocalFile(QStringLiteral("/usr/share/icons/message.png")));
    om::system::InvokeRequest request;
    request.setTarget(QStringLiteral("com.example.messages"));
    request.setAction(QStringLiteral("om.action.OPEN"));
    request.setUri(QUrl(QStringLiteral("messages://thread/42")));
    n.setInvokeRequest(request);
}

// The sizes on the wire of one notify() of fill(): what the library writes
// and what the service answers.
QVariantMap notifyMessage(const QString &key)
{
    const QVariantMap dat{{"itemId", key},
                          {"title", "New message from Alice"},
                          {"subtitle", "Are we still on for lunch tomorrow at noon?"},
                          {"type", "messages"},
                          {"timestamp", QString::number(QDateTime::currentMSecsSinceEpoch())},
                          {"badge", "true"},
                          {"iconUrl", "file:///usr/share/icons/message.png"},
                          {"target", "com.example.messages"},
                          {"targetAction", "om.action.OPEN"},
                          {"payloadURI", "messages://thread/42"}};
    return {{"msg", "notify"}, {"id", key}, {"dat", dat}};
}

QPair<int, int> wireSizes()
{
    const QString key = QUuid::createUuid().toString();
    const QByteArray request = om::PpsObject::encode(notifyMessage(key));
    const QByteArray answer =
        "@control\n" + om::PpsObject::encode({{"res", "notify"}, {"id", key}, {"dat", QVariantMap{{"itemId", key}}}});
    return {request.size(), answer.size()};
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations = argc > 1 ? QByteArray(argv[1]).toInt() : 2000;
    if (iterations <= 0) {
        std::fprintf(stderr, "usage: bench_notify [iterations]\n");
        return 2;
    }

    QTemporaryDir root(QStringLiteral("/tmp/ombench-notify-XXXXXX"));
    QTemporaryDir data(QStringLiteral("/tmp/ombench-notify-data-XXXXXX"));
    qputenv("OM_PPS_ROOT", QFile::encodeName(root.path()));
    QProcess device;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_DEVICE_DATA"), data.path());
    device.setProcessEnvironment(env);
    device.setProcessChannelMode(QProcess::MergedChannels);
    device.start(QStringLiteral(OMDEVICED_PATH), {QStringLiteral("--services=notifications")});
    QByteArray output;
    while (!output.contains("omdeviced: ready") && device.waitForReadyRead(10000))
        output += device.readAll();
    if (!output.contains("omdeviced: ready")) {
        std::fprintf(stderr, "bench_notify: omdeviced did not start: %s\n", output.constData());
        return 1;
    }

    // The floor's server is forked before the measurements; they run in
    // turn, a few of each at a time, so that all meet the same machine.
    const QPair<int, int> sizes = wireSizes();
    ombench::SocketFloor socketFloor(sizes.first, sizes.second);
    ombench::BrokeredFloor brokeredFloor(sizes.first, sizes.second);

    bool failed = false;
    Notification item;
    fill(item);
    const QVariantMap message = notifyMessage(QUuid::createUuid().toString());
    ombench::Interleaved runs;
    const int updateIndex = runs.add([&]() {
        if (item.notify() != NotificationError::None)
            failed = true;
    });
    const int freshIndex = runs.add([&]() {
        Notification n;
        fill(n);
        if (n.notify() != NotificationError::None)
            failed = true;
    });
    const int channelIndex = runs.add([&]() {
        QVariantMap response;
        if (ommock::NotificationPpsChannel::sendAndWait(message, response, 250) != NotificationError::None)
            failed = true;
    });
    const int floorIndex = runs.add([&]() { socketFloor.roundTrip(); });
    const int brokeredIndex = runs.add([&]() { brokeredFloor.roundTrip(); });
    runs.run(iterations);
    const ombench::Stats update = runs.stats(updateIndex);
    const ombench::Stats fresh = runs.stats(freshIndex);
    const ombench::Stats channel = runs.stats(channelIndex);
    const ombench::Stats floor = runs.stats(floorIndex);
    const ombench::Stats brokered = runs.stats(brokeredIndex);
    if (failed)
        std::fprintf(stderr, "bench_notify: a notify() failed\n");

    std::printf("request %d bytes, answer %d bytes, %d iterations\n", sizes.first, sizes.second,
                iterations);
    ombench::report(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"), floor);
    ombench::report(QStringLiteral("(a) Notification::notify(), same item"), update, &floor,
                    QStringLiteral("of (c)"));
    ombench::report(QStringLiteral("(b) Notification::notify(), new item"), fresh, &floor,
                    QStringLiteral("of (c)"));
    ombench::report(QStringLiteral("(d) sendAndWait of the same message"), channel, &floor,
                    QStringLiteral("of (c)"));
    ombench::report(QStringLiteral("(e) raw exchange shaped like (a)"), brokered, &floor,
                    QStringLiteral("of (c)"));
    std::printf("(a) / (e): %.2f\n", update.median / brokered.median);
    std::printf("\n");
    const bool met = ombench::target(QStringLiteral("(a) / (c)"), update.median / floor.median,
                                     QStringLiteral("<="), 4.0);

    device.terminate();
    device.waitForFinished(10000);
    Q_UNUSED(met)
    return failed ? 1 : 0;
}
