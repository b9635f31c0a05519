#include "broker/broker.h"

#include "broker/connection.h"
#include "broker/handshake.h"
#include "broker/policy.h"
#include "broker/registry.h"

#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"

#include <QDir>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <vector>
#include <unistd.h>

namespace omdevice {

using broker::Connection;
using broker::Object;

struct Broker::Impl
{
    QString root;
    int rootFd = -1; // every file of the bus is reached through it
    int listenFd = -1;
    int epollFd = -1;
    int stopFd = -1;
    int lockFd = -1;
    std::unique_ptr<broker::Connections> connections;
    std::unique_ptr<broker::Registry> registry;
    std::unique_ptr<broker::Handshake> handshake;
    broker::ClaimPolicy policy;
    std::thread thread;

    ~Impl() { teardown(); }

    // The broker's own files in the root, which its clean-up keeps.
    static std::vector<QByteArray> ownFiles()
    {
        return {QByteArray(om::bus::socketName()), QByteArray(om::bus::lockName())};
    }

    bool listen(QString *error)
    {
        QString why;
        // Who else may serve or create where, if the device's setter-up
        // says so.
        const QString policyFile = qEnvironmentVariable("OM_BUS_POLICY");
        if (!policyFile.isEmpty() && !policy.load(policyFile, error))
            return false;
        rootFd = om::bus::openRoot(om::bus::fileName(root), true, &why);
        if (rootFd < 0) {
            *error = QStringLiteral("refusing the bus root: %1").arg(why);
            return false;
        }
        lockFd = ::openat(rootFd, om::bus::lockName(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                          0600);
        if (lockFd < 0) {
            *error = QStringLiteral("cannot open %1/%2: %3")
                         .arg(root, QLatin1String(om::bus::lockName()),
                              QString::fromLocal8Bit(strerror(errno)));
            return false;
        }
        if (::flock(lockFd, LOCK_EX | LOCK_NB) < 0) {
            *error = QStringLiteral("another bus broker already serves %1").arg(root);
            ::close(lockFd);
            lockFd = -1;
            return false;
        }
        epollFd = ::epoll_create1(EPOLL_CLOEXEC);
        connections.reset(new broker::Connections(epollFd));
        registry.reset(new broker::Registry(rootFd));
        handshake.reset(new broker::Handshake(*connections, *registry, policy));
        // What an earlier broker left: mirrors, and sockets of servers that
        // went with it.
        registry->clearFiles(ownFiles());

        const om::bus::SocketAddress address(rootFd, om::bus::socketName());
        listenFd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        ::unlinkat(rootFd, om::bus::socketName(), 0);
        if (address.error() != 0 || ::bind(listenFd, address.address(), address.length()) < 0 ||
            ::fchmodat(rootFd, om::bus::socketName(), 0666, 0) < 0 ||
            ::listen(listenFd, SOMAXCONN) < 0) {
            *error = QStringLiteral("cannot listen on %1/%2: %3")
                         .arg(root, QLatin1String(om::bus::socketName()),
                              QString::fromLocal8Bit(
                                  strerror(address.error() ? address.error() : errno)));
            return false;
        }
        stopFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        om::bus::watchInPoll(epollFd, EPOLL_CTL_ADD, listenFd, quint64(listenFd), EPOLLIN);
        om::bus::watchInPoll(epollFd, EPOLL_CTL_ADD, stopFd, quint64(stopFd), EPOLLIN);
        return true;
    }

    void teardown()
    {
        // Servers learn from the end of their registrations that the bus
        // is gone, and end their clients.
        if (connections)
            connections->closeAll();
        handshake.reset();
        if (listenFd >= 0) {
            ::close(listenFd);
            ::unlinkat(rootFd, om::bus::socketName(), 0);
            registry->clearFiles(ownFiles());
        }
        registry.reset();
        connections.reset();
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
        if (rootFd >= 0)
            ::close(rootFd);
        rootFd = -1;
    }

    void run()
    {
        while (poll()) {
        }
    }

    // Handles what epoll has; false once stop() was called.
    bool poll()
    {
        epoll_event events[64];
        int n;
        do {
            n = ::epoll_wait(epollFd, events, 64, -1);
        } while (n < 0 && errno == EINTR);
        if (n < 0)
            return false;
        // Messages already sent come before new connections: a subscriber
        // that opens after a publisher wrote must find what it wrote.
        bool accept = false;
        for (int i = 0; i < n; ++i) {
            const int fd = int(events[i].data.u64);
            if (fd == stopFd)
                return false;
            if (fd == listenFd) {
                accept = true;
                continue;
            }
            Connection *c = connections->find(fd);
            if (!c)
                continue;
            if (events[i].events & EPOLLOUT)
                connections->flush(c);
            if (!c->doomed && (events[i].events & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR)))
                receive(c);
            reap();
        }
        if (accept)
            acceptOne();
        return true;
    }

    // One connection per readiness of the listening socket: more waiting
    // ones keep it ready.
    void acceptOne()
    {
        Connection *c = connections->accept(listenFd);
        if (!c)
            return;
        // A client sends its request right after connecting; taking it now
        // saves a turn of the poll loop, and the connection then joins the
        // poll set with what it is to be watched for.
        receive(c);
        if (!c->doomed)
            connections->rewatch(c);
        reap();
    }

    void receive(Connection *c)
    {
        connections->receive(c, [this](Connection *from, const QByteArray &data) {
            if (!from->open)
                handshake->handle(from, data);
            else
                message(from, data);
        });
    }

    void reap()
    {
        connections->reap([this](Connection *c) { detach(c); });
    }

    void detach(Connection *c)
    {
        Object *o = c->object;
        if (!o)
            return;
        c->object = nullptr;
        if (c->isServer) {
            // The server is gone, however it went: its object with it, so
            // that a new open finds nothing and a new server can take over.
            qCDebug(om::bus::lcBus).nospace()
                << "no longer serving " << o->path << " (pid " << c->pid << ")";
            registry->remove(o);
            return;
        }
        o->clients.erase(c);
        // An object nobody holds is dropped unless it was made to stay:
        // what clients leave behind would otherwise pile up for good.
        if (o->clients.empty() && !o->persistent)
            registry->remove(o);
    }

    // A publisher's write merges into a plain object; every subscriber then
    // receives the whole object. What a server sends on its registration
    // means nothing.
    void message(Connection *c, const QByteArray &data)
    {
        Object *o = c->object;
        if (!o || !c->writable || o->isServer)
            return;
        if (!broker::merge(&o->attributes, o->name, data))
            return; // it would no longer fit in one message: the old content stays
        const QByteArray text = broker::wholeObject(o->name, o->attributes);
        for (Connection *client : o->clients) {
            if (client->readable)
                connections->send(client, text);
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
