#ifndef OM_PLATFORM_PURCHASERECEIPT_H
#define OM_PLATFORM_PURCHASERECEIPT_H

#include <om/platform/digitalgoodstate.h>
#include <om/platform/omplatform_export.h>

#include <QDateTime>
#include <QMap>
#include <QString>
#include <QVariant>

namespace om {
namespace platform {

class PurchaseReceiptPrivate;

/**
 * The receipt of one purchase, as the payment service gives it. A value:
 * each copy owns its data.
 *
 * Copying and assigning differ on purpose: a copy takes every field, while
 * an assignment from a receipt whose state is Owned or Unknown keeps the
 * target's own start date, end date and initial period.
 */
class OMPLATFORM_EXPORT PurchaseReceipt
{
public:
    /** An invalid receipt: state Unknown, initial period -1, no dates. */
    PurchaseReceipt();
    PurchaseReceipt(const PurchaseReceipt &other);
    PurchaseReceipt &operator=(const PurchaseReceipt &other);
    virtual ~PurchaseReceipt();

    /** True for a receipt that the payment service gave. */
    bool isValid() const;
    /** True unless the state is Owned (so also for Unknown). */
    bool isSubscription() const;

    QString digitalGoodId() const;
    QString digitalGoodSku() const;
    /** Opaque text of the payment service. */
    QString licenseKey() const;
    QString purchaseMetadata() const;
    QString purchaseId() const;
    DigitalGoodState::Type state() const;
    /** Length of a subscription's first period; -1 if none was given. */
    int initialPeriod() const;
    QDateTime date() const;
    QDateTime startDate() const;
    QDateTime endDate() const;
    QMap<QString, QVariant> extraParameters() const;

private:
    Q_DECLARE_PRIVATE(PurchaseReceipt)
    PurchaseReceiptPrivate *d_ptr;
};

} // namespace platform
} // namespace om

#endif
