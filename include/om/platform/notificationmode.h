#ifndef OM_PLATFORM_NOTIFICATIONMODE_H
#define OM_PLATFORM_NOTIFICATIONMODE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The device's notification mode. */
class OMPLATFORM_EXPORT NotificationMode
{
    Q_GADGET
public:
    enum Type : int {
        Unknown = 0,   ///< Not known.
        Silent = 1,    ///< "silent"
        Vibrate = 2,   ///< "vibrate"
        Normal = 3,    ///< "normal"
        PhoneOnly = 4, ///< "phoneonly"
        AlertsOff = 5, ///< "alertsoff"
    };
    Q_ENUM(Type)

private:
    NotificationMode() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationMode::Type)

#endif
