#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>

// Produces items on a thread of its own, ahead of the one that takes them: inflating a
// part of a workbook, and reading its rows, run beside the checks of the lines. At most
// `capacity` items, weighing at most `budget` together, wait: the memory stays bounded
// whatever the file holds. When no thread can be started, take() produces the item itself.
template <typename Item>
class ReadAhead
{
public:
    // produce fills the next item and returns false at the end (keeping its own fault).
    ReadAhead(std::function<bool(Item &)> produce, std::function<size_t(const Item &)> weigh,
              size_t capacity, size_t budget)
        : m_produce(std::move(produce)), m_weigh(std::move(weigh)), m_capacity(capacity),
          m_budget(budget)
    {
        try {
            m_thread = std::thread([this] { run(); });
        } catch (const std::system_error &) {
            // take() produces on the caller's thread.
        }
    }

    ~ReadAhead()
    {
        if (!m_thread.joinable())
            return;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    ReadAhead(const ReadAhead &) = delete;
    ReadAhead &operator=(const ReadAhead &) = delete;

    // The next item, swapped into item (whose old content the producer may reuse); false
    // once the producer has ended.
    bool take(Item &item)
    {
        if (!m_thread.joinable())
            return m_produce(item);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_ready.empty() || m_ended; });
        if (m_ready.empty())
            return false;
        std::swap(item, m_ready.front().item);
        m_weight -= m_ready.front().weight;
        m_spare.push_back(std::move(m_ready.front().item));
        m_ready.pop_front();
        lock.unlock();
        m_changed.notify_all();
        return true;
    }

private:
    struct Weighed
    {
        Item item;
        size_t weight;
    };

    void run()
    {
        for (;;) {
            Item item;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_changed.wait(lock, [this] {
                    return m_stop || (m_ready.size() < m_capacity && m_weight < m_budget);
                });
                if (m_stop)
                    return;
                if (!m_spare.empty()) {
                    std::swap(item, m_spare.front());
                    m_spare.pop_front();
                }
            }
            const bool more = m_produce(item);
            const size_t weight = more ? m_weigh(item) : 0;
            std::lock_guard<std::mutex> lock(m_mutex);
            if (more) {
                m_weight += weight;
                m_ready.push_back({std::move(item), weight});
            } else {
                m_ended = true;
            }
            m_changed.notify_all();
            if (!more)
                return;
        }
    }

    std::function<bool(Item &)> m_produce;
    std::function<size_t(const Item &)> m_weigh;
    const size_t m_capacity;
    const size_t m_budget;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Weighed> m_ready;  // guarded by m_mutex, as are the four below
    std::deque<Item> m_spare;
    size_t m_weight = 0;
    bool m_ended = false;
    bool m_stop = false;
    std::thread m_thread;
};
