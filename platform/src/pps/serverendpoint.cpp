#include "serverendpoint_p.h"

#include "buspolicy_p.h"
#include "busprotocol_p.h"
#include "bussocket_p.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace om {
namespace bus {

namespace {

// A client that does not read its answers may hold this much in the server
// before it is shut out, so it cannot eat the server's memory.
constexpr size_t MaxQueuedBytes = 32 * 1024 * 1024;

// Keys of the poll set besides the clients, whose ids count up from 1: the
// listening sockets have the keys ListenerKey - 1 + access.
constexpr quint64 LinkKey = 0;
constexpr quint64 ListenerKey = ~quint64(0) - 3;
constexpr quint64 WakeKey = ~quint64(0);

bool wouldBlock(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

// The supplementary groups of the peer of @p fd, as a JSON list.
QByteArray peerGroups(int fd)
{
    std::vector<gid_t> groups(32);
    socklen_t length = socklen_t(groups.size() * sizeof(gid_t));
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length) < 0) {
        if (errno != ERANGE)
            return "[]";
        groups.resize(length / sizeof(gid_t));
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length) < 0)
            return "[]";
    }
    groups.resize(length / sizeof(gid_t));
    QByteArray text = "[";
    for (size_t i = 0; i < groups.size(); ++i) {
        if (i)
            text += ',';
        text += QByteArray::number(quint64(groups[i]));
    }
    return text + ']';
}

} // namespace

std::unique_ptr<ServerEndpoint> ServerEndpoint::open(const QString &objectPath,
                                                     const QByteArray &request, int *error)
{
    const int link = connectAndSend(request, error);
    if (link < 0)
        return nullptr;
    QByteArray body;
    int listeners[MaxPassedDescriptors];
    int count = 0;
    if (!receiveAnswer(link, &body, error, listeners, &count)) {
        ::close(link);
        return nullptr;
    }
    if (count != 3) {
        for (int k = 0; k < count; ++k)
            ::close(listeners[k]);
        *error = EPROTO;
        ::close(link);
        return nullptr;
    }
    // Accepted until none is left: a socket must not block when the last
    // connection has been taken.
    for (const int listener : listeners)
        ::fcntl(listener, F_SETFL, ::fcntl(listener, F_GETFL) | O_NONBLOCK);
    const QString name = objectPath.mid(objectPath.lastIndexOf(QLatin1Char('/')) + 1);
    return std::unique_ptr<ServerEndpoint>(new ServerEndpoint(link, listeners, name.toUtf8()));
}

ServerEndpoint::ServerEndpoint(int link, const int *listeners, const QByteArray &objectName)
    : m_poll(::epoll_create1(EPOLL_CLOEXEC)), m_link(link),
      m_wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), m_name(objectName)
{
    watchInPoll(m_poll, EPOLL_CTL_ADD, m_link, LinkKey, EPOLLIN | EPOLLRDHUP);
    for (int k = 0; k < 3; ++k) {
        m_listeners[k] = listeners[k];
        watchInPoll(m_poll, EPOLL_CTL_ADD, m_listeners[k], ListenerKey + quint64(k), EPOLLIN);
    }
    watchInPoll(m_poll, EPOLL_CTL_ADD, m_wake, WakeKey, EPOLLIN);
}

ServerEndpoint::~ServerEndpoint()
{
    close();
    ::close(m_wake);
    ::close(m_poll);
}

void ServerEndpoint::close()
{
    // New connections are refused first, so that a client whose connection
    // ends below does not find its way back to this server.
    closeListeners();
    for (auto &entry : m_clients)
        ::close(entry.second.fd);
    m_clients.clear();
    m_ready.clear();
    m_notices.clear();
    if (m_link < 0)
        return;
    // The broker answers the end of the registration by taking the object's
    // file away and closing; only then may a new open find nothing there.
    if (::shutdown(m_link, SHUT_WR) == 0) {
        pollfd p{m_link, POLLIN, 0};
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        char discard[256];
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || ::poll(&p, 1, int(left.count())) <= 0) {
                qCWarning(lcBus) << "the broker did not confirm the end of" << m_name;
                break;
            }
            const ssize_t n = ::recv(m_link, discard, sizeof discard, MSG_DONTWAIT);
            if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN))
                break;
        }
    }
    ::close(m_link);
    m_link = -1;
}

bool ServerEndpoint::poll(int timeoutMs)
{
    epoll_event events[32];
    int n;
    do {
        n = ::epoll_wait(m_poll, events, 32, timeoutMs);
    } while (n < 0 && errno == EINTR);
    for (int i = 0; i < n; ++i) {
        const quint64 key = events[i].data.u64;
        if (key == WakeKey) {
            uint64_t count;
            (void)!::read(m_wake, &count, sizeof count);
            continue;
        }
        // Room to write is dealt with at once; what is left is to be read.
        if (key != LinkKey && key < ListenerKey && (events[i].events & EPOLLOUT)) {
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
    if (m_ready.empty() && m_notices.empty())
        poll(0);
    return !m_ready.empty() || !m_notices.empty();
}

bool ServerEndpoint::read(bool blocking, QByteArray *data, int *error)
{
    for (;;) {
        // What the last poll found is read first; a connection that has
        // more stays ready and comes again with the next poll.
        for (;;) {
            if (!m_notices.empty()) {
                *data = m_notices.front();
                m_notices.pop_front();
                return true;
            }
            if (m_ready.empty())
                break;
            const quint64 key = m_ready.front();
            m_ready.pop_front();
            Outcome outcome = Nothing;
            if (key == LinkKey)
                outcome = readLink(error);
            else if (key >= ListenerKey && key < ListenerKey + 3)
                acceptClient(int(key - ListenerKey) + 1);
            else
                outcome = readClient(key, data);
            if (outcome == Message)
                return true;
            if (outcome == Failed)
                return false;
        }
        if (!poll(blocking ? -1 : 0)) {
            *error = errno;
            return false;
        }
        if (m_ready.empty() && m_notices.empty() && !blocking) {
            *error = EAGAIN;
            return false;
        }
    }
}

ServerEndpoint::Outcome ServerEndpoint::readLink(int *error)
{
    char discard[256];
    const ssize_t n = ::recv(m_link, discard, sizeof discard, MSG_DONTWAIT);
    if (n > 0 || (n < 0 && (errno == EAGAIN || errno == EINTR)))
        return Nothing;
    // The broker went away, and the bus with it: no new clients, and those
    // connected read the end of their connections. They are shut out
    // rather than closed, so that they can tell this from a server that
    // went away alone, and do not wait for it to come back.
    qCInfo(lcBus) << "the broker went away; the server of" << m_name << "ends its clients";
    ::epoll_ctl(m_poll, EPOLL_CTL_DEL, m_link, nullptr);
    ::close(m_link);
    m_link = -1;
    closeListeners();
    for (auto &entry : m_clients) {
        if (!entry.second.shutOut)
            shutOut(entry.first, entry.second);
    }
    *error = ENOTCONN;
    return Failed;
}

void ServerEndpoint::closeListeners()
{
    for (int &listener : m_listeners) {
        if (listener >= 0)
            ::close(listener);
        listener = -1;
    }
}

void ServerEndpoint::acceptClient(int access)
{
    // One connection for each time the poll finds a socket ready: more
    // waiting keep it ready for the next round, and the usual single one
    // costs no second, empty try.
    const int listener = m_listeners[access - 1];
    if (listener < 0)
        return;
    int fd;
    do {
        fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    } while (fd < 0 && (errno == EINTR || errno == ECONNABORTED));
    if (fd < 0) {
        if (!wouldBlock(errno))
            qCWarning(lcBus) << "the server of" << m_name
                             << "cannot take a client:" << strerror(errno);
        return;
    }
    ucred cred{};
    socklen_t length = sizeof cred;
    ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length);
    const quint64 id = m_nextId++;
    Client &client = m_clients[id];
    client.fd = fd;
    client.pid = cred.pid;
    client.uid = cred.uid;
    client.gid = cred.gid;
    client.groups = peerGroups(fd);
    client.reads = access & Read;
    client.writes = access & Write;
    watchInPoll(m_poll, EPOLL_CTL_ADD, fd, id, EPOLLIN | EPOLLRDHUP);
    // A client sends its preface and often its first message right after it
    // connects: look at once.
    m_ready.push_back(id);
}

ServerEndpoint::Outcome ServerEndpoint::readClient(quint64 id, QByteArray *data)
{
    auto it = m_clients.find(id);
    if (it == m_clients.end())
        return Nothing;
    Client &client = it->second;
    QByteArray text;
    for (;;) {
        const ssize_t n = receive(client.fd, MSG_DONTWAIT, &text);
        if (n > 0 && client.shutOut)
            continue; // nobody listens to it any more
        if (n > 0 && !client.announced) {
            OpenRequest preface;
            if (!parseOpenRequest(text, &preface)) {
                qCWarning(lcBus).nospace()
                    << "the server of " << m_name << " dropped a client (pid " << client.pid
                    << ") that did not open properly";
                forget(id);
                return Nothing;
            }
            client.announced = true;
            *data = announcement(id, client, preface.package);
            // Its first message may have come with it.
            m_ready.push_back(id);
            return Message;
        }
        if (n > 0 && !client.writes)
            continue; // it opened the object for reading only
        if (n > 0) {
            *data = headed('@', id, text);
            return Message;
        }
        // A client that closed with answers unread makes one receive fail
        // with ECONNRESET; what it wrote before still follows.
        if (n < 0 && (wouldBlock(errno) || errno == ECONNRESET))
            return Nothing;
        break;
    }
    // Its end: its descriptor goes now, not in some later sweep.
    const bool known = client.announced && !client.shutOut;
    forget(id);
    if (!known)
        return Nothing;
    *data = departure(id);
    return Message;
}

QByteArray ServerEndpoint::headed(char mark, quint64 id, const QByteArray &text) const
{
    // "@name.<id>" (or "+@", "-@"), then the client's text without a header
    // line of its own. Made in one piece: this runs for every message.
    const char *body = text.constData();
    int length = text.size();
    if (length > 0 && body[0] == '@') {
        const char *nl = static_cast<const char *>(std::memchr(body, '\n', size_t(length)));
        const int skip = nl ? int(nl - body) + 1 : length;
        body += skip;
        length -= skip;
    }
    char digits[24];
    int n = 0;
    for (quint64 v = id; n == 0 || v != 0; v /= 10)
        digits[n++] = char('0' + v % 10);
    QByteArray out;
    out.reserve(2 + m_name.size() + n + 1 + length);
    if (mark != '@')
        out += mark;
    out += '@';
    out += m_name;
    out += '.';
    while (n > 0)
        out += digits[--n];
    out += '\n';
    out.append(body, length);
    return out;
}

QByteArray ServerEndpoint::announcement(quint64 id, const Client &client,
                                        const QByteArray &package) const
{
    QByteArray text = headed('+', id, QByteArray());
    text += "pid:n:";
    text += QByteArray::number(qint64(client.pid));
    text += "\nuid:n:";
    text += QByteArray::number(quint64(client.uid));
    text += "\ngid:n:";
    text += QByteArray::number(quint64(client.gid));
    text += "\npackage::";
    text += lineSafe(package);
    text += "\ngroups:json:";
    text += client.groups;
    text += '\n';
    return text;
}

QByteArray ServerEndpoint::departure(quint64 id) const
{
    return headed('-', id, QByteArray());
}

void ServerEndpoint::forget(quint64 id)
{
    auto it = m_clients.find(id);
    if (it == m_clients.end())
        return;
    // Closing takes the descriptor out of the poll set too.
    ::close(it->second.fd);
    m_clients.erase(it);
    m_ready.erase(std::remove(m_ready.begin(), m_ready.end(), id), m_ready.end());
}

void ServerEndpoint::shutOut(quint64 id, Client &client)
{
    // The client reads the end of its connection and, unlike after a
    // close, finds its server still there: it does not come back. Its
    // descriptor stays until it ends, what it writes meanwhile is dropped.
    ::shutdown(client.fd, SHUT_WR);
    client.out.clear();
    client.outBytes = 0;
    watch(id, client, false);
    const bool known = client.announced;
    client.shutOut = true;
    if (known)
        notice(departure(id));
}

void ServerEndpoint::notice(const QByteArray &text)
{
    m_notices.push_back(text);
    // Whoever waits for the endpoint's descriptor hears of it.
    const uint64_t one = 1;
    (void)!::write(m_wake, &one, sizeof one);
}

bool ServerEndpoint::write(const QByteArray &data, int *error)
{
    if (data.size() > MaxMessage) {
        *error = EMSGSIZE;
        return false;
    }
    *error = 0;
    if (data.startsWith('@')) {
        // "@<name>.<id>": an answer to one client, who reads it headed
        // "@<name>".
        const int nl = data.indexOf('\n');
        const int headerEnd = nl < 0 ? data.size() : nl;
        int dot = headerEnd - 1;
        quint64 id = 0;
        quint64 scale = 1;
        while (dot > 1 && data.at(dot) >= '0' && data.at(dot) <= '9' && scale <= 1000000000000ull) {
            id += quint64(data.at(dot) - '0') * scale;
            scale *= 10;
            --dot;
        }
        if (dot > 1 && dot < headerEnd - 1 && data.at(dot) == '.') {
            auto it = m_clients.find(id);
            if (it != m_clients.end() && it->second.announced && it->second.reads &&
                !it->second.shutOut) {
                QByteArray text;
                text.reserve(data.size());
                text.append(data.constData(), dot);
                if (nl < 0)
                    text += '\n';
                else
                    text.append(data.constData() + nl, data.size() - nl);
                sendTo(id, it->second, text);
            }
            return true;
        }
    }
    const QByteArray text = data.startsWith('@') ? data : '@' + m_name + '\n' + data;
    for (auto &entry : m_clients) {
        Client &client = entry.second;
        if (client.announced && client.reads && !client.shutOut)
            sendTo(entry.first, client, text);
    }
    return true;
}

void ServerEndpoint::sendTo(quint64 id, Client &client, const QByteArray &text)
{
    if (client.out.empty()) {
        const ssize_t n =
            ::send(client.fd, text.constData(), size_t(text.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
        // A client that is gone is noticed when its end is read.
        if (n >= 0 || !wouldBlock(errno))
            return;
    }
    client.out.push_back(text);
    client.outBytes += size_t(text.size());
    if (client.outBytes > MaxQueuedBytes) {
        qCWarning(lcBus).nospace()
            << "the server of " << m_name << " shut out client " << id << " (pid " << client.pid
            << "), which left " << client.outBytes << " bytes unread";
        shutOut(id, client);
        return;
    }
    watch(id, client, true);
}

void ServerEndpoint::flush(quint64 id, Client &client)
{
    while (!client.out.empty()) {
        const QByteArray &text = client.out.front();
        const ssize_t n =
            ::send(client.fd, text.constData(), size_t(text.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && wouldBlock(errno))
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
    watchInPoll(m_poll, EPOLL_CTL_MOD, client.fd, id,
                out ? uint32_t(EPOLLIN | EPOLLRDHUP | EPOLLOUT) : uint32_t(EPOLLIN | EPOLLRDHUP));
}

} // namespace bus
} // namespace om
