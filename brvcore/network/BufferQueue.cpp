#include "brvcore/network/BufferQueue.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include <tbb/concurrent_queue.h>

// The bounded queue makes the producer wait. It has no wait that ends after a time, which the consumer needs to look at a
// cancel now and then: the consumer waits on a condition of its own, set behind each push.
struct BufferQueue::Impl
{
    tbb::concurrent_bounded_queue<std::string> queue;
    std::atomic<bool> isAborted{false};

    std::mutex mutex;
    std::condition_variable arrival;
    bool isAtEnd = false;
    std::vector<std::string> spares;
    std::size_t maxSpares = 0;
};

BufferQueue::BufferQueue(std::size_t capacity) : m_impl(std::make_unique<Impl>())
{
    capacity = std::max<std::size_t>(capacity, 1);
    m_impl->queue.set_capacity(static_cast<std::ptrdiff_t>(capacity));
    m_impl->maxSpares = capacity + 1;
    m_impl->spares.reserve(m_impl->maxSpares);
}

BufferQueue::~BufferQueue() = default;

bool BufferQueue::Push(std::string buffer)
{
    if (m_impl->isAborted)
        return false;
    try
    {
        m_impl->queue.push(std::move(buffer));
    }
    catch (const tbb::user_abort&)
    {
        return false;
    }
    {
        const std::lock_guard lock(m_impl->mutex);   // a consumer that found nothing waits by now
    }
    m_impl->arrival.notify_one();
    return !m_impl->isAborted;
}

std::string BufferQueue::TakeSpare()
{
    const std::lock_guard lock(m_impl->mutex);
    if (m_impl->spares.empty())
        return {};
    std::string spare = std::move(m_impl->spares.back());
    m_impl->spares.pop_back();
    spare.clear();
    return spare;
}

void BufferQueue::SetAtEnd() noexcept
{
    {
        const std::lock_guard lock(m_impl->mutex);
        m_impl->isAtEnd = true;
    }
    m_impl->arrival.notify_one();
}

BufferQueue::Outcome BufferQueue::Pop(std::string& buffer, std::chrono::milliseconds patience)
{
    std::string next;
    bool hasNext = !m_impl->isAborted && m_impl->queue.try_pop(next);
    std::unique_lock lock(m_impl->mutex);
    if (!hasNext)
        m_impl->arrival.wait_for(lock, patience,
            [&]
            {
                hasNext = !m_impl->isAborted && m_impl->queue.try_pop(next);
                return hasNext || m_impl->isAtEnd || m_impl->isAborted;
            });
    if (!hasNext)
        return m_impl->isAtEnd || m_impl->isAborted ? Outcome::End : Outcome::Nothing;
    if (buffer.capacity() >= next.capacity() && m_impl->spares.size() < m_impl->maxSpares)
        m_impl->spares.push_back(std::move(buffer));
    lock.unlock();
    buffer = std::move(next);
    return Outcome::Buffer;
}

// A producer that looked at the flag just before it was set may still be on its way to wait. The room made here is for
// that: one thread pushes, so that its buffer is the only one to come.
void BufferQueue::Abort() noexcept
{
    m_impl->isAborted = true;
    m_impl->queue.abort();
    for (std::string dropped; m_impl->queue.try_pop(dropped);)
        ;
    {
        const std::lock_guard lock(m_impl->mutex);
    }
    m_impl->arrival.notify_one();
}

bool BufferQueue::IsAborted() const noexcept
{
    return m_impl->isAborted;
}
