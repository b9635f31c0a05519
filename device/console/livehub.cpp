#include "console/livehub.h"

#include <algorithm>

namespace omdevice {

void LiveHub::publish(const std::string &topic, std::string event)
{
    auto shared = std::make_shared<const std::string>(std::move(event));
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        Topic &entry = m_topics[topic];
        if (entry.order == 0)
            entry.order = m_topics.size();
        entry.version = ++m_version;
        // The old state goes here, or with the last page that writes it.
        entry.event.swap(shared);
    }
    m_changed.notify_all();
}

void LiveHub::close()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = true;
    }
    m_changed.notify_all();
}

std::shared_ptr<LiveHub::Page> LiveHub::open()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed || m_pages >= m_maxPages)
        return nullptr;
    ++m_pages;
    return std::shared_ptr<Page>(new Page(this));
}

void LiveHub::release(const std::shared_ptr<Page> &page)
{
    if (!page)
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    --m_pages;
}

int LiveHub::pages() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_pages;
}

std::size_t LiveHub::bytes() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::size_t total = 0;
    for (const auto &topic : m_topics)
        total += topic.second.event ? topic.second.event->size() : 0;
    return total;
}

bool LiveHub::Page::next(std::chrono::milliseconds wait, std::vector<Event> *events)
{
    events->clear();
    std::unique_lock<std::mutex> lock(m_hub->m_mutex);
    auto collect = [this, events]() {
        std::vector<std::pair<unsigned long, Event>> changed;
        for (const auto &topic : m_hub->m_topics) {
            unsigned long &sent = m_sent[topic.first];
            if (topic.second.version > sent) {
                sent = topic.second.version;
                changed.emplace_back(topic.second.order, topic.second.event);
            }
        }
        std::sort(changed.begin(), changed.end(),
                  [](const auto &a, const auto &b) { return a.first < b.first; });
        for (auto &entry : changed)
            events->push_back(std::move(entry.second));
        return !events->empty();
    };
    if (m_hub->m_closed)
        return false;
    if (collect())
        return true;
    m_hub->m_changed.wait_for(lock, wait, [this, &collect]() {
        return m_hub->m_closed || collect();
    });
    return !m_hub->m_closed;
}

} // namespace omdevice
