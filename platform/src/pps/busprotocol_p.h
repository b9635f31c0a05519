#ifndef OM_BUSPROTOCOL_P_H
#define OM_BUSPROTOCOL_P_H

// The conversation between a bus client and the broker, on one
// SOCK_SEQPACKET connection per opened object:
//
//   client -> broker   "OPEN\n<object path>\n<mode flags>\n<options>\n<package>"
//   broker -> client   "<errno>\n" followed, on success, by the object's
//                      current content for a subscriber of a plain object
//
//   client -> broker   "LIST\n<directory path>"
//   broker -> client   "<errno>\n" followed by one name a line
//
// After a successful OPEN every datagram is one message of PPS text.

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

#include <cstring>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace om {
namespace bus {

constexpr int MaxMessage = 64 * 1024;
// Room for the routing header that the broker puts before a message.
constexpr int MaxDatagram = MaxMessage + 4096;
// The kernel refuses a datagram longer than twice this send buffer less a
// little bookkeeping; this value puts that limit right at MaxMessage, so
// raw writes on a pps_open() descriptor fail with EMSGSIZE like PpsObject's.
constexpr int ClientSendBuffer = (MaxMessage + 32) / 2;

inline const char *socketName() { return ".bus"; }
inline const char *lockName() { return ".lock"; }

QString rootDirectory();
/** The category of the bus's log, "om.bus". */
Q_DECLARE_LOGGING_CATEGORY(lcBus)

// The running application's package: OM_PACKAGE_NAME if set, else the file
// name of the executable. A client names it when it opens a control object,
// so that the service knows which application it talks to.
QString packageName();

// The open request for @p objectPath.
QByteArray openRequest(const QString &objectPath, int mode, const QString &options);

// Receives one datagram into a buffer that is reused for every receive of
// this thread, and returns a copy of just what arrived. A fresh buffer of
// MaxDatagram bytes for every message costs more than the message itself.
// Returns the byte count, 0 at the end of the connection, -1 with errno.
ssize_t receive(int fd, int flags, QByteArray *data);

// One datagram of @p iov with @p control for a passed descriptor.
inline msghdr messageWithRoomForDescriptor(iovec *iov, char *control, size_t controlSize)
{
    msghdr msg;
    std::memset(&msg, 0, sizeof msg);
    msg.msg_iov = iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = controlSize;
    return msg;
}

// Sends one datagram with @p descriptor passed along (SCM_RIGHTS): how the
// broker hands a client's connection to a server.
inline ssize_t sendWithDescriptor(int socket, const char *data, size_t size, int descriptor, int flags)
{
    iovec iov{const_cast<char *>(data), size};
    char control[CMSG_SPACE(sizeof(int))];
    std::memset(control, 0, sizeof control);
    msghdr msg = messageWithRoomForDescriptor(&iov, control, sizeof control);
    cmsghdr *cmsg = CMSG_FIRSTHDR(&msg);
    cmsg->cmsg_level = SOL_SOCKET;
    cmsg->cmsg_type = SCM_RIGHTS;
    cmsg->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(cmsg), &descriptor, sizeof descriptor);
    return ::sendmsg(socket, &msg, flags | MSG_NOSIGNAL);
}

// Receives one datagram into @p data; *descriptor is the descriptor that came
// with it, or -1.
inline ssize_t receiveWithDescriptor(int socket, char *data, size_t size, int *descriptor, int flags)
{
    iovec iov{data, size};
    char control[CMSG_SPACE(sizeof(int))];
    msghdr msg = messageWithRoomForDescriptor(&iov, control, sizeof control);
    const ssize_t n = ::recvmsg(socket, &msg, flags | MSG_CMSG_CLOEXEC);
    *descriptor = -1;
    if (n < 0)
        return n;
    for (cmsghdr *c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_RIGHTS)
            std::memcpy(descriptor, CMSG_DATA(c), sizeof(int));
    }
    return n;
}

// Splits "/pps/a/b?wait,server" into the object path and its option text.
// Adds @p fd to the epoll set @p poll, or changes what it is watched for
// (op EPOLL_CTL_ADD or EPOLL_CTL_MOD); events come back with @p key.
inline int watchInPoll(int poll, int op, int fd, quint64 key, uint32_t events)
{
    epoll_event ev;
    std::memset(&ev, 0, sizeof ev);
    ev.events = events;
    ev.data.u64 = key;
    return ::epoll_ctl(poll, op, fd, &ev);
}

inline void splitPath(const QString &full, QString *object, QString *options)
{
    const int q = full.indexOf(QLatin1Char('?'));
    *object = q < 0 ? full : full.left(q);
    *options = q < 0 ? QString() : full.mid(q + 1);
}

// Connects to the broker and sends one request. Returns the descriptor, or
// -1 with *error set.
int connectAndSend(const QByteArray &message, int *error);

// Reads the broker's answer: true with the body after the errno line, or
// false with *error set (the broker's errno, or why nothing could be read).
bool receiveAnswer(int fd, QByteArray *body, int *error);

// Connects to the broker and runs one request; returns the broker's answer
// body (after the errno line) or sets *error. On success *fd stays open when
// keepOpen is true.
bool request(const QByteArray &message, QByteArray *answer, int *error, int *fd, bool keepOpen);

} // namespace bus
} // namespace om

#endif
