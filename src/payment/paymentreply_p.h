#ifndef OM_PLATFORM_PAYMENTREPLY_P_H
#define OM_PLATFORM_PAYMENTREPLY_P_H

#include "payment/paymentserviceresponse_p.h"

#include <om/platform/cancelsubscriptionreply.h>
#include <om/platform/existingpurchasesreply.h>
#include <om/platform/pricereply.h>
#include <om/platform/purchasereply.h>
#include <om/platform/subscriptionstatusreply.h>
#include <om/platform/subscriptiontermsreply.h>

#include <QObject>

namespace om {
namespace platform {

// The private objects of the replies, children of their replies. Each leaf
// starts its kind of request (a static function), receives the response
// value in its slot, fills the reply and announces it.

class PaymentReplyPrivate : public QObject
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(PaymentReply)

public:
    /** The common start of a request of every kind: the reply made without
     *  a parent, @p fill storing the caller's arguments in its private
     *  object, whose @p completed signal reaches @p receiver's @p signal,
     *  and @p send calling the dispatcher. If that throws, the reply goes
     *  and the exception passes on. */
    template <typename Reply, typename Private, typename Fill, typename Send>
    static Reply *startRequest(const char *completed, QObject *receiver, const char *signal,
                               const Fill &fill, const Send &send);

    void populatePaymentServiceResponse(const PaymentServiceResponse &response);
    /** Marks the reply finished and emits its finished(). */
    void finished();

    PaymentReply *q_ptr = nullptr;
    bool error = false;
    int errorCode = 0;
    QString errorInfo;
    QString errorText;
    bool isFinished = false;
};

class DigitalGoodReplyPrivate : public PaymentReplyPrivate
{
    Q_OBJECT

public:
    QString digitalGoodId;
    QString digitalGoodSku;
};

class PurchaseReplyPrivate : public DigitalGoodReplyPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(PurchaseReply)

public:
    static PurchaseReply *requestPurchase(const QString &digitalGoodId,
                                          const QString &digitalGoodSku,
                                          const QString &digitalGoodName,
                                          const QString &purchaseMetadata,
                                          const QMap<QString, QVariant> &extraParameters,
                                          QObject *receiver, const char *signal);

    PurchaseReceipt receipt;
    QString purchaseMetadata;
    QMap<QString, QVariant> extraParameters;

public Q_SLOTS:
    void onPurchaseCompleted(const om::platform::PurchaseResponseInfo &info);

Q_SIGNALS:
    void purchaseCompleted(om::platform::PurchaseReply *reply);
};

class PriceReplyPrivate : public DigitalGoodReplyPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(PriceReply)

public:
    static PriceReply *requestPrice(const QString &digitalGoodId, const QString &digitalGoodSku,
                                    QObject *receiver, const char *signal);
    void populatePriceResponse(const PriceResponseInfo &response);

    QString price;

public Q_SLOTS:
    void onPriceCompleted(const om::platform::PriceResponseInfo &info);

Q_SIGNALS:
    void priceCompleted(om::platform::PriceReply *reply);
};

class SubscriptionTermsReplyPrivate : public PriceReplyPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(SubscriptionTermsReply)

public:
    static SubscriptionTermsReply *requestSubscriptionTerms(const QString &digitalGoodId,
                                                            const QString &digitalGoodSku,
                                                            QObject *receiver, const char *signal);

    QString initialPeriod;
    QString renewalPeriod;
    QString renewalPrice;

public Q_SLOTS:
    void onSubscriptionTermsCompleted(const om::platform::SubscriptionTermsResponseInfo &info);

Q_SIGNALS:
    void subscriptionTermsCompleted(om::platform::SubscriptionTermsReply *reply);
};

class SubscriptionStatusReplyPrivate : public DigitalGoodReplyPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(SubscriptionStatusReply)

public:
    static SubscriptionStatusReply *requestSubscriptionStatus(const QString &digitalGoodId,
                                                              const QString &digitalGoodSku,
                                                              QObject *receiver,
                                                              const char *signal);

    bool active = false;

public Q_SLOTS:
    void onSubscriptionStatusCompleted(const om::platform::CheckStatusResponseInfo &info);

Q_SIGNALS:
    void subscriptionStatusCompleted(om::platform::SubscriptionStatusReply *reply);
};

class ExistingPurchasesReplyPrivate : public PaymentReplyPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(ExistingPurchasesReply)

public:
    static ExistingPurchasesReply *requestExistingPurchases(bool forceServerRefresh,
                                                            QObject *receiver, const char *signal);

    QList<PurchaseReceipt> purchases;

public Q_SLOTS:
    void onExistingPurchasesCompleted(const om::platform::ExistingPurchasesResponseInfo &info);

Q_SIGNALS:
    void existingPurchasesCompleted(om::platform::ExistingPurchasesReply *reply);
};

class CancelSubscriptionReplyPrivate : public PaymentReplyPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(CancelSubscriptionReply)

public:
    static CancelSubscriptionReply *
    requestCancelSubscription(const QString &purchaseId, QObject *receiver, const char *signal);

    QString purchaseId;
    bool canceled = false;

public Q_SLOTS:
    void onCancelSubscriptionCompleted(const om::platform::CancelSubscriptionResponseInfo &info);

Q_SIGNALS:
    void cancelSubscriptionCompleted(om::platform::CancelSubscriptionReply *reply);
};

} // namespace platform
} // namespace om

#endif
