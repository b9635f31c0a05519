#ifndef OM_PLATFORM_PAYMENTSERVICEIMPL_P_H
#define OM_PLATFORM_PAYMENTSERVICEIMPL_P_H

#include <om/platform/ommock/paymentserviceinterface.h>
#include <om/platform/paymentservice.h>

#include <QMap>
#include <QSharedPointer>

namespace om {
namespace platform {

class Request;

/** The dispatcher: the one PaymentService of the process. */
class PaymentServiceImpl : public PaymentService
{
    Q_OBJECT

public:
    PaymentServiceImpl();
    ~PaymentServiceImpl() override;

    void setWindowGroupId(QString windowGroupId) override;
    void setApplicationName(QString applicationName) override;
    QString applicationName() const override;
    void setApplicationIconUrl(QUrl applicationIconUrl) override;
    QUrl applicationIconUrl() const override;

    void requestPurchase(QString digitalGoodId, QObject *receiver, const char *slot) override;
    void requestPurchase(QString digitalGoodId, QString digitalGoodSku, QObject *receiver,
                         const char *slot) override;
    void requestPurchase(QString digitalGoodId, QString digitalGoodSku, QString digitalGoodName,
                         QObject *receiver, const char *slot) override;
    void requestPurchase(QString digitalGoodId, QString digitalGoodSku, QString digitalGoodName,
                         QString purchaseMetadata, QMap<QString, QVariant> extraParameters,
                         QObject *receiver, const char *slot) override;
    void requestExistingPurchases(bool allowRefresh, QObject *receiver, const char *slot) override;
    void requestPrice(QString digitalGoodId, QObject *receiver, const char *slot) override;
    void requestPrice(QString digitalGoodId, QString digitalGoodSku, QObject *receiver,
                      const char *slot) override;
    void requestSubscriptionTerms(QString digitalGoodId, QObject *receiver,
                                  const char *slot) override;
    void requestSubscriptionTerms(QString digitalGoodId, QString digitalGoodSku, QObject *receiver,
                                  const char *slot) override;
    void checkSubscriptionStatus(QString digitalGoodId, QObject *receiver,
                                 const char *slot) override;
    void checkSubscriptionStatus(QString digitalGoodId, QString digitalGoodSku, QObject *receiver,
                                 const char *slot) override;
    void cancelSubscription(QString purchaseId, QObject *receiver, const char *slot) override;
    void setConnectionMode(PaymentConnectionMode::Type mode) override;

    static void registerMetatypes();
    void performRequest(QSharedPointer<Request> request);

protected Q_SLOTS:
    void onDataReady();

private:
    void connectInterface();

    // One request: made, its response (the request's @p signal, named by
    // its normalised signature) connected to @p receiver's @p slot, sent.
    template <typename Kind, typename... Arguments>
    void send(const char *signal, QObject *receiver, const char *slot,
              const Arguments &...arguments)
    {
        QSharedPointer<Kind> request(new Kind(arguments...));
        connect(request.data(), signal, receiver, slot);
        performRequest(request);
    }

    ommock::PaymentServiceInterface *_psInterface;
    PaymentConnectionMode::Type connectionMode;
    QString m_applicationName;
    QUrl m_applicationIconUrl;
    QMap<unsigned int, QSharedPointer<Request>> requests;
    QString windowGroupId;
};

} // namespace platform
} // namespace om

#endif
