// The core of the platform services library: initialisation counts,
// channels, domains and events.

#include "oms_p.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

namespace {

struct Handler
{
    void (*function)(void *);
    void *data;
};

struct FdWatch
{
    int fd;
    int ioEvents;
    int (*handler)(int, int, void *);
    void *data;
};

struct Channel
{
    int id = 0;
    int wakeFd = -1;
    std::mutex mutex;
    std::deque<oms_event_t *> queue;
    oms_event_t *current = nullptr; // handed out by the last oms_get_event()
    std::vector<FdWatch> fds;
    std::map<int, void *> domainData;
    std::vector<Handler> destroyHandlers;

    ~Channel()
    {
        if (wakeFd >= 0)
            ::close(wakeFd);
    }
};

struct ThreadState
{
    int count = 0;   // oms_initialize() calls of this thread in effect
    int active = -1; // the active channel
    int own = -1;    // the channel oms_initialize() made for the thread
    std::vector<Handler> shutdownHandlers;
};

std::mutex g_mutex;
std::map<int, std::shared_ptr<Channel>> g_channels;
int g_nextChannel = 1;
int g_nextDomain = 1;
std::atomic<unsigned int> g_verbosity{OMS_VERBOSITY_SILENT};

thread_local ThreadState t_state;

int failWith(int error)
{
    errno = error;
    return OMS_FAILURE;
}

std::shared_ptr<Channel> findChannel(int chid)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = g_channels.find(chid);
    return it == g_channels.end() ? nullptr : it->second;
}

std::shared_ptr<Channel> activeChannel()
{
    return t_state.active < 0 ? nullptr : findChannel(t_state.active);
}

bool domainRegistered(unsigned int domain)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return domain >= 1 && domain < unsigned(g_nextDomain);
}

// An event that the channel gives back: to its owner if it has a
// completion function, else it ends here.
void release(oms_event_t *event)
{
    if (!event)
        return;
    if (event->completion)
        event->completion(event);
    else
        delete event;
}

int createChannel(int *chid)
{
    auto channel = std::make_shared<Channel>();
    channel->wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (channel->wakeFd < 0)
        return OMS_FAILURE;
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_nextChannel == INT_MAX)
        return failWith(EAGAIN);
    channel->id = g_nextChannel++;
    g_channels[channel->id] = channel;
    *chid = channel->id;
    return OMS_SUCCESS;
}

void wake(Channel &channel)
{
    const uint64_t one = 1;
    (void)!::write(channel.wakeFd, &one, sizeof one);
}

int pushTo(const std::shared_ptr<Channel> &channel, oms_event_t *event, size_t limit)
{
    {
        std::lock_guard<std::mutex> lock(channel->mutex);
        if (channel->queue.size() >= limit)
            return failWith(EAGAIN);
        channel->queue.push_back(event);
    }
    wake(*channel);
    return OMS_SUCCESS;
}

int toPollEvents(int ioEvents)
{
    int events = 0;
    if (ioEvents & OMS_IO_INPUT)
        events |= POLLIN;
    if (ioEvents & OMS_IO_OUTPUT)
        events |= POLLOUT;
    if (ioEvents & OMS_IO_EXCEPT)
        events |= POLLPRI;
    return events;
}

int fromPollEvents(short revents)
{
    int ioEvents = 0;
    if (revents & POLLIN)
        ioEvents |= OMS_IO_INPUT;
    if (revents & POLLOUT)
        ioEvents |= OMS_IO_OUTPUT;
    if (revents & (POLLPRI | POLLERR | POLLNVAL))
        ioEvents |= OMS_IO_EXCEPT;
    if (revents & POLLHUP)
        ioEvents |= OMS_IO_HUP;
    return ioEvents;
}

} // namespace

namespace om {
namespace oms {

void log(unsigned int level, const char *format, ...)
{
    if (g_verbosity.load() < level)
        return;
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    std::fprintf(stderr, "oms: %s\n", line);
}

bool pushLimited(int chid, oms_event_t *event, size_t limit)
{
    const std::shared_ptr<Channel> channel = findChannel(chid);
    return channel && pushTo(channel, event, limit) == OMS_SUCCESS;
}

char *copyText(const QString &text)
{
    return ::strdup(text.toUtf8().constData());
}

} // namespace oms
} // namespace om

using namespace om::oms;

extern "C" {

int oms_get_version(void)
{
    return OMS_VERSION;
}

int oms_initialize(void)
{
    if (services::acquire() != OMS_SUCCESS)
        return OMS_FAILURE;
    ThreadState &t = t_state;
    if (t.count == 0) {
        int chid = -1;
        if (createChannel(&chid) != OMS_SUCCESS) {
            const int error = errno;
            services::release();
            return failWith(error);
        }
        t.own = chid;
        if (t.active < 0)
            t.active = chid;
    }
    ++t.count;
    return OMS_SUCCESS;
}

void oms_shutdown(void)
{
    ThreadState &t = t_state;
    // A shutdown without a successful initialize of this thread has nothing
    // to end; taking it would end someone else's.
    if (t.count == 0)
        return;
    if (--t.count == 0) {
        std::vector<Handler> handlers;
        handlers.swap(t.shutdownHandlers);
        for (auto it = handlers.rbegin(); it != handlers.rend(); ++it)
            it->function(it->data);
        if (t.own >= 0)
            oms_channel_destroy(t.own);
        t.own = -1;
    }
    services::release();
}

int oms_channel_create(int *chid, int flags)
{
    if (!chid || flags != 0)
        return failWith(EINVAL);
    return createChannel(chid);
}

int oms_channel_set_active(int chid)
{
    if (!findChannel(chid))
        return failWith(EINVAL);
    t_state.active = chid;
    return OMS_SUCCESS;
}

int oms_channel_get_active(void)
{
    if (t_state.active < 0 || !findChannel(t_state.active))
        return failWith(EINVAL);
    return t_state.active;
}

int oms_channel_destroy(int chid)
{
    std::shared_ptr<Channel> channel;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        auto it = g_channels.find(chid);
        if (it == g_channels.end())
            return failWith(EINVAL);
        channel = it->second;
        g_channels.erase(it);
    }
    services::channelDestroyed(chid);
    if (t_state.active == chid)
        t_state.active = -1;
    if (t_state.own == chid)
        t_state.own = -1;

    std::vector<Handler> handlers;
    std::deque<oms_event_t *> queue;
    oms_event_t *current = nullptr;
    {
        std::lock_guard<std::mutex> lock(channel->mutex);
        handlers.swap(channel->destroyHandlers);
        queue.swap(channel->queue);
        current = channel->current;
        channel->current = nullptr;
    }
    for (auto it = handlers.rbegin(); it != handlers.rend(); ++it)
        it->function(it->data);
    release(current);
    for (oms_event_t *event : queue)
        release(event);
    return OMS_SUCCESS;
}

int oms_get_event(oms_event_t **event, int timeout_ms)
{
    if (!event || timeout_ms < -1)
        return failWith(EINVAL);
    *event = nullptr;
    const std::shared_ptr<Channel> channel = activeChannel();
    if (!channel)
        return failWith(EINVAL);

    oms_event_t *previous;
    {
        std::lock_guard<std::mutex> lock(channel->mutex);
        previous = channel->current;
        channel->current = nullptr;
    }
    release(previous);

    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline =
        Clock::now() + std::chrono::milliseconds(timeout_ms < 0 ? 0 : timeout_ms);
    bool lastRound = false;
    for (;;) {
        uint64_t counter;
        (void)!::read(channel->wakeFd, &counter, sizeof counter);
        std::vector<FdWatch> watches;
        {
            std::lock_guard<std::mutex> lock(channel->mutex);
            if (!channel->queue.empty()) {
                channel->current = channel->queue.front();
                channel->queue.pop_front();
                *event = channel->current;
                return OMS_SUCCESS;
            }
            watches = channel->fds;
        }
        if (lastRound)
            return OMS_SUCCESS;

        std::vector<pollfd> polled;
        polled.push_back({channel->wakeFd, POLLIN, 0});
        for (const FdWatch &watch : watches)
            polled.push_back({watch.fd, short(toPollEvents(watch.ioEvents)), 0});
        const int servicesFd = services::watchedDescriptor(channel->id);
        if (servicesFd >= 0)
            polled.push_back({servicesFd, POLLIN, 0});

        int wait = -1;
        if (timeout_ms >= 0) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            wait = left.count() > 0 ? int(left.count()) : 0;
        }
        const int n = ::poll(polled.data(), polled.size(), wait);
        if (n < 0 && errno != EINTR)
            return OMS_FAILURE;
        if (n > 0) {
            for (size_t i = 0; i < watches.size(); ++i) {
                const short revents = polled[i + 1].revents;
                if (!revents)
                    continue;
                errno = 0;
                if (watches[i].handler(watches[i].fd, fromPollEvents(revents), watches[i].data) !=
                    OMS_SUCCESS)
                    return failWith(errno ? errno : EIO);
            }
            if (servicesFd >= 0 && polled.back().revents)
                services::pump();
        }
        if (timeout_ms >= 0 && Clock::now() >= deadline)
            lastRound = true; // take what the handlers brought, then stop
    }
}

int oms_push_event(oms_event_t *event)
{
    return oms_channel_push_event(t_state.active, event);
}

int oms_channel_push_event(int chid, oms_event_t *event)
{
    if (!event)
        return failWith(EINVAL);
    const std::shared_ptr<Channel> channel = findChannel(chid);
    if (!channel)
        return failWith(EINVAL);
    return pushTo(channel, event, SIZE_MAX);
}

int oms_set_verbosity(unsigned int verbosity)
{
    if (verbosity > OMS_VERBOSITY_INFO)
        verbosity = OMS_VERBOSITY_INFO;
    g_verbosity.store(verbosity);
    return OMS_SUCCESS;
}

void oms_free(void *ptr)
{
    std::free(ptr);
}

int oms_register_domain(void)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_nextDomain == INT_MAX)
        return failWith(EAGAIN);
    return g_nextDomain++;
}

int oms_register_shutdown_handler(void (*handler)(void *), void *data)
{
    if (!handler)
        return failWith(EINVAL);
    if (t_state.count == 0)
        return failWith(ENOTCONN);
    t_state.shutdownHandlers.push_back({handler, data});
    return OMS_SUCCESS;
}

int oms_register_channel_destroy_handler(void (*handler)(void *), void *data)
{
    if (!handler)
        return failWith(EINVAL);
    const std::shared_ptr<Channel> channel = activeChannel();
    if (!channel)
        return failWith(EINVAL);
    std::lock_guard<std::mutex> lock(channel->mutex);
    channel->destroyHandlers.push_back({handler, data});
    return OMS_SUCCESS;
}

int oms_add_fd(int fd, int io_events, int (*handler)(int, int, void *), void *data)
{
    const int known = OMS_IO_INPUT | OMS_IO_OUTPUT | OMS_IO_EXCEPT;
    if (fd < 0 || !handler || io_events == 0 || (io_events & ~known))
        return failWith(EINVAL);
    const std::shared_ptr<Channel> channel = activeChannel();
    if (!channel)
        return failWith(EINVAL);
    {
        std::lock_guard<std::mutex> lock(channel->mutex);
        for (const FdWatch &watch : channel->fds) {
            if (watch.fd == fd)
                return failWith(EEXIST);
        }
        channel->fds.push_back({fd, io_events, handler, data});
    }
    wake(*channel); // a thread waiting in the channel starts watching it
    return OMS_SUCCESS;
}

int oms_remove_fd(int fd)
{
    const std::shared_ptr<Channel> channel = activeChannel();
    if (!channel)
        return failWith(EINVAL);
    std::lock_guard<std::mutex> lock(channel->mutex);
    for (auto it = channel->fds.begin(); it != channel->fds.end(); ++it) {
        if (it->fd == fd) {
            channel->fds.erase(it);
            return OMS_SUCCESS;
        }
    }
    return failWith(EINVAL);
}

int oms_set_domain_data(int domain, void *new_data, void **old_data)
{
    if (domain < 1 || !domainRegistered(unsigned(domain)))
        return failWith(EINVAL);
    const std::shared_ptr<Channel> channel = activeChannel();
    if (!channel)
        return failWith(EINVAL);
    std::lock_guard<std::mutex> lock(channel->mutex);
    void *&slot = channel->domainData[domain];
    if (old_data)
        *old_data = slot;
    slot = new_data;
    return OMS_SUCCESS;
}

void *oms_get_domain_data(int domain)
{
    if (domain < 1 || !domainRegistered(unsigned(domain))) {
        errno = EINVAL;
        return nullptr;
    }
    const std::shared_ptr<Channel> channel = activeChannel();
    if (!channel) {
        errno = EINVAL;
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(channel->mutex);
    auto it = channel->domainData.find(domain);
    return it == channel->domainData.end() ? nullptr : it->second;
}

int oms_event_get_domain(oms_event_t *event)
{
    if (!event)
        return failWith(EINVAL);
    return int(event->domain);
}

int oms_event_get_code(oms_event_t *event)
{
    if (!event)
        return failWith(EINVAL);
    return int(event->code);
}

int oms_event_create(oms_event_t **event, unsigned int domain, unsigned int code,
                     const oms_event_payload_t *payload, void (*completion)(oms_event_t *))
{
    if (!event || code > unsigned(INT_MAX) || !domainRegistered(domain))
        return failWith(EINVAL);
    oms_event_t *created = new (std::nothrow) oms_event_t;
    if (!created)
        return failWith(ENOMEM);
    created->domain = domain;
    created->code = code;
    if (payload)
        created->payload = *payload;
    created->completion = completion;
    *event = created;
    return OMS_SUCCESS;
}

void oms_event_destroy(oms_event_t *event)
{
    delete event;
}

oms_event_payload_t *oms_event_get_payload(oms_event_t *event)
{
    if (!event) {
        errno = EINVAL;
        return nullptr;
    }
    return &event->payload;
}

} // extern "C"
