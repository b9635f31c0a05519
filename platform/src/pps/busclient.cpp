#include "busprotocol_p.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace om {
namespace bus {

// What the bus does for a client, for a developer looking for a cause:
// QT_LOGGING_RULES="om.bus.info=true" shows it.
Q_LOGGING_CATEGORY(lcBus, "om.bus", QtWarningMsg)

QString rootDirectory()
{
    const QByteArray root = qgetenv("OM_PPS_ROOT");
    if (!root.isEmpty())
        return QDir::cleanPath(QString::fromLocal8Bit(root));
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty())
        return QDir::cleanPath(QString::fromLocal8Bit(runtime)) + QLatin1String("/om-pps");
    return QStringLiteral("/tmp/om-pps-%1").arg(::getuid());
}

QString packageName()
{
    if (qEnvironmentVariableIsSet("OM_PACKAGE_NAME"))
        return qEnvironmentVariable("OM_PACKAGE_NAME");
    static const QString executable =
        QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).fileName();
    return executable;
}

QByteArray openRequest(const QString &objectPath, int mode, const QString &options)
{
    QByteArray request = "OPEN\n";
    request += QFile::encodeName(objectPath);
    request += '\n';
    request += QByteArray::number(mode);
    request += '\n';
    request += options.toUtf8();
    request += '\n';
    request += packageName().toUtf8();
    return request;
}

ssize_t receive(int fd, int flags, QByteArray *data)
{
    thread_local char buffer[MaxDatagram];
    ssize_t n;
    do {
        n = ::recv(fd, buffer, sizeof buffer, flags);
    } while (n < 0 && errno == EINTR);
    if (n > 0)
        *data = QByteArray(buffer, int(n));
    return n;
}

// Connects to the broker and sends one request. Returns the descriptor, or
// -1 with *error set.
int connectAndSend(const QByteArray &message, int *error)
{
    const QByteArray socketPath =
        QFile::encodeName(rootDirectory() + QLatin1Char('/') + QLatin1String(socketName()));
    sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (socketPath.size() >= int(sizeof addr.sun_path)) {
        *error = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(addr.sun_path, socketPath.constData(), size_t(socketPath.size()));

    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return -1;
    }
    if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) < 0) {
        // A missing socket and a dead one both mean: no broker.
        *error = (errno == ENOENT || errno == ECONNREFUSED) ? ECONNREFUSED : errno;
        ::close(fd);
        if (*error == ECONNREFUSED)
            qCInfo(lcBus, "no bus broker at %s; start omdeviced", qPrintable(rootDirectory()));
        else
            qCInfo(lcBus, "cannot reach the bus broker at %s: %s", qPrintable(rootDirectory()),
                   std::strerror(*error));
        return -1;
    }
    ssize_t n;
    do {
        n = ::send(fd, message.constData(), size_t(message.size()), MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    if (n < 0) {
        *error = errno;
        ::close(fd);
        return -1;
    }
    *error = 0;
    return fd;
}

// Reads the broker's answer: true with the body after the errno line, or
// false with *error set (the broker's errno, or why nothing could be read).
bool receiveAnswer(int fd, QByteArray *body, int *error)
{
    QByteArray buf;
    const ssize_t n = receive(fd, 0, &buf);
    if (n <= 0) {
        *error = n == 0 ? ECONNRESET : errno;
        return false;
    }
    const int nl = buf.indexOf('\n');
    bool numberOk = false;
    const int code = (nl < 0 ? buf : buf.left(nl)).toInt(&numberOk);
    if (!numberOk || code < 0) {
        *error = EPROTO;
        return false;
    }
    if (code != 0) {
        *error = code;
        return false;
    }
    *body = nl < 0 ? QByteArray() : buf.mid(nl + 1);
    *error = 0;
    return true;
}

bool request(const QByteArray &message, QByteArray *answer, int *error, int *fdOut, bool keepOpen)
{
    const int fd = connectAndSend(message, error);
    if (fd < 0)
        return false;
    if (!receiveAnswer(fd, answer, error)) {
        ::close(fd);
        return false;
    }
    if (keepOpen && fdOut)
        *fdOut = fd;
    else
        ::close(fd);
    return true;
}

} // namespace bus
} // namespace om
