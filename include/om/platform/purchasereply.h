#ifndef OM_PLATFORM_PURCHASEREPLY_H
#define OM_PLATFORM_PURCHASEREPLY_H

#include <om/platform/digitalgoodreply.h>
#include <om/platform/purchasereceipt.h>

#include <QVariantMap>

namespace om {
namespace platform {

class PurchaseReplyPrivate;

/** The reply to a purchase: the receipt of the purchase, or why it failed. */
class OMPLATFORM_EXPORT PurchaseReply : public DigitalGoodReply
{
    Q_OBJECT
    Q_PROPERTY(QString purchaseMetadata READ purchaseMetadata CONSTANT)
    Q_PROPERTY(QVariantMap receipt READ receiptQML CONSTANT)

public:
    explicit PurchaseReply(QObject *parent = nullptr);
    ~PurchaseReply() override;

    QString purchaseMetadata() const;
    /** The receipt; invalid until a successful answer has come. */
    PurchaseReceipt receipt() const;
    /** The receipt for script code: a map of thirteen keys, made anew at
     *  every call. */
    QVariantMap receiptQML() const;

private:
    Q_DECLARE_PRIVATE(PurchaseReply)
};

} // namespace platform
} // namespace om

#endif
