// NotificationDefaultApplicationSettings: the value and its copies, what
// apply() registers, and how it judges the service's answer.

#include <om/platform/notificationdefaultapplicationsettings.h>

#include "describe.h"
#include "fakeserver.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <QDir>
#include <QFileInfo>
#include <QtTest>

#include <memory>

using om::platform::NotificationDefaultApplicationSettings;
using om::platform::NotificationPolicy;
using om::platform::NotificationPriorityPolicy;
using om::platform::NotificationSettingsError;

using settingstest::describe;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/notify/control");
const QString Id = QStringLiteral("_NotificationDefaultApplicationSettings");
const QString Package = QStringLiteral("com.example.defaults");
const QString Prefix =
    QStringLiteral("NoitifcaionDefaultApplicationSettings::registerApplicationSettings() ");

const QString Fresh = QStringLiteral("sound=0 vibrate=0 led=0 preview=0 count=-1 tone=");

// Settings are filled from "key=value" words, so that table rows stay short.
NotificationDefaultApplicationSettings fill(const QStringList &words)
{
    NotificationDefaultApplicationSettings s;
    for (const QString &word : words) {
        const QString key = word.section(QLatin1Char('='), 0, 0);
        const QString value = word.section(QLatin1Char('='), 1);
        if (key == QLatin1String("sound"))
            s.setSound(NotificationPolicy::Type(value.toInt()));
        else if (key == QLatin1String("vibrate"))
            s.setVibrate(NotificationPolicy::Type(value.toInt()));
        else if (key == QLatin1String("led"))
            s.setLed(NotificationPolicy::Type(value.toInt()));
        else if (key == QLatin1String("preview"))
            s.setPreview(NotificationPriorityPolicy::Type(value.toInt()));
        else if (key == QLatin1String("count"))
            s.setVibrateCount(value.toInt());
        else if (key == QLatin1String("tone"))
            s.setTonePath(QUrl(value));
        else if (key == QLatin1String("tonepath"))
            s.setTonePath(QUrl::fromLocalFile(value));
    }
    return s;
}

} // namespace

class tst_NotificationDefaultApplicationSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void freshValue();
    void vibrateCountClamped_data();
    void vibrateCountClamped();
    void copiesDoNotShareChanges();

    void registration_data();
    void registration();
    void answers_data();
    void answers();
    void applyRepeatsAndKeepsValues();
    void serviceAway_data();
    void serviceAway();
    void writeFailure();
    void readFailure();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
};

void tst_NotificationDefaultApplicationSettings::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", Package.toUtf8());
}

void tst_NotificationDefaultApplicationSettings::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_control.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_control->start());
}

void tst_NotificationDefaultApplicationSettings::cleanup()
{
    m_control.reset();
    m_broker.reset();
}

void tst_NotificationDefaultApplicationSettings::freshValue()
{
    m_control->answerOk(QStringLiteral("registerSettings"), QVariantMap());
    NotificationDefaultApplicationSettings settings;
    QCOMPARE(describe(settings), Fresh);
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    QCOMPARE(m_control->received().size(), 1);
    QCOMPARE(m_control->last().dat(), (QVariantMap{{QStringLiteral("name"), Package}}));
}

void tst_NotificationDefaultApplicationSettings::vibrateCountClamped_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("stored");
    QTest::newRow("0") << 0 << 1;
    QTest::newRow("-1 cannot unset") << -1 << 1;
    QTest::newRow("1") << 1 << 1;
    QTest::newRow("3") << 3 << 3;
    QTest::newRow("5") << 5 << 5;
    QTest::newRow("9") << 9 << 5;
}

void tst_NotificationDefaultApplicationSettings::vibrateCountClamped()
{
    QFETCH(int, count);
    QFETCH(int, stored);
    NotificationDefaultApplicationSettings settings;
    settings.setVibrateCount(count);
    QCOMPARE(settings.vibrateCount(), stored);
}

void tst_NotificationDefaultApplicationSettings::copiesDoNotShareChanges()
{
    NotificationDefaultApplicationSettings original;
    original.setLed(NotificationPolicy::Allow);
    NotificationDefaultApplicationSettings copy(original);
    QCOMPARE(copy.led(), NotificationPolicy::Allow);

    original.setSound(NotificationPolicy::Deny);
    QCOMPARE(copy.sound(), NotificationPolicy::Unknown);
    copy.setSound(NotificationPolicy::Allow);
    QCOMPARE(original.sound(), NotificationPolicy::Deny);

    NotificationDefaultApplicationSettings assigned;
    assigned = copy;
    copy.setTonePath(QUrl(QStringLiteral("file:///t.wav")));
    assigned.setVibrateCount(4);
    QCOMPARE(assigned.tonePath(), QUrl());
    QCOMPARE(copy.vibrateCount(), -1);
    QCOMPARE(assigned.sound(), NotificationPolicy::Allow);

    // apply() works on a copy of its own too.
    m_control->answerOk(QStringLiteral("registerSettings"), QVariantMap());
    NotificationDefaultApplicationSettings applied(original);
    QCOMPARE(int(applied.apply()), int(NotificationSettingsError::None));
    applied.setLed(NotificationPolicy::Deny);
    QCOMPARE(original.led(), NotificationPolicy::Allow);

    // And it stores as a QVariant.
    const QVariant v = QVariant::fromValue(original);
    QCOMPARE(v.value<NotificationDefaultApplicationSettings>().sound(), NotificationPolicy::Deny);
}

void tst_NotificationDefaultApplicationSettings::registration_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QVariantMap>("dat");

    const auto with = [](const QVariantMap &extra) {
        QVariantMap dat{{QStringLiteral("name"), Package}};
        for (auto it = extra.cbegin(); it != extra.cend(); ++it)
            dat.insert(it.key(), it.value());
        return dat;
    };
    const QString exeDir =
        QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absolutePath();

    QTest::newRow("policies") << QStringList{QStringLiteral("sound=1"), QStringLiteral("vibrate=2"),
                                             QStringLiteral("led=1")}
                              << with({{QStringLiteral("sound"), QStringLiteral("on")},
                                       {QStringLiteral("vibrate"), QStringLiteral("off")},
                                       {QStringLiteral("led"), QStringLiteral("on")}});
    QTest::newRow("out-of-range policy sent empty")
        << QStringList{QStringLiteral("led=6")} << with({{QStringLiteral("led"), QString()}});
    QTest::newRow("Unknown takes a field out again")
        << QStringList{QStringLiteral("sound=1"), QStringLiteral("sound=0")} << with({});
    QTest::newRow("preview disabled")
        << QStringList{QStringLiteral("preview=3")}
        << with({{QStringLiteral("preview"), QStringLiteral("disabled")}});
    QTest::newRow("preview priority")
        << QStringList{QStringLiteral("preview=4")}
        << with({{QStringLiteral("preview"), QStringLiteral("priority")}});
    QTest::newRow("preview off") << QStringList{QStringLiteral("preview=2")}
                                 << with({{QStringLiteral("preview"), QStringLiteral("off")}});
    QTest::newRow("vibrate count as text")
        << QStringList{QStringLiteral("count=7")}
        << with({{QStringLiteral("vib_count"), QStringLiteral("5")}});
    QTest::newRow("tone: file URL percent-encoded")
        << QStringList{QStringLiteral("tonepath=/tones/my tone.wav")}
        << with({{QStringLiteral("tone"), QStringLiteral("file:///tones/my%20tone.wav")}});
    QTest::newRow("tone: plain relative path")
        << QStringList{QStringLiteral("tone=sounds/a.wav")}
        << with({{QStringLiteral("tone"), QStringLiteral("file://") + QDir::currentPath() +
                                              QStringLiteral("/sounds/a.wav")}});
    QTest::newRow("tone: asset") << QStringList{QStringLiteral("tone=asset:///ding.wav")}
                                 << with({{QStringLiteral("tone"),
                                           QStringLiteral("file://") + exeDir +
                                               QStringLiteral("/assets/ding.wav")}});
    QTest::newRow("tone that names no file dropped, the rest sent")
        << QStringList{QStringLiteral("tone=http://example.com/a.wav"), QStringLiteral("led=2")}
        << with({{QStringLiteral("led"), QStringLiteral("off")}});
    QTest::newRow("empty URL takes the tone out again")
        << QStringList{QStringLiteral("tone=file:///a.wav"), QStringLiteral("tone=")} << with({});
}

void tst_NotificationDefaultApplicationSettings::registration()
{
    QFETCH(QStringList, words);
    QFETCH(QVariantMap, dat);

    m_control->answerOk(QStringLiteral("registerSettings"), QVariantMap());
    NotificationDefaultApplicationSettings settings = fill(words);
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    QCOMPARE(capture.warnings(), QStringList());
    const omtest::Received received = m_control->last();
    QCOMPARE(received.msg(), QStringLiteral("registerSettings"));
    QCOMPARE(received.id(), Id);
    QCOMPARE(received.dat(), dat);
}

void tst_NotificationDefaultApplicationSettings::answers_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("warnings");

    const QVariantMap ok{{QStringLiteral("res"), QStringLiteral("registerSettings")},
                         {QStringLiteral("id"), Id},
                         {QStringLiteral("dat"), QVariantMap()}};
    const auto with = [](QVariantMap map, const char *key, const QVariant &value) {
        if (value.isValid())
            map.insert(QLatin1String(key), value);
        else
            map.remove(QLatin1String(key));
        return map;
    };
    QTest::newRow("dat") << ok << QString() << QByteArray() << int(NotificationSettingsError::None)
                         << QStringList();
    QTest::newRow("err and dat: err wins")
        << with(ok, "err", QStringLiteral("full")) << QString() << QByteArray()
        << int(NotificationSettingsError::Internal)
        << QStringList{Prefix + QStringLiteral("PPS ERROR:  \"full\"")};
    QTest::newRow("err") << with(with(ok, "dat", QVariant()), "err", QStringLiteral("bad key"))
                         << QString() << QByteArray() << int(NotificationSettingsError::Internal)
                         << QStringList{Prefix + QStringLiteral("PPS ERROR:  \"bad key\"")};
    QTest::newRow("neither") << with(ok, "dat", QVariant()) << QString() << QByteArray()
                             << int(NotificationSettingsError::Unknown)
                             << QStringList{Prefix + QStringLiteral("Unknown error.")};
    QTest::newRow("other res") << with(ok, "res", QStringLiteral("query")) << QString()
                               << QByteArray() << int(NotificationSettingsError::Unknown)
                               << QStringList{Prefix + QStringLiteral("Invalid response.")};
    QTest::newRow("res before id")
        << with(with(ok, "res", QVariant()), "id", QVariant()) << QString() << QByteArray()
        << int(NotificationSettingsError::Unknown)
        << QStringList{Prefix + QStringLiteral("Invalid response.")};
    QTest::newRow("other id") << with(ok, "id", QStringLiteral("_NotificationGlobalSettings"))
                              << QString() << QByteArray()
                              << int(NotificationSettingsError::Unknown)
                              << QStringList{Prefix + QStringLiteral("Incorrect msg id.")};
    QTest::newRow("no @control is an invalid response")
        << ok << QStringLiteral("@control_x") << QByteArray()
        << int(NotificationSettingsError::Unknown)
        << QStringList{Prefix + QStringLiteral("Invalid response.")};
    QTest::newRow("undecodable") << QVariantMap() << QString() << QByteArray(":x:y\n")
                                 << int(NotificationSettingsError::Unknown)
                                 << QStringList{Prefix +
                                                QStringLiteral("Could not decode PPS response.")};
}

void tst_NotificationDefaultApplicationSettings::answers()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, objectName);
    QFETCH(QByteArray, raw);
    QFETCH(int, result);
    QFETCH(QStringList, warnings);

    m_control->respond([=](const omtest::Received &) {
        return QList<omtest::Answer>{omtest::Answer{answer, raw, objectName, 0}};
    });
    NotificationDefaultApplicationSettings settings;
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), result);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationDefaultApplicationSettings::applyRepeatsAndKeepsValues()
{
    // The first registration is refused, the second accepted, each on a
    // connection of its own; the values stay in the object throughout.
    const auto calls = std::make_shared<int>(0);
    m_control->respond([calls](const omtest::Received &r) {
        QVariantMap a = omtest::FakeServer::okAnswer(r.attributes);
        a.insert(++*calls == 1 ? QStringLiteral("err") : QStringLiteral("dat"),
                 QStringLiteral("x"));
        return QList<omtest::Answer>{omtest::Answer{a, QByteArray(), QString(), 0}};
    });
    NotificationDefaultApplicationSettings settings = fill({QStringLiteral("vibrate=1")});
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::Internal));
    QCOMPARE(settings.vibrate(), NotificationPolicy::Allow);
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    const QList<omtest::Received> received = m_control->received();
    QCOMPARE(received.size(), 2);
    QCOMPARE(received.at(0).dat(), received.at(1).dat());
    QVERIFY(received.at(0).clientId != received.at(1).clientId);
}

void tst_NotificationDefaultApplicationSettings::serviceAway_data()
{
    QTest::addColumn<bool>("brokerRunning");
    QTest::newRow("no notification service") << true;
    QTest::newRow("no bus at all") << false;
}

void tst_NotificationDefaultApplicationSettings::serviceAway()
{
    QFETCH(bool, brokerRunning);
    m_control.reset();
    if (!brokerRunning)
        m_broker->stop();
    omtest::WarningCapture capture;
    NotificationDefaultApplicationSettings settings;
    // Unlike the global setters, no ServiceUnavailable here.
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::Unknown));
    QCOMPARE(capture.warnings(), QStringList{Prefix + QStringLiteral("Could not open PPS")});
}

void tst_NotificationDefaultApplicationSettings::writeFailure()
{
    // A tone path that makes the message longer than the bus carries.
    NotificationDefaultApplicationSettings settings;
    settings.setTonePath(
        QUrl::fromLocalFile(QStringLiteral("/") + QString(70 * 1024, QLatin1Char('t'))));
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::Unknown));
    QCOMPARE(capture.warnings(), QStringList{Prefix + QStringLiteral("Could not write to PPS.")});
    QCOMPARE(m_control->received().size(), 0);
}

void tst_NotificationDefaultApplicationSettings::readFailure()
{
    // The bus goes away while apply() waits for the answer.
    omtest::TestBroker *broker = m_broker.get();
    m_control->respond([broker](const omtest::Received &) {
        broker->stop();
        return QList<omtest::Answer>();
    });
    NotificationDefaultApplicationSettings settings;
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::Unknown));
    QCOMPARE(capture.warnings(),
             QStringList{Prefix + QStringLiteral("Could not read PPS response.")});
}

QTEST_GUILESS_MAIN(tst_NotificationDefaultApplicationSettings)
#include "tst_notificationdefaultapplicationsettings.moc"
