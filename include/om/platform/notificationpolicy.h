#ifndef OM_PLATFORM_NOTIFICATIONPOLICY_H
#define OM_PLATFORM_NOTIFICATIONPOLICY_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** Whether a notification effect (sound, vibration, LED, preview) is on. */
class OMPLATFORM_EXPORT NotificationPolicy
{
    Q_GADGET
public:
    enum Type : int {
        Unknown = 0, ///< Not known, or not set.
        Allow = 1,   ///< On ("on" on the wire; "true" is read too).
        Deny = 2,    ///< Off ("off" on the wire; "false" is read too).
    };
    Q_ENUM(Type)

private:
    NotificationPolicy() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationPolicy::Type)

#endif
