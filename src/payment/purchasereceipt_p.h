#ifndef OM_PLATFORM_PURCHASERECEIPT_P_H
#define OM_PLATFORM_PURCHASERECEIPT_P_H

#include <om/platform/purchasereceipt.h>

#include <QSharedPointer>

namespace om {
namespace platform {

/** The fields of a receipt; the wire layer fills them through the setters. */
class PurchaseReceiptPrivate
{
public:
    explicit PurchaseReceiptPrivate(PurchaseReceipt *owner);
    virtual ~PurchaseReceiptPrivate();

    /** Copies what an assignment of receipts copies: the dates and the
     *  initial period only from a subscription state. */
    PurchaseReceiptPrivate &operator=(const PurchaseReceiptPrivate &other);

    static QSharedPointer<PurchaseReceipt> newValidPurchaseReceipt();
    static PurchaseReceiptPrivate *
    purchaseReceiptPrivateFromPurchaseReceipt(PurchaseReceipt &receipt);

    DigitalGoodState::Type getState() const { return state; }
    void setState(DigitalGoodState::Type value) { state = value; }
    QDateTime getDate() const { return date; }
    void setDate(const QDateTime &value) { date = value; }
    QString getDigitalGoodId() const { return digitalGoodId; }
    void setDigitalGoodId(const QString &value) { digitalGoodId = value; }
    QString getDigitalGoodSku() const { return digitalGoodSku; }
    void setDigitalGoodSku(const QString &value) { digitalGoodSku = value; }
    QString getLicenseKey() const { return licenseKey; }
    void setLicenseKey(const QString &value) { licenseKey = value; }
    QString getMetadata() const { return metadata; }
    void setMetadata(const QString &value) { metadata = value; }
    QMap<QString, QVariant> getExtraParams() const { return extraParams; }
    void setExtraParams(const QMap<QString, QVariant> &value);
    QString getPurchaseId() const { return purchaseId; }
    void setPurchaseId(const QString &value) { purchaseId = value; }
    QDateTime getStartDate() const { return startDate; }
    void setStartDate(const QDateTime &value) { startDate = value; }
    QDateTime getEndDate() const { return endDate; }
    void setEndDate(const QDateTime &value) { endDate = value; }
    int getInitialPeriod() const { return initialPeriod; }
    void setInitialPeriod(int value) { initialPeriod = value; }
    bool isValid() const { return valid; }

    PurchaseReceipt *q_ptr;
    DigitalGoodState::Type state = DigitalGoodState::Unknown;
    QDateTime date;
    QString digitalGoodId;
    QString digitalGoodSku;
    QString licenseKey;
    QString metadata;
    QMap<QString, QVariant> extraParams;
    QString purchaseId;
    QDateTime startDate;
    QDateTime endDate;
    int initialPeriod = -1;
    bool valid = false;

private:
    PurchaseReceiptPrivate(const PurchaseReceiptPrivate &) = delete;
};

} // namespace platform
} // namespace om

#endif
