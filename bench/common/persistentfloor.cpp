#include "persistentfloor.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombench {

PersistentFloor::PersistentFloor(int requestBytes, int answerBytes)
    : m_out(size_t(requestBytes), 'q'), m_in(size_t(answerBytes) + 65536)
{
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) != 0)
        return;
    // The child makes no allocation after the fork: its buffers are made here.
    std::vector<char> in(size_t(requestBytes) + 65536);
    const std::vector<char> answer(size_t(answerBytes), 'a');
    m_child = ::fork();
    if (m_child == 0) {
        ::close(pair[0]);
        while (::recv(pair[1], in.data(), in.size(), 0) > 0)
            ::send(pair[1], answer.data(), answer.size(), MSG_NOSIGNAL);
        ::_exit(0);
    }
    ::close(pair[1]);
    m_fd = pair[0];
}

PersistentFloor::~PersistentFloor()
{
    ::close(m_fd);
    if (m_child > 0)
        ::waitpid(m_child, nullptr, 0);
}

void PersistentFloor::roundTrip()
{
    ::send(m_fd, m_out.data(), m_out.size(), MSG_NOSIGNAL);
    ::recv(m_fd, m_in.data(), m_in.size(), 0);
}

void PersistentFloor::inFlight(int count)
{
    int sent = 0;
    int received = 0;
    while (received < count) {
        pollfd p = {m_fd, short(POLLIN | (sent < count ? POLLOUT : 0)), 0};
        ::poll(&p, 1, -1);
        if ((p.revents & POLLOUT) &&
            sent<count && ::send(m_fd, m_out.data(), m_out.size(), MSG_NOSIGNAL | MSG_DONTWAIT)> 0)
            ++sent;
        if (p.revents & POLLIN) {
            while (::recv(m_fd, m_in.data(), m_in.size(), MSG_DONTWAIT) > 0)
                ++received;
        }
    }
}

} // namespace ombench
