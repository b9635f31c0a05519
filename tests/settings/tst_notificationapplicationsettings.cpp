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

using om::platform::NotificationApplicationSettings;
using om::platform::NotificationPolicy;
using om::platform::NotificationPriorityPolicy;

using settingstest::describe;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/notify/control");
const QString Id = QStringLiteral("_NotificationApplicationSettings");
const QByteArray Package = "com.example.settingstest";

QVariantMap queryAnswer(const QVariant &dat)
{
    QVariantMap a{{QStringLiteral("res"), QStringLiteral("query")}, {QStringLiteral("id"), Id}};
    if (dat.isValid())
        a.insert(QStringLiteral("dat"), dat);
    return a;
}

QVariantMap knownSettings()
{
    return {{QStringLiteral("alerts"), QStringLiteral("on")},
            {QStringLiteral("sound"), QStringLiteral("on")},
            {QStringLiteral("vibrate"), QStringLiteral("off")},
            {QStringLiteral("led"), QStringLiteral("on")},
            {QStringLiteral("preview"), QStringLiteral("disabled")},
            {QStringLiteral("vib_count"), QStringLiteral("2")},
            {QStringLiteral("tone"), QStringLiteral("file:///tones/a.wav")}};
}

const QString Untouched =
    QStringLiteral("alerts=1 sound=0 vibrate=0 led=0 preview=0 count=-1 tone=");
const QString Known =
    QStringLiteral("alerts=1 sound=1 vibrate=2 led=1 preview=3 count=2 tone=file:///tones/a.wav");

// Every signal of one object, in order: "sound:2", then "sound(int):2".
struct SignalLog
{
    QStringList entries;

    void attach(NotificationApplicationSettings *s)
    {
        using S = NotificationApplicationSettings;
        const auto entry = [this](const char *name) {
            return [this, name](const QVariant &v) {
                entries.append(QLatin1String(name) + QLatin1Char(':') + v.toString());
            };
        };
        const auto asInt = [entry](const char *name) { return [f = entry(name)](int v) { f(v); }; };
        QObject::connect(s, &S::alertsEnabledChanged, [f = entry("alerts")](bool v) { f(v); });
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::soundChanged), asInt("sound"));
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::vibrateChanged),
                         asInt("vibrate"));
        QObject::connect(s, qOverload<NotificationPolicy::Type>(&S::ledChanged), asInt("led"));
        QObject::connect(s, qOverload<NotificationPriorityPolicy::Type>(&S::previewChanged),
                         asInt("preview"));
        QObject::connect(s, &S::vibrateCountChanged, asInt("count"));
        QObject::connect(s, &S::tonePathChanged, [f = entry("tone")](const QUrl &v) { f(v); });
        QObject::connect(s, qOverload<int>(&S::soundChanged), asInt("sound(int)"));
        QObject::connect(s, qOverload<int>(&S::vibrateChanged), asInt("vibrate(int)"));
        QObject::connect(s, qOverload<int>(&S::ledChanged), asInt("led(int)"));
        QObject::connect(s, qOverload<int>(&S::previewChanged), asInt("preview(int)"));
    }
};

} // namespace

class tst_NotificationApplicationSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void constructionMessages_data();
    void constructionMessages();
    void construction_data();
    void construction();
    void constructionWaitsForSilentService();
    void constructionFailures_data();
    void constructionFailures();
    void serviceAway();

    void updates_data();
    void updates();
    void earlierSignalSeesLaterAttributesOld();
    void undecodableUpdate();
    void brokerGoneDuringUpdates();

private:
    std::unique_ptr<NotificationApplicationSettings>
    construct(const QVariantMap &dat = knownSettings());
    int monitorClient() const;

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
};

void tst_NotificationApplicationSettings::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", Package);
}

void tst_NotificationApplicationSettings::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
}

void tst_NotificationApplicationSettings::cleanup()
{
    qputenv("OM_PACKAGE_NAME", Package);
    m_control.reset();
    m_broker.reset();
}

std::unique_ptr<NotificationApplicationSettings>
tst_NotificationApplicationSettings::construct(const QVariantMap &dat)
{
    m_control->answer(QStringLiteral("query"), queryAnswer(dat));
    return std::unique_ptr<NotificationApplicationSettings>(new NotificationApplicationSettings);
}

int tst_NotificationApplicationSettings::monitorClient() const
{
    const QList<omtest::Received> received = m_control->received();
    for (const omtest::Received &r : received) {
        if (r.msg() == QLatin1String("monitorSettings"))
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
    QCOMPARE(received.at(0).msg(), QStringLiteral("monitorSettings"));
    QCOMPARE(received.at(0).id(), Id);
    QCOMPARE(received.at(0).dat(), (QVariantMap{{QStringLiteral("name"), name}}));
    QCOMPARE(received.at(1).msg(), QStringLiteral("query"));
    QCOMPARE(received.at(1).id(), Id);
    QCOMPARE(received.at(1).dat(),
             (QVariantMap{{QStringLiteral("name"), name},
                          {QStringLiteral("type"), QStringLiteral("category")}}));
    QVERIFY(received.at(0).clientId != received.at(1).clientId);
    QVERIFY(m_control->waitForClosed(1));
    QCOMPARE(m_control->clients(), QList<int>{received.at(0).clientId});
}

void tst_NotificationApplicationSettings::construction_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("warnings");

    const auto with = [](const QVariantMap &changes) {
        QVariantMap dat = knownSettings();
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            dat.insert(it.key(), it.value());
        return queryAnswer(dat);
    };
    const auto known = [](const QString &replace, const QString &by) {
        return QString(Known).replace(replace, by);
    };

    QTest::newRow("all known") << queryAnswer(knownSettings()) << Known << QStringList();
    QTest::newRow("alerts true") << with({{QStringLiteral("alerts"), QStringLiteral("true")}})
                                 << Known << QStringList();
    QTest::newRow("alerts off") << with({{QStringLiteral("alerts"), QStringLiteral("off")}})
                                << known(QStringLiteral("alerts=1"), QStringLiteral("alerts=0"))
                                << QStringList();
    QTest::newRow("alerts other text is false, unlogged")
        << with({{QStringLiteral("alerts"), QStringLiteral("maybe")}})
        << known(QStringLiteral("alerts=1"), QStringLiteral("alerts=0")) << QStringList();
    QTest::newRow("alerts empty is false")
        << with({{QStringLiteral("alerts"), QString()}})
        << known(QStringLiteral("alerts=1"), QStringLiteral("alerts=0")) << QStringList();
    QTest::newRow("alerts absent stays true")
        << queryAnswer(QVariantMap{{QStringLiteral("sound"), QStringLiteral("false")}})
        << QString(Untouched).replace(QStringLiteral("sound=0"), QStringLiteral("sound=2"))
        << QStringList();
    QTest::newRow("preview priority")
        << with({{QStringLiteral("preview"), QStringLiteral("priority")}})
        << known(QStringLiteral("preview=3"), QStringLiteral("preview=4")) << QStringList();
    QTest::newRow("preview true") << with({{QStringLiteral("preview"), QStringLiteral("true")}})
                                  << known(QStringLiteral("preview=3"), QStringLiteral("preview=1"))
                                  << QStringList();
    QTest::newRow("preview unknown")
        << with({{QStringLiteral("preview"), QStringLiteral("loud")}})
        << known(QStringLiteral("preview=3"), QStringLiteral("preview=0"))
        << QStringList{QStringLiteral(
               "NotificationApplicationSettings::convertStringToNotificationPriorityPolicy() "
               "Unknown policy:  \"loud\"")};
    QTest::newRow("priority is no sound policy")
        << with({{QStringLiteral("sound"), QStringLiteral("priority")}})
        << known(QStringLiteral("sound=1"), QStringLiteral("sound=0"))
        << QStringList{
               QStringLiteral("NotificationPolicy::convertStringToNotificationPolicy() Unknown "
                              "policy:  \"priority\"")};
    QTest::newRow("vib_count abc is 0")
        << with({{QStringLiteral("vib_count"), QStringLiteral("abc")}})
        << known(QStringLiteral("count=2"), QStringLiteral("count=0")) << QStringList();
    QTest::newRow("vib_count as a number")
        << with({{QStringLiteral("vib_count"), 4}})
        << known(QStringLiteral("count=2"), QStringLiteral("count=4")) << QStringList();
    // The query's answer is read as text: "2.5" is no decimal number.
    QTest::newRow("vib_count 2.5 is 0")
        << with({{QStringLiteral("vib_count"), 2.5}})
        << known(QStringLiteral("count=2"), QStringLiteral("count=0")) << QStringList();
    QTest::newRow("tone as given")
        << with({{QStringLiteral("tone"), QStringLiteral("file:///tones/b%20c.wav")}})
        << known(QStringLiteral("a.wav"), QStringLiteral("b c.wav")) << QStringList();
    QTest::newRow("no dat") << queryAnswer(QVariant()) << Untouched << QStringList();
    QTest::newRow("empty dat") << queryAnswer(QVariantMap()) << Untouched << QStringList();
}

void tst_NotificationApplicationSettings::construction()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, expected);
    QFETCH(QStringList, warnings);

    m_control->answer(QStringLiteral("query"), answer);
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationApplicationSettings::constructionWaitsForSilentService()
{
    m_control->answer(QStringLiteral("query"), queryAnswer(knownSettings()), 300);
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), Known);
}

void tst_NotificationApplicationSettings::constructionFailures_data()
{
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QStringList>("warnings");
    const QString prefix =
        QStringLiteral("NotificationApplicationSettings::readApplicationSettings() ");
    QTest::newRow("no service") << "no service"
                                << QStringList{prefix +
                                               QStringLiteral("the PPS channel is not open.")};
    // The failed "monitorSettings" is not looked at; the query's is.
    QTest::newRow("write fails") << "refuse writes"
                                 << QStringList{prefix + QStringLiteral("Could not write to PPS.")};
    QTest::newRow("read fails") << "hang up"
                                << QStringList{prefix +
                                               QStringLiteral("Could not read PPS response.")};
    QTest::newRow("decode fails") << "undecodable"
                                  << QStringList{prefix +
                                                 QStringLiteral("Could not decode PPS response.")};
}

void tst_NotificationApplicationSettings::constructionFailures()
{
    QFETCH(QString, failure);
    QFETCH(QStringList, warnings);

    std::unique_ptr<settingstest::FakeBroker> fakeBroker;
    if (failure == QLatin1String("no service")) {
        m_control.reset();
    } else if (failure == QLatin1String("undecodable")) {
        m_control->respond([](const omtest::Received &r) {
            QList<omtest::Answer> answers;
            if (r.msg() == QLatin1String("query"))
                answers.append(omtest::Answer{QVariantMap(), QByteArray("sound\n"), QString(), 0});
            return answers;
        });
    } else {
        cleanup();
        fakeBroker.reset(new settingstest::FakeBroker(
            failure == QLatin1String("hang up") ? settingstest::FakeBroker::HangUpAfterMessage
                                                : settingstest::FakeBroker::RefuseWrites));
        QVERIFY(fakeBroker->isRunning());
    }
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    QCOMPARE(describe(settings), Untouched);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationApplicationSettings::serviceAway()
{
    m_control.reset();
    omtest::WarningCapture capture;
    NotificationApplicationSettings settings;
    QCOMPARE(
        capture.warnings(),
        QStringList{QStringLiteral("NotificationApplicationSettings::readApplicationSettings() the "
                                   "PPS channel is not open.")});
    SignalLog log;
    log.attach(&settings);

    // The service comes back: a new object follows it, the first stays.
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
    auto later = construct();
    QSignalSpy laterSpy(later.get(), &NotificationApplicationSettings::vibrateCountChanged);
    QVERIFY(m_control->broadcast(
        {{QStringLiteral("dat"), QVariantMap{{QStringLiteral("vib_count"), 5}}}}));
    QVERIFY(laterSpy.wait());
    QCoreApplication::processEvents();
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(describe(settings), Untouched);
}

void tst_NotificationApplicationSettings::updates_data()
{
    QTest::addColumn<QVariantMap>("update");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QStringList>("signalsSeen");
    QTest::addColumn<QStringList>("warnings");

    const auto dat = [](const QVariantMap &d) {
        return QVariantMap{{QStringLiteral("msg"), QStringLiteral("settingsChanged")},
                           {QStringLiteral("dat"), d}};
    };
    QTest::newRow("preview priority: typed, then 4")
        << dat({{QStringLiteral("preview"), QStringLiteral("priority")}}) << QString()
        << QStringList{QStringLiteral("preview:4"), QStringLiteral("preview(int):4")}
        << QStringList();
    QTest::newRow("all seven, in the table's order")
        << dat({{QStringLiteral("tone"), QStringLiteral("file:///tones/z.wav")},
                {QStringLiteral("vib_count"), QStringLiteral("5")},
                {QStringLiteral("alerts"), QStringLiteral("off")},
                {QStringLiteral("led"), QStringLiteral("off")},
                {QStringLiteral("preview"), QStringLiteral("on")},
                {QStringLiteral("vibrate"), QStringLiteral("on")},
                {QStringLiteral("sound"), QStringLiteral("off")}})
        << QString()
        << QStringList{QStringLiteral("sound:2"),      QStringLiteral("sound(int):2"),
                       QStringLiteral("vibrate:1"),    QStringLiteral("vibrate(int):1"),
                       QStringLiteral("led:2"),        QStringLiteral("led(int):2"),
                       QStringLiteral("preview:1"),    QStringLiteral("preview(int):1"),
                       QStringLiteral("alerts:false"), QStringLiteral("tone:file:///tones/z.wav"),
                       QStringLiteral("count:5")}
        << QStringList();
    QTest::newRow("unchanged tone sends nothing")
        << dat({{QStringLiteral("tone"), QStringLiteral("file:///tones/a.wav")}}) << QString()
        << QStringList() << QStringList();
    QTest::newRow("changed tone sends once")
        << dat({{QStringLiteral("tone"), QStringLiteral("file:///tones/b.wav")}}) << QString()
        << QStringList{QStringLiteral("tone:file:///tones/b.wav")} << QStringList();
    QTest::newRow("vib_count abc is a change to 0")
        << dat({{QStringLiteral("vib_count"), QStringLiteral("abc")}}) << QString()
        << QStringList{QStringLiteral("count:0")} << QStringList();
    QTest::newRow("vib_count as a number")
        << dat({{QStringLiteral("vib_count"), 3}}) << QString()
        << QStringList{QStringLiteral("count:3")} << QStringList();
    // An update converts the value as it comes: 2.5 rounds.
    QTest::newRow("vib_count 2.5 converted")
        << dat({{QStringLiteral("vib_count"), 2.5}}) << QString()
        << QStringList{QStringLiteral("count:3")} << QStringList();
    QTest::newRow("priority is no sound policy")
        << dat({{QStringLiteral("sound"), QStringLiteral("priority")}}) << QString()
        << QStringList{QStringLiteral("sound:0"), QStringLiteral("sound(int):0")}
        << QStringList{
               QStringLiteral("NotificationPolicy::convertStringToNotificationPolicy() Unknown "
                              "policy:  \"priority\"")};
    QTest::newRow("alerts empty switches them off")
        << dat({{QStringLiteral("alerts"), QString()}}) << QString()
        << QStringList{QStringLiteral("alerts:false")} << QStringList();
    QTest::newRow("stored values repeated")
        << dat(knownSettings()) << QString() << QStringList() << QStringList();
    QTest::newRow("no dat") << QVariantMap{{QStringLiteral("msg"), QStringLiteral("x")}}
                            << QString() << QStringList() << QStringList();
    QTest::newRow("no @control") << dat({{QStringLiteral("led"), QStringLiteral("off")}})
                                 << QStringLiteral("@other") << QStringList() << QStringList();
    QTest::newRow("another application's name is not looked at")
        << dat({{QStringLiteral("name"), QStringLiteral("com.example.other")},
                {QStringLiteral("led"), QStringLiteral("off")}})
        << QString() << QStringList{QStringLiteral("led:2"), QStringLiteral("led(int):2")}
        << QStringList();
}

void tst_NotificationApplicationSettings::updates()
{
    QFETCH(QVariantMap, update);
    QFETCH(QString, objectName);
    QFETCH(QStringList, signalsSeen);
    QFETCH(QStringList, warnings);

    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    const int client = monitorClient();
    QVERIFY(client > 0);
    QVERIFY(m_control->replyAs(client, objectName, update));
    // A last update that everything before it has been handled by.
    QVERIFY(m_control->reply(
        client, {{QStringLiteral("dat"), QVariantMap{{QStringLiteral("vib_count"), 99}}}}));
    QTRY_COMPARE(settings->vibrateCount(), 99);
    QCOMPARE(log.entries.takeLast(), QStringLiteral("count:99"));
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
    QVERIFY(m_control->reply(
        monitorClient(),
        {{QStringLiteral("dat"),
          QVariantMap{{QStringLiteral("alerts"), QStringLiteral("off")},
                      {QStringLiteral("sound"), QStringLiteral("off")},
                      {QStringLiteral("tone"), QStringLiteral("file:///n.wav")}}}}));
    QVERIFY(toneSpy.wait());
    // The sound comes before the alerts, the tone after them.
    QCOMPARE(seen,
             QStringLiteral(
                 "alerts=0 sound=2 vibrate=2 led=1 preview=3 count=2 tone=file:///tones/a.wav"));
    QCOMPARE(toneSpy.at(0).at(0).toUrl(), QUrl(QStringLiteral("file:///n.wav")));
}

void tst_NotificationApplicationSettings::undecodableUpdate()
{
    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    const int client = monitorClient();
    QVERIFY(m_control->replyRaw(client, "vib_count:b:maybe\n"));
    QVERIFY(m_control->reply(
        client, {{QStringLiteral("dat"), QVariantMap{{QStringLiteral("vib_count"), 99}}}}));
    QTRY_COMPARE(settings->vibrateCount(), 99);
    QCOMPARE(log.entries, QStringList{QStringLiteral("count:99")});
    QCOMPARE(capture.warnings(),
             QStringList{QStringLiteral(
                 "NotificationApplicationSettings::onReadyRead() Could not decode PPS response.")});
}

void tst_NotificationApplicationSettings::brokerGoneDuringUpdates()
{
    auto settings = construct();
    SignalLog log;
    log.attach(settings.get());
    omtest::WarningCapture capture;
    m_broker->stop();
    QTRY_COMPARE(
        capture.warnings(),
        QStringList{QStringLiteral(
            "NotificationApplicationSettings::onReadyRead() Could not read PPS response.")});
    QCOMPARE(log.entries, QStringList());
    QCOMPARE(describe(*settings), Known);
}

QTEST_GUILESS_MAIN(tst_NotificationApplicationSettings)
#include "tst_notificationapplicationsettings.moc"
