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

/** A rule that answers each request once, with its "res" and "id" and @p attributes. */
std::function<QList<omtest::Answer>(const omtest::Received &)> answerWith(const QVariantMap &attributes)
{
    return [attributes](const omtest::Received &r) {
        QVariantMap answer = omtest::FakeServer::okAnswer(r.attributes);
        for (auto it = attributes.begin(); it != attributes.end(); ++it)
            answer.insert(it.key(), it.value());
        return QList<omtest::Answer>{{answer, {}, {}, 0}};
    };
}

/** Waits for @p reply to finish; checks that finished() came once. */
bool waitFinished(InvokeTargetReply *reply)
{
    QSignalSpy finished(reply, &InvokeReply::finished);
    if (!reply->isFinished() && !finished.wait(5000))
        return false;
    QCoreApplication::processEvents(); // a second emission would show here
    return finished.count() == 1 && reply->isFinished();
}

} // namespace

class tst_InvokeManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_service.reset(); m_broker.reset(); }

    void requestOnTheWire();
    void outcome_data();
    void outcome();
    void serviceUnreachable_data();
    void serviceUnreachable();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
};

void tst_InvokeManager::init()
{
    qputenv("OM_PACKAGE_NAME", "tst.invoke");
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_service.reset(new omtest::FakeServer(QStringLiteral("/pps/services/invoke/control")));
    QVERIFY(m_service->start());
}

void tst_InvokeManager::requestOnTheWire()
{
    InvokeRequest request;
    request.setTarget(QStringLiteral("om.maps"));
    request.setAction(QStringLiteral("om.action.VIEW"));
    request.setMimeType(QStringLiteral("text/plain"));
    request.setData(QByteArray("\x00\xff\n\\", 4));
    request.setUri(QUrl(QStringLiteral("file:///tmp/a b.kml")));
    request.setFileTransferMode(om::system::FileTransferMode::CopyReadOnly);
    request.setPerimeter(om::system::SecurityPerimeter::Enterprise);
    request.setTargetTypes(om::system::InvokeTarget::Application | om::system::InvokeTarget::Card);
    request.setMetadata(QVariantMap{{"k", "v"}});
    InvokeManager manager;
    std::unique_ptr<InvokeTargetReply> full(manager.invoke(request));
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(m_service->last().dat(),
             (QVariantMap{{"sender", "tst.invoke"}, {"target", "om.maps"}, {"action", "om.action.VIEW"},
                          {"mimeType", "text/plain"},
                          {"data", QString::fromLatin1(QByteArray("\x00\xff\n\\", 4).toBase64())},
                          {"uri", "file:///tmp/a%20b.kml"}, {"fileTransferMode", 2}, {"perimeter", 2},
                          {"targetTypes", 9}, {"metadata", QVariantMap{{"k", "v"}}}}));
    QCOMPARE(m_service->last().msg(), QStringLiteral("invoke"));
    QVERIFY(!m_service->last().id().isEmpty());
    QVERIFY(!full->isFinished()); // nobody answered
}

void tst_InvokeManager::outcome_data()
{
    QTest::addColumn<QVariantMap>("answer"); // besides "res" and "id"
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("errorString");
    QTest::addColumn<QString>("target");

    QTest::newRow("taken") << QVariantMap{{"dat", QVariantMap{{"target", "om.maps"}}}} << 0 << QString()
                           << "om.maps";
    QTest::newRow("no target") << QVariantMap{{"err", 1}, {"errstr", "no target handles it"}}
                               << int(InvokeReply::NoTarget) << "no target handles it" << QString();
    QTest::newRow("refusal without text") << QVariantMap{{"err", 3}} << int(InvokeReply::TargetFailed)
        << "the invocation service refused the request (error 3)" << QString();
    QTest::newRow("error code 0") << QVariantMap{{"err", 0}} << int(InvokeReply::BadAnswer)
        << "the invocation service answered with an unknown error: 0" << QString();
}

void tst_InvokeManager::outcome()
{
    QFETCH(QVariantMap, answer);
    QFETCH(int, error);
    QFETCH(QString, errorString);
    QFETCH(QString, target);
    m_service->respond(answerWith(answer));
    // The manager may be short-lived: its reply outlives it.
    std::unique_ptr<InvokeTargetReply> reply(InvokeManager().invoke(InvokeRequest()));
    QVERIFY(reply->parent() == nullptr);
    QVERIFY(!reply->isFinished());
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), error);
    QCOMPARE(reply->errorString(), errorString);
    QCOMPARE(reply->target(), target);
    QVERIFY(m_service->waitForClosed(1)); // the exchange is over
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
    std::unique_ptr<InvokeTargetReply> reply(InvokeManager().invoke(InvokeRequest()));
    QVERIFY(!reply->isFinished()); // even a request that never left reports through the event loop
    QVERIFY(waitFinished(reply.get()));
    QCOMPARE(reply->error(), int(InvokeReply::ServiceUnavailable));
    QVERIFY2(reply->errorString().startsWith(QLatin1String("cannot reach the invocation service: ")),
             qPrintable(reply->errorString()));
}

QTEST_GUILESS_MAIN(tst_InvokeManager)
#include "tst_invokemanager.moc"
