#ifndef OM_PLATFORM_NOTIFICATIONPRIORITYPOLICY_H
#define OM_PLATFORM_NOTIFICATIONPRIORITYPOLICY_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The preview policy of an application, which knows two more values than NotificationPolicy. */
class OMPLATFORM_EXPORT NotificationPriorityPolicy
{
    Q_GADGET
public:
    enum Type : int {
        Unknown = 0,       ///< Not known, or not set.
        Allow = 1,         ///< "on" ("true" is read too).
        Deny = 2,          ///< "off" ("false" is read too).
        NotApplicable = 3, ///< "disabled"
        PriorityOnly = 4,  ///< "priority": previews for priority items only.
    };
    Q_ENUM(Type)

private:
    NotificationPriorityPolicy() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationPriorityPolicy::Type)

#endif
