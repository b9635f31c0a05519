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
#include <unistd.h>
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

/** Where an application keeps objects of its own: "/pps/applications/<uid>/
 *  <package>/", with its user's id and the package it named. */
QByteArray applicationArea(uid_t uid, const QByteArray &package);

/**
 * Who may claim a path: serve a control object there, or create a plain
 * object (and make one persistent). The device's owner (the user the broker
 * runs as) and root may anywhere; anyone else in the area of its own
 * applications, and where the policy file lets it.
 */
class ClaimPolicy
{
public:
    // Persist: create a plain object that stays when its last client ends.
    enum Claim { Serve, Create, Persist };

    explicit ClaimPolicy(uid_t owner = ::geteuid()) : m_owner(owner) {}

    /**
     * Reads the policy file @p path: one rule a line, "serve <path> <user>"
     * or "create <path> <user>" (which lets it create persistent objects
     * too), where a path that ends with '/' stands for
     * everything below it and a user is a name or a number; '#' begins a
     * comment. False with *error set (the line and why) for a file that
     * cannot be read or has a line that is no rule.
     */
    bool load(const QString &path, QString *error);

    /** Whether @p uid may make the claim on @p path, the client having
     *  named @p package. Its own applications' area lets it serve and
     *  create there, but not leave objects behind. */
    bool allows(Claim claim, const QByteArray &path, uid_t uid, const QByteArray &package) const;
    /** Whether @p uid is the device's owner or root. */
    bool isOwner(uid_t uid) const { return uid == 0 || uid == m_owner; }

private:
    struct Rule
    {
        Claim claim;
        QByteArray path;
        uid_t uid;
    };
    uid_t m_owner;
    std::vector<Rule> m_rules;
};

} // namespace broker
} // namespace omdevice

#endif
