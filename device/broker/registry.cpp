#include "broker/registry.h"

#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace omdevice {
namespace broker {

Registry::Registry(const QString &root) : m_root(root) {}

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

QByteArray Registry::filePath(const QString &objectPath) const
{
    return om::bus::mirrorPath(m_root, objectPath);
}

bool Registry::makeDirectories(const QString &objectPath, int *error) const
{
    const QString directory = QFileInfo(QFile::decodeName(filePath(objectPath))).absolutePath();
    if (QDir().mkpath(directory))
        return true;
    *error = EACCES;
    return false;
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

void Registry::writeMirror(const QByteArray &file, uid_t uid, gid_t gid, mode_t mode) const
{
    // There for QFileInfo and ls, not for reading: empty, with the
    // object's owner and mode.
    const int fd = ::open(file.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    ::fchmod(fd, mode);
    if (::geteuid() == 0)
        (void)::fchown(fd, uid, gid);
    ::close(fd);
}

// A listening socket at @p file with @p mode and owner; -1 with *error set.
int Registry::makeSocket(const QByteArray &file, uid_t uid, gid_t gid, mode_t mode,
                         int *error) const
{
    // Made under a name no object can have, then put in place in one step:
    // a client never finds a socket whose mode is not set yet, and one that
    // a killed server left is replaced, never reused.
    static std::atomic<unsigned> serial{0};
    const int slash = file.lastIndexOf('/');
    const QByteArray temporary = file.left(slash + 1) + ".new." + QByteArray::number(::getpid()) +
                                 '.' + QByteArray::number(++serial);
    const om::bus::SocketAddress address(temporary);
    if (address.error() != 0) {
        *error = address.error();
        return -1;
    }
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return -1;
    }
    ::unlink(temporary.constData());
    const bool made = ::bind(fd, address.address(), address.length()) == 0 &&
                      ::chmod(temporary.constData(), mode) == 0 &&
                      (::geteuid() != 0 || ::lchown(temporary.constData(), uid, gid) == 0) &&
                      ::listen(fd, SOMAXCONN) == 0 &&
                      ::rename(temporary.constData(), file.constData()) == 0;
    if (!made) {
        *error = errno;
        qCWarning(om::bus::lcBus) << "cannot make the socket" << file << ":" << strerror(errno);
        ::close(fd);
        ::unlink(temporary.constData());
        return -1;
    }
    return fd;
}

Object *Registry::createPlain(const QString &path, uid_t uid, gid_t gid, mode_t mode, int *error)
{
    if (!makeDirectories(path, error))
        return nullptr;
    writeMirror(filePath(path), uid, gid, mode);
    return add(path, uid, gid, mode);
}

Object *Registry::serve(const QString &path, Connection *server, uid_t uid, gid_t gid, mode_t mode,
                        std::vector<int> *listeners, int *error)
{
    if (!makeDirectories(path, error))
        return nullptr;
    const QByteArray file = filePath(path);
    struct stat st;
    if (::lstat(file.constData(), &st) == 0 && S_ISDIR(st.st_mode)) {
        *error = EBUSY; // the directory of other objects
        return nullptr;
    }
    // Each socket lets in whom the object's mode grants its access: the
    // kernel's check of a connect is the object's own.
    for (const int access : {om::bus::Write, om::bus::Read, om::bus::ReadWrite}) {
        const int fd = makeSocket(om::bus::socketPath(file, access), uid, gid,
                                  om::bus::socketMode(mode, access), error);
        if (fd < 0) {
            for (const int made : *listeners)
                ::close(made);
            listeners->clear();
            unlinkAll(file);
            return nullptr;
        }
        listeners->push_back(fd);
    }
    writeMirror(file, uid, gid, mode);
    Object *o = add(path, uid, gid, mode);
    o->isServer = true;
    o->server = server;
    return o;
}

void Registry::unlinkAll(const QByteArray &file) const
{
    ::unlink(file.constData());
    for (const int access : {om::bus::Write, om::bus::Read, om::bus::ReadWrite})
        ::unlink(om::bus::socketPath(file, access).constData());
}

void Registry::remove(Object *object)
{
    const QByteArray file = filePath(object->path);
    if (object->isServer)
        unlinkAll(file);
    else
        ::unlink(file.constData());
    removeEmptyDirectories(object->path);
    m_objects.erase(object->path);
    delete object;
}

void Registry::removeEmptyDirectories(const QString &objectPath) const
{
    QDir dir = QFileInfo(QFile::decodeName(filePath(objectPath))).absoluteDir();
    const QString rootPath = QDir(m_root).absolutePath();
    while (dir.absolutePath() != rootPath && dir.absolutePath().startsWith(rootPath)) {
        const QString name = dir.dirName();
        if (!dir.cdUp() || !dir.rmdir(name))
            break;
    }
}

std::vector<QString> Registry::paths() const
{
    std::vector<QString> paths;
    paths.reserve(m_objects.size());
    for (const auto &entry : m_objects)
        paths.push_back(entry.first);
    return paths;
}

void Registry::clearFiles()
{
    QDir dir(m_root);
    const QStringList entries =
        dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden);
    for (const QString &entry : entries) {
        // The broker's own: its socket and its lock.
        if (entry == QLatin1String(om::bus::socketName()) ||
            entry == QLatin1String(om::bus::lockName()))
            continue;
        const QString path = m_root + QLatin1Char('/') + entry;
        if (QFileInfo(path).isDir())
            QDir(path).removeRecursively();
        else
            QFile::remove(path);
    }
}

} // namespace broker
} // namespace omdevice
