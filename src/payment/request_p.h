#ifndef OM_PLATFORM_REQUEST_P_H
#define OM_PLATFORM_REQUEST_P_H

#include "payment/paymentserviceresponse_p.h"

#include <om/platform/ommock/paymentserviceinterface.h>

#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

namespace om {
namespace platform {

/**
 * One request to the payment service, from the moment it is sent until its
 * answer has been turned into a response value. Each kind knows its wire
 * operation and how to build its value; the dispatcher knows nothing of
 * kinds.
 */
class Request : public QObject
{
    Q_OBJECT

public:
    Request();
    Request(QString digitalGoodId, QString digitalGoodSku);

    /** Writes the request with its id through the wire layer. */
    virtual void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                                    QString windowGroupId) = 0;
    /** Builds the value of a successful answer and emits it. */
    virtual void successResponse(QSharedPointer<ommock::ResponseInfo> info) = 0;
    /** Builds the error form of the value and emits it. */
    virtual void errorResponse(int errorCode, QString errorText, QString errorInfo) = 0;

    unsigned int id = 0;
    QString digitalGoodId;
    QString digitalGoodSku;
};

class PurchaseRequest : public Request
{
    Q_OBJECT

public:
    PurchaseRequest(QString digitalGoodId, QString digitalGoodSku, QString digitalGoodName,
                    QString purchaseMetadata, QMap<QString, QVariant> extraParameters);

    void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                            QString windowGroupId) override;
    void successResponse(QSharedPointer<ommock::ResponseInfo> info) override;
    void errorResponse(int errorCode, QString errorText, QString errorInfo) override;

    QString digitalGoodName;
    QString purchaseMetadata;
    QMap<QString, QVariant> extraParameters;

Q_SIGNALS:
    void purchaseResponse(om::platform::PurchaseResponseInfo info);
};

class ExistingPurchasesRequest : public Request
{
    Q_OBJECT

public:
    explicit ExistingPurchasesRequest(bool allowRefresh);

    void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                            QString windowGroupId) override;
    void successResponse(QSharedPointer<ommock::ResponseInfo> info) override;
    void errorResponse(int errorCode, QString errorText, QString errorInfo) override;

    bool allowRefresh;

Q_SIGNALS:
    void existingPurchasesResponse(om::platform::ExistingPurchasesResponseInfo info);
};

class PriceRequest : public Request
{
    Q_OBJECT

public:
    PriceRequest(QString digitalGoodId, QString digitalGoodSku);

    void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                            QString windowGroupId) override;
    void successResponse(QSharedPointer<ommock::ResponseInfo> info) override;
    void errorResponse(int errorCode, QString errorText, QString errorInfo) override;

Q_SIGNALS:
    void priceResponse(om::platform::PriceResponseInfo info);
};

/** The price message too: it takes the terms from the same answer. */
class SubscriptionTermsRequest : public Request
{
    Q_OBJECT

public:
    SubscriptionTermsRequest(QString digitalGoodId, QString digitalGoodSku);

    void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                            QString windowGroupId) override;
    void successResponse(QSharedPointer<ommock::ResponseInfo> info) override;
    void errorResponse(int errorCode, QString errorText, QString errorInfo) override;

Q_SIGNALS:
    void subscriptionTermsResponse(om::platform::SubscriptionTermsResponseInfo info);
};

class CheckStatusRequest : public Request
{
    Q_OBJECT

public:
    CheckStatusRequest(QString digitalGoodId, QString digitalGoodSku);

    void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                            QString windowGroupId) override;
    void successResponse(QSharedPointer<ommock::ResponseInfo> info) override;
    void errorResponse(int errorCode, QString errorText, QString errorInfo) override;

Q_SIGNALS:
    void checkStatusResponse(om::platform::CheckStatusResponseInfo info);
};

class CancelSubscriptionRequest : public Request
{
    Q_OBJECT

public:
    explicit CancelSubscriptionRequest(QString purchaseId);

    void performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                            QString windowGroupId) override;
    void successResponse(QSharedPointer<ommock::ResponseInfo> info) override;
    void errorResponse(int errorCode, QString errorText, QString errorInfo) override;

    QString purchaseId;

Q_SIGNALS:
    void cancelSubscriptionResponse(om::platform::CancelSubscriptionResponseInfo info);
};

} // namespace platform
} // namespace om

#endif
