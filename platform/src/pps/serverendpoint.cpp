#include "serverendpoint_p.h"

#include "busprotocol_p.h"

#include <algorithm>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace om {
namespace bus {

namespace {

// A client that does not read its answers may hold this much in the server
// before it is disconnected, so it cannot eat the server's memory.
constexpr size_t MaxQueuedBytes = 32 * 1024 * 1024;

// The broker's connection in the poll set; clients are known by their ids,
// which start at 1.
constexpr quint64 BrokerKey = 0;

QByteArray withoutHeader(const QByteArray &data)
{
    if (!data.startsWith('@'))
        return data;
    const int nl = data.indexOf('\n');
    return nl < 0 ? QByteArray() : data.mid(nl + 1);
}

} // namespace

ServerEndpoint::ServerEndpoint(int brokerFd, const QByteArray &objectName)
    : m_poll(::epoll_create1(EPOLL_CLOEXEC)), m_broker(brokerFd), m_name(objectName)
{
    watchInPoll(m_poll, EPOLL_CTL_ADD, m_broker, BrokerKey, EPOLLIN);
}

ServerEndpoint::~ServerEndpoint()
{
    dropClients();
    if (m_poll >= 0)
        ::close(m_poll);
}

void ServerEndpoint::dropClients()
{
    for (auto &entry : m_clients)
        ::close(entry.second.fd);
    m_clients.clear();
}

bool ServerEndpoint::poll(int timeoutMs)
{
    epoll_event events[32];
    int n;
    do {
        n = ::epoll_wait(m_poll, events, 32, timeoutMs);
    } while (n < 0 && errno == EINTR);
    for (int i = 0; i < n; ++i) {
        // Room to write is dealt with at once; what is left is to be read.
        const quint64 key = events[i].data.u64;
        if (key != BrokerKey && (events[i].events & EPOLLOUT)) {
            auto it = m_clients.find(key);
            if (it != m_clients.end())
                flush(key, it->second);
        }
        if (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR | EPOLLRDHUP))
            m_ready.push_back(key);
    }
    return n >= 0;
}

bool ServerEndpoint::service()
{
    if (m_ready.empty())
        poll(0);
    return !m_ready.empty();
}

bool ServerEndpoint::read(bool blocking, QByteArray *data, int *error)
{
    for (;;) {
        // What the last poll found is read first; a connection that has
        // more stays ready and comes again with the next poll.
        while (!m_ready.empty()) {
            const quint64 key = m_ready.front();
            m_ready.pop_front();
            const Outcome outcome = key == BrokerKey ? readBroker(data, error) : readClient(key, data);
            if (outcome == Message)
                return true;
            if (outcome == Failed)
                return false;
        }
        if (!poll(blocking ? -1 : 0)) {
            *error = errno;
            return false;
        }
        if (m_ready.empty() && !blocking) {
            *error = EAGAIN;
            return false;
        }
    }
}

ServerEndpoint::Outcome ServerEndpoint::readBroker(QByteArray *data, int *error)
{
    thread_local char buffer[MaxDatagram];
    for (;;) {
        int handed = -1;
        const ssize_t n = receiveWithDescriptor(m_broker, buffer, sizeof buffer, &handed, MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == ECONNRESET))
            continue;
        if (n < 0 && errno == EAGAIN)
            return Nothing;
        if (n <= 0) {
            // The bus went away, and the clients' connections go with it:
            // each client reads its end, and the server reads "-@" for each.
            ::epoll_ctl(m_poll, EPOLL_CTL_DEL, m_broker, nullptr);
            for (auto &entry : m_clients)
                ::shutdown(entry.second.fd, SHUT_RDWR);
            *error = ENOTCONN;
            return Failed;
        }
        *data = QByteArray(buffer, int(n));
        if (handed >= 0) {
            // "+@name.<id>" and the client's attributes.
            const int nl = data->indexOf('\n');
            const QByteArray header = nl < 0 ? *data : data->left(nl);
            const int dot = header.lastIndexOf('.');
            bool ok = false;
            const quint64 id = dot < 0 ? 0 : header.mid(dot + 1).toULongLong(&ok);
            if (!ok || id == BrokerKey || !header.startsWith("+@")) {
                ::close(handed);
                return Nothing;
            }
            addClient(id, handed);
            // A client writes as soon as its open is answered, which is
            // often before the server hears of it: look at once.
            m_ready.push_back(id);
        }
        return Message;
    }
}

ServerEndpoint::Outcome ServerEndpoint::readClient(quint64 id, QByteArray *data)
{
    auto it = m_clients.find(id);
    if (it == m_clients.end())
        return Nothing;
    QByteArray text;
    const ssize_t n = receive(it->second.fd, MSG_DONTWAIT, &text);
    if (n > 0) {
        *data = '@' + m_name + '.' + QByteArray::number(id) + '\n' + withoutHeader(text);
        return Message;
    }
    // A client that closed with answers unread makes one receive fail with
    // ECONNRESET; what it wrote before still follows.
    if (n < 0 && (errno == EAGAIN || errno == ECONNRESET))
        return Nothing;
    dropClient(id);
    *data = "-@" + m_name + '.' + QByteArray::number(id) + '\n';
    return Message;
}

void ServerEndpoint::addClient(quint64 id, int fd)
{
    if (m_clients.count(id)) {
        ::close(fd);
        return;
    }
    Client &client = m_clients[id];
    client.fd = fd;
    watchInPoll(m_poll, EPOLL_CTL_ADD, fd, id, EPOLLIN);
}

void ServerEndpoint::dropClient(quint64 id)
{
    auto it = m_clients.find(id);
    if (it == m_clients.end())
        return;
    ::epoll_ctl(m_poll, EPOLL_CTL_DEL, it->second.fd, nullptr);
    ::close(it->second.fd);
    m_clients.erase(it);
    m_ready.erase(std::remove(m_ready.begin(), m_ready.end(), id), m_ready.end());
}

bool ServerEndpoint::write(const QByteArray &data, int *error)
{
    if (data.size() > MaxMessage) {
        *error = EMSGSIZE;
        return false;
    }
    *error = 0;
    if (data.startsWith('@')) {
        const int nl = data.indexOf('\n');
        const QByteArray header = nl < 0 ? data.mid(1) : data.mid(1, nl - 1);
        const int dot = header.lastIndexOf('.');
        bool isClient = false;
        const quint64 id = dot < 0 ? 0 : header.mid(dot + 1).toULongLong(&isClient);
        if (isClient) {
            // An answer to one client, who reads it headed "@<anything>".
            auto it = m_clients.find(id);
            if (it != m_clients.end())
                sendTo(id, it->second, '@' + header.left(dot) + '\n' + (nl < 0 ? QByteArray() : data.mid(nl + 1)));
            return true;
        }
    }
    const QByteArray text = data.startsWith('@') ? data : '@' + m_name + '\n' + data;
    for (auto &entry : m_clients)
        sendTo(entry.first, entry.second, text);
    return true;
}

void ServerEndpoint::sendTo(quint64 id, Client &client, const QByteArray &text)
{
    if (client.out.empty()) {
        const ssize_t n = ::send(client.fd, text.constData(), size_t(text.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
        // A client that is gone is noticed when its end is read.
        if (n >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS))
            return;
    }
    client.out.push_back(text);
    client.outBytes += size_t(text.size());
    if (client.outBytes > MaxQueuedBytes) {
        // It reads its end, and the server the client's departure.
        ::shutdown(client.fd, SHUT_RDWR);
        client.out.clear();
        client.outBytes = 0;
        watch(id, client, false);
        return;
    }
    watch(id, client, true);
}

void ServerEndpoint::flush(quint64 id, Client &client)
{
    while (!client.out.empty()) {
        const QByteArray &text = client.out.front();
        const ssize_t n = ::send(client.fd, text.constData(), size_t(text.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS))
            return;
        client.outBytes -= size_t(text.size());
        client.out.pop_front();
    }
    watch(id, client, false);
}

void ServerEndpoint::watch(quint64 id, Client &client, bool out)
{
    if (client.watchingOut == out)
        return;
    client.watchingOut = out;
    watchInPoll(m_poll, EPOLL_CTL_MOD, client.fd, id, out ? uint32_t(EPOLLIN | EPOLLOUT) : uint32_t(EPOLLIN));
}

} // namespace bus
} // namespace om
