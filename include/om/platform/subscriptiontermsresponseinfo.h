#ifndef OM_PLATFORM_SUBSCRIPTIONTERMSRESPONSEINFO_H
#define OM_PLATFORM_SUBSCRIPTIONTERMSRESPONSEINFO_H

#include <om/platform/priceresponseinfo.h>

namespace om {
namespace platform {

class SubscriptionTermsResponseInfoPrivate;

/** The terms of a subscription: its price, initial period, renewal price and renewal period, in the
 * service's words. */
class OMPLATFORM_EXPORT SubscriptionTermsResponseInfo : public PriceResponseInfo
{
public:
    SubscriptionTermsResponseInfo();
    SubscriptionTermsResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku);
    /** An error; error() is true whatever the code. */
    SubscriptionTermsResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku,
                                  int errorCode, const QString &errorText,
                                  const QString &errorInfo);
    SubscriptionTermsResponseInfo(const SubscriptionTermsResponseInfo &other);
    SubscriptionTermsResponseInfo &operator=(const SubscriptionTermsResponseInfo &other);
    ~SubscriptionTermsResponseInfo() override;

    QString initialPeriod() const;
    QString renewalPrice() const;
    QString renewalPeriod() const;

private:
    OM_DECLARE_SHARED_PRIVATE(SubscriptionTermsResponseInfo)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::SubscriptionTermsResponseInfo)

#endif
