// NotificationGlobalSettings against a fake notification service: what the
// constructor reads, how updates become signals, and what the setters send
// and return.

#include <om/platform/notificationglobalsettings.h>

#include "describe.h"
#include "fakebroker.h"
#include "fakeserver.h"
#include "otheruser.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <om/ppsobject.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <memory>

using namespace om::platform;
using settingstest::describe;

namespace {

const QString ControlPath = "/pps/services/notify/control";
const QString SettingsControlPath = "/pps/services/notify/settings-control";
const QString Id = "_NotificationGlobalSettings";
// How the setters' warnings name the object: quoted, with its option.
const QString QuotedPath = "\"/pps/services/notify/settings-control?wait\"";
const QString Untouched = "sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=0";
const QString Known = "sound=1 vibrate=2 led=1 preview=2 volume=40 mode=3";

QVariantMap answerTo(const QString &msg, const QVariant &dat)
{
    QVariantMap a{{"res", msg}, {"id", Id}};
    if (dat.isValid())
        a.insert("dat", dat);
    return a;
}

QVariantMap knownSettings()
{
    return {{"sound", "on"},    {"vibrate", "off"}, {"led", "on"},
            {"preview", "off"}, {"volume", 40},     {"mode", "normal"}};
}

QVariantMap update(const QVariantMap &dat)
{
    return {{"msg", "settingsChanged"}, {"dat", dat}};
}

QString setterWarning(const QString &text)
{
    return "NotificationGlobalSettings::sendMessage(): " + text + ' ' + QuotedPath;
}

// Every signal of one object, in order: "sound:2", then "sound(int):2".
struct SignalLog
{
    QStringList entries;

    void attach(NotificationGlobalSettings *s)
    {
        using S = NotificationGlobalSettings;
        using P = NotificationPolicy::Type;
        const auto log = [this](const char *name) {
            return [this, name](int v) { entries << QString("%1:%2").arg(name).arg(v); };
        };
        QObject::connect(s, qOverload<P>(&S::soundChanged), log("sound"));
        QObject::connect(s, qOverload<P>(&S::vibrateChanged), log("vibrate"));
        QObject::connect(s, qOverload<P>(&S::ledChanged), log("led"));
        QObject::connect(s, qOverload<P>(&S::previewChanged), log("preview"));
        QObject::connect(s, &S::volumeChanged, log("volume"));
        QObject::connect(s, qOverload<NotificationMode::Type>(&S::modeChanged), log("mode"));
        QObject::connect(s, qOverload<int>(&S::soundChanged), log("sound(int)"));
        QObject::connect(s, qOverload<int>(&S::vibrateChanged), log("vibrate(int)"));
        QObject::connect(s, qOverload<int>(&S::ledChanged), log("led(int)"));
        QObject::connect(s, qOverload<int>(&S::previewChanged), log("preview(int)"));
        QObject::connect(s, qOverload<int>(&S::modeChanged), log("mode(int)"));
    }
};

// A setter by name: the typed one, or the int overload that scripts call.
int callSetter(NotificationGlobalSettings *s, const QByteArray &setter, int value, bool viaInt)
{
    if (viaInt) {
        int result = -1;
        QMetaObject::invokeMethod(s, setter.constData(), Q_RETURN_ARG(int, result),
                                  Q_ARG(int, value));
        return result;
    }
    const auto policy = NotificationPolicy::Type(value);
    if (setter == "setSound")
        return s->setSound(policy);
    if (setter == "setVibrate")
        return s->setVibrate(policy);
    if (setter == "setLed")
        return s->setLed(policy);
    if (setter == "setPreview")
        return s->setPreview(policy);
    if (setter == "setVolume")
        return s->setVolume(value);
    return s->setMode(NotificationMode::Type(value));
}

} // namespace

class tst_NotificationGlobalSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void constructionMessages();
    void construction_data();
    void construction();
    void constructionWaitsForSilentService();
    void serviceAwayNeverFollowed();
    void updates_data();
    void updates();
    void earlierSignalSeesLaterAttributesOld();
    void updateFailures_data();
    void updateFailures();
    void setterMessages_data();
    void setterMessages();
    void setterResults_data();
    void setterResults();
    void failures_data();
    void failures();
    void insufficientPermissions_data();
    void insufficientPermissions();

private:
    std::unique_ptr<NotificationGlobalSettings> construct();
    int monitorClient() const;

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
    std::unique_ptr<omtest::FakeServer> m_settingsControl;
};

void tst_NotificationGlobalSettings::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
    m_settingsControl.reset(new omtest::FakeServer(SettingsControlPath, 0600));
}

void tst_NotificationGlobalSettings::cleanup()
{
    m_settingsControl.reset();
    m_control.reset();
    m_broker.reset();
}

std::unique_ptr<NotificationGlobalSettings> tst_NotificationGlobalSettings::construct()
{
    m_control->answer("query", answerTo("query", knownSettings()));
    return std::unique_ptr<NotificationGlobalSettings>(new NotificationGlobalSettings);
}

int tst_NotificationGlobalSettings::monitorClient() const
{
    const QList<omtest::Received> received = m_control->received();
    for (const omtest::Received &r : received) {
        if (r.msg() == "monitorSettings")
            return r.clientId;
    }
    return -1;
}

void tst_NotificationGlobalSettings::constructionMessages()
{
    auto settings = construct();
    const QList<omtest::Received> received = m_control->received();
    QCOMPARE(received.size(), 2);
    const QVariantMap global{{"name", "global"}};
    QCOMPARE(received.at(0).msg(), QString("monitorSettings"));
    QCOMPARE(received.at(0).id(), Id);
    QCOMPARE(received.at(0).dat(), global);
    QCOMPARE(received.at(1).msg(), QString("query"));
    QCOMPARE(received.at(1).id(), Id);
    QCOMPARE(received.at(1).dat(), global);
    // The query has a connection of its own, which ends with the reading.
    QVERIFY(m_control->waitForClosed(1));
    QCOMPARE(m_control->clients(), QList<int>{received.at(0).clientId});
}

void tst_NotificationGlobalSettings::construction_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("warnings");

    const QString policy = "NotificationGlobalSettings::convertStringToNotificationPolicy(): "
                           "Unknown NotificationMode:  ";
    const QString mode = "NotificationGlobalSettings::convertStringToNotificationMode(): "
                         "Unknown NotificationMode:  ";
    QTest::newRow("all known") << answerTo("query", knownSettings()) << "" << Known
                               << QStringList();
    QTest::newRow("true and false")
        << answerTo("query",
                    QVariantMap{{"sound", "true"}, {"led", "false"}, {"mode", "phoneonly"}})
        << ""
        << "sound=1 vibrate=0 led=2 preview=0 volume=-1 mode=4" << QStringList();
    QTest::newRow("volume as text, not clamped")
        << answerTo("query", QVariantMap{{"volume", "150"}}) << ""
        << "sound=0 vibrate=0 led=0 preview=0 volume=150 mode=0" << QStringList();
    QTest::newRow("unknown texts logged, stored as Unknown")
        << answerTo("query", QVariantMap{{"sound", "loud"}, {"preview", ""}, {"mode", "party"}})
        << "" << Untouched << QStringList{policy + "\"loud\"", policy + "\"\"", mode + "\"party\""};
    QTest::newRow("id and res not looked at")
        << QVariantMap{{"res", "other"}, {"dat", QVariantMap{{"mode", "silent"}}}} << ""
        << "sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=1" << QStringList();
    QTest::newRow("object other than @control")
        << answerTo("query", knownSettings()) << "@control_x" << Untouched << QStringList();
}

void tst_NotificationGlobalSettings::construction()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, objectName);
    QFETCH(QString, expected);
    QFETCH(QStringList, warnings);

    m_control->respond([=](const omtest::Received &) {
        return QList<omtest::Answer>{omtest::Answer{answer, QByteArray(), objectName, 0}};
    });
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::constructionWaitsForSilentService()
{
    // The answer comes well after the constructor has started to wait.
    m_control->answer("query", answerTo("query", knownSettings()), 300);
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), Known);
}

void tst_NotificationGlobalSettings::serviceAwayNeverFollowed()
{
    m_control.reset();
    NotificationGlobalSettings settings;
    SignalLog log;
    log.attach(&settings);

    // The service comes back: an object made now follows it, the first one
    // never subscribed and stays as it was.
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
    auto later = construct();
    QSignalSpy laterSpy(later.get(), &NotificationGlobalSettings::volumeChanged);
    QVERIFY(m_control->broadcast(update({{"volume", 9}})));
    QVERIFY(laterSpy.wait());
    QCoreApplication::processEvents();
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(describe(settings), Untouched);
}

void tst_NotificationGlobalSettings::updates_data()
{
    QTest::addColumn<QVariantMap>("message");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QStringList>("signalsSeen");
    QTest::addColumn<QStringList>("warnings");

    // The object starts from knownSettings(): on, off, on, off, 40, normal.
    QTest::newRow("volume alone") << update({{"volume", 55}}) << "" << QStringList{"volume:55"}
                                  << QStringList();
    QTest::newRow("several, in the fixed order")
        << update({{"volume", 10}, {"mode", "silent"}, {"sound", "off"}, {"vibrate", "true"}}) << ""
        << QStringList{"sound:2", "sound(int):2", "vibrate:1", "vibrate(int):1",
                       "mode:1",  "mode(int):1",  "volume:10"}
        << QStringList();
    QTest::newRow("stored values repeated, true for on")
        << update({{"sound", "true"}, {"led", "on"}, {"volume", 40}}) << "" << QStringList()
        << QStringList();
    QTest::newRow("unknown text becomes Unknown")
        << update({{"preview", "loud"}}) << "" << QStringList{"preview:0", "preview(int):0"}
        << QStringList{"NotificationGlobalSettings::convertStringToNotificationPolicy(): "
                       "Unknown NotificationMode:  \"loud\""};
    QTest::newRow("volume from the service not clamped")
        << update({{"volume", 150}}) << "" << QStringList{"volume:150"} << QStringList();
    QTest::newRow("no dat") << QVariantMap{{"msg", "settingsChanged"}} << "" << QStringList()
                            << QStringList();
    QTest::newRow("object other than @control")
        << update({{"volume", 3}}) << "@control_x" << QStringList() << QStringList();
}

void tst_NotificationGlobalSettings::updates()
{
    QFETCH(QVariantMap, message);
    QFETCH(QString, objectName);
    QFETCH(QStringList, signalsSeen);
    QFETCH(QStringList, warnings);

    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    const int client = monitorClient();
    QVERIFY(m_control->replyAs(client, objectName, message));
    // A last update that everything before it has been handled by.
    QVERIFY(m_control->reply(client, update({{"volume", 77}})));
    QTRY_COMPARE(settings->volume(), 77);
    QCOMPARE(log.entries.takeLast(), QString("volume:77"));
    QCOMPARE(log.entries, signalsSeen);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::earlierSignalSeesLaterAttributesOld()
{
    auto settings = construct();
    QString seen;
    connect(settings.get(), qOverload<int>(&NotificationGlobalSettings::soundChanged), this,
            [&]() { seen = describe(*settings); });
    QSignalSpy modeSpy(settings.get(),
                       qOverload<NotificationMode::Type>(&NotificationGlobalSettings::modeChanged));
    QVERIFY(m_control->reply(monitorClient(),
                             update({{"sound", "off"}, {"vibrate", "on"}, {"mode", "vibrate"}})));
    QVERIFY(modeSpy.wait());
    QCOMPARE(seen, QString("sound=2 vibrate=2 led=1 preview=2 volume=40 mode=3"));
    QCOMPARE(modeSpy.at(0).at(0).value<NotificationMode::Type>(), NotificationMode::Vibrate);
}

void tst_NotificationGlobalSettings::updateFailures_data()
{
    QTest::addColumn<bool>("busGone");
    QTest::addColumn<QString>("warning");
    QTest::newRow("undecodable") << false
                                 << "NotificationGlobalSettings::onReadyReady(): Could not decode "
                                    "PPS response";
    QTest::newRow("bus gone") << true
                              << "NotificationGlobalSettings::onReadyReady(): Could not read PPS "
                                 "response";
}

void tst_NotificationGlobalSettings::updateFailures()
{
    QFETCH(bool, busGone);
    QFETCH(QString, warning);

    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    if (busGone)
        m_broker->stop();
    else
        QVERIFY(m_control->replyRaw(monitorClient(), "dat:json:{\"sound\":\n"));
    QTRY_COMPARE(capture.warnings(), QStringList{warning});
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(describe(*settings), Known);
}

void tst_NotificationGlobalSettings::setterMessages_data()
{
    QTest::addColumn<QByteArray>("setter");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("viaInt");
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariantMap>("dat");

    const QString update = "updateGlobalSettings";
    const QString state = "updateState";
    const auto mode = [](const char *value) {
        return QVariantMap{{"key", "mode"}, {"value", value}};
    };
    QTest::newRow("sound on") << QByteArray("setSound") << 1 << false << update
                              << QVariantMap{{"sound", "on"}};
    QTest::newRow("led Unknown sends empty")
        << QByteArray("setLed") << 0 << false << update << QVariantMap{{"led", ""}};
    QTest::newRow("volume 42") << QByteArray("setVolume") << 42 << false << update
                               << QVariantMap{{"volume", "42"}};
    QTest::newRow("volume 150 clamped")
        << QByteArray("setVolume") << 150 << false << update << QVariantMap{{"volume", "100"}};
    QTest::newRow("volume -5 clamped")
        << QByteArray("setVolume") << -5 << false << update << QVariantMap{{"volume", "0"}};
    QTest::newRow("mode silent") << QByteArray("setMode") << 1 << false << state << mode("silent");
    QTest::newRow("mode Unknown sends empty")
        << QByteArray("setMode") << 0 << false << state << mode("");
    QTest::newRow("script: mode 5")
        << QByteArray("setMode") << 5 << true << state << mode("alertsoff");
    QTest::newRow("script: mode 9 sends empty")
        << QByteArray("setMode") << 9 << true << state << mode("");
}

void tst_NotificationGlobalSettings::setterMessages()
{
    QFETCH(QByteArray, setter);
    QFETCH(int, value);
    QFETCH(bool, viaInt);
    QFETCH(QString, msg);
    QFETCH(QVariantMap, dat);

    QVERIFY(m_settingsControl->start());
    m_settingsControl->answerOk(msg, QVariantMap());
    auto settings = construct();
    QCOMPARE(callSetter(settings.get(), setter, value, viaInt),
             int(NotificationSettingsError::None));
    // The answer is no update: the properties wait for the service's.
    QCOMPARE(describe(*settings), Known);
    const QList<omtest::Received> received = m_settingsControl->received();
    QCOMPARE(received.size(), 1);
    QCOMPARE(received.at(0).msg(), msg);
    QCOMPARE(received.at(0).id(), Id);
    QCOMPARE(received.at(0).dat(), dat);
}

void tst_NotificationGlobalSettings::setterResults_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("warnings");

    const QVariantMap ok = answerTo("updateGlobalSettings", QVariantMap{{"sound", "on"}});
    const auto with = [](QVariantMap map, const QString &key, const QVariant &value) {
        if (value.isValid())
            map.insert(key, value);
        else
            map.remove(key);
        return map;
    };
    const int None = NotificationSettingsError::None;
    const int Unknown = NotificationSettingsError::Unknown;
    const QStringList wrongId{setterWarning("Incorrect response id: ")};
    const QStringList wrongRes{setterWarning("Some unknown error occurred: ")};

    QTest::newRow("dat") << ok << "" << QByteArray() << None << QStringList();
    QTest::newRow("dat and err: dat wins")
        << with(ok, "err", "ignored") << "" << QByteArray() << None << QStringList();
    QTest::newRow("err") << with(with(ok, "dat", QVariant()), "err", "bad value") << ""
                         << QByteArray() << int(NotificationSettingsError::Internal)
                         << QStringList{
                                "NotificationGlobalSettings::sendMessage(): The PPS "
                                "interface may have changed. ERRNO:  \"bad value\"  PPS:  " +
                                QuotedPath};
    QTest::newRow("neither dat nor err")
        << with(ok, "dat", QVariant()) << "" << QByteArray() << Unknown
        << QStringList{setterWarning("The PPS response was malformed: ")};
    QTest::newRow("no id") << with(ok, "id", QVariant()) << "" << QByteArray() << Unknown
                           << wrongId;
    QTest::newRow("other res") << with(ok, "res", "updateState") << "" << QByteArray() << Unknown
                               << wrongRes;
    QTest::newRow("id before res") << with(with(ok, "res", QVariant()), "id", QVariant()) << ""
                                   << QByteArray() << Unknown << wrongId;
    QTest::newRow("any object name") << ok << "@elsewhere" << QByteArray() << None << QStringList();
    // The answer comes headed "@settings-control"; an object "@a" sorts
    // before it and is taken as the response.
    QTest::newRow("first object in key order")
        << QVariantMap() << ""
        << QByteArray("res::updateGlobalSettings\nid::_NotificationGlobalSettings\n"
                      "dat:json:{}\n@a\nres::x\n")
        << Unknown << wrongId;
    QTest::newRow("undecodable, unlogged")
        << QVariantMap() << "" << QByteArray("dat:n:none\n") << Unknown << QStringList();
}

void tst_NotificationGlobalSettings::setterResults()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, objectName);
    QFETCH(QByteArray, raw);
    QFETCH(int, result);
    QFETCH(QStringList, warnings);

    QVERIFY(m_settingsControl->start());
    m_settingsControl->respond([=](const omtest::Received &) {
        return QList<omtest::Answer>{omtest::Answer{answer, raw, objectName, 0}};
    });
    auto settings = construct();
    omtest::WarningCapture capture;
    QCOMPARE(int(settings->setSound(NotificationPolicy::Allow)), result);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::failures_data()
{
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QString>("constructed");
    QTest::addColumn<QStringList>("warnings");
    QTest::addColumn<int>("result");

    const QString read = "NotificationGlobalSettings::readGlobalSettings(): ";
    QTest::newRow("no service") << "no service" << Untouched
                                << QStringList{setterWarning("PPS did not exist: ")}
                                << int(NotificationSettingsError::ServiceUnavailable);
    // A broker that died leaves mirror files behind, readable and writable,
    // while nothing can be opened.
    QTest::newRow("object there, open fails")
        << "stale mirror" << Known << QStringList{setterWarning("Could not open PPS: ")}
        << int(NotificationSettingsError::Unknown);
    QTest::newRow("writes fail")
        << "refuse writes" << Untouched
        << QStringList{"NotificationGlobalSettings::NotificationGlobalSettingsPrivate(): Could "
                       "not write PPS response.",
                       read + "Could not write to PPS.", setterWarning("Could not write to PPS: ")}
        << int(NotificationSettingsError::Unknown);
    QTest::newRow("reads fail") << "hang up" << Untouched
                                << QStringList{read + "Could not read PPS response.",
                                               setterWarning("Could not read from PPS: ")}
                                << int(NotificationSettingsError::Unknown);
    QTest::newRow("bus gone while the setter waits")
        << "bus gone" << Known << QStringList{setterWarning("Could not read from PPS: ")}
        << int(NotificationSettingsError::Unknown);
    QTest::newRow("undecodable query answer, setter fine")
        << "undecodable" << Untouched << QStringList{read + "Could not decode PPS response."}
        << int(NotificationSettingsError::None);
}

void tst_NotificationGlobalSettings::failures()
{
    QFETCH(QString, failure);
    QFETCH(QString, constructed);
    QFETCH(QStringList, warnings);
    QFETCH(int, result);

    std::unique_ptr<settingstest::FakeBroker> fakeBroker;
    if (failure == "refuse writes" || failure == "hang up") {
        cleanup();
        fakeBroker.reset(new settingstest::FakeBroker(
            failure == "hang up" ? settingstest::FakeBroker::HangUpAfterMessage
                                 : settingstest::FakeBroker::RefuseWrites));
        QVERIFY(fakeBroker->isRunning());
    } else if (failure == "no service") {
        m_control.reset();
    } else if (failure == "bus gone") {
        QVERIFY(m_settingsControl->start());
        omtest::TestBroker *broker = m_broker.get();
        m_settingsControl->respond([broker](const omtest::Received &) {
            broker->stop();
            return QList<omtest::Answer>();
        });
    } else if (failure == "undecodable") {
        QVERIFY(m_settingsControl->start());
        m_settingsControl->answerOk("updateGlobalSettings", QVariantMap());
        m_control->respond([](const omtest::Received &) {
            return QList<omtest::Answer>{omtest::Answer{QVariantMap(), "volume:n:x\n", "", 0}};
        });
    }
    if (m_control && !fakeBroker)
        m_control->answer("query", answerTo("query", knownSettings()));

    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), constructed);
    if (failure == "stale mirror") {
        m_broker->stop();
        const QString mirror = om::PpsObject::mirrorFilePath(SettingsControlPath);
        QVERIFY(QDir().mkpath(QFileInfo(mirror).absolutePath()));
        QFile file(mirror);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QCOMPARE(int(settings.setVolume(10)), result);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::insufficientPermissions_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("owner only") << 0600
                                << "warning NotificationGlobalSettings::sendMessage(): Application "
                                   "did not have permission to PPS:  " +
                                       QuotedPath.toUtf8() + "\nresult 2\n";
    QTest::newRow("open to all") << 0666 << QByteArray("result 0\n");
}

void tst_NotificationGlobalSettings::insufficientPermissions()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, output);
    if (!omtest::canDropPrivileges())
        QSKIP("running a client under another user needs root");

    m_settingsControl.reset(new omtest::FakeServer(SettingsControlPath, mode));
    QVERIFY(m_settingsControl->start());
    m_settingsControl->answerOk("updateGlobalSettings", QVariantMap());
    m_control->answer("query", answerTo("query", knownSettings()));
    const settingstest::ClientResult client = settingstest::runClientAsOtherUser({"sound", "1"});
    QCOMPARE(client.exitCode, 0);
    QCOMPARE(client.out, output);
}

QTEST_GUILESS_MAIN(tst_NotificationGlobalSettings)
#include "tst_notificationglobalsettings.moc"
