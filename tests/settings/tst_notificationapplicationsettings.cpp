// NotificationApplicationSettings against a fake notification service: what
// the constructor asks and reads, and how updates become signals.

#include <om/platform/notificationapplicationsettings.h>

#include "describe.h"
#include "fakebroker.h"
#include "fakeserver.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <QtTest>

#include <memory>

using namespace om::platform;
using settingstest::describe;

namespace {

const QString ControlPath = "/pps/services/notify/control";
const QString Id = "_NotificationApplicationSettings";
const QByteArray Package = "com.example.settingstest";
const QString Untouched = "alerts=1 sound=0 vibrate=0 led=0 preview=0 count=-1 tone=";
const QString Known = "alerts=1 sound=1 vibrate=2 led=1 preview=3 count=2 tone=file:///a.wav";

QVariantMap knownSettings()
{
    return {{"alerts", "on"},        {"sound", "on"},    {"vibrate", "off"},       {"led", "on"},
            {"preview", "disabled"}, {"vib_count", "2"}, {"tone", "file:///a.wav"}};
}

// The known settings with some changed, as the answer to the query.
QVariantMap answerWith(const QVariantMap &changes)
{
    QVariantMap dat = knownSettings();
    for (auto it = changes.cbegin(); it != changes.cend(); ++it)
        dat.insert(it.key(), it.value());
    return {{"res", "query"}, {"id", Id}, {"dat", dat}};
}

QVariantMap update(const QVariantMap &dat)
{
    return {{"msg", "settingsChanged"}, {"dat", dat}};
}

// Every signal of one object, in order: "sound:2", then "sound(int):2".
struct SignalLog
{
    QStringList entries;

    void attach(NotificationApplicationSettings *s)
    {
        using S = NotificationApplicationSettings;
        using P = NotificationPolicy::Type;
        const auto log = [this](const char *name) {
            return [this, name](const QVariant &v) { entries << name + (':' + v.toString()); };
        };
        QObject::connect(s, &S::alertsEnabledChanged, [f = log("alerts")](bool v) { f(v); });
        QObject::connect(s, qOverload<P>(&S::soundChanged), [f = log("sound")](int v) { f(v); });
        QObject::connect(s, qOverload<P>(&S::vibrateChanged),
                         [f = log("vibrate")](int v) { f(v); });
        QObject::connect(s, qOverload<P>(&S::ledChanged), [f = log("led")](int v) { f(v); });
        QObject::connect(s, qOverload<NotificationPriorityPolicy::Type>(&S::previewChanged),
                         [f = log("preview")](int v) { f(v); });
        QObject::connect(s, &S::vibrateCountChanged, log("count"));
        QObject::connect(s, &S::tonePathChanged, [f = log("tone")](const QUrl &v) { f(v); });
        QObject::connect(s, qOverload<int>(&S::soundChanged), log("sound(int)"));
        QObject::connect(s, qOverload<int>(&S::vibrateChanged), log("vibrate(int)"));
        QObject::connect(s, qOverload<int>(&S::ledChanged), log("led(int)"));
        QObject::connect(s, qOverload<int>(&S::previewChanged), log("preview(int)"));
    }
};

} // namespace

class tst_NotificationApplicationSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void constructionMessages_data();
    void constructionMessages();
    void construction_data();
    void construction();
    void constructionWaitsForSilentService();
    void constructionFailures_data();
    void constructionFailures();
    void serviceAwayNeverFollowed();
    void updates_data();
    void updates();
    void earlierSignalSeesLaterAttributesOld();
    void updateFailures_data();
    void updateFailures();

private:
    std::unique_ptr<NotificationApplicationSettings> construct();
    int monitorClient() const;

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
};

void tst_NotificationApplicationSettings::init()
{
    qputenv("OM_PACKAGE_NAME", Package);
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
}

void tst_NotificationApplicationSettings::cleanup()
{
    m_control.reset();
    m_broker.reset();
}

std::unique_ptr<NotificationApplicationSettings> tst_NotificationApplicationSettings::construct()
{
    m_control->answer("query", answerWith({}));
    return std::unique_ptr<NotificationApplicationSettings>(new NotificationApplicationSettings);
}

int tst_NotificationApplicationSettings::monitorClient() const
{
    const QList<omtest::Received> received = m_control->received();
    for (const omtest::Received &r : received) {
        if (r.msg() == "monitorSettings")
            return r.clientId;
    }
    return -1;
}

void tst_NotificationApplicationSettings::constructionMessages_data()
{
    QTest::addColumn<QByteArray>("package");
    QTest::newRow("package name") << Package;
    QTest::newRow("empty name sent as it is") << QByteArray();
}

void tst_NotificationApplicationSettings::constructionMessages()
{
    QFETCH(QByteArray, package);
    qputenv("OM_PACKAGE_NAME", package);
    auto settings = construct();
    const QString name = QString::fromUtf8(package);

    const QList<omtest::Received> received = m_control->received();
    QCOMPARE(received.size(), 2);
    QCOMPARE(received.at(0).msg(), QString("monitorSettings"));
    QCOMPARE(received.at(0).id(), Id);
    QCOMPARE(received.at(0).dat(), (QVariantMap{{"name", name}}));
    QCOMPARE(received.at(1).msg(), QString("query"));
    QCOMPARE(received.at(1).id(), Id);
    QCOMPARE(received.at(1).dat(), (QVariantMap{{"name", name}, {"type", "category"}}));
    QVERIFY(m_control->waitForClosed(1));
    QCOMPARE(m_control->clients(), QList<int>{received.at(0).clientId});
}

void tst_NotificationApplicationSettings::construction_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("warnings");

    const auto known = [](const QString &from, const QString &to) {
        return QString(Known).replace(from, to);
    };
    QTest::newRow("all known, alerts true")
        << answerWith({{"alerts", "true"}}) << Known << QStringList();
    QTest::newRow("alerts other text is false, unlogged")
        << answerWith({{"alerts", "maybe"}}) << known("alerts=1", "alerts=0") << QStringList();
    QTest::newRow("alerts absent stays true")
        << QVariantMap{{"dat", QVariantMap{{"sound", "false"}}}}
        << QString(Untouched).replace("sound=0", "sound=2") << QStringList();
    QTest::newRow("preview unknown")
        << answerWith({{"preview", "loud"}}) << known("preview=3", "preview=0")
        << QStringList{"NotificationApplicationSettings::convertStringToNotificationPriorityPolicy"
                       "() Unknown policy:  \"loud\""};
    QTest::newRow("vib_count abc is 0")
        << answerWith({{"vib_count", "abc"}}) << known("count=2", "count=0") << QStringList();
    // Read as text: "2.5" is no decimal number.
    QTest::newRow("vib_count 2.5 is 0")
        << answerWith({{"vib_count", 2.5}}) << known("count=2", "count=0") << QStringList();
    QTest::newRow("tone as given") << answerWith({{"tone", "file:///b%20c.wav"}})
                                   << known("a.wav", "b c.wav") << QStringList();
}

void tst_NotificationApplicationSettings::construction()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, expected);
    QFETCH(QStringList, warnings);

    m_control->answer("query", answer);
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationApplicationSettings::constructionWaitsForSilentService()
{
    m_control->answer("query", answerWith({}), 300);
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), Known);
}

void tst_NotificationApplicationSettings::constructionFailures_data()
{
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QString>("warning");
    const QString prefix = "NotificationApplicationSettings::readApplicationSettings() ";
    QTest::newRow("no service") << "no service" << prefix + "the PPS channel is not open.";
    // The failed "monitorSettings" is not looked at; the query's is.
    QTest::newRow("writes fail") << "refuse writes" << prefix + "Could not write to PPS.";
    QTest::newRow("reads fail") << "hang up" << prefix + "Could not read PPS response.";
    QTest::newRow("undecodable") << "undecodable" << prefix + "Could not decode PPS response.";
}

void tst_NotificationApplicationSettings::constructionFailures()
{
    QFETCH(QString, failure);
    QFETCH(QString, warning);

    std::unique_ptr<settingstest::FakeBroker> fakeBroker;
    if (failure == "no service") {
        m_control.reset();
    } else if (failure == "undecodable") {
        m_control->respond([](const omtest::Received &) {
            return QList<omtest::Answer>{omtest::Answer{QVariantMap(), "sound\n", "", 0}};
        });
    } else {
        cleanup();
        fakeBroker.reset(new settingstest::FakeBroker(
            failure == "hang up" ? settingstest::FakeBroker::HangUpAfterMessage
                                 : settingstest::FakeBroker::RefuseWrites));
        QVERIFY(fakeBroker->isRunning());
    }
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), Untouched);
    QCOMPARE(capture.warnings(), QStringList{warning});
}

void tst_NotificationApplicationSettings::serviceAwayNeverFollowed()
{
    m_control.reset();
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    SignalLog log;
    log.attach(&settings);

    // The service comes back: a new object follows it, the first stays.
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
    auto later = construct();
    QSignalSpy laterSpy(later.get(), &NotificationApplicationSettings::vibrateCountChanged);
    QVERIFY(m_control->broadcast(update({{"vib_count", 5}})));
    QVERIFY(laterSpy.wait());
    QCoreApplication::processEvents();
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(describe(settings), Untouched);
}

void tst_NotificationApplicationSettings::updates_data()
{
    QTest::addColumn<QVariantMap>("message");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QStringList>("signalsSeen");
    QTest::addColumn<QStringList>("warnings");

    QTest::newRow("preview priority: typed, then 4")
        << update({{"preview", "priority"}}) << "" << QStringList{"preview:4", "preview(int):4"}
        << QStringList();
    QTest::newRow("all seven, in the table's order")
        << update({{"tone", "file:///z.wav"},
                   {"vib_count", "5"},
                   {"alerts", "off"},
                   {"led", "off"},
                   {"preview", "on"},
                   {"vibrate", "on"},
                   {"sound", "off"}})
        << "" << QStringList{"sound:2",      "sound(int):2",       "vibrate:1", "vibrate(int):1",
                             "led:2",        "led(int):2",         "preview:1", "preview(int):1",
                             "alerts:false", "tone:file:///z.wav", "count:5"}
        << QStringList();
    QTest::newRow("unchanged tone sends nothing")
        << update({{"tone", "file:///a.wav"}}) << "" << QStringList() << QStringList();
    QTest::newRow("vib_count abc is a change to 0")
        << update({{"vib_count", "abc"}}) << "" << QStringList{"count:0"} << QStringList();
    // Converted as it comes: 2.5 rounds.
    QTest::newRow("vib_count 2.5 converted")
        << update({{"vib_count", 2.5}}) << "" << QStringList{"count:3"} << QStringList();
    QTest::newRow("priority is no sound policy")
        << update({{"sound", "priority"}}) << "" << QStringList{"sound:0", "sound(int):0"}
        << QStringList{"NotificationPolicy::convertStringToNotificationPolicy() Unknown policy:  "
                       "\"priority\""};
    QTest::newRow("alerts empty switches them off")
        << update({{"alerts", ""}}) << "" << QStringList{"alerts:false"} << QStringList();
    QTest::newRow("no @control") << update({{"led", "off"}}) << "@other" << QStringList()
                                 << QStringList();
    QTest::newRow("another application's name is not looked at")
        << update({{"name", "com.example.other"}, {"led", "off"}}) << ""
        << QStringList{"led:2", "led(int):2"} << QStringList();
}

void tst_NotificationApplicationSettings::updates()
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
    QVERIFY(m_control->reply(client, update({{"vib_count", 99}})));
    QTRY_COMPARE(settings->vibrateCount(), 99);
    QCOMPARE(log.entries.takeLast(), QString("count:99"));
    QCOMPARE(log.entries, signalsSeen);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationApplicationSettings::earlierSignalSeesLaterAttributesOld()
{
    auto settings = construct();
    QString seen;
    connect(settings.get(), &NotificationApplicationSettings::alertsEnabledChanged, this,
            [&]() { seen = describe(*settings); });
    QSignalSpy toneSpy(settings.get(), &NotificationApplicationSettings::tonePathChanged);
    QVERIFY(m_control->reply(monitorClient(),
                             update({{"alerts", "off"}, {"sound", "off"}, {"tone", "file:///n"}})));
    QVERIFY(toneSpy.wait());
    // The sound comes before the alerts, the tone after them.
    QCOMPARE(seen,
             QString("alerts=0 sound=2 vibrate=2 led=1 preview=3 count=2 tone=file:///a.wav"));
    QCOMPARE(toneSpy.at(0).at(0).toUrl(), QUrl("file:///n"));
}

void tst_NotificationApplicationSettings::updateFailures_data()
{
    QTest::addColumn<bool>("busGone");
    QTest::addColumn<QString>("warning");
    QTest::newRow("undecodable")
        << false << "NotificationApplicationSettings::onReadyRead() Could not decode PPS response.";
    QTest::newRow("bus gone")
        << true << "NotificationApplicationSettings::onReadyRead() Could not read PPS response.";
}

void tst_NotificationApplicationSettings::updateFailures()
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
        QVERIFY(m_control->replyRaw(monitorClient(), "vib_count:b:maybe\n"));
    QTRY_COMPARE(capture.warnings(), QStringList{warning});
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(describe(*settings), Known);
}

QTEST_GUILESS_MAIN(tst_NotificationApplicationSettings)
#include "tst_notificationapplicationsettings.moc"
