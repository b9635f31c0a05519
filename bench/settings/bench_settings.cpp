// The notification settings' exchanges with a real omdeviced, against the
// floor of one request and answer on a raw socket, all measured in turn:
//   (a) constructing NotificationGlobalSettings: subscribe, query, read;
//   (b) constructing NotificationApplicationSettings;
//   (d) a global setter, until the device's answer (the device keeps the
//       change before it answers);
//   (e) a global setter, until the change is back as a signal;
//   (f) NotificationDefaultApplicationSettings::apply().
// Usage: bench_settings [iterations]

#include <om/platform/notificationapplicationsettings.h>
#include <om/platform/notificationdefaultapplicationsettings.h>
#include <om/platform/notificationglobalsettings.h>

#include "benchcommon.h"
#include "deviceprocess.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <cstdio>

using namespace om::platform;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 300;
    qputenv("OM_PACKAGE_NAME", "com.example.bench");

    // The floor's server is forked before the device's process exists.
    ombench::SocketFloor floor(120, 300);
    omtest::DeviceProcess device;
    if (!device.start()) {
        std::fprintf(stderr, "bench_settings: omdeviced did not start\n");
        return 1;
    }

    NotificationGlobalSettings settings;
    int answered = 10;
    int signalled = 20;
    QEventLoop loop;
    QObject::connect(&settings, &NotificationGlobalSettings::volumeChanged, &loop, [&](int value) {
        if (value == signalled)
            loop.quit();
    });
    NotificationDefaultApplicationSettings defaults;
    defaults.setSound(NotificationPolicy::Deny);
    int count = 1;
    bool failed = false;

    ombench::Comparison runs(QStringLiteral("Settings against the floor"));
    runs.setFloor(QStringLiteral("(c) raw SOCK_SEQPACKET round trip (floor)"),
                  [&]() { floor.roundTrip(); });
    runs.add(QStringLiteral("(a) NotificationGlobalSettings()"),
             []() { NotificationGlobalSettings settings; });
    runs.add(QStringLiteral("(b) NotificationApplicationSettings()"),
             []() { NotificationApplicationSettings settings; });
    const int writeIndex = runs.add(QStringLiteral("(d) setVolume(), to the answer"), [&]() {
        answered = answered == 10 ? 11 : 10;
        if (settings.setVolume(answered) != NotificationSettingsError::None)
            failed = true;
    });
    runs.add(QStringLiteral("(e) setVolume(), to volumeChanged"), [&]() {
        signalled = signalled == 20 ? 21 : 20;
        settings.setVolume(signalled);
        loop.exec();
    });
    runs.add(QStringLiteral("(f) NotificationDefaultApplicationSettings::apply()"), [&]() {
        count = count == 2 ? 3 : 2;
        defaults.setVibrateCount(count);
        if (defaults.apply() != NotificationSettingsError::None)
            failed = true;
    });
    runs.expect(writeIndex, ombench::Target::atMost(3.0));
    runs.run(iterations, 20, 10);
    if (failed)
        std::fprintf(stderr, "bench_settings: a setter failed\n");
    std::printf("bench_settings: %d iterations\n\n", iterations);
    runs.report();
    return failed ? 1 : 0;
}
