// What the home screen's calls cost against a real omdeviced, measured in
// turn with the floor of one request and answer on a raw socket:
//   (a) HomeScreen::setWallpaper(): a file check and a navigator request;
//   (b) navigator_set_badge(): one request on the process's connection;
//   (d) PlatformInfo::osVersion(): a connection opened, a request, closed;
//   (e) HomeScreen::lockState() with nothing new: a look at the state object.
// Usage: bench_homescreen [iterations]

#include <om/platform/homescreen.h>
#include <om/platform/platforminfo.h>

#include <oms/navigator.h>
#include <oms/oms.h>

#include "benchcommon.h"
#include "deviceprocess.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

using om::platform::HomeScreen;
using om::platform::PlatformInfo;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 500;

    ombench::SocketFloor floor(200, 100);
    omtest::DeviceProcess device;
    if (!device.start()) {
        std::fprintf(stderr, "bench_homescreen: omdeviced did not start\n");
        return 1;
    }
    QTemporaryDir files;
    const QString image = files.path() + QStringLiteral("/wall.png");
    QFile file(image);
    if (!file.open(QIODevice::WriteOnly) || file.write(QByteArray(64 * 1024, 'x')) != 64 * 1024) {
        std::fprintf(stderr, "bench_homescreen: cannot write %s\n", qPrintable(image));
        return 1;
    }
    file.close();

    bool failed = false;
    HomeScreen home;
    PlatformInfo info;
    const QUrl url = QUrl::fromLocalFile(image);
    if (oms_initialize() != 0) {
        std::fprintf(stderr, "bench_homescreen: oms_initialize() failed\n");
        return 1;
    }
    ombench::Comparison runs(QStringLiteral("Home screen against the floor"));
    runs.setFloor(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"),
                  [&]() { floor.roundTrip(); });
    const int wallpaperIndex = runs.add(QStringLiteral("(a) HomeScreen::setWallpaper()"), [&]() {
        if (!home.setWallpaper(url))
            failed = true;
    });
    const int badgeIndex = runs.add(QStringLiteral("(b) navigator_set_badge()"), [&]() {
        if (navigator_set_badge(NAVIGATOR_BADGE_SPLAT) != 0)
            failed = true;
    });
    const int versionIndex = runs.add(QStringLiteral("(d) PlatformInfo::osVersion()"), [&]() {
        if (info.osVersion() != QLatin1String("3.1.2.1017"))
            failed = true;
    });
    const int lockIndex = runs.add(QStringLiteral("(e) HomeScreen::lockState(), nothing new"),
                                   [&]() { home.lockState(); });
    // A request on an open connection is one round trip with a codec at
    // each end; osVersion() opens and closes a connection of its own too;
    // a look that finds nothing is one system call.
    runs.expect(badgeIndex, ombench::Target::atMost(3.0));
    runs.expect(wallpaperIndex, ombench::Target::atMost(4.0));
    runs.expect(versionIndex, ombench::Target::atMost(4.0));
    runs.expect(lockIndex, ombench::Target::atMost(0.5));
    runs.run(iterations, 20, 10);
    oms_shutdown();
    if (failed)
        std::fprintf(stderr, "bench_homescreen: an operation failed\n");
    std::printf("bench_homescreen: %d iterations\n\n", iterations);
    runs.report();
    return failed ? 1 : 0;
}
