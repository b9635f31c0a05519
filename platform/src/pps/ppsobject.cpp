#include <om/ppsobject.h>

#include "buspolicy_p.h"
#include "busprotocol_p.h"
#include "bussocket_p.h"
#include "connectionwatcher_p.h"
#include "ppscodec_p.h"
#include "serverendpoint_p.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace om {

namespace {
// A control object's client whose server went away, or a plain object's
// reader whose broker went away, tries again after this long, twice as long
// after every failed try, up to the longest.
constexpr int FirstRetryMs = 20;
constexpr int LongestRetryMs = 1000;
} // namespace

class PpsObjectPrivate
{
public:
    // How the object is reached.
    enum Kind {
        Closed,
        Brokered, // a plain object, through the broker
        Direct,   // a control object, straight to its server
        Serving,  // the server of a control object
    };

    QString path;
    QString objectPath;
    QString options;
    // The same, as the bus carries them.
    QByteArray objectBytes;
    QByteArray optionBytes;
    Kind kind = Closed;
    int fd = -1;
    bool blocking = false;
    bool readable = false;
    bool writable = false;
    bool ended = false; // the far side ended the connection for good
    int error = 0;
    QList<QByteArray> pending; // content that came with the open answer
    // A server's connections are watched through its endpoint; every
    // other readable connection through the thread's watcher.
    QSocketNotifier *notifier = nullptr;
    QPointer<bus::ConnectionWatcher> watcher;
    quint64 watchToken = 0;
    std::unique_ptr<bus::ServerEndpoint> server;

    // A control object's client whose server went away, or a plain
    // object's reader whose broker went away: its open request, which is
    // also the preface of a new connection, and when to try again.
    QByteArray preface;
    int openMode = 0;
    bool lost = false;
    int retryMs = 0;
    std::chrono::steady_clock::time_point nextTry;
    std::chrono::steady_clock::time_point connectedAt;
    QTimer *retry = nullptr;

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
            ssize_t n = 0;
            if (!ended) {
                do {
                    n = ::recv(fd, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
                } while (n < 0 && (errno == EINTR || errno == ECONNRESET));
            }
            if (n == 0) {
                if (kind == Direct && !ended && bus::peerClosed(fd)) {
                    // The server went away: nothing for the reader to see.
                    loseServer(q);
                    return;
                }
                if (kind == Brokered && !ended) {
                    // The broker went away (the device restarts): the
                    // reader sees the object again once it is back.
                    loseServer(q);
                    return;
                }
                ended = true;
                stopWatching();
            }
        }
        Q_EMIT q->readyRead();
    }

    // The connection to a control object's server ended because the server
    // closed it: the object is opened again once a server is back.
    void loseServer(PpsObject *q)
    {
        stopWatching();
        if (fd >= 0)
            ::close(fd);
        fd = -1;
        lost = true;
        // A connection that ends as soon as it is made counts as a failed
        // try: a server that keeps closing its clients is not answered by a
        // client that keeps coming back at once.
        const auto time = std::chrono::steady_clock::now();
        if (time - connectedAt >= std::chrono::milliseconds(LongestRetryMs)) {
            retryMs = 0;
            nextTry = time;
        } else {
            retryMs = retryMs == 0 ? FirstRetryMs : std::min(2 * retryMs, LongestRetryMs);
            nextTry = time + std::chrono::milliseconds(retryMs);
        }
        qCDebug(bus::lcBus) << "the server of" << objectPath
                            << "went away; waiting for it to come back";
        tryAgain(q, false);
    }

    // One attempt (more with @p blocking, until one succeeds) to connect to
    // the server again; false if it is still away.
    bool tryAgain(PpsObject *q, bool blocking, bool now = false)
    {
        for (;;) {
            if (!lost)
                return true;
            const auto time = std::chrono::steady_clock::now();
            if (now || time >= nextTry) {
                now = false;
                const int connected = kind == Brokered ? reopen() : reconnect();
                if (connected >= 0) {
                    fd = connected;
                    lost = false;
                    connectedAt = time;
                    if (retry)
                        retry->stop();
                    if (readable)
                        startWatching(q);
                    if (!pending.isEmpty())
                        tellPending(q);
                    qCDebug(bus::lcBus) << "connected to the server of" << objectPath << "again";
                    return true;
                }
                retryMs = retryMs == 0 ? FirstRetryMs : std::min(2 * retryMs, LongestRetryMs);
                nextTry = time + std::chrono::milliseconds(retryMs);
            }
            const auto wait =
                std::chrono::duration_cast<std::chrono::milliseconds>(nextTry - time).count() + 1;
            if (!blocking) {
                scheduleRetry(q, int(wait));
                return false;
            }
            // A reader that waits for the server to come back waits only
            // while the bus is there: with the device gone, it hears so at
            // once instead of hanging.
            if (!bus::brokerRunning()) {
                error = ENOTCONN;
                return false;
            }
            ::poll(nullptr, 0, int(wait));
        }
    }

    int reconnect()
    {
        int err = 0;
        bool notServed = false;
        return bus::connectToServer(objectBytes, openMode, preface, &err, &notServed);
    }

    // A plain object opened again through the broker; what the object
    // holds now comes with the answer, for the reader to read.
    int reopen()
    {
        int err = 0;
        const int connected = bus::connectAndSend(preface, &err);
        if (connected < 0)
            return -1;
        QByteArray content;
        if (!bus::receiveAnswer(connected, &content, &err)) {
            ::close(connected);
            return -1;
        }
        pending.clear();
        if (!content.isEmpty())
            pending.append(content);
        return connected;
    }

    // Tells the reader, from the event loop, of content that came with an
    // open answer.
    void tellPending(PpsObject *q)
    {
        if (!watchToken)
            return;
        QPointer<PpsObject> self(q);
        QMetaObject::invokeMethod(
            q,
            [self]() {
                if (self && !self->d_func()->pending.isEmpty())
                    Q_EMIT self->readyRead();
            },
            Qt::QueuedConnection);
    }

    void scheduleRetry(PpsObject *q, int ms)
    {
        if (!QThread::currentThread()->eventDispatcher() || q->thread() != QThread::currentThread())
            return; // tried again by the next read() or write()
        if (!retry) {
            retry = new QTimer(q);
            retry->setSingleShot(true);
            QObject::connect(retry, &QTimer::timeout, q, [q]() {
                PpsObjectPrivate *d = q->d_func();
                if (d->lost)
                    d->tryAgain(q, false);
            });
        }
        retry->start(ms);
    }

    // What ended a direct connection: its server closing it, or the server
    // shutting this client out (the bus went away, or it read too little).
    // True if the object is to be opened again.
    bool connectionEnded(PpsObject *q)
    {
        if (!ended && bus::peerClosed(fd)) {
            loseServer(q);
            return true;
        }
        ended = true;
        stopWatching();
        return false;
    }

    QByteArray readDirect(PpsObject *q, bool *ok)
    {
        for (;;) {
            if (lost && !tryAgain(q, blocking)) {
                error = blocking ? ENOTCONN : EAGAIN;
                return QByteArray();
            }
            QByteArray buf;
            const ssize_t n = bus::receive(fd, blocking ? 0 : MSG_DONTWAIT, &buf);
            if (n > 0) {
                error = 0;
                *ok = true;
                return buf;
            }
            // A server that closed with messages of ours unread makes one
            // receive fail with ECONNRESET; what it sent before follows.
            if (n < 0 && errno == ECONNRESET)
                continue;
            if (n < 0) {
                error = errno;
                return QByteArray();
            }
            if (connectionEnded(q))
                continue;
            error = ENOTCONN;
            return QByteArray();
        }
    }

    bool writeDirect(PpsObject *q, const QByteArray &data)
    {
        error = 0;
        // A message written while no server exists is lost, as one that a
        // server leaves unread when it goes; the writer is not told either
        // way. A server that is back already gets it.
        if (lost && !tryAgain(q, false, true))
            return true;
        for (int attempt = 0; attempt < 2; ++attempt) {
            if (bus::sendMessage(fd, data) >= 0)
                return true;
            if ((errno != EPIPE && errno != ECONNRESET && errno != ENOTCONN) ||
                !bus::peerClosed(fd)) {
                error = errno;
                return false;
            }
            loseServer(q);
            if (!tryAgain(q, false, true))
                return true;
        }
        return true;
    }
};

PpsObject::PpsObject(const QString &path, QObject *parent)
    : QObject(parent), d_ptr(new PpsObjectPrivate)
{
    Q_D(PpsObject);
    d->path = path;
    bus::splitPath(path, &d->objectPath, &d->options);
    d->objectBytes = bus::fileName(d->objectPath);
    d->optionBytes = d->options.toUtf8();
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
                              "device's services come through the Qt event loop, and calls that "
                              "wait for them fail at once; create a QCoreApplication first");
    }
    if (d->kind != PpsObjectPrivate::Closed) {
        d->error = EBUSY;
        return false;
    }
    // The path and options are checked here, before anything is looked up
    // in the file system: a control object's server is reached directly.
    if (!bus::fitsOneMessage(d->objectBytes, d->optionBytes)) {
        d->error = ENAMETOOLONG;
        return false;
    }
    bus::OpenOptions options;
    if (!bus::validObjectPath(d->objectBytes) || !bus::parseOptions(d->optionBytes, &options) ||
        (int(mode) & 3) == 0) {
        d->error = EINVAL;
        return false;
    }
    const QByteArray request = bus::openRequest(d->objectBytes, int(mode), d->optionBytes);
    int err = 0;
    if (options.server) {
        d->server = bus::ServerEndpoint::open(d->objectPath, request, &err);
        if (!d->server) {
            d->error = err;
            return false;
        }
        d->kind = PpsObjectPrivate::Serving;
    } else {
        bool notServed = false;
        d->fd = bus::connectToServer(d->objectBytes, int(mode), request, &err, &notServed);
        if (d->fd >= 0) {
            d->kind = PpsObjectPrivate::Direct;
            d->preface = request;
            d->openMode = int(mode);
            d->connectedAt = std::chrono::steady_clock::now();
            d->retryMs = 0;
            if (mode.testFlag(PpsOpenMode::Subscribe))
                d->startWatching(this);
        } else if (!notServed) {
            d->error = err;
            return false;
        } else {
            // Not a control object that is served: the broker's to answer.
            const int fd = bus::connectAndSend(request, &err);
            if (fd < 0) {
                d->error = err;
                return false;
            }
            d->fd = fd;
            // The connection joins the thread's watcher while the broker
            // considers the request: the system call then costs no time of
            // the exchange.
            if (mode.testFlag(PpsOpenMode::Subscribe))
                d->startWatching(this);
            QByteArray content;
            if (!bus::receiveAnswer(fd, &content, &err)) {
                qCInfo(bus::lcBus, "cannot open %s: %s", qPrintable(d->objectPath),
                       err == ENOENT ? "no such object (is its service running?)"
                                     : std::strerror(err));
                d->stopWatching();
                ::close(fd);
                d->fd = -1;
                d->error = err;
                return false;
            }
            d->kind = PpsObjectPrivate::Brokered;
            d->preface = request;
            d->openMode = int(mode);
            d->connectedAt = std::chrono::steady_clock::now();
            d->retryMs = 0;
            d->pending.clear();
            if (!content.isEmpty())
                d->pending.append(content);
        }
    }
    d->error = 0;
    d->ended = false;
    d->lost = false;
    d->readable = mode.testFlag(PpsOpenMode::Subscribe);
    d->writable = mode.testFlag(PpsOpenMode::Publish);
    if (options.wait)
        d->blocking = true;

    // Without an event loop on this thread there is nobody to tell; read()
    // still works.
    if (d->server && QThread::currentThread()->eventDispatcher()) {
        d->notifier = new QSocketNotifier(d->server->descriptor(), QSocketNotifier::Read, this);
        connect(d->notifier, &QSocketNotifier::activated, this, [this]() {
            Q_D(PpsObject);
            if (d->server->service())
                Q_EMIT readyRead();
        });
    } else if (!d->pending.isEmpty()) {
        d->tellPending(this);
    }
    return true;
}

bool PpsObject::isOpen() const
{
    return d_func()->kind != PpsObjectPrivate::Closed;
}

void PpsObject::close()
{
    Q_D(PpsObject);
    delete d->notifier;
    d->notifier = nullptr;
    delete d->retry;
    d->retry = nullptr;
    d->stopWatching();
    if (d->server) {
        d->server->close();
        d->server.reset();
    }
    if (d->fd >= 0)
        ::close(d->fd);
    d->fd = -1;
    d->kind = PpsObjectPrivate::Closed;
    d->lost = false;
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
    if (d->kind == PpsObjectPrivate::Closed || !d->readable) {
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
    if (d->kind == PpsObjectPrivate::Direct)
        return d->readDirect(this, ok);
    QByteArray buf;
    ssize_t n = 0;
    for (;;) {
        if (d->lost) {
            // A reader of a plain object whose broker went away: the
            // object's content when it is back comes first.
            if (!d->tryAgain(this, d->blocking)) {
                d->error = d->blocking ? ENOTCONN : EAGAIN;
                return QByteArray();
            }
            if (!d->pending.isEmpty()) {
                *ok = true;
                d->error = 0;
                return d->pending.takeFirst();
            }
        }
        n = bus::receive(d->fd, d->blocking ? 0 : MSG_DONTWAIT, &buf);
        if (n < 0) {
            d->error = errno;
            return QByteArray();
        }
        if (n > 0)
            break;
        // The broker went away: opened again once it is back; a writer
        // that does not read fails at once from now on.
        d->loseServer(this);
    }
    d->error = 0;
    *ok = true;
    return buf;
}

bool PpsObject::write(const QByteArray &data)
{
    Q_D(PpsObject);
    if (d->kind == PpsObjectPrivate::Closed || !d->writable) {
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
    if (d->kind == PpsObjectPrivate::Direct)
        return d->writeDirect(this, data);
    if (d->lost && !d->tryAgain(this, false, true)) {
        d->error = ENOTCONN; // no broker: nothing to keep the change
        return false;
    }
    if (bus::sendMessage(d->fd, data) < 0) {
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
                if (d->fd >= 0 && d->readable && !d->server && !d->watchToken)
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
