#include "bussocket_p.h"

#include <QFile>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
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

SocketAddress::~SocketAddress()
{
    if (m_directory >= 0)
        ::close(m_directory);
}

} // namespace bus
} // namespace om
