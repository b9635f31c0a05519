#ifndef OM_PLATFORM_DIGITALGOODSTATE_H
#define OM_PLATFORM_DIGITALGOODSTATE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The state of a digital good in a receipt; the payment service sends
 *  these numbers as they are, so a receipt may hold a number without a name
 *  (an int underlies the type for that). */
class OMPLATFORM_EXPORT DigitalGoodState
{
    Q_GADGET
public:
    enum Type : int {
        Owned = 0,                ///< Owned outright.
        NewSubscription = 1,      ///< A subscription has begun.
        SubscriptionRefunded = 2, ///< A subscription was refunded.
        SubscriptionCanceled = 3, ///< Cancelled; it runs to the end of its period.
        SubscriptionRenewed = 4,  ///< Renewed for another period.
        Unknown = 5,              ///< No state known; the default.
    };
    Q_ENUM(Type)

private:
    DigitalGoodState() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::DigitalGoodState::Type)

#endif
