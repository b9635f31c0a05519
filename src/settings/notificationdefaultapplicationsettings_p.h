#ifndef OM_PLATFORM_NOTIFICATIONDEFAULTAPPLICATIONSETTINGS_P_H
#define OM_PLATFORM_NOTIFICATIONDEFAULTAPPLICATIONSETTINGS_P_H

#include <om/platform/notificationdefaultapplicationsettings.h>

#include <QSharedData>
#include <QUrl>

namespace om {
namespace platform {

class NotificationDefaultApplicationSettingsPrivate : public QSharedData
{
public:
    NotificationSettingsError::Type apply() const;

    NotificationPolicy::Type sound = NotificationPolicy::Unknown;
    NotificationPolicy::Type vibrate = NotificationPolicy::Unknown;
    NotificationPolicy::Type led = NotificationPolicy::Unknown;
    NotificationPriorityPolicy::Type preview = NotificationPriorityPolicy::Unknown;
    QUrl tonePath;
    int vibrateCount = -1;
};

} // namespace platform
} // namespace om

#endif
