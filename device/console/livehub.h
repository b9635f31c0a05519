#ifndef OMDEVICE_LIVEHUB_H
#define OMDEVICE_LIVEHUB_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace omdevice {

/**
 * What the console's live pages are sent: the newest state of each topic
 * (the inbox, the dialogs, the home screen, ...), each an event of the
 * live channel ready to write.
 *
 * The device publishes from its own thread, and that never waits for a
 * page: publishing replaces the topic's state and wakes the pages'
 * threads. A page is sent the newest state of every topic that changed
 * since it was last sent one, so a page that reads slowly skips states
 * rather than queueing them: whatever the rate of changes and however
 * many pages are open, the hub holds one state per topic, and each page
 * only a version number per topic and, while it writes, the states it
 * writes.
 */
class LiveHub
{
public:
    using Event = std::shared_ptr<const std::string>;

    class Page
    {
    public:
        /**
         * The states that changed since the last call (all of them at the
         * first), oldest topic first. Waits up to @p wait for a change;
         * empty when none came. False once the hub closed.
         */
        bool next(std::chrono::milliseconds wait, std::vector<Event> *events);

    private:
        friend class LiveHub;
        explicit Page(LiveHub *hub) : m_hub(hub) {}
        LiveHub *m_hub;
        std::map<std::string, unsigned long> m_sent;
    };

    explicit LiveHub(int maxPages) : m_maxPages(maxPages) {}

    /** Makes @p event the state of @p topic and wakes the pages. */
    void publish(const std::string &topic, std::string event);
    /** Wakes every page for the last time; next() then gives false. */
    void close();

    /** A new page, or null when @p maxPages are open or the hub closed. */
    std::shared_ptr<Page> open();
    void release(const std::shared_ptr<Page> &page);

    int pages() const;
    /** The bytes of the states the hub holds. */
    std::size_t bytes() const;

private:
    struct Topic
    {
        unsigned long version = 0;
        unsigned long order = 0;
        Event event;
    };

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, Topic> m_topics;
    unsigned long m_version = 0;
    int m_maxPages;
    int m_pages = 0;
    bool m_closed = false;
};

} // namespace omdevice

#endif
