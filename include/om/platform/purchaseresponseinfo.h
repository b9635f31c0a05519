#ifndef OM_PLATFORM_PURCHASERESPONSEINFO_H
#define OM_PLATFORM_PURCHASERESPONSEINFO_H

#include <om/platform/digitalgoodresponse.h>
#include <om/platform/purchasereceipt.h>

#include <QSharedPointer>

namespace om {
namespace platform {

class PurchaseResponseInfoPrivate;

/** The answer to a purchase: the receipt, null for an error. */
class OMPLATFORM_EXPORT PurchaseResponseInfo : public DigitalGoodResponse
{
public:
    PurchaseResponseInfo();
    PurchaseResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku);
    /** An error; error() is true whatever the code. */
    PurchaseResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku, int errorCode,
                         const QString &errorText, const QString &errorInfo);
    PurchaseResponseInfo(const PurchaseResponseInfo &other);
    PurchaseResponseInfo &operator=(const PurchaseResponseInfo &other);
    ~PurchaseResponseInfo() override;

    QSharedPointer<PurchaseReceipt> receipt() const;
    QString purchaseMetadata() const;

private:
    OM_DECLARE_SHARED_PRIVATE(PurchaseResponseInfo)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::PurchaseResponseInfo)

#endif
