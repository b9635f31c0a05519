#ifndef OMDEVICE_PERIMETERMANAGER_H
#define OMDEVICE_PERIMETERMANAGER_H

#include "common/datastore.h"
#include "common/requestrouter.h"
#include "common/servicemodule.h"
#include "common/watchers.h"
#include "perimeter/perimeterprotocol_p.h"

#include <QString>
#include <QTimer>
#include <QVariantMap>

namespace omdevice {

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
    PerimeterManager(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

    /** How the perimeter manager answers: "res", "id", and "dat" only when
     *  it holds something, or "err"; a message that cannot be decoded
     *  gets "err" alone. */
    static WireForm wireForm();

private:
    /** A whole state: the raw value, and the time text if there is one. */
    struct LockState
    {
        int raw = om::perimeterprotocol::Unlocked;
        bool hasTime = false;
        QString time;
    };

    /** Whether @p request names the enterprise perimeter; fails it if not. */
    bool perimeterOf(const Request &request);
    void lock(const Request &request);
    void extendLock(const Request &request);
    /** A change by the user; answered with the state that results. */
    void change(const Request &request, const LockState &state);
    void setPending(const Request &request);
    void extendByUser(const Request &request);
    /** The pending lock put off by @p seconds: the new due time, or false
     *  with the reason. */
    bool extended(qint64 seconds, qint64 *due, QString *error) const;
    void setRaw(const Request &request);
    QVariantMap describe() const;

    static bool readState(const QVariantMap &saved, LockState *state, QString *reason);
    /** Saves @p state; false with the reason if it cannot. */
    bool keep(const LockState &state, QString *error);
    /** Makes @p state the current one, publishes it and arms the due timer. */
    void enter(const LockState &state);
    /** Both, for a change nobody waits on. */
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
    RequestRouter *m_control;
    RequestRouter *m_userSide;
    Watchers m_watchers;
    LockState m_current;
    QTimer m_due;
};

} // namespace omdevice

#endif
