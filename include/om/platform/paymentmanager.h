#ifndef OM_PLATFORM_PAYMENTMANAGER_H
#define OM_PLATFORM_PAYMENTMANAGER_H

#include <om/platform/cancelsubscriptionreply.h>
#include <om/platform/existingpurchasesreply.h>
#include <om/platform/omplatform_export.h>
#include <om/platform/paymentconnectionmode.h>
#include <om/platform/pricereply.h>
#include <om/platform/purchasereply.h>
#include <om/platform/subscriptionstatusreply.h>
#include <om/platform/subscriptiontermsreply.h>

#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>

namespace om {
namespace platform {

class PaymentManagerPrivate;

/**
 * Buys digital goods and asks the device's payment service about prices,
 * subscriptions and what the application already owns.
 *
 * Each request returns at once with a reply that this manager owns and
 * that is not finished yet; the reply's finished() and then this manager's
 * signal of the kind follow in a later turn of the event loop. If the
 * request cannot even be sent (the payment service cannot be reached, the
 * request is too large), the method logs a warning and returns null.
 *
 * All managers of an application share one connection to the service;
 * each sends its own window group id, application name and icon with its
 * requests. When the payment service goes away, outstanding replies never
 * finish, and neither do later ones: the connection is not made again by
 * itself. Once the service is back, setting the connection mode to the
 * other store and back opens a new connection (see docs/payments.md).
 */
class OMPLATFORM_EXPORT PaymentManager : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PaymentManager)
    Q_PROPERTY(QString windowGroupId READ windowGroupId WRITE setWindowGroupId FINAL)
    Q_PROPERTY(QString applicationName READ applicationName WRITE setApplicationName FINAL)
    Q_PROPERTY(QUrl applicationIconUrl READ applicationIconUrl WRITE setApplicationIconUrl FINAL)

public:
    /** The id of a subscription to the application itself, for callers. */
    static const QString APP_SUBSCRIPTION;

    /** Makes the manager; nothing is opened until the first request. */
    explicit PaymentManager(QObject *parent = nullptr);
    ~PaymentManager() override;

    QString windowGroupId() const;
    void setWindowGroupId(const QString &windowGroupId);
    QString applicationName() const;
    void setApplicationName(const QString &applicationName);
    QUrl applicationIconUrl() const;
    void setApplicationIconUrl(const QUrl &applicationIconUrl);

    Q_INVOKABLE om::platform::PurchaseReply *
    requestPurchase(const QString &digitalGoodId, const QString &digitalGoodSku = QString(),
                    const QString &digitalGoodName = QString(),
                    const QString &purchaseMetadata = QString(),
                    const QVariantMap &extraParameters = QVariantMap());
    Q_INVOKABLE om::platform::ExistingPurchasesReply *
    requestExistingPurchases(bool forceServerRefresh = true);
    Q_INVOKABLE om::platform::PriceReply *requestPrice(const QString &digitalGoodId,
                                                       const QString &digitalGoodSku = QString());
    Q_INVOKABLE om::platform::SubscriptionTermsReply *
    requestSubscriptionTerms(const QString &digitalGoodId,
                             const QString &digitalGoodSku = QString());
    Q_INVOKABLE om::platform::SubscriptionStatusReply *
    requestSubscriptionStatus(const QString &digitalGoodId,
                              const QString &digitalGoodSku = QString());
    Q_INVOKABLE om::platform::CancelSubscriptionReply *
    requestCancelSubscription(const QString &purchaseId);

    /**
     * Chooses the store for the whole process, for all managers: Test keeps
     * purchases apart from Production, the default. Requests that are still
     * outstanding are not answered after a change.
     */
    static void setConnectionMode(om::platform::PaymentConnectionMode::Type mode);

Q_SIGNALS:
    void purchaseFinished(om::platform::PurchaseReply *reply);
    void existingPurchasesFinished(om::platform::ExistingPurchasesReply *reply);
    void priceFinished(om::platform::PriceReply *reply);
    void subscriptionTermsFinished(om::platform::SubscriptionTermsReply *reply);
    void subscriptionStatusFinished(om::platform::SubscriptionStatusReply *reply);
    void cancelSubscriptionFinished(om::platform::CancelSubscriptionReply *reply);

protected:
    /** For script code: 0 (Test) or 1 (Production); other values are ignored. */
    Q_INVOKABLE void setConnectionMode(int connectionMode);

private:
    Q_DECLARE_PRIVATE(PaymentManager)
    PaymentManagerPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
