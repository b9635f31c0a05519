#include "broker/connection.h"

#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"

#include <cerrno>
#include <cstring>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace omdevice {
namespace broker {

namespace {

// A client that does not read its messages may hold this much in the
// broker before it is disconnected, so it cannot eat the device's memory.
constexpr size_t MaxQueuedBytes = 32 * 1024 * 1024;

bool wouldBlock(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

ssize_t transmit(int fd, const Outgoing &out)
{
    if (out.descriptors.empty())
        return ::send(fd, out.data.constData(), size_t(out.data.size()),
                      MSG_DONTWAIT | MSG_NOSIGNAL);
    return om::bus::sendWithDescriptors(fd, out.data.constData(), size_t(out.data.size()),
                                        out.descriptors.data(), int(out.descriptors.size()),
                                        MSG_DONTWAIT);
}

void release(Outgoing &out)
{
    for (const int fd : out.descriptors)
        ::close(fd);
    out.descriptors.clear();
}

} // namespace

Connections::Connections(int epollFd) : m_epoll(epollFd), m_buffer(size_t(om::bus::MaxDatagram) + 1)
{
}

Connections::~Connections()
{
    closeAll();
}

Connection *Connections::accept(int listenFd)
{
    const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR && errno != ECONNABORTED)
            qCWarning(om::bus::lcBus) << "the broker cannot take a connection:" << strerror(errno);
        return nullptr;
    }
    ucred cred;
    socklen_t len = sizeof cred;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) < 0) {
        ::close(fd);
        return nullptr;
    }
    auto *c = new Connection;
    c->fd = fd;
    c->uid = cred.uid;
    c->gid = cred.gid;
    c->pid = cred.pid;
    m_connections[fd] = c;
    return c;
}

Connection *Connections::find(int fd) const
{
    auto it = m_connections.find(fd);
    return it == m_connections.end() ? nullptr : it->second;
}

void Connections::receive(Connection *c,
                          const std::function<void(Connection *, const QByteArray &)> &handle)
{
    while (!c->doomed) {
        iovec iov{m_buffer.data(), m_buffer.size()};
        msghdr msg;
        std::memset(&msg, 0, sizeof msg);
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        const ssize_t n = ::recvmsg(c->fd, &msg, MSG_DONTWAIT);
        if (n < 0) {
            // A peer that closed with unread data in its queue makes the
            // first read fail with ECONNRESET, before the messages it sent
            // last: read on, they follow, then the end.
            if (errno == EINTR || errno == ECONNRESET)
                continue;
            if (!wouldBlock(errno))
                doom(c);
            return;
        }
        if (n == 0) {
            doom(c);
            return;
        }
        // Over-long messages are dropped; a client of ours never sends one.
        if ((msg.msg_flags & MSG_TRUNC) || n > om::bus::MaxMessage)
            continue;
        handle(c, QByteArray(m_buffer.data(), int(n)));
    }
}

void Connections::send(Connection *c, Outgoing out)
{
    if (c->doomed || c->writeClosed) {
        release(out);
        return;
    }
    if (c->queue.empty()) {
        if (transmit(c->fd, out) >= 0) {
            release(out);
            return;
        }
        if (!wouldBlock(errno)) {
            release(out);
            stopWriting(c);
            return;
        }
    }
    c->queuedBytes += size_t(out.data.size());
    c->queue.push_back(std::move(out));
    if (c->queuedBytes > MaxQueuedBytes) {
        qCWarning(om::bus::lcBus).nospace() << "the broker disconnected a client (pid " << c->pid
                                            << ") that left " << c->queuedBytes << " bytes unread";
        doom(c);
        return;
    }
    rewatch(c);
}

void Connections::flush(Connection *c)
{
    while (!c->queue.empty()) {
        Outgoing &out = c->queue.front();
        if (transmit(c->fd, out) < 0) {
            if (!wouldBlock(errno))
                stopWriting(c);
            return;
        }
        c->queuedBytes -= size_t(out.data.size());
        release(out);
        c->queue.pop_front();
    }
    rewatch(c);
}

void Connections::stopWriting(Connection *c)
{
    c->writeClosed = true;
    for (Outgoing &out : c->queue)
        release(out);
    c->queue.clear();
    c->queuedBytes = 0;
    rewatch(c);
}

void Connections::doom(Connection *c)
{
    if (c->doomed)
        return;
    c->doomed = true;
    m_doomed.push_back(c);
}

void Connections::reap(const std::function<void(Connection *)> &detach)
{
    while (!m_doomed.empty()) {
        Connection *c = m_doomed.back();
        m_doomed.pop_back();
        detach(c);
        if (c->watched != 0)
            ::epoll_ctl(m_epoll, EPOLL_CTL_DEL, c->fd, nullptr);
        for (Outgoing &out : c->queue)
            release(out);
        ::close(c->fd);
        m_connections.erase(c->fd);
        delete c;
    }
}

void Connections::rewatch(Connection *c)
{
    uint32_t events = EPOLLIN | EPOLLRDHUP;
    if (!c->queue.empty())
        events |= EPOLLOUT;
    if (events == c->watched)
        return;
    const int operation = c->watched == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    c->watched = events;
    om::bus::watchInPoll(m_epoll, operation, c->fd, quint64(c->fd), events);
}

void Connections::closeAll()
{
    for (auto &entry : m_connections) {
        for (Outgoing &out : entry.second->queue)
            release(out);
        ::close(entry.second->fd);
        delete entry.second;
    }
    m_connections.clear();
    m_doomed.clear();
}

} // namespace broker
} // namespace omdevice
