#include "broker/broker.h"

#include "pps/busprotocol_p.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <map>
#include <set>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace omdevice {

namespace {

// A client that does not read its messages may hold this much in the
// broker before it is disconnected, so it cannot eat the device's memory.
constexpr size_t MaxQueuedBytes = 32 * 1024 * 1024;

// Handed-over connections are swept for ended clients once there are this
// many, or twice as many as after the last sweep, and whenever the broker
// has been idle for a while: a second after a hand-over, then twice as long
// after each idle sweep that found nothing, up to MaxSweepIdleMs.
constexpr size_t MinSweep = 256;
constexpr int MinSweepIdleMs = 1000;
constexpr int MaxSweepIdleMs = 64000;


struct Object;

// A message waiting to be sent, with the descriptor it hands over, if any.
struct Outgoing
{
    QByteArray data;
    int fd = -1;
    quint64 owner = 0; // the connection whose descriptor it is
};

struct Connection
{
    int fd = -1;
    quint64 id = 0;
    uid_t uid = 0;
    gid_t gid = 0;
    pid_t pid = 0;
    QByteArray package; // as the client names itself when it opens
    bool open = false;
    bool readable = false;
    bool writable = false;
    bool isServer = false;
    bool doomed = false;
    // The peer no longer reads (it closed); what it wrote before is still
    // read and delivered, up to the end of the connection.
    bool writeClosed = false;
    Object *object = nullptr;
    std::deque<Outgoing> queue;
    size_t queuedBytes = 0;
    uint32_t watched = 0; // 0: not yet in the poll set
    // The connection of a client of a control object belongs to the
    // object's server while it has one: the broker keeps its copy, out of
    // its poll set, to read it again if the server goes.
    bool handedOver = false;
};

struct Object
{
    QString path;
    QByteArray name; // the last component of the path
    bool isServer = false;
    Connection *server = nullptr;
    uid_t uid = 0;
    gid_t gid = 0;
    mode_t mode = 0666;
    std::set<Connection *> clients;
    std::map<QByteArray, QByteArray> attributes; // name -> whole line
    bool live() const { return !isServer || server; }
};

struct OpenOptions
{
    bool server = false;
    bool create = false;
    bool separate = false;
    bool hasMode = false;
    mode_t mode = 0666;
};

bool parseOptions(const QByteArray &text, OpenOptions *options)
{
    const QList<QByteArray> parts = text.split(',');
    for (QByteArray part : parts) {
        part = part.trimmed();
        if (part.isEmpty() || part == "wait")
            continue;
        if (part == "server")
            options->server = true;
        else if (part == "create")
            options->create = true;
        else if (part == "separate")
            options->separate = true;
        else if (part.startsWith("mode=")) {
            bool ok = false;
            const uint mode = part.mid(5).toUInt(&ok, 8);
            if (!ok || mode > 0777)
                return false;
            options->hasMode = true;
            options->mode = mode_t(mode);
        } else {
            return false;
        }
    }
    return true;
}

bool validObjectPath(const QByteArray &path)
{
    if (!path.startsWith("/pps/") || path.size() > 1024)
        return false;
    // Every component after /pps/ is non-empty, does not begin with a dot,
    // and holds no '?' or NUL.
    bool componentStart = true;
    for (int i = 5; i < path.size(); ++i) {
        const char c = path.at(i);
        if (c == '/') {
            if (componentStart)
                return false;
            componentStart = true;
            continue;
        }
        if ((componentStart && c == '.') || c == '?' || c == '\0')
            return false;
        componentStart = false;
    }
    return !componentStart;
}

// The package a client names in its open request travels to the server as
// one attribute line.
QByteArray packageName(QByteArray package)
{
    for (char &c : package) {
        if (static_cast<unsigned char>(c) < 0x20 || c == '\\')
            c = '?';
    }
    return package;
}

bool validDirectoryPath(const QByteArray &path)
{
    return path == "/pps" || path == "/pps/" || validObjectPath(path.endsWith('/') ? path.chopped(1) : path);
}

} // namespace

struct Broker::Impl
{
    QString root;
    int listenFd = -1;
    int epollFd = -1;
    int stopFd = -1;
    int lockFd = -1;
    quint64 nextId = 1;
    std::map<int, Connection *> connections;
    std::map<QString, Object *> objects;
    std::vector<Connection *> doomed;
    // Connections handed over to servers are not watched, so that a client's
    // end costs the broker nothing; the ended ones are swept out now and
    // then instead (see sweep()).
    size_t handedOver = 0;
    size_t sweepAt = MinSweep;
    int sweepIdleMs = MinSweepIdleMs;
    std::thread thread;
    std::vector<char> buffer = std::vector<char>(size_t(om::bus::MaxDatagram) + 1);

    ~Impl() { teardown(); }

    QByteArray socketPath() const
    {
        return QFile::encodeName(root + QLatin1Char('/') + QLatin1String(om::bus::socketName()));
    }

    QString mirrorPath(const QString &objectPath) const { return root + objectPath.mid(4); }

    // ------------------------------------------------------------ set-up

    bool listen(QString *error)
    {
        if (!QDir().mkpath(root)) {
            *error = QStringLiteral("cannot create %1").arg(root);
            return false;
        }
        const QByteArray lockPath =
            QFile::encodeName(root + QLatin1Char('/') + QLatin1String(om::bus::lockName()));
        lockFd = ::open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (lockFd < 0) {
            *error = QStringLiteral("cannot open %1: %2")
                         .arg(QFile::decodeName(lockPath), QString::fromLocal8Bit(strerror(errno)));
            return false;
        }
        if (::flock(lockFd, LOCK_EX | LOCK_NB) < 0) {
            *error = QStringLiteral("another bus broker already serves %1").arg(root);
            ::close(lockFd);
            lockFd = -1;
            return false;
        }
        clearMirrors();

        listenFd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_un addr;
        std::memset(&addr, 0, sizeof addr);
        addr.sun_family = AF_UNIX;
        const QByteArray path = socketPath();
        if (path.size() >= int(sizeof addr.sun_path)) {
            *error = QStringLiteral("socket path too long: %1").arg(QFile::decodeName(path));
            return false;
        }
        std::memcpy(addr.sun_path, path.constData(), size_t(path.size()));
        ::unlink(path.constData());
        if (::bind(listenFd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) < 0
            || ::chmod(path.constData(), 0666) < 0 || ::listen(listenFd, 128) < 0) {
            *error = QStringLiteral("cannot listen on %1: %2")
                         .arg(QFile::decodeName(path), QString::fromLocal8Bit(strerror(errno)));
            return false;
        }
        epollFd = ::epoll_create1(EPOLL_CLOEXEC);
        stopFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        watch(listenFd, EPOLLIN);
        watch(stopFd, EPOLLIN);
        return true;
    }

    void watch(int fd, uint32_t events)
    {
        epoll_event ev;
        std::memset(&ev, 0, sizeof ev);
        ev.events = events;
        ev.data.fd = fd;
        ::epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &ev);
    }

    // What the broker waits for on a connection: its messages and its end
    // unless the connection belongs to a server now, and room to write while
    // something waits to be sent.
    void rewatch(Connection *c)
    {
        uint32_t events = 0;
        if (!c->handedOver)
            events |= EPOLLIN | EPOLLRDHUP;
        if (!c->queue.empty())
            events |= EPOLLOUT;
        if (events == c->watched)
            return;
        int operation = EPOLL_CTL_MOD;
        if (c->watched == 0)
            operation = EPOLL_CTL_ADD;
        else if (events == 0)
            operation = EPOLL_CTL_DEL;
        c->watched = events;
        epoll_event ev;
        std::memset(&ev, 0, sizeof ev);
        ev.events = events;
        ev.data.fd = c->fd;
        ::epoll_ctl(epollFd, operation, c->fd, &ev);
    }

    void setHandedOver(Connection *c, bool handed)
    {
        if (c->handedOver != handed) {
            c->handedOver = handed;
            if (handed)
                ++handedOver;
            else
                --handedOver;
        }
        rewatch(c);
    }

    // Dooms the connections whose clients have ended, of one object or all
    // handed-over ones: one poll() over all of them, so that the cost per
    // connection stays constant.
    bool sweep(Object *only = nullptr)
    {
        bool found = false;
        std::vector<pollfd> fds;
        std::vector<Connection *> owners;
        for (const auto &entry : connections) {
            Connection *c = entry.second;
            if (c->doomed || (only ? c->object != only || c->isServer : !c->handedOver))
                continue;
            fds.push_back(pollfd{c->fd, POLLRDHUP, 0});
            owners.push_back(c);
        }
        if (!fds.empty() && ::poll(fds.data(), nfds_t(fds.size()), 0) > 0) {
            for (size_t i = 0; i < fds.size(); ++i) {
                if (fds[i].revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) {
                    doom(owners[i]);
                    found = true;
                }
            }
        }
        return found;
    }

    // Returns whether any connection had ended.
    bool sweepAll()
    {
        const bool found = sweep();
        reap();
        sweepAt = std::max(MinSweep, 2 * handedOver);
        return found;
    }

    // Removes every mirror left in the root by an earlier broker.
    void clearMirrors()
    {
        QDir dir(root);
        const QStringList entries =
            dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
        for (const QString &entry : entries) {
            const QString path = root + QLatin1Char('/') + entry;
            if (QFileInfo(path).isDir())
                QDir(path).removeRecursively();
            else
                QFile::remove(path);
        }
    }

    void teardown()
    {
        for (auto &entry : connections) {
            ::close(entry.second->fd);
            delete entry.second;
        }
        connections.clear();
        for (auto &entry : objects)
            delete entry.second;
        objects.clear();
        if (listenFd >= 0) {
            ::close(listenFd);
            ::unlink(socketPath().constData());
            clearMirrors();
        }
        listenFd = -1;
        if (epollFd >= 0)
            ::close(epollFd);
        epollFd = -1;
        if (stopFd >= 0)
            ::close(stopFd);
        stopFd = -1;
        if (lockFd >= 0)
            ::close(lockFd);
        lockFd = -1;
    }

    // ------------------------------------------------------------ loop

    void run()
    {
        while (poll(handedOver > 0 ? sweepIdleMs : -1)) {
        }
    }

    // Handles what epoll has; false once stop() was called.
    bool poll(int timeoutMs)
    {
        epoll_event events[64];
        for (;;) {
            const int n = ::epoll_wait(epollFd, events, 64, timeoutMs);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return false;
            }
            if (n == 0 && handedOver > 0 && !sweepAll())
                sweepIdleMs = std::min(2 * sweepIdleMs, MaxSweepIdleMs);
            // Messages already sent come before new connections: a subscriber
            // that opens after a publisher wrote must find what it wrote.
            bool accept = false;
            for (int i = 0; i < n; ++i) {
                const int fd = events[i].data.fd;
                if (fd == stopFd)
                    return false;
                if (fd == listenFd) {
                    accept = true;
                    continue;
                }
                auto it = connections.find(fd);
                if (it == connections.end())
                    continue;
                Connection *c = it->second;
                const uint32_t happened = events[i].events;
                if (happened & EPOLLOUT)
                    flush(c);
                if (c->handedOver) {
                    // The server reads this client; the broker only learns
                    // of its end, to forget it.
                    if (happened & (EPOLLRDHUP | EPOLLHUP | EPOLLERR))
                        doom(c);
                } else if (!c->doomed && (happened & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR))) {
                    receive(c);
                }
                reap();
            }
            if (accept) {
                acceptOne();
                reap();
            }
            if (handedOver >= sweepAt)
                sweepAll();
            return true;
        }
    }

    // One connection per readiness of the listening socket: more waiting
    // ones keep it ready.
    void acceptOne()
    {
        const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            return;
        ucred cred;
        socklen_t len = sizeof cred;
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) < 0) {
            ::close(fd);
            return;
        }
        auto *c = new Connection;
        c->fd = fd;
        c->id = nextId++;
        c->uid = cred.uid;
        c->gid = cred.gid;
        c->pid = cred.pid;
        connections[fd] = c;
        // A client sends its request right after connecting; taking it now
        // saves a turn of the poll loop, and the connection then joins the
        // poll set with what it is to be watched for.
        receive(c);
        if (!c->doomed)
            rewatch(c);
    }

    void receive(Connection *c)
    {
        for (;;) {
            iovec iov{buffer.data(), buffer.size()};
            msghdr msg;
            std::memset(&msg, 0, sizeof msg);
            msg.msg_iov = &iov;
            msg.msg_iovlen = 1;
            const ssize_t n = ::recvmsg(c->fd, &msg, MSG_DONTWAIT);
            if (n < 0) {
                // A peer that closed with unread data in its queue makes the
                // first read fail with ECONNRESET, before the messages it
                // sent last: read on, they follow, then the end.
                if (errno == EINTR || errno == ECONNRESET)
                    continue;
                if (errno != EAGAIN)
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
            const QByteArray data(buffer.data(), int(n));
            if (!c->open) {
                handshake(c, data);
                return;
            }
            message(c, data);
            if (c->doomed)
                return;
        }
    }

    // ------------------------------------------------------------ sending

    void send(Connection *c, const QByteArray &data)
    {
        send(c, Outgoing{data, -1, 0});
    }

    static ssize_t transmit(int fd, const Outgoing &out)
    {
        if (out.fd < 0)
            return ::send(fd, out.data.constData(), size_t(out.data.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
        return om::bus::sendWithDescriptor(fd, out.data.constData(), size_t(out.data.size()), out.fd, MSG_DONTWAIT);
    }

    void send(Connection *c, const Outgoing &out)
    {
        if (c->doomed || c->writeClosed)
            return;
        if (c->queue.empty()) {
            if (transmit(c->fd, out) >= 0)
                return;
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS) {
                stopWriting(c);
                return;
            }
        }
        c->queue.push_back(out);
        c->queuedBytes += size_t(out.data.size());
        if (c->queuedBytes > MaxQueuedBytes) {
            doom(c);
            return;
        }
        rewatch(c);
    }

    void flush(Connection *c)
    {
        while (!c->queue.empty()) {
            const Outgoing &out = c->queue.front();
            if (transmit(c->fd, out) < 0) {
                if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS)
                    stopWriting(c);
                return;
            }
            c->queuedBytes -= size_t(out.data.size());
            c->queue.pop_front();
        }
        rewatch(c);
    }

    void stopWriting(Connection *c)
    {
        c->writeClosed = true;
        c->queue.clear();
        c->queuedBytes = 0;
        rewatch(c);
    }

    // ------------------------------------------------------------ closing

    void doom(Connection *c)
    {
        if (c->doomed)
            return;
        c->doomed = true;
        doomed.push_back(c);
    }

    void reap()
    {
        while (!doomed.empty()) {
            Connection *c = doomed.back();
            doomed.pop_back();
            detach(c);
            if (c->handedOver)
                --handedOver;
            if (c->watched != 0)
                ::epoll_ctl(epollFd, EPOLL_CTL_DEL, c->fd, nullptr);
            ::close(c->fd);
            connections.erase(c->fd);
            delete c;
        }
    }

    void detach(Connection *c)
    {
        Object *o = c->object;
        if (!o)
            return;
        c->object = nullptr;
        if (c->isServer) {
            // The object stops existing for new opens; its open clients stay,
            // silent (the broker reads and drops what they write), for a
            // server that registers it again. Those that ended unseen go now.
            sweep(o);
            o->server = nullptr;
            removeMirror(o);
            for (Connection *client : o->clients)
                setHandedOver(client, false);
            if (o->clients.empty())
                dropObject(o);
            return;
        }
        o->clients.erase(c);
        if (!o->isServer)
            return;
        // The server learns of the client's end from the connection itself;
        // only a hand-over still waiting to be sent must not go out.
        if (o->server) {
            auto &queue = o->server->queue;
            for (auto it = queue.begin(); it != queue.end();) {
                if (it->owner == c->id) {
                    o->server->queuedBytes -= size_t(it->data.size());
                    it = queue.erase(it);
                } else {
                    ++it;
                }
            }
        } else if (o->clients.empty()) {
            dropObject(o);
        }
    }

    void dropObject(Object *o)
    {
        objects.erase(o->path);
        delete o;
    }

    // ------------------------------------------------------------ mirrors

    void writeMirror(Object *o)
    {
        const QString path = mirrorPath(o->path);
        QDir().mkpath(QFileInfo(path).absolutePath());
        const QByteArray file = QFile::encodeName(path);
        const int fd = ::open(file.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd < 0)
            return;
        ::fchmod(fd, o->mode);
        if (::geteuid() == 0)
            (void)::fchown(fd, o->uid, o->gid);
        ::close(fd);
    }

    void removeMirror(Object *o)
    {
        const QString path = mirrorPath(o->path);
        QFile::remove(path);
        // Take empty directories away too, up to the root.
        QDir dir = QFileInfo(path).absoluteDir();
        const QString rootPath = QDir(root).absolutePath();
        while (dir.absolutePath() != rootPath && dir.absolutePath().startsWith(rootPath)) {
            const QString name = dir.dirName();
            if (!dir.cdUp() || !dir.rmdir(name))
                break;
        }
    }

    // ------------------------------------------------------------ requests

    void answer(Connection *c, int error, const QByteArray &body = QByteArray())
    {
        QByteArray text = QByteArray::number(error);
        text += '\n';
        text += body;
        send(c, text);
        if (error != 0)
            doom(c);
    }

    static bool permitted(const Object *o, const Connection *c, bool read, bool write)
    {
        if (c->uid == 0)
            return true;
        int bits;
        if (c->uid == o->uid)
            bits = (o->mode >> 6) & 7;
        else if (c->gid == o->gid)
            bits = (o->mode >> 3) & 7;
        else
            bits = o->mode & 7;
        return (!read || (bits & 4)) && (!write || (bits & 2));
    }

    void handshake(Connection *c, const QByteArray &data)
    {
        const QList<QByteArray> lines = data.split('\n');
        if (lines.value(0) == "LIST") {
            list(c, lines.value(1));
            return;
        }
        if (lines.value(0) != "OPEN" || lines.size() < 3) {
            answer(c, EPROTO);
            return;
        }
        const QByteArray pathBytes = lines.at(1);
        bool modeOk = false;
        const int mode = lines.at(2).toInt(&modeOk);
        OpenOptions options;
        if (!modeOk || !validObjectPath(pathBytes) || !parseOptions(lines.value(3), &options)
            || (mode & 3) == 0) {
            answer(c, EINVAL);
            return;
        }
        const QString path = QString::fromUtf8(pathBytes);
        const bool wantRead = mode & 2;
        const bool wantWrite = mode & 1;
        const bool create = options.create || (mode & 4);

        auto it = objects.find(path);
        Object *o = it == objects.end() ? nullptr : it->second;

        if (options.server) {
            if (!wantRead) {
                answer(c, EINVAL);
                return;
            }
            if (o && (!o->isServer || o->server)) {
                answer(c, EBUSY);
                return;
            }
            if (o && c->uid != 0 && c->uid != o->uid) {
                answer(c, EACCES);
                return;
            }
            if (!o) {
                o = new Object;
                o->path = path;
                o->name = pathBytes.mid(pathBytes.lastIndexOf('/') + 1);
                o->isServer = true;
                o->uid = c->uid;
                o->gid = c->gid;
                objects[path] = o;
            }
            if (options.hasMode)
                o->mode = options.mode;
            else if (!o->server && o->clients.empty())
                o->mode = 0666;
            o->server = c;
            c->object = o;
            c->isServer = true;
            c->open = true;
            c->readable = true;
            c->writable = wantWrite;
            writeMirror(o);
            answer(c, 0);
            // A restarted server adopts the clients that stayed open.
            for (Connection *client : o->clients) {
                if (!client->doomed)
                    handOver(c, o, client);
            }
            return;
        }

        if (!o || !o->live()) {
            if (o || !create) {
                answer(c, ENOENT);
                return;
            }
            o = new Object;
            o->path = path;
            o->name = pathBytes.mid(pathBytes.lastIndexOf('/') + 1);
            o->uid = c->uid;
            o->gid = c->gid;
            o->mode = options.hasMode ? options.mode : 0666;
            objects[path] = o;
            writeMirror(o);
        } else if (!permitted(o, c, wantRead, wantWrite)) {
            answer(c, EACCES);
            return;
        }
        c->object = o;
        c->open = true;
        c->readable = wantRead;
        c->writable = wantWrite;
        o->clients.insert(c);

        QByteArray content;
        if (!o->isServer && wantRead && !o->attributes.empty())
            content = wholeObject(o);
        if (o->isServer)
            c->package = packageName(lines.value(4));
        if (options.separate) {
            answer(c, 0);
            if (!content.isEmpty())
                send(c, content);
        } else {
            answer(c, 0, content);
        }
        if (o->isServer)
            handOver(o->server, o, c);
    }

    // The client's connection goes to the server, which from now on reads it
    // and writes to it directly; the broker keeps its copy to take it back if
    // the server goes away.
    void handOver(Connection *server, Object *o, Connection *client)
    {
        setHandedOver(client, true);
        sweepIdleMs = MinSweepIdleMs;
        send(server, Outgoing{openNotice(o, client), client->fd, client->id});
    }

    void list(Connection *c, const QByteArray &dirBytes)
    {
        if (!validDirectoryPath(dirBytes)) {
            answer(c, EINVAL);
            return;
        }
        QString dir = QString::fromUtf8(dirBytes);
        if (dir.endsWith(QLatin1Char('/')))
            dir.chop(1);
        auto exact = objects.find(dir);
        if (exact != objects.end() && exact->second->live()) {
            answer(c, ENOTDIR);
            return;
        }
        const QString prefix = dir + QLatin1Char('/');
        std::set<QString> names;
        for (const auto &entry : objects) {
            if (!entry.second->live() || !entry.first.startsWith(prefix))
                continue;
            const QString rest = entry.first.mid(prefix.size());
            const int slash = rest.indexOf(QLatin1Char('/'));
            names.insert(slash < 0 ? rest : rest.left(slash + 1));
        }
        if (names.empty() && dir != QLatin1String("/pps")) {
            answer(c, ENOENT);
            return;
        }
        QByteArray body;
        for (const QString &name : names) {
            body += name.toUtf8();
            body += '\n';
        }
        answer(c, 0, body);
        doom(c);
    }

    // "+@name.<id>" with the client's credentials, so that the server can
    // tell which application it is.
    static QByteArray openNotice(const Object *o, const Connection *client)
    {
        char numbers[160];
        const int n = std::snprintf(numbers, sizeof numbers, ".%llu\npid:n:%ld\nuid:n:%lu\ngid:n:%lu\npackage::",
                                    static_cast<unsigned long long>(client->id), long(client->pid),
                                    static_cast<unsigned long>(client->uid),
                                    static_cast<unsigned long>(client->gid));
        QByteArray text;
        text.reserve(o->name.size() + n + client->package.size() + 4);
        text += '+';
        text += '@';
        text += o->name;
        text.append(numbers, n);
        text += client->package;
        text += '\n';
        return text;
    }

    static QByteArray wholeObject(const Object *o)
    {
        QByteArray text = "@" + o->name + '\n';
        for (const auto &entry : o->attributes) {
            text += entry.second;
            text += '\n';
        }
        return text;
    }

    void message(Connection *c, const QByteArray &data)
    {
        Object *o = c->object;
        if (!o || !c->writable)
            return;
        // What reaches the broker on a control object comes from a client
        // while the object has no server: it is dropped. Servers and their
        // clients talk over the handed-over connections.
        if (o->isServer)
            return;
        publish(o, data);
    }

    // A publisher's write merges into a plain object; every subscriber then
    // receives the whole object.
    void publish(Object *o, const QByteArray &data)
    {
        std::map<QByteArray, QByteArray> merged = o->attributes;
        const QList<QByteArray> lines = data.split('\n');
        for (const QByteArray &line : lines) {
            if (line.isEmpty() || line.startsWith('@'))
                continue;
            if (line.startsWith('-')) {
                merged.erase(line.mid(1));
                continue;
            }
            const int c1 = line.indexOf(':');
            if (c1 <= 0 || line.indexOf(':', c1 + 1) < 0)
                continue;
            merged[line.left(c1)] = line;
        }
        size_t size = size_t(o->name.size()) + 2;
        for (const auto &entry : merged)
            size += size_t(entry.second.size()) + 1;
        // An object that would no longer fit in one message keeps its old
        // content.
        if (size > size_t(om::bus::MaxMessage))
            return;
        o->attributes.swap(merged);
        const QByteArray text = wholeObject(o);
        for (Connection *client : o->clients) {
            if (client->readable)
                send(client, text);
        }
    }
};

Broker::Broker(const QString &root) : d(new Impl)
{
    d->root = QDir::cleanPath(QDir(root).absolutePath());
}

Broker::~Broker()
{
    shutdown();
}

bool Broker::listen(QString *error)
{
    QString dummy;
    return d->listen(error ? error : &dummy);
}

void Broker::run()
{
    d->run();
}

void Broker::stop()
{
    if (d->stopFd >= 0) {
        const uint64_t one = 1;
        (void)!::write(d->stopFd, &one, sizeof one);
    }
}

bool Broker::start(QString *error)
{
    if (!listen(error))
        return false;
    d->thread = std::thread([this]() { d->run(); });
    return true;
}

void Broker::shutdown()
{
    stop();
    if (d->thread.joinable())
        d->thread.join();
    d->teardown();
}

QString Broker::root() const
{
    return d->root;
}

} // namespace omdevice
