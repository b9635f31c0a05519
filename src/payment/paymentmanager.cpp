#include "payment/paymentmanager_p.h"

#include "payment/paymentreply_p.h"

#include <om/platform/paymentservice.h>

#include <QDebug>
#include <QMutex>
#include <QMutexLocker>

#include <exception>

namespace om {
namespace platform {

const QString PaymentManager::APP_SUBSCRIPTION = QStringLiteral("-1");

namespace {

// Serialises the start of every request of every manager, so that the
// identity a manager pushes into the dispatcher is the one its request
// carries. Taken before the dispatcher's own locks.
QMutex s_paymentServicesMutex;

void setPaymentServiceSingleton(const PaymentManagerPrivate *d)
{
    PaymentService::getInstance()->setWindowGroupId(d->windowGroupId);
    PaymentService::getInstance()->setApplicationName(d->applicationName);
    PaymentService::getInstance()->setApplicationIconUrl(d->applicationIconUrl);
}

// One request of a manager: under the lock, the manager's identity into
// the dispatcher, the request, the reply under the manager. A failure is
// a warning and a null reply.
template <typename Reply, typename Start>
Reply *startRequest(PaymentManager *manager, const PaymentManagerPrivate *d, const char *failure,
                    const Start &start)
{
    QMutexLocker lock(&s_paymentServicesMutex);
    try {
        setPaymentServiceSingleton(d);
        Reply *reply = start();
        reply->setParent(manager);
        return reply;
    } catch (const std::exception &e) {
        qWarning() << failure << e.what();
        return nullptr;
    }
}

} // namespace

// The manager's signals are named by their normalised signatures, written
// out: connect() then finds them without normalising them first.

PaymentManager::PaymentManager(QObject *parent) : QObject(parent), d_ptr(new PaymentManagerPrivate)
{
}

PaymentManager::~PaymentManager()
{
    delete d_ptr;
}

QString PaymentManager::windowGroupId() const
{
    return d_func()->windowGroupId;
}

void PaymentManager::setWindowGroupId(const QString &windowGroupId)
{
    d_func()->windowGroupId = windowGroupId;
}

QString PaymentManager::applicationName() const
{
    return d_func()->applicationName;
}

void PaymentManager::setApplicationName(const QString &applicationName)
{
    d_func()->applicationName = applicationName;
}

QUrl PaymentManager::applicationIconUrl() const
{
    return d_func()->applicationIconUrl;
}

void PaymentManager::setApplicationIconUrl(const QUrl &applicationIconUrl)
{
    d_func()->applicationIconUrl = applicationIconUrl;
}

PurchaseReply *PaymentManager::requestPurchase(const QString &digitalGoodId,
                                               const QString &digitalGoodSku,
                                               const QString &digitalGoodName,
                                               const QString &purchaseMetadata,
                                               const QVariantMap &extraParameters)
{
    return startRequest<PurchaseReply>(
        this, d_func(), "PaymentManager requestPurchase failed:", [&]() {
            return PurchaseReplyPrivate::requestPurchase(
                digitalGoodId, digitalGoodSku, digitalGoodName, purchaseMetadata, extraParameters,
                this, "2purchaseFinished(om::platform::PurchaseReply*)");
        });
}

ExistingPurchasesReply *PaymentManager::requestExistingPurchases(bool forceServerRefresh)
{
    return startRequest<ExistingPurchasesReply>(
        this, d_func(), "PaymentManager requestExistingPurchases failed:", [&]() {
            return ExistingPurchasesReplyPrivate::requestExistingPurchases(
                forceServerRefresh, this,
                "2existingPurchasesFinished(om::platform::ExistingPurchasesReply*)");
        });
}

PriceReply *PaymentManager::requestPrice(const QString &digitalGoodId,
                                         const QString &digitalGoodSku)
{
    return startRequest<PriceReply>(this, d_func(), "PaymentManager requestPrice failed:", [&]() {
        return PriceReplyPrivate::requestPrice(digitalGoodId, digitalGoodSku, this,
                                               "2priceFinished(om::platform::PriceReply*)");
    });
}

SubscriptionTermsReply *PaymentManager::requestSubscriptionTerms(const QString &digitalGoodId,
                                                                 const QString &digitalGoodSku)
{
    return startRequest<SubscriptionTermsReply>(
        this, d_func(), "PaymentManager requestSubscriptionTerms failed:", [&]() {
            return SubscriptionTermsReplyPrivate::requestSubscriptionTerms(
                digitalGoodId, digitalGoodSku, this,
                "2subscriptionTermsFinished(om::platform::SubscriptionTermsReply*)");
        });
}

SubscriptionStatusReply *PaymentManager::requestSubscriptionStatus(const QString &digitalGoodId,
                                                                   const QString &digitalGoodSku)
{
    return startRequest<SubscriptionStatusReply>(
        this, d_func(), "PaymentManager requestSubscriptionStatus failed:", [&]() {
            return SubscriptionStatusReplyPrivate::requestSubscriptionStatus(
                digitalGoodId, digitalGoodSku, this,
                "2subscriptionStatusFinished(om::platform::SubscriptionStatusReply*)");
        });
}

CancelSubscriptionReply *PaymentManager::requestCancelSubscription(const QString &purchaseId)
{
    return startRequest<CancelSubscriptionReply>(
        this, d_func(), "PaymentManager requestCancelSubscription failed:", [&]() {
            return CancelSubscriptionReplyPrivate::requestCancelSubscription(
                purchaseId, this,
                "2cancelSubscriptionFinished(om::platform::CancelSubscriptionReply*)");
        });
}

void PaymentManager::setConnectionMode(PaymentConnectionMode::Type mode)
{
    // A matter of the process, not of a manager: no manager's lock.
    try {
        PaymentService::getInstance()->setConnectionMode(mode);
    } catch (const std::exception &e) {
        qWarning() << "PaymentManager setConnectionMode failed:" << e.what();
    }
}

void PaymentManager::setConnectionMode(int connectionMode)
{
    if (connectionMode == PaymentConnectionMode::Test ||
        connectionMode == PaymentConnectionMode::Production)
        setConnectionMode(PaymentConnectionMode::Type(connectionMode));
}

} // namespace platform
} // namespace om
