#ifndef OM_BUSSOCKET_P_H
#define OM_BUSSOCKET_P_H

// Pieces of the bus that the platform layer and the broker share: where an
// object's file lies, how a socket file is addressed, and the logging
// category of the bus.

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

namespace om {
namespace bus {

Q_DECLARE_LOGGING_CATEGORY(lcBus)

/** @p name as the file system has it: QFile::encodeName, with a shortcut
 *  for ASCII, which every codec keeps as it is. */
QByteArray fileName(const QString &name);

/** The file of the object @p objectPath ("/pps/...") under @p root, which
 *  stands for /pps. */
QByteArray mirrorPath(const QString &root, const QString &objectPath);
QByteArray mirrorPath(const QByteArray &root, const QByteArray &objectPath);

/**
 * A control object's server listens on three sockets beside the object's
 * file, one for each way to open it: ".<name>.r" for reading, ".<name>.w"
 * for writing, ".<name>.rw" for both. Each has the mode that lets exactly
 * those in whom the object's mode allows that access, so that the kernel's
 * check of a connect (may the caller write the socket file?) is the
 * object's own. No object's name begins with a dot.
 */
enum Access { Write = 1, Read = 2, ReadWrite = 3 };
QByteArray socketPath(const QByteArray &mirror, int access);
/** The mode of the socket for @p access to an object of @p objectMode. */
mode_t socketMode(mode_t objectMode, int access);

/**
 * The address of the socket file at @p path. A socket address holds 107
 * bytes of path; a longer path is reached through a descriptor of its
 * directory, as /proc/self/fd/<n>/<name>, which lives as long as this
 * object.
 */
class SocketAddress
{
public:
    explicit SocketAddress(const QByteArray &path);
    /** The socket file @p name in the directory open as @p directory,
     *  reached as /proc/self/fd/<directory>/<name>: no link on the way to
     *  it is followed again. The descriptor stays the caller's. */
    SocketAddress(int directory, const QByteArray &name);
    ~SocketAddress();
    SocketAddress(const SocketAddress &) = delete;
    SocketAddress &operator=(const SocketAddress &) = delete;

    /** 0, or why the path cannot be addressed (ENAMETOOLONG, or what
     *  opening its directory gave). */
    int error() const { return m_error; }
    const sockaddr *address() const { return reinterpret_cast<const sockaddr *>(&m_address); }
    socklen_t length() const { return m_length; }

private:
    sockaddr_un m_address;
    socklen_t m_length = 0;
    int m_directory = -1;
    int m_error = 0;
};

/**
 * Opens the bus root @p path (absolute) for a broker: each component is
 * opened from "/" with O_NOFOLLOW, so that no symbolic link anywhere on the
 * path is followed, and with @p create the missing ones are made with mode
 * 0700. The root must be a directory of this process's user that no one
 * else may write in. Returns an O_PATH descriptor of the root, or -1 with
 * *why saying what is wrong with it.
 */
int openRoot(const QByteArray &path, bool create, QString *why);

/**
 * Whether a client may use @p path as the bus root without having been
 * told to: a directory, not a symbolic link, of this process's user or of
 * root, that no one else may write in. A root anyone could have made first
 * (the fallback under /tmp) would let its maker play the device.
 */
bool trustedRoot(const QByteArray &path, QString *why);

} // namespace bus
} // namespace om

#endif
