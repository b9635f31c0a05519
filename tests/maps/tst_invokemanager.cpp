#include "mapstest.h"

#include "fakeserver.h"
#include "testbroker.h"

#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QtTest>

#include <functional>
#include <memory>

using om::system::InvokeManager;
using om::system::InvokeReply;
using om::system::InvokeRequest;
using om::system::InvokeTargetReply;

namespace {

using RequestSetup = std::function<void(InvokeRequest &)>;
using Rule = std::function<QList<omtest::Answer>(const omtest::Received &)>;

omtest::Answer answer(const QVariantMap &attributes)
{
    return omtest::Answer{attributes, {}, {}, 0};
}

QVariantMap withId(const omtest::Received &r, const QVariantMap &attributes)
{
    QVariantMap a = attributes;
    a.insert(QStringLiteral("res"), r.msg());
    a.insert(QStringLiteral("id"), r.id());
    return a;
}

InvokeRequest mapRequest()
{
    InvokeRequest request;
    request.setAction(QStringLiteral("om.action.OPEN"));
    request.setMimeType(QStringLiteral("application/vnd.omb.map.action-v1"));
    request.setData(QByteArray("JSON {}", 8));
    return request;
}

} // namespace

Q_DECLARE_METATYPE(RequestSetup)
Q_DECLARE_METATYPE(Rule)

class tst_InvokeManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void requestOnTheWire_data();
    void requestOnTheWire();
    void outcome_data();
    void outcome();
    void serviceUnreachable_data();
    void serviceUnreachable();
    void replyOutlivesManager();
    void serviceGoesAway();
    void noAnswerInTime();
    void requestTooLarge();
    void replyDeletedInFinished();
    void manyAtOnce();

private:
    /** Waits for @p reply to finish; checks that finished() came once. */
    static bool waitFinished(InvokeTargetReply *reply);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
};

void tst_InvokeManager::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", "tst.invoke");
}

void tst_InvokeManager::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_service.reset(new omtest::FakeServer(mapstest::invokeControlPath()));
    QVERIFY(m_service->start());
}

void tst_InvokeManager::cleanup()
{
    m_service.reset();
    m_broker.reset();
}

bool tst_InvokeManager::waitFinished(InvokeTargetReply *reply)
{
    QSignalSpy finished(reply, &InvokeReply::finished);
    if (!reply->isFinished() && !finished.wait(5000))
        return false;
    QCoreApplication::processEvents(); // a second emission would show here
    return finished.count() == 1 && reply->isFinished();
}

void tst_InvokeManager::requestOnTheWire_data()
{
    QTest::addColumn<RequestSetup>("setup");
    QTest::addColumn<QVariantMap>("dat");

    QTest::newRow("empty request") << RequestSetup([](InvokeRequest &) {})
                                   << QVariantMap{{"sender", "tst.invoke"}};
    QTest::newRow("map content") << RequestSetup([](InvokeRequest &r) { r = mapRequest(); })
        << QVariantMap{{"sender", "tst.invoke"}, {"action", "om.action.OPEN"},
                       {"mimeType", "application/vnd.omb.map.action-v1"},
                       {"data", QString::fromLatin1(QByteArray("JSON {}", 8).toBase64())}};
    QTest::newRow("binary data") << RequestSetup([](InvokeRequest &r) {
        r.setAction(QStringLiteral("a"));
        r.setData(QByteArray("\x00\xff\n\\", 4));
    }) << QVariantMap{{"sender", "tst.invoke"}, {"action", "a"},
                      {"data", QString::fromLatin1(QByteArray("\x00\xff\n\\", 4).toBase64())}};
    QTest::newRow("every field") << RequestSetup([](InvokeRequest &r) {
        r.setTarget(QStringLiteral("om.maps"));
        r.setAction(QStringLiteral("om.action.VIEW"));
        r.setMimeType(QStringLiteral("text/plain"));
        r.setUri(QUrl(QStringLiteral("file:///tmp/a b.kml")));
        r.setFileTransferMode(om::system::FileTransferMode::CopyReadOnly);
        r.setPerimeter(om::system::SecurityPerimeter::Enterprise);
        r.setTargetTypes(om::system::InvokeTarget::Application | om::system::InvokeTarget::Card);
        r.setMetadata(QVariantMap{{"k", "v"}});
    }) << QVariantMap{{"sender", "tst.invoke"}, {"target", "om.maps"}, {"action", "om.action.VIEW"},
                      {"mimeType", "text/plain"}, {"uri", "file:///tmp/a%20b.kml"},
                      {"fileTransferMode", 2}, {"perimeter", 2}, {"targetTypes", 9},
                      {"metadata", QVariantMap{{"k", "v"}}}};
}

void tst_InvokeManager::requestOnTheWire()
{
    QFETCH(RequestSetup, setup);
    QFETCH(QVariantMap, dat);
    InvokeRequest request;
    setup(request);
    InvokeManager manager;
    std::unique_ptr<InvokeTargetReply> reply(manager.invoke(request));
    QVERIFY(m_service->waitForReceived(1));
    const omtest::Received received = m_service->last();
    QCOMPARE(received.msg(), QStringLiteral("invoke"));
    QVERIFY(!received.id().isEmpty());
    QCOMPARE(received.dat(), dat);
    QVERIFY(!reply->isFinished()); // nobody answered
}

void tst_InvokeManager::outcome_data()
{
    QTest::addColumn<Rule>("rule");
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("errorString");
    QTest::addColumn<QString>("target");

    QTest::newRow("taken") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {{"dat", QVariantMap{{"target", "om.maps"}}}}))};
    }) << 0 << QString() << "om.maps";
    QTest::newRow("taken, answer without dat") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {}))};
    }) << 0 << QString() << QString();
    QTest::newRow("no target") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {{"err", 1}, {"errstr", "no target handles it"}}))};
    }) << int(InvokeReply::NoTarget) << "no target handles it" << QString();
    QTest::newRow("refusal without text") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {{"err", 3}}))};
    }) << int(InvokeReply::TargetFailed)
       << "the invocation service refused the request (error 3)" << QString();
    QTest::newRow("error code 0") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {{"err", 0}}))};
    }) << int(InvokeReply::BadAnswer)
       << "the invocation service answered with an unknown error: 0" << QString();
    QTest::newRow("error that is no number") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {{"err", "oops"}}))};
    }) << int(InvokeReply::BadAnswer)
       << "the invocation service answered with an unknown error: oops" << QString();
    QTest::newRow("undecodable answer") << Rule([](const omtest::Received &) {
        return QList<omtest::Answer>{omtest::Answer{{}, "res::invoke\ncount:n:abc\n", {}, 0}};
    }) << int(InvokeReply::BadAnswer)
       << "the invocation service sent an answer that cannot be decoded" << QString();
    QTest::newRow("other answers first") << Rule([](const omtest::Received &r) {
        QVariantMap other = withId(r, {{"err", 1}});
        other.insert(QStringLiteral("id"), QStringLiteral("not-mine"));
        QVariantMap notice = withId(r, {{"err", 1}});
        notice.insert(QStringLiteral("res"), QStringLiteral("notice"));
        return QList<omtest::Answer>{answer(other), answer(notice),
                                     answer(withId(r, {{"dat", QVariantMap{{"target", "t"}}}}))};
    }) << 0 << QString() << "t";
    QTest::newRow("answer under another object name") << Rule([](const omtest::Received &r) {
        return QList<omtest::Answer>{omtest::Answer{withId(r, {{"err", 1}}), {}, "@control_x", 0}};
    }) << int(InvokeReply::NoTarget) << "the invocation service refused the request (error 1)"
       << QString();
}

void tst_InvokeManager::outcome()
{
    QFETCH(Rule, rule);
    QFETCH(int, error);
    QFETCH(QString, errorString);
    QFETCH(QString, target);
    m_service->respond(rule);
    InvokeManager manager;
    std::unique_ptr<InvokeTargetReply> reply(manager.invoke(mapRequest()));
    QVERIFY(!reply->isFinished());
    QCOMPARE(reply->error(), 0);
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), error);
    QCOMPARE(reply->errorString(), errorString);
    QCOMPARE(reply->target(), target);
    // The exchange is over: the reply's connection closed.
    QVERIFY(m_service->waitForClosed(1));
}

void tst_InvokeManager::serviceUnreachable_data()
{
    QTest::addColumn<bool>("stopBroker");
    QTest::newRow("no service") << false;
    QTest::newRow("no bus") << true;
}

void tst_InvokeManager::serviceUnreachable()
{
    QFETCH(bool, stopBroker);
    m_service->stop();
    if (stopBroker)
        m_broker->stop();
    InvokeManager manager;
    std::unique_ptr<InvokeTargetReply> reply(manager.invoke(mapRequest()));
    // Even a request that never left reports through the event loop.
    QVERIFY(!reply->isFinished());
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), int(InvokeReply::ServiceUnavailable));
    QVERIFY2(reply->errorString().startsWith(QLatin1String("cannot reach the invocation service: ")),
             qPrintable(reply->errorString()));
}

void tst_InvokeManager::replyOutlivesManager()
{
    m_service->answerOk(QStringLiteral("invoke"), QVariantMap{{"target", "om.maps"}});
    InvokeTargetReply *raw = nullptr;
    {
        InvokeManager manager;
        raw = manager.invoke(mapRequest());
    }
    std::unique_ptr<InvokeTargetReply> reply(raw);
    QVERIFY(reply->parent() == nullptr);
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), 0);
    QCOMPARE(reply->target(), QStringLiteral("om.maps"));
}

void tst_InvokeManager::serviceGoesAway()
{
    InvokeManager manager;
    std::unique_ptr<InvokeTargetReply> reply(manager.invoke(mapRequest()));
    QVERIFY(m_service->waitForReceived(1));
    m_broker->stop();
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), int(InvokeReply::NoAnswer));
    QCOMPARE(reply->errorString(), QStringLiteral("the invocation service went away"));
}

void tst_InvokeManager::noAnswerInTime()
{
    InvokeManager manager;
    manager.setReplyTimeout(100);
    std::unique_ptr<InvokeTargetReply> reply(manager.invoke(mapRequest()));
    QVERIFY(m_service->waitForReceived(1));
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), int(InvokeReply::NoAnswer));
    QCOMPARE(reply->errorString(),
             QStringLiteral("the invocation service did not answer within 100 ms"));
    // A late answer changes nothing.
    QVERIFY(m_service->reply(m_service->last().clientId,
                             withId(m_service->last(), {{"dat", QVariantMap{{"target", "t"}}}})));
    QCoreApplication::processEvents();
    QCOMPARE(reply->error(), int(InvokeReply::NoAnswer));
}

void tst_InvokeManager::requestTooLarge()
{
    m_service->answerOk(QStringLiteral("invoke"), QVariantMap{{"target", "om.maps"}});
    InvokeRequest big = mapRequest();
    big.setData(QByteArray(60000, 'k')); // 80000 bytes in base64
    InvokeManager manager;
    std::unique_ptr<InvokeTargetReply> reply(manager.invoke(big));
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), int(InvokeReply::BadRequest));
    QVERIFY2(reply->errorString().endsWith(QLatin1String("is larger than a bus message can hold")),
             qPrintable(reply->errorString()));

    // Just below the limit still goes through.
    InvokeRequest fits = mapRequest();
    fits.setData(QByteArray(45000, 'k'));
    std::unique_ptr<InvokeTargetReply> second(manager.invoke(fits));
    QVERIFY(waitFinished(second.get()));
    QCOMPARE(second->error(), 0);
    QCOMPARE(m_service->received().size(), 1);
    QCOMPARE(mapstest::sentInvocation(m_service->last()).data.size(), 45000);
}

void tst_InvokeManager::replyDeletedInFinished()
{
    m_service->answerOk(QStringLiteral("invoke"), QVariantMap{{"target", "om.maps"}});
    InvokeManager manager;
    QPointer<InvokeTargetReply> reply = manager.invoke(mapRequest());
    int finished = 0;
    connect(reply.data(), &InvokeReply::finished, this, [&]() {
        ++finished;
        delete reply.data();
    });
    QTRY_VERIFY(reply.isNull());
    QCOMPARE(finished, 1);
    // The library goes on working.
    std::unique_ptr<InvokeTargetReply> next(manager.invoke(mapRequest()));
    QVERIFY(waitFinished(next.get()));
    QCOMPARE(next->error(), 0);
}

void tst_InvokeManager::manyAtOnce()
{
    // Each answer names the request's action as the target: every reply
    // must get its own answer.
    m_service->respond([](const omtest::Received &r) {
        return QList<omtest::Answer>{answer(withId(r, {{"dat", QVariantMap{{"target", r.dat().value("action")}}}}))};
    });
    InvokeManager manager;
    std::vector<std::unique_ptr<InvokeTargetReply>> replies;
    std::vector<std::unique_ptr<QSignalSpy>> spies;
    for (int i = 0; i < 20; ++i) {
        InvokeRequest request;
        request.setAction(QStringLiteral("action%1").arg(i));
        replies.emplace_back(manager.invoke(request));
        spies.emplace_back(new QSignalSpy(replies.back().get(), &InvokeReply::finished));
    }
    for (size_t i = 0; i < replies.size(); ++i) {
        QTRY_COMPARE(spies[i]->count(), 1);
        QCOMPARE(replies[i]->error(), 0);
        QCOMPARE(replies[i]->target(), QStringLiteral("action%1").arg(i));
    }
}

QTEST_GUILESS_MAIN(tst_InvokeManager)
#include "tst_invokemanager.moc"
