#ifndef OMDEVICE_BROKER_REGISTRY_H
#define OMDEVICE_BROKER_REGISTRY_H

// The objects of the bus and their files under the root. Every object has
// a mirror file for QFileInfo and ls, with its owner and mode. A plain
// object lives in the broker; a control object lives in its server, whose
// listening sockets lie beside the mirror.

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
    std::set<Connection *> clients; // of a plain object
    Attributes attributes;
};

class Registry
{
public:
    explicit Registry(const QString &root);
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

    /** Removes every file under the root but the broker's own. */
    void clearFiles();

private:
    QByteArray filePath(const QString &objectPath) const;
    bool makeDirectories(const QString &objectPath, int *error) const;
    void writeMirror(const QByteArray &file, uid_t uid, gid_t gid, mode_t mode) const;
    int makeSocket(const QByteArray &file, uid_t uid, gid_t gid, mode_t mode, int *error) const;
    void removeEmptyDirectories(const QString &objectPath) const;
    void unlinkAll(const QByteArray &file) const;
    Object *add(const QString &path, uid_t uid, gid_t gid, mode_t mode);

    QString m_root;
    std::map<QString, Object *> m_objects;
};

} // namespace broker
} // namespace omdevice

#endif
