#ifndef OMDEVICE_BROKER_REGISTRY_H
#define OMDEVICE_BROKER_REGISTRY_H

// The objects of the bus and their files under the root. Every object has
// a mirror file for QFileInfo and ls, with its owner and mode. A plain
// object lives in the broker; a control object lives in its server, whose
// listening sockets lie beside the mirror.
//
// Every file operation goes through the root's descriptor with *at() calls
// and O_NOFOLLOW, one component at a time: a symbolic link in the tree, put
// there by whoever, is never followed, so nothing outside the root is ever
// made, changed or removed.

#include "broker/policy.h"

#include <QString>

#include <map>
#include <set>
#include <sys/types.h>
#include <vector>

namespace omdevice {
namespace broker {

struct Connection;

struct Object
{
    QString path;
    QByteArray name; // the last component of the path
    bool isServer = false;
    Connection *server = nullptr; // a control object's registration
    uid_t uid = 0;
    gid_t gid = 0;
    mode_t mode = 0666;
    // A plain object that stays when its last client has gone; any other
    // goes with it.
    bool persistent = false;
    std::set<Connection *> clients; // of a plain object
    Attributes attributes;
};

class Registry
{
public:
    /** @p rootFd: the root's descriptor (see om::bus::openRoot()), which
     *  stays the caller's and must outlive the registry. */
    explicit Registry(int rootFd);
    ~Registry();
    Registry(const Registry &) = delete;
    Registry &operator=(const Registry &) = delete;

    Object *find(const QString &path) const;

    /** A new plain object with its mirror file; null with *error set if the
     *  file cannot be made (EBUSY: another file is in its place). */
    Object *createPlain(const QString &path, uid_t uid, gid_t gid, mode_t mode, int *error);

    /**
     * A control object served by @p server: its file, owned by @p uid and
     * @p gid with @p mode, and beside it the three listening sockets of
     * its server (for reading, for writing, for both; see socketPath()),
     * which replace any a dead server left there. Returns the object and
     * puts the sockets in *listeners, in the order write, read, both; null
     * with *error set on failure.
     */
    Object *serve(const QString &path, Connection *server, uid_t uid, gid_t gid, mode_t mode,
                  std::vector<int> *listeners, int *error);

    /** Takes an object and its files away. */
    void remove(Object *object);

    std::vector<QString> paths() const;

    /** Removes every file under the root but the broker's own (@p keep). */
    void clearFiles(const std::vector<QByteArray> &keep);

private:
    int openParent(const QString &objectPath, bool create, QByteArray *name, int *error) const;
    bool writeMirror(int directory, const QByteArray &name, uid_t uid, gid_t gid, mode_t mode,
                     int *error) const;
    int makeSocket(int directory, const QByteArray &name, uid_t uid, gid_t gid, mode_t mode,
                   int *error) const;
    void removeFiles(const Object *object) const;
    Object *add(const QString &path, uid_t uid, gid_t gid, mode_t mode);

    int m_root;
    std::map<QString, Object *> m_objects;
};

} // namespace broker
} // namespace omdevice

#endif
