#ifndef OM_PLATFORM_NOTIFICATIONSETTINGSERROR_H
#define OM_PLATFORM_NOTIFICATIONSETTINGSERROR_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The outcome of a change of notification settings. */
class OMPLATFORM_EXPORT NotificationSettingsError
{
    Q_GADGET
public:
    enum Type : int {
        None = 0,    ///< The service accepted the change.
        Unknown = 1, ///< Any failure not listed below.
        InsufficientPermissions =
            2,                  ///< The settings object exists, but this process may not use it.
        Internal = 3,           ///< The service answered with an error.
        ServiceUnavailable = 4, ///< The settings object does not exist.
    };
    Q_ENUM(Type)

private:
    NotificationSettingsError() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationSettingsError::Type)

#endif
