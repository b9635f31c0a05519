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

const QString SettingsPath = QStringLiteral("/pps/simulator/notification-settings");
const QString FactoryTone = QStringLiteral("file:///usr/share/sounds/omdevice/notification.wav");
const QString FactoryGlobal = QStringLiteral("sound=1 vibrate=1 led=1 preview=1 volume=80 mode=3");
const QString FactoryApplication =
    QStringLiteral("alerts=1 sound=1 vibrate=1 led=1 preview=1 count=1 tone=") + FactoryTone;

void usePackage(const QString &name)
{
    qputenv("OM_PACKAGE_NAME", name.toUtf8());
}

// One request on a bus object, answered before it returns: the attributes
// of the first object of the answer.
QVariantMap ask(const QString &path, const QVariantMap &request)
{
    om::PpsObject pps(path + QStringLiteral("?wait"));
    if (!pps.open(om::PpsOpenMode::PublishSubscribe))
        return {{QStringLiteral("open failed"), pps.error()}};
    if (!pps.write(om::PpsObject::encode(request)))
        return {{QStringLiteral("write failed"), pps.error()}};
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
    usePackage(QStringLiteral("com.example.e2e"));
    m_device.reset(new omtest::DeviceProcess);
    QVERIFY(m_device->start());
}

void tst_SettingsEndToEnd::cleanup()
{
    m_device.reset();
}

void tst_SettingsEndToEnd::globalFollowsOmctl_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<int>("signalled");
    QTest::addColumn<QString>("expected");

    QTest::newRow("sound") << "sound"
                           << "off" << QByteArray(SIGNAL(soundChanged(int))) << 2
                           << QStringLiteral("sound=2 vibrate=1 led=1 preview=1 volume=80 mode=3");
    QTest::newRow("preview, said as false")
        << "preview"
        << "false" << QByteArray(SIGNAL(previewChanged(int))) << 2
        << QStringLiteral("sound=1 vibrate=1 led=1 preview=2 volume=80 mode=3");
    QTest::newRow("volume") << "volume"
                            << "5" << QByteArray(SIGNAL(volumeChanged(int))) << 5
                            << QStringLiteral("sound=1 vibrate=1 led=1 preview=1 volume=5 mode=3");
    QTest::newRow("mode") << "mode"
                          << "phoneonly" << QByteArray(SIGNAL(modeChanged(int))) << 4
                          << QStringLiteral("sound=1 vibrate=1 led=1 preview=1 volume=80 mode=4");
}

void tst_SettingsEndToEnd::globalFollowsOmctl()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, signal);
    QFETCH(int, signalled);
    QFETCH(QString, expected);

    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), FactoryGlobal);
    QSignalSpy spy(&settings, signal.constData());
    const auto result = omtest::DeviceProcess::omctl(
        {QStringLiteral("settings"), QStringLiteral("global"), key, value});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(spy.wait());
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), signalled);
    QCOMPARE(describe(settings), expected);
}

void tst_SettingsEndToEnd::applicationFollowsOmctl_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QVariant>("signalled");
    QTest::addColumn<QString>("expected");

    const auto factory = [](const char *from, const QString &to) {
        return QString(FactoryApplication).replace(QLatin1String(from), to);
    };
    QTest::newRow("alerts") << "alerts"
                            << "off" << QByteArray(SIGNAL(alertsEnabledChanged(bool)))
                            << QVariant(false) << factory("alerts=1", QStringLiteral("alerts=0"));
    QTest::newRow("sound") << "sound"
                           << "off" << QByteArray(SIGNAL(soundChanged(int))) << QVariant(2)
                           << factory("sound=1", QStringLiteral("sound=2"));
    QTest::newRow("preview") << "preview"
                             << "priority" << QByteArray(SIGNAL(previewChanged(int))) << QVariant(4)
                             << factory("preview=1", QStringLiteral("preview=4"));
    QTest::newRow("vib_count") << "vib_count"
                               << "4" << QByteArray(SIGNAL(vibrateCountChanged(int))) << QVariant(4)
                               << factory("count=1", QStringLiteral("count=4"));
    QTest::newRow("tone, given as a path")
        << "tone"
        << "/tones/my bell.wav" << QByteArray(SIGNAL(tonePathChanged(QUrl)))
        << QVariant(QUrl(QStringLiteral("file:///tones/my%20bell.wav")))
        << factory(qPrintable(FactoryTone), QStringLiteral("file:///tones/my bell.wav"));
}

void tst_SettingsEndToEnd::applicationFollowsOmctl()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, signal);
    QFETCH(QVariant, signalled);
    QFETCH(QString, expected);

    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), FactoryApplication);
    QSignalSpy spy(&settings, signal.constData());
    const auto result =
        omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("app"),
                                      QStringLiteral("com.example.e2e"), key, value});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(spy.wait());
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0), signalled);
    QCOMPARE(describe(settings), expected);
}

void tst_SettingsEndToEnd::updatesOnlyForWhatIsFollowed()
{
    usePackage(QStringLiteral("com.example.first"));
    NotificationApplicationSettings first;
    usePackage(QStringLiteral("com.example.second"));
    NotificationApplicationSettings second;
    NotificationGlobalSettings global;
    QSignalSpy firstSpy(&first, &NotificationApplicationSettings::vibrateCountChanged);
    QSignalSpy secondSpy(&second, &NotificationApplicationSettings::vibrateCountChanged);
    QSignalSpy globalSpy(&global, &NotificationGlobalSettings::volumeChanged);

    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("app"),
                                           QStringLiteral("com.example.second"),
                                           QStringLiteral("vib_count"), QStringLiteral("2")})
                 .exitCode,
             0);
    QVERIFY(secondSpy.wait());
    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("global"),
                                           QStringLiteral("volume"), QStringLiteral("60")})
                 .exitCode,
             0);
    QVERIFY(globalSpy.wait());
    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("app"),
                                           QStringLiteral("com.example.first"),
                                           QStringLiteral("vib_count"), QStringLiteral("5")})
                 .exitCode,
             0);
    QVERIFY(firstSpy.wait());

    // Each heard its own change, and only that one.
    QCOMPARE(firstSpy.size(), 1);
    QCOMPARE(firstSpy.at(0).at(0).toInt(), 5);
    QCOMPARE(secondSpy.size(), 1);
    QCOMPARE(secondSpy.at(0).at(0).toInt(), 2);
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
    QCOMPARE(other.volume(), 100);

    QSignalSpy modeSpy(&settings,
                       qOverload<NotificationMode::Type>(&NotificationGlobalSettings::modeChanged));
    QCOMPARE(int(settings.setMode(NotificationMode::AlertsOff)),
             int(NotificationSettingsError::None));
    QVERIFY(modeSpy.wait());
    QCOMPARE(modeSpy.at(0).at(0).value<NotificationMode::Type>(), NotificationMode::AlertsOff);

    // The same value again is accepted, and changes nothing.
    QCOMPARE(int(settings.setMode(NotificationMode::AlertsOff)),
             int(NotificationSettingsError::None));
    QSignalSpy soundSpy(
        &settings, qOverload<NotificationPolicy::Type>(&NotificationGlobalSettings::soundChanged));
    QCOMPARE(int(settings.setSound(NotificationPolicy::Deny)),
             int(NotificationSettingsError::None));
    QVERIFY(soundSpy.wait());
    QCOMPARE(modeSpy.size(), 1);
    QCOMPARE(describe(settings),
             QStringLiteral("sound=2 vibrate=1 led=1 preview=1 volume=100 mode=5"));
}

void tst_SettingsEndToEnd::setterRefusedByDevice_data()
{
    QTest::addColumn<QString>("setter");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("err");

    QTest::newRow("mode Unknown")
        << "mode" << 0
        << "mode must be one of silent, vibrate, normal, phoneonly, alertsoff, not ''";
    QTest::newRow("sound Unknown") << "sound" << 0 << "sound must be on or off, not ''";
    QTest::newRow("led 7, as a script may") << "led" << 7 << "led must be on or off, not ''";
}

void tst_SettingsEndToEnd::setterRefusedByDevice()
{
    QFETCH(QString, setter);
    QFETCH(int, value);
    QFETCH(QString, err);

    NotificationGlobalSettings settings;
    omtest::WarningCapture capture;
    int result = -1;
    const QByteArray name = "set" + setter.left(1).toUpper().toLatin1() + setter.mid(1).toLatin1();
    QVERIFY(QMetaObject::invokeMethod(&settings, name.constData(), Q_RETURN_ARG(int, result),
                                      Q_ARG(int, value)));
    QCOMPARE(result, int(NotificationSettingsError::Internal));
    QCOMPARE(capture.warnings(),
             QStringList{
                 QStringLiteral("NotificationGlobalSettings::sendMessage(): The PPS interface may "
                                "have changed. ERRNO:  \"%1\"  PPS:  "
                                "\"/pps/services/notify/settings-control?wait\"")
                     .arg(err)});
    QCOMPARE(describe(settings), FactoryGlobal);
}

void tst_SettingsEndToEnd::registeredDefaultsUntilUserOverrides()
{
    usePackage(QStringLiteral("com.example.defaults"));
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), FactoryApplication);
    QSignalSpy countSpy(&settings, &NotificationApplicationSettings::vibrateCountChanged);

    NotificationDefaultApplicationSettings defaults;
    defaults.setSound(NotificationPolicy::Deny);
    defaults.setPreview(NotificationPriorityPolicy::PriorityOnly);
    defaults.setVibrateCount(3);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QVERIFY(countSpy.wait());
    QCOMPARE(describe(settings),
             QStringLiteral("alerts=1 sound=2 vibrate=1 led=1 preview=4 count=3 tone=") +
                 FactoryTone);

    // The user turns the sound on: that choice outlives the next registration.
    QSignalSpy soundSpy(&settings, qOverload<NotificationPolicy::Type>(
                                       &NotificationApplicationSettings::soundChanged));
    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("app"),
                                           QStringLiteral("com.example.defaults"),
                                           QStringLiteral("sound"), QStringLiteral("on")})
                 .exitCode,
             0);
    QVERIFY(soundSpy.wait());
    QCOMPARE(soundSpy.at(0).at(0).value<NotificationPolicy::Type>(), NotificationPolicy::Allow);

    // A new registration replaces the old: the preview goes back to the
    // factory's, the count follows, the user's sound stays.
    NotificationDefaultApplicationSettings again;
    again.setSound(NotificationPolicy::Deny);
    again.setVibrateCount(4);
    QCOMPARE(int(again.apply()), int(NotificationSettingsError::None));
    QTRY_COMPARE(settings.vibrateCount(), 4);
    const QString expected =
        QStringLiteral("alerts=1 sound=1 vibrate=1 led=1 preview=1 count=4 tone=") + FactoryTone;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(soundSpy.size(), 1);

    NotificationApplicationSettings fresh;
    QCOMPARE(describe(fresh), expected);

    // A registration the device refuses changes nothing.
    NotificationDefaultApplicationSettings bad;
    bad.setLed(NotificationPolicy::Type(9));
    omtest::WarningCapture capture;
    QCOMPARE(int(bad.apply()), int(NotificationSettingsError::Internal));
    QCOMPARE(capture.warnings(),
             QStringList{QStringLiteral(
                 "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() "
                 "PPS ERROR:  \"led must be on or off, not ''\"")});
    NotificationApplicationSettings afterBad;
    QCOMPARE(describe(afterBad), expected);
}

void tst_SettingsEndToEnd::settingsSurviveRestart()
{
    usePackage(QStringLiteral("com.example.kept"));
    {
        NotificationGlobalSettings global;
        QCOMPARE(int(global.setMode(NotificationMode::Vibrate)),
                 int(NotificationSettingsError::None));
        NotificationDefaultApplicationSettings defaults;
        defaults.setLed(NotificationPolicy::Deny);
        QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    }
    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("app"),
                                           QStringLiteral("com.example.kept"),
                                           QStringLiteral("alerts"), QStringLiteral("off")})
                 .exitCode,
             0);
    const QByteArray listed = omtest::DeviceProcess::omctl({QStringLiteral("settings")}).out;

    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());
    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings")}).out, listed);
    NotificationGlobalSettings global;
    QCOMPARE(global.mode(), NotificationMode::Vibrate);
    NotificationApplicationSettings application;
    QCOMPARE(describe(application),
             QStringLiteral("alerts=0 sound=1 vibrate=1 led=2 preview=1 count=1 tone=") +
                 FactoryTone);
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
        << QStringList{QStringLiteral("--set"), QStringLiteral("settings-control-mode=0666")}
        << QByteArray("result 0\n");
}

void tst_SettingsEndToEnd::restrictedSettingsControl()
{
    QFETCH(QStringList, deviceArguments);
    QFETCH(QByteArray, output);
    if (!settingstest::canSwitchUser())
        QSKIP("running a client under another user needs root");

    QVERIFY(m_device->stop());
    QVERIFY(m_device->start(deviceArguments));
    NotificationGlobalSettings settings;
    QSignalSpy spy(&settings, &NotificationGlobalSettings::volumeChanged);
    const settingstest::ClientResult client =
        settingstest::runClientAsOtherUser({QStringLiteral("volume"), QStringLiteral("20")});
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

    const QString control = QStringLiteral("/pps/services/notify/control");
    const QString settingsControl = QStringLiteral("/pps/services/notify/settings-control");
    const auto req = [](const char *msg, const QVariant &dat) {
        QVariantMap r{{QStringLiteral("msg"), QLatin1String(msg)},
                      {QStringLiteral("id"), QStringLiteral("t1")}};
        if (dat.isValid())
            r.insert(QStringLiteral("dat"), dat);
        return r;
    };
    const auto global = [](const QVariantMap &changes) {
        QVariantMap g{{QStringLiteral("name"), QStringLiteral("global")},
                      {QStringLiteral("sound"), QStringLiteral("on")},
                      {QStringLiteral("vibrate"), QStringLiteral("on")},
                      {QStringLiteral("led"), QStringLiteral("on")},
                      {QStringLiteral("preview"), QStringLiteral("on")},
                      {QStringLiteral("volume"), 80},
                      {QStringLiteral("mode"), QStringLiteral("normal")}};
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            g.insert(it.key(), it.value());
        return g;
    };
    const QString appKeys =
        QStringLiteral("(one of alerts, sound, vibrate, led, preview, vib_count, tone)");

    QTest::newRow("query global") << control
                                  << req("query", QVariantMap{{QStringLiteral("name"),
                                                               QStringLiteral("global")}})
                                  << QString() << global({});
    QTest::newRow("query without dat")
        << control << req("query", QVariant()) << "query needs a name" << QVariantMap();
    QTest::newRow("monitor without name") << control << req("monitorSettings", QVariantMap())
                                          << "monitorSettings needs a name" << QVariantMap();
    QTest::newRow("register without name")
        << control
        << req("registerSettings", QVariantMap{{QStringLiteral("sound"), QStringLiteral("on")}})
        << "registerSettings needs a name" << QVariantMap();
    QTest::newRow("register unknown key")
        << control
        << req("registerSettings", QVariantMap{{QStringLiteral("name"), QStringLiteral("p")},
                                               {QStringLiteral("colour"), QStringLiteral("red")}})
        << QStringLiteral("unknown application setting 'colour' ") + appKeys << QVariantMap();
    QTest::newRow("register vib_count out of range")
        << control
        << req("registerSettings", QVariantMap{{QStringLiteral("name"), QStringLiteral("p")},
                                               {QStringLiteral("vib_count"), QStringLiteral("9")}})
        << "vib_count must be a whole number from 1 to 5, not '9'" << QVariantMap();
    QTest::newRow("register tone that is no file URL")
        << control
        << req("registerSettings",
               QVariantMap{{QStringLiteral("name"), QStringLiteral("p")},
                           {QStringLiteral("tone"), QStringLiteral("http://x/y.wav")}})
        << "tone must be a file URL, not 'http://x/y.wav'" << QVariantMap();
    QTest::newRow("update true is on")
        << settingsControl
        << req("updateGlobalSettings", QVariantMap{{QStringLiteral("led"), QStringLiteral("true")}})
        << QString() << global({});
    QTest::newRow("update two at once")
        << settingsControl
        << req("updateGlobalSettings", QVariantMap{{QStringLiteral("led"), QStringLiteral("off")},
                                                   {QStringLiteral("volume"), QStringLiteral("7")}})
        << QString()
        << global({{QStringLiteral("led"), QStringLiteral("off")}, {QStringLiteral("volume"), 7}});
    QTest::newRow("update volume 101")
        << settingsControl
        << req("updateGlobalSettings",
               QVariantMap{{QStringLiteral("volume"), QStringLiteral("101")}})
        << "volume must be a whole number from 0 to 100, not '101'" << QVariantMap();
    QTest::newRow("update unknown key")
        << settingsControl
        << req("updateGlobalSettings", QVariantMap{{QStringLiteral("bass"), QStringLiteral("on")}})
        << "unknown global setting 'bass' (one of sound, vibrate, led, preview, volume, mode)"
        << QVariantMap();
    QTest::newRow("update nothing") << settingsControl << req("updateGlobalSettings", QVariantMap())
                                    << "updateGlobalSettings needs a setting" << QVariantMap();
    QTest::newRow("mode through update")
        << settingsControl
        << req("updateGlobalSettings",
               QVariantMap{{QStringLiteral("mode"), QStringLiteral("silent")}})
        << "mode is changed with updateState" << QVariantMap();
    QTest::newRow("state of another key")
        << settingsControl
        << req("updateState", QVariantMap{{QStringLiteral("key"), QStringLiteral("volume")},
                                          {QStringLiteral("value"), QStringLiteral("1")}})
        << "updateState needs key 'mode' and a value" << QVariantMap();
    QTest::newRow("unknown message") << settingsControl << req("query", QVariantMap())
                                     << "unknown message: query" << QVariantMap();
}

void tst_SettingsEndToEnd::deviceAnswers()
{
    QFETCH(QString, path);
    QFETCH(QVariantMap, request);
    QFETCH(QString, err);
    QFETCH(QVariantMap, dat);

    const QVariantMap answer = ask(path, request);
    QCOMPARE(answer.value(QStringLiteral("res")), request.value(QStringLiteral("msg")));
    QCOMPARE(answer.value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
    QCOMPARE(answer.value(QStringLiteral("err")).toString(), err);
    QCOMPARE(answer.contains(QStringLiteral("dat")), err.isEmpty());
    if (err.isEmpty())
        QCOMPARE(answer.value(QStringLiteral("dat")).toMap(), dat);
}

void tst_SettingsEndToEnd::omctlListsSettings()
{
    usePackage(QStringLiteral("com.example.listed"));
    NotificationDefaultApplicationSettings defaults;
    defaults.setPreview(NotificationPriorityPolicy::NotApplicable);
    QCOMPARE(int(defaults.apply()), int(NotificationSettingsError::None));
    QCOMPARE(omtest::DeviceProcess::omctl({QStringLiteral("settings"), QStringLiteral("app"),
                                           QStringLiteral("com.example.listed"),
                                           QStringLiteral("led"), QStringLiteral("off")})
                 .out,
             QByteArray("app com.example.listed led off\n"));
    const auto result = omtest::DeviceProcess::omctl({QStringLiteral("settings")});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.err, QByteArray());
    const QByteArray tone = FactoryTone.toUtf8();
    QCOMPARE(result.out,
             QByteArray("global\n"
                        "  sound      on\n"
                        "  vibrate    on\n"
                        "  led        on\n"
                        "  preview    on\n"
                        "  volume     80\n"
                        "  mode       normal\n"
                        "\n"
                        "app com.example.listed\n") +
                 "  alerts     " + QByteArray("on").leftJustified(tone.size()) + "  factory\n" +
                 "  sound      " + QByteArray("on").leftJustified(tone.size()) + "  factory\n" +
                 "  vibrate    " + QByteArray("on").leftJustified(tone.size()) + "  factory\n" +
                 "  led        " + QByteArray("off").leftJustified(tone.size()) + "  user\n" +
                 "  preview    " + QByteArray("disabled").leftJustified(tone.size()) +
                 "  registered\n" + "  vib_count  " + QByteArray("1").leftJustified(tone.size()) +
                 "  factory\n" + "  tone       " + tone + "  factory\n");
}

void tst_SettingsEndToEnd::omctlBadInput_data()
{
    QTest::addColumn<bool>("deviceRunning");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("error");

    QTest::newRow("global without value")
        << true << QStringList{"settings", "global", "volume"} << 2
        << "omctl: settings global takes a key and a value (see 'omctl --help')";
    QTest::newRow("app without value")
        << true << QStringList{"settings", "app", "p", "sound"} << 2
        << "omctl: settings app takes a package, a key and a value (see 'omctl --help')";
    QTest::newRow("unknown scope")
        << true << QStringList{"settings", "sideways"} << 2
        << "omctl: settings: unknown scope 'sideways' (global or app) (see 'omctl --help')";
    QTest::newRow("bad volume")
        << true << QStringList{"settings", "global", "volume", "loud"} << 1
        << "omctl: settings: volume must be a whole number from 0 to 100, not 'loud'";
    QTest::newRow("bad mode")
        << true << QStringList{"settings", "global", "mode", "party"} << 1
        << "omctl: settings: mode must be one of silent, vibrate, normal, phoneonly, "
           "alertsoff, not 'party'";
    QTest::newRow("unknown app key")
        << true << QStringList{"settings", "app", "p", "colour", "red"} << 1
        << "omctl: settings: unknown application setting 'colour' (one of alerts, sound, vibrate, "
           "led, "
           "preview, vib_count, tone)";
    QTest::newRow("vib_count 0")
        << true << QStringList{"settings", "app", "p", "vib_count", "0"} << 1
        << "omctl: settings: vib_count must be a whole number from 1 to 5, not '0'";
    QTest::newRow("no device")
        << false << QStringList{"settings"} << 1
        << "omctl: /pps/simulator/notification-settings: no bus broker is running at "
           "%1 (start omdeviced)";
}

void tst_SettingsEndToEnd::omctlBadInput()
{
    QFETCH(bool, deviceRunning);
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, error);

    if (!deviceRunning)
        QVERIFY(m_device->stop());
    const auto result = omtest::DeviceProcess::omctl(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, QByteArray());
    if (error.contains(QLatin1String("%1")))
        error = error.arg(m_device->root());
    QCOMPARE(QString::fromUtf8(result.err), error + QLatin1Char('\n'));
}

QTEST_GUILESS_MAIN(tst_SettingsEndToEnd)
#include "tst_settings_e2e.moc"
