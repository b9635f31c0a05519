#ifndef OM_PLATFORM_QML_DEFAULTAPPLICATIONSETTINGS_H
#define OM_PLATFORM_QML_DEFAULTAPPLICATIONSETTINGS_H

#include <om/platform/notificationdefaultapplicationsettings.h>

#include <QObject>

namespace om {
namespace platform {

/**
 * NotificationDefaultApplicationSettings for QML. The library's class is a
 * value, which QML cannot create; this object holds one and gives QML its
 * fields as properties and apply() as a method.
 */
class DefaultApplicationSettingsObject : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        om::platform::NotificationPolicy::Type sound READ sound WRITE setSound NOTIFY changed)
    Q_PROPERTY(
        om::platform::NotificationPolicy::Type vibrate READ vibrate WRITE setVibrate NOTIFY changed)
    Q_PROPERTY(om::platform::NotificationPolicy::Type led READ led WRITE setLed NOTIFY changed)
    Q_PROPERTY(om::platform::NotificationPriorityPolicy::Type preview READ preview WRITE setPreview
                   NOTIFY changed)
    Q_PROPERTY(QUrl tonePath READ tonePath WRITE setTonePath NOTIFY changed)
    Q_PROPERTY(int vibrateCount READ vibrateCount WRITE setVibrateCount NOTIFY changed)

public:
    explicit DefaultApplicationSettingsObject(QObject *parent = nullptr);

    NotificationPolicy::Type sound() const { return m_settings.sound(); }
    NotificationPolicy::Type vibrate() const { return m_settings.vibrate(); }
    NotificationPolicy::Type led() const { return m_settings.led(); }
    NotificationPriorityPolicy::Type preview() const { return m_settings.preview(); }
    QUrl tonePath() const { return m_settings.tonePath(); }
    int vibrateCount() const { return m_settings.vibrateCount(); }

    void setSound(NotificationPolicy::Type policy);
    void setVibrate(NotificationPolicy::Type policy);
    void setLed(NotificationPolicy::Type policy);
    void setPreview(NotificationPriorityPolicy::Type policy);
    void setTonePath(const QUrl &tonePath);
    void setVibrateCount(int count);

    /** Registers the values with the notification service; blocks until it answers. */
    Q_INVOKABLE om::platform::NotificationSettingsError::Type apply();

Q_SIGNALS:
    void changed();

private:
    // Runs @p change on the settings and signals if it changed anything.
    template <class Change> void update(Change change);

    NotificationDefaultApplicationSettings m_settings;
};

} // namespace platform
} // namespace om

#endif
