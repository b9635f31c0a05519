// The payment values: receipts with their copy and assignment rules, the
// shared response values, the enumerations, and the receipt as script code
// sees it.

#include "payment/paymentserviceresponse_p.h"
#include "payment/purchasereceipt_p.h"

#include <om/platform/existingpurchasesreply.h>
#include <om/platform/paymentconnectionmode.h>
#include <om/platform/paymenterrorcode.h>
#include <om/platform/purchasereply.h>

#include <QMetaEnum>
#include <QtTest/QTest>

using namespace om::platform;

namespace {

QSharedPointer<PurchaseReceipt> subscription()
{
    QSharedPointer<PurchaseReceipt> r = PurchaseReceiptPrivate::newValidPurchaseReceipt();
    PurchaseReceiptPrivate *d =
        PurchaseReceiptPrivate::purchaseReceiptPrivateFromPurchaseReceipt(*r);
    d->setState(DigitalGoodState::SubscriptionRenewed);
    d->setStartDate(QDateTime::fromSecsSinceEpoch(100));
    d->setEndDate(QDateTime::fromSecsSinceEpoch(200));
    d->setInitialPeriod(30);
    d->setDigitalGoodId(QStringLiteral("sub"));
    return r;
}

} // namespace

class tst_PaymentValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void assignmentKeepsPeriodOfOwnedSource_data();
    void assignmentKeepsPeriodOfOwnedSource();
    void copyTakesEverything();
    void responseCopiesShareOneRecord();
    void enumerationsByName();
    void receiptForScript();
    void emptyPurchaseListForScript();
};

void tst_PaymentValues::assignmentKeepsPeriodOfOwnedSource_data()
{
    QTest::addColumn<int>("sourceState");
    QTest::addColumn<bool>("periodTaken");
    QTest::newRow("Owned") << int(DigitalGoodState::Owned) << false;
    QTest::newRow("Unknown") << int(DigitalGoodState::Unknown) << false;
    QTest::newRow("NewSubscription") << int(DigitalGoodState::NewSubscription) << true;
    QTest::newRow("SubscriptionCanceled") << int(DigitalGoodState::SubscriptionCanceled) << true;
}

void tst_PaymentValues::assignmentKeepsPeriodOfOwnedSource()
{
    QFETCH(int, sourceState);
    QFETCH(bool, periodTaken);
    QSharedPointer<PurchaseReceipt> source = PurchaseReceiptPrivate::newValidPurchaseReceipt();
    PurchaseReceiptPrivate *s =
        PurchaseReceiptPrivate::purchaseReceiptPrivateFromPurchaseReceipt(*source);
    s->setState(DigitalGoodState::Type(sourceState));
    s->setStartDate(QDateTime::fromSecsSinceEpoch(1));
    s->setEndDate(QDateTime::fromSecsSinceEpoch(2));
    s->setInitialPeriod(7);
    s->setPurchaseId(QStringLiteral("owned-1"));
    s->setExtraParams({{"k", "v"}});

    PurchaseReceipt target = *subscription();
    target = *source;
    QCOMPARE(int(target.state()), sourceState);
    QCOMPARE(target.purchaseId(), QStringLiteral("owned-1"));
    QCOMPARE(target.extraParameters(), (QMap<QString, QVariant>{{"k", "v"}}));
    QVERIFY(target.isValid());
    QCOMPARE(target.startDate(), QDateTime::fromSecsSinceEpoch(periodTaken ? 1 : 100));
    QCOMPARE(target.endDate(), QDateTime::fromSecsSinceEpoch(periodTaken ? 2 : 200));
    QCOMPARE(target.initialPeriod(), periodTaken ? 7 : 30);
}

void tst_PaymentValues::copyTakesEverything()
{
    QSharedPointer<PurchaseReceipt> owned = PurchaseReceiptPrivate::newValidPurchaseReceipt();
    PurchaseReceiptPrivate *o =
        PurchaseReceiptPrivate::purchaseReceiptPrivateFromPurchaseReceipt(*owned);
    o->setState(DigitalGoodState::Owned);
    const PurchaseReceipt copy(*owned);
    QVERIFY(copy.isValid());
    QVERIFY(!copy.isSubscription());
    QVERIFY(!copy.startDate().isValid());
    QCOMPARE(copy.initialPeriod(), -1);
    const PurchaseReceipt sub(*subscription());
    QCOMPARE(sub.startDate(), QDateTime::fromSecsSinceEpoch(100));
    QCOMPARE(sub.initialPeriod(), 30);
    QCOMPARE(sub.digitalGoodId(), QStringLiteral("sub"));
    // Each copy owns its data.
    o->setPurchaseId(QStringLiteral("changed"));
    QVERIFY(copy.purchaseId().isEmpty());
}

void tst_PaymentValues::responseCopiesShareOneRecord()
{
    SubscriptionTermsResponseInfo built("g", "s");
    SubscriptionTermsResponseInfoPrivate *d = SubscriptionTermsResponseInfoPrivate::get(built);
    d->setPrice(QStringLiteral("1.99"));
    d->setRenewalPeriod(QStringLiteral("30 days"));
    const SubscriptionTermsResponseInfo copy = built;
    PriceResponseInfo asPrice = copy; // a copy as its base keeps the derived record
    QCOMPARE(asPrice.price(), QStringLiteral("1.99"));
    QCOMPARE(copy.renewalPeriod(), QStringLiteral("30 days"));
    // Reading does not detach: a record set through the first value is the
    // one the copies read.
    d->setErrorText(QStringLiteral("seen by all"));
    QCOMPARE(copy.errorText(), QStringLiteral("seen by all"));
    QCOMPARE(asPrice.errorText(), QStringLiteral("seen by all"));
    PriceResponseInfo assigned;
    assigned = asPrice;
    QCOMPARE(assigned.errorText(), QStringLiteral("seen by all"));
}

void tst_PaymentValues::enumerationsByName()
{
    const QMetaEnum state = QMetaEnum::fromType<DigitalGoodState::Type>();
    QCOMPARE(state.keyCount(), 6);
    QCOMPARE(state.keyToValue("SubscriptionRenewed"), 4);
    QCOMPARE(state.keyToValue("Unknown"), 5);
    const QMetaEnum code = QMetaEnum::fromType<PaymentErrorCode::Type>();
    QCOMPARE(code.keyToValue("NoNetwork"), 8);
    QCOMPARE(code.valueToKey(7), static_cast<const char *>(nullptr));
    QCOMPARE(QMetaEnum::fromType<PaymentConnectionMode::Type>().keyToValue("Production"), 1);
}

void tst_PaymentValues::receiptForScript()
{
    const PurchaseReply reply;
    QVERIFY(!reply.isFinished());
    const QVariantMap map = reply.property("receipt").toMap();
    QCOMPARE(map.keys(),
             QStringList({"date", "digitalGoodId", "digitalGoodSku", "endDate", "extraParameters",
                          "initialPeriod", "isSubscription", "isValid", "licenseKey", "purchaseId",
                          "purchaseMetadata", "startDate", "state"}));
    QCOMPARE(map.value("isValid"), QVariant(false));
    QCOMPARE(map.value("state"), QVariant(5));
    QCOMPARE(map.value("initialPeriod"), QVariant(-1));
    QCOMPARE(map.value("isSubscription"), QVariant(true));
    QCOMPARE(map.value("date").userType(), int(QMetaType::QDateTime));
    QVERIFY(!map.value("date").toDateTime().isValid() &&
            !map.value("endDate").toDateTime().isValid());
    QCOMPARE(map.value("extraParameters").userType(), int(QMetaType::QVariantMap));
    QVERIFY(map.value("extraParameters").toMap().isEmpty());
}

void tst_PaymentValues::emptyPurchaseListForScript()
{
    const ExistingPurchasesReply reply;
    QCOMPARE(reply.property("purchases").toList(), QVariantList());
    QVERIFY(reply.purchases().isEmpty());
}

QTEST_GUILESS_MAIN(tst_PaymentValues)
#include "tst_paymentvalues.moc"
