#ifndef OMDEVICE_NAVIGATORSERVICE_H
#define OMDEVICE_NAVIGATORSERVICE_H

#include "common/controlserver.h"
#include "common/datastore.h"
#include "common/servicemodule.h"
#include "common/statepublisher.h"

#include <QHash>
#include <QSet>

namespace omdevice {

/**
 * The navigator. Publishes the device's lock state, bedside mode and
 * wallpaper lock on "/pps/services/navigator/state"; serves applications on
 * "/pps/services/navigator/control" (wallpaper, shortcuts, badges, close
 * prompts, events); serves the user's side on "/pps/simulator/navigator"
 * (changing the lock state, bedside mode and wallpaper lock, and looking at
 * the home screen). Everything but the close prompts and the event clients
 * survives a restart.
 */
class NavigatorService : public ServiceModule
{
    Q_OBJECT
public:
    static constexpr const char *StatePath = "/pps/services/navigator/state";
    static constexpr const char *ControlPath = "/pps/services/navigator/control";
    static constexpr const char *SimulatorPath = "/pps/simulator/navigator";

    NavigatorService(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

private:
    struct Refusal
    {
        int error = 0;
        QString text;
    };

    void onControlMessage(int clientId, const QVariantMap &request);
    void onSimulatorMessage(int clientId, const QVariantMap &request);
    void onControlClientClosed(int clientId);

    bool setWallpaper(const QVariantMap &dat, Refusal *refusal);
    bool addShortcut(const QVariantMap &dat, Refusal *refusal);
    bool setBadge(const QVariantMap &dat, bool on, Refusal *refusal);
    bool setLockState(const QVariantMap &dat, Refusal *refusal);
    bool setFlag(const QString &key, const QVariantMap &dat, Refusal *refusal);
    QVariantMap home() const;

    /** Copies an image that an application named into the device's own
     *  storage, so that it stays when the application's file goes. */
    bool storeImage(const QString &path, const QString &name, QString *stored, Refusal *refusal);
    /** Saves @p data and makes it the state; false (and nothing changed) if
     *  it cannot be saved. */
    bool commit(const QVariantMap &data, Refusal *refusal);
    void publishState();

    void answer(ControlServer *server, int clientId, const QVariantMap &request,
                const QVariantMap &dat = QVariantMap());
    void refuse(ControlServer *server, int clientId, const QVariantMap &request,
                const Refusal &refusal);

    DeviceContext m_context;
    DataStore m_store;
    QVariantMap m_data;
    StatePublisher *m_state;
    ControlServer *m_control;
    ControlServer *m_simulator;
    QSet<int> m_eventClients;
    QHash<int, QVariantMap> m_closePrompts;
};

} // namespace omdevice

#endif
