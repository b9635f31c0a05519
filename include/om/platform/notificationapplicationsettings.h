#ifndef OM_PLATFORM_NOTIFICATIONAPPLICATIONSETTINGS_H
#define OM_PLATFORM_NOTIFICATIONAPPLICATIONSETTINGS_H

#include <om/platform/notificationpolicy.h>
#include <om/platform/notificationprioritypolicy.h>
#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QUrl>

namespace om {
namespace platform {

class NotificationApplicationSettingsPrivate;

/**
 * What the user has chosen for the notifications of the running
 * application (named by its package), read-only.
 *
 * The constructor reads the settings from the notification service and
 * blocks until the service has answered; later changes arrive through the
 * event loop as the notify signals. Before the first reading, and for good
 * if the service cannot be reached, alerts are enabled, the policies are
 * Unknown, the vibrate count is -1 and the tone is an empty URL.
 *
 * Each signal with an enumerated argument is followed by the same signal
 * with an int, for script callers.
 */
class OMPLATFORM_EXPORT NotificationApplicationSettings : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(NotificationApplicationSettings)
    Q_DECLARE_PRIVATE(NotificationApplicationSettings)
    Q_PROPERTY(bool alertsEnabled READ alertsEnabled NOTIFY alertsEnabledChanged FINAL)
    Q_PROPERTY(om::platform::NotificationPolicy::Type sound READ sound NOTIFY soundChanged FINAL)
    Q_PROPERTY(
        om::platform::NotificationPolicy::Type vibrate READ vibrate NOTIFY vibrateChanged FINAL)
    Q_PROPERTY(om::platform::NotificationPolicy::Type led READ led NOTIFY ledChanged FINAL)
    Q_PROPERTY(om::platform::NotificationPriorityPolicy::Type preview READ preview NOTIFY
                   previewChanged FINAL)
    Q_PROPERTY(int vibrateCount READ vibrateCount NOTIFY vibrateCountChanged FINAL)
    Q_PROPERTY(QUrl tonePath READ tonePath NOTIFY tonePathChanged FINAL)

public:
    /** Subscribes to the service's updates for this application and reads
     *  its settings; blocks until the service has answered. */
    explicit NotificationApplicationSettings(QObject *parent = nullptr);
    ~NotificationApplicationSettings() override;

    bool alertsEnabled() const;
    NotificationPolicy::Type sound() const;
    NotificationPolicy::Type vibrate() const;
    NotificationPolicy::Type led() const;
    NotificationPriorityPolicy::Type preview() const;
    /** How often to vibrate; -1 until known. */
    int vibrateCount() const;
    /** The tone to play, as the service gives it. */
    QUrl tonePath() const;

Q_SIGNALS:
    void alertsEnabledChanged(bool enabled);
    void soundChanged(om::platform::NotificationPolicy::Type policy);
    void vibrateChanged(om::platform::NotificationPolicy::Type policy);
    void ledChanged(om::platform::NotificationPolicy::Type policy);
    void previewChanged(om::platform::NotificationPriorityPolicy::Type policy);
    void vibrateCountChanged(int count);
    void tonePathChanged(const QUrl &tonePath);
    void soundChanged(int policy);
    void vibrateChanged(int policy);
    void ledChanged(int policy);
    void previewChanged(int policy);

private:
    NotificationApplicationSettingsPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
