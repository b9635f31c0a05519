// The process's connection to the platform services: one client connection
// to the navigator's control object, shared by every thread. Requests carry
// an id and wait for the answer with that id; whoever reads the connection
// (a request waiting for its answer, or oms_get_event() in a channel that
// asked for events) hands each message to its reader: answers to the
// request waiting for them, the navigator's own messages as events to the
// channels that asked for them.

#include "oms_p.h"

#include "control/controlprotocol_p.h"
#include "navigatorprotocol_p.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QVariantMap>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <poll.h>
#include <set>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace om {
namespace oms {
namespace services {

namespace {

namespace control = om::controlprotocol;

// Events that nobody takes out of a channel stop piling up here.
constexpr size_t MaxQueuedEvents = 1024;

struct Pending
{
    int wakeFd = -1;
    bool done = false;
    int error = 0; // the connection broke before the answer came
    QVariantMap answer;
};

struct Connection
{
    std::mutex mutex;
    int count = 0;
    int fd = -1;
    bool dead = false; // the broker closed the connection
    std::set<int> eventChannels;
    std::map<QByteArray, Pending *> pending;
    quint64 nextId = 0;
};

Connection &connection()
{
    // Never destroyed: threads may still use it while the process exits.
    static Connection *c = new Connection;
    return *c;
}

int timeoutMs()
{
    const QByteArray text = qgetenv("OM_NAVIGATOR_TIMEOUT_MS");
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value > 0 ? value : DefaultTimeoutMs;
}

int openControl()
{
    return ::pps_open(navigatorprotocol::controlPath().toLatin1().constData(), O_RDWR);
}

bool writeAll(int fd, const QByteArray &text)
{
    ssize_t n;
    do {
        n = ::send(fd, text.constData(), size_t(text.size()), MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return n >= 0;
}

bool connectionBroke(int error)
{
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

QVariantMap attributesOf(const QByteArray &data, bool *ok)
{
    const QVariantMap decoded = PpsObject::decode(data, ok);
    if (!decoded.isEmpty() && decoded.firstKey().startsWith(QLatin1Char('@')))
        return decoded.first().toMap();
    return decoded;
}

QByteArray encodeRequest(const QString &msg, const QByteArray &id, const QVariantMap &dat)
{
    QVariantMap message;
    message.insert(control::keyMsg(), msg);
    message.insert(control::keyId(), QString::fromLatin1(id));
    if (!dat.isEmpty())
        message.insert(control::keyDat(), dat);
    return PpsObject::encode(message);
}

QByteArray nextRequestId(Connection &c)
{
    return "oms-" + QByteArray::number(::getpid()) + '-' + QByteArray::number(++c.nextId);
}

void wake(Pending *pending)
{
    const uint64_t one = 1;
    (void)!::write(pending->wakeFd, &one, sizeof one);
}

// With the lock held.
void failPending(Connection &c, int error)
{
    for (auto &entry : c.pending) {
        entry.second->done = true;
        entry.second->error = error;
        wake(entry.second);
    }
}

// Opens the connection anew after the device went away and came back. The
// navigator knows nothing of a new connection, so a process that asked for
// events asks again. With the lock held.
bool reconnect(Connection &c)
{
    if (c.fd >= 0)
        ::close(c.fd);
    c.fd = openControl();
    if (c.fd < 0) {
        const int error = errno;
        c.dead = true;
        log(OMS_VERBOSITY_ERRORS, "cannot reach the navigator: %s", strerror(error));
        errno = error;
        return false;
    }
    c.dead = false;
    log(OMS_VERBOSITY_INFO, "connected to the navigator again");
    if (!c.eventChannels.empty())
        writeAll(c.fd,
                 encodeRequest(navigatorprotocol::requestEventsMessage(), nextRequestId(c), QVariantMap()));
    return true;
}

// One message read from the connection. With the lock held.
void dispatch(Connection &c, const QByteArray &data)
{
    bool ok = false;
    const QVariantMap attributes = attributesOf(data, &ok);
    if (!ok) {
        log(OMS_VERBOSITY_WARNINGS, "dropped a message of the navigator that cannot be decoded");
        return;
    }
    if (attributes.contains(control::keyRes())) {
        auto it = c.pending.find(attributes.value(control::keyId()).toString().toUtf8());
        if (it != c.pending.end() && !it->second->done) {
            it->second->answer = attributes;
            it->second->done = true;
            wake(it->second);
        }
        return;
    }
    if (!attributes.contains(control::keyMsg()))
        return;
    for (int chid : c.eventChannels) {
        oms_event_t *event = createNavigatorEvent(attributes, data);
        if (!event)
            continue;
        if (!pushLimited(chid, event, MaxQueuedEvents)) {
            event->completion(event);
            log(OMS_VERBOSITY_WARNINGS,
                "channel %d holds too many events; one navigator event dropped", chid);
        }
    }
}

// Reads everything that is waiting. With the lock held.
void drain(Connection &c)
{
    if (c.fd < 0 || c.dead)
        return;
    QByteArray buffer(PpsObject::MaxMessageSize + 4096, Qt::Uninitialized);
    for (;;) {
        // MSG_TRUNC: the whole length, so that a message cut short is
        // dropped rather than read as something else.
        const ssize_t n =
            ::recv(c.fd, buffer.data(), size_t(buffer.size()), MSG_DONTWAIT | MSG_TRUNC);
        if (n < 0 && errno == EINTR)
            continue;
        if (n > buffer.size())
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        if (n <= 0) {
            c.dead = true;
            failPending(c, ECONNRESET);
            log(OMS_VERBOSITY_ERRORS, "the connection to the navigator broke");
            return;
        }
        dispatch(c, QByteArray(buffer.constData(), int(n)));
    }
}

int interpret(const QVariantMap &answer, QVariantMap *out, QString *errorText)
{
    if (out)
        *out = answer;
    if (!answer.contains(control::keyErr()))
        return OMS_SUCCESS;
    if (errorText)
        *errorText = answer.value(control::keyErr()).toString();
    const int code = answer.value(navigatorprotocol::keyErrno()).toInt();
    errno = code > 0 ? code : EIO;
    return OMS_FAILURE;
}

int remainingMs(std::chrono::steady_clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    return left.count() > 0 ? int(left.count()) : 0;
}

// A request while the process holds no connection: on a connection of its
// own that ends with the call.
int requestOnce(const QByteArray &text, const QByteArray &id, int timeout, QVariantMap *answer)
{
    const int fd = openControl();
    if (fd < 0)
        return OMS_FAILURE;
    if (!writeAll(fd, text)) {
        const int error = errno;
        ::close(fd);
        errno = error;
        return OMS_FAILURE;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
    QByteArray buffer(PpsObject::MaxMessageSize + 4096, Qt::Uninitialized);
    int error = ETIMEDOUT;
    for (;;) {
        pollfd p = {fd, POLLIN, 0};
        const int n = ::poll(&p, 1, remainingMs(deadline));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        const ssize_t got =
            ::recv(fd, buffer.data(), size_t(buffer.size()), MSG_DONTWAIT | MSG_TRUNC);
        if (got > buffer.size())
            continue; // cut short: dropped whole
        if (got <= 0) {
            if (got < 0 && (errno == EAGAIN || errno == EINTR))
                continue;
            error = ECONNRESET;
            break;
        }
        bool ok = false;
        const QVariantMap attributes = attributesOf(QByteArray(buffer.constData(), int(got)), &ok);
        if (ok && attributes.contains(control::keyRes()) &&
            attributes.value(control::keyId()).toString().toUtf8() == id) {
            *answer = attributes;
            error = 0;
            break;
        }
    }
    ::close(fd);
    errno = error;
    return error ? OMS_FAILURE : OMS_SUCCESS;
}

} // namespace

int acquire()
{
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (c.count == 0) {
        c.fd = openControl();
        if (c.fd < 0) {
            const int error = errno;
            log(OMS_VERBOSITY_ERRORS, "cannot reach the navigator: %s", strerror(error));
            errno = error;
            return OMS_FAILURE;
        }
        c.dead = false;
    } else if (c.fd < 0 || c.dead) {
        reconnect(c); // a failure shows in the next request
    }
    ++c.count;
    return OMS_SUCCESS;
}

void release()
{
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (c.count == 0 || --c.count > 0)
        return;
    failPending(c, ECONNRESET);
    if (c.fd >= 0)
        ::close(c.fd);
    c.fd = -1;
    c.dead = false;
    c.eventChannels.clear();
}

bool isConnected()
{
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    return c.count > 0;
}

int request(const QString &msg, const QVariantMap &dat, QVariantMap *answer, QString *errorText,
            bool needsConnection)
{
    Connection &c = connection();
    const int timeout = timeoutMs();
    Pending pending;
    QByteArray id;
    QByteArray text;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        id = nextRequestId(c);
        text = encodeRequest(msg, id, dat);
        if (text.size() > PpsObject::MaxMessageSize) {
            errno = EMSGSIZE;
            return OMS_FAILURE;
        }
        if (c.count == 0) {
            if (needsConnection) {
                errno = ENOTCONN;
                return OMS_FAILURE;
            }
        } else {
            if ((c.fd < 0 || c.dead) && !reconnect(c))
                return OMS_FAILURE;
            if (!writeAll(c.fd, text)) {
                if (!connectionBroke(errno) || !reconnect(c) || !writeAll(c.fd, text))
                    return OMS_FAILURE;
            }
            pending.wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
            if (pending.wakeFd < 0)
                return OMS_FAILURE;
            c.pending[id] = &pending;
        }
    }

    if (pending.wakeFd < 0) {
        QVariantMap once;
        if (requestOnce(text, id, timeout, &once) != OMS_SUCCESS)
            return OMS_FAILURE;
        return interpret(once, answer, errorText);
    }

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
    for (;;) {
        int fd;
        {
            std::lock_guard<std::mutex> lock(c.mutex);
            if (pending.done)
                break;
            fd = c.dead ? -1 : c.fd;
        }
        const int wait = remainingMs(deadline);
        if (wait == 0)
            break;
        pollfd polled[2] = {{pending.wakeFd, POLLIN, 0}, {fd, POLLIN, 0}};
        const int n = ::poll(polled, fd >= 0 ? 2 : 1, wait);
        if (n > 0 && fd >= 0 && polled[1].revents)
            pump();
    }

    bool done;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        c.pending.erase(id);
        done = pending.done;
    }
    ::close(pending.wakeFd);
    if (!done) {
        log(OMS_VERBOSITY_ERRORS, "no answer of the navigator to \"%s\" within %d ms",
            qPrintable(msg), timeout);
        errno = ETIMEDOUT;
        return OMS_FAILURE;
    }
    if (pending.error) {
        errno = pending.error;
        return OMS_FAILURE;
    }
    return interpret(pending.answer, answer, errorText);
}

int requestEvents(int chid)
{
    Connection &c = connection();
    bool added;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        if (c.count == 0) {
            errno = ENOTCONN;
            return OMS_FAILURE;
        }
        // Registered before the request goes out, so that no event that
        // follows the answer finds the channel missing.
        added = c.eventChannels.insert(chid).second;
    }
    if (request(navigatorprotocol::requestEventsMessage(), QVariantMap(), nullptr, nullptr, true) ==
        OMS_SUCCESS)
        return OMS_SUCCESS;
    const int error = errno;
    if (added) {
        std::lock_guard<std::mutex> lock(c.mutex);
        c.eventChannels.erase(chid);
    }
    errno = error;
    return OMS_FAILURE;
}

void channelDestroyed(int chid)
{
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    c.eventChannels.erase(chid);
}

int watchedDescriptor(int chid)
{
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (c.count == 0 || c.dead || c.fd < 0 || !c.eventChannels.count(chid))
        return -1;
    return c.fd;
}

void pump()
{
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    drain(c);
}

int rawWrite(const char *data, unsigned int length)
{
    if (!data && length > 0) {
        errno = EINVAL;
        return OMS_FAILURE;
    }
    if (length > unsigned(PpsObject::MaxMessageSize)) {
        errno = EMSGSIZE;
        return OMS_FAILURE;
    }
    Connection &c = connection();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (c.count == 0) {
        errno = ENOTCONN;
        return OMS_FAILURE;
    }
    if ((c.fd < 0 || c.dead) && !reconnect(c))
        return OMS_FAILURE;
    if (length == 0)
        return OMS_SUCCESS;
    const QByteArray text(data, int(length));
    if (writeAll(c.fd, text))
        return OMS_SUCCESS;
    if (!connectionBroke(errno) || !reconnect(c) || !writeAll(c.fd, text))
        return OMS_FAILURE;
    return OMS_SUCCESS;
}

} // namespace services
} // namespace oms
} // namespace om
