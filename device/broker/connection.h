#ifndef OMDEVICE_BROKER_CONNECTION_H
#define OMDEVICE_BROKER_CONNECTION_H

// The broker's connections: who is at the other end, what waits to be sent
// to it, and the poll set that tells when it can be read or written.

#include <QByteArray>

#include <deque>
#include <functional>
#include <map>
#include <sys/types.h>
#include <vector>

namespace omdevice {
namespace broker {

struct Object;

/** A message waiting to be sent, with the descriptors that go along with
 *  it (closed once sent or dropped), if any. */
struct Outgoing
{
    QByteArray data;
    std::vector<int> descriptors;
};

struct Connection
{
    int fd = -1;
    uid_t uid = 0;
    gid_t gid = 0;
    pid_t pid = 0;
    bool open = false; // its request has been answered
    bool readable = false;
    bool writable = false;
    bool isServer = false; // the registration of a control object's server
    bool doomed = false;
    // The peer no longer reads (it closed); what it wrote before is still
    // read and delivered, up to the end of the connection.
    bool writeClosed = false;
    Object *object = nullptr;
    std::deque<Outgoing> queue;
    size_t queuedBytes = 0;
    uint32_t watched = 0; // 0: not yet in the poll set
};

/**
 * Every connection of the broker, keyed by descriptor. A connection that
 * ends or misbehaves is doomed and closed by reap(), after the round of
 * the poll loop that found it, so that no handler meets a closed one.
 */
class Connections
{
public:
    explicit Connections(int epollFd);
    ~Connections();
    Connections(const Connections &) = delete;
    Connections &operator=(const Connections &) = delete;

    /** Takes one new connection from @p listenFd, with its peer's
     *  credentials; null if none was waiting. */
    Connection *accept(int listenFd);
    Connection *find(int fd) const;

    /** Reads every waiting datagram of @p c and hands each to @p handle,
     *  until none is left or the connection is doomed. */
    void receive(Connection *c,
                 const std::function<void(Connection *, const QByteArray &)> &handle);

    /** Sends at once if it can, else queues; a peer that lets more than
     *  32 MiB pile up is disconnected. */
    void send(Connection *c, Outgoing out);
    void send(Connection *c, const QByteArray &data) { send(c, Outgoing{data, {}}); }
    /** Sends what waits, as far as the peer takes it. */
    void flush(Connection *c);

    void doom(Connection *c);
    /** Closes the doomed connections, each after @p detach. */
    void reap(const std::function<void(Connection *)> &detach);
    /** Watches @p c for what it needs: its messages and its end, and room
     *  to write while something waits. */
    void rewatch(Connection *c);
    void closeAll();

private:
    void stopWriting(Connection *c);

    int m_epoll;
    std::map<int, Connection *> m_connections;
    std::vector<Connection *> m_doomed;
    std::vector<char> m_buffer;
};

} // namespace broker
} // namespace omdevice

#endif
