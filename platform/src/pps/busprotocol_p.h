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
#include <QString>

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

// Splits "/pps/a/b?wait,server" into the object path and its option text.
inline void splitPath(const QString &full, QString *object, QString *options)
{
    const int q = full.indexOf(QLatin1Char('?'));
    *object = q < 0 ? full : full.left(q);
    *options = q < 0 ? QString() : full.mid(q + 1);
}

// Connects to the broker and runs one request; returns the broker's answer
// body (after the errno line) or sets *error. On success *fd stays open when
// keepOpen is true.
bool request(const QByteArray &message, QByteArray *answer, int *error, int *fd, bool keepOpen);

} // namespace bus
} // namespace om

#endif
