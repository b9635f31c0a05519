#ifndef OMDEVICE_NAVIGATORSERVICE_H
#define OMDEVICE_NAVIGATORSERVICE_H

#include "common/controlserver.h"
#include "common/datastore.h"
#include "common/requestrouter.h"
#include "common/servicemodule.h"
#include "common/statepublisher.h"
#include "common/watchers.h"

#include <QHash>
#include <QSet>

namespace omdevice {

/**
 * The navigator. Publishes the device's lock state, bedside mode and
 * wallpaper lock on its state object; serves applications on its control
 * object (wallpaper, shortcuts, badges, close prompts, events); serves the
 * user's side (changing the lock state, bedside mode and wallpaper lock,
 * and looking at the home screen). Everything but the close prompts and
 * the event clients survives a restart.
 */
class NavigatorService : public ServiceModule
{
    Q_OBJECT
public:
    NavigatorService(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

    /** How the navigator answers: "res", "id", and "dat" only when it
     *  holds something; a refusal has "err" and the errno value in
     *  "errno" (the failure's code). */
    static WireForm wireForm();

private:
    static WireForm applicationWireForm();
    // An operation on the navigator's state: done, or refused with a
    // failure whose code is an errno value.
    using Operation = std::function<bool(const Request &request, Failure *failure)>;
    static RequestRouter::Route route(RequestRouter *router, const QString &msg,
                                      const Operation &operation);

    /** Why saved state makes no sense; empty if it does. */
    static QString checkSaved(const QVariantMap &data);
    void onControlClientClosed(int clientId);

    bool setWallpaper(const Request &request, Failure *failure);
    bool addShortcut(const Request &request, Failure *failure);
    bool setBadge(const Request &request, bool on, Failure *failure);
    bool setLockState(const Request &request, Failure *failure);
    bool setFlag(const QString &key, const Request &request, Failure *failure);
    QVariantMap home() const;

    /** Copies an image that an application named into the device's own
     *  storage, so that it stays when the application's file goes. The
     *  file is read with the application's rights. */
    bool storeImage(const Request &request, const QString &path, const QString &name,
                    QString *stored, Failure *failure);
    /** Saves @p data and makes it the state; false (and nothing changed) if
     *  it cannot be saved. */
    bool commit(const QVariantMap &data, Failure *failure);
    void publishState();

    DeviceContext m_context;
    DataStore m_store;
    QVariantMap m_data;
    StatePublisher *m_state;
    RequestRouter *m_control;
    RequestRouter *m_userSide;
    Watchers m_watchers;
    QSet<int> m_eventClients;
    QHash<int, QVariantMap> m_closePrompts;
};

} // namespace omdevice

#endif
