#include "settingstest.h"

using namespace om::platform;
using namespace settingstest;

namespace {

const QString Known = "alerts=1 sound=1 vibrate=2 led=1 preview=3 count=2 tone=file:///a.wav";

// The answer to the query: the known settings, one of them changed.
QVariantMap answerWith(const QString &key = "alerts", const QVariant &value = "on")
{
    const QVariantMap known{{"alerts", "on"},       {"sound", "on"},    {"vibrate", "off"},
                            {"led", "on"},          {"vib_count", "2"}, {"tone", "file:///a.wav"},
                            {"preview", "disabled"}};
    return {{"res", "query"},
            {"id", "_NotificationApplicationSettings"},
            {"dat", with(known, key, value)}};
}

} // namespace

class tst_NotificationApplicationSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void construction_data();
    void construction();
    void updates_data();
    void updates();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
};

void tst_NotificationApplicationSettings::init()
{
    qputenv("OM_PACKAGE_NAME", "com.example.settingstest");
    QVERIFY(startNotifyService(m_broker, m_control));
}

void tst_NotificationApplicationSettings::cleanup()
{
    m_control.reset();
    m_broker.reset();
}

void tst_NotificationApplicationSettings::construction_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("warnings");

    const auto row = [](const char *name, const QVariantMap &answer, const QString &expected,
                        const QStringList &warnings = {}) {
        QTest::newRow(name) << answer << expected << warnings;
    };
    const auto known = [](const QString &from, const QString &to) {
        return QString(Known).replace(from, to);
    };
    row("all known, alerts true", answerWith("alerts", "true"), Known);
    row("silent", answerWith(), Known);
    row("alerts other text is false, unlogged", answerWith("alerts", "maybe"),
        known("alerts=1", "alerts=0"));
    row("alerts absent stays true", {{"dat", QVariantMap{{"sound", "off"}}}},
        "alerts=1 sound=2 vibrate=0 led=0 preview=0 count=-1 tone=");
    row("preview unknown", answerWith("preview", "loud"), known("preview=3", "preview=0"),
        {"NotificationApplicationSettings::convertStringToNotificationPriorityPolicy() Unknown "
         "policy:  \"loud\""});
    row("vib_count abc is 0", answerWith("vib_count", "abc"), known("count=2", "count=0"));
    row("away", {}, "alerts=1 sound=0 vibrate=0 led=0 preview=0 count=-1 tone=",
        {"NotificationApplicationSettings::readApplicationSettings() the PPS channel is not "
         "open."});
}

void tst_NotificationApplicationSettings::construction()
{
    const QByteArray service = QTest::currentDataTag();
    QFETCH(QVariantMap, answer);
    QFETCH(QString, expected);
    QFETCH(QStringList, warnings);

    if (service == "away")
        m_control.reset();
    else
        m_control->answer("query", answer, service == "silent" ? 300 : 0);
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationApplicationSettings::updates_data()
{
    QTest::addColumn<QVariantMap>("message");
    QTest::addColumn<QStringList>("signalsSeen");
    QTest::addColumn<QStringList>("warnings");

    const auto row = [](const char *name, const QVariantMap &dat, const QStringList &signalsSeen,
                        const QStringList &warnings = {}) {
        QTest::newRow(name) << update(dat) << signalsSeen << warnings;
    };
    row("preview priority: typed, then 4", {{"preview", "priority"}},
        {"preview:PriorityOnly", "preview(int):4"});
    row("all seven, in the table's order",
        {{"tone", "file:///z.wav"},
         {"vib_count", "5"},
         {"alerts", "off"},
         {"led", "off"},
         {"preview", "on"},
         {"vibrate", "on"},
         {"sound", "off"}},
        {"sound:Deny", "sound(int):2", "vibrate:Allow", "vibrate(int):1", "led:Deny", "led(int):2",
         "preview:Allow", "preview(int):1", "alertsEnabled:false", "tonePath:file:///z.wav",
         "vibrateCount:5"});
    row("unchanged tone sends nothing", {{"tone", "file:///a.wav"}}, {});
    row("vib_count abc is a change to 0", {{"vib_count", "abc"}}, {"vibrateCount:0"});
    row("priority is no sound policy", {{"sound", "priority"}}, {"sound:Unknown", "sound(int):0"},
        {"NotificationPolicy::convertStringToNotificationPolicy() Unknown policy:  \"priority\""});
    row("no @control", {{"led", "off"}}, {});
    QTest::newRow("no dat") << QVariantMap{{"msg", "settingsChanged"}} << QStringList()
                            << QStringList();
    QTest::newRow("undecodable")
        << QVariantMap{{"raw", "vib_count:b:maybe\n"}} << QStringList()
        << QStringList{"NotificationApplicationSettings::onReadyRead() Could not decode PPS "
                       "response."};
}

void tst_NotificationApplicationSettings::updates()
{
    QFETCH(QVariantMap, message);
    QFETCH(QStringList, signalsSeen);
    QFETCH(QStringList, warnings);

    m_control->answer("query", answerWith());
    NotificationApplicationSettings settings;
    omtest::SignalLog log(&settings);
    omtest::WarningCapture capture;
    const int client = monitorClient(*m_control);
    const QString objectName = QTest::currentDataTag() == QByteArray("no @control") ? "@other" : "";
    // A "raw" message is sent as it is, undecoded.
    QVERIFY(message.contains("raw") ? m_control->replyRaw(client, message["raw"].toByteArray())
                                    : m_control->replyAs(client, objectName, message));
    // A last update that everything before it has been handled by.
    QVERIFY(m_control->reply(client, update({{"vib_count", 99}})));
    QTRY_COMPARE(settings.vibrateCount(), 99);
    QStringList seen = signalsOf(settings, log);
    QCOMPARE(seen.takeLast(), QString("vibrateCount:99"));
    QCOMPARE(seen, signalsSeen);
    QCOMPARE(capture.warnings(), warnings);
}

QTEST_GUILESS_MAIN(tst_NotificationApplicationSettings)
#include "tst_notificationapplicationsettings.moc"
