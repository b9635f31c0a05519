// Notification::notify() against the notification service of a real
// omdeviced process, measured in one run with the floor beneath it:
//   (a) notify() of one item again and again (an update), as an application
//       that keeps its notification up to date does;
//   (b) notify() of a new item each time, the inbox growing;
//   (d) NotificationPpsChannel::sendAndWait of the same message to the same
//       service: the bus and the service without the Notification object;
//   (c) the floor: a raw SOCK_SEQPACKET ping-pong of the same sizes, a new
//       connection per round trip, as notify() opens one per call;
//   (e) the same exchange as notify()'s in plain system calls: a connection
//       to a server process, its preface, the request and the answer (no
//       codec, no event loop).
// All are measured in turn, a few runs of each at a time.
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
        "@control\n" + om::PpsObject::encode(
                           {{"res", "notify"}, {"id", key}, {"dat", QVariantMap{{"itemId", key}}}});
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

    ombench::Device device(QStringLiteral("notify"));
    if (!device.start(QStringLiteral(OMDEVICED_PATH), {QStringLiteral("--services=notifications")}))
        return 1;

    // The floor's server is forked before the measurements; they run in
    // turn, a few of each at a time, so that all meet the same machine.
    const QPair<int, int> sizes = wireSizes();
    std::printf("bench_notify: request %d bytes, answer %d bytes, %d iterations\n\n", sizes.first,
                sizes.second, iterations);
    ombench::SocketFloor socketFloor(sizes.first, sizes.second);
    ombench::DirectExchange directExchange(sizes.first, sizes.second);

    bool failed = false;
    Notification item;
    fill(item);
    const QVariantMap message = notifyMessage(QUuid::createUuid().toString());
    ombench::Comparison runs(QStringLiteral("notify() against the floor"));
    runs.setFloor(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"),
                  [&]() { socketFloor.roundTrip(); });
    const int updateIndex =
        runs.add(QStringLiteral("(a) Notification::notify(), same item"), [&]() {
            if (item.notify() != NotificationError::None)
                failed = true;
        });
    runs.add(QStringLiteral("(b) Notification::notify(), new item"), [&]() {
        Notification n;
        fill(n);
        if (n.notify() != NotificationError::None)
            failed = true;
    });
    runs.add(QStringLiteral("(d) sendAndWait of the same message"), [&]() {
        QVariantMap response;
        if (ommock::NotificationPpsChannel::sendAndWait(message, response, 250) !=
            NotificationError::None)
            failed = true;
    });
    const int directIndex = runs.add(QStringLiteral("(e) raw exchange shaped like (a)"),
                                     [&]() { directExchange.roundTrip(); });
    runs.expect(updateIndex, ombench::Target::atMost(2.5));
    runs.run(iterations);
    if (failed)
        std::fprintf(stderr, "bench_notify: a notify() failed\n");
    runs.report();
    std::printf("(a) / (e): %.2f\n", runs.ratio(updateIndex, directIndex));

    return failed ? 1 : 0;
}
