#ifndef OM_PLATFORM_NOTIFICATIONGLOBALSETTINGS_H
#define OM_PLATFORM_NOTIFICATIONGLOBALSETTINGS_H

#include <om/platform/notificationmode.h>
#include <om/platform/notificationpolicy.h>
#include <om/platform/notificationsettingserror.h>
#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

class NotificationGlobalSettingsPrivate;

/**
 * The device-wide notification settings: sound, vibration, LED, preview,
 * volume and mode.
 *
 * The object holds a copy of the settings of the notification service. The
 * constructor reads them, and blocks until the service has answered; later
 * changes arrive through the event loop as the notify signals. Before the
 * first reading, and for good if the service cannot be reached, the
 * policies and the mode are Unknown and the volume is -1.
 *
 * The setters ask the service for a change and block until it answers; they
 * change no property themselves. The new value arrives later, with its
 * signal, once the service publishes it. Changing settings needs the rights
 * to the service's settings object (InsufficientPermissions otherwise).
 *
 * Each signal with an enumerated argument is followed by the same signal
 * with an int, for script callers.
 */
class OMPLATFORM_EXPORT NotificationGlobalSettings : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(NotificationGlobalSettings)
    Q_DECLARE_PRIVATE(NotificationGlobalSettings)
    Q_PROPERTY(om::platform::NotificationPolicy::Type sound READ sound WRITE setSound NOTIFY
                   soundChanged FINAL)
    Q_PROPERTY(om::platform::NotificationPolicy::Type vibrate READ vibrate WRITE setVibrate NOTIFY
                   vibrateChanged FINAL)
    Q_PROPERTY(
        om::platform::NotificationPolicy::Type led READ led WRITE setLed NOTIFY ledChanged FINAL)
    Q_PROPERTY(om::platform::NotificationPolicy::Type preview READ preview WRITE setPreview NOTIFY
                   previewChanged FINAL)
    Q_PROPERTY(int volume READ volume WRITE setVolume NOTIFY volumeChanged FINAL)
    Q_PROPERTY(
        om::platform::NotificationMode::Type mode READ mode WRITE setMode NOTIFY modeChanged FINAL)

public:
    /** Subscribes to the service's updates and reads the settings; blocks
     *  until the service has answered. */
    explicit NotificationGlobalSettings(QObject *parent = nullptr);
    ~NotificationGlobalSettings() override;

    NotificationPolicy::Type sound() const;
    NotificationPolicy::Type vibrate() const;
    NotificationPolicy::Type led() const;
    NotificationPolicy::Type preview() const;
    /** 0 to 100 as the service gives it; -1 until known. */
    int volume() const;
    NotificationMode::Type mode() const;

    /** Asks the service for a change; blocks until it answers. */
    Q_INVOKABLE om::platform::NotificationSettingsError::Type
    setSound(om::platform::NotificationPolicy::Type policy);
    Q_INVOKABLE om::platform::NotificationSettingsError::Type
    setVibrate(om::platform::NotificationPolicy::Type policy);
    Q_INVOKABLE om::platform::NotificationSettingsError::Type
    setLed(om::platform::NotificationPolicy::Type policy);
    Q_INVOKABLE om::platform::NotificationSettingsError::Type
    setPreview(om::platform::NotificationPolicy::Type policy);
    /** A value outside 0 to 100 is brought into that range first. */
    Q_INVOKABLE om::platform::NotificationSettingsError::Type setVolume(int volume);
    Q_INVOKABLE om::platform::NotificationSettingsError::Type
    setMode(om::platform::NotificationMode::Type mode);

Q_SIGNALS:
    void soundChanged(om::platform::NotificationPolicy::Type policy);
    void vibrateChanged(om::platform::NotificationPolicy::Type policy);
    void ledChanged(om::platform::NotificationPolicy::Type policy);
    void previewChanged(om::platform::NotificationPolicy::Type policy);
    void volumeChanged(int volume);
    void modeChanged(om::platform::NotificationMode::Type mode);
    void soundChanged(int policy);
    void vibrateChanged(int policy);
    void ledChanged(int policy);
    void previewChanged(int policy);
    void modeChanged(int mode);

protected:
    // For script callers: the number goes to the typed setter unchanged.
    Q_INVOKABLE int setSound(int policy);
    Q_INVOKABLE int setVibrate(int policy);
    Q_INVOKABLE int setLed(int policy);
    Q_INVOKABLE int setPreview(int policy);
    Q_INVOKABLE int setMode(int mode);

private:
    NotificationGlobalSettingsPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
