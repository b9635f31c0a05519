#include "broker/registry.h"

#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"

#include <QList>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace omdevice {
namespace broker {

namespace {

constexpr int DirectoryFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// The components of an object's path below /pps.
QList<QByteArray> componentsOf(const QString &objectPath)
{
    return om::bus::fileName(objectPath).mid(5).split('/');
}

// Removes everything in @p directory but the names in @p keep, going down
// into directories by descriptor and never through a link.
void removeContents(int directory, const std::vector<QByteArray> &keep)
{
    const int listed = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (listed < 0)
        return;
    DIR *dir = ::fdopendir(listed);
    if (!dir) {
        ::close(listed);
        return;
    }
    std::vector<QByteArray> names;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name == "." || name == ".." || std::find(keep.begin(), keep.end(), name) != keep.end())
            continue;
        names.push_back(name);
    }
    ::closedir(dir);
    for (const QByteArray &name : names) {
        struct stat st;
        if (::fstatat(directory, name.constData(), &st, AT_SYMLINK_NOFOLLOW) < 0)
            continue;
        if (S_ISDIR(st.st_mode)) {
            const int below = ::openat(directory, name.constData(), DirectoryFlags);
            if (below < 0)
                continue;
            removeContents(below, {});
            ::close(below);
            ::unlinkat(directory, name.constData(), AT_REMOVEDIR);
        } else {
            ::unlinkat(directory, name.constData(), 0);
        }
    }
}

} // namespace

Registry::Registry(int rootFd) : m_root(rootFd) {}

Registry::~Registry()
{
    for (auto &entry : m_objects)
        delete entry.second;
}

Object *Registry::find(const QString &path) const
{
    auto it = m_objects.find(path);
    return it == m_objects.end() ? nullptr : it->second;
}

// The directory that holds the object's files, opened one component at a
// time from the root; with @p create, missing ones are made. Returns its
// descriptor and puts the object's own name in *name; -1 with *error set.
int Registry::openParent(const QString &objectPath, bool create, QByteArray *name,
                         int *error) const
{
    QList<QByteArray> parts = componentsOf(objectPath);
    *name = parts.takeLast();
    int fd = ::openat(m_root, ".", DirectoryFlags);
    for (const QByteArray &part : qAsConst(parts)) {
        if (fd < 0)
            break;
        int next = ::openat(fd, part.constData(), DirectoryFlags);
        if (next < 0 && errno == ENOENT && create) {
            if (::mkdirat(fd, part.constData(), 0755) == 0 || errno == EEXIST)
                next = ::openat(fd, part.constData(), DirectoryFlags);
        }
        const int failure = errno;
        ::close(fd);
        fd = next;
        errno = failure;
    }
    if (fd < 0) {
        // A link or a file where a directory should be is someone else's
        // doing: the object cannot be made there.
        const int failure = errno;
        *error = (failure == ENOTDIR || failure == ELOOP) ? EBUSY : EACCES;
        qCWarning(om::bus::lcBus).nospace() << "cannot make the directory of " << objectPath << ": "
                                            << strerror(failure);
    }
    return fd;
}

Object *Registry::add(const QString &path, uid_t uid, gid_t gid, mode_t mode)
{
    auto *o = new Object;
    o->path = path;
    o->name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1).toUtf8();
    o->uid = uid;
    o->gid = gid;
    o->mode = mode;
    m_objects[path] = o;
    return o;
}

bool Registry::writeMirror(int directory, const QByteArray &name, uid_t uid, gid_t gid,
                           mode_t mode, int *error) const
{
    // There for QFileInfo and ls, not for reading: empty, with the
    // object's owner and mode. Made new, so that whatever was in its
    // place (a link, another file's hard link) is left alone.
    struct stat st;
    if (::fstatat(directory, name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISDIR(st.st_mode)) {
        *error = EBUSY; // the directory of other objects
        return false;
    }
    ::unlinkat(directory, name.constData(), 0);
    const int fd = ::openat(directory, name.constData(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = EACCES;
        return false;
    }
    ::fchmod(fd, mode);
    if (::geteuid() == 0)
        (void)::fchown(fd, uid, gid);
    ::close(fd);
    return true;
}

// A listening socket named @p name in @p directory with @p mode and owner;
// -1 with *error set.
int Registry::makeSocket(int directory, const QByteArray &name, uid_t uid, gid_t gid, mode_t mode,
                         int *error) const
{
    // Made under a name no object can have, then put in place in one step:
    // a client never finds a socket whose mode is not set yet, and one that
    // a killed server left is replaced, never reused.
    static std::atomic<unsigned> serial{0};
    const QByteArray temporary =
        ".new." + QByteArray::number(::getpid()) + '.' + QByteArray::number(++serial);
    const om::bus::SocketAddress address(directory, temporary);
    if (address.error() != 0) {
        *error = address.error();
        return -1;
    }
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return -1;
    }
    ::unlinkat(directory, temporary.constData(), 0);
    const bool made =
        ::bind(fd, address.address(), address.length()) == 0 &&
        ::fchmodat(directory, temporary.constData(), mode, 0) == 0 &&
        (::geteuid() != 0 ||
         ::fchownat(directory, temporary.constData(), uid, gid, AT_SYMLINK_NOFOLLOW) == 0) &&
        ::listen(fd, SOMAXCONN) == 0 &&
        ::renameat(directory, temporary.constData(), directory, name.constData()) == 0;
    if (!made) {
        *error = errno;
        qCWarning(om::bus::lcBus) << "cannot make the socket" << name << ":" << strerror(errno);
        ::close(fd);
        ::unlinkat(directory, temporary.constData(), 0);
        return -1;
    }
    return fd;
}

Object *Registry::createPlain(const QString &path, uid_t uid, gid_t gid, mode_t mode, int *error)
{
    QByteArray name;
    const int directory = openParent(path, true, &name, error);
    if (directory < 0)
        return nullptr;
    const bool written = writeMirror(directory, name, uid, gid, mode, error);
    ::close(directory);
    return written ? add(path, uid, gid, mode) : nullptr;
}

Object *Registry::serve(const QString &path, Connection *server, uid_t uid, gid_t gid, mode_t mode,
                        std::vector<int> *listeners, int *error)
{
    QByteArray name;
    const int directory = openParent(path, true, &name, error);
    if (directory < 0)
        return nullptr;
    struct stat st;
    if (::fstatat(directory, name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISDIR(st.st_mode)) {
        ::close(directory);
        *error = EBUSY; // the directory of other objects
        return nullptr;
    }
    // Each socket lets in whom the object's mode grants its access: the
    // kernel's check of a connect is the object's own.
    bool made = true;
    for (const int access : {om::bus::Write, om::bus::Read, om::bus::ReadWrite}) {
        const int fd = makeSocket(directory, om::bus::socketPath(name, access), uid, gid,
                                  om::bus::socketMode(mode, access), error);
        if (fd < 0) {
            made = false;
            break;
        }
        listeners->push_back(fd);
    }
    made = made && writeMirror(directory, name, uid, gid, mode, error);
    if (!made) {
        for (const int fd : *listeners)
            ::close(fd);
        listeners->clear();
        ::unlinkat(directory, name.constData(), 0);
        for (const int access : {om::bus::Write, om::bus::Read, om::bus::ReadWrite})
            ::unlinkat(directory, om::bus::socketPath(name, access).constData(), 0);
        ::close(directory);
        return nullptr;
    }
    ::close(directory);
    Object *o = add(path, uid, gid, mode);
    o->isServer = true;
    o->server = server;
    return o;
}

void Registry::removeFiles(const Object *object) const
{
    // The object's files, then the directories that held nothing else,
    // from the deepest up to (not including) the root.
    const QList<QByteArray> parts = componentsOf(object->path);
    std::vector<int> directories{::openat(m_root, ".", DirectoryFlags)};
    for (int i = 0; i + 1 < parts.size() && directories.back() >= 0; ++i)
        directories.push_back(::openat(directories.back(), parts.at(i).constData(), DirectoryFlags));
    const int directory = directories.back();
    if (directory >= 0) {
        const QByteArray &name = parts.last();
        ::unlinkat(directory, name.constData(), 0);
        if (object->isServer) {
            for (const int access : {om::bus::Write, om::bus::Read, om::bus::ReadWrite})
                ::unlinkat(directory, om::bus::socketPath(name, access).constData(), 0);
        }
        for (int i = int(directories.size()) - 1; i > 0; --i) {
            if (::unlinkat(directories[size_t(i) - 1], parts.at(i - 1).constData(), AT_REMOVEDIR) <
                0)
                break;
        }
    }
    for (const int fd : directories) {
        if (fd >= 0)
            ::close(fd);
    }
}

void Registry::remove(Object *object)
{
    removeFiles(object);
    m_objects.erase(object->path);
    delete object;
}

std::vector<QString> Registry::paths() const
{
    std::vector<QString> paths;
    paths.reserve(m_objects.size());
    for (const auto &entry : m_objects)
        paths.push_back(entry.first);
    return paths;
}

void Registry::clearFiles(const std::vector<QByteArray> &keep)
{
    removeContents(m_root, keep);
}

} // namespace broker
} // namespace omdevice
