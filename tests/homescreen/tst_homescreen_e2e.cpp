// HomeScreen, PlatformInfo and the platform services against a real omdeviced and omctl.

#include <om/platform/homescreen.h>
#include <om/platform/platforminfo.h>

#include <oms/navigator.h>
#include <oms/oms.h>

#include "deviceprocess.h"
#include "warningcapture.h"

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

QString omctl(const QStringList &args)
{
    const DeviceProcess::Result result = DeviceProcess::omctl(args);
    return result.exitCode == 0
               ? QString::fromUtf8(result.out)
               : QString("exit %1: %2").arg(result.exitCode).arg(QString::fromUtf8(result.err));
}

// Whether `omctl home` shows @p line; "name: value" lines are matched as omctl aligns them.
bool homeShows(const QString &line)
{
    const int colon = line.indexOf(QLatin1String(": "));
    const QString expected = line.startsWith(QLatin1Char(' ')) || colon < 0
                                 ? line
                                 : line.left(colon + 1).leftJustified(16) + line.mid(colon + 2);
    return omctl({"home"}).split(QLatin1Char('\n')).contains(expected);
}

} // namespace

class tst_HomeScreenE2E : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<DeviceProcess> m_device;
    QTemporaryDir m_files;

    QString image(const QString &name)
    {
        QFile file(m_files.path() + '/' + name);
        return file.open(QIODevice::WriteOnly) && file.write("\x89PNG") == 4
                   ? QFileInfo(file).canonicalFilePath()
                   : QString();
    }

private Q_SLOTS:
    void init() { m_device.reset(new DeviceProcess); }

    void cleanup() { m_device.reset(); }

    // The device takes a wallpaper, and refuses one while the wallpaper is locked.
    void wallpaper()
    {
        QVERIFY(m_device->start());
        HomeScreen home;
        QCOMPARE(home.wallpaperLockState(), WallpaperLockState::Unlocked);
        QSignalSpy finished(&home, QOverload<const QUrl &, WallpaperResult::Type>::of(
                                       &HomeScreen::wallpaperFinished));
        QSignalSpy lockSpy(
            &home, QOverload<WallpaperLockState::Type>::of(&HomeScreen::wallpaperLockStateChanged));
        const QString sea = image("sea.png");
        omtest::WarningCapture capture;
        QVERIFY(home.setWallpaper(QUrl::fromLocalFile(sea)));
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(1).value<WallpaperResult::Type>(), WallpaperResult::Changed);
        QCOMPARE(capture.warnings(), QStringList());
        QVERIFY(homeShows("Wallpaper: " + sea));

        QCOMPARE(omctl({"wallpaper-lock", "on"}), QStringLiteral("Wallpaper lock: on\n"));
        QVERIFY(lockSpy.wait());
        QCOMPARE(lockSpy.at(0).at(0).value<WallpaperLockState::Type>(), WallpaperLockState::Locked);
        const QUrl forest = QUrl::fromLocalFile(image("forest.jpg"));
        QVERIFY(!home.setWallpaper(forest));
        QCOMPARE(finished.count(), 2);
        QCOMPARE(finished.at(1).at(0).toUrl(), forest);
        QCOMPARE(finished.at(1).at(1).value<WallpaperResult::Type>(), WallpaperResult::Locked);
        QCOMPARE(
            capture.warnings(),
            QStringList(QString("HomeScreen::setWallpaper() - Failed to set wallpaper, errno =  %1")
                            .arg(QString::fromLocal8Bit(std::strerror(EPERM)))));
        QVERIFY(homeShows("Wallpaper: " + sea));

        QCOMPARE(omctl({"wallpaper-lock", "off"}), QStringLiteral("Wallpaper lock: off\n"));
        QVERIFY(lockSpy.wait());
        QVERIFY(home.setWallpaper(forest));
        QVERIFY(homeShows("Wallpaper: " + forest.toLocalFile()));
    }

    void shortcutIsListedAndKept()
    {
        QVERIFY(m_device->start());
        const QString icon = image("shop.png");
        const QUrl url(QString("https://shop.example.com/?ref=home"));
        const QString listed = QString("  \"Shop Now\" %1 (icon %2)").arg(url.toString(), icon);
        {
            HomeScreen home;
            omtest::WarningCapture capture;
            QVERIFY(home.addShortcut(QUrl::fromLocalFile(icon), "  Shop   Now ", url));
            QCOMPARE(capture.warnings(), QStringList());
            QVERIFY(homeShows("Shortcuts: 1"));
            QVERIFY(homeShows(listed));

            // The same URL again is refused, with the navigator's reason.
            QVERIFY(!home.addShortcut(QUrl::fromLocalFile(icon), "Again", url));
            const QString refused = "HomeScreen::addShortcut() - Failed to add shortcut, errno =  "
                                    "%1 ,  a shortcut for %2 is already on the home screen";
            QCOMPARE(capture.warnings(),
                     QStringList(refused.arg(QString::fromLocal8Bit(std::strerror(EEXIST)),
                                             url.toString())));
        }
        QVERIFY(m_device->stop());
        QVERIFY(m_device->start());
        QVERIFY(homeShows("Shortcuts: 1"));
        QVERIFY(homeShows(listed));
    }

    // Changes reach a live HomeScreen as signals, and its thread as navigator events.
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
            {"screenLocked", DeviceLockState::ScreenLocked},
            {"passwordLocked", DeviceLockState::PasswordLocked},
            {"pinBlocked", DeviceLockState::PinBlocked},
            {"notLocked", DeviceLockState::Unlocked}};
        for (int i = 0; i < steps.size(); ++i) {
            QCOMPARE(omctl({"lock", steps[i].first}),
                     QStringLiteral("Lock state:     %1\n").arg(steps[i].first));
            QTRY_COMPARE(lockSpy.count(), i + 1);
            QCOMPARE(lockSpy.last().at(0).value<DeviceLockState::Type>(), steps[i].second);
            QCOMPARE(lockIntSpy.last().at(0).toInt(), int(steps[i].second));
            oms_event_t *event = nullptr;
            QCOMPARE(oms_get_event(&event, 15000), 0);
            QVERIFY(event);
            QCOMPARE(oms_event_get_domain(event), navigator_get_domain());
            QCOMPARE(oms_event_get_code(event), int(NAVIGATOR_DEVICE_LOCK_STATE));
            QCOMPARE(QString::fromUtf8(navigator_event_get_data(event)), steps[i].first);
        }
        QCOMPARE(omctl({"-q", "bedside", "on"}), QString());
        QVERIFY(bedsideSpy.wait());
        QCOMPARE(bedsideSpy.at(0).at(0).toBool(), true);
        QVERIFY(homeShows("Bedside mode: on"));
    }

    // The device's own version, or one set for it, which stays for the next start.
    void osVersion()
    {
        PlatformInfo info;
        QVERIFY(m_device->start());
        QCOMPARE(info.osVersion(), QString("3.1.2.1017"));
        QVERIFY(m_device->stop());
        QCOMPARE(info.osVersion(), QString("0.0.0.0"));
        QVERIFY(m_device->start({"--set", "deviceproperties.osVersion=10.9.8.7654"}));
        QCOMPARE(info.osVersion(), QString("10.9.8.7654"));
        QVERIFY(m_device->stop());
        QVERIFY(m_device->start());
        QCOMPARE(info.osVersion(), QString("10.9.8.7654"));
    }
};

QTEST_GUILESS_MAIN(tst_HomeScreenE2E)

#include "tst_homescreen_e2e.moc"
