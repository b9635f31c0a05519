// PaymentManager, its replies and the request pipeline beneath them, against
// a scripted payment service on a real bus. The pipeline opens its control
// object once for the whole process, so the binary has one broker and one
// service, which stays from one test function to the next (its script is
// cleared between them); the order of the test functions matters: the
// first runs before any service exists, the last after the device is gone,
// and one that takes the service away opens a new connection before it ends.

#include "cputime.h"
#include "datarow.h"
#include "fakeserver.h"
#include "signallog.h"
#include "testbroker.h"
#include "warningcapture.h"

#include "payment/paymentserviceimpl_p.h"

#include <om/platform/paymenterrorcode.h>
#include <om/platform/paymentmanager.h>
#include <om/platform/paymentservice.h>

#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

using namespace om::platform;
using omtest::Answer;
using omtest::newRow;
using omtest::Received;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/paymentsystem/control");
const QString FailedToRead =
    QStringLiteral("PaymentServiceImpl::onDataReady() failed to read response");

// An answer of the service to a request, as it writes them.
QVariantMap answerTo(const Received &request, const QString &res,
                     const QVariant &dat = QVariantMap())
{
    QVariantMap a{{"msg", request.msg()}, {"id", request.id()}, {"res", res}};
    if (dat.isValid())
        a.insert(QStringLiteral("dat"), dat);
    return a;
}

// What a test makes the manager do; the reply, as a QObject.
using Start = std::function<PaymentReply *(PaymentManager &)>;
// A Start that makes the request named, as in REQUEST(requestPrice("g1")).
#define REQUEST(...) Start([](PaymentManager &m) -> PaymentReply * { return m.__VA_ARGS__; })

// The warnings other than the one for a notification that found nothing to
// read: the GLib event loop reports a descriptor once more after the read
// that its first report queued.
QStringList warningsBesidesNothingRead(const omtest::WarningCapture &capture)
{
    QStringList warnings = capture.warnings();
    warnings.removeAll(FailedToRead);
    return warnings;
}

} // namespace

Q_DECLARE_METATYPE(Start)

class tst_PaymentManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    // Before any service exists.
    void failedOpenGivesNullReplies_data();
    void failedOpenGivesNullReplies();

    void metaObject();
    void metaTypesRegisteredInOrderWithTheDispatcher();
    void firstRequestsAreNumberedFromZero();
    void requestsOnTheWire_data();
    void requestsOnTheWire();
    void eachManagerSendsItsOwnIdentity();
    void answersFinishReplies_data();
    void answersFinishReplies();
    void failureAnswers_data();
    void failureAnswers();
    void noReplyFinishesInsideItsCall();
    void answersInAnyOrderFindTheirRequests();
    void unreadableAnswerLeavesRequestOutstanding();
    void invocationLeavesRequestOutstanding();
    void unexpectedIds();
    void purchaseWithoutReceiptEndsWithoutSignal();
    void slotMayStartTheNextRequest();
    void managerDeletedBeforeItsAnswer();
    void connectionModeFromScript_data();
    void connectionModeFromScript();
    void outstandingRequestSurvivesModeChange();
    void queuedNotificationAfterFailedModeChange();

    // Last: the device goes away.
    void serviceGoneLeavesApplicationIdle();

private:
    void startServer();
    // The request the service received last, once it is there.
    Received nextRequest();
    // Answers @p request as the service does, with @p res and @p dat; with a price.
    bool serve(const Received &request, const QString &res, const QVariant &dat = QVariant())
    {
        return m_server->reply(request.clientId, answerTo(request, res, dat));
    }
    bool servePrice(const Received &request, const QString &price)
    {
        return serve(request, "getPriceSuccess", QVariantMap{{"price", price}});
    }

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_server;
    int m_seen = 0;
};

void tst_PaymentManager::initTestCase()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
}

void tst_PaymentManager::init()
{
    if (!m_server && QByteArray(QTest::currentTestFunction()) != "failedOpenGivesNullReplies")
        startServer();
}

void tst_PaymentManager::startServer()
{
    m_server.reset(new omtest::FakeServer(ControlPath));
    QVERIFY(m_server->start());
    m_seen = 0;
}

void tst_PaymentManager::cleanup()
{
    if (!m_server)
        return;
    m_server->clearScript();
    m_seen = m_server->received().size();
}

Received tst_PaymentManager::nextRequest()
{
    if (!m_server->waitForReceived(m_seen + 1))
        return Received();
    return m_server->received().at(m_seen++);
}

void tst_PaymentManager::failedOpenGivesNullReplies_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("warning");

    newRow("purchase", REQUEST(requestPurchase("g")),
           "PaymentManager requestPurchase failed: Failed to open pps, error 2");
    newRow("existing", REQUEST(requestExistingPurchases()),
           "PaymentManager requestExistingPurchases failed: Failed to open pps, error 2");
    newRow("price", REQUEST(requestPrice("g")),
           "PaymentManager requestPrice failed: Failed to open pps, error 2");
    newRow("terms", REQUEST(requestSubscriptionTerms("g")),
           "PaymentManager requestSubscriptionTerms failed: Failed to open pps, error 2");
    newRow("status", REQUEST(requestSubscriptionStatus("g")),
           "PaymentManager requestSubscriptionStatus failed: Failed to open pps, error 2");
    newRow("cancel", REQUEST(requestCancelSubscription("p")),
           "PaymentManager requestCancelSubscription failed: Failed to open pps, error 2");
    newRow("mode", Start([](PaymentManager &) {
               PaymentManager::setConnectionMode(PaymentConnectionMode::Test);
               return nullptr;
           }),
           "PaymentManager setConnectionMode failed: Failed to open pps, error 2");
}

void tst_PaymentManager::failedOpenGivesNullReplies()
{
    QFETCH(Start, start);
    QFETCH(QString, warning);
    PaymentManager manager; // no payment service on the device yet
    omtest::WarningCapture capture;
    QVERIFY(!start(manager));
    QCOMPARE(capture.warnings(), QStringList{warning});
    QVERIFY(manager.children().isEmpty());
}

void tst_PaymentManager::metaObject()
{
    const QMetaObject *mo = &PaymentManager::staticMetaObject;
    QMap<QString, int> entries;
    for (int i = mo->methodOffset(); i < mo->methodCount(); ++i) {
        if (mo->method(i).methodType() == QMetaMethod::Method)
            ++entries[QString::fromLatin1(mo->method(i).name())];
    }
    QCOMPARE(entries.value("requestPurchase"), 5);
    QCOMPARE(entries.value("requestExistingPurchases"), 2);
    QCOMPARE(entries.value("requestPrice"), 2);
    QCOMPARE(entries.value("requestSubscriptionTerms"), 2);
    QCOMPARE(entries.value("requestSubscriptionStatus"), 2);
    QCOMPARE(entries.value("requestCancelSubscription"), 1);
    QCOMPARE(entries.value("setConnectionMode"), 1);
    QCOMPARE(PaymentManager::APP_SUBSCRIPTION, QStringLiteral("-1"));
    for (const char *name : {"windowGroupId", "applicationName", "applicationIconUrl"}) {
        const QMetaProperty p = mo->property(mo->indexOfProperty(name));
        QVERIFY(p.isReadable() && p.isWritable() && p.isFinal());
    }
    const QMetaObject *reply = &SubscriptionTermsReply::staticMetaObject;
    for (const char *name : {"finished", "errorText", "errorCode", "errorInfo", "digitalGoodId",
                             "price", "initialPeriod", "renewalPrice", "renewalPeriod"}) {
        const QMetaProperty p = reply->property(reply->indexOfProperty(name));
        QVERIFY2(p.isReadable() && !p.isWritable() && p.isConstant(), name);
    }
}

void tst_PaymentManager::metaTypesRegisteredInOrderWithTheDispatcher()
{
    const char *const names[] = {
        "QList<om::platform::PurchaseReceipt>",  "om::platform::PurchaseReceipt",
        "om::platform::PurchaseResponseInfo",    "om::platform::ExistingPurchasesResponseInfo",
        "om::platform::PriceResponseInfo",       "om::platform::SubscriptionTermsResponseInfo",
        "om::platform::CheckStatusResponseInfo", "om::platform::CancelSubscriptionResponseInfo"};
    // The type's id if it is registered, as each Qt major asks for it.
    const auto typeIdOf = [](const char *name) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        return QMetaType::fromName(name).id();
#else
        return QMetaType::type(name);
#endif
    };
    for (const char *name : names)
        QVERIFY2(typeIdOf(name) == QMetaType::UnknownType, name);
    QVERIFY(PaymentService::getInstance());
    int previous = 0;
    for (const char *name : names) {
        const int id = typeIdOf(name);
        QVERIFY2(id > previous, name);
        previous = id;
    }
}

void tst_PaymentManager::firstRequestsAreNumberedFromZero()
{
    PaymentManager manager;
    QVERIFY(manager.requestPrice("a"));
    QVERIFY(manager.requestPrice("a"));
    QCOMPARE(nextRequest().id(), QStringLiteral("0"));
    QCOMPARE(nextRequest().id(), QStringLiteral("1"));
}

void tst_PaymentManager::requestsOnTheWire_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariantMap>("dat");

    const QVariantMap common{{"uiGroupID", "wg-1"}, {"canHandleInvocation", true}};
    auto with = [&](const QVariantMap &fields) {
        QVariantMap m = common;
        for (auto it = fields.cbegin(); it != fields.cend(); ++it)
            m.insert(it.key(), it.value());
        return m;
    };
    newRow("purchase, id only", REQUEST(requestPurchase("g1")), "paymentSystemType",
           with({{"digitalGoodID", "g1"},
                 {"digitalGoodSKU", ""},
                 {"digitalGoodName", ""},
                 {"metaData", ""},
                 {"purchaseAppName", "Shop"},
                 {"purchaseAppIcon", "file:///shop/icon.png"}}));
    newRow("purchase, all",
           REQUEST(requestPurchase("g1", "s1", "Sword", "meta", {{"level", 3}, {"colour", "red"}})),
           "paymentSystemType",
           with({{"digitalGoodID", "g1"},
                 {"digitalGoodSKU", "s1"},
                 {"digitalGoodName", "Sword"},
                 {"metaData", "meta"},
                 {"extras", QVariantMap{{"level", "3"}, {"colour", "red"}}},
                 {"purchaseAppName", "Shop"},
                 {"purchaseAppIcon", "file:///shop/icon.png"}}));
    newRow("existing, refresh by default", REQUEST(requestExistingPurchases()),
           "getExistingPurchasesType", with({{"allowRefresh", true}}));
    newRow("existing, no refresh", REQUEST(requestExistingPurchases(false)),
           "getExistingPurchasesType", with({{"allowRefresh", false}}));
    newRow("price", REQUEST(requestPrice("g1", "s1")), "getPriceType",
           with({{"digitalGoodID", "g1"}, {"digitalGoodSKU", "s1"}}));
    newRow("terms: the price message", REQUEST(requestSubscriptionTerms("g1")), "getPriceType",
           with({{"digitalGoodID", "g1"}, {"digitalGoodSKU", ""}}));
    newRow("status", REQUEST(requestSubscriptionStatus("g1")), "checkExistingType",
           with({{"digitalGoodID", "g1"}, {"digitalGoodSKU", ""}}));
    newRow("cancel", REQUEST(requestCancelSubscription("p1")), "cancelSubscriptionType",
           with({{"purchaseID", "p1"}}));
}

void tst_PaymentManager::requestsOnTheWire()
{
    QFETCH(Start, start);
    QFETCH(QString, msg);
    QFETCH(QVariantMap, dat);
    PaymentManager manager;
    manager.setWindowGroupId("wg-1");
    manager.setApplicationName("Shop");
    manager.setApplicationIconUrl(QUrl("file:///shop/icon.png"));
    PaymentReply *reply = start(manager);
    QVERIFY(reply);
    QCOMPARE(reply->parent(), &manager);
    QVERIFY(!reply->isFinished());
    const Received request = nextRequest();
    QCOMPARE(request.msg(), msg);
    QCOMPARE(request.dat(), dat);
}

void tst_PaymentManager::eachManagerSendsItsOwnIdentity()
{
    PaymentManager first;
    first.setWindowGroupId("first");
    PaymentManager second;
    second.setWindowGroupId("second");
    first.requestPrice("g");
    second.requestPrice("g");
    first.requestPrice("g");
    QCOMPARE(nextRequest().dat().value("uiGroupID").toString(), QStringLiteral("first"));
    QCOMPARE(nextRequest().dat().value("uiGroupID").toString(), QStringLiteral("second"));
    QCOMPARE(nextRequest().dat().value("uiGroupID").toString(), QStringLiteral("first"));
}

void tst_PaymentManager::answersFinishReplies_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("res");
    QTest::addColumn<QVariant>("dat");
    QTest::addColumn<QVariantMap>("properties");

    const QVariantMap receipt{
        {"itemState", "1"},        {"date", "1700000000"},  {"startDate", "1700000000"},
        {"endDate", "1702592000"}, {"initialPeriod", "30"}, {"digitalGoodID", "g1"},
        {"purchaseID", "p1"},      {"licenseKey", "L"},     {"extras", QVariantMap{{"k", "v"}}}};
    newRow("purchase", REQUEST(requestPurchase("g1", "s1", "Sword", "meta")),
           "paymentSystemSuccess", QVariant(receipt),
           QVariantMap{{"digitalGoodId", "g1"},
                       {"digitalGoodSku", "s1"},
                       {"purchaseMetadata", "meta"},
                       {"receipt/purchaseId", "p1"},
                       {"receipt/state", 1},
                       {"receipt/initialPeriod", 30},
                       {"receipt/isValid", true},
                       {"receipt/licenseKey", "L"},
                       {"receipt/extraParameters", QVariantMap{{"k", "v"}}},
                       {"receipt/endDate", QDateTime::fromSecsSinceEpoch(1702592000)}});
    newRow("existing", REQUEST(requestExistingPurchases()), "getExistingPurchasesSuccess",
           QVariant(
               QVariantList{receipt, QVariantMap{{"date", "1"}}, QVariantMap{{"itemState", "0"}}}),
           QVariantMap{{"purchases/count", 2},
                       {"purchases/0/digitalGoodId", "g1"},
                       {"purchases/1/state", 5}});
    newRow("existing, none", REQUEST(requestExistingPurchases()), "getExistingPurchasesSuccess",
           QVariant(QVariantList()), QVariantMap{{"purchases/count", 0}});
    newRow("price", REQUEST(requestPrice("g1", "s1")), "getPriceSuccess",
           QVariant(QVariantMap{{"price", "0.99"}, {"renewalPrice", "ignored"}}),
           QVariantMap{{"price", "0.99"}, {"digitalGoodId", "g1"}, {"digitalGoodSku", "s1"}});
    newRow("price without price", REQUEST(requestPrice("g1")), "getPriceSuccess",
           QVariant(QVariantMap()), QVariantMap{{"price", ""}});
    newRow("terms", REQUEST(requestSubscriptionTerms("sub")), "getPriceSuccess",
           QVariant(QVariantMap{{"price", "1.99"},
                                {"initialPeriod", "7"},
                                {"renewalPrice", "4.99"},
                                {"renewalPeriod", "30"}}),
           QVariantMap{{"price", "1.99"},
                       {"initialPeriod", "7"},
                       {"renewalPrice", "4.99"},
                       {"renewalPeriod", "30"}});
    newRow("status", REQUEST(requestSubscriptionStatus("sub")), "checkExistingSuccess",
           QVariant(QVariantMap{{"subscriptionExists", true}}), QVariantMap{{"active", true}});
    newRow("cancel: the purchase asked about", REQUEST(requestCancelSubscription("p1")),
           "cancelSubscriptionSuccess",
           QVariant(QVariantMap{{"purchaseID", "other"}, {"cancelled", "true"}}),
           QVariantMap{{"canceled", true}, {"purchaseId", "p1"}});
    newRow("an unknown kind is a plain success", REQUEST(requestSubscriptionStatus("sub")),
           "newKindSuccess", QVariant(QVariantMap{{"subscriptionExists", true}}),
           QVariantMap{{"active", false}});
    newRow("the kind is not held against the request", REQUEST(requestPrice("g1")),
           "checkExistingSuccess", QVariant(QVariantMap{{"subscriptionExists", true}}),
           QVariantMap{{"price", ""}});
}

void tst_PaymentManager::answersFinishReplies()
{
    QFETCH(Start, start);
    QFETCH(QString, res);
    QFETCH(QVariant, dat);
    QFETCH(QVariantMap, properties);
    PaymentManager manager;
    PaymentReply *reply = start(manager);
    QVERIFY(reply);
    // The reply says it finished, then the manager, once, with the reply.
    omtest::SignalLog log(&manager);
    int managerSignalsBefore = -1;
    connect(reply, &PaymentReply::finished, this, [&] { managerSignalsBefore = log.size(); });

    const Received request = nextRequest();
    QVERIFY(serve(request, res, dat));
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(managerSignalsBefore, 0);
    QCOMPARE(log.size(), 1);
    QCOMPARE(log.entries().at(0).second.value(0).value<QObject *>(), static_cast<QObject *>(reply));
    QVERIFY(!reply->isError());
    QCOMPARE(reply->errorCode(), 0);
    QVERIFY(reply->errorText().isEmpty());
    QVERIFY(reply->errorInfo().isEmpty());
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        const QStringList path = it.key().split('/');
        QVariant actual;
        if (path.first() == QLatin1String("receipt")) {
            actual = reply->property("receipt").toMap().value(path.at(1));
        } else if (path.first() == QLatin1String("purchases")) {
            const QVariantList list = reply->property("purchases").toList();
            actual = path.at(1) == QLatin1String("count")
                         ? QVariant(list.size())
                         : list.value(path.at(1).toInt()).toMap().value(path.at(2));
        } else {
            actual = reply->property(qPrintable(path.first()));
        }
        QVERIFY2(actual == it.value(),
                 qPrintable(it.key() + QStringLiteral(": ") + actual.toString()));
    }
}

void tst_PaymentManager::failureAnswers_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<QString>("res");
    QTest::addColumn<QVariantMap>("dat");
    QTest::addColumn<QVariantMap>("properties");

    newRow("declined purchase", REQUEST(requestPurchase("g1", "", "", "meta")),
           "paymentSystemFailure",
           QVariantMap{{"errorID", 1}, {"errorText", "declined"}, {"errorSubCode", "u"}},
           QVariantMap{{"errorCode", int(PaymentErrorCode::Canceled)},
                       {"errorText", "declined"},
                       {"errorInfo", "u"},
                       {"purchaseMetadata", "meta"},
                       {"digitalGoodId", "g1"}});
    newRow("an unnamed code as it is", REQUEST(requestPrice("g1")), "getPriceFailure",
           QVariantMap{{"errorID", 7}, {"errorText", "seven"}},
           QVariantMap{{"errorCode", 7}, {"errorInfo", ""}});
    newRow("existing", REQUEST(requestExistingPurchases()), "getExistingPurchasesFailure",
           QVariantMap{{"errorID", 8}, {"errorText", "offline"}},
           QVariantMap{{"errorCode", int(PaymentErrorCode::NoNetwork)}});
    newRow("cancel keeps its purchase", REQUEST(requestCancelSubscription("p1")),
           "cancelSubscriptionFailure",
           QVariantMap{{"errorID", 3}, {"errorText", "no such purchase"}},
           QVariantMap{{"errorCode", 3}, {"purchaseId", "p1"}, {"canceled", false}});
    newRow("terms", REQUEST(requestSubscriptionTerms("g1")), "getPriceFailure",
           QVariantMap{{"errorID", 2}, {"errorText", "busy"}},
           QVariantMap{{"errorCode", 2}, {"price", ""}, {"renewalPeriod", ""}});
    newRow("status", REQUEST(requestSubscriptionStatus("g1")), "checkExistingFailure",
           QVariantMap{{"errorID", 0}, {"errorText", ""}},
           QVariantMap{{"errorCode", 0}, {"active", false}});
}

void tst_PaymentManager::failureAnswers()
{
    QFETCH(Start, start);
    QFETCH(QString, res);
    QFETCH(QVariantMap, dat);
    QFETCH(QVariantMap, properties);
    PaymentManager manager;
    PaymentReply *reply = start(manager);
    QVERIFY(reply);
    const Received request = nextRequest();
    QVERIFY(serve(request, res, dat));
    QTRY_VERIFY(reply->isFinished());
    QVERIFY(reply->isError());
    QCOMPARE(reply->property("finished").toBool(), true);
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        QCOMPARE(reply->property(qPrintable(it.key())), it.value());
    if (auto *purchase = qobject_cast<PurchaseReply *>(reply)) {
        QVERIFY(!purchase->receipt().isValid());
        QCOMPARE(purchase->receiptQML().value("isValid").toBool(), false);
    }
}

void tst_PaymentManager::noReplyFinishesInsideItsCall()
{
    // The service answers at once; the answer still comes in a later turn
    // of the event loop, never inside the call.
    m_server->respond([](const Received &r) {
        return QList<Answer>{
            {answerTo(r, "getPriceSuccess", QVariantMap{{"price", "1"}}), {}, {}, 0}};
    });
    PaymentManager manager;
    QSignalSpy finished(&manager, &PaymentManager::priceFinished);
    for (int i = 0; i < 20; ++i) {
        PriceReply *reply = manager.requestPrice("g");
        QVERIFY(reply);
        QVERIFY(!reply->isFinished());
    }
    QTRY_COMPARE(finished.count(), 20);
}

void tst_PaymentManager::answersInAnyOrderFindTheirRequests()
{
    PaymentManager manager;
    PriceReply *a = manager.requestPrice("a");
    PriceReply *b = manager.requestPrice("a");
    const Received first = nextRequest();
    const Received second = nextRequest();
    QVERIFY(first.id() != second.id());
    QVERIFY(servePrice(second, "second"));
    QVERIFY(servePrice(first, "first"));
    QTRY_VERIFY(a->isFinished() && b->isFinished());
    QCOMPARE(a->price(), QStringLiteral("first"));
    QCOMPARE(b->price(), QStringLiteral("second"));
}

void tst_PaymentManager::unreadableAnswerLeavesRequestOutstanding()
{
    PaymentManager manager;
    PriceReply *reply = manager.requestPrice("g");
    const Received request = nextRequest();
    omtest::WarningCapture capture;
    // A failure without its text cannot be read.
    QVERIFY(serve(request, "getPriceFailure", QVariantMap{{"errorID", 3}}));
    QTRY_VERIFY(capture.warnings().contains(FailedToRead));
    QVERIFY(!reply->isFinished());
    QVERIFY(servePrice(request, "2"));
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->price(), QStringLiteral("2"));
}

void tst_PaymentManager::invocationLeavesRequestOutstanding()
{
    PaymentManager manager;
    PurchaseReply *reply = manager.requestPurchase("g1");
    const Received request = nextRequest();
    omtest::WarningCapture capture;
    QVERIFY(serve(request, "invokeTargetType", QVariantMap{{"target", "t"}}));
    // And one for an id nobody waits for: no warning either.
    QVariantMap stray = answerTo(request, "invokeTargetType");
    stray.insert("id", "4000");
    QVERIFY(m_server->reply(request.clientId, stray));
    QVERIFY(serve(request, "paymentSystemSuccess", QVariantMap{{"date", "1"}, {"itemState", "0"}}));
    QTRY_VERIFY(reply->isFinished());
    QVERIFY(reply->receipt().isValid());
    QCOMPARE(reply->receipt().state(), DigitalGoodState::Owned);
    QVERIFY(!capture.warnings().contains(
        QStringLiteral("Unexpected requestId 4000 in PaymentServiceImpl::onDataReady()")));
}

void tst_PaymentManager::unexpectedIds()
{
    PaymentManager manager;
    PriceReply *reply = manager.requestPrice("g");
    const Received request = nextRequest();
    omtest::WarningCapture capture;
    QVariantMap stray = answerTo(request, "getPriceSuccess", QVariantMap{{"price", "x"}});
    stray.insert("id", "777");
    QVERIFY(m_server->reply(request.clientId, stray));
    QTRY_VERIFY(capture.warnings().contains(
        QStringLiteral("Unexpected requestId 777 in PaymentServiceImpl::onDataReady()")));
    QVERIFY(!reply->isFinished());
    // The real answer, twice: the second finds nothing.
    QVERIFY(servePrice(request, "1"));
    QVERIFY(servePrice(request, "2"));
    const QString again =
        QStringLiteral("Unexpected requestId %1 in PaymentServiceImpl::onDataReady()")
            .arg(request.id());
    QTRY_VERIFY(capture.warnings().contains(again));
    QCOMPARE(reply->price(), QStringLiteral("1"));
}

void tst_PaymentManager::purchaseWithoutReceiptEndsWithoutSignal()
{
    PaymentManager manager;
    QSignalSpy finished(&manager, &PaymentManager::purchaseFinished);
    PurchaseReply *noDate = manager.requestPurchase("g1");
    PurchaseReply *priceAnswer = manager.requestPurchase("g2");
    const Received first = nextRequest();
    const Received second = nextRequest();
    omtest::WarningCapture capture;
    QVERIFY(serve(first, "paymentSystemSuccess", QVariantMap{{"itemState", "0"}}));
    QVERIFY(servePrice(second, "1"));
    // Both requests are gone: their ids are unexpected from now on.
    QVERIFY(serve(first, "paymentSystemSuccess", QVariantMap{{"date", "1"}}));
    QTRY_VERIFY(capture.warnings().contains(
        QStringLiteral("Unexpected requestId %1 in PaymentServiceImpl::onDataReady()")
            .arg(first.id())));
    QCOMPARE(finished.count(), 0);
    QVERIFY(!noDate->isFinished());
    QVERIFY(!priceAnswer->isFinished());
}

void tst_PaymentManager::slotMayStartTheNextRequest()
{
    m_server->respond([](const Received &r) {
        return QList<Answer>{
            {answerTo(r, "getPriceSuccess", QVariantMap{{"price", r.dat().value("digitalGoodID")}}),
             {},
             {},
             0}};
    });
    PaymentManager manager;
    QStringList prices;
    connect(&manager, &PaymentManager::priceFinished, this, [&](PriceReply *reply) {
        prices.append(reply->price());
        if (prices.size() < 3)
            manager.requestPrice(QString::number(prices.size()));
    });
    manager.requestPrice("0");
    QTRY_COMPARE(prices, QStringList({"0", "1", "2"}));
}

void tst_PaymentManager::managerDeletedBeforeItsAnswer()
{
    auto *manager = new PaymentManager;
    QPointer<PriceReply> reply = manager->requestPrice("g");
    QVERIFY(reply);
    const Received request = nextRequest();
    delete manager;
    QVERIFY(!reply);
    omtest::WarningCapture capture;
    // The answer finds its request and goes to nobody.
    QVERIFY(servePrice(request, "1"));
    // A second manager's answer behind it shows that the first was handled.
    PaymentManager other;
    PriceReply *next = other.requestPrice("h");
    const Received second = nextRequest();
    QVERIFY(servePrice(second, "2"));
    QTRY_VERIFY(next->isFinished());
    QCOMPARE(warningsBesidesNothingRead(capture), QStringList());
}

void tst_PaymentManager::connectionModeFromScript_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QVariant>("localMode");
    newRow("test", 0, QVariant(true));
    newRow("another number changes nothing", 5, QVariant(true));
    newRow("production", 1, QVariant());
    newRow("negative changes nothing", -1, QVariant());
}

void tst_PaymentManager::connectionModeFromScript()
{
    QFETCH(int, mode);
    QFETCH(QVariant, localMode);
    PaymentManager manager;
    omtest::WarningCapture capture;
    QVERIFY(QMetaObject::invokeMethod(&manager, "setConnectionMode", Q_ARG(int, mode)));
    QVERIFY(manager.requestPrice("g"));
    const Received request = nextRequest();
    QCOMPARE(request.dat().value("localMode"), localMode);
    QCOMPARE(request.dat().value("canHandleInvocation"), QVariant(true));
    QVERIFY(warningsBesidesNothingRead(capture).isEmpty());
}

void tst_PaymentManager::outstandingRequestSurvivesModeChange()
{
    PaymentManager manager;
    PriceReply *reply = manager.requestPrice("g");
    const Received request = nextRequest();
    const int opened = m_server->openedCount();
    // The mode in force: nothing is reopened.
    PaymentManager::setConnectionMode(PaymentConnectionMode::Production);
    manager.requestPrice("g");
    nextRequest();
    QCOMPARE(m_server->openedCount(), opened);

    PaymentManager::setConnectionMode(PaymentConnectionMode::Test);
    QVERIFY(m_server->waitForClients(1));
    QTRY_COMPARE(m_server->openedCount(), opened + 1);
    // The request is still known: an answer with its id on the new
    // connection completes it.
    manager.requestPrice("g");
    const Received onNew = nextRequest();
    QVERIFY(m_server->reply(onNew.clientId,
                            answerTo(request, "getPriceSuccess", QVariantMap{{"price", "late"}})));
    QTRY_VERIFY(reply->isFinished());
    QCOMPARE(reply->price(), QStringLiteral("late"));
    PaymentManager::setConnectionMode(PaymentConnectionMode::Production);
}

void tst_PaymentManager::queuedNotificationAfterFailedModeChange()
{
    PaymentManager manager;
    QVERIFY(manager.requestPrice("g"));
    nextRequest();
    m_server.reset(); // the service is not there for the new connection
    omtest::WarningCapture capture;
    // A notification of the old connection still waits in the event queue.
    QVERIFY(QMetaObject::invokeMethod(PaymentService::getInstance(), "onDataReady",
                                      Qt::QueuedConnection));
    PaymentManager::setConnectionMode(PaymentConnectionMode::Test);
    QTRY_VERIFY(capture.warnings().contains(FailedToRead));
    QCOMPARE(
        warningsBesidesNothingRead(capture).first(),
        QStringLiteral("PaymentManager setConnectionMode failed: Failed to open pps, error 2"));
    // No connection: requests fail at once.
    QVERIFY(!manager.requestPrice("g"));
    QVERIFY(capture.warnings().contains(
        "PaymentManager requestPrice failed: _psInterface is unavailable to perform a request."));

    startServer();
    // The old mode is still the dispatcher's: asking for it changes nothing.
    PaymentManager::setConnectionMode(PaymentConnectionMode::Production);
    QVERIFY(!manager.requestPrice("g"));
    // Another mode opens again.
    PaymentManager::setConnectionMode(PaymentConnectionMode::Test);
    PriceReply *reply = manager.requestPrice("g");
    QVERIFY(reply);
    const Received request = nextRequest();
    QCOMPARE(request.dat().value("localMode"), QVariant(true));
    QVERIFY(servePrice(request, "3"));
    QTRY_VERIFY(reply->isFinished());
    PaymentManager::setConnectionMode(PaymentConnectionMode::Production);
}

void tst_PaymentManager::serviceGoneLeavesApplicationIdle()
{
    PaymentManager manager;
    PriceReply *outstanding = manager.requestPrice("g");
    nextRequest();
    omtest::WarningCapture capture;
    m_server.reset();
    m_broker->stop(); // the device ends: the connection reads end-of-file
    QTRY_VERIFY(capture.warnings().contains(FailedToRead));

    // From here the application is idle: no more warnings, and next to no
    // CPU through a second of its event loop.
    const int warnings = capture.warnings().size();
    const double used = omtest::cpuSecondsOver(1000);
    QCOMPARE(capture.warnings().size(), warnings);
    QVERIFY2(used < 0.3, qPrintable(QStringLiteral("%1 s of CPU in an idle second").arg(used)));
    QVERIFY(capture.warnings().count(FailedToRead) <= 2);

    // The outstanding reply never finishes; new requests still return
    // replies, which never finish either.
    QVERIFY(!outstanding->isFinished());
    PriceReply *later = manager.requestPrice("g");
    QVERIFY(later);
    omtest::cpuSecondsOver(100);
    QVERIFY(!later->isFinished());
}

QTEST_GUILESS_MAIN(tst_PaymentManager)
#include "tst_paymentmanager.moc"
