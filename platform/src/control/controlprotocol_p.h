#ifndef OM_CONTROLPROTOCOL_P_H
#define OM_CONTROLPROTOCOL_P_H

// The envelope of every request and answer on a service's control object,
// shared by the platform layer, the device's services and omctl.
//
// Request:  msg::<name>  id::<text>  dat:json:{...}
// Answer:   res::<name>  id::<text>  dat:json:{...}      done
//           res::<name>  id::<text>  err::<reason>       refused
//
// A service may add attributes to a refusal (the navigator its "errno");
// each service's protocol header names them.
//
// The user's side of a service (its object under /pps/simulator) also
// takes "watch": the client is then sent, until it closes,
//   msg::changed  dat:json:{"what":"<the listing that changed>"}
// each time something it can list changes, and asks again for what it shows.

#include <QString>

namespace om {
namespace controlprotocol {

// One name a line, as a table.
// clang-format off

inline QString keyMsg() { return QStringLiteral("msg"); }
inline QString keyId() { return QStringLiteral("id"); }
inline QString keyDat() { return QStringLiteral("dat"); }
inline QString keyRes() { return QStringLiteral("res"); }
inline QString keyErr() { return QStringLiteral("err"); }

// Watching the user's side.
inline QString watchMessage() { return QStringLiteral("watch"); }
inline QString changedMessage() { return QStringLiteral("changed"); }
inline QString keyWhat() { return QStringLiteral("what"); }

// clang-format on

} // namespace controlprotocol
} // namespace om

#endif
