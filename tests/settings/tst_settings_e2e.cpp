#include "deviceprocess.h"
#include "settingstest.h"

using namespace om::platform;
using settingstest::describe;

namespace {

const QString FactoryTone = "file:///usr/share/sounds/omdevice/notification.wav";
const QString FactoryGlobal = "sound=1 vibrate=1 led=1 preview=1 volume=80 mode=3";
const QString FactoryApplication =
    "alerts=1 sound=1 vibrate=1 led=1 preview=1 count=1 tone=" + FactoryTone;

int omctl(const QStringList &arguments)
{
    return omtest::DeviceProcess::omctl(QStringList{"settings"} + arguments).exitCode;
}

} // namespace

class tst_SettingsEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void changesArriveAsSignals_data();
    void changesArriveAsSignals();
    void registeredDefaultsUntilUserOverrides();
    void settingsControlRefusesOtherUsers_data();
    void settingsControlRefusesOtherUsers();

private:
    std::unique_ptr<omtest::DeviceProcess> m_device;
};

void tst_SettingsEndToEnd::init()
{
    qputenv("OM_PACKAGE_NAME", "com.example.e2e");
    m_device.reset(new omtest::DeviceProcess);
    QVERIFY(m_device->start());
}

void tst_SettingsEndToEnd::cleanup()
{
    m_device.reset();
}

void tst_SettingsEndToEnd::changesArriveAsSignals_data()
{
    QTest::addColumn<QStringList>("change");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QVariant>("signalled");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const QStringList &change, const char *signal,
                        const QVariant &signalled, const QString &from, const QString &to) {
        QTest::newRow(name)
            << change << QByteArray(signal) << signalled
            << QString(FactoryGlobal + " | " + FactoryApplication).replace(from, to);
    };
    row("omctl: global sound", {"global", "sound", "off"}, SIGNAL(soundChanged(int)), 2,
        "sound=1 vibrate=1 led=1 preview=1 volume", "sound=2 vibrate=1 led=1 preview=1 volume");
    row("omctl: app alerts", {"app", "com.example.e2e", "alerts", "off"},
        SIGNAL(alertsEnabledChanged(bool)), false, "alerts=1", "alerts=0");
    row("setter: volume, clamped", {"setVolume", "150"}, SIGNAL(volumeChanged(int)), 100,
        "volume=80", "volume=100");
}

void tst_SettingsEndToEnd::changesArriveAsSignals()
{
    QFETCH(QStringList, change);
    QFETCH(QByteArray, signal);
    QFETCH(QVariant, signalled);
    QFETCH(QString, expected);

    NotificationGlobalSettings global;
    NotificationApplicationSettings application;
    QObject *follower = change.first() == "app" ? static_cast<QObject *>(&application) : &global;
    QSignalSpy spy(follower, signal.constData());
    // Another application's change comes first: neither object hears of it.
    QCOMPARE(omctl({"app", "com.example.other", "vib_count", "5"}), 0);
    if (change.first().startsWith("set")) {
        // A setter's change comes back later, as the device's update.
        QCOMPARE(int(global.setVolume(change.last().toInt())),
                 int(NotificationSettingsError::None));
        QCOMPARE(describe(global), FactoryGlobal);
    } else {
        QCOMPARE(omctl(change), 0);
    }
    QVERIFY(spy.wait());
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0), signalled);
    QCOMPARE(describe(global) + " | " + describe(application), expected);
}

void tst_SettingsEndToEnd::registeredDefaultsUntilUserOverrides()
{
    qputenv("OM_PACKAGE_NAME", "com.example.defaults");
    NotificationApplicationSettings settings;

    NotificationDefaultApplicationSettings defaults;
    defaults.setSound(NotificationPolicy::Deny);
    defaults.setPreview(NotificationPriorityPolicy::PriorityOnly);
    defaults.setVibrateCount(3);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QTRY_COMPARE(describe(settings),
                 "alerts=1 sound=2 vibrate=1 led=1 preview=4 count=3 tone=" + FactoryTone);

    // The user turns the sound on: that choice outlives the next registration.
    QCOMPARE(omctl({"app", "com.example.defaults", "sound", "on"}), 0);
    QTRY_COMPARE(settings.sound(), NotificationPolicy::Allow);
    // omctl tells where each of the application's settings comes from.
    const QByteArray listing = omtest::DeviceProcess::omctl({"settings"}).out.simplified();
    QVERIFY2(listing.contains("app com.example.defaults alerts on factory sound on user vibrate on "
                              "factory led on factory preview priority registered vib_count 3 registered"),
             listing.constData());

    // A new registration replaces the old: the preview goes back to the
    // factory's, the count follows, the user's sound stays.
    defaults.setPreview(NotificationPriorityPolicy::Unknown);
    defaults.setVibrateCount(4);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QTRY_COMPARE(settings.vibrateCount(), 4);
    const QString expected =
        "alerts=1 sound=1 vibrate=1 led=1 preview=1 count=4 tone=" + FactoryTone;
    QCOMPARE(describe(settings), expected);

    // All of it is kept across a restart of the device.
    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());
    QCOMPARE(describe(NotificationApplicationSettings()), expected);
}

void tst_SettingsEndToEnd::settingsControlRefusesOtherUsers_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("result");
    QTest::newRow("owner only, by default") << QStringList() << int(NotificationSettingsError::InsufficientPermissions);
    QTest::newRow("opened to all") << QStringList{"--set", "settings-control-mode=0666"}
                                   << int(NotificationSettingsError::None);
}

void tst_SettingsEndToEnd::settingsControlRefusesOtherUsers()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, result);
    if (!omtest::canDropPrivileges())
        QSKIP("running without the rights needs root to begin with");
    QVERIFY(m_device->stop());
    QVERIFY(m_device->start(arguments));
    NotificationGlobalSettings settings;
    QCOMPARE(int(settingstest::asNobody([&]() { return settings.setVolume(20); })), result);
}

QTEST_GUILESS_MAIN(tst_SettingsEndToEnd)
#include "tst_settings_e2e.moc"
