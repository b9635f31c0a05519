#ifndef OMDEVICE_SETTINGS_H
#define OMDEVICE_SETTINGS_H

#include "common/watchers.h"
#include "notify/notifyservice.h"
#include "notify/settingsstore.h"

#include <QHash>
#include <QMap>

#include <memory>

namespace omdevice {

/**
 * The notification settings of the notification service.
 *
 * On the control object: "query" (the settings under "dat"),
 * "monitorSettings" (the client then gets a "settingsChanged" message with
 * the settings each time those it follows change) and "registerSettings"
 * (an application's defaults). On the settings control object, which only
 * privileged clients may open: "updateGlobalSettings" and "updateState".
 * On the simulator's object, for the user: "list", "setGlobal" and
 * "setApplication".
 */
class NotificationSettingsPart : public NotifyPart
{
    Q_OBJECT
public:
    /** The omdeviced --set key for the settings control object's mode. */
    static constexpr const char *ModeSetting = "settings-control-mode";

    explicit NotificationSettingsPart(NotifyService *service);

    bool start(QString *error) override;

private:
    void query(const Request &request);
    void monitor(const Request &request);
    void registerSettings(const Request &request);
    void updateGlobal(const Request &request);
    void updateState(const Request &request);
    void list(const Request &request);
    void set(const Request &request, bool global);
    void clientClosed(int clientId);
    /** Remembers application @p name, telling the watchers if it is new. */
    void remember(const QString &name);
    /** Applies @p changes of the global settings and answers with them. */
    void changeGlobal(const Request &request, const QVariantMap &changes);

    /** The settings of the global scope or of one application, as sent. */
    QVariantMap settingsOf(const QString &name, bool global) const;
    void pushGlobal();
    void pushApplication(const QString &name);
    static QVariantMap settingsChanged(const QString &id, const QVariantMap &settings);

    NotificationSettingsStore m_store;
    RequestRouter *m_settingsControl = nullptr;
    RequestRouter *m_userSide = nullptr;
    std::unique_ptr<Watchers> m_watchers;
    // Who follows what: client -> the id it subscribed with.
    QHash<int, QString> m_globalMonitors;
    // client -> package name -> the id it subscribed with.
    QHash<int, QMap<QString, QString>> m_applicationMonitors;
};

} // namespace omdevice

#endif
