#ifndef OM_PLATFORM_EXISTINGPURCHASESREPLY_H
#define OM_PLATFORM_EXISTINGPURCHASESREPLY_H

#include <om/platform/paymentreply.h>
#include <om/platform/purchasereceipt.h>

#include <QList>
#include <QVariantList>

namespace om {
namespace platform {

class ExistingPurchasesReplyPrivate;

/** The reply to a request for the purchases the application has made. */
class OMPLATFORM_EXPORT ExistingPurchasesReply : public PaymentReply
{
    Q_OBJECT
    Q_PROPERTY(QVariantList purchases READ purchaseQML CONSTANT)

public:
    explicit ExistingPurchasesReply(QObject *parent = nullptr);
    ~ExistingPurchasesReply() override;

    QList<PurchaseReceipt> purchases() const;
    /** The receipts for script code: one map of thirteen keys each, made
     *  anew at every call. */
    QVariantList purchaseQML() const;

private:
    Q_DECLARE_PRIVATE(ExistingPurchasesReply)
};

} // namespace platform
} // namespace om

#endif
