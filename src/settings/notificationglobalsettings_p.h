#ifndef OM_PLATFORM_NOTIFICATIONGLOBALSETTINGS_P_H
#define OM_PLATFORM_NOTIFICATIONGLOBALSETTINGS_P_H

#include <om/platform/notificationglobalsettings.h>

#include <QObject>
#include <QVariantMap>

namespace om {
class PpsObject;

namespace platform {

/** The settings control object, on which the setters wait for answers. */
extern const QString PPS_NOTIFY_SETTINGS_CONTROL_PATH;

class NotificationGlobalSettingsPrivate : public QObject
{
    Q_OBJECT
public:
    explicit NotificationGlobalSettingsPrivate(NotificationGlobalSettings *owner);

    NotificationSettingsError::Type setSound(NotificationPolicy::Type policy);
    NotificationSettingsError::Type setVibrate(NotificationPolicy::Type policy);
    NotificationSettingsError::Type setLed(NotificationPolicy::Type policy);
    NotificationSettingsError::Type setPreview(NotificationPolicy::Type policy);
    NotificationSettingsError::Type setVolume(int value);
    NotificationSettingsError::Type setMode(NotificationMode::Type value);

    NotificationPolicy::Type sound;
    NotificationPolicy::Type vibrate;
    NotificationPolicy::Type led;
    NotificationPolicy::Type preview;
    NotificationMode::Type mode;
    int volume;
    om::PpsObject *pps;
    NotificationGlobalSettings *q;

private Q_SLOTS:
    void onReadyRead();

private:
    void applySettings(const QVariantMap &decoded, bool notify);
};

} // namespace platform
} // namespace om

#endif
