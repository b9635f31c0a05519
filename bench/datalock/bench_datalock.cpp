// The data lock as an application sees it, against a real omdeviced and
// measured in turn with the floor of one request and answer on a raw
// socket:
//   (a) constructing an AdarpDomain: both objects opened, the state read;
//   (b) a state change, from the publisher's write to the signal;
//   (d) a lock request, to its answer from the perimeter manager.
// Usage: bench_datalock [iterations]

#include "benchcommon.h"
#include "benchwait.h"
#include "common/statepublisher.h"
#include "deviceprocess.h"

#include <om/platform/adarpdomain.h>

#include <QCoreApplication>

#include <cstdio>

using om::platform::AdarpDomain;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 500;

    ombench::SocketFloor floor(150, 150);
    omtest::DeviceProcess device;
    if (!device.start({QStringLiteral("--services=perimeter"), QStringLiteral("--set"),
                       QStringLiteral("perimeter.state=3")})) {
        std::fprintf(stderr, "bench_datalock: omdeviced did not start\n");
        return 1;
    }
    // A second publisher of the state object, beside the device's own.
    omdevice::StatePublisher publisher(
        QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state"));
    if (!publisher.open(nullptr)) {
        std::fprintf(stderr, "bench_datalock: cannot publish the state\n");
        return 1;
    }

    bool failed = false;
    AdarpDomain domain;
    int raw = 3;
    ombench::Comparison runs(QStringLiteral("Data lock against the floor"));
    runs.setFloor(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"),
                  [&]() { floor.roundTrip(); });
    const int constructIndex =
        runs.add(QStringLiteral("(a) AdarpDomain()"), []() { AdarpDomain domain; });
    const int changeIndex = runs.add(QStringLiteral("(b) state change to signal"), [&]() {
        raw = raw == 1 ? 3 : 1;
        if (!publisher.publish({{QStringLiteral("state"), raw}}) ||
            !ombench::waitFor(&domain, &AdarpDomain::dataLockStateChanged))
            failed = true;
    });
    const int requestIndex = runs.add(QStringLiteral("(d) requestDataLock() to its answer"), [&]() {
        if (domain.requestDataLock(QStringLiteral("bench")) != 0 ||
            !ombench::waitFor(&domain, &AdarpDomain::responseReceived))
            failed = true;
    });
    // Opening is two connections and a read; a change is one message
    // through the broker; a request is one round trip through the service.
    runs.expect(constructIndex, ombench::Target::atMost(4.0));
    runs.expect(changeIndex, ombench::Target::atMost(3.0));
    runs.expect(requestIndex, ombench::Target::atMost(3.0));
    runs.run(iterations, 20, 10);
    if (failed)
        std::fprintf(stderr, "bench_datalock: an operation failed\n");
    std::printf("bench_datalock: %d iterations\n\n", iterations);
    runs.report();
    return failed ? 1 : 0;
}
