#ifndef OM_PERIMETERPROTOCOL_P_H
#define OM_PERIMETERPROTOCOL_P_H

// The perimeter manager's objects and messages, shared by the device's
// perimeter manager and omctl; the library spells the same paths, and a
// test holds them to these.
//
// State object (plain): state:n:<raw state>, data_lock_time::<seconds>
// while a lock is pending.
// Control object (any application):
//   lock         dat {name: "enterprise", type: 1}   answered without dat
//   extend_lock  dat {name: "enterprise", time: <seconds more>}
//                answered dat {time: <when the lock now falls due>}
// A refusal: "err" with the reason.
// User side (the device's owner, for omctl): status, lock, unlock,
// pending dat {seconds}, extend dat {seconds} (puts a pending lock off),
// raw dat {state, time?}; each answered with the state that results,
// dat {state, time?}. "watch" then "changed" dat {what: "status"}.

#include <QString>

namespace om {
namespace perimeterprotocol {

// One name a line, as a table.
// clang-format off

inline QString statePath()
{ return QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state"); }
inline QString controlPath() { return QStringLiteral("/pps/system/perimeter/control_public"); }
inline QString userSidePath() { return QStringLiteral("/pps/simulator/perimeter"); }

/** The raw states, as the state object carries them. */
enum RawState {
    StartupLocked = 0,    ///< Locked since the device started.
    Unlocked = 1,         ///< Open; no lock pending.
    Unlocking = 2,        ///< Being opened.
    Locked = 3,           ///< Locked.
    NoPolicy = 4,         ///< No data lock applies.
    Pending = 5,          ///< A lock falls due at the published time.
    StartupUnlocking = 6, ///< Still locked from start-up, being opened.
};

// The state object.
inline QString keyState() { return QStringLiteral("state"); }
inline QString keyDataLockTime() { return QStringLiteral("data_lock_time"); }

// The control object.
inline QString lockMessage() { return QStringLiteral("lock"); }
inline QString extendLockMessage() { return QStringLiteral("extend_lock"); }
inline QString keyName() { return QStringLiteral("name"); }
inline QString keyType() { return QStringLiteral("type"); }
inline QString keyTime() { return QStringLiteral("time"); }
/** The one perimeter with a data lock. */
inline QString enterprisePerimeter() { return QStringLiteral("enterprise"); }
/** The one lock type. */
constexpr int DataLockType = 1;

// The user side; "lock" is also one of its messages.
inline QString statusMessage() { return QStringLiteral("status"); }
inline QString unlockMessage() { return QStringLiteral("unlock"); }
inline QString pendingMessage() { return QStringLiteral("pending"); }
inline QString extendMessage() { return QStringLiteral("extend"); }
inline QString rawMessage() { return QStringLiteral("raw"); }
inline QString keySeconds() { return QStringLiteral("seconds"); }

// clang-format on

} // namespace perimeterprotocol
} // namespace om

#endif
