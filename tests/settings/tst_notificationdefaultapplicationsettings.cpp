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

using namespace om::platform;
using settingstest::describe;

namespace {

const QString ControlPath = "/pps/services/notify/control";
const QString Id = "_NotificationDefaultApplicationSettings";
const QString Package = "com.example.defaults";
const QString Prefix = "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() ";

// Settings filled from "key=value" words, so that table rows stay short.
NotificationDefaultApplicationSettings fill(const QStringList &words)
{
    NotificationDefaultApplicationSettings s;
    for (const QString &word : words) {
        const QString key = word.section('=', 0, 0);
        const QString value = word.section('=', 1);
        const auto policy = NotificationPolicy::Type(value.toInt());
        if (key == "sound")
            s.setSound(policy);
        else if (key == "vibrate")
            s.setVibrate(policy);
        else if (key == "led")
            s.setLed(policy);
        else if (key == "preview")
            s.setPreview(NotificationPriorityPolicy::Type(value.toInt()));
        else if (key == "count")
            s.setVibrateCount(value.toInt());
        else if (key == "tone")
            s.setTonePath(QUrl(value));
        else if (key == "tonefile")
            s.setTonePath(QUrl::fromLocalFile(value));
    }
    return s;
}

} // namespace

class tst_NotificationDefaultApplicationSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
    void failures_data();
    void failures();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
};

void tst_NotificationDefaultApplicationSettings::init()
{
    qputenv("OM_PACKAGE_NAME", Package.toUtf8());
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
    m_control->answerOk("registerSettings", QVariantMap());
    NotificationDefaultApplicationSettings settings;
    QCOMPARE(describe(settings), QString("sound=0 vibrate=0 led=0 preview=0 count=-1 tone="));
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    QCOMPARE(m_control->received().size(), 1);
    QCOMPARE(m_control->last().dat(), (QVariantMap{{"name", Package}}));
}

void tst_NotificationDefaultApplicationSettings::vibrateCountClamped_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("stored");
    QTest::newRow("0") << 0 << 1;
    QTest::newRow("-1 cannot unset") << -1 << 1;
    QTest::newRow("3") << 3 << 3;
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
    NotificationDefaultApplicationSettings original = fill({"led=1"});
    NotificationDefaultApplicationSettings copy(original);
    QCOMPARE(copy.led(), NotificationPolicy::Allow);
    original.setSound(NotificationPolicy::Deny);
    QCOMPARE(copy.sound(), NotificationPolicy::Unknown);
    copy.setSound(NotificationPolicy::Allow);
    QCOMPARE(original.sound(), NotificationPolicy::Deny);

    NotificationDefaultApplicationSettings assigned;
    assigned = copy;
    copy.setTonePath(QUrl("file:///t.wav"));
    assigned.setVibrateCount(4);
    QCOMPARE(describe(assigned), QString("sound=1 vibrate=0 led=1 preview=0 count=4 tone="));
    QCOMPARE(describe(copy),
             QString("sound=1 vibrate=0 led=1 preview=0 count=-1 tone=file:///t.wav"));

    // apply() on a copy leaves the original alone too.
    m_control->answerOk("registerSettings", QVariantMap());
    NotificationDefaultApplicationSettings applied(original);
    QCOMPARE(int(applied.apply()), int(NotificationSettingsError::None));
    applied.setLed(NotificationPolicy::Deny);
    QCOMPARE(original.led(), NotificationPolicy::Allow);
}

void tst_NotificationDefaultApplicationSettings::registration_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QVariantMap>("dat");

    const auto with = [](QVariantMap dat) {
        dat.insert("name", Package);
        return dat;
    };

    QTest::newRow("policies") << QStringList{"sound=1", "vibrate=2", "led=1"}
                              << with({{"sound", "on"}, {"vibrate", "off"}, {"led", "on"}});
    QTest::newRow("out-of-range policy sent empty") << QStringList{"led=6"} << with({{"led", ""}});
    QTest::newRow("Unknown takes a field out again")
        << QStringList{"sound=1", "sound=0"} << with({});
    QTest::newRow("preview disabled")
        << QStringList{"preview=3"} << with({{"preview", "disabled"}});
    QTest::newRow("preview priority")
        << QStringList{"preview=4"} << with({{"preview", "priority"}});
    QTest::newRow("vibrate count as text") << QStringList{"count=7"} << with({{"vib_count", "5"}});
    QTest::newRow("tone: file URL percent-encoded")
        << QStringList{"tonefile=/tones/my tone.wav"}
        << with({{"tone", "file:///tones/my%20tone.wav"}});
    QTest::newRow("tone: relative path")
        << QStringList{"tone=sounds/a.wav"}
        << with({{"tone", "file://" + QDir::currentPath() + "/sounds/a.wav"}});
    QTest::newRow("tone naming no file dropped, the rest sent")
        << QStringList{"tone=http://example.com/a.wav", "led=2"} << with({{"led", "off"}});
}

void tst_NotificationDefaultApplicationSettings::registration()
{
    QFETCH(QStringList, words);
    QFETCH(QVariantMap, dat);

    m_control->answerOk("registerSettings", QVariantMap());
    NotificationDefaultApplicationSettings settings = fill(words);
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    QCOMPARE(capture.warnings(), QStringList());
    const omtest::Received received = m_control->last();
    QCOMPARE(received.msg(), QString("registerSettings"));
    QCOMPARE(received.id(), Id);
    QCOMPARE(received.dat(), dat);
}

void tst_NotificationDefaultApplicationSettings::answers_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("warning");

    const QVariantMap ok{{"res", "registerSettings"}, {"id", Id}, {"dat", QVariantMap()}};
    const auto with = [](QVariantMap map, const QString &key, const QVariant &value) {
        if (value.isValid())
            map.insert(key, value);
        else
            map.remove(key);
        return map;
    };
    const int Unknown = NotificationSettingsError::Unknown;
    const int Internal = NotificationSettingsError::Internal;
    QTest::newRow("dat") << ok << "" << QByteArray() << int(NotificationSettingsError::None) << "";
    QTest::newRow("err and dat: err wins") << with(ok, "err", "full") << "" << QByteArray()
                                           << Internal << Prefix + "PPS ERROR:  \"full\"";
    QTest::newRow("neither") << with(ok, "dat", QVariant()) << "" << QByteArray() << Unknown
                             << Prefix + "Unknown error.";
    QTest::newRow("other res") << with(ok, "res", "query") << "" << QByteArray() << Unknown
                               << Prefix + "Invalid response.";
    QTest::newRow("res before id") << with(with(ok, "res", QVariant()), "id", QVariant()) << ""
                                   << QByteArray() << Unknown << Prefix + "Invalid response.";
    QTest::newRow("other id") << with(ok, "id", "_NotificationGlobalSettings") << "" << QByteArray()
                              << Unknown << Prefix + "Incorrect msg id.";
    QTest::newRow("no @control is an invalid response")
        << ok << "@control_x" << QByteArray() << Unknown << Prefix + "Invalid response.";
    QTest::newRow("undecodable") << QVariantMap() << "" << QByteArray(":x:y\n") << Unknown
                                 << Prefix + "Could not decode PPS response.";
}

void tst_NotificationDefaultApplicationSettings::answers()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, objectName);
    QFETCH(QByteArray, raw);
    QFETCH(int, result);
    QFETCH(QString, warning);

    m_control->respond([=](const omtest::Received &) {
        return QList<omtest::Answer>{omtest::Answer{answer, raw, objectName, 0}};
    });
    NotificationDefaultApplicationSettings settings;
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), result);
    QCOMPARE(capture.warnings(), warning.isEmpty() ? QStringList() : QStringList{warning});
}

void tst_NotificationDefaultApplicationSettings::applyRepeatsAndKeepsValues()
{
    // The first registration is refused, the second accepted, each on a
    // connection of its own; the values stay in the object throughout.
    const auto calls = std::make_shared<int>(0);
    m_control->respond([calls](const omtest::Received &r) {
        QVariantMap a = omtest::FakeServer::okAnswer(r.attributes);
        a.insert(++*calls == 1 ? "err" : "dat", "x");
        return QList<omtest::Answer>{omtest::Answer{a, QByteArray(), QString(), 0}};
    });
    NotificationDefaultApplicationSettings settings = fill({"vibrate=1"});
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::Internal));
    QCOMPARE(settings.vibrate(), NotificationPolicy::Allow);
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::None));
    const QList<omtest::Received> received = m_control->received();
    QCOMPARE(received.size(), 2);
    QCOMPARE(received.at(0).dat(), received.at(1).dat());
    QVERIFY(received.at(0).clientId != received.at(1).clientId);
}

void tst_NotificationDefaultApplicationSettings::failures_data()
{
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QString>("warning");
    // Unlike the global setters, no ServiceUnavailable here.
    QTest::newRow("no service") << "no service" << Prefix + "Could not open PPS";
    QTest::newRow("no bus") << "no bus" << Prefix + "Could not open PPS";
    // A tone path that makes the message longer than the bus carries.
    QTest::newRow("write fails") << "too long" << Prefix + "Could not write to PPS.";
    QTest::newRow("bus gone while waiting")
        << "bus gone" << Prefix + "Could not read PPS response.";
}

void tst_NotificationDefaultApplicationSettings::failures()
{
    QFETCH(QString, failure);
    QFETCH(QString, warning);

    NotificationDefaultApplicationSettings settings;
    if (failure == "no service") {
        m_control.reset();
    } else if (failure == "no bus") {
        m_broker->stop();
    } else if (failure == "too long") {
        settings.setTonePath(QUrl::fromLocalFile('/' + QString(70 * 1024, 't')));
    } else {
        omtest::TestBroker *broker = m_broker.get();
        m_control->respond([broker](const omtest::Received &) {
            broker->stop();
            return QList<omtest::Answer>();
        });
    }
    omtest::WarningCapture capture;
    QCOMPARE(int(settings.apply()), int(NotificationSettingsError::Unknown));
    QCOMPARE(capture.warnings(), QStringList{warning});
}

QTEST_GUILESS_MAIN(tst_NotificationDefaultApplicationSettings)
#include "tst_notificationdefaultapplicationsettings.moc"
