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

using om::platform::NotificationError;
using ommock::NotificationPpsChannel;

namespace {
const QString Control = "/pps/services/notify/control";

QVariantMap request(const QString &msg, const QString &id)
{
    return {{"msg", msg}, {"id", id}, {"dat", QVariantMap{{"itemId", id}}}};
}

QVariantMap controlObject(const QVariantMap &attributes)
{
    return {{"@control", attributes}};
}
} // namespace

class tst_NotificationPpsChannel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sendWrites();
    void sendAndWaitAnswers_data();
    void sendAndWaitAnswers();
    void sendAndWaitTimesOutAndLosesTheLateAnswer();
    void sendAndWaitWithoutBoundWaitsForTheAnswer_data();
    void sendAndWaitWithoutBoundWaitsForTheAnswer();
    void writeFailure();
    void serviceUnavailable();
    void longLivedChannel();
    void channelThatCouldNotOpen();
    void controlAttributes_data();
    void controlAttributes();

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
    const QVariantMap message{{"msg", "cancel"}, {"dat", QVariantMap{{"itemId", "k"}}}};
    QCOMPARE(NotificationPpsChannel::send(message), NotificationError::None);
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(m_service->last().attributes, message);
    // Nothing is read: the connection closes at once.
    QVERIFY(m_service->waitForClosed(1));
}

void tst_NotificationPpsChannel::sendAndWaitAnswers_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<int>("error");
    QTest::addColumn<QVariantMap>("response");

    const QVariantMap answer{{"res", "notify"}, {"id", "a"}, {"dat", QVariantMap{{"itemId", "a"}}}};
    QTest::newRow("answered") << QByteArray() << QString() << int(NotificationError::None)
                              << controlObject(answer);
    QTest::newRow("under a longer object name")
        << QByteArray() << "@control_v2" << int(NotificationError::None)
        << QVariantMap{{"@control_v2", answer}};
    // What cannot be decoded overwrites the response with nothing.
    QTest::newRow("undecodable") << QByteArray("res:n:not a number\n") << QString()
                                 << int(NotificationError::Unknown) << QVariantMap();
}

void tst_NotificationPpsChannel::sendAndWaitAnswers()
{
    QFETCH(QByteArray, raw);
    QFETCH(QString, objectName);
    QFETCH(int, error);
    QFETCH(QVariantMap, response);
    m_service->respond([=](const omtest::Received &r) {
        return QList<omtest::Answer>{
            {omtest::FakeServer::okAnswer(r.attributes, r.dat()), raw, objectName, 0}};
    });
    QVariantMap got{{"old", 1}};
    QCOMPARE(int(NotificationPpsChannel::sendAndWait(request("notify", "a"), got, 5000)), error);
    QCOMPARE(got, response);
    QCOMPARE(m_service->last().attributes, request("notify", "a"));
    if (!objectName.isEmpty())
        QCOMPARE(om::platform::controlAttributes(got).value("id").toString(), QString("a"));
}

void tst_NotificationPpsChannel::sendAndWaitTimesOutAndLosesTheLateAnswer()
{
    m_service->answerOk("notify", QVariantMap(), 400);
    const QVariantMap before{{"untouched", true}};
    QVariantMap response = before;
    QCOMPARE(NotificationPpsChannel::sendAndWait(request("notify", "late"), response, 100),
             NotificationError::Unknown);
    QCOMPARE(response, before);

    // The late answer went to a connection that no longer exists: the
    // next exchange hears only its own answer.
    m_service->clearScript();
    m_service->answerOk("notify", QVariantMap{{"next", true}});
    QVERIFY(m_service->waitForSent(1));
    QCOMPARE(NotificationPpsChannel::sendAndWait(request("notify", "next"), response, 5000),
             NotificationError::None);
    QCOMPARE(response.value("@control").toMap().value("id").toString(), "next");
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
    m_service->answerOk("notify", QVariantMap(), 300);
    QElapsedTimer clock;
    clock.start();
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::sendAndWait(request("notify", "x"), response, timeout),
             NotificationError::None);
    QVERIFY(clock.elapsed() >= 250);
    QCOMPARE(response.value("@control").toMap().value("res").toString(), "notify");
}

void tst_NotificationPpsChannel::writeFailure()
{
    // A message the bus cannot carry: the write fails.
    QVariantMap huge = request("notify", "big");
    huge.insert("blob", QString(70000, QLatin1Char('x')));
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::send(huge), NotificationError::InvalidRequest);
    QCOMPARE(NotificationPpsChannel::sendAndWait(huge, response, 100),
             NotificationError::InvalidRequest);
    QVERIFY(response.isEmpty());
}

void tst_NotificationPpsChannel::serviceUnavailable()
{
    m_service->stop();
    QVariantMap response{{"kept", 1}};
    QCOMPARE(NotificationPpsChannel::send(request("delete", "x")),
             NotificationError::ServiceUnavailable);
    QCOMPARE(NotificationPpsChannel::sendAndWait(request("notify", "x"), response, 0),
             NotificationError::ServiceUnavailable);
    QCOMPARE(response, (QVariantMap{{"kept", 1}}));

    // With no bus at all the answer is the same, and immediate.
    m_broker->stop();
    QCOMPARE(NotificationPpsChannel::sendAndWait(request("notify", "x"), response, 0),
             NotificationError::ServiceUnavailable);
}

void tst_NotificationPpsChannel::longLivedChannel()
{
    NotificationPpsChannel channel;
    QVERIFY(channel.isOpen());
    QSignalSpy received(&channel, &NotificationPpsChannel::receivePassthrough);
    Q_EMIT channel.sendPassthrough(request("alert", "d"));
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(m_service->last().attributes, request("alert", "d"));

    const int client = m_service->last().clientId;
    QVERIFY(m_service->reply(client, {{"res", "alert"}}));
    QVERIFY(m_service->replyRaw(client, "bad:n:x\n"));
    QVERIFY(m_service->reply(client, {{"msg", "choice"}}));
    QTRY_COMPARE(received.count(), 3);
    QCOMPARE(received.at(0).at(0).toMap(), controlObject({{"res", "alert"}}));
    // An undecodable message still comes through, as what decode gave.
    QCOMPARE(received.at(1).at(0).toMap(), QVariantMap());
    QCOMPARE(received.at(2).at(0).toMap(), controlObject({{"msg", "choice"}}));
}

void tst_NotificationPpsChannel::channelThatCouldNotOpen()
{
    m_service->stop();
    NotificationPpsChannel channel;
    QVERIFY(!channel.isOpen());
    QSignalSpy received(&channel, &NotificationPpsChannel::receivePassthrough);
    channel.onSend(request("alert", "d"));
    Q_EMIT channel.sendPassthrough(request("alert", "d"));
    channel.onReadyRead();

    // A service that comes back later hears nothing from this channel.
    omtest::FakeServer restarted(Control);
    QVERIFY(restarted.start());
    Q_EMIT channel.sendPassthrough(request("alert", "d"));
    QCOMPARE(NotificationPpsChannel::send(request("probe", "p")), NotificationError::None);
    QVERIFY(restarted.waitForReceived(1));
    QCOMPARE(restarted.received().size(), 1);
    QCOMPARE(restarted.last().msg(), "probe");
    QCOMPARE(received.count(), 0);
}

void tst_NotificationPpsChannel::controlAttributes_data()
{
    QTest::addColumn<QVariantMap>("decoded");
    QTest::addColumn<QVariantMap>("attributes");

    const QVariantMap mine{{"res", "notify"}};
    const QVariantMap other{{"res", "other"}};
    QTest::newRow("@control") << QVariantMap{{"@control", mine}, {"@a", other}} << mine;
    QTest::newRow("longer name by prefix") << QVariantMap{{"@control_x", mine}} << mine;
    QTest::newRow("first prefix match in key order")
        << QVariantMap{{"@controlB", other}, {"@controlA", mine}, {"@abc", other}} << mine;
    QTest::newRow("prefix compares case")
        << QVariantMap{{"@Control", other}} << QVariantMap{{"@Control", other}};
    QTest::newRow("no object: the map itself") << mine << mine;
    QTest::newRow("empty") << QVariantMap() << QVariantMap();
}

void tst_NotificationPpsChannel::controlAttributes()
{
    QFETCH(QVariantMap, decoded);
    QFETCH(QVariantMap, attributes);
    QCOMPARE(om::platform::controlAttributes(decoded), attributes);
}

QTEST_GUILESS_MAIN(tst_NotificationPpsChannel)
#include "tst_notificationppschannel.moc"
