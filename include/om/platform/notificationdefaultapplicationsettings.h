#ifndef OM_PLATFORM_NOTIFICATIONDEFAULTAPPLICATIONSETTINGS_H
#define OM_PLATFORM_NOTIFICATIONDEFAULTAPPLICATIONSETTINGS_H

#include <om/platform/notificationpolicy.h>
#include <om/platform/notificationprioritypolicy.h>
#include <om/platform/notificationsettingserror.h>
#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QSharedDataPointer>
#include <QUrl>

namespace om {
namespace platform {

class NotificationDefaultApplicationSettingsPrivate;

/**
 * The notification settings that the running application wants as its
 * defaults: the service uses them for this application until the user
 * changes a setting.
 *
 * A value with implicit sharing: copies are cheap, and a change to one copy
 * is not seen by the others. Fill in what matters and call apply(); a field
 * left unset (Unknown, an empty URL, a vibrate count of -1) is not sent.
 */
class OMPLATFORM_EXPORT NotificationDefaultApplicationSettings
{
public:
    NotificationDefaultApplicationSettings();
    NotificationDefaultApplicationSettings(const NotificationDefaultApplicationSettings &other);
    NotificationDefaultApplicationSettings &
    operator=(const NotificationDefaultApplicationSettings &other);
    ~NotificationDefaultApplicationSettings();

    NotificationPolicy::Type sound() const;
    NotificationPolicy::Type vibrate() const;
    NotificationPolicy::Type led() const;
    NotificationPriorityPolicy::Type preview() const;
    QUrl tonePath() const;
    /** -1 until set, then 1 to 5. */
    int vibrateCount() const;

    void setSound(NotificationPolicy::Type policy);
    void setVibrate(NotificationPolicy::Type policy);
    void setLed(NotificationPolicy::Type policy);
    void setPreview(NotificationPriorityPolicy::Type policy);
    /** A file URL, a path, or an "asset:///" URL; one that cannot be
     *  resolved to a file path is left out of the registration. */
    void setTonePath(const QUrl &tonePath);
    /** Brought into the range 1 to 5. */
    void setVibrateCount(int count);

    /**
     * Registers the set with the notification service for the running
     * application; blocks until the service has answered. The values stay
     * in the object whatever the outcome. Never gives ServiceUnavailable
     * or InsufficientPermissions: any failure to reach the service is
     * Unknown.
     */
    NotificationSettingsError::Type apply();

private:
    QSharedDataPointer<NotificationDefaultApplicationSettingsPrivate> d;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationDefaultApplicationSettings)

#endif
