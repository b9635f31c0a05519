#include "busprotocol_p.h"

#include "bussocket_p.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace om {
namespace bus {

namespace {

// What the environment says, kept while it says the same: every open needs
// the root and the package, and working them out again each time costs more
// than the system calls of a whole call on the bus.
struct Environment
{
    QByteArray ppsRoot;
    QByteArray runtime;
    QString root;
    QByteArray rootBytes;
    bool rootKnown = false;
    // The root no one named: checked before every use (see usableRoot()).
    bool fallback = false;

    QByteArray packageVariable;
    bool packageSet = false;
    QString package;
    QByteArray packageUtf8;
    bool packageKnown = false;
};

Environment &environment()
{
    thread_local Environment e;
    return e;
}

const Environment &rootOf()
{
    Environment &e = environment();
    const QByteArray ppsRoot = qgetenv("OM_PPS_ROOT");
    const QByteArray runtime = ppsRoot.isEmpty() ? qgetenv("XDG_RUNTIME_DIR") : QByteArray();
    if (e.rootKnown && ppsRoot == e.ppsRoot && runtime == e.runtime)
        return e;
    e.ppsRoot = ppsRoot;
    e.runtime = runtime;
    e.fallback = false;
    if (!ppsRoot.isEmpty()) {
        e.root = QDir::cleanPath(QString::fromLocal8Bit(ppsRoot));
    } else if (!runtime.isEmpty()) {
        e.root = QDir::cleanPath(QString::fromLocal8Bit(runtime)) + QLatin1String("/om-pps");
    } else {
        e.root = QStringLiteral("/tmp/om-pps-%1").arg(::getuid());
        e.fallback = true;
    }
    e.rootBytes = fileName(e.root);
    e.rootKnown = true;
    return e;
}

const Environment &packageOf()
{
    Environment &e = environment();
    const bool set = qEnvironmentVariableIsSet("OM_PACKAGE_NAME");
    const QByteArray variable = set ? qgetenv("OM_PACKAGE_NAME") : QByteArray();
    if (e.packageKnown && set == e.packageSet && variable == e.packageVariable)
        return e;
    e.packageSet = set;
    e.packageVariable = variable;
    if (set) {
        e.package = qEnvironmentVariable("OM_PACKAGE_NAME");
    } else {
        static const QString executable =
            QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).fileName();
        e.package = executable;
    }
    e.packageUtf8 = e.package.toUtf8();
    e.packageKnown = true;
    return e;
}

} // namespace

QString rootDirectory()
{
    return rootOf().root;
}

QByteArray rootPath()
{
    return rootOf().rootBytes;
}

namespace {

// False, with *error ECONNREFUSED, if the root is the fallback under /tmp
// and someone else could have made it: a bus there is nobody's to trust.
bool usableRoot(int *error)
{
    const Environment &e = rootOf();
    if (!e.fallback)
        return true;
    QString why;
    if (trustedRoot(e.rootBytes, &why))
        return true;
    static bool warned = false;
    if (!warned) {
        warned = true;
        qCWarning(lcBus).noquote() << why << "- not used as the bus root";
    }
    *error = ECONNREFUSED;
    return false;
}

} // namespace

QString packageName()
{
    return packageOf().package;
}

bool fitsOneMessage(const QByteArray &objectPath, const QByteArray &options)
{
    return objectPath.size() <= MaxObjectPath &&
           5 + objectPath.size() + 3 + options.size() + 1 + packageOf().packageUtf8.size() +
                   int(sizeof ",separate") <=
               MaxMessage;
}

QByteArray openRequest(const QByteArray &objectPath, int mode, const QByteArray &options)
{
    const QByteArray &package = packageOf().packageUtf8;
    QByteArray request;
    request.reserve(5 + objectPath.size() + 4 + options.size() + 1 + package.size());
    request += "OPEN\n";
    request += objectPath;
    request += '\n';
    request += char('0' + (mode & 7));
    request += '\n';
    request += options;
    request += '\n';
    request += package;
    return request;
}

ssize_t sendMessage(int fd, const QByteArray &data)
{
    ssize_t n;
    do {
        n = ::send(fd, data.constData(), size_t(data.size()), MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return n;
}

ssize_t receive(int fd, int flags, QByteArray *data, int limit)
{
    thread_local char buffer[MaxDatagram];
    ssize_t n;
    // MSG_TRUNC makes the kernel tell the datagram's whole length, however
    // much of it fits in the buffer.
    do {
        n = ::recv(fd, buffer, sizeof buffer, flags | MSG_TRUNC);
    } while (n < 0 && errno == EINTR);
    if (n > limit || n > ssize_t(sizeof buffer)) {
        errno = EMSGSIZE;
        return -1;
    }
    if (n > 0)
        *data = QByteArray(buffer, int(n));
    return n;
}

int connectAndSend(const QByteArray &message, int *error)
{
    if (!usableRoot(error))
        return -1;
    const SocketAddress address(rootPath() + '/' + socketName());
    if (address.error() != 0) {
        // No root directory: no broker.
        *error = address.error() == ENOENT ? ECONNREFUSED : address.error();
        qCInfo(lcBus, "no bus broker at %s; start omdeviced", qPrintable(rootDirectory()));
        return -1;
    }
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return -1;
    }
    if (::connect(fd, address.address(), address.length()) < 0) {
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
    if (message.isEmpty()) {
        *error = 0;
        return fd;
    }
    if (sendMessage(fd, message) < 0) {
        *error = errno;
        ::close(fd);
        return -1;
    }
    *error = 0;
    return fd;
}

bool receiveAnswer(int fd, QByteArray *body, int *error, int *descriptors, int *count)
{
    QByteArray buf;
    ssize_t n;
    if (descriptors) {
        thread_local char buffer[MaxDatagram];
        do {
            n = receiveWithDescriptors(fd, buffer, sizeof buffer, descriptors, count, 0);
        } while (n < 0 && errno == EINTR);
        if (n > 0)
            buf = QByteArray(buffer, int(n));
    } else {
        n = receive(fd, 0, &buf);
    }
    if (n <= 0) {
        *error = n == 0 ? ECONNRESET : errno;
        return false;
    }
    const int nl = buf.indexOf('\n');
    bool numberOk = false;
    const int code = (nl < 0 ? buf : buf.left(nl)).toInt(&numberOk);
    if (!numberOk || code < 0)
        *error = EPROTO;
    else
        *error = code;
    if (*error != 0) {
        for (int k = 0; descriptors && k < *count; ++k)
            ::close(descriptors[k]);
        if (count)
            *count = 0;
        return false;
    }
    *body = nl < 0 ? QByteArray() : buf.mid(nl + 1);
    return true;
}

int connectToServer(const QByteArray &objectPath, int mode, const QByteArray &preface, int *error,
                    bool *notServed)
{
    *notServed = false;
    if (!usableRoot(error))
        return -1;
    const QByteArray path = socketPath(mirrorPath(rootPath(), objectPath), mode);
    const SocketAddress address(path);
    if (address.error() != 0) {
        *error = address.error();
        *notServed = *error == ENOENT || *error == ENOTDIR;
        return -1;
    }
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error = errno;
        return -1;
    }
    // A blocking connect: with the server's backlog full it waits until the
    // server takes a connection, and fails at once if the server goes. The
    // kernel refuses (EACCES) whom the object's mode refuses this access.
    int result;
    do {
        result = ::connect(fd, address.address(), address.length());
    } while (result < 0 && errno == EINTR);
    if (result < 0) {
        const int failure = errno;
        ::close(fd);
        // No socket, or one nobody listens on: no server.
        *notServed = failure == ENOENT || failure == ENOTDIR || failure == ECONNREFUSED;
        *error = *notServed ? ENOENT : failure;
        return -1;
    }
    if (sendMessage(fd, preface) < 0) {
        // The server went between the connect and now.
        ::close(fd);
        *notServed = true;
        *error = ENOENT;
        return -1;
    }
    *error = 0;
    return fd;
}

bool brokerRunning()
{
    int error = 0;
    const int fd = connectAndSend(QByteArray(), &error);
    if (fd < 0)
        return error != ECONNREFUSED;
    ::close(fd);
    return true;
}

bool peerClosed(int fd)
{
    pollfd p{fd, POLLRDHUP, 0};
    return ::poll(&p, 1, 0) > 0 && (p.revents & POLLHUP);
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
