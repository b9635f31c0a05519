#ifndef OM_SERVERENDPOINT_P_H
#define OM_SERVERENDPOINT_P_H

#include <QByteArray>
#include <QString>

#include <deque>
#include <map>
#include <memory>
#include <sys/types.h>

namespace om {
namespace bus {

/**
 * The server's side of a control object. The server registers the object
 * with the broker, which answers with listening sockets beside the object's
 * file; clients connect there and talk to the server directly. This class
 * presents their traffic as one stream of messages: "+@name.<id>" with the
 * client's pid, uid, gid and package when a client has opened, "@name.<id>"
 * and the client's text for what it writes, "-@name.<id>" when it is gone.
 * A message headed "@<anything>.<id>" goes to that client, which reads it
 * headed "@<anything>"; anything else goes to every client that reads.
 * A client's access is that of the socket it came through: what a client
 * that may not write writes is dropped, and one that may not read is sent
 * nothing.
 *
 * The registration stays open for as long as the server serves: the broker
 * takes the object away when it ends, however the server ends.
 */
class ServerEndpoint
{
public:
    /** Registers @p objectPath with the broker by @p request (an open
     *  request with the "server" option). Null with *error set if refused. */
    static std::unique_ptr<ServerEndpoint> open(const QString &objectPath,
                                                const QByteArray &request, int *error);
    ~ServerEndpoint();

    ServerEndpoint(const ServerEndpoint &) = delete;
    ServerEndpoint &operator=(const ServerEndpoint &) = delete;

    /** Readable when there is something to read or to send. */
    int descriptor() const { return m_poll; }

    /** Sends what waits for room; returns whether messages wait to be read. */
    bool service();

    /** One message; false with *error EAGAIN when there is none (without
     *  @p blocking), or ENOTCONN once when the broker went away. */
    bool read(bool blocking, QByteArray *data, int *error);

    bool write(const QByteArray &data, int *error);

    /** Takes no new clients, ends the connections of those it has (they
     *  open again once the object is served again), and returns once the
     *  broker has taken the object away: a new open then fails with ENOENT. */
    void close();

private:
    ServerEndpoint(int link, const int *listeners, const QByteArray &objectName);

    struct Client
    {
        int fd = -1;
        pid_t pid = 0;
        uid_t uid = 0;
        gid_t gid = 0;
        // Its supplementary groups, "[1,2]", as the kernel had them when it
        // connected: a service that reads a file the client names checks
        // them.
        QByteArray groups;
        bool announced = false; // its preface came, the server knows it
        bool reads = true;      // it came through a socket for reading
        bool writes = true;     // ... for writing
        bool shutOut = false;   // ended by the server; kept until its end
        std::deque<QByteArray> out;
        size_t outBytes = 0;
        bool watchingOut = false;
    };

    enum Outcome { Message, Nothing, Failed };
    bool poll(int timeoutMs);
    Outcome readLink(int *error);
    void acceptClient(int access);
    void closeListeners();
    Outcome readClient(quint64 id, QByteArray *data);
    QByteArray announcement(quint64 id, const Client &client, const QByteArray &preface) const;
    void forget(quint64 id);
    void shutOut(quint64 id, Client &client);
    void notice(const QByteArray &text);
    QByteArray departure(quint64 id) const;
    QByteArray headed(char mark, quint64 id, const QByteArray &text) const;
    void sendTo(quint64 id, Client &client, const QByteArray &text);
    void flush(quint64 id, Client &client);
    void watch(quint64 id, Client &client, bool out);

    int m_poll = -1;
    int m_link = -1; // the registration with the broker
    // Where clients connect, by the access they get: index access - 1.
    int m_listeners[3] = {-1, -1, -1};
    int m_wake = -1; // readable while notices wait
    QByteArray m_name;
    quint64 m_nextId = 1;
    std::map<quint64, Client> m_clients;
    // Connections the last poll found readable, not read yet.
    std::deque<quint64> m_ready;
    // Messages of the endpoint's own making, read before anything else.
    std::deque<QByteArray> m_notices;
};

} // namespace bus
} // namespace om

#endif
