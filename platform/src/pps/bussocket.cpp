#include "bussocket_p.h"

#include <QFile>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace om {
namespace bus {

Q_LOGGING_CATEGORY(lcBus, "om.bus", QtWarningMsg)

QByteArray fileName(const QString &name)
{
    const QChar *c = name.constData();
    for (int i = 0, n = name.size(); i < n; ++i) {
        if (c[i].unicode() >= 0x80)
            return QFile::encodeName(name);
    }
    return name.toLatin1();
}

QByteArray mirrorPath(const QString &root, const QString &objectPath)
{
    return mirrorPath(fileName(root), fileName(objectPath));
}

QByteArray mirrorPath(const QByteArray &root, const QByteArray &objectPath)
{
    QByteArray path;
    path.reserve(root.size() + objectPath.size());
    path += root;
    path.append(objectPath.constData() + 4, objectPath.size() - 4);
    return path;
}

QByteArray socketPath(const QByteArray &mirror, int access)
{
    const int slash = mirror.lastIndexOf('/');
    QByteArray path;
    path.reserve(mirror.size() + 4);
    path.append(mirror.constData(), slash + 1);
    path += '.';
    path.append(mirror.constData() + slash + 1, mirror.size() - slash - 1);
    path += (access & 3) == ReadWrite ? ".rw" : (access & Read) ? ".r" : ".w";
    return path;
}

mode_t socketMode(mode_t objectMode, int access)
{
    mode_t mode = 0;
    for (const int shift : {6, 3, 0}) {
        const mode_t bits = (objectMode >> shift) & 7;
        const bool allowed = (!(access & Read) || (bits & 4)) && (!(access & Write) || (bits & 2));
        if (allowed)
            mode |= mode_t(6) << shift;
    }
    return mode;
}

SocketAddress::SocketAddress(const QByteArray &path)
{
    std::memset(&m_address, 0, sizeof m_address);
    m_address.sun_family = AF_UNIX;
    QByteArray name = path;
    if (path.size() >= int(sizeof m_address.sun_path)) {
        const int slash = path.lastIndexOf('/');
        if (slash <= 0) {
            m_error = ENAMETOOLONG;
            return;
        }
        m_directory = ::open(path.left(slash).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (m_directory < 0) {
            m_error = errno;
            return;
        }
        name = "/proc/self/fd/" + QByteArray::number(m_directory) + path.mid(slash);
        if (name.size() >= int(sizeof m_address.sun_path)) {
            m_error = ENAMETOOLONG;
            return;
        }
    }
    std::memcpy(m_address.sun_path, name.constData(), size_t(name.size()));
    m_length = socklen_t(offsetof(sockaddr_un, sun_path) + size_t(name.size()) + 1);
}

SocketAddress::SocketAddress(int directory, const QByteArray &name)
{
    std::memset(&m_address, 0, sizeof m_address);
    m_address.sun_family = AF_UNIX;
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(directory) + '/' + name;
    if (path.size() >= int(sizeof m_address.sun_path)) {
        m_error = ENAMETOOLONG;
        return;
    }
    std::memcpy(m_address.sun_path, path.constData(), size_t(path.size()));
    m_length = socklen_t(offsetof(sockaddr_un, sun_path) + size_t(path.size()) + 1);
}

SocketAddress::~SocketAddress()
{
    if (m_directory >= 0)
        ::close(m_directory);
}

namespace {

QString modeText(mode_t mode)
{
    return QStringLiteral("0%1").arg(uint(mode & 07777), 3, 8, QLatin1Char('0'));
}

// What is wrong with a root whose status is @p st; empty if nothing.
QString rootProblem(const QByteArray &path, const struct stat &st, bool rootMayOwn)
{
    const QString name = QFile::decodeName(path);
    if (S_ISLNK(st.st_mode))
        return QStringLiteral("%1 is a symbolic link").arg(name);
    if (!S_ISDIR(st.st_mode))
        return QStringLiteral("%1 is not a directory").arg(name);
    if (st.st_uid != ::geteuid() && !(rootMayOwn && st.st_uid == 0))
        return QStringLiteral("%1 belongs to uid %2, not to uid %3")
            .arg(name)
            .arg(st.st_uid)
            .arg(::geteuid());
    if (st.st_mode & (S_IWGRP | S_IWOTH))
        return QStringLiteral("%1 may be written by others (mode %2)")
            .arg(name, modeText(st.st_mode));
    return QString();
}

} // namespace

int openRoot(const QByteArray &path, bool create, QString *why)
{
    if (!path.startsWith('/')) {
        *why = QStringLiteral("the bus root %1 is not an absolute path").arg(QFile::decodeName(path));
        return -1;
    }
    int fd = ::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        *why = QStringLiteral("cannot open /: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return -1;
    }
    QByteArray walked;
    const QList<QByteArray> parts = path.split('/');
    for (const QByteArray &part : parts) {
        if (part.isEmpty() || part == ".")
            continue;
        walked += '/' + part;
        if (part == "..") {
            *why = QStringLiteral("the bus root %1 goes up with '..'").arg(QFile::decodeName(path));
            ::close(fd);
            return -1;
        }
        int next = ::openat(fd, part.constData(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0 && errno == ENOENT && create) {
            if (::mkdirat(fd, part.constData(), 0700) == 0 || errno == EEXIST)
                next = ::openat(fd, part.constData(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        }
        if (next < 0) {
            const int error = errno;
            struct stat st;
            const bool exists = ::fstatat(fd, part.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0;
            if (exists && S_ISLNK(st.st_mode))
                *why = QStringLiteral("%1 is a symbolic link").arg(QFile::decodeName(walked));
            else if (exists && !S_ISDIR(st.st_mode))
                *why = QStringLiteral("%1 is not a directory").arg(QFile::decodeName(walked));
            else
                *why = QStringLiteral("cannot open %1: %2")
                           .arg(QFile::decodeName(walked), QString::fromLocal8Bit(strerror(error)));
            ::close(fd);
            return -1;
        }
        ::close(fd);
        fd = next;
    }
    struct stat st;
    if (::fstat(fd, &st) < 0) {
        *why = QStringLiteral("cannot examine %1: %2")
                   .arg(QFile::decodeName(path), QString::fromLocal8Bit(strerror(errno)));
        ::close(fd);
        return -1;
    }
    *why = rootProblem(path, st, false);
    if (!why->isEmpty()) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool trustedRoot(const QByteArray &path, QString *why)
{
    struct stat st;
    if (::lstat(path.constData(), &st) < 0) {
        // Nothing there: no bus, which the connect will tell.
        why->clear();
        return errno == ENOENT;
    }
    *why = rootProblem(path, st, true);
    return why->isEmpty();
}

} // namespace bus
} // namespace om
