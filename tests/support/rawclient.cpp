#include "rawclient.h"

#include "pps/bussocket_p.h"

#include <om/ppsobject.h>

#include <QFile>

#include <sys/socket.h>
#include <unistd.h>

namespace omtest {
namespace raw {

int connectTo(const QByteArray &socketFile)
{
    const om::bus::SocketAddress address(socketFile);
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (address.error() != 0 || ::connect(fd, address.address(), address.length()) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

QByteArray openRequest(const QByteArray &object, int mode)
{
    return "OPEN\n" + object + '\n' + QByteArray::number(mode & 7) + "\n\ntest";
}

QByteArray busSocket()
{
    return QFile::encodeName(om::PpsObject::rootDirectory() + QStringLiteral("/.bus"));
}

QByteArray serverSocket(const QString &object)
{
    return om::bus::socketPath(QFile::encodeName(om::PpsObject::mirrorFilePath(object)),
                               om::bus::ReadWrite);
}

} // namespace raw
} // namespace omtest
