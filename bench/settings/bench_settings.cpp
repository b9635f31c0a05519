// The notification settings' exchanges with a real omdeviced, against the
// floor of one request and answer on a raw socket:
//   (a) constructing NotificationGlobalSettings: subscribe, query, read;
//   (b) constructing NotificationApplicationSettings;
//   (c) a global setter, until the device's answer (the device saves the
//       change before it answers);
//   (d) a global setter, until the change is back as a signal;
//   (e) NotificationDefaultApplicationSettings::apply().
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

    // The floor first, before the device's process exists.
    const ombench::Stats floor = ombench::rawSocketFloor(120, 300, iterations);
    omtest::DeviceProcess device;
    if (!device.start()) {
        std::fprintf(stderr, "bench_settings: omdeviced did not start\n");
        return 1;
    }
    const QString ref = QStringLiteral("floor");
    ombench::report(QStringLiteral("raw socket round trip (floor)"), floor);

    ombench::report(QStringLiteral("NotificationGlobalSettings()"),
                    ombench::measure([]() { NotificationGlobalSettings settings; }, iterations),
                    &floor, ref);
    ombench::report(
        QStringLiteral("NotificationApplicationSettings()"),
        ombench::measure([]() { NotificationApplicationSettings settings; }, iterations), &floor,
        ref);

    NotificationGlobalSettings settings;
    int volume = 10;
    ombench::report(QStringLiteral("setVolume(), to the answer"),
                    ombench::measure(
                        [&]() {
                            volume = volume == 10 ? 11 : 10;
                            settings.setVolume(volume);
                        },
                        iterations),
                    &floor, ref);

    QEventLoop loop;
    QObject::connect(&settings, &NotificationGlobalSettings::volumeChanged, &loop, [&](int value) {
        if (value == volume)
            loop.quit();
    });
    ombench::report(QStringLiteral("setVolume(), to volumeChanged"),
                    ombench::measure(
                        [&]() {
                            volume = volume == 20 ? 21 : 20;
                            settings.setVolume(volume);
                            loop.exec();
                        },
                        iterations),
                    &floor, ref);

    NotificationDefaultApplicationSettings defaults;
    defaults.setSound(NotificationPolicy::Deny);
    int count = 1;
    ombench::report(QStringLiteral("NotificationDefaultApplicationSettings::apply()"),
                    ombench::measure(
                        [&]() {
                            count = count == 2 ? 3 : 2;
                            defaults.setVibrateCount(count);
                            defaults.apply();
                        },
                        iterations),
                    &floor, ref);
    return 0;
}
