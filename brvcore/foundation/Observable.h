#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// A list of callbacks that are told of an event. Registration, its end and Notify() may happen on any thread and inside
// a callback. The callbacks run on the notifying thread, in the order of registration; one whose registration ends during
// a notification may still be told by it. What a callback throws reaches the notifier and skips the later callbacks.
// Neither copied nor moved: an observer watches one object.
template <class... Args> class Observable
{
public:
    using Callback = std::function<void(const Args&...)>;

    Observable() = default;
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    // Keeps a callback registered for as long as it lives; it may outlive the Observable.
    class Registration
    {
    public:
        Registration() = default;
        Registration(Registration&& other) noexcept = default;
        Registration& operator=(Registration&& other) noexcept
        {
            Registration old(std::move(other));
            std::swap(m_list, old.m_list);
            std::swap(m_id, old.m_id);
            return *this;
        }
        ~Registration()
        {
            if (const auto list = m_list.lock())
                list->Remove(m_id);
        }

    private:
        friend class Observable;
        struct List
        {
            void Remove(std::uint64_t id)
            {
                // What the callback holds may end other registrations: it dies when the lock is free again.
                typename decltype(callbacks)::node_type ended;
                const std::lock_guard lock(mutex);
                ended = callbacks.extract(id);
            }
            std::mutex mutex;
            std::uint64_t lastId = 0;
            std::map<std::uint64_t, std::shared_ptr<const Callback>> callbacks;   // by age
        };
        std::weak_ptr<List> m_list;
        std::uint64_t m_id = 0;
    };

    [[nodiscard]] Registration Register(Callback callback)
    {
        auto shared = std::make_shared<const Callback>(std::move(callback));
        Registration registration;
        const std::lock_guard lock(m_list->mutex);
        registration.m_id = ++m_list->lastId;
        m_list->callbacks.emplace(registration.m_id, std::move(shared));
        registration.m_list = m_list;
        return registration;
    }

    void Notify(const Args&... args) const
    {
        std::vector<std::shared_ptr<const Callback>> callbacks;
        {
            const std::lock_guard lock(m_list->mutex);
            callbacks.reserve(m_list->callbacks.size());
            for (const auto& entry : m_list->callbacks)
                callbacks.push_back(entry.second);
        }
        for (const auto& callback : callbacks)
            (*callback)(args...);
    }

private:
    std::shared_ptr<typename Registration::List> m_list = std::make_shared<typename Registration::List>();
};
