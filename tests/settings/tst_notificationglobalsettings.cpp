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

using om::platform::NotificationGlobalSettings;
using om::platform::NotificationMode;
using om::platform::NotificationPolicy;
using om::platform::NotificationSettingsError;

using settingstest::describe;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/notify/control");
const QString SettingsControlPath = QStringLiteral("/pps/services/notify/settings-control");
const QString Id = QStringLiteral("_NotificationGlobalSettings");
// How the setters' warnings name the object: quoted, with its option.
const QString QuotedPath = QStringLiteral("\"/pps/services/notify/settings-control?wait\"");

QVariantMap answerTo(const QString &msg, const QVariant &dat)
{
    QVariantMap a{{QStringLiteral("res"), msg}, {QStringLiteral("id"), Id}};
    if (dat.isValid())
        a.insert(QStringLiteral("dat"), dat);
    return a;
}

QVariantMap knownSettings()
{
    return {{QStringLiteral("sound"), QStringLiteral("on")},
            {QStringLiteral("vibrate"), QStringLiteral("off")},
            {QStringLiteral("led"), QStringLiteral("on")},
            {QStringLiteral("preview"), QStringLiteral("off")},
            {QStringLiteral("volume"), 40},
            {QStringLiteral("mode"), QStringLiteral("normal")}};
}

QString setterWarning(const QString &text)
{
    return QStringLiteral("NotificationGlobalSettings::sendMessage(): ") + text + QLatin1Char(' ') +
           QuotedPath;
}

// Every signal of one object, in order: "sound:2", then "sound(int):2".
struct SignalLog
{
    QStringList entries;

    void attach(NotificationGlobalSettings *s)
    {
        using S = NotificationGlobalSettings;
        const auto typed = [this](const char *name) {
            return [this, name](int v) {
                entries.append(QStringLiteral("%1:%2").arg(QLatin1String(name)).arg(v));
            };
        };
        const auto number = [this](const char *name) {
            return [this, name](int v) {
                entries.append(QStringLiteral("%1(int):%2").arg(QLatin1String(name)).arg(v));
            };
        };
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::soundChanged), typed("sound"));
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::vibrateChanged),
                         typed("vibrate"));
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::ledChanged), typed("led"));
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::previewChanged),
                         typed("preview"));
        QObject::connect(s, &S::volumeChanged, typed("volume"));
        QObject::connect(s, qOverload<NotificationMode::Type>(&S::modeChanged), typed("mode"));
        QObject::connect(s, qOverload<int>(&S::soundChanged), number("sound"));
        QObject::connect(s, qOverload<int>(&S::vibrateChanged), number("vibrate"));
        QObject::connect(s, qOverload<int>(&S::ledChanged), number("led"));
        QObject::connect(s, qOverload<int>(&S::previewChanged), number("preview"));
        QObject::connect(s, qOverload<int>(&S::modeChanged), number("mode"));
    }
};

// Calls a setter by name, typed or through the int overload for scripts.
int callSetter(NotificationGlobalSettings *s, const QString &setter, int value, bool viaInt)
{
    if (viaInt) {
        int result = -1;
        const QByteArray name = setter.toLatin1();
        if (!QMetaObject::invokeMethod(s, name.constData(), Q_RETURN_ARG(int, result),
                                       Q_ARG(int, value)))
            return -100;
        return result;
    }
    const auto policy = NotificationPolicy::Type(value);
    if (setter == QLatin1String("setSound"))
        return s->setSound(policy);
    if (setter == QLatin1String("setVibrate"))
        return s->setVibrate(policy);
    if (setter == QLatin1String("setLed"))
        return s->setLed(policy);
    if (setter == QLatin1String("setPreview"))
        return s->setPreview(policy);
    if (setter == QLatin1String("setVolume"))
        return s->setVolume(value);
    if (setter == QLatin1String("setMode"))
        return s->setMode(NotificationMode::Type(value));
    return -100;
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
    void constructionUndecodableAnswer();
    void serviceAway_data();
    void serviceAway();

    void updates_data();
    void updates();
    void earlierSignalSeesLaterAttributesOld();
    void undecodableUpdate();
    void brokerGoneDuringUpdates();

    void setterMessages_data();
    void setterMessages();
    void setterResults_data();
    void setterResults();
    void setterOpenFailure_data();
    void setterOpenFailure();
    void setterReadFailure();
    void writeFailures();
    void readFailures();
    void insufficientPermissions_data();
    void insufficientPermissions();

private:
    std::unique_ptr<NotificationGlobalSettings> construct(const QVariantMap &dat = knownSettings());
    int monitorClient() const;
    void sendUpdateAndMarker(const QVariantMap &attributes, const QString &objectName,
                             const QByteArray &raw, NotificationGlobalSettings *settings);

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

std::unique_ptr<NotificationGlobalSettings>
tst_NotificationGlobalSettings::construct(const QVariantMap &dat)
{
    m_control->answer(QStringLiteral("query"), answerTo(QStringLiteral("query"), dat));
    return std::unique_ptr<NotificationGlobalSettings>(new NotificationGlobalSettings);
}

int tst_NotificationGlobalSettings::monitorClient() const
{
    const QList<omtest::Received> received = m_control->received();
    for (const omtest::Received &r : received) {
        if (r.msg() == QLatin1String("monitorSettings"))
            return r.clientId;
    }
    return -1;
}

// Sends one update to the object's subscription, then one that sets the
// volume to 77, and waits for that: everything the first update caused has
// happened by then. The marker's own signal is taken out of the log.
void tst_NotificationGlobalSettings::sendUpdateAndMarker(const QVariantMap &attributes,
                                                         const QString &objectName,
                                                         const QByteArray &raw,
                                                         NotificationGlobalSettings *settings)
{
    const int client = monitorClient();
    QVERIFY(client > 0);
    if (!raw.isEmpty())
        QVERIFY(m_control->replyRaw(client, raw));
    else
        QVERIFY(m_control->replyAs(client, objectName, attributes));
    QVERIFY(m_control->reply(
        client, {{QStringLiteral("msg"), QStringLiteral("settingsChanged")},
                 {QStringLiteral("dat"), QVariantMap{{QStringLiteral("volume"), 77}}}}));
    QTRY_COMPARE(settings->volume(), 77);
}

void tst_NotificationGlobalSettings::constructionMessages()
{
    auto settings = construct();
    const QList<omtest::Received> received = m_control->received();
    QCOMPARE(received.size(), 2);
    const QVariantMap global{{QStringLiteral("name"), QStringLiteral("global")}};
    QCOMPARE(received.at(0).msg(), QStringLiteral("monitorSettings"));
    QCOMPARE(received.at(0).id(), Id);
    QCOMPARE(received.at(0).dat(), global);
    QCOMPARE(received.at(1).msg(), QStringLiteral("query"));
    QCOMPARE(received.at(1).id(), Id);
    QCOMPARE(received.at(1).dat(), global);
    // The query has a connection of its own, which ends with the reading;
    // the subscription stays.
    QVERIFY(received.at(0).clientId != received.at(1).clientId);
    QVERIFY(m_control->waitForClosed(1));
    QCOMPARE(m_control->clients(), QList<int>{received.at(0).clientId});
}

void tst_NotificationGlobalSettings::construction_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("warnings");

    const QString policyWarning =
        QStringLiteral("NotificationGlobalSettings::convertStringToNotificationPolicy(): Unknown "
                       "NotificationMode:  ");
    const QString modeWarning =
        QStringLiteral("NotificationGlobalSettings::convertStringToNotificationMode(): Unknown "
                       "NotificationMode:  ");
    const QString untouched = QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=0");

    QTest::newRow("all known") << answerTo(QStringLiteral("query"), knownSettings()) << QString()
                               << QStringLiteral(
                                      "sound=1 vibrate=2 led=1 preview=2 volume=40 mode=3")
                               << QStringList();
    QTest::newRow("true and false")
        << answerTo(QStringLiteral("query"),
                    QVariantMap{{QStringLiteral("sound"), QStringLiteral("true")},
                                {QStringLiteral("led"), QStringLiteral("false")}})
        << QString() << QStringLiteral("sound=1 vibrate=0 led=2 preview=0 volume=-1 mode=0")
        << QStringList();
    QTest::newRow("every mode text")
        << answerTo(QStringLiteral("query"),
                    QVariantMap{{QStringLiteral("mode"), QStringLiteral("phoneonly")}})
        << QString() << QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=4")
        << QStringList();
    QTest::newRow("volume only, as text, not clamped")
        << answerTo(QStringLiteral("query"),
                    QVariantMap{{QStringLiteral("volume"), QStringLiteral("150")}})
        << QString() << QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=150 mode=0")
        << QStringList();
    QTest::newRow("unknown texts logged, stored as Unknown")
        << answerTo(QStringLiteral("query"),
                    QVariantMap{{QStringLiteral("sound"), QStringLiteral("loud")},
                                {QStringLiteral("preview"), QString()},
                                {QStringLiteral("mode"), QStringLiteral("party")},
                                {QStringLiteral("volume"), 5}})
        << QString() << QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=5 mode=0")
        << QStringList{policyWarning + QStringLiteral("\"loud\""),
                       policyWarning + QStringLiteral("\"\""),
                       modeWarning + QStringLiteral("\"party\"")};
    QTest::newRow("id and res not looked at")
        << QVariantMap{{QStringLiteral("res"), QStringLiteral("other")},
                       {QStringLiteral("dat"),
                        QVariantMap{{QStringLiteral("mode"), QStringLiteral("silent")}}}}
        << QString() << QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=1")
        << QStringList();
    QTest::newRow("no dat") << answerTo(QStringLiteral("query"), QVariant()) << QString()
                            << untouched << QStringList();
    QTest::newRow("err instead of dat")
        << QVariantMap{{QStringLiteral("res"), QStringLiteral("query")},
                       {QStringLiteral("err"), QStringLiteral("no")}}
        << QString() << untouched << QStringList();
    QTest::newRow("object other than @control")
        << answerTo(QStringLiteral("query"), knownSettings()) << QStringLiteral("@control_x")
        << untouched << QStringList();
}

void tst_NotificationGlobalSettings::construction()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, objectName);
    QFETCH(QString, expected);
    QFETCH(QStringList, warnings);

    m_control->respond([answer, objectName](const omtest::Received &r) {
        QList<omtest::Answer> answers;
        if (r.msg() == QLatin1String("query"))
            answers.append(omtest::Answer{answer, QByteArray(), objectName, 0});
        return answers;
    });
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::constructionWaitsForSilentService()
{
    // The answer comes well after the constructor has started to wait.
    m_control->answer(QStringLiteral("query"), answerTo(QStringLiteral("query"), knownSettings()),
                      300);
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings),
             QStringLiteral("sound=1 vibrate=2 led=1 preview=2 volume=40 mode=3"));
}

void tst_NotificationGlobalSettings::constructionUndecodableAnswer()
{
    m_control->respond([](const omtest::Received &r) {
        QList<omtest::Answer> answers;
        if (r.msg() == QLatin1String("query"))
            answers.append(
                omtest::Answer{QVariantMap(), QByteArray("volume:n:loud\n"), QString(), 0});
        return answers;
    });
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(settings.volume(), -1);
    QCOMPARE(capture.warnings(), QStringList{QStringLiteral(
                                     "NotificationGlobalSettings::readGlobalSettings(): Could not "
                                     "decode PPS response.")});
}

void tst_NotificationGlobalSettings::serviceAway_data()
{
    QTest::addColumn<bool>("brokerRunning");
    QTest::newRow("no notification service") << true;
    QTest::newRow("no bus at all") << false;
}

void tst_NotificationGlobalSettings::serviceAway()
{
    QFETCH(bool, brokerRunning);
    m_control.reset();
    if (!brokerRunning)
        m_broker->stop();

    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings),
             QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=0"));
    QCOMPARE(capture.warnings(), QStringList());
    QCOMPARE(int(settings.setSound(NotificationPolicy::Allow)),
             int(NotificationSettingsError::ServiceUnavailable));
    QCOMPARE(capture.warnings(), QStringList{setterWarning(QStringLiteral("PPS did not exist: "))});
    if (!brokerRunning)
        return;

    // The service comes back: an object made now follows it, the first one
    // never subscribed and stays as it was.
    SignalLog log;
    log.attach(&settings);
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
    auto later = construct();
    QSignalSpy laterSpy(later.get(), &NotificationGlobalSettings::volumeChanged);
    QVERIFY(m_control->broadcast(
        {{QStringLiteral("dat"), QVariantMap{{QStringLiteral("volume"), 9}}}}));
    QVERIFY(laterSpy.wait());
    QCoreApplication::processEvents();
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(settings.volume(), -1);
}

void tst_NotificationGlobalSettings::updates_data()
{
    QTest::addColumn<QVariantMap>("update");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QStringList>("signalsSeen");
    QTest::addColumn<QStringList>("warnings");

    const auto dat = [](const QVariantMap &d) {
        return QVariantMap{{QStringLiteral("msg"), QStringLiteral("settingsChanged")},
                           {QStringLiteral("dat"), d}};
    };
    // The object starts from knownSettings(): on, off, on, off, 40, normal.
    QTest::newRow("volume alone") << dat({{QStringLiteral("volume"), 55}}) << QString()
                                  << QStringList{QStringLiteral("volume:55")} << QStringList();
    QTest::newRow("several, in the fixed order")
        << dat({{QStringLiteral("volume"), 10},
                {QStringLiteral("mode"), QStringLiteral("silent")},
                {QStringLiteral("sound"), QStringLiteral("off")},
                {QStringLiteral("preview"), QStringLiteral("true")}})
        << QString() << QStringList{QStringLiteral("sound:2"),   QStringLiteral("sound(int):2"),
                                    QStringLiteral("preview:1"), QStringLiteral("preview(int):1"),
                                    QStringLiteral("mode:1"),    QStringLiteral("mode(int):1"),
                                    QStringLiteral("volume:10")}
        << QStringList();
    QTest::newRow("all six")
        << dat({{QStringLiteral("sound"), QStringLiteral("off")},
                {QStringLiteral("vibrate"), QStringLiteral("on")},
                {QStringLiteral("led"), QStringLiteral("off")},
                {QStringLiteral("preview"), QStringLiteral("on")},
                {QStringLiteral("volume"), 0},
                {QStringLiteral("mode"), QStringLiteral("alertsoff")}})
        << QString() << QStringList{QStringLiteral("sound:2"),   QStringLiteral("sound(int):2"),
                                    QStringLiteral("vibrate:1"), QStringLiteral("vibrate(int):1"),
                                    QStringLiteral("led:2"),     QStringLiteral("led(int):2"),
                                    QStringLiteral("preview:1"), QStringLiteral("preview(int):1"),
                                    QStringLiteral("mode:5"),    QStringLiteral("mode(int):5"),
                                    QStringLiteral("volume:0")}
        << QStringList();
    QTest::newRow("stored values repeated")
        << dat(knownSettings()) << QString() << QStringList() << QStringList();
    QTest::newRow("true and false for stored values")
        << dat({{QStringLiteral("sound"), QStringLiteral("true")},
                {QStringLiteral("vibrate"), QStringLiteral("false")}})
        << QString() << QStringList() << QStringList();
    QTest::newRow("unknown text becomes Unknown")
        << dat({{QStringLiteral("sound"), QStringLiteral("loud")}}) << QString()
        << QStringList{QStringLiteral("sound:0"), QStringLiteral("sound(int):0")}
        << QStringList{
               QStringLiteral("NotificationGlobalSettings::convertStringToNotificationPolicy(): "
                              "Unknown NotificationMode:  \"loud\"")};
    QTest::newRow("unknown mode becomes Unknown")
        << dat({{QStringLiteral("mode"), QStringLiteral("Normal")}}) << QString()
        << QStringList{QStringLiteral("mode:0"), QStringLiteral("mode(int):0")}
        << QStringList{
               QStringLiteral("NotificationGlobalSettings::convertStringToNotificationMode(): "
                              "Unknown NotificationMode:  \"Normal\"")};
    QTest::newRow("volume from the service not clamped")
        << dat({{QStringLiteral("volume"), 150}}) << QString()
        << QStringList{QStringLiteral("volume:150")} << QStringList();
    QTest::newRow("no dat") << QVariantMap{{QStringLiteral("msg"),
                                            QStringLiteral("settingsChanged")}}
                            << QString() << QStringList() << QStringList();
    QTest::newRow("object other than @control")
        << dat({{QStringLiteral("volume"), 3}}) << QStringLiteral("@control_x") << QStringList()
        << QStringList();
}

void tst_NotificationGlobalSettings::updates()
{
    QFETCH(QVariantMap, update);
    QFETCH(QString, objectName);
    QFETCH(QStringList, signalsSeen);
    QFETCH(QStringList, warnings);

    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    sendUpdateAndMarker(update, objectName, QByteArray(), settings.get());
    QCOMPARE(log.entries.takeLast(), QStringLiteral("volume:77"));
    QCOMPARE(log.entries, signalsSeen);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::earlierSignalSeesLaterAttributesOld()
{
    auto settings = construct();
    QString seen;
    connect(settings.get(),
            qOverload<NotificationPolicy::Type>(&NotificationGlobalSettings::soundChanged), this,
            [&]() { seen = describe(*settings); });
    QSignalSpy modeSpy(settings.get(),
                       qOverload<NotificationMode::Type>(&NotificationGlobalSettings::modeChanged));
    QVERIFY(m_control->reply(monitorClient(),
                             {{QStringLiteral("dat"),
                               QVariantMap{{QStringLiteral("sound"), QStringLiteral("off")},
                                           {QStringLiteral("vibrate"), QStringLiteral("on")},
                                           {QStringLiteral("mode"), QStringLiteral("vibrate")}}}}));
    QVERIFY(modeSpy.wait());
    QCOMPARE(seen, QStringLiteral("sound=2 vibrate=2 led=1 preview=2 volume=40 mode=3"));
    QCOMPARE(describe(*settings),
             QStringLiteral("sound=2 vibrate=1 led=1 preview=2 volume=40 mode=2"));
    QCOMPARE(modeSpy.at(0).at(0).value<NotificationMode::Type>(), NotificationMode::Vibrate);
}

void tst_NotificationGlobalSettings::undecodableUpdate()
{
    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    sendUpdateAndMarker(QVariantMap(), QString(), QByteArray("dat:json:{\"sound\":\n"),
                        settings.get());
    QCOMPARE(log.entries, QStringList{QStringLiteral("volume:77")});
    QCOMPARE(capture.warnings(),
             QStringList{QStringLiteral(
                 "NotificationGlobalSettings::onReadyReady(): Could not decode PPS response")});
}

void tst_NotificationGlobalSettings::brokerGoneDuringUpdates()
{
    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    m_broker->stop();
    QTRY_COMPARE(capture.warnings(),
                 QStringList{QStringLiteral(
                     "NotificationGlobalSettings::onReadyReady(): Could not read PPS response")});
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(settings->volume(), 40);
}

void tst_NotificationGlobalSettings::setterMessages_data()
{
    QTest::addColumn<QString>("setter");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("viaInt");
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariantMap>("dat");

    const QString update = QStringLiteral("updateGlobalSettings");
    const QString state = QStringLiteral("updateState");
    const auto one = [](const char *key, const char *value) {
        return QVariantMap{{QLatin1String(key), QLatin1String(value)}};
    };
    const auto mode = [](const char *value) {
        return QVariantMap{{QStringLiteral("key"), QStringLiteral("mode")},
                           {QStringLiteral("value"), QLatin1String(value)}};
    };
    QTest::newRow("sound on") << "setSound" << 1 << false << update << one("sound", "on");
    QTest::newRow("vibrate off") << "setVibrate" << 2 << false << update << one("vibrate", "off");
    QTest::newRow("led on") << "setLed" << 1 << false << update << one("led", "on");
    QTest::newRow("preview off") << "setPreview" << 2 << false << update << one("preview", "off");
    QTest::newRow("sound Unknown sends empty")
        << "setSound" << 0 << false << update << one("sound", "");
    QTest::newRow("volume in range") << "setVolume" << 42 << false << update << one("volume", "42");
    QTest::newRow("volume 150 clamped")
        << "setVolume" << 150 << false << update << one("volume", "100");
    QTest::newRow("volume -5 clamped")
        << "setVolume" << -5 << false << update << one("volume", "0");
    QTest::newRow("mode silent") << "setMode" << 1 << false << state << mode("silent");
    QTest::newRow("mode alertsoff") << "setMode" << 5 << false << state << mode("alertsoff");
    QTest::newRow("mode Unknown sends empty") << "setMode" << 0 << false << state << mode("");
    QTest::newRow("script: sound 2") << "setSound" << 2 << true << update << one("sound", "off");
    QTest::newRow("script: led 7 sends empty") << "setLed" << 7 << true << update << one("led", "");
    QTest::newRow("script: mode 4") << "setMode" << 4 << true << state << mode("phoneonly");
    QTest::newRow("script: mode 9 sends empty") << "setMode" << 9 << true << state << mode("");
}

void tst_NotificationGlobalSettings::setterMessages()
{
    QFETCH(QString, setter);
    QFETCH(int, value);
    QFETCH(bool, viaInt);
    QFETCH(QString, msg);
    QFETCH(QVariantMap, dat);

    QVERIFY(m_settingsControl->start());
    m_settingsControl->respond([](const omtest::Received &r) {
        return QList<omtest::Answer>{omtest::Answer{
            omtest::FakeServer::okAnswer(r.attributes, QVariantMap()), QByteArray(), QString(), 0}};
    });
    auto settings = construct();
    const QString before = describe(*settings);
    QCOMPARE(callSetter(settings.get(), setter, value, viaInt),
             int(NotificationSettingsError::None));
    // The answer is no update: the properties wait for the service's.
    QCOMPARE(describe(*settings), before);

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

    const QString msg = QStringLiteral("updateGlobalSettings");
    const QVariantMap dat{{QStringLiteral("sound"), QStringLiteral("on")}};
    const auto with = [](QVariantMap map, const char *key, const QVariant &value) {
        if (value.isValid())
            map.insert(QLatin1String(key), value);
        else
            map.remove(QLatin1String(key));
        return map;
    };
    const QVariantMap ok = answerTo(msg, dat);

    QTest::newRow("dat") << ok << QString() << QByteArray() << int(NotificationSettingsError::None)
                         << QStringList();
    QTest::newRow("dat and err: dat wins")
        << with(ok, "err", QStringLiteral("ignored")) << QString() << QByteArray()
        << int(NotificationSettingsError::None) << QStringList();
    QTest::newRow("err")
        << with(with(ok, "dat", QVariant()), "err", QStringLiteral("bad value")) << QString()
        << QByteArray() << int(NotificationSettingsError::Internal)
        << QStringList{
               QStringLiteral("NotificationGlobalSettings::sendMessage(): The PPS interface may "
                              "have changed. ERRNO:  \"bad value\"  PPS:  ") +
               QuotedPath};
    QTest::newRow("neither dat nor err")
        << with(ok, "dat", QVariant()) << QString() << QByteArray()
        << int(NotificationSettingsError::Unknown)
        << QStringList{setterWarning(QStringLiteral("The PPS response was malformed: "))};
    QTest::newRow("other id") << with(ok, "id", QStringLiteral("_Other")) << QString()
                              << QByteArray() << int(NotificationSettingsError::Unknown)
                              << QStringList{
                                     setterWarning(QStringLiteral("Incorrect response id: "))};
    QTest::newRow("no id") << with(ok, "id", QVariant()) << QString() << QByteArray()
                           << int(NotificationSettingsError::Unknown)
                           << QStringList{setterWarning(QStringLiteral("Incorrect response id: "))};
    QTest::newRow("other res") << with(ok, "res", QStringLiteral("updateState")) << QString()
                               << QByteArray() << int(NotificationSettingsError::Unknown)
                               << QStringList{setterWarning(
                                      QStringLiteral("Some unknown error occurred: "))};
    QTest::newRow("no res") << with(ok, "res", QVariant()) << QString() << QByteArray()
                            << int(NotificationSettingsError::Unknown)
                            << QStringList{
                                   setterWarning(QStringLiteral("Some unknown error occurred: "))};
    QTest::newRow("id before res")
        << with(with(ok, "res", QVariant()), "id", QVariant()) << QString() << QByteArray()
        << int(NotificationSettingsError::Unknown)
        << QStringList{setterWarning(QStringLiteral("Incorrect response id: "))};
    QTest::newRow("any object name") << ok << QStringLiteral("@elsewhere") << QByteArray()
                                     << int(NotificationSettingsError::None) << QStringList();
    // The answer comes headed "@settings-control"; a second object sorts
    // before it and is taken as the response.
    QTest::newRow("first object in key order")
        << QVariantMap() << QString()
        << QByteArray("res::updateGlobalSettings\nid::_NotificationGlobalSettings\ndat:json:{}\n@"
                      "a\nres::x\n")
        << int(NotificationSettingsError::Unknown)
        << QStringList{setterWarning(QStringLiteral("Incorrect response id: "))};
    QTest::newRow("undecodable") << QVariantMap() << QString() << QByteArray("dat:n:none\n")
                                 << int(NotificationSettingsError::Unknown) << QStringList();
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

void tst_NotificationGlobalSettings::setterOpenFailure_data()
{
    QTest::addColumn<bool>("staleMirror");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("warning");
    QTest::newRow("no object") << false << int(NotificationSettingsError::ServiceUnavailable)
                               << setterWarning(QStringLiteral("PPS did not exist: "));
    QTest::newRow("object there, open fails")
        << true << int(NotificationSettingsError::Unknown)
        << setterWarning(QStringLiteral("Could not open PPS: "));
}

void tst_NotificationGlobalSettings::setterOpenFailure()
{
    QFETCH(bool, staleMirror);
    QFETCH(int, result);
    QFETCH(QString, warning);

    auto settings = construct();
    // A broker that died leaves its objects' mirror files behind, readable
    // and writable, while nothing can be opened.
    m_broker->stop();
    if (staleMirror) {
        const QString mirror = om::PpsObject::mirrorFilePath(SettingsControlPath);
        QVERIFY(QDir().mkpath(QFileInfo(mirror).absolutePath()));
        QFile file(mirror);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    omtest::WarningCapture capture;
    QCOMPARE(int(settings->setVolume(10)), result);
    QCOMPARE(capture.warnings(), QStringList{warning});
}

void tst_NotificationGlobalSettings::setterReadFailure()
{
    QVERIFY(m_settingsControl->start());
    // The bus goes away while the setter waits for the answer.
    omtest::TestBroker *broker = m_broker.get();
    m_settingsControl->respond([broker](const omtest::Received &) {
        broker->stop();
        return QList<omtest::Answer>();
    });
    auto settings = construct();
    omtest::WarningCapture capture;
    QCOMPARE(int(settings->setMode(NotificationMode::Normal)),
             int(NotificationSettingsError::Unknown));
    QCOMPARE(capture.warnings().value(0),
             setterWarning(QStringLiteral("Could not read from PPS: ")));
}

void tst_NotificationGlobalSettings::writeFailures()
{
    cleanup();
    settingstest::FakeBroker broker(settingstest::FakeBroker::RefuseWrites);
    QVERIFY(broker.isRunning());
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings),
             QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=0"));
    QCOMPARE(int(settings.setLed(NotificationPolicy::Deny)),
             int(NotificationSettingsError::Unknown));
    QCOMPARE(capture.warnings(),
             (QStringList{
                 QStringLiteral("NotificationGlobalSettings::NotificationGlobalSettingsPrivate(): "
                                "Could not write PPS response."),
                 QStringLiteral("NotificationGlobalSettings::readGlobalSettings(): Could not "
                                "write to PPS."),
                 setterWarning(QStringLiteral("Could not write to PPS: "))}));
}

void tst_NotificationGlobalSettings::readFailures()
{
    cleanup();
    settingstest::FakeBroker broker(settingstest::FakeBroker::HangUpAfterMessage);
    QVERIFY(broker.isRunning());
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings),
             QStringLiteral("sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=0"));
    QCOMPARE(int(settings.setPreview(NotificationPolicy::Allow)),
             int(NotificationSettingsError::Unknown));
    QCOMPARE(
        capture.warnings(),
        (QStringList{QStringLiteral("NotificationGlobalSettings::readGlobalSettings(): Could not "
                                    "read PPS response."),
                     setterWarning(QStringLiteral("Could not read from PPS: "))}));
    // The subscription was hung up too, which the event loop finds.
    QTRY_COMPARE(capture.warnings().size(), 3);
    QCOMPARE(
        capture.warnings().at(2),
        QStringLiteral("NotificationGlobalSettings::onReadyReady(): Could not read PPS response"));
}

void tst_NotificationGlobalSettings::insufficientPermissions_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("owner only")
        << 0600
        << QByteArray("warning NotificationGlobalSettings::sendMessage(): Application "
                      "did not have permission to PPS:  ") +
               QuotedPath.toUtf8() + "\nresult 2\n";
    QTest::newRow("open to all") << 0666 << QByteArray("result 0\n");
}

void tst_NotificationGlobalSettings::insufficientPermissions()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, output);
    if (!settingstest::canSwitchUser())
        QSKIP("running a client under another user needs root");

    m_settingsControl.reset(new omtest::FakeServer(SettingsControlPath, mode));
    QVERIFY(m_settingsControl->start());
    m_settingsControl->answerOk(QStringLiteral("updateGlobalSettings"), QVariantMap());
    m_control->answer(QStringLiteral("query"), answerTo(QStringLiteral("query"), knownSettings()));

    const settingstest::ClientResult client =
        settingstest::runClientAsOtherUser({QStringLiteral("sound"), QStringLiteral("1")});
    QCOMPARE(client.exitCode, 0);
    QCOMPARE(client.out, output);
}

QTEST_GUILESS_MAIN(tst_NotificationGlobalSettings)
#include "tst_notificationglobalsettings.moc"
