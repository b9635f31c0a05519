#include "connectionwatcher_p.h"

#include "busprotocol_p.h"

#include <QSocketNotifier>
#include <QThread>
#include <QThreadStorage>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <pthread.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace om {
namespace bus {

namespace {
// Deletes a thread's watcher when the thread ends, before its event loop
// goes.
QThreadStorage<ConnectionWatcher *> s_watchers;

// Counts the forks that made this process. A child made by fork() shares
// its parent's epoll sets: it must neither watch through them nor change
// them, so it makes its own.
std::atomic<int> s_forks{0};

void countFork()
{
    s_forks.fetch_add(1, std::memory_order_relaxed);
}
} // namespace

ConnectionWatcher *ConnectionWatcher::current()
{
    static std::once_flag registered;
    std::call_once(registered, []() { ::pthread_atfork(nullptr, nullptr, countFork); });
    if (s_watchers.hasLocalData()) {
        ConnectionWatcher *watcher = s_watchers.localData();
        if (watcher && !watcher->inherited())
            return watcher;
        // Deletes the inherited one; its objects stop being watched.
        s_watchers.setLocalData(nullptr);
    }
    if (!QThread::currentThread()->eventDispatcher())
        return nullptr;
    const int epollFd = ::epoll_create1(EPOLL_CLOEXEC);
    if (epollFd < 0)
        return nullptr;
    auto *watcher = new ConnectionWatcher(epollFd);
    s_watchers.setLocalData(watcher);
    return watcher;
}

ConnectionWatcher::ConnectionWatcher(int epollFd)
    : m_epoll(epollFd), m_notifier(new QSocketNotifier(epollFd, QSocketNotifier::Read, this)),
      m_forks(s_forks.load(std::memory_order_relaxed))
{
    connect(m_notifier, &QSocketNotifier::activated, this, &ConnectionWatcher::dispatch);
}

bool ConnectionWatcher::inherited() const
{
    return m_forks != s_forks.load(std::memory_order_relaxed);
}

ConnectionWatcher::~ConnectionWatcher()
{
    delete m_notifier;
    ::close(m_epoll);
}

quint64 ConnectionWatcher::add(int fd, Callback callback)
{
    const quint64 token = m_nextToken++;
    // The end of the connection is reported apart from its data, so that
    // only then does the owner have to look whether anything is left.
    if (watchInPoll(m_epoll, EPOLL_CTL_ADD, fd, token, EPOLLIN | EPOLLRDHUP) != 0)
        return 0;
    m_entries.emplace(token, Entry{fd, std::move(callback)});
    return token;
}

void ConnectionWatcher::remove(quint64 token, int fd)
{
    if (m_entries.erase(token) != 0 && !inherited())
        ::epoll_ctl(m_epoll, EPOLL_CTL_DEL, fd, nullptr);
}

void ConnectionWatcher::dispatch()
{
    if (inherited()) {
        // What the set reports is the parent's.
        m_notifier->setEnabled(false);
        return;
    }
    epoll_event events[16];
    int n;
    do {
        n = ::epoll_wait(m_epoll, events, 16, 0);
    } while (n < 0 && errno == EINTR);
    const quint64 round = ++m_round;
    for (int i = 0; i < n; ++i) {
        // A callback that runs an event loop of its own dispatches again in
        // there. What this round found is stale then; whatever is still
        // ready comes again, since the set reports levels, not edges.
        if (m_round != round)
            return;
        const auto it = m_entries.find(events[i].data.u64);
        if (it == m_entries.end())
            continue; // removed by an earlier callback of this round
        // A copy: the callback may remove its own entry.
        const Callback callback = it->second.callback;
        callback(events[i].events);
    }
}

} // namespace bus
} // namespace om
