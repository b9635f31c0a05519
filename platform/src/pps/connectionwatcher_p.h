#ifndef OM_CONNECTIONWATCHER_P_H
#define OM_CONNECTIONWATCHER_P_H

#include <QObject>

#include <functional>
#include <unordered_map>

class QSocketNotifier;

namespace om {
namespace bus {

/**
 * Watches the connections of every PpsObject of one thread through one
 * epoll set, which the thread's event loop sees as a single descriptor.
 *
 * An application that sends one message at a time opens and closes a
 * connection for each. Were each connection a socket notifier of its own,
 * every open and close would change the event loop's list of descriptors;
 * the GLib loop answers each such change with a wake-up and a whole extra
 * turn. Here an open or close changes only the epoll set.
 */
class ConnectionWatcher : public QObject
{
public:
    /** What became of the connection: EPOLLIN, EPOLLRDHUP, EPOLLHUP... */
    using Callback = std::function<void(unsigned events)>;

    /** The watcher of the calling thread, made on first use; null if the
     *  thread has no event loop to tell. */
    static ConnectionWatcher *current();

    /** Watches @p fd for reading until remove(); returns the token that
     *  names it there, or 0 if the system refused. */
    quint64 add(int fd, Callback callback);
    /** Stops watching; @p fd must still be open. */
    void remove(quint64 token, int fd);

    ~ConnectionWatcher() override;

private:
    explicit ConnectionWatcher(int epollFd);
    // Made before a fork() that made this process.
    bool inherited() const;
    void dispatch();

    struct Entry
    {
        int fd;
        Callback callback;
    };

    int m_epoll;
    QSocketNotifier *m_notifier;
    quint64 m_nextToken = 1;
    quint64 m_round = 0;
    int m_forks;
    // Tokens are never reused, so a connection closed and a new one opened
    // on the same descriptor number are never mistaken for each other.
    std::unordered_map<quint64, Entry> m_entries;
};

} // namespace bus
} // namespace om

#endif
