#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

// A shared object that the host may replace while other threads use it. Asking an empty slot costs one relaxed load; a
// user of a full one holds the object until done, so that a replaced object dies with its last use.
template <class T> class HostSlot
{
public:
    bool IsSet() const noexcept { return m_isSet.load(std::memory_order_relaxed); }

    std::shared_ptr<T> Get() const
    {
        if (!IsSet())
            return nullptr;
        const std::lock_guard lock(m_mutex);
        return m_object;
    }

    std::shared_ptr<T> Exchange(std::shared_ptr<T> object)
    {
        const std::lock_guard lock(m_mutex);
        m_isSet.store(object != nullptr, std::memory_order_relaxed);
        return std::exchange(m_object, std::move(object));
    }

private:
    std::atomic<bool> m_isSet{false};
    mutable std::mutex m_mutex;
    std::shared_ptr<T> m_object;
};
