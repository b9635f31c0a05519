// ommock::NotificationPpsChannel over a real bus, against a fake
// notification service.

#include "fakeserver.h"
#include "testbroker.h"

#include "notification/notificationssharedconstants.h"

#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using ommock::NotificationPpsChannel;
using om::platform::NotificationError;

namespace {
const QString Control = QStringLiteral("/pps/services/notify/control");

QVariantMap request(const QString &msg, const QString &id)
{
    return {{QStringLiteral("msg"), msg},
            {QStringLiteral("id"), id},
            {QStringLiteral("dat"), QVariantMap{{QStringLiteral("itemId"), id}}}};
}

QVariantMap controlObject(const QVariantMap &attributes)
{
    return {{QStringLiteral("@control"), attributes}};
}
} // namespace

class tst_NotificationPpsChannel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sendWrites();
    void sendAndWaitAnswered();
    void sendAndWaitTimesOutAndLosesTheLateAnswer();
    void sendAndWaitWithoutBoundWaitsForTheAnswer_data();
    void sendAndWaitWithoutBoundWaitsForTheAnswer();
    void undecodableAnswerOverwritesResponse();
    void writeFailure();
    void serviceUnavailable();
    void longLivedChannel();
    void channelThatCouldNotOpen();
    void controlAttributes_data();
    void controlAttributes();
    void answerUnderLongerObjectName();
    void vocabulary_data();
    void vocabulary();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
};

void tst_NotificationPpsChannel::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_service.reset(new omtest::FakeServer(Control));
    QVERIFY(m_service->start());
}

void tst_NotificationPpsChannel::cleanup()
{
    m_service.reset();
    m_broker.reset();
}

void tst_NotificationPpsChannel::sendWrites()
{
    const QVariantMap message{{QStringLiteral("msg"), QStringLiteral("cancel")},
                              {QStringLiteral("dat"), QVariantMap{{QStringLiteral("itemId"), QStringLiteral("k")}}}};
    QCOMPARE(NotificationPpsChannel::send(message), NotificationError::None);
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(m_service->last().attributes, message);
    // Nothing is read: the connection closes at once.
    QVERIFY(m_service->waitForClosed(1));
}

void tst_NotificationPpsChannel::sendAndWaitAnswered()
{
    m_service->answerOk(QStringLiteral("notify"), QVariantMap{{QStringLiteral("itemId"), QStringLiteral("a")}});
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("a")), response, 5000),
             NotificationError::None);
    QCOMPARE(response, controlObject({{QStringLiteral("res"), QStringLiteral("notify")},
                                      {QStringLiteral("id"), QStringLiteral("a")},
                                      {QStringLiteral("dat"), QVariantMap{{QStringLiteral("itemId"), QStringLiteral("a")}}}}));
    QCOMPARE(m_service->last().attributes, request(QStringLiteral("notify"), QStringLiteral("a")));
}

void tst_NotificationPpsChannel::sendAndWaitTimesOutAndLosesTheLateAnswer()
{
    m_service->answerOk(QStringLiteral("notify"), QVariantMap(), 400);
    const QVariantMap before{{QStringLiteral("untouched"), true}};
    QVariantMap response = before;
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("late")), response, 100),
             NotificationError::Unknown);
    QCOMPARE(response, before);

    // The late answer went to a connection that no longer exists: the
    // next exchange hears only its own answer.
    m_service->clearScript();
    m_service->answerOk(QStringLiteral("notify"), QVariantMap{{QStringLiteral("next"), true}});
    QVERIFY(m_service->waitForSent(1));
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("next")), response, 5000),
             NotificationError::None);
    QCOMPARE(response.value(QStringLiteral("@control")).toMap().value(QStringLiteral("id")).toString(),
             QStringLiteral("next"));
}

void tst_NotificationPpsChannel::sendAndWaitWithoutBoundWaitsForTheAnswer_data()
{
    QTest::addColumn<int>("timeout");
    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -1;
}

void tst_NotificationPpsChannel::sendAndWaitWithoutBoundWaitsForTheAnswer()
{
    QFETCH(int, timeout);
    m_service->answerOk(QStringLiteral("notify"), QVariantMap(), 300);
    QElapsedTimer clock;
    clock.start();
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("x")), response, timeout),
             NotificationError::None);
    QVERIFY(clock.elapsed() >= 250);
    QCOMPARE(response.value(QStringLiteral("@control")).toMap().value(QStringLiteral("res")).toString(),
             QStringLiteral("notify"));
}

void tst_NotificationPpsChannel::undecodableAnswerOverwritesResponse()
{
    m_service->respond([](const omtest::Received &) {
        return QList<omtest::Answer>{omtest::Answer{QVariantMap(), "res:n:not a number\n", QString(), 0}};
    });
    QVariantMap response{{QStringLiteral("old"), 1}};
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("x")), response, 5000),
             NotificationError::Unknown);
    QCOMPARE(response, QVariantMap());
}

void tst_NotificationPpsChannel::writeFailure()
{
    // A message the bus cannot carry: the write fails.
    QVariantMap huge = request(QStringLiteral("notify"), QStringLiteral("big"));
    huge.insert(QStringLiteral("blob"), QString(70000, QLatin1Char('x')));
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::send(huge), NotificationError::InvalidRequest);
    QCOMPARE(NotificationPpsChannel::sendAndWait(huge, response, 100), NotificationError::InvalidRequest);
    QVERIFY(response.isEmpty());
}

void tst_NotificationPpsChannel::serviceUnavailable()
{
    m_service->stop();
    QVariantMap response{{QStringLiteral("kept"), 1}};
    QCOMPARE(NotificationPpsChannel::send(request(QStringLiteral("delete"), QStringLiteral("x"))),
             NotificationError::ServiceUnavailable);
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("x")), response, 0),
             NotificationError::ServiceUnavailable);
    QCOMPARE(response, (QVariantMap{{QStringLiteral("kept"), 1}}));

    // With no bus at all the answer is the same, and immediate.
    m_broker->stop();
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("x")), response, 0),
             NotificationError::ServiceUnavailable);
}

void tst_NotificationPpsChannel::longLivedChannel()
{
    NotificationPpsChannel channel;
    QVERIFY(channel.isOpen());
    QSignalSpy received(&channel, &NotificationPpsChannel::receivePassthrough);
    Q_EMIT channel.sendPassthrough(request(QStringLiteral("alert"), QStringLiteral("d")));
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(m_service->last().attributes, request(QStringLiteral("alert"), QStringLiteral("d")));

    const int client = m_service->last().clientId;
    QVERIFY(m_service->reply(client, {{QStringLiteral("res"), QStringLiteral("alert")}}));
    QVERIFY(m_service->replyRaw(client, "bad:n:x\n"));
    QVERIFY(m_service->reply(client, {{QStringLiteral("msg"), QStringLiteral("choice")}}));
    QTRY_COMPARE(received.count(), 3);
    QCOMPARE(received.at(0).at(0).toMap(), controlObject({{QStringLiteral("res"), QStringLiteral("alert")}}));
    // An undecodable message still comes through, as what decode gave.
    QCOMPARE(received.at(1).at(0).toMap(), QVariantMap());
    QCOMPARE(received.at(2).at(0).toMap(), controlObject({{QStringLiteral("msg"), QStringLiteral("choice")}}));
}

void tst_NotificationPpsChannel::channelThatCouldNotOpen()
{
    m_service->stop();
    NotificationPpsChannel channel;
    QVERIFY(!channel.isOpen());
    QSignalSpy received(&channel, &NotificationPpsChannel::receivePassthrough);
    channel.onSend(request(QStringLiteral("alert"), QStringLiteral("d")));
    Q_EMIT channel.sendPassthrough(request(QStringLiteral("alert"), QStringLiteral("d")));
    channel.onReadyRead();

    // A service that comes back later hears nothing from this channel.
    omtest::FakeServer restarted(Control);
    QVERIFY(restarted.start());
    Q_EMIT channel.sendPassthrough(request(QStringLiteral("alert"), QStringLiteral("d")));
    QCOMPARE(NotificationPpsChannel::send(request(QStringLiteral("probe"), QStringLiteral("p"))), NotificationError::None);
    QVERIFY(restarted.waitForReceived(1));
    QCOMPARE(restarted.received().size(), 1);
    QCOMPARE(restarted.last().msg(), QStringLiteral("probe"));
    QCOMPARE(received.count(), 0);
}

void tst_NotificationPpsChannel::controlAttributes_data()
{
    QTest::addColumn<QVariantMap>("decoded");
    QTest::addColumn<QVariantMap>("attributes");

    const QVariantMap mine{{QStringLiteral("res"), QStringLiteral("notify")}};
    const QVariantMap other{{QStringLiteral("res"), QStringLiteral("other")}};
    QTest::newRow("@control") << QVariantMap{{QStringLiteral("@control"), mine}, {QStringLiteral("@a"), other}} << mine;
    QTest::newRow("longer name by prefix") << QVariantMap{{QStringLiteral("@control_x"), mine}} << mine;
    QTest::newRow("first prefix match in key order")
        << QVariantMap{{QStringLiteral("@controlB"), other}, {QStringLiteral("@controlA"), mine},
                       {QStringLiteral("@abc"), other}}
        << mine;
    QTest::newRow("prefix compares case") << QVariantMap{{QStringLiteral("@Control"), other}}
                                          << QVariantMap{{QStringLiteral("@Control"), other}};
    QTest::newRow("no object: the map itself") << mine << mine;
    QTest::newRow("empty") << QVariantMap() << QVariantMap();
}

void tst_NotificationPpsChannel::controlAttributes()
{
    QFETCH(QVariantMap, decoded);
    QFETCH(QVariantMap, attributes);
    QCOMPARE(om::platform::controlAttributes(decoded), attributes);
}

void tst_NotificationPpsChannel::answerUnderLongerObjectName()
{
    m_service->respond([](const omtest::Received &r) {
        return QList<omtest::Answer>{
            omtest::Answer{omtest::FakeServer::okAnswer(r.attributes), QByteArray(), QStringLiteral("@control_v2"), 0}};
    });
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::sendAndWait(request(QStringLiteral("notify"), QStringLiteral("v")), response, 5000),
             NotificationError::None);
    QVERIFY(response.contains(QStringLiteral("@control_v2")));
    QCOMPARE(om::platform::controlAttributes(response).value(QStringLiteral("id")).toString(), QStringLiteral("v"));
}

void tst_NotificationPpsChannel::vocabulary_data()
{
    using namespace om::platform;
    QTest::addColumn<QString>("constant");
    QTest::addColumn<QString>("text");
    QTest::newRow("s_ppsId") << s_ppsId << QStringLiteral("_om_ppsID");
    QTest::newRow("s_objectSettingsControl") << s_objectSettingsControl << QStringLiteral("@settings-control");
    QTest::newRow("s_attributeBody") << s_attributeBody << QStringLiteral("subtitle");
    QTest::newRow("s_attributeCategory") << s_attributeCategory << QStringLiteral("type");
    QTest::newRow("s_attributeIcon") << s_attributeIcon << QStringLiteral("iconUrl");
    QTest::newRow("s_attributeButtons") << s_attributeButtons << QStringLiteral("promptChoices");
    QTest::newRow("s_attributeButtonId") << s_attributeButtonId << QStringLiteral("context");
    QTest::newRow("s_attributeInvokeData") << s_attributeInvokeData << QStringLiteral("payload");
    QTest::newRow("s_attributeVibrateCount") << s_attributeVibrateCount << QStringLiteral("vib_count");
    QTest::newRow("s_attributeModeVibrate") << s_attributeModeVibrate << QStringLiteral("vibrate");
    QTest::newRow("s_attributePolicyAllow") << s_attributePolicyAllow << QStringLiteral("on");
    QTest::newRow("s_attributePolicyNotApplicable") << s_attributePolicyNotApplicable << QStringLiteral("disabled");
    QTest::newRow("s_attributeValueHubOnly") << s_attributeValueHubOnly << QStringLiteral("uib_only");
    QTest::newRow("s_attributeValueHubSilent") << s_attributeValueHubSilent << QStringLiteral("uib_silent");
    QTest::newRow("s_attributeValuePreviewOnly") << s_attributeValuePreviewOnly << QStringLiteral("preview_only");
    QTest::newRow("s_attributeQueryTypeApplication") << s_attributeQueryTypeApplication << QStringLiteral("application");
}

void tst_NotificationPpsChannel::vocabulary()
{
    QFETCH(QString, constant);
    QFETCH(QString, text);
    QCOMPARE(constant, text);
}

QTEST_GUILESS_MAIN(tst_NotificationPpsChannel)
#include "tst_notificationppschannel.moc"
