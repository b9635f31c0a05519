#ifndef OMTEST_RAWCLIENT_H
#define OMTEST_RAWCLIENT_H

#include <QByteArray>

namespace omtest {

/**
 * A client of the bus that does not go through the library, as a program
 * that makes its own sockets would be: it may send what the library never
 * would.
 */
namespace raw {

/** A connected SOCK_SEQPACKET socket to @p socketFile; -1 if none. */
int connectTo(const QByteArray &socketFile);

/** The open request a client sends first (to the broker, or as its
 *  preface to a server), for @p object opened with @p mode. */
QByteArray openRequest(const QByteArray &object, int mode);

/** The broker's socket under the current root. */
QByteArray busSocket();

/** The socket of the control object @p object's server for reading and
 *  writing. */
QByteArray serverSocket(const QString &object);

} // namespace raw
} // namespace omtest

#endif
