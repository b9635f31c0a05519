#ifndef OM_PLATFORM_EXISTINGPURCHASESRESPONSEINFO_H
#define OM_PLATFORM_EXISTINGPURCHASESRESPONSEINFO_H

#include <om/platform/paymentserviceresponse.h>
#include <om/platform/purchasereceipt.h>

#include <QList>

namespace om {
namespace platform {

class ExistingPurchasesResponseInfoPrivate;

/** The purchases an application has made, as receipts. */
class OMPLATFORM_EXPORT ExistingPurchasesResponseInfo : public PaymentServiceResponse
{
public:
    ExistingPurchasesResponseInfo();
    /** An error; error() is true whatever the code. */
    ExistingPurchasesResponseInfo(int errorCode, const QString &errorText,
                                  const QString &errorInfo);
    ExistingPurchasesResponseInfo(const ExistingPurchasesResponseInfo &other);
    ExistingPurchasesResponseInfo &operator=(const ExistingPurchasesResponseInfo &other);
    ~ExistingPurchasesResponseInfo() override;

    QList<PurchaseReceipt> purchases() const;

private:
    OM_DECLARE_SHARED_PRIVATE(ExistingPurchasesResponseInfo)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::ExistingPurchasesResponseInfo)

#endif
