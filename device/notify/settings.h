#ifndef OMDEVICE_SETTINGS_H
#define OMDEVICE_SETTINGS_H

#include "notify/notifyservice.h"
#include "notify/settingsstore.h"

#include <QHash>
#include <QMap>

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
    static constexpr const char *SettingsControlPath = "/pps/services/notify/settings-control";
    static constexpr const char *SimulatorPath = "/pps/simulator/notification-settings";
    /** The omdeviced --set key for the settings control object's mode. */
    static constexpr const char *ModeSetting = "settings-control-mode";

    explicit NotificationSettingsPart(NotifyService *service);

    QStringList messages() const override;
    void handle(int clientId, const QVariantMap &request) override;
    void clientClosed(int clientId) override;
    bool start(QString *error) override;

private:
    void query(int clientId, const QVariantMap &request);
    void monitor(int clientId, const QVariantMap &request);
    void registerSettings(int clientId, const QVariantMap &request);
    void onSettingsControl(int clientId, const QVariantMap &request);
    void onSimulator(int clientId, const QVariantMap &request);

    /** The settings of the global scope or of one application, as sent. */
    QVariantMap settingsOf(const QString &name, bool global) const;
    void pushGlobal();
    void pushApplication(const QString &name);

    NotificationSettingsStore m_store;
    ControlServer *m_settingsControl = nullptr;
    ControlServer *m_simulator = nullptr;
    // Who follows what: client -> the id it subscribed with.
    QHash<int, QString> m_globalMonitors;
    // client -> package name -> the id it subscribed with.
    QHash<int, QMap<QString, QString>> m_applicationMonitors;
};

} // namespace omdevice

#endif
