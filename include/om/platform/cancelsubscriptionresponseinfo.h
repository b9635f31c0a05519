#ifndef OM_PLATFORM_CANCELSUBSCRIPTIONRESPONSEINFO_H
#define OM_PLATFORM_CANCELSUBSCRIPTIONRESPONSEINFO_H

#include <om/platform/paymentserviceresponse.h>

namespace om {
namespace platform {

class CancelSubscriptionResponseInfoPrivate;

/** The answer to a cancellation of a subscription. */
class OMPLATFORM_EXPORT CancelSubscriptionResponseInfo : public PaymentServiceResponse
{
public:
    CancelSubscriptionResponseInfo();
    /** An error; error() is true whatever the code. */
    CancelSubscriptionResponseInfo(int errorCode, const QString &errorText,
                                   const QString &errorInfo);
    CancelSubscriptionResponseInfo(const CancelSubscriptionResponseInfo &other);
    CancelSubscriptionResponseInfo &operator=(const CancelSubscriptionResponseInfo &other);
    ~CancelSubscriptionResponseInfo() override;

    bool canceled() const;
    QString purchaseId() const;

private:
    OM_DECLARE_SHARED_PRIVATE(CancelSubscriptionResponseInfo)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::CancelSubscriptionResponseInfo)

#endif
