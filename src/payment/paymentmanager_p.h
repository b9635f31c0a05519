#ifndef OM_PLATFORM_PAYMENTMANAGER_P_H
#define OM_PLATFORM_PAYMENTMANAGER_P_H

#include <om/platform/paymentmanager.h>

namespace om {
namespace platform {

/** What a manager sends with each of its requests. */
class PaymentManagerPrivate
{
public:
    QString windowGroupId;
    QString applicationName;
    QUrl applicationIconUrl;
};

} // namespace platform
} // namespace om

#endif
