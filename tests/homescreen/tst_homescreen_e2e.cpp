// HomeScreen, PlatformInfo and the platform services library against a real
// omdeviced, with the default platform layer, and omctl on the user's side.

#include <om/platform/homescreen.h>
#include <om/platform/platforminfo.h>

#include <oms/navigator.h>
#include <oms/oms.h>

#include "deviceprocess.h"
#include "warningcapture.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest/QTest>

#include <cerrno>
#include <cstring>
#include <memory>

using om::platform::DeviceLockState;
using om::platform::HomeScreen;
using om::platform::PlatformInfo;
using om::platform::WallpaperLockState;
using om::platform::WallpaperResult;
using omtest::DeviceProcess;

namespace {

QString omctlOut(const QStringList &args)
{
    const DeviceProcess::Result result = DeviceProcess::omctl(args);
    return result.exitCode == 0 ? QString::fromUtf8(result.out)
                                : QStringLiteral("exit %1: %2")
                                      .arg(result.exitCode)
                                      .arg(QString::fromUtf8(result.err));
}

QStringList homeLines()
{
    return omctlOut({QStringLiteral("home")}).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString row(const QString &name, const QString &value)
{
    return (name + QLatin1Char(':')).leftJustified(16) + value;
}

} // namespace

class tst_HomeScreenE2E : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<DeviceProcess> m_device;
    std::unique_ptr<QTemporaryDir> m_files;

    QString image(const QString &name, const QByteArray &content = "\x89PNG pretend")
    {
        const QString path = m_files->path() + QLatin1Char('/') + name;
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        return QFileInfo(path).canonicalFilePath();
    }

private Q_SLOTS:
    void init()
    {
        m_device.reset(new DeviceProcess);
        m_files.reset(new QTemporaryDir);
        QVERIFY(m_files->isValid());
    }

    void cleanup()
    {
        m_device.reset();
        m_files.reset();
    }

    void wallpaperReachesTheDevice()
    {
        QVERIFY(m_device->start());
        HomeScreen home;
        QSignalSpy finished(&home, QOverload<const QUrl &, WallpaperResult::Type>::of(
                                       &HomeScreen::wallpaperFinished));
        const QString path = image(QStringLiteral("sea.png"), "sea pixels");
        omtest::WarningCapture capture;

        QVERIFY(home.setWallpaper(QUrl::fromLocalFile(path)));
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(1).value<WallpaperResult::Type>(), WallpaperResult::Changed);
        QCOMPARE(capture.warnings(), QStringList());
        QVERIFY(homeLines().contains(row(QStringLiteral("Wallpaper"), path)));

        // The device keeps a copy of its own: the application's file may go.
        QFile::remove(path);
        const QStringList kept = QDir(m_device->dataDirectory() + QStringLiteral("/navigator"))
                                     .entryList({QStringLiteral("wallpaper-*.png")}, QDir::Files);
        QCOMPARE(kept.size(), 1);
        QFile copy(m_device->dataDirectory() + QStringLiteral("/navigator/") + kept.first());
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), QByteArray("sea pixels"));
    }

    void lockedWallpaperIsRefused()
    {
        QVERIFY(m_device->start());
        HomeScreen home;
        QCOMPARE(home.wallpaperLockState(), WallpaperLockState::Unlocked);
        QSignalSpy lockSpy(
            &home, QOverload<WallpaperLockState::Type>::of(&HomeScreen::wallpaperLockStateChanged));
        QCOMPARE(omctlOut({QStringLiteral("wallpaper-lock"), QStringLiteral("on")}), QString());
        QVERIFY(lockSpy.wait());
        QCOMPARE(lockSpy.at(0).at(0).value<WallpaperLockState::Type>(), WallpaperLockState::Locked);

        QSignalSpy finished(&home,
                            QOverload<const QUrl &, int>::of(&HomeScreen::wallpaperFinished));
        const QUrl url = QUrl::fromLocalFile(image(QStringLiteral("forest.jpg")));
        omtest::WarningCapture capture;
        QVERIFY(!home.setWallpaper(url));
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(0).toUrl(), url);
        QCOMPARE(finished.at(0).at(1).toInt(), int(WallpaperResult::Locked));
        QCOMPARE(
            capture.warnings(),
            QStringList(
                QStringLiteral("HomeScreen::setWallpaper() - Failed to set wallpaper, errno =  %1")
                    .arg(QString::fromLocal8Bit(std::strerror(EPERM)))));
        QVERIFY(homeLines().contains(
            row(QStringLiteral("Wallpaper"), QStringLiteral("(the device's own)"))));

        QCOMPARE(omctlOut({QStringLiteral("wallpaper-lock"), QStringLiteral("off")}), QString());
        QVERIFY(lockSpy.wait());
        QVERIFY(home.setWallpaper(url));
    }

    void shortcutIsListedAndKept()
    {
        QVERIFY(m_device->start());
        const QString icon = image(QStringLiteral("shop.png"));
        const QUrl url(QStringLiteral("https://shop.example.com/?ref=home"));
        const QString listed =
            QStringLiteral("  \"Shop Now\" %1 (icon %2)").arg(url.toString(), icon);
        {
            HomeScreen home;
            omtest::WarningCapture capture;
            QVERIFY(
                home.addShortcut(QUrl::fromLocalFile(icon), QStringLiteral("  Shop   Now "), url));
            QCOMPARE(capture.warnings(), QStringList());
            QStringList lines = homeLines();
            QVERIFY(lines.contains(row(QStringLiteral("Shortcuts"), QStringLiteral("1"))));
            QVERIFY(lines.contains(listed));

            // The same URL again is refused, with the navigator's reason.
            QVERIFY(!home.addShortcut(QUrl::fromLocalFile(icon), QStringLiteral("Again"), url));
            QCOMPARE(capture.warnings(),
                     QStringList(
                         QStringLiteral(
                             "HomeScreen::addShortcut() - Failed to add shortcut, errno =  %1 ,  "
                             "a shortcut for %2 is already on the home screen")
                             .arg(QString::fromLocal8Bit(std::strerror(EEXIST)), url.toString())));
        }
        QVERIFY(m_device->stop());
        QVERIFY(m_device->start());
        const QStringList lines = homeLines();
        QVERIFY(lines.contains(row(QStringLiteral("Shortcuts"), QStringLiteral("1"))));
        QVERIFY(lines.contains(listed));
    }

    void stateChangesReachHomeScreen()
    {
        QVERIFY(m_device->start());
        HomeScreen home;
        QCOMPARE(home.lockState(), DeviceLockState::Unlocked);
        QCOMPARE(home.isBedsideModeActive(), false);
        QSignalSpy lockSpy(&home,
                           QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        QSignalSpy lockIntSpy(&home, QOverload<int>::of(&HomeScreen::lockStateChanged));
        QSignalSpy bedsideSpy(&home, &HomeScreen::bedsideModeActiveChanged);

        const QList<QPair<QString, DeviceLockState::Type>> steps = {
            {QStringLiteral("screenLocked"), DeviceLockState::ScreenLocked},
            {QStringLiteral("passwordLocked"), DeviceLockState::PasswordLocked},
            {QStringLiteral("pinBlocked"), DeviceLockState::PinBlocked},
            {QStringLiteral("notLocked"), DeviceLockState::Unlocked},
        };
        for (const auto &step : steps) {
            QCOMPARE(omctlOut({QStringLiteral("lock"), step.first}), QString());
            QTRY_COMPARE(lockSpy.count(), steps.indexOf(step) + 1);
            QCOMPARE(lockSpy.last().at(0).value<DeviceLockState::Type>(), step.second);
            QCOMPARE(lockIntSpy.last().at(0).toInt(), int(step.second));
        }
        QCOMPARE(omctlOut({QStringLiteral("bedside"), QStringLiteral("on")}), QString());
        QVERIFY(bedsideSpy.wait());
        QCOMPARE(bedsideSpy.at(0).at(0).toBool(), true);
        QCOMPARE(home.isBedsideModeActive(), true);
        QVERIFY(homeLines().contains(row(QStringLiteral("Bedside mode"), QStringLiteral("on"))));
    }

    void osVersion_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("expected");
        QTest::newRow("the device's own") << QStringList() << "3.1.2.1017";
        QTest::newRow("set for the device")
            << QStringList({QStringLiteral("--set"),
                            QStringLiteral("deviceproperties.osVersion=10.9.8.7654")})
            << "10.9.8.7654";
    }

    void osVersion()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, expected);
        PlatformInfo info;
        QVERIFY(m_device->start(arguments));
        QCOMPARE(info.osVersion(), expected);
        // What was set stays for the next start.
        QVERIFY(m_device->stop());
        QCOMPARE(info.osVersion(), QStringLiteral("0.0.0.0"));
        QVERIFY(m_device->start());
        QCOMPARE(info.osVersion(), expected);
    }

    void unknownDevicePropertyIsRefused()
    {
        QVERIFY(!m_device->start(
            {QStringLiteral("--set"), QStringLiteral("deviceproperties.colour=red")}));
        QVERIFY(m_device->output().contains("unknown setting deviceproperties.colour"));
    }

    void deviceAway()
    {
        omtest::WarningCapture capture;
        HomeScreen home;
        QCOMPARE(capture.warnings(),
                 QStringList(QStringLiteral("HomeScreen - Failed to open state PPS object:  \"%1\"")
                                 .arg(QString::fromLocal8Bit(std::strerror(ECONNREFUSED)))));
        capture.clear();
        QSignalSpy finished(&home, QOverload<const QUrl &, WallpaperResult::Type>::of(
                                       &HomeScreen::wallpaperFinished));
        QVERIFY(!home.setWallpaper(QUrl::fromLocalFile(image(QStringLiteral("a.png")))));
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(1).value<WallpaperResult::Type>(), WallpaperResult::Locked);
        QCOMPARE(
            capture.warnings(),
            QStringList(
                QStringLiteral("HomeScreen::setWallpaper() - Failed to set wallpaper, errno =  %1")
                    .arg(QString::fromLocal8Bit(std::strerror(ECONNREFUSED)))));

        // Once the device is there, the same object reaches it.
        QVERIFY(m_device->start());
        QVERIFY(home.setWallpaper(QUrl::fromLocalFile(image(QStringLiteral("a.png")))));
    }

    void navigatorEventsFromTheDevice()
    {
        QVERIFY(m_device->start());
        QCOMPARE(oms_initialize(), 0);
        QCOMPARE(navigator_request_events(0), 0);
        QCOMPARE(omctlOut({QStringLiteral("lock"), QStringLiteral("passwordLocked")}), QString());
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, 15000), 0);
        QVERIFY(event);
        QCOMPARE(oms_event_get_domain(event), navigator_get_domain());
        QCOMPARE(oms_event_get_code(event), int(NAVIGATOR_DEVICE_LOCK_STATE));
        QCOMPARE(QByteArray(navigator_event_get_data(event)), QByteArray("passwordLocked"));
        oms_shutdown();
    }

    void badgeAndClosePrompt()
    {
        QVERIFY(m_device->start());
        qputenv("OM_PACKAGE_NAME", "com.example.notes");
        QCOMPARE(oms_initialize(), 0);
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        QCOMPARE(navigator_set_close_prompt("Leave?", "Your note is not saved"), 0);
        QStringList lines = homeLines();
        QVERIFY(lines.contains(QStringLiteral("  com.example.notes: splat")));
        QVERIFY(lines.contains(
            QStringLiteral("  com.example.notes: \"Leave?\" \"Your note is not saved\"")));

        // A close prompt lasts as long as the application's connection; a
        // badge stays until cleared.
        oms_shutdown();
        QTRY_VERIFY(
            homeLines().contains(row(QStringLiteral("Close prompts"), QStringLiteral("0"))));
        QVERIFY(homeLines().contains(row(QStringLiteral("Badges"), QStringLiteral("1"))));
        QCOMPARE(navigator_clear_badge(), 0);
        QVERIFY(homeLines().contains(row(QStringLiteral("Badges"), QStringLiteral("0"))));
        qunsetenv("OM_PACKAGE_NAME");
    }

    void omctlErrors_data()
    {
        QTest::addColumn<bool>("deviceRuns");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error");
        QTest::newRow("lock without a state")
            << true << QStringList({QStringLiteral("lock")}) << 2
            << "omctl: lock takes one of notLocked, screenLocked, passwordLocked, pinBlocked (see "
               "'omctl --help')";
        QTest::newRow("lock with an unknown state")
            << true << QStringList({QStringLiteral("lock"), QStringLiteral("open")}) << 2
            << "omctl: lock takes one of notLocked, screenLocked, passwordLocked, pinBlocked (see "
               "'omctl --help')";
        QTest::newRow("bedside maybe")
            << true << QStringList({QStringLiteral("bedside"), QStringLiteral("maybe")}) << 2
            << "omctl: bedside takes on or off (see 'omctl --help')";
        QTest::newRow("wallpaper-lock twice")
            << true
            << QStringList(
                   {QStringLiteral("wallpaper-lock"), QStringLiteral("on"), QStringLiteral("on")})
            << 2 << "omctl: wallpaper-lock takes on or off (see 'omctl --help')";
        QTest::newRow("home with an argument")
            << true << QStringList({QStringLiteral("home"), QStringLiteral("x")}) << 2
            << "omctl: home takes no arguments (see 'omctl --help')";
        QTest::newRow("device away")
            << false << QStringList({QStringLiteral("home")}) << 1
            << "omctl: /pps/simulator/navigator: no bus broker is running at %1 (start omdeviced)";
    }

    void omctlErrors()
    {
        QFETCH(bool, deviceRuns);
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, error);
        if (deviceRuns)
            QVERIFY(m_device->start());
        const DeviceProcess::Result result = DeviceProcess::omctl(arguments);
        QCOMPARE(result.exitCode, exitCode);
        QCOMPARE(result.out, QByteArray());
        if (error.contains(QLatin1String("%1")))
            error = error.arg(m_device->root());
        QCOMPARE(QString::fromUtf8(result.err), error + QLatin1Char('\n'));
    }
};

QTEST_GUILESS_MAIN(tst_HomeScreenE2E)

#include "tst_homescreen_e2e.moc"
