#include "payment/paymentreply_p.h"

#include <om/platform/paymentservice.h>

namespace om {
namespace platform {

namespace {

// A receipt for script code: thirteen keys, in the order of the map.
QVariantMap receiptMap(const PurchaseReceipt &receipt)
{
    QVariantMap map;
    map.insert(QStringLiteral("date"), receipt.date());
    map.insert(QStringLiteral("digitalGoodId"), receipt.digitalGoodId());
    map.insert(QStringLiteral("digitalGoodSku"), receipt.digitalGoodSku());
    map.insert(QStringLiteral("endDate"), receipt.endDate());
    map.insert(QStringLiteral("extraParameters"), QVariantMap(receipt.extraParameters()));
    map.insert(QStringLiteral("initialPeriod"), receipt.initialPeriod());
    map.insert(QStringLiteral("isSubscription"), receipt.isSubscription());
    map.insert(QStringLiteral("isValid"), receipt.isValid());
    map.insert(QStringLiteral("licenseKey"), receipt.licenseKey());
    map.insert(QStringLiteral("purchaseId"), receipt.purchaseId());
    map.insert(QStringLiteral("purchaseMetadata"), receipt.purchaseMetadata());
    map.insert(QStringLiteral("startDate"), receipt.startDate());
    map.insert(QStringLiteral("state"), int(receipt.state()));
    return map;
}

} // namespace

// ---------------------------------------------------------------- PaymentReply

void PaymentReplyPrivate::populatePaymentServiceResponse(const PaymentServiceResponse &response)
{
    error = response.error();
    errorCode = response.errorCode();
    errorText = response.errorText();
    errorInfo = response.errorInfo();
}

template <typename Reply, typename Private, typename Fill, typename Send>
Reply *PaymentReplyPrivate::startRequest(const char *completed, QObject *receiver,
                                         const char *signal, const Fill &fill, const Send &send)
{
    auto *reply = new Reply(nullptr);
    auto *d = static_cast<Private *>(static_cast<PaymentReply *>(reply)->d_func());
    fill(d);
    QObject::connect(d, completed, receiver, signal);
    try {
        send(PaymentService::getInstance(), d);
    } catch (...) {
        delete reply;
        throw;
    }
    return reply;
}

void PaymentReplyPrivate::finished()
{
    Q_Q(PaymentReply);
    isFinished = true;
    emit q->finished();
}

PaymentReply::PaymentReply(PaymentReplyPrivate &dd, QObject *parent) : QObject(parent), d_ptr(&dd)
{
    d_ptr->q_ptr = this;
    d_ptr->setParent(this);
}

PaymentReply::~PaymentReply() = default;

bool PaymentReply::isFinished() const
{
    return d_func()->isFinished;
}

bool PaymentReply::isError() const
{
    return d_func()->error;
}

int PaymentReply::errorCode() const
{
    return d_func()->errorCode;
}

QString PaymentReply::errorText() const
{
    return d_func()->errorText;
}

QString PaymentReply::errorInfo() const
{
    return d_func()->errorInfo;
}

DigitalGoodReply::DigitalGoodReply(DigitalGoodReplyPrivate &dd, QObject *parent)
    : PaymentReply(dd, parent)
{
}

DigitalGoodReply::~DigitalGoodReply() = default;

QString DigitalGoodReply::digitalGoodId() const
{
    return d_func()->digitalGoodId;
}

QString DigitalGoodReply::digitalGoodSku() const
{
    return d_func()->digitalGoodSku;
}

// ---------------------------------------------------------------- PurchaseReply

PurchaseReply *PurchaseReplyPrivate::requestPurchase(const QString &digitalGoodId,
                                                     const QString &digitalGoodSku,
                                                     const QString &digitalGoodName,
                                                     const QString &purchaseMetadata,
                                                     const QMap<QString, QVariant> &extraParameters,
                                                     QObject *receiver, const char *signal)
{
    return startRequest<PurchaseReply, PurchaseReplyPrivate>(
        "2purchaseCompleted(om::platform::PurchaseReply*)", receiver, signal,
        [&](PurchaseReplyPrivate *d) {
            d->digitalGoodId = digitalGoodId;
            d->digitalGoodSku = digitalGoodSku;
            d->purchaseMetadata = purchaseMetadata;
            d->extraParameters = extraParameters;
        },
        [&](PaymentService *service, PurchaseReplyPrivate *d) {
            service->requestPurchase(
                digitalGoodId, digitalGoodSku, digitalGoodName, purchaseMetadata, extraParameters,
                d, "1onPurchaseCompleted(const om::platform::PurchaseResponseInfo &)");
        });
}

void PurchaseReplyPrivate::onPurchaseCompleted(const PurchaseResponseInfo &info)
{
    Q_Q(PurchaseReply);
    populatePaymentServiceResponse(info);
    if (info.receipt())
        receipt = *info.receipt();
    finished();
    emit purchaseCompleted(q);
}

PurchaseReply::PurchaseReply(QObject *parent) : DigitalGoodReply(*new PurchaseReplyPrivate, parent)
{
}

PurchaseReply::~PurchaseReply() = default;

QString PurchaseReply::purchaseMetadata() const
{
    return d_func()->purchaseMetadata;
}

PurchaseReceipt PurchaseReply::receipt() const
{
    return d_func()->receipt;
}

QVariantMap PurchaseReply::receiptQML() const
{
    return receiptMap(d_func()->receipt);
}

// ---------------------------------------------------------------- PriceReply

PriceReply *PriceReplyPrivate::requestPrice(const QString &digitalGoodId,
                                            const QString &digitalGoodSku, QObject *receiver,
                                            const char *signal)
{
    return startRequest<PriceReply, PriceReplyPrivate>(
        "2priceCompleted(om::platform::PriceReply*)", receiver, signal,
        [&](PriceReplyPrivate *d) {
            d->digitalGoodId = digitalGoodId;
            d->digitalGoodSku = digitalGoodSku;
        },
        [&](PaymentService *service, PriceReplyPrivate *d) {
            service->requestPrice(digitalGoodId, digitalGoodSku, d,
                                  "1onPriceCompleted(const om::platform::PriceResponseInfo &)");
        });
}

void PriceReplyPrivate::populatePriceResponse(const PriceResponseInfo &response)
{
    price = response.price();
}

void PriceReplyPrivate::onPriceCompleted(const PriceResponseInfo &info)
{
    Q_Q(PriceReply);
    populatePaymentServiceResponse(info);
    populatePriceResponse(info);
    finished();
    emit priceCompleted(q);
}

PriceReply::PriceReply(QObject *parent) : DigitalGoodReply(*new PriceReplyPrivate, parent) {}

PriceReply::PriceReply(PriceReplyPrivate &dd, QObject *parent) : DigitalGoodReply(dd, parent) {}

PriceReply::~PriceReply() = default;

QString PriceReply::price() const
{
    return d_func()->price;
}

// ---------------------------------------------------------------- SubscriptionTermsReply

SubscriptionTermsReply *
SubscriptionTermsReplyPrivate::requestSubscriptionTerms(const QString &digitalGoodId,
                                                        const QString &digitalGoodSku,
                                                        QObject *receiver, const char *signal)
{
    return startRequest<SubscriptionTermsReply, SubscriptionTermsReplyPrivate>(
        "2subscriptionTermsCompleted(om::platform::SubscriptionTermsReply*)", receiver, signal,
        [&](SubscriptionTermsReplyPrivate *d) {
            d->digitalGoodId = digitalGoodId;
            d->digitalGoodSku = digitalGoodSku;
        },
        [&](PaymentService *service, SubscriptionTermsReplyPrivate *d) {
            service->requestSubscriptionTerms(digitalGoodId, digitalGoodSku, d,
                                              "1onSubscriptionTermsCompleted(const "
                                              "om::platform::SubscriptionTermsResponseInfo &)");
        });
}

void SubscriptionTermsReplyPrivate::onSubscriptionTermsCompleted(
    const SubscriptionTermsResponseInfo &info)
{
    Q_Q(SubscriptionTermsReply);
    populatePaymentServiceResponse(info);
    populatePriceResponse(info);
    initialPeriod = info.initialPeriod();
    renewalPeriod = info.renewalPeriod();
    renewalPrice = info.renewalPrice();
    finished();
    emit subscriptionTermsCompleted(q);
}

SubscriptionTermsReply::SubscriptionTermsReply(QObject *parent)
    : PriceReply(*new SubscriptionTermsReplyPrivate, parent)
{
}

SubscriptionTermsReply::~SubscriptionTermsReply() = default;

QString SubscriptionTermsReply::initialPeriod() const
{
    return d_func()->initialPeriod;
}

QString SubscriptionTermsReply::renewalPrice() const
{
    return d_func()->renewalPrice;
}

QString SubscriptionTermsReply::renewalPeriod() const
{
    return d_func()->renewalPeriod;
}

// ---------------------------------------------------------------- SubscriptionStatusReply

SubscriptionStatusReply *
SubscriptionStatusReplyPrivate::requestSubscriptionStatus(const QString &digitalGoodId,
                                                          const QString &digitalGoodSku,
                                                          QObject *receiver, const char *signal)
{
    return startRequest<SubscriptionStatusReply, SubscriptionStatusReplyPrivate>(
        "2subscriptionStatusCompleted(om::platform::SubscriptionStatusReply*)", receiver, signal,
        [&](SubscriptionStatusReplyPrivate *d) {
            d->digitalGoodId = digitalGoodId;
            d->digitalGoodSku = digitalGoodSku;
        },
        [&](PaymentService *service, SubscriptionStatusReplyPrivate *d) {
            service->checkSubscriptionStatus(
                digitalGoodId, digitalGoodSku, d,
                "1onSubscriptionStatusCompleted(const om::platform::CheckStatusResponseInfo &)");
        });
}

void SubscriptionStatusReplyPrivate::onSubscriptionStatusCompleted(
    const CheckStatusResponseInfo &info)
{
    Q_Q(SubscriptionStatusReply);
    populatePaymentServiceResponse(info);
    active = info.active();
    finished();
    emit subscriptionStatusCompleted(q);
}

SubscriptionStatusReply::SubscriptionStatusReply(QObject *parent)
    : DigitalGoodReply(*new SubscriptionStatusReplyPrivate, parent)
{
}

SubscriptionStatusReply::~SubscriptionStatusReply() = default;

bool SubscriptionStatusReply::isActive() const
{
    return d_func()->active;
}

// ---------------------------------------------------------------- ExistingPurchasesReply

ExistingPurchasesReply *
ExistingPurchasesReplyPrivate::requestExistingPurchases(bool forceServerRefresh, QObject *receiver,
                                                        const char *signal)
{
    // forceServerRefresh goes to the service and is not kept on the reply.
    return startRequest<ExistingPurchasesReply, ExistingPurchasesReplyPrivate>(
        "2existingPurchasesCompleted(om::platform::ExistingPurchasesReply*)", receiver, signal,
        [](ExistingPurchasesReplyPrivate *) {},
        [&](PaymentService *service, ExistingPurchasesReplyPrivate *d) {
            service->requestExistingPurchases(forceServerRefresh, d,
                                              "1onExistingPurchasesCompleted(const "
                                              "om::platform::ExistingPurchasesResponseInfo &)");
        });
}

void ExistingPurchasesReplyPrivate::onExistingPurchasesCompleted(
    const ExistingPurchasesResponseInfo &info)
{
    Q_Q(ExistingPurchasesReply);
    populatePaymentServiceResponse(info);
    purchases = info.purchases();
    finished();
    emit existingPurchasesCompleted(q);
}

ExistingPurchasesReply::ExistingPurchasesReply(QObject *parent)
    : PaymentReply(*new ExistingPurchasesReplyPrivate, parent)
{
}

ExistingPurchasesReply::~ExistingPurchasesReply() = default;

QList<PurchaseReceipt> ExistingPurchasesReply::purchases() const
{
    return d_func()->purchases;
}

QVariantList ExistingPurchasesReply::purchaseQML() const
{
    QVariantList list;
    for (const PurchaseReceipt &receipt : d_func()->purchases)
        list.append(QVariant(receiptMap(receipt)));
    return list;
}

// ---------------------------------------------------------------- CancelSubscriptionReply

CancelSubscriptionReply *
CancelSubscriptionReplyPrivate::requestCancelSubscription(const QString &purchaseId,
                                                          QObject *receiver, const char *signal)
{
    return startRequest<CancelSubscriptionReply, CancelSubscriptionReplyPrivate>(
        "2cancelSubscriptionCompleted(om::platform::CancelSubscriptionReply*)", receiver, signal,
        [&](CancelSubscriptionReplyPrivate *d) { d->purchaseId = purchaseId; },
        [&](PaymentService *service, CancelSubscriptionReplyPrivate *d) {
            service->cancelSubscription(purchaseId, d,
                                        "1onCancelSubscriptionCompleted(const "
                                        "om::platform::CancelSubscriptionResponseInfo &)");
        });
}

void CancelSubscriptionReplyPrivate::onCancelSubscriptionCompleted(
    const CancelSubscriptionResponseInfo &info)
{
    Q_Q(CancelSubscriptionReply);
    populatePaymentServiceResponse(info);
    canceled = info.canceled();
    finished();
    emit cancelSubscriptionCompleted(q);
}

CancelSubscriptionReply::CancelSubscriptionReply(QObject *parent)
    : PaymentReply(*new CancelSubscriptionReplyPrivate, parent)
{
}

CancelSubscriptionReply::~CancelSubscriptionReply() = default;

bool CancelSubscriptionReply::isCanceled() const
{
    return d_func()->canceled;
}

QString CancelSubscriptionReply::purchaseId() const
{
    return d_func()->purchaseId;
}

} // namespace platform
} // namespace om
