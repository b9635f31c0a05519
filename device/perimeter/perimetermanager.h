#ifndef OMDEVICE_PERIMETERMANAGER_H
#define OMDEVICE_PERIMETERMANAGER_H

#include "common/datastore.h"
#include "common/servicemodule.h"

#include <QString>
#include <QTimer>
#include <QVariantMap>

namespace omdevice {

class ControlServer;
class StatePublisher;

/**
 * The perimeter manager: keeps the data lock of the enterprise perimeter.
 *
 * It publishes the raw lock state, and while a lock is pending the time at
 * which it falls due, on the perimeter's state object; serves applications'
 * "lock" and "extend_lock" requests on "control_public"; locks the data on
 * its own when a pending lock falls due; and keeps the state in its data
 * store, so that a restart of the device changes nothing.
 *
 * The user's side (setting a pending lock, locking, unlocking, any raw
 * state) comes through the simulator object, which only the device's owner
 * may open.
 */
class PerimeterManager : public ServiceModule
{
    Q_OBJECT
public:
    static constexpr const char *StatePath = "/pps/system/perimeter/info/1000/enterprise/state";
    static constexpr const char *ControlPath = "/pps/system/perimeter/control_public";
    static constexpr const char *SimulatorPath = "/pps/simulator/perimeter";

    /** Raw states as the service publishes them. */
    enum RawState {
        StartupLocked = 0,    ///< Locked since the device started.
        Unlocked = 1,         ///< Open; no lock pending.
        Unlocking = 2,        ///< Being opened.
        Locked = 3,           ///< Locked.
        NoPolicy = 4,         ///< No data lock applies.
        Pending = 5,          ///< A lock falls due at the published time.
        StartupUnlocking = 6, ///< Still locked from start-up, being opened.
    };

    PerimeterManager(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

private:
    /** A whole state: the raw value, and the time text if there is one. */
    struct LockState
    {
        int raw = Unlocked;
        bool hasTime = false;
        QString time;
    };

    void onControl(int clientId, const QVariantMap &request);
    void onSimulator(int clientId, const QVariantMap &request);
    /** Answers @p request with its "msg" as "res", its "id", and @p key if set. */
    void respond(ControlServer *server, int clientId, const QVariantMap &request,
                 const QString &key, const QVariant &value);
    void answer(ControlServer *server, int clientId, const QVariantMap &request,
                const QVariantMap &dat = QVariantMap());
    void refuse(ControlServer *server, int clientId, const QVariantMap &request,
                const QString &error);
    QVariantMap describe() const;

    /** Stores, saves and publishes @p state, and arms the due timer. */
    void apply(const LockState &state);
    void publish();
    void schedule();
    void fallDue();
    /** The pending lock's time in seconds, if the state has a usable one. */
    bool dueSeconds(qint64 *seconds) const;
    bool isLocked() const;

    DeviceContext m_context;
    DataStore m_store;
    StatePublisher *m_state;
    ControlServer *m_control;
    ControlServer *m_simulator;
    LockState m_current;
    QTimer m_due;
};

} // namespace omdevice

#endif
