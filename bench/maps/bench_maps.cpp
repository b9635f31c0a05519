// The maps: building the content of a map or a route, and one invocation
// from invoke() to finished() through the device's invocation service, all
// measured in turn with the floor of one request and answer on a raw
// socket:
//   (a) generateMapViewContent();
//   (b) generateNavigationViewContent();
//   (d) an invocation of the maps application against a real omdeviced.
// Usage: bench_maps [iterations]

#include "benchcommon.h"
#include "benchwait.h"
#include "deviceprocess.h"

#include <om/platform/contentformatutility.h>
#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QCoreApplication>

#include <cstdio>
#include <memory>

using namespace om::platform;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 500;

    om::system::InvokeRequest request;
    request.setAction(QStringLiteral("om.action.OPEN"));
    request.setMimeType(ACTION_INVOKE_TYPE);
    request.setData(generateDeviceLocation().toLatin1() + QByteArray(1, '\0'));

    ombench::SocketFloor floor(400, 150);
    omtest::DeviceProcess device;
    if (!device.start({QStringLiteral("--services=invoke")})) {
        std::fprintf(stderr, "bench_maps: omdeviced did not start\n");
        return 1;
    }

    bool failed = false;
    om::system::InvokeManager manager;
    ombench::Comparison runs(QStringLiteral("Maps against the floor"));
    runs.setFloor(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"),
                  [&]() { floor.roundTrip(); });
    const int mapIndex = runs.add(QStringLiteral("(a) generateMapViewContent()"), [&]() {
        const QString content = generateMapViewContent(
            JsonContent, 43.6532, -79.3832, 1200, 90, true, 43.65, -79.38, QStringLiteral("coffee"),
            MapSearchMode::Radial, 43.6426, -79.3871, QStringLiteral("Tower"),
            QStringLiteral("Deck"), false);
        if (content.size() != 327)
            failed = true;
    });
    const int routeIndex = runs.add(QStringLiteral("(b) generateNavigationViewContent()"), [&]() {
        const QString content = generateNavigationViewContent(
            JsonContent, UnsetCoordinate, UnsetCoordinate, 0, 0, 43.6532, -79.3832,
            QStringLiteral("Home"), QString(), QString(), 43.4723, -80.5449,
            QStringLiteral("Office"), QString(), QStringLiteral("1 Main St"),
            HandsFreeNavigation::Enabled, MapNavigationMode::ShortestRoute, true, false, true,
            MapTransportationMode::Car, UnsetCoordinate, UnsetCoordinate, QString(),
            MapSearchMode::Radial, false);
        if (content.size() != 353)
            failed = true;
    });
    const int invokeIndex =
        runs.add(QStringLiteral("(d) invoke() to finished(), omdeviced"), [&]() {
            std::unique_ptr<om::system::InvokeTargetReply> reply(manager.invoke(request));
            if (!ombench::waitFor(reply.get(), &om::system::InvokeReply::finished) ||
                reply->error() != 0)
                failed = true;
        });
    // Content is built in less than one round trip; the invocation is one
    // round trip through the service.
    runs.expect(mapIndex, ombench::Target::atMost(1.0));
    runs.expect(routeIndex, ombench::Target::atMost(1.0));
    runs.expect(invokeIndex, ombench::Target::atMost(4.0));
    runs.run(iterations, 20, 10);
    if (failed)
        std::fprintf(stderr, "bench_maps: an operation failed\n");
    std::printf("bench_maps: %d iterations\n\n", iterations);
    runs.report();
    return failed ? 1 : 0;
}
