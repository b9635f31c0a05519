// libids: the identity client. One connection to the identity service's
// control object per registered provider; requests are written at once and
// their answers read, one message per ids_process_msg(), which runs the
// callbacks. All state sits behind one lock, which is never held while a
// callback runs, so that a callback may call back into the library (issue a
// request, cancel its callbacks, even shut down).

#include <ids/ids.h>

#include "ids/idsprotocol_p.h"
#include "pps/ppscodec_p.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QLoggingCategory>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

Q_LOGGING_CATEGORY(lcIds, "om.sys.ids", QtInfoMsg)

struct ids_provider_s
{
    // Only ever used as an address: handles are looked up, not followed.
};

namespace {

namespace protocol = om::ids::protocol;
using protocol::Incoming;

constexpr int DefaultTimeoutMs = 5000;
// Connecting again after the service went away: first after this long,
// then twice as long each time up to the most.
constexpr int FirstRetryMs = 250;
constexpr int MostRetryMs = 8000;
constexpr int ReceiveBuffer = om::PpsObject::MaxMessageSize + 4096;
// What a provider's connection may hold of requests not yet read by the
// service (the kernel caps it at twice net.core.wmem_max).
constexpr int RequestQueueBytes = 4 * 1024 * 1024;

const char *const LostConnectionInfo = "the connection to the identity service ended";
const char *const UnreadableAnswerInfo = "the answer of the identity service cannot be read";

enum class Kind {
    GetToken,
    ClearToken,
    GetProperties,
    GetData,
    SetData,
    CreateData,
    DeleteData,
    ListData,
    Challenge,
    Internal, ///< the library's own request; its answer is dropped
};

using AnyCallback = void (*)();

struct Pending
{
    Kind kind = Kind::Internal;
    AnyCallback success = nullptr;
    ids_failure_cb failure = nullptr;
    void *data = nullptr;
};

/** A notifier of one watcher (an object of the process) on one entry. */
struct Notifier
{
    int watcher = 0;
    int type = 0;
    QByteArray name;
    ids_notify_cb callback = nullptr;
    void *data = nullptr;
    bool stopping = false; ///< stopped; removed once "Stopped" is delivered
};

struct Registration : ids_provider_s
{
    enum class Link {
        Connected, ///< the descriptor is the connection
        Waiting,   ///< the connection ended; a timer stands behind the descriptor
        Parked,    ///< ended by the last ids_shutdown(); never readable
    };

    QByteArray provider;
    int fd = -1;
    Link link = Link::Connected;
    std::map<unsigned int, Pending> pending;
    std::vector<Notifier> notifiers;
    std::map<void *, int> watchers;
    int nextWatcher = 0;
    // Messages read while waiting for a synchronous answer; handed out
    // before anything else is read.
    std::deque<QByteArray> queued;
    int retryMs = FirstRetryMs;
};

/** A callback to run once the lock is released. */
struct Delivery
{
    void *data = nullptr;
    bool cancelled = false;
    std::function<void()> call;
};

struct Client
{
    std::mutex mutex;
    int initCount = 0;
    // Never shrinks: a registration keeps its descriptor number for the
    // life of the process, so that a notifier watching the number is
    // never surprised by another file taking it.
    std::vector<std::unique_ptr<Registration>> registrations;
    unsigned int lastId = 0;
    int neverReadable = -1;
    std::vector<std::vector<Delivery> *> delivering;
    std::vector<char> buffer;
};

Client &client()
{
    // Never destroyed: callbacks may run while the process exits.
    static Client *c = new Client;
    return *c;
}

int fail(int error)
{
    errno = error;
    return -1;
}

int timeoutMs()
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue("OM_IDS_TIMEOUT_MS", &ok);
    return ok && value > 0 ? value : DefaultTimeoutMs;
}

unsigned int nextRequestId(Client &c)
{
    if (++c.lastId == 0)
        ++c.lastId; // 0 means "not issued"
    return c.lastId;
}

bool isUtf8(const char *text, QString *out)
{
    const QByteArray bytes(text);
    *out = QString::fromUtf8(bytes);
    return out->toUtf8() == bytes;
}

Registration *find(Client &c, ids_provider_t *handle)
{
    for (const auto &r : c.registrations) {
        if (r.get() == handle)
            return r.get();
    }
    return nullptr;
}

Registration *findByFd(Client &c, int fd)
{
    for (const auto &r : c.registrations) {
        if (r->fd == fd)
            return r.get();
    }
    return nullptr;
}

Registration *findByProvider(Client &c, const QByteArray &provider)
{
    for (const auto &r : c.registrations) {
        if (r->provider == provider)
            return r.get();
    }
    return nullptr;
}

int neverReadable(Client &c)
{
    if (c.neverReadable < 0)
        c.neverReadable = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return c.neverReadable;
}

QByteArray encodeRequest(const QString &msg, unsigned int id, const QVariantMap &dat, bool *ok)
{
    QVariantMap message{{protocol::keyMsg(), msg}, {protocol::keyId(), QString::number(id)}};
    if (!dat.isEmpty())
        message.insert(protocol::keyDat(), dat);
    return om::pps::encode(message, ok);
}

bool sendAll(int fd, const QByteArray &text)
{
    ssize_t n;
    do {
        n = ::send(fd, text.constData(), size_t(text.size()), MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return n == ssize_t(text.size());
}

enum class Read { Message, Nothing, Ended };

Read receive(Client &c, int fd, QByteArray *text)
{
    if (c.buffer.empty())
        c.buffer.resize(ReceiveBuffer);
    for (;;) {
        const ssize_t n = ::recv(fd, c.buffer.data(), c.buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return Read::Nothing;
        if (n <= 0)
            return Read::Ended;
        if (size_t(n) > c.buffer.size()) {
            qCWarning(lcIds) << "dropped a message of the identity service of" << n << "bytes";
            *text = QByteArray();
        } else {
            *text = QByteArray(c.buffer.data(), int(n));
        }
        return Read::Message;
    }
}

/**
 * Writes @p text and waits for the answer to request @p id on @p fd, for
 * at most the time-out. Other messages read meanwhile go to @p queue. False
 * with *error ETIMEDOUT or ECONNRESET when no answer came.
 */
bool exchange(Client &c, int fd, const QByteArray &text, unsigned int id,
              std::deque<QByteArray> *queue, Incoming *answer, int *error)
{
    if (!sendAll(fd, text)) {
        *error = ECONNRESET;
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs());
    for (;;) {
        QByteArray message;
        switch (receive(c, fd, &message)) {
        case Read::Ended:
            *error = ECONNRESET;
            return false;
        case Read::Message: {
            Incoming m;
            if (protocol::readIncoming(message, &m) && m.kind == Incoming::Answer && m.id == id) {
                *answer = m;
                return true;
            }
            if (queue)
                queue->push_back(message);
            continue;
        }
        case Read::Nothing:
            break;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              deadline - std::chrono::steady_clock::now())
                              .count();
        if (left <= 0) {
            *error = ETIMEDOUT;
            return false;
        }
        pollfd p = {fd, POLLIN, 0};
        ::poll(&p, 1, int(left));
    }
}

/** The errno value that a refusal of the service stands for. */
int refusalErrno(const Incoming &answer)
{
    return answer.code > 0 && answer.code < 4096 ? answer.code : ECOMM;
}

/** A new connection on which @p provider is registered, or -1 with errno. */
int connectProvider(Client &c, const QByteArray &provider)
{
    const int fd = ::pps_open(protocol::controlPath().toUtf8().constData(), O_RDWR);
    if (fd < 0) {
        qCDebug(lcIds) << "cannot reach the identity service:" << strerror(errno);
        return fail(ECOMM);
    }
    // Requests are checked against the message size before they are sent,
    // so the connection may queue many: an application that issues a burst
    // of requests then blocks less often while the service catches up.
    const int queue = RequestQueueBytes;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &queue, sizeof queue);
    const unsigned int id = nextRequestId(c);
    bool ok = false;
    const QByteArray text = encodeRequest(
        protocol::msgRegister(), id, {{protocol::keyProvider(), QString::fromUtf8(provider)}}, &ok);
    Incoming answer;
    int error = 0;
    if (!ok || !exchange(c, fd, text, id, nullptr, &answer, &error)) {
        ::close(fd);
        qCInfo(lcIds) << "no answer of the identity service to a registration:" << strerror(error);
        return fail(ECOMM);
    }
    if (answer.failed) {
        ::close(fd);
        return fail(refusalErrno(answer));
    }
    return fd;
}

void sendInternal(Client &c, Registration *r, const QString &msg, const QVariantMap &dat)
{
    const unsigned int id = nextRequestId(c);
    bool ok = false;
    const QByteArray text = encodeRequest(msg, id, dat, &ok);
    if (ok && sendAll(r->fd, text))
        r->pending[id] = Pending();
}

// After a synchronous exchange read messages past the descriptor's
// readiness: the service's answer to "wake" makes the descriptor readable
// again, so that the watcher calls ids_process_msg() for them.
void wakeIfQueued(Client &c, Registration *r)
{
    if (!r->queued.empty())
        sendInternal(c, r, protocol::msgWake(), QVariantMap());
}

QVariantMap notifierDat(const Registration *r, const Notifier &n, int flags)
{
    return {{protocol::keyProvider(), QString::fromUtf8(r->provider)},
            {protocol::keyType(), n.type},
            {protocol::keyFlags(), flags},
            {protocol::keyName(), QString::fromUtf8(n.name)},
            {protocol::keyWatcher(), n.watcher}};
}

/**
 * Connects @p r again: a new connection registers the provider and the
 * notifiers that were running, and takes the registration's descriptor
 * number. False with errno when the service cannot be reached.
 */
bool reconnect(Client &c, Registration *r)
{
    const int fd = connectProvider(c, r->provider);
    if (fd < 0)
        return false;
    r->queued.clear();
    for (const Notifier &n : r->notifiers) {
        if (n.stopping)
            continue;
        QVariantMap dat = notifierDat(r, n, protocol::NotifierStart);
        dat.insert(protocol::keyResume(), true);
        const unsigned int id = nextRequestId(c);
        bool ok = false;
        const QByteArray text = encodeRequest(protocol::msgRegisterNotifier(), id, dat, &ok);
        Incoming answer;
        int error = 0;
        if (!ok || !exchange(c, fd, text, id, &r->queued, &answer, &error) || answer.failed)
            qCWarning(lcIds) << "a notifier of" << r->provider << "could not be resumed";
    }
    const bool taken = ::dup3(fd, r->fd, O_CLOEXEC) >= 0;
    const int error = errno;
    ::close(fd);
    if (!taken) {
        errno = error;
        return false;
    }
    if (r->link == Registration::Link::Waiting)
        qCInfo(lcIds) << "connected to the identity service again for" << r->provider;
    r->link = Registration::Link::Connected;
    r->retryMs = FirstRetryMs;
    r->notifiers.erase(std::remove_if(r->notifiers.begin(), r->notifiers.end(),
                                      [](const Notifier &n) { return n.stopping; }),
                       r->notifiers.end());
    wakeIfQueued(c, r);
    return true;
}

void armRetry(Registration *r)
{
    itimerspec when = {};
    when.it_value.tv_sec = r->retryMs / 1000;
    when.it_value.tv_nsec = long(r->retryMs % 1000) * 1000000L;
    ::timerfd_settime(r->fd, 0, &when, nullptr);
}

/**
 * The connection of @p r ended: its pending requests fail, and a timer
 * takes the descriptor's number, so that its watcher wakes now and then
 * to connect again, and not all the time.
 */
void connectionEnded(Client &c, Registration *r, std::vector<Delivery> *out)
{
    qCInfo(lcIds) << "the connection to the identity service ended for" << r->provider;
    for (const auto &entry : r->pending) {
        const Pending &p = entry.second;
        if (p.kind == Kind::Internal || !p.failure)
            continue;
        const unsigned int id = entry.first;
        const ids_failure_cb failure = p.failure;
        void *data = p.data;
        out->push_back({data, false, [failure, id, data] {
                            failure(id, IDS_ERROR_WHILE_CONTACTING_SERVICE, LostConnectionInfo,
                                    data);
                        }});
    }
    r->pending.clear();
    r->queued.clear();
    const int timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer >= 0) {
        ::dup3(timer, r->fd, O_CLOEXEC);
        ::close(timer);
        r->link = Registration::Link::Waiting;
        r->retryMs = FirstRetryMs;
        armRetry(r);
    } else {
        ::dup3(neverReadable(c), r->fd, O_CLOEXEC);
        r->link = Registration::Link::Waiting;
    }
}

void park(Client &c, Registration *r)
{
    r->pending.clear();
    r->notifiers.clear();
    r->watchers.clear();
    r->queued.clear();
    ::dup3(neverReadable(c), r->fd, O_CLOEXEC);
    r->link = Registration::Link::Parked;
}

/** Runs @p deliveries without the lock, skipping those cancelled meanwhile. */
void deliver(Client &c, std::unique_lock<std::mutex> &lock, std::vector<Delivery> &deliveries)
{
    if (deliveries.empty())
        return;
    c.delivering.push_back(&deliveries);
    for (Delivery &d : deliveries) {
        if (d.cancelled)
            continue;
        lock.unlock();
        d.call();
        lock.lock();
    }
    c.delivering.erase(std::find(c.delivering.begin(), c.delivering.end(), &deliveries));
}

template <typename Callback> Callback as(AnyCallback callback)
{
    return reinterpret_cast<Callback>(callback);
}

/** The success callback of @p p for the answer @p m; a failure if the
 *  answer cannot be read. */
std::function<void()> successCall(unsigned int id, const Pending &p, const Incoming &m)
{
    void *data = p.data;
    switch (p.kind) {
    case Kind::GetToken: {
        protocol::TokenAnswer answer;
        if (!protocol::readTokenAnswer(m.dat, &answer))
            return nullptr;
        const auto cb = as<ids_get_token_cb>(p.success);
        return [cb, id, answer, data] {
            std::vector<ids_token_param_t> params;
            for (const auto &pair : answer.params)
                params.push_back({pair.first.constData(), pair.second.constData()});
            cb(id, answer.token.constData(), int(params.size()),
               params.empty() ? nullptr : params.data(), data);
        };
    }
    case Kind::ClearToken: {
        bool cleared = false;
        if (!protocol::readClearAnswer(m.dat, &cleared))
            return nullptr;
        const auto cb = as<ids_clear_token_cb>(p.success);
        return [cb, id, cleared, data] { cb(id, cleared, data); };
    }
    case Kind::GetProperties: {
        protocol::Pairs pairs;
        if (!protocol::readPropertiesAnswer(m.dat, &pairs))
            return nullptr;
        const auto cb = as<ids_get_properties_cb>(p.success);
        return [cb, id, pairs, data] {
            std::vector<ids_property_t> properties;
            for (const auto &pair : pairs)
                properties.push_back({pair.first.constData(), pair.second.constData()});
            cb(id, int(properties.size()), properties.empty() ? nullptr : properties.data(), data);
        };
    }
    case Kind::GetData: {
        QByteArray name;
        QByteArray value;
        if (!protocol::readDataAnswer(m.dat, &name, &value))
            return nullptr;
        const auto cb = as<ids_get_data_cb>(p.success);
        return [cb, id, name, value, data] {
            const ids_data_t entry = {name.constData(), value.constData(), size_t(value.size())};
            cb(id, &entry, data);
        };
    }
    case Kind::SetData:
    case Kind::CreateData:
    case Kind::DeleteData: {
        // The three share one shape of callback.
        const auto cb = as<ids_set_data_cb>(p.success);
        return [cb, id, data] { cb(id, data); };
    }
    case Kind::ListData: {
        QList<QByteArray> names;
        if (!protocol::readListAnswer(m.dat, &names))
            return nullptr;
        const auto cb = as<ids_list_data_cb>(p.success);
        return [cb, id, names, data] {
            std::vector<const char *> list;
            for (const QByteArray &name : names)
                list.push_back(name.constData());
            cb(id, int(list.size()), list.empty() ? nullptr : list.data(), data);
        };
    }
    case Kind::Challenge: {
        int level = 0;
        if (!protocol::readChallengeAnswer(m.dat, &level))
            return nullptr;
        const auto cb = as<ids_challenge_cb>(p.success);
        return [cb, id, level, data] { cb(id, level, data); };
    }
    case Kind::Internal:
        break;
    }
    return nullptr;
}

/** What one message of the service sets off. */
void handle(Registration *r, const QByteArray &text, std::vector<Delivery> *out)
{
    Incoming m;
    if (!protocol::readIncoming(text, &m)) {
        qCWarning(lcIds) << "dropped a message of the identity service that cannot be read";
        return;
    }
    if (m.kind == Incoming::Notification) {
        for (auto it = r->notifiers.begin(); it != r->notifiers.end();) {
            if (it->watcher != m.watcher || it->type != m.type || it->name != m.name) {
                ++it;
                continue;
            }
            const ids_notify_cb cb = it->callback;
            void *data = it->data;
            const int type = m.type;
            const int notification = m.notification;
            const QByteArray name = m.name;
            if (cb)
                out->push_back({data, false, [cb, type, name, notification, data] {
                                    cb(type, name.constData(), notification, data);
                                }});
            if (notification == protocol::NotificationStopped && it->stopping)
                it = r->notifiers.erase(it);
            else
                ++it;
        }
        return;
    }

    const auto it = r->pending.find(m.id);
    if (it == r->pending.end())
        return;
    const Pending p = it->second;
    r->pending.erase(it);
    if (p.kind == Kind::Internal)
        return;

    const unsigned int id = m.id;
    void *data = p.data;
    if (!m.failed) {
        if (!p.success)
            return;
        std::function<void()> call = successCall(id, p, m);
        if (call) {
            out->push_back({data, false, call});
            return;
        }
        m.code = IDS_INTERNAL_ERROR;
        m.hasInfo = true;
        m.info = UnreadableAnswerInfo;
    }
    if (!p.failure)
        return;
    const ids_failure_cb failure = p.failure;
    const int code = m.code;
    const bool hasInfo = m.hasInfo;
    const QByteArray info = m.info;
    out->push_back({data, false, [failure, id, code, hasInfo, info, data] {
                        failure(id, ids_result_t(code), hasInfo ? info.constData() : nullptr, data);
                    }});
}

/** The steps all nine requests share, after their arguments were read. */
int issue(ids_provider_t *handle, Kind kind, const QString &msg, const QVariantMap &dat,
          AnyCallback success, ids_failure_cb failure, void *data, unsigned int *requestId)
{
    if (!requestId)
        return fail(EINVAL);
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    Registration *r = find(c, handle);
    if (!r || c.initCount == 0 || r->link == Registration::Link::Parked)
        return fail(EINVAL);
    const unsigned int id = nextRequestId(c);
    // Each request names its provider, so that a service that meets the
    // connection without having seen it register still knows it.
    QVariantMap full = dat;
    full.insert(protocol::keyProvider(), QString::fromUtf8(r->provider));
    bool ok = false;
    const QByteArray text = encodeRequest(msg, id, full, &ok);
    if (!ok)
        return fail(EINVAL);
    if (text.size() > om::PpsObject::MaxMessageSize)
        return fail(E2BIG);
    if (r->link == Registration::Link::Waiting && !reconnect(c, r))
        return fail(ECOMM);
    if (!sendAll(r->fd, text))
        return fail(errno == EMSGSIZE ? E2BIG : ECOMM);
    r->pending[id] = Pending{kind, success, failure, data};
    *requestId = id;
    return 0;
}

bool readName(const char *name, QString *out)
{
    return name && isUtf8(name, out);
}

int dataRequest(ids_provider_t *provider, Kind kind, const QString &msg, int type, int flags,
                const ids_data_t *data, AnyCallback success, ids_failure_cb failure, void *cbData,
                unsigned int *requestId)
{
    QString name;
    if (!data || !readName(data->name, &name) || (data->length > 0 && !data->value))
        return fail(EINVAL);
    // Base64 makes it larger still: it cannot fit in one message.
    if (data->length > size_t(om::PpsObject::MaxMessageSize))
        return fail(E2BIG);
    const QByteArray value(static_cast<const char *>(data->value), int(data->length));
    return issue(provider, kind, msg,
                 {{protocol::keyType(), type},
                  {protocol::keyFlags(), flags},
                  {protocol::keyName(), name},
                  {protocol::keyValue(), protocol::encodeBytes(value)}},
                 success, failure, cbData, requestId);
}

int namedRequest(ids_provider_t *provider, Kind kind, const QString &msg, int type, int flags,
                 const char *name, AnyCallback success, ids_failure_cb failure, void *cbData,
                 unsigned int *requestId)
{
    QString text;
    if (!readName(name, &text))
        return fail(EINVAL);
    return issue(
        provider, kind, msg,
        {{protocol::keyType(), type}, {protocol::keyFlags(), flags}, {protocol::keyName(), text}},
        success, failure, cbData, requestId);
}

int tokenRequest(ids_provider_t *provider, Kind kind, const QString &msg, const char *tokenType,
                 const char *appliesTo, AnyCallback success, ids_failure_cb failure, void *cbData,
                 unsigned int *requestId)
{
    QString type;
    QString target;
    if (!readName(tokenType, &type) || !readName(appliesTo, &target))
        return fail(EINVAL);
    return issue(provider, kind, msg,
                 {{protocol::keyTokenType(), type}, {protocol::keyAppliesTo(), target}}, success,
                 failure, cbData, requestId);
}

template <typename Callback> AnyCallback any(Callback callback)
{
    return reinterpret_cast<AnyCallback>(callback);
}

} // namespace

extern "C" {

int ids_initialize(void)
{
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    ++c.initCount;
    return 0;
}

int ids_shutdown(void)
{
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (c.initCount == 0)
        return fail(EINVAL);
    if (--c.initCount > 0)
        return 0;
    for (const auto &r : c.registrations) {
        if (r->link != Registration::Link::Parked)
            park(c, r.get());
    }
    for (std::vector<Delivery> *list : c.delivering) {
        for (Delivery &d : *list)
            d.cancelled = true;
    }
    return 0;
}

int ids_register_provider(const char *name, ids_provider_t **provider, int *fd)
{
    QString text;
    if (!provider || !fd || !readName(name, &text) || text.isEmpty())
        return fail(EINVAL);
    const QByteArray bytes(name);
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (c.initCount == 0)
        return fail(EINVAL);
    if (Registration *r = findByProvider(c, bytes)) {
        if (r->link == Registration::Link::Connected) {
            *provider = r;
            *fd = r->fd;
            return fail(EEXIST);
        }
        if (!reconnect(c, r))
            return fail(ECOMM);
        *provider = r;
        *fd = r->fd;
        return 0;
    }
    const int connection = connectProvider(c, bytes);
    if (connection < 0)
        return -1;
    auto r = std::make_unique<Registration>();
    r->provider = bytes;
    r->fd = connection;
    *provider = r.get();
    *fd = connection;
    c.registrations.push_back(std::move(r));
    return 0;
}

int ids_process_msg(int fd)
{
    Client &c = client();
    std::unique_lock<std::mutex> lock(c.mutex);
    Registration *r = findByFd(c, fd);
    if (!r || r->link == Registration::Link::Parked)
        return fail(EINVAL);

    if (r->link == Registration::Link::Waiting) {
        uint64_t expirations = 0;
        if (::read(r->fd, &expirations, sizeof expirations) != ssize_t(sizeof expirations))
            return 1; // another watcher of the descriptor took the expiry
        if (reconnect(c, r))
            return 0;
        r->retryMs = std::min(r->retryMs * 2, MostRetryMs);
        armRetry(r);
        return 1;
    }

    QByteArray text;
    if (!r->queued.empty()) {
        text = r->queued.front();
        r->queued.pop_front();
    } else {
        switch (receive(c, r->fd, &text)) {
        case Read::Nothing:
            return 1;
        case Read::Ended: {
            std::vector<Delivery> deliveries;
            connectionEnded(c, r, &deliveries);
            deliver(c, lock, deliveries);
            return 0;
        }
        case Read::Message:
            break;
        }
    }
    std::vector<Delivery> deliveries;
    handle(r, text, &deliveries);
    deliver(c, lock, deliveries);
    return 1;
}

int ids_get_token(ids_provider_t *provider, const char *token_type, const char *applies_to,
                  ids_get_token_cb success, ids_failure_cb failure, void *cb_data,
                  unsigned int *request_id)
{
    return tokenRequest(provider, Kind::GetToken, protocol::msgGetToken(), token_type, applies_to,
                        any(success), failure, cb_data, request_id);
}

int ids_clear_token(ids_provider_t *provider, const char *token_type, const char *applies_to,
                    ids_clear_token_cb success, ids_failure_cb failure, void *cb_data,
                    unsigned int *request_id)
{
    return tokenRequest(provider, Kind::ClearToken, protocol::msgClearToken(), token_type,
                        applies_to, any(success), failure, cb_data, request_id);
}

int ids_get_properties(ids_provider_t *provider, int type, int name_count, const char *const *names,
                       ids_get_properties_cb success, ids_failure_cb failure, void *cb_data,
                       unsigned int *request_id)
{
    if (name_count < 0 || (name_count > 0 && !names))
        return fail(EINVAL);
    QVariantList list;
    list.reserve(name_count);
    for (int i = 0; i < name_count; ++i) {
        QString name;
        if (!readName(names[i], &name))
            return fail(EINVAL);
        list.append(name);
    }
    return issue(provider, Kind::GetProperties, protocol::msgGetProperties(),
                 {{protocol::keyType(), type}, {protocol::keyNames(), list}}, any(success), failure,
                 cb_data, request_id);
}

int ids_get_data(ids_provider_t *provider, int type, int flags, const char *name,
                 ids_get_data_cb success, ids_failure_cb failure, void *cb_data,
                 unsigned int *request_id)
{
    return namedRequest(provider, Kind::GetData, protocol::msgGetData(), type, flags, name,
                        any(success), failure, cb_data, request_id);
}

int ids_set_data(ids_provider_t *provider, int type, int flags, const ids_data_t *data,
                 ids_set_data_cb success, ids_failure_cb failure, void *cb_data,
                 unsigned int *request_id)
{
    return dataRequest(provider, Kind::SetData, protocol::msgSetData(), type, flags, data,
                       any(success), failure, cb_data, request_id);
}

int ids_create_data(ids_provider_t *provider, int type, int flags, const ids_data_t *data,
                    ids_create_data_cb success, ids_failure_cb failure, void *cb_data,
                    unsigned int *request_id)
{
    return dataRequest(provider, Kind::CreateData, protocol::msgCreateData(), type, flags, data,
                       any(success), failure, cb_data, request_id);
}

int ids_delete_data(ids_provider_t *provider, int type, int flags, const char *name,
                    ids_delete_data_cb success, ids_failure_cb failure, void *cb_data,
                    unsigned int *request_id)
{
    return namedRequest(provider, Kind::DeleteData, protocol::msgDeleteData(), type, flags, name,
                        any(success), failure, cb_data, request_id);
}

int ids_list_data(ids_provider_t *provider, int type, int flags, ids_list_data_cb success,
                  ids_failure_cb failure, void *cb_data, unsigned int *request_id)
{
    return issue(provider, Kind::ListData, protocol::msgListData(),
                 {{protocol::keyType(), type}, {protocol::keyFlags(), flags}}, any(success),
                 failure, cb_data, request_id);
}

int ids_challenge(ids_provider_t *provider, int type, int flags, ids_challenge_cb success,
                  ids_failure_cb failure, void *cb_data, unsigned int *request_id)
{
    return issue(provider, Kind::Challenge, protocol::msgChallenge(),
                 {{protocol::keyType(), type}, {protocol::keyFlags(), flags}}, any(success),
                 failure, cb_data, request_id);
}

int ids_register_notifier(ids_provider_t *provider, int type, int flags, const char *name,
                          ids_notify_cb callback, void *cb_data)
{
    QString text;
    if (!readName(name, &text))
        return fail(EINVAL);
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    Registration *r = find(c, provider);
    if (!r || c.initCount == 0 || r->link == Registration::Link::Parked)
        return fail(EINVAL);
    if (r->link == Registration::Link::Waiting && !reconnect(c, r))
        return fail(ECOMM);

    auto watcher = r->watchers.find(cb_data);
    const int watcherId = watcher != r->watchers.end() ? watcher->second : ++r->nextWatcher;
    Notifier n;
    n.watcher = watcherId;
    n.type = type;
    n.name = text.toUtf8();
    n.callback = callback;
    n.data = cb_data;
    n.stopping = flags == protocol::NotifierStop;

    const unsigned int id = nextRequestId(c);
    bool ok = false;
    const QByteArray request =
        encodeRequest(protocol::msgRegisterNotifier(), id, notifierDat(r, n, flags), &ok);
    if (!ok)
        return fail(EINVAL);
    if (request.size() > om::PpsObject::MaxMessageSize)
        return fail(E2BIG);
    Incoming answer;
    int error = 0;
    const bool answered = exchange(c, r->fd, request, id, &r->queued, &answer, &error);
    if (!answered && error == ETIMEDOUT)
        r->pending[id] = Pending(); // a late answer is dropped
    wakeIfQueued(c, r);
    if (!answered)
        return fail(ECOMM);
    if (answer.failed)
        return fail(refusalErrno(answer));

    r->watchers[cb_data] = watcherId;
    auto existing = std::find_if(r->notifiers.begin(), r->notifiers.end(), [&](const Notifier &o) {
        return o.watcher == n.watcher && o.type == n.type && o.name == n.name;
    });
    if (existing != r->notifiers.end())
        *existing = n;
    else
        r->notifiers.push_back(n);
    return 0;
}

int ids_set_option(ids_option_t option, const char *value)
{
    // The option as the number it holds: a caller may pass any, and only a
    // number the enumeration names may be read as one.
    std::underlying_type<ids_option_t>::type raw;
    std::memcpy(&raw, &option, sizeof raw);
    const long long number = raw;
    if (!value || number < IDS_OPT_GUI_ALLOWED || number > IDS_OPT_VERBOSITY)
        return fail(EINVAL);
    QString text;
    if (!isUtf8(value, &text))
        return fail(EINVAL);
    const int fd = ::pps_open(protocol::controlPath().toUtf8().constData(), O_RDWR);
    if (fd < 0)
        return fail(ECOMM);
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    const unsigned int id = nextRequestId(c);
    bool ok = false;
    const QByteArray request =
        encodeRequest(protocol::msgSetOption(), id,
                      {{protocol::keyOption(), int(option)}, {protocol::keyValue(), text}}, &ok);
    Incoming answer;
    int error = 0;
    const bool answered = ok && request.size() <= om::PpsObject::MaxMessageSize &&
                          exchange(c, fd, request, id, nullptr, &answer, &error);
    ::close(fd);
    if (!ok || request.size() > om::PpsObject::MaxMessageSize)
        return fail(ok ? E2BIG : EINVAL);
    if (!answered)
        return fail(ECOMM);
    if (answer.failed)
        return fail(refusalErrno(answer));
    return 0;
}

int ids_get_version(void)
{
    return IDS_VERSION;
}

int ids_cancel_callbacks(void *cb_data)
{
    Client &c = client();
    std::lock_guard<std::mutex> lock(c.mutex);
    for (const auto &r : c.registrations) {
        for (auto it = r->pending.begin(); it != r->pending.end();) {
            if (it->second.kind != Kind::Internal && it->second.data == cb_data)
                it = r->pending.erase(it);
            else
                ++it;
        }
        for (auto it = r->notifiers.begin(); it != r->notifiers.end();) {
            if (it->data != cb_data) {
                ++it;
                continue;
            }
            // The service stops sending; what it sends meanwhile finds no
            // notifier and is dropped.
            if (r->link == Registration::Link::Connected && !it->stopping)
                sendInternal(c, r.get(), protocol::msgRegisterNotifier(),
                             notifierDat(r.get(), *it, protocol::NotifierStop));
            it = r->notifiers.erase(it);
        }
        r->watchers.erase(cb_data);
    }
    for (std::vector<Delivery> *list : c.delivering) {
        for (Delivery &d : *list) {
            if (d.data == cb_data)
                d.cancelled = true;
        }
    }
    return 0;
}

} // extern "C"
