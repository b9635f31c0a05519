#ifndef OMBENCH_FANOUT_H
#define OMBENCH_FANOUT_H

#include <functional>
#include <vector>

namespace ombench {

/**
 * The subscribers of a fan-out, in a child process of their own: one epoll
 * set over all of them, each message read and counted, nothing parsed
 * beyond framing. The child tells its parent, by one byte on a pipe, each
 * time a burst has reached every subscriber.
 */
class FanoutReaders
{
public:
    enum Framing { Datagrams, DBusStream };

    /** Forks the child, which runs @p open to get its descriptors; returns
     *  once they are open (ready() false if that failed). */
    FanoutReaders(Framing framing, int messagesPerBurst,
                  const std::function<std::vector<int>()> &open);
    ~FanoutReaders();
    FanoutReaders(const FanoutReaders &) = delete;
    FanoutReaders &operator=(const FanoutReaders &) = delete;

    bool ready() const { return m_ready; }
    int subscribers() const { return m_subscribers; }
    /** Waits until the next burst has reached every subscriber. */
    bool waitForBurst();

private:
    int m_pid = -1;
    int m_pipe = -1;
    int m_subscribers = 0;
    bool m_ready = false;
};

} // namespace ombench

#endif
