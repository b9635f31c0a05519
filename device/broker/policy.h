#ifndef OMDEVICE_BROKER_POLICY_H
#define OMDEVICE_BROKER_POLICY_H

// The broker's decisions that need no socket: who may open an object, what
// a publisher's write makes of a plain object, what a directory lists. The
// rules that clients apply too (paths, options, the open request) are in
// the platform's bus policy.

#include <QByteArray>
#include <QString>

#include <map>
#include <sys/types.h>
#include <vector>

namespace omdevice {
namespace broker {

/** A plain object's attributes: name -> its whole line ("name:enc:value"). */
using Attributes = std::map<QByteArray, QByteArray>;

/** Whether a peer with @p uid and @p gid may open an object of @p mode,
 *  owned by @p owner and @p group, to read and/or to write. Root may. */
bool permitted(mode_t mode, uid_t owner, gid_t group, uid_t uid, gid_t gid, bool read, bool write);

/**
 * Merges a publisher's write into @p attributes, line by line: "-name"
 * removes, "name:encoding:value" sets, anything else is dropped. False, and
 * nothing changed, if the object would no longer fit in one message
 * (headed "@<objectName>").
 */
bool merge(Attributes *attributes, const QByteArray &objectName, const QByteArray &write);

/** The whole object as every subscriber receives it. */
QByteArray wholeObject(const QByteArray &objectName, const Attributes &attributes);

/**
 * What "LIST" answers for @p directory ("/pps/a", with or without a
 * trailing '/'), given the paths of the objects that exist: 0 and one name
 * a line (subdirectories end with '/'), ENOTDIR if it names an object,
 * ENOENT if nothing lies below it (an empty /pps is no error).
 */
int listDirectory(const std::vector<QString> &objects, QString directory, QByteArray *names);

} // namespace broker
} // namespace omdevice

#endif
