#ifndef OM_BUSPROTOCOL_P_H
#define OM_BUSPROTOCOL_P_H

// The conversations of the bus, each on a SOCK_SEQPACKET connection of its
// own, one datagram a message.
//
// A control object's client connects straight to the object's server: the
// object's file under the root is the server's listening socket. Its first
// datagram, the preface, is an open request (below); every datagram after
// it is one message of PPS text, both ways.
//
// Everything else goes through the broker, at the root's ".bus" socket:
//
//   client -> broker   "OPEN\n<object path>\n<mode flags>\n<options>\n<package>"
//   broker -> client   "<errno>\n" followed, on success, by the object's
//                      current content for a subscriber of a plain object;
//                      for a server's open ("server" among the options) the
//                      answer carries the listening socket (SCM_RIGHTS),
//                      and the connection stays as the server's registration
//
//   client -> broker   "LIST\n<directory path>"
//   broker -> client   "<errno>\n" followed by one name a line
//
// After a successful OPEN of a plain object every datagram is one message
// of PPS text.

#include <QByteArray>
#include <QString>

#include <cstring>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

namespace om {
namespace bus {

constexpr int MaxMessage = 64 * 1024;
// Room for the routing header that the broker puts before a message.
constexpr int MaxDatagram = MaxMessage + 4096;
// The kernel refuses a datagram longer than twice this send buffer less a
// little bookkeeping; this value puts that limit right at MaxMessage, so
// raw writes on a pps_open() descriptor fail with EMSGSIZE like PpsObject's.
constexpr int ClientSendBuffer = (MaxMessage + 32) / 2;

inline const char *socketName()
{
    return ".bus";
}
inline const char *lockName()
{
    return ".lock";
}

QString rootDirectory();
// The same, as the file system names it.
QByteArray rootPath();

// The running application's package: OM_PACKAGE_NAME if set, else the file
// name of the executable. A client names it when it opens a control object,
// so that the service knows which application it talks to.
QString packageName();

// The open request for @p objectPath.
QByteArray openRequest(const QByteArray &objectPath, int mode, const QByteArray &options);

// Sends @p data as one datagram, blocking while the far side has no room;
// -1 with errno on failure. A peer that is gone gives EPIPE, not SIGPIPE.
ssize_t sendMessage(int fd, const QByteArray &data);

// Receives one datagram into a buffer that is reused for every receive of
// this thread, and returns a copy of just what arrived. A fresh buffer of
// MaxDatagram bytes for every message costs more than the message itself.
// Returns the byte count, 0 at the end of the connection, -1 with errno.
ssize_t receive(int fd, int flags, QByteArray *data);

// One datagram of @p iov with @p control for a passed descriptor.
// The listening sockets of a control object go to its server in one answer.
constexpr int MaxPassedDescriptors = 3;

inline msghdr messageWithRoomForDescriptors(iovec *iov, char *control, size_t controlSize)
{
    msghdr msg;
    std::memset(&msg, 0, sizeof msg);
    msg.msg_iov = iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = controlSize;
    return msg;
}

// Sends one datagram with @p count descriptors passed along (SCM_RIGHTS):
// how the broker gives a server its listening sockets.
inline ssize_t sendWithDescriptors(int socket, const char *data, size_t size,
                                   const int *descriptors, int count, int flags)
{
    iovec iov{const_cast<char *>(data), size};
    char control[CMSG_SPACE(sizeof(int) * MaxPassedDescriptors)];
    std::memset(control, 0, sizeof control);
    msghdr msg =
        messageWithRoomForDescriptors(&iov, control, CMSG_SPACE(sizeof(int) * size_t(count)));
    cmsghdr *cmsg = CMSG_FIRSTHDR(&msg);
    cmsg->cmsg_level = SOL_SOCKET;
    cmsg->cmsg_type = SCM_RIGHTS;
    cmsg->cmsg_len = CMSG_LEN(sizeof(int) * size_t(count));
    std::memcpy(CMSG_DATA(cmsg), descriptors, sizeof(int) * size_t(count));
    return ::sendmsg(socket, &msg, flags | MSG_NOSIGNAL);
}

// Receives one datagram into @p data, and the descriptors that came with it
// into @p descriptors (at most MaxPassedDescriptors); *count tells how many.
inline ssize_t receiveWithDescriptors(int socket, char *data, size_t size, int *descriptors,
                                      int *count, int flags)
{
    iovec iov{data, size};
    char control[CMSG_SPACE(sizeof(int) * MaxPassedDescriptors)];
    msghdr msg = messageWithRoomForDescriptors(&iov, control, sizeof control);
    const ssize_t n = ::recvmsg(socket, &msg, flags | MSG_CMSG_CLOEXEC);
    *count = 0;
    if (n < 0)
        return n;
    for (cmsghdr *c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS)
            continue;
        const int passed = int((c->cmsg_len - CMSG_LEN(0)) / sizeof(int));
        for (int k = 0; k < passed; ++k) {
            int fd;
            std::memcpy(&fd, CMSG_DATA(c) + sizeof(int) * size_t(k), sizeof fd);
            if (*count < MaxPassedDescriptors)
                descriptors[(*count)++] = fd;
            else
                ::close(fd);
        }
    }
    return n;
}

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

// Splits "/pps/a/b?wait,server" into the object path and its option text.
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
// With @p descriptors, takes the descriptors that came with it (at most
// MaxPassedDescriptors) and sets *count.
bool receiveAnswer(int fd, QByteArray *body, int *error, int *descriptors = nullptr,
                   int *count = nullptr);

// Connects to the server of the control object @p objectPath, through its
// socket for @p mode (PpsOpenMode flags), and sends it @p preface. Returns
// the connected descriptor, or -1 with *error set; *notServed tells that
// nothing serves the path (no socket, or one whose server is gone), so
// that the broker is the one to ask.
int connectToServer(const QByteArray &objectPath, int mode, const QByteArray &preface, int *error,
                    bool *notServed);

// Whether a broker serves the root: a connection to it is taken.
bool brokerRunning();

// Whether the far side of @p fd closed the connection (rather than only
// stopped writing to it, as a server that shuts a client out does).
bool peerClosed(int fd);

// Connects to the broker and runs one request; returns the broker's answer
// body (after the errno line) or sets *error. On success *fd stays open when
// keepOpen is true.
bool request(const QByteArray &message, QByteArray *answer, int *error, int *fd, bool keepOpen);

} // namespace bus
} // namespace om

#endif
