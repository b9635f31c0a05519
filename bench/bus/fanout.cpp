#include "fanout.h"

#include "rawdbus.h"

#include <csignal>
#include <cstdint>
#include <map>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombench {

namespace {

[[noreturn]] void read(FanoutReaders::Framing framing, int messagesPerBurst,
                       const std::vector<int> &fds, int out)
{
    const int poll = ::epoll_create1(0);
    std::map<int, dbus::Framer> framers;
    for (const int fd : fds) {
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.fd = fd;
        ::epoll_ctl(poll, EPOLL_CTL_ADD, fd, &ev);
    }
    const long perBurst = long(messagesPerBurst) * long(fds.size());
    long count = 0;
    // Each read takes all that waits, as a read of a stream does: datagrams
    // up to 64 at a time.
    constexpr int Batch = 64;
    static char buffer[70000];
    static char small[Batch][512];
    iovec iov[Batch];
    mmsghdr messages[Batch];
    for (int k = 0; k < Batch; ++k) {
        iov[k] = iovec{small[k], sizeof small[k]};
        messages[k] = mmsghdr{};
        messages[k].msg_hdr.msg_iov = &iov[k];
        messages[k].msg_hdr.msg_iovlen = 1;
    }
    for (;;) {
        epoll_event ready[64];
        const int n = ::epoll_wait(poll, ready, 64, -1);
        for (int i = 0; i < n; ++i) {
            const int fd = ready[i].data.fd;
            for (;;) {
                if (framing == FanoutReaders::Datagrams) {
                    const int got = ::recvmmsg(fd, messages, Batch, MSG_DONTWAIT, nullptr);
                    if (got <= 0)
                        break;
                    count += got;
                    continue;
                }
                const ssize_t got = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
                if (got <= 0)
                    break;
                count += framers[fd].feed(buffer, size_t(got), 4);
            }
        }
        while (count >= perBurst) {
            count -= perBurst;
            (void)!::write(out, "b", 1);
        }
    }
}

} // namespace

FanoutReaders::FanoutReaders(Framing framing, int messagesPerBurst,
                             const std::function<std::vector<int>()> &open)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return;
    m_pid = ::fork();
    if (m_pid == 0) {
        ::close(fds[0]);
        const std::vector<int> subscribers = open();
        const unsigned char count =
            subscribers.empty() ? 0 : static_cast<unsigned char>(subscribers.size());
        (void)!::write(fds[1], &count, 1);
        if (subscribers.empty())
            ::_exit(1);
        read(framing, messagesPerBurst, subscribers, fds[1]);
    }
    ::close(fds[1]);
    m_pipe = fds[0];
    unsigned char count = 0;
    m_ready = ::read(m_pipe, &count, 1) == 1 && count > 0;
    m_subscribers = count;
}

FanoutReaders::~FanoutReaders()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    if (m_pipe >= 0)
        ::close(m_pipe);
}

bool FanoutReaders::waitForBurst()
{
    char c;
    return ::read(m_pipe, &c, 1) == 1;
}

} // namespace ombench
