#ifndef OM_PLATFORM_SETTINGSMETATYPES_P_H
#define OM_PLATFORM_SETTINGSMETATYPES_P_H

#include <om/platform/notificationmode.h>
#include <om/platform/notificationpolicy.h>
#include <om/platform/notificationprioritypolicy.h>
#include <om/platform/notificationsettingserror.h>

#include <QMetaType>

namespace om {
namespace platform {

// Makes the enumerations known by name, so that the settings' signals can
// be queued across threads and watched by name.
inline void registerSettingsMetaTypes()
{
    static const bool registered = []() {
        qRegisterMetaType<NotificationPolicy::Type>();
        qRegisterMetaType<NotificationMode::Type>();
        qRegisterMetaType<NotificationPriorityPolicy::Type>();
        qRegisterMetaType<NotificationSettingsError::Type>();
        return true;
    }();
    Q_UNUSED(registered)
}

} // namespace platform
} // namespace om

#endif
