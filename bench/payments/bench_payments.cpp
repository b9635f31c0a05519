// PaymentManager against the payment service of a real omdeviced process,
// measured in turn with the floor beneath it:
//   (a) requestPrice() to priceFinished, one request at a time, against
//   (c) a raw SOCK_SEQPACKET ping-pong of the same sizes on one connection
//       that stays open, as the library opens the service's object once;
//   (b) 1,000 price requests in flight from one manager, until the last has
//       finished, against
//   (d) 1,000 round trips in flight on the raw connection.
// Usage: bench_payments [--spread] [iterations of (a)] [iterations of (b)]
// The event dispatcher is Qt's default unless QT_NO_GLIB=1 says otherwise.
//
// Every process of the measurement (this one, omdeviced, the floor's
// server) runs on one CPU unless --spread is given: on the development
// machine, a virtual one, a wake-up of a process on another CPU costs 20 to
// 50 us when that CPU has gone idle and a few when it has not, so medians
// of separate CPUs flip between two modes from run to run, and a ratio
// compares whatever modes its two sides met.

#include "benchcommon.h"
#include "persistentfloor.h"

#include <om/platform/paymentmanager.h>
#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <chrono>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace om::platform;

namespace {

constexpr int InFlight = 1000;
const QString Good = QStringLiteral("sword");

// The sizes on the wire of one price request and its answer.
QPair<int, int> wireSizes()
{
    const QByteArray request =
        "id::123\nmsg::getPriceType\ndat:json:{\"uiGroupID\":\"bench-window\","
        "\"canHandleInvocation\":true,\"digitalGoodID\":\"sword\",\"digitalGoodSKU\":\"\"}\n";
    const QByteArray answer =
        "@control\n" + om::PpsObject::encode({{"msg", "getPriceType"},
                                              {"id", "123"},
                                              {"res", "getPriceSuccess"},
                                              {"dat", QVariantMap{{"price", "0.99"}}}});
    return {request.size(), answer.size()};
}

// Spurious reads are logged by the library (the GLib dispatcher reports a
// descriptor once more after the read its first report queued); they are
// counted here, not printed.
int nothingRead = 0;
void countWarnings(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtWarningMsg &&
        text == QLatin1String("PaymentServiceImpl::onDataReady() failed to read response")) {
        ++nothingRead;
        return;
    }
    std::fprintf(stderr, "%s\n", qPrintable(text));
}

double cpuSeconds(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = stat.readAll().split(')').value(1).trimmed().split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) /
           double(sysconf(_SC_CLK_TCK));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    const bool spread = args.removeAll(QStringLiteral("--spread")) > 0;
    const int iterations = args.size() > 0 ? args.at(0).toInt() : 2000;
    const int batches = args.size() > 1 ? args.at(1).toInt() : 30;
    if (iterations <= 0 || batches <= 0) {
        std::fprintf(stderr,
                     "usage: bench_payments [--spread] [iterations of (a)] [iterations of (b)]\n");
        return 2;
    }
    if (!spread) {
        // Children inherit the CPU: omdeviced and the floor's server too.
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(sched_getcpu(), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    qInstallMessageHandler(countWarnings);

    ombench::Device device(QStringLiteral("payments"));
    if (!device.start(QStringLiteral(OMDEVICED_PATH), {QStringLiteral("--services=payments")}))
        return 1;

    const QPair<int, int> sizes = wireSizes();
    ombench::PersistentFloor floor(sizes.first, sizes.second);
    PaymentManager manager;
    manager.setWindowGroupId(QStringLiteral("bench-window"));
    bool failed = false;
    int finished = 0;
    QEventLoop loop;
    int awaited = 0;
    QObject::connect(&manager, &PaymentManager::priceFinished, &manager, [&](PriceReply *reply) {
        if (reply->isError() || reply->price().isEmpty())
            failed = true;
        reply->deleteLater();
        if (++finished == awaited)
            loop.quit();
    });
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, &loop, [&]() {
        failed = true;
        loop.quit();
    });
    // Sends @p count price requests and runs the event loop until all have
    // finished.
    auto prices = [&](int count) {
        finished = 0;
        awaited = count;
        for (int i = 0; i < count; ++i) {
            if (!manager.requestPrice(Good))
                failed = true;
        }
        watchdog.start(30000);
        if (finished < awaited)
            loop.exec();
        watchdog.stop();
    };

    ombench::Interleaved single;
    const int priceIndex = single.add([&]() { prices(1); });
    const int floorIndex = single.add([&]() { floor.roundTrip(); });
    single.run(iterations);
    ombench::Interleaved many;
    const int manyIndex = many.add([&]() { prices(InFlight); });
    const int manyFloorIndex = many.add([&]() { floor.inFlight(InFlight); });
    many.run(batches, 3, 3);

    const ombench::Stats price = single.stats(priceIndex);
    const ombench::Stats raw = single.stats(floorIndex);
    const ombench::Stats burst = many.stats(manyIndex);
    const ombench::Stats rawBurst = many.stats(manyFloorIndex);
    if (failed)
        std::fprintf(stderr, "bench_payments: a request failed or got no answer\n");

    // Where the time goes: the CPU that a request costs the application and
    // the service, over a run of single requests of its own.
    const int accounted = 5000;
    const double selfBefore = cpuSeconds(::getpid());
    const double deviceBefore = cpuSeconds(pid_t(device.processId()));
    const auto wallStart = std::chrono::steady_clock::now();
    for (int i = 0; i < accounted; ++i)
        prices(1);
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    const double selfCpu = cpuSeconds(::getpid()) - selfBefore;
    const double deviceCpu = cpuSeconds(pid_t(device.processId())) - deviceBefore;

    const bool glib = qEnvironmentVariableIsEmpty("QT_NO_GLIB");
    std::printf("request %d bytes, answer %d bytes; %d single requests, %d x %d in flight; %s "
                "event loop; %s\n",
                sizes.first, sizes.second, iterations, batches, InFlight,
                glib ? "GLib" : "Qt's own poll()",
                spread ? "processes on any CPU" : "all processes on one CPU");
    ombench::report(QStringLiteral("(c) raw SOCK_SEQPACKET round trip, one connection (floor)"),
                    raw);
    ombench::report(QStringLiteral("(a) requestPrice() to priceFinished"), price, &raw,
                    QStringLiteral("of (c)"));
    const double burstRate = InFlight / (burst.median / 1e9);
    const double rawRate = InFlight / (rawBurst.median / 1e9);
    std::printf("(d) raw, %d in flight (floor): %.0f round trips/s\n", InFlight, rawRate);
    std::printf("(b) %d price requests in flight: %.0f answers/s, %.2f of (d)\n", InFlight,
                burstRate, burstRate / rawRate);
    std::printf(
        "per single request: %.1f us of wall time, %.1f us of CPU in the application, %.1f us in "
        "omdeviced\n",
        wall / accounted * 1e6, selfCpu / accounted * 1e6, deviceCpu / accounted * 1e6);
    std::printf("notifications that found nothing to read: %d\n\n", nothingRead);
    ombench::target(QStringLiteral("(a) / (c)"), price.median / raw.median, QStringLiteral("<="),
                    3.0);
    ombench::target(QStringLiteral("(b) / (d)"), burstRate / rawRate, QStringLiteral(">="),
                    1.0 / 3.0);

    return failed ? 1 : 0;
}
