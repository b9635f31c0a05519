#include "settingstest.h"

using namespace om::platform;
using namespace settingstest;
using Settings = NotificationDefaultApplicationSettings;
using P = NotificationPolicy;

const QString Id = "_NotificationDefaultApplicationSettings";

class tst_NotificationDefaultApplicationSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void vibrateCountClamped();
    void copiesDoNotShareChanges();
    void registration_data();
    void registration();
    void answers_data();
    void answers();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
};

void tst_NotificationDefaultApplicationSettings::init()
{
    qputenv("OM_PACKAGE_NAME", "com.example.defaults");
    QVERIFY(startNotifyService(m_broker, m_control));
}

void tst_NotificationDefaultApplicationSettings::cleanup()
{
    m_control.reset();
    m_broker.reset();
}

void tst_NotificationDefaultApplicationSettings::vibrateCountClamped()
{
    for (const auto &given : QVector<QPair<int, int>>{{0, 1}, {-1, 1}, {3, 3}, {9, 5}}) {
        Settings settings;
        settings.setVibrateCount(given.first);
        QCOMPARE(settings.vibrateCount(), given.second);
    }
}

void tst_NotificationDefaultApplicationSettings::copiesDoNotShareChanges()
{
    Settings original;
    QCOMPARE(describe(original), QString("sound=0 vibrate=0 led=0 preview=0 count=-1 tone="));
    original.setLed(P::Allow);
    Settings copy(original);
    original.setSound(P::Deny);
    copy.setSound(P::Allow);
    Settings assigned;
    assigned = copy;
    copy.setTonePath(QUrl("file:///t.wav"));
    assigned.setVibrateCount(4);
    QCOMPARE(describe(original), QString("sound=2 vibrate=0 led=1 preview=0 count=-1 tone="));
    QCOMPARE(describe(copy),
             QString("sound=1 vibrate=0 led=1 preview=0 count=-1 tone=file:///t.wav"));
    QCOMPARE(describe(assigned), QString("sound=1 vibrate=0 led=1 preview=0 count=4 tone="));
}

void tst_NotificationDefaultApplicationSettings::registration_data()
{
    QTest::addColumn<Settings>("settings");
    QTest::addColumn<QVariantMap>("dat");

    const auto row = [](const char *name, const std::function<void(Settings &)> &fill,
                        const QVariantMap &dat) {
        Settings settings;
        fill(settings);
        QTest::newRow(name) << settings << with(dat, "name", "com.example.defaults");
    };
    row("fresh: the name alone", [](Settings &) {}, {});
    row("out-of-range policy sent empty", [](Settings &s) { s.setLed(P::Type(6)); }, {{"led", ""}});
    row("Unknown takes a field out again",
        [](Settings &s) {
            s.setLed(P::Allow);
            s.setLed(P::Unknown);
        },
        {});
    row("not applicable is disabled",
        [](Settings &s) { s.setPreview(NotificationPriorityPolicy::NotApplicable); },
        {{"preview", "disabled"}});
    row("vibrate count as text", [](Settings &s) { s.setVibrateCount(7); }, {{"vib_count", "5"}});
    row("tone percent-encoded", [](Settings &s) { s.setTonePath(QUrl("file:///my tone.wav")); },
        {{"tone", "file:///my%20tone.wav"}});
    row("tone naming no file dropped, the rest sent",
        [](Settings &s) {
            s.setTonePath(QUrl("http://example.com/a.wav"));
            s.setLed(P::Deny);
        },
        {{"led", "off"}});
}

void tst_NotificationDefaultApplicationSettings::registration()
{
    QFETCH(Settings, settings);
    QFETCH(QVariantMap, dat);

    m_control->answerOk("registerSettings", QVariantMap());
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    QCOMPARE(capture.warnings(), QStringList());
    QCOMPARE(m_control->received().size(), 1);
    QCOMPARE(m_control->last().attributes,
             (QVariantMap{{"msg", "registerSettings"}, {"id", Id}, {"dat", dat}}));
}

void tst_NotificationDefaultApplicationSettings::answers_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("warning");

    const QVariantMap ok{{"res", "registerSettings"}, {"id", Id}, {"dat", QVariantMap()}};
    const auto row = [](const char *name, const QVariantMap &answer, int result,
                        const QString &warning) {
        QTest::newRow(name) << answer << result
                            << (warning.isEmpty() ? warning
                                                  : "NoitifcaionDefaultApplicationSettings::"
                                                    "registerApplicationSettings() " +
                                                        warning);
    };
    const int Unknown = NotificationSettingsError::Unknown;
    row("dat", ok, NotificationSettingsError::None, "");
    row("err and dat: err wins", with(ok, "err", "full"), NotificationSettingsError::Internal,
        "PPS ERROR:  \"full\"");
    row("neither", with(ok, "dat", QVariant()), Unknown, "Unknown error.");
    row("other res", with(ok, "res", "query"), Unknown, "Invalid response.");
    row("other id", with(ok, "id", "_NotificationGlobalSettings"), Unknown, "Incorrect msg id.");
    row("no @control", ok, Unknown, "Invalid response.");
    row("undecodable", ok, Unknown, "Could not decode PPS response.");
    // Unlike the global setters, no ServiceUnavailable.
    row("no service", ok, Unknown, "Could not open PPS");
}

void tst_NotificationDefaultApplicationSettings::answers()
{
    QFETCH(QVariantMap, answer);
    QFETCH(int, result);
    QFETCH(QString, warning);

    const QByteArray tag = QTest::currentDataTag();
    if (tag == "no service")
        m_control.reset();
    else
        m_control->respond([=](const omtest::Received &) {
            const QByteArray raw = tag == "undecodable" ? ":x:y\n" : "";
            const QString objectName = tag == "no @control" ? "@control_x" : "";
            return QList<omtest::Answer>{omtest::Answer{answer, raw, objectName, 0}};
        });
    Settings settings;
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), result);
    QCOMPARE(capture.warnings(), warning.isEmpty() ? QStringList() : QStringList{warning});
}

QTEST_GUILESS_MAIN(tst_NotificationDefaultApplicationSettings)
#include "tst_notificationdefaultapplicationsettings.moc"
