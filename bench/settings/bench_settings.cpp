// Time of the settings classes' exchanges with a real omdeviced: reading at
// construction, a setter's answer, a setter's change coming back as a
// signal, and registering defaults.

#include <om/platform/notificationapplicationsettings.h>
#include <om/platform/notificationdefaultapplicationsettings.h>
#include <om/platform/notificationglobalsettings.h>

#include "deviceprocess.h"

#include <QtTest>

#include <memory>

using namespace om::platform;

class bench_Settings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("OM_PACKAGE_NAME", "com.example.bench");
        m_device.reset(new omtest::DeviceProcess);
        QVERIFY(m_device->start());
    }
    void cleanupTestCase() { m_device.reset(); }

    void constructGlobal()
    {
        QBENCHMARK
        {
            NotificationGlobalSettings settings;
            QVERIFY(settings.volume() >= 0);
        }
    }

    void constructApplication()
    {
        QBENCHMARK
        {
            NotificationApplicationSettings settings;
            QVERIFY(settings.vibrateCount() >= 1);
        }
    }

    void setterAnswer()
    {
        NotificationGlobalSettings settings;
        int volume = 0;
        QBENCHMARK
        {
            volume = volume == 10 ? 11 : 10;
            QCOMPARE(int(settings.setVolume(volume)), int(NotificationSettingsError::None));
        }
    }

    void setterToSignal()
    {
        NotificationGlobalSettings settings;
        QSignalSpy spy(&settings, &NotificationGlobalSettings::volumeChanged);
        int volume = settings.volume();
        QBENCHMARK
        {
            volume = volume == 20 ? 21 : 20;
            QCOMPARE(int(settings.setVolume(volume)), int(NotificationSettingsError::None));
            QVERIFY(spy.wait());
            QCOMPARE(settings.volume(), volume);
        }
    }

    void registerDefaults()
    {
        NotificationDefaultApplicationSettings defaults;
        defaults.setSound(NotificationPolicy::Deny);
        defaults.setVibrateCount(3);
        QBENCHMARK
        {
            QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
        }
    }

private:
    std::unique_ptr<omtest::DeviceProcess> m_device;
};

QTEST_GUILESS_MAIN(bench_Settings)
#include "bench_settings.moc"
