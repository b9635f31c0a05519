#ifndef OM_PLATFORM_PAYMENTSERVICE_H
#define OM_PLATFORM_PAYMENTSERVICE_H

#include <om/platform/omplatform_export.h>
#include <om/platform/paymentconnectionmode.h>

#include <QMap>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariant>

namespace om {
namespace platform {

/**
 * The process-wide dispatcher of payment requests, under PaymentManager:
 * it numbers each request, sends it to the payment service and, when the
 * answer comes, hands the response value to the receiver's slot.
 *
 * Answers are delivered through the event loop of the dispatcher's thread,
 * never from inside the call that sent the request. The request operations
 * and setConnectionMode() throw std::runtime_error when the service cannot
 * be reached or a request cannot be written; PaymentManager catches them.
 */
class OMPLATFORM_EXPORT PaymentService : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PaymentService)

public:
    /**
     * The dispatcher, created at the first call, which opens the payment
     * service's control object. Throws if that fails; the next call tries
     * again. It is never deleted.
     */
    static PaymentService *getInstance();

    virtual void setWindowGroupId(QString windowGroupId) = 0;
    virtual void setApplicationName(QString applicationName) = 0;
    virtual QString applicationName() const = 0;
    virtual void setApplicationIconUrl(QUrl applicationIconUrl) = 0;
    virtual QUrl applicationIconUrl() const = 0;

    // Each request connects its response to @p receiver's @p slot (a
    // normalised signature, as SLOT() gives it) and sends it.
    virtual void requestPurchase(QString digitalGoodId, QObject *receiver, const char *slot) = 0;
    virtual void requestPurchase(QString digitalGoodId, QString digitalGoodSku, QObject *receiver,
                                 const char *slot) = 0;
    virtual void requestPurchase(QString digitalGoodId, QString digitalGoodSku,
                                 QString digitalGoodName, QObject *receiver, const char *slot) = 0;
    virtual void requestPurchase(QString digitalGoodId, QString digitalGoodSku,
                                 QString digitalGoodName, QString purchaseMetadata,
                                 QMap<QString, QVariant> extraParameters, QObject *receiver,
                                 const char *slot) = 0;
    virtual void requestExistingPurchases(bool allowRefresh, QObject *receiver,
                                          const char *slot) = 0;
    virtual void requestPrice(QString digitalGoodId, QObject *receiver, const char *slot) = 0;
    virtual void requestPrice(QString digitalGoodId, QString digitalGoodSku, QObject *receiver,
                              const char *slot) = 0;
    virtual void requestSubscriptionTerms(QString digitalGoodId, QObject *receiver,
                                          const char *slot) = 0;
    virtual void requestSubscriptionTerms(QString digitalGoodId, QString digitalGoodSku,
                                          QObject *receiver, const char *slot) = 0;
    virtual void checkSubscriptionStatus(QString digitalGoodId, QObject *receiver,
                                         const char *slot) = 0;
    virtual void checkSubscriptionStatus(QString digitalGoodId, QString digitalGoodSku,
                                         QObject *receiver, const char *slot) = 0;
    virtual void cancelSubscription(QString purchaseId, QObject *receiver, const char *slot) = 0;

    /**
     * Reopens the control object for @p mode unless it is the mode in force.
     * Requests still outstanding stay unanswered.
     */
    virtual void setConnectionMode(om::platform::PaymentConnectionMode::Type mode) = 0;

protected:
    explicit PaymentService(QObject *parent = nullptr);
};

} // namespace platform
} // namespace om

#endif
