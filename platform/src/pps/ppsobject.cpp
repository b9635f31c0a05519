#include <om/ppsobject.h>

#include "busprotocol_p.h"
#include "connectionwatcher_p.h"
#include "ppscodec_p.h"
#include "serverendpoint_p.h"

#include <QEvent>
#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace om {

class PpsObjectPrivate
{
public:
    QString path;
    QString objectPath;
    QString options;
    int fd = -1;
    bool blocking = false;
    bool readable = false;
    bool writable = false;
    bool ended = false; // the broker closed the connection
    int error = 0;
    QList<QByteArray> pending; // content that came with the open answer
    // A server's connections are watched through its endpoint; every
    // other readable connection through the thread's watcher.
    QSocketNotifier *notifier = nullptr;
    QPointer<bus::ConnectionWatcher> watcher;
    quint64 watchToken = 0;
    // The server of a control object talks to its clients directly.
    std::unique_ptr<bus::ServerEndpoint> server;

    // A server that goes away waits until the broker has taken its object
    // down, so that once close() returns nobody can open the object any more.
    // The broker answers the end of the server's writing by closing.
    void unregister()
    {
        if (::shutdown(fd, SHUT_WR) != 0)
            return;
        pollfd p{fd, POLLIN, 0};
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        char discard[256];
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || ::poll(&p, 1, int(left.count())) <= 0)
                return;
            const ssize_t n = ::recv(fd, discard, sizeof discard, MSG_DONTWAIT);
            if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN))
                return;
        }
    }

    void startWatching(PpsObject *q)
    {
        watcher = bus::ConnectionWatcher::current();
        if (!watcher)
            return; // no event loop on this thread: nobody to tell, read() still works
        watchToken = watcher->add(fd, [q](unsigned events) { q->d_func()->onReadable(q, events); });
    }

    void stopWatching()
    {
        if (watcher && watchToken)
            watcher->remove(watchToken, fd);
        watcher = nullptr;
        watchToken = 0;
    }

    void onReadable(PpsObject *q, unsigned events)
    {
        // A closed connection stays readable for ever; tell the reader once,
        // then stop watching. Only a connection whose peer has gone can be
        // closed, so only then is it worth looking.
        if (events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) {
            char probe;
            const ssize_t n = ended ? 0 : ::recv(fd, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
            if (n == 0)
                stopWatching();
        }
        Q_EMIT q->readyRead();
    }

    bool hasOption(const QString &name) const
    {
        const auto parts = QStringView(options).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (QStringView part : parts) {
            if (part.trimmed() == name)
                return true;
        }
        return false;
    }
};

PpsObject::PpsObject(const QString &path, QObject *parent)
    : QObject(parent), d_ptr(new PpsObjectPrivate)
{
    Q_D(PpsObject);
    d->path = path;
    bus::splitPath(path, &d->objectPath, &d->options);
}

PpsObject::~PpsObject()
{
    close();
    delete d_ptr;
}

QString PpsObject::path() const
{
    return d_func()->path;
}

bool PpsObject::open(PpsOpenMode::Types mode)
{
    Q_D(PpsObject);
    static bool toldOfNoApplication = false;
    if (!QCoreApplication::instance() && !toldOfNoApplication) {
        toldOfNoApplication = true;
        qCWarning(bus::lcBus, "om::PpsObject: no QCoreApplication: answers and signals of the "
                         "device's services come through the Qt event loop, and calls that wait "
                         "for them fail at once; create a QCoreApplication first");
    }
    if (d->fd >= 0) {
        d->error = EBUSY;
        return false;
    }
    const QByteArray request = bus::openRequest(d->objectPath, int(mode), d->options);
    int err = 0;
    const int fd = bus::connectAndSend(request, &err);
    if (fd < 0) {
        d->error = err;
        return false;
    }
    d->fd = fd;
    // A client's connection joins the thread's watcher while the broker
    // considers the request: the system call then costs no time of the
    // exchange.
    const bool isServer = d->hasOption(QStringLiteral("server"));
    if (!isServer && mode.testFlag(PpsOpenMode::Subscribe))
        d->startWatching(this);
    QByteArray content;
    if (!bus::receiveAnswer(fd, &content, &err)) {
        qCInfo(bus::lcBus, "cannot open %s: %s", qPrintable(d->objectPath),
               err == ENOENT ? "no such object (is its service running?)" : std::strerror(err));
        d->stopWatching();
        ::close(fd);
        d->fd = -1;
        d->error = err;
        return false;
    }
    d->error = 0;
    d->ended = false;
    d->readable = mode.testFlag(PpsOpenMode::Subscribe);
    d->writable = mode.testFlag(PpsOpenMode::Publish);
    if (d->hasOption(QStringLiteral("wait")))
        d->blocking = true;
    d->pending.clear();
    if (!content.isEmpty())
        d->pending.append(content);
    if (isServer) {
        const QString name = d->objectPath.mid(d->objectPath.lastIndexOf(QLatin1Char('/')) + 1);
        d->server.reset(new bus::ServerEndpoint(fd, name.toUtf8()));
    }

    // Without an event loop on this thread there is nobody to tell; read()
    // still works.
    if (d->server && QThread::currentThread()->eventDispatcher()) {
        d->notifier = new QSocketNotifier(d->server->descriptor(), QSocketNotifier::Read, this);
        connect(d->notifier, &QSocketNotifier::activated, this, [this]() {
            Q_D(PpsObject);
            if (d->server->service())
                Q_EMIT readyRead();
        });
    } else if (d->watchToken && !d->pending.isEmpty()) {
        QPointer<PpsObject> self(this);
        QMetaObject::invokeMethod(
            this,
            [self]() {
                if (self && !self->d_func()->pending.isEmpty())
                    Q_EMIT self->readyRead();
            },
            Qt::QueuedConnection);
    }
    return true;
}

bool PpsObject::isOpen() const
{
    return d_func()->fd >= 0;
}

void PpsObject::close()
{
    Q_D(PpsObject);
    delete d->notifier;
    d->notifier = nullptr;
    d->stopWatching();
    if (d->server) {
        d->unregister();
        d->server->dropClients();
        d->server.reset();
    }
    if (d->fd >= 0)
        ::close(d->fd);
    d->fd = -1;
    d->pending.clear();
}

void PpsObject::setBlocking(bool enable)
{
    d_func()->blocking = enable;
}

bool PpsObject::isBlocking() const
{
    return d_func()->blocking;
}

QByteArray PpsObject::read(bool *ok)
{
    Q_D(PpsObject);
    bool dummy;
    if (!ok)
        ok = &dummy;
    *ok = false;
    if (d->fd < 0) {
        d->error = EBADF;
        return QByteArray();
    }
    if (!d->readable) {
        d->error = EBADF;
        return QByteArray();
    }
    if (!d->pending.isEmpty()) {
        *ok = true;
        d->error = 0;
        return d->pending.takeFirst();
    }
    if (d->server) {
        QByteArray data;
        int err = 0;
        *ok = d->server->read(d->blocking, &data, &err);
        d->error = *ok ? 0 : err;
        return data;
    }
    if (d->ended) {
        if (d->error == 0 || d->error == EAGAIN)
            d->error = ENOTCONN;
        return QByteArray();
    }
    QByteArray buf;
    const ssize_t n = bus::receive(d->fd, d->blocking ? 0 : MSG_DONTWAIT, &buf);
    if (n < 0) {
        d->error = errno;
        return QByteArray();
    }
    if (n == 0) {
        // The broker went away: every further read fails at once.
        d->ended = true;
        d->error = ENOTCONN;
        return QByteArray();
    }
    d->error = 0;
    *ok = true;
    return buf;
}

bool PpsObject::write(const QByteArray &data)
{
    Q_D(PpsObject);
    if (d->fd < 0 || !d->writable) {
        d->error = EBADF;
        return false;
    }
    if (d->ended) {
        d->error = d->error ? d->error : ENOTCONN;
        return false;
    }
    if (data.size() > MaxMessageSize) {
        d->error = EMSGSIZE;
        return false;
    }
    if (data.isEmpty()) {
        d->error = 0;
        return true;
    }
    if (d->server) {
        int err = 0;
        const bool written = d->server->write(data, &err);
        d->error = err;
        return written;
    }
    ssize_t n;
    do {
        n = ::send(d->fd, data.constData(), size_t(data.size()), MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    if (n < 0) {
        d->error = errno;
        return false;
    }
    d->error = 0;
    return true;
}

int PpsObject::writeMessage(const QString &msg, const QString &id, const QVariantMap &dat)
{
    QVariantMap message;
    message.insert(QStringLiteral("msg"), msg);
    message.insert(QStringLiteral("id"), id);
    message.insert(QStringLiteral("dat"), dat);
    bool ok = false;
    const QByteArray text = encode(message, &ok);
    if (!ok) {
        d_func()->error = EINVAL;
        return -1;
    }
    return write(text) ? 0 : -1;
}

bool PpsObject::event(QEvent *e)
{
    // A connection is watched by the watcher of the object's thread: a move
    // to another thread hands it over there.
    Q_D(PpsObject);
    if (e->type() == QEvent::ThreadChange && d->watchToken) {
        d->stopWatching();
        QMetaObject::invokeMethod(
            this,
            [this]() {
                Q_D(PpsObject);
                if (d->fd >= 0 && !d->server && !d->watchToken)
                    d->startWatching(this);
            },
            Qt::QueuedConnection);
    }
    return QObject::event(e);
}

int PpsObject::error() const
{
    return d_func()->error;
}

QString PpsObject::errorString() const
{
    return QString::fromLocal8Bit(std::strerror(d_func()->error));
}

QByteArray PpsObject::encode(const QVariantMap &map, bool *ok)
{
    return pps::encode(map, ok);
}

QVariantMap PpsObject::decode(const QByteArray &data, bool *ok)
{
    return pps::decode(data, ok);
}

QString PpsObject::rootDirectory()
{
    return bus::rootDirectory();
}

QString PpsObject::mirrorFilePath(const QString &ppsPath)
{
    QString object;
    QString options;
    bus::splitPath(ppsPath, &object, &options);
    // The root directory stands for /pps.
    if (object == QLatin1String("/pps") || object.startsWith(QLatin1String("/pps/")))
        object = object.mid(4);
    return bus::rootDirectory() + object;
}

QStringList PpsObject::list(const QString &ppsDirectory, int *error)
{
    QByteArray request = "LIST\n";
    request += QFile::encodeName(ppsDirectory);
    QByteArray answer;
    int err = 0;
    QStringList names;
    if (bus::request(request, &answer, &err, nullptr, false)) {
        const QList<QByteArray> lines = answer.split('\n');
        for (const QByteArray &line : lines) {
            if (!line.isEmpty())
                names.append(QString::fromUtf8(line));
        }
    }
    if (error)
        *error = err;
    return names;
}

} // namespace om
