#ifndef OM_PLATFORM_PAYMENTSERVICERESPONSE_P_H
#define OM_PLATFORM_PAYMENTSERVICERESPONSE_P_H

#include <om/platform/cancelsubscriptionresponseinfo.h>
#include <om/platform/checkstatusresponseinfo.h>
#include <om/platform/existingpurchasesresponseinfo.h>
#include <om/platform/purchaseresponseinfo.h>
#include <om/platform/subscriptiontermsresponseinfo.h>

#include <QSharedData>

namespace om {
namespace platform {

// The records of the response values, in the tree of the values. A value
// allocates the record of its own class; the setters are used only on a
// value just built, while its record is not shared, because detaching would
// copy the base fields alone.

class PaymentServiceResponsePrivate : public QSharedData
{
public:
    virtual ~PaymentServiceResponsePrivate() = default;

    bool getError() const { return error; }
    void setError() { error = true; }
    int getErrorCode() const { return errorCode; }
    void setErrorCode(int value) { errorCode = value; }
    QString getErrorText() const { return errorText; }
    void setErrorText(const QString &value) { errorText = value; }
    QString getErrorInfo() const { return errorInfo; }
    void setErrorInfo(const QString &value) { errorInfo = value; }

    bool error = false;
    int errorCode = 0;
    QString errorText;
    QString errorInfo;
};

class DigitalGoodResponsePrivate : public PaymentServiceResponsePrivate
{
public:
    QString getDigitalGoodId() const { return digitalGoodId; }
    void setDigitalGoodId(const QString &value) { digitalGoodId = value; }
    QString getDigitalGoodSku() const { return digitalGoodSku; }
    void setDigitalGoodSku(const QString &value) { digitalGoodSku = value; }

    QString digitalGoodId;
    QString digitalGoodSku;
};

class PurchaseResponseInfoPrivate : public DigitalGoodResponsePrivate
{
public:
    static PurchaseResponseInfoPrivate *get(PurchaseResponseInfo &value) { return value.d_func(); }

    QSharedPointer<PurchaseReceipt> getReceipt() const { return receipt; }
    void setReceipt(const QSharedPointer<PurchaseReceipt> &value) { receipt = value; }
    QString getPurchaseMetadata() const { return purchaseMetadata; }
    void setPurchaseMetadata(const QString &value) { purchaseMetadata = value; }

    QSharedPointer<PurchaseReceipt> receipt;
    QString purchaseMetadata;
};

class PriceResponseInfoPrivate : public DigitalGoodResponsePrivate
{
public:
    static PriceResponseInfoPrivate *get(PriceResponseInfo &value) { return value.d_func(); }

    QString getPrice() const { return price; }
    void setPrice(const QString &value) { price = value; }

    QString price;
};

class SubscriptionTermsResponseInfoPrivate : public PriceResponseInfoPrivate
{
public:
    static SubscriptionTermsResponseInfoPrivate *get(SubscriptionTermsResponseInfo &value)
    {
        return value.d_func();
    }

    QString getInitialPeriod() const { return initialPeriod; }
    void setInitialPeriod(const QString &value) { initialPeriod = value; }
    QString getRenewalPrice() const { return renewalPrice; }
    void setRenewalPrice(const QString &value) { renewalPrice = value; }
    QString getRenewalPeriod() const { return renewalPeriod; }
    void setRenewalPeriod(const QString &value) { renewalPeriod = value; }

    QString initialPeriod;
    QString renewalPrice;
    QString renewalPeriod;
};

class CheckStatusResponseInfoPrivate : public DigitalGoodResponsePrivate
{
public:
    static CheckStatusResponseInfoPrivate *get(CheckStatusResponseInfo &value)
    {
        return value.d_func();
    }

    bool getActive() const { return active; }
    void setActive(bool value) { active = value; }

    bool active = false;
};

class ExistingPurchasesResponseInfoPrivate : public PaymentServiceResponsePrivate
{
public:
    static ExistingPurchasesResponseInfoPrivate *get(ExistingPurchasesResponseInfo &value)
    {
        return value.d_func();
    }

    QList<PurchaseReceipt> getPurchases() const { return purchases; }
    void setPurchases(const QList<PurchaseReceipt> &value) { purchases = value; }

    QList<PurchaseReceipt> purchases;
};

class CancelSubscriptionResponseInfoPrivate : public PaymentServiceResponsePrivate
{
public:
    static CancelSubscriptionResponseInfoPrivate *get(CancelSubscriptionResponseInfo &value)
    {
        return value.d_func();
    }

    QString getPurchaseId() const { return purchaseId; }
    void setPurchaseId(const QString &value) { purchaseId = value; }
    bool getCancelled() const { return cancelled; }
    void setCancelled(bool value) { cancelled = value; }

    QString purchaseId;
    bool cancelled = false;
};

} // namespace platform
} // namespace om

#endif
