// The notification settings end to end: the library's objects against a
// real omdeviced, with the user's side played by omctl.

#include <om/platform/notificationapplicationsettings.h>
#include <om/platform/notificationdefaultapplicationsettings.h>
#include <om/platform/notificationglobalsettings.h>

#include "describe.h"
#include "deviceprocess.h"
#include "otheruser.h"
#include "warningcapture.h"

#include <om/ppsobject.h>

#include <QtTest>

#include <memory>

using namespace om::platform;
using settingstest::describe;

namespace {

const QString ControlPath = "/pps/services/notify/control";
const QString FactoryTone = "file:///usr/share/sounds/omdevice/notification.wav";
const QString FactoryGlobal = "sound=1 vibrate=1 led=1 preview=1 volume=80 mode=3";
const QString FactoryApplication =
    "alerts=1 sound=1 vibrate=1 led=1 preview=1 count=1 tone=" + FactoryTone;

omtest::DeviceProcess::Result omctl(const QStringList &arguments)
{
    return omtest::DeviceProcess::omctl(arguments);
}

// One request on a bus object, answered before it returns: the attributes
// of the first object of the answer.
QVariantMap ask(const QString &path, const QVariantMap &request)
{
    om::PpsObject pps(path + "?wait");
    if (!pps.open(om::PpsOpenMode::PublishSubscribe) || !pps.write(om::PpsObject::encode(request)))
        return {{"failed", pps.error()}};
    bool ok = false;
    const QVariantMap answer = om::PpsObject::decode(pps.read(&ok));
    return answer.isEmpty() ? QVariantMap() : answer.first().toMap();
}

} // namespace

class tst_SettingsEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void globalFollowsOmctl_data();
    void globalFollowsOmctl();
    void applicationFollowsOmctl_data();
    void applicationFollowsOmctl();
    void updatesOnlyForWhatIsFollowed();
    void setterArrivesLaterAsSignal();
    void setterRefusedByDevice_data();
    void setterRefusedByDevice();
    void registeredDefaultsUntilUserOverrides();
    void settingsSurviveRestart();
    void restrictedSettingsControl_data();
    void restrictedSettingsControl();
    void deviceAnswers_data();
    void deviceAnswers();
    void omctlListsSettings();
    void omctlBadInput_data();
    void omctlBadInput();

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

void tst_SettingsEndToEnd::globalFollowsOmctl_data()
{
    QTest::addColumn<QStringList>("change");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<int>("signalled");
    QTest::addColumn<QString>("expected");

    QTest::newRow("sound") << QStringList{"sound", "off"} << QByteArray(SIGNAL(soundChanged(int)))
                           << 2 << "sound=2 vibrate=1 led=1 preview=1 volume=80 mode=3";
    QTest::newRow("volume") << QStringList{"volume", "5"} << QByteArray(SIGNAL(volumeChanged(int)))
                            << 5 << "sound=1 vibrate=1 led=1 preview=1 volume=5 mode=3";
    QTest::newRow("mode") << QStringList{"mode", "phoneonly"}
                          << QByteArray(SIGNAL(modeChanged(int))) << 4
                          << "sound=1 vibrate=1 led=1 preview=1 volume=80 mode=4";
}

void tst_SettingsEndToEnd::globalFollowsOmctl()
{
    QFETCH(QStringList, change);
    QFETCH(QByteArray, signal);
    QFETCH(int, signalled);
    QFETCH(QString, expected);

    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), FactoryGlobal);
    QSignalSpy spy(&settings, signal.constData());
    QCOMPARE(omctl(QStringList{"settings", "global"} + change).exitCode, 0);
    QVERIFY(spy.wait());
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), signalled);
    QCOMPARE(describe(settings), expected);
}

void tst_SettingsEndToEnd::applicationFollowsOmctl_data()
{
    QTest::addColumn<QStringList>("change");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QVariant>("signalled");
    QTest::addColumn<QString>("expected");

    const auto factory = [](const QString &from, const QString &to) {
        return QString(FactoryApplication).replace(from, to);
    };
    QTest::newRow("alerts") << QStringList{"alerts", "off"}
                            << QByteArray(SIGNAL(alertsEnabledChanged(bool))) << QVariant(false)
                            << factory("alerts=1", "alerts=0");
    QTest::newRow("preview") << QStringList{"preview", "priority"}
                             << QByteArray(SIGNAL(previewChanged(int))) << QVariant(4)
                             << factory("preview=1", "preview=4");
    QTest::newRow("tone, given as a path")
        << QStringList{"tone", "/tones/my bell.wav"} << QByteArray(SIGNAL(tonePathChanged(QUrl)))
        << QVariant(QUrl("file:///tones/my%20bell.wav"))
        << factory(FactoryTone, "file:///tones/my bell.wav");
}

void tst_SettingsEndToEnd::applicationFollowsOmctl()
{
    QFETCH(QStringList, change);
    QFETCH(QByteArray, signal);
    QFETCH(QVariant, signalled);
    QFETCH(QString, expected);

    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), FactoryApplication);
    QSignalSpy spy(&settings, signal.constData());
    QCOMPARE(omctl(QStringList{"settings", "app", "com.example.e2e"} + change).exitCode, 0);
    QVERIFY(spy.wait());
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0), signalled);
    QCOMPARE(describe(settings), expected);
}

void tst_SettingsEndToEnd::updatesOnlyForWhatIsFollowed()
{
    qputenv("OM_PACKAGE_NAME", "com.example.first");
    NotificationApplicationSettings first;
    qputenv("OM_PACKAGE_NAME", "com.example.second");
    NotificationApplicationSettings second;
    NotificationGlobalSettings global;
    QSignalSpy firstSpy(&first, &NotificationApplicationSettings::vibrateCountChanged);
    QSignalSpy secondSpy(&second, &NotificationApplicationSettings::vibrateCountChanged);
    QSignalSpy globalSpy(&global, &NotificationGlobalSettings::volumeChanged);

    QCOMPARE(omctl({"settings", "app", "com.example.second", "vib_count", "2"}).exitCode, 0);
    QVERIFY(secondSpy.wait());
    QCOMPARE(omctl({"settings", "global", "volume", "60"}).exitCode, 0);
    QVERIFY(globalSpy.wait());
    QCOMPARE(omctl({"settings", "app", "com.example.first", "vib_count", "5"}).exitCode, 0);
    QVERIFY(firstSpy.wait());

    // Each heard its own change, and only that one.
    QCOMPARE(firstSpy.size(), 1);
    QCOMPARE(secondSpy.size(), 1);
    QCOMPARE(globalSpy.size(), 1);
    QCOMPARE(first.vibrateCount(), 5);
    QCOMPARE(second.vibrateCount(), 2);
}

void tst_SettingsEndToEnd::setterArrivesLaterAsSignal()
{
    NotificationGlobalSettings settings;
    NotificationGlobalSettings other;
    QSignalSpy volumeSpy(&settings, &NotificationGlobalSettings::volumeChanged);
    QSignalSpy otherSpy(&other, &NotificationGlobalSettings::volumeChanged);

    QCOMPARE(int(settings.setVolume(150)), int(NotificationSettingsError::None));
    QCOMPARE(settings.volume(), 80);
    QVERIFY(volumeSpy.wait());
    QCOMPARE(volumeSpy.at(0).at(0).toInt(), 100);
    QTRY_COMPARE(otherSpy.size(), 1);

    // The same value again is accepted and changes nothing; a later change
    // shows that no signal for it was on its way.
    QCOMPARE(int(settings.setVolume(100)), int(NotificationSettingsError::None));
    QSignalSpy modeSpy(&settings, qOverload<int>(&NotificationGlobalSettings::modeChanged));
    QCOMPARE(int(settings.setMode(NotificationMode::AlertsOff)),
             int(NotificationSettingsError::None));
    QVERIFY(modeSpy.wait());
    QCOMPARE(volumeSpy.size(), 1);
    QCOMPARE(describe(settings), QString("sound=1 vibrate=1 led=1 preview=1 volume=100 mode=5"));
}

void tst_SettingsEndToEnd::setterRefusedByDevice_data()
{
    QTest::addColumn<QByteArray>("setter");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("err");
    QTest::newRow("mode Unknown")
        << QByteArray("setMode") << 0
        << "mode must be one of silent, vibrate, normal, phoneonly, alertsoff, not ''";
    QTest::newRow("led 7, as a script may")
        << QByteArray("setLed") << 7 << "led must be on or off, not ''";
}

void tst_SettingsEndToEnd::setterRefusedByDevice()
{
    QFETCH(QByteArray, setter);
    QFETCH(int, value);
    QFETCH(QString, err);

    NotificationGlobalSettings settings;
    omtest::WarningCapture capture;
    int result = -1;
    QVERIFY(QMetaObject::invokeMethod(&settings, setter.constData(), Q_RETURN_ARG(int, result),
                                      Q_ARG(int, value)));
    QCOMPARE(result, int(NotificationSettingsError::Internal));
    QCOMPARE(capture.warnings(),
             QStringList{"NotificationGlobalSettings::sendMessage(): The PPS interface may have "
                         "changed. ERRNO:  \"" +
                         err + "\"  PPS:  \"/pps/services/notify/settings-control?wait\""});
}

void tst_SettingsEndToEnd::registeredDefaultsUntilUserOverrides()
{
    qputenv("OM_PACKAGE_NAME", "com.example.defaults");
    NotificationApplicationSettings settings;
    QSignalSpy countSpy(&settings, &NotificationApplicationSettings::vibrateCountChanged);
    QSignalSpy soundSpy(&settings, qOverload<int>(&NotificationApplicationSettings::soundChanged));

    NotificationDefaultApplicationSettings defaults;
    defaults.setSound(NotificationPolicy::Deny);
    defaults.setPreview(NotificationPriorityPolicy::PriorityOnly);
    defaults.setVibrateCount(3);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QVERIFY(countSpy.wait());
    QCOMPARE(describe(settings),
             "alerts=1 sound=2 vibrate=1 led=1 preview=4 count=3 tone=" + FactoryTone);

    // The user turns the sound on: that choice outlives the next registration.
    QCOMPARE(omctl({"settings", "app", "com.example.defaults", "sound", "on"}).exitCode, 0);
    QTRY_COMPARE(soundSpy.size(), 2);
    QCOMPARE(settings.sound(), NotificationPolicy::Allow);

    // A new registration replaces the old: the preview goes back to the
    // factory's, the count follows, the user's sound stays.
    defaults.setPreview(NotificationPriorityPolicy::Unknown);
    defaults.setVibrateCount(4);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QTRY_COMPARE(settings.vibrateCount(), 4);
    const QString expected =
        "alerts=1 sound=1 vibrate=1 led=1 preview=1 count=4 tone=" + FactoryTone;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(soundSpy.size(), 2);
    NotificationApplicationSettings fresh;
    QCOMPARE(describe(fresh), expected);

    // A registration the device refuses changes nothing.
    defaults.setLed(NotificationPolicy::Type(9));
    omtest::WarningCapture capture;
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::Internal));
    QCOMPARE(capture.warnings(),
             QStringList{"NoitifcaionDefaultApplicationSettings::registerApplicationSettings() "
                         "PPS ERROR:  \"led must be on or off, not ''\""});
    NotificationApplicationSettings afterRefusal;
    QCOMPARE(describe(afterRefusal), expected);
}

void tst_SettingsEndToEnd::settingsSurviveRestart()
{
    qputenv("OM_PACKAGE_NAME", "com.example.kept");
    {
        NotificationGlobalSettings global;
        QCOMPARE(int(global.setMode(NotificationMode::Vibrate)),
                 int(NotificationSettingsError::None));
        NotificationDefaultApplicationSettings defaults;
        defaults.setLed(NotificationPolicy::Deny);
        QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    }
    QCOMPARE(omctl({"settings", "app", "com.example.kept", "alerts", "off"}).exitCode, 0);
    const QByteArray listed = omctl({"settings"}).out;

    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());
    QCOMPARE(omctl({"settings"}).out, listed);
    NotificationGlobalSettings global;
    QCOMPARE(global.mode(), NotificationMode::Vibrate);
    NotificationApplicationSettings application;
    QCOMPARE(describe(application),
             "alerts=0 sound=1 vibrate=1 led=2 preview=1 count=1 tone=" + FactoryTone);
}

void tst_SettingsEndToEnd::restrictedSettingsControl_data()
{
    QTest::addColumn<QStringList>("deviceArguments");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("default: the device's user only")
        << QStringList()
        << QByteArray(
               "warning NotificationGlobalSettings::sendMessage(): Application did not have "
               "permission to PPS:  \"/pps/services/notify/settings-control?wait\"\nresult 2\n");
    QTest::newRow("opened to all")
        << QStringList{"--set", "settings-control-mode=0666"} << QByteArray("result 0\n");
}

void tst_SettingsEndToEnd::restrictedSettingsControl()
{
    QFETCH(QStringList, deviceArguments);
    QFETCH(QByteArray, output);
    if (!omtest::canDropPrivileges())
        QSKIP("running a client under another user needs root");

    QVERIFY(m_device->stop());
    QVERIFY(m_device->start(deviceArguments));
    NotificationGlobalSettings settings;
    QSignalSpy spy(&settings, &NotificationGlobalSettings::volumeChanged);
    const settingstest::ClientResult client = settingstest::runClientAsOtherUser({"volume", "20"});
    QCOMPARE(client.exitCode, 0);
    QCOMPARE(client.out, output);
    if (output == "result 0\n")
        QVERIFY(spy.wait());
    QCOMPARE(settings.volume(), spy.isEmpty() ? 80 : 20);
}

void tst_SettingsEndToEnd::deviceAnswers_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QString>("err");
    QTest::addColumn<QVariantMap>("dat");

    const QString &control = ControlPath;
    const QString settingsControl = "/pps/services/notify/settings-control";
    const auto req = [](const char *msg, const QVariant &dat) {
        QVariantMap r{{"msg", msg}, {"id", "t1"}};
        if (dat.isValid())
            r.insert("dat", dat);
        return r;
    };
    const auto global = [](const QVariantMap &changes) {
        QVariantMap g{{"name", "global"}, {"sound", "on"}, {"vibrate", "on"}, {"led", "on"},
                      {"preview", "on"},  {"volume", 80},  {"mode", "normal"}};
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            g.insert(it.key(), it.value());
        return g;
    };
    QTest::newRow("query global") << control << req("query", QVariantMap{{"name", "global"}}) << ""
                                  << global({});
    QTest::newRow("query without dat")
        << control << req("query", QVariant()) << "query needs a name" << QVariantMap();
    QTest::newRow("register unknown key")
        << control << req("registerSettings", QVariantMap{{"name", "p"}, {"colour", "red"}})
        << "unknown application setting 'colour' (one of alerts, sound, vibrate, led, preview, "
           "vib_count, tone)"
        << QVariantMap();
    QTest::newRow("register tone that is no file URL")
        << control << req("registerSettings", QVariantMap{{"name", "p"}, {"tone", "http://x/y"}})
        << "tone must be a file URL, not 'http://x/y'" << QVariantMap();
    QTest::newRow("update two at once, true for on")
        << settingsControl
        << req("updateGlobalSettings", QVariantMap{{"led", "true"}, {"volume", "7"}}) << ""
        << global({{"volume", 7}});
    QTest::newRow("update volume 101")
        << settingsControl << req("updateGlobalSettings", QVariantMap{{"volume", "101"}})
        << "volume must be a whole number from 0 to 100, not '101'" << QVariantMap();
    QTest::newRow("update one bad of two: nothing changes")
        << settingsControl
        << req("updateGlobalSettings", QVariantMap{{"bass", "on"}, {"volume", "7"}})
        << "unknown global setting 'bass' (one of sound, vibrate, led, preview, volume, mode)"
        << QVariantMap();
    QTest::newRow("state of another key")
        << settingsControl << req("updateState", QVariantMap{{"key", "volume"}, {"value", "1"}})
        << "updateState needs key 'mode' and a value" << QVariantMap();
}

void tst_SettingsEndToEnd::deviceAnswers()
{
    QFETCH(QString, path);
    QFETCH(QVariantMap, request);
    QFETCH(QString, err);
    QFETCH(QVariantMap, dat);

    const QVariantMap answer = ask(path, request);
    QCOMPARE(answer.value("res"), request.value("msg"));
    QCOMPARE(answer.value("id").toString(), QString("t1"));
    QCOMPARE(answer.value("err").toString(), err);
    QCOMPARE(answer.value("dat").toMap(), dat);
    // A refused request leaves the settings as they were.
    if (!err.isEmpty())
        QCOMPARE(ask(ControlPath, {{"msg", "query"}, {"dat", QVariantMap{{"name", "global"}}}})
                     .value("dat")
                     .toMap()
                     .value("volume"),
                 QVariant(80));
}

void tst_SettingsEndToEnd::omctlListsSettings()
{
    qputenv("OM_PACKAGE_NAME", "com.example.listed");
    NotificationDefaultApplicationSettings defaults;
    defaults.setPreview(NotificationPriorityPolicy::NotApplicable);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QCOMPARE(omctl({"settings", "app", "com.example.listed", "led", "off"}).out,
             QByteArray("app com.example.listed led off\n"));
    const auto result = omctl({"settings"});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.err, QByteArray());
    const auto line = [](const char *key, const char *value, const char *source) {
        return QString("  %1%2  %3\n").arg(key, -11).arg(value, -FactoryTone.size()).arg(source);
    };
    QCOMPARE(QString::fromUtf8(result.out),
             "global\n  sound      on\n  vibrate    on\n  led        on\n  preview    on\n"
             "  volume     80\n  mode       normal\n\napp com.example.listed\n" +
                 line("alerts", "on", "factory") + line("sound", "on", "factory") +
                 line("vibrate", "on", "factory") + line("led", "off", "user") +
                 line("preview", "disabled", "registered") + line("vib_count", "1", "factory") +
                 line("tone", qPrintable(FactoryTone), "factory"));
}

void tst_SettingsEndToEnd::omctlBadInput_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("error");

    QTest::newRow("global without value")
        << QStringList{"settings", "global", "volume"} << 2
        << "omctl: settings global takes a key and a value (see 'omctl --help')";
    QTest::newRow("unknown scope")
        << QStringList{"settings", "sideways"} << 2
        << "omctl: settings: unknown scope 'sideways' (global or app) (see 'omctl --help')";
    QTest::newRow("bad volume") << QStringList{"settings", "global", "volume", "loud"} << 1
                                << "omctl: settings: volume must be a whole number from 0 to 100, "
                                   "not 'loud'";
    QTest::newRow("no device") << QStringList{"settings"} << 1
                               << "omctl: /pps/simulator/notification-settings: no bus broker is "
                                  "running at ROOT (start omdeviced)";
}

void tst_SettingsEndToEnd::omctlBadInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, error);

    if (error.contains("ROOT")) {
        QVERIFY(m_device->stop());
        error.replace("ROOT", m_device->root());
    }
    const auto result = omctl(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, QByteArray());
    QCOMPARE(QString::fromUtf8(result.err), error + '\n');
}

QTEST_GUILESS_MAIN(tst_SettingsEndToEnd)
#include "tst_settings_e2e.moc"
