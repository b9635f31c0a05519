#ifndef OM_BUSPOLICY_P_H
#define OM_BUSPOLICY_P_H

// The rules of the bus that both ends apply, with no socket in sight: which
// object paths exist at all, which options an open may carry, and how an
// open request reads. The broker checks them for the opens it answers; a
// client checks them before it touches the file system, since a control
// object's server is reached without the broker.

#include <QByteArray>
#include <QString>

#include <sys/types.h>

namespace om {
namespace bus {

/** What the options after '?' in a path ask for. */
struct OpenOptions
{
    bool wait = false;
    bool server = false;
    bool create = false;
    bool separate = false;
    bool persistent = false; // a plain object that outlives its last client
    bool hasMode = false;
    mode_t mode = 0666;
};

/** Parses "wait,server,mode=0640". False for an unknown option or a mode
 *  that is no octal number up to 0777. */
bool parseOptions(const QByteArray &text, OpenOptions *options);

/** A path below /pps whose every component is non-empty, does not begin
 *  with a dot, and holds no '?' or NUL; at most 1024 bytes. */
bool validObjectPath(const QByteArray &path);

/** "/pps", or a valid object path, with or without a trailing '/'. */
bool validDirectoryPath(const QByteArray &path);

/**
 * An open request, as the broker and a control object's server read it:
 * "OPEN\n<object path>\n<mode flags>\n<options>\n<package>". The server of a
 * control object gets the same text as the first datagram of a new client,
 * the preface, and takes the client's package from it.
 */
struct OpenRequest
{
    QByteArray path;
    int mode = 0; // PpsOpenMode flags: 1 publish, 2 subscribe, 4 create
    QByteArray options;
    QByteArray package;

    bool wantsRead() const { return mode & 2; }
    bool wantsWrite() const { return mode & 1; }
};

/** False if @p text is no open request: no "OPEN" line, a mode that is not
 *  a number, or fewer than three lines. Path and options are not checked. */
bool parseOpenRequest(const QByteArray &text, OpenRequest *request);

/** A package name as one attribute line can carry it: control characters
 *  and backslashes become '?'. */
QByteArray lineSafe(QByteArray text);

} // namespace bus
} // namespace om

#endif
