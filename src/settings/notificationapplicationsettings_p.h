#ifndef OM_PLATFORM_NOTIFICATIONAPPLICATIONSETTINGS_P_H
#define OM_PLATFORM_NOTIFICATIONAPPLICATIONSETTINGS_P_H

#include <om/platform/notificationapplicationsettings.h>

#include <QObject>
#include <QUrl>
#include <QVariantMap>

namespace om {
class PpsObject;

namespace platform {

class NotificationApplicationSettingsPrivate : public QObject
{
    Q_OBJECT
public:
    explicit NotificationApplicationSettingsPrivate(NotificationApplicationSettings *owner);

    NotificationPolicy::Type sound;
    NotificationPolicy::Type vibrate;
    NotificationPolicy::Type led;
    NotificationPriorityPolicy::Type preview;
    int vibrateCount;
    QUrl tonePath;
    bool alertsEnabled;
    om::PpsObject *pps;
    NotificationApplicationSettings *q;

private Q_SLOTS:
    void onReadyRead();

private:
    void applySettings(const QVariantMap &dat, bool notify);
};

} // namespace platform
} // namespace om

#endif
