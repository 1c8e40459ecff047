#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <oneapi/tbb/concurrent_queue.h>
#include <oneapi/tbb/concurrent_unordered_map.h>

// Reusable objects of one kind. Get() hands out an idle object or makes a new one; when its last user lets go, the object
// waits for the next one if fewer than the bound are waiting, and is destroyed otherwise. Objects may outlive the pool:
// those that come back after ShutDown() or after the pool's end are destroyed. Every function may be called by several
// threads at once; no lock is held while an object is made or used.
template <class T> class BoundedPool
{
public:
    using Factory = std::function<std::unique_ptr<T>()>;   // called on the thread that asks; may throw

    BoundedPool(Factory factory, std::size_t maxIdle)
        : m_factory(std::move(factory)), m_idle(std::make_shared<Idle>(maxIdle))
    {
    }
    BoundedPool(const BoundedPool&) = delete;
    BoundedPool& operator=(const BoundedPool&) = delete;
    ~BoundedPool() { ShutDown(); }

    std::shared_ptr<T> Get() const
    {
        Entry entry = m_idle->Take();
        if (entry.object == nullptr)
        {
            entry.generation = m_idle->GetGeneration();   // first: what the object is made of may change meanwhile
            entry.object = m_factory().release();
        }
        return std::shared_ptr<T>(entry.object, GiveBack{m_idle, entry.generation});   // gives back if it throws
    }

    // Objects made before this call are never handed out again.
    void Renew() { m_idle->Renew(); }
    // From here on nothing waits; Get() makes an object for each user.
    void ShutDown() { m_idle->ShutDown(); }

    std::size_t CountIdle() const noexcept { return m_idle->Count(); }

private:
    struct Entry
    {
        T* object = nullptr;
        unsigned generation = 0;   // calls of Renew() before the object was made
    };

    // The waiting objects, and the rule of who may wait. Lives until the last object is gone.
    class Idle
    {
    public:
        explicit Idle(std::size_t limit) : m_limit(limit) {}
        Idle(const Idle&) = delete;
        Idle& operator=(const Idle&) = delete;
        ~Idle() { Drain(); }

        unsigned GetGeneration() const noexcept { return m_generation.load(); }
        std::size_t Count() const noexcept { return m_count.load(); }

        // No object when none waits.
        Entry Take()
        {
            Entry entry;
            while (m_queue.try_pop(entry))
            {
                m_count.fetch_sub(1);
                if (entry.generation == m_generation.load())
                    return entry;
                delete entry.object;
            }
            return {};
        }

        void Put(std::unique_ptr<T> object, unsigned generation)
        {
            if (m_isShutDown.load() || generation != m_generation.load())
                return;
            if (m_count.fetch_add(1) >= m_limit)
            {
                m_count.fetch_sub(1);
                return;
            }
            try
            {
                m_queue.push(Entry{object.get(), generation});
                static_cast<void>(object.release());
            }
            catch (...)   // no memory to queue it; the object is destroyed instead
            {
                m_count.fetch_sub(1);
                return;
            }
            if (m_isShutDown.load())   // while it queued
                Drain();
        }

        void Renew()
        {
            m_generation.fetch_add(1);
            Drain();
        }

        void ShutDown()
        {
            m_isShutDown.store(true);
            Drain();
        }

    private:
        void Drain()
        {
            Entry entry;
            while (m_queue.try_pop(entry))
            {
                m_count.fetch_sub(1);
                delete entry.object;
            }
        }

        const std::size_t m_limit;
        std::atomic<std::size_t> m_count{0};   // of waiting objects and of those about to wait
        std::atomic<unsigned> m_generation{0};
        std::atomic<bool> m_isShutDown{false};
        tbb::concurrent_queue<Entry> m_queue;
    };

    struct GiveBack
    {
        std::weak_ptr<Idle> idle;
        unsigned generation;

        void operator()(T* object) const
        {
            std::unique_ptr<T> owned(object);
            if (const std::shared_ptr<Idle> target = idle.lock())
                target->Put(std::move(owned), generation);
        }
    };

    Factory m_factory;
    std::shared_ptr<Idle> m_idle;
};

// One BoundedPool per key, made when the key is first asked for and kept as long as the KeyedPool. Every function may be
// called by several threads at once; no lock is held while an object is made or used, only a new key takes a mutex.
template <class Key, class T> class KeyedPool
{
public:
    using Factory = std::function<std::unique_ptr<T>(const Key&)>;

    KeyedPool(Factory factory, std::size_t maxIdlePerKey) : m_factory(std::move(factory)), m_maxIdle(maxIdlePerKey) {}

    std::shared_ptr<T> Get(const Key& key) { return PoolOf(key).Get(); }
    // Objects made for the key before this call are never handed out again.
    void Renew(const Key& key) { PoolOf(key).Renew(); }

    void ShutDown()
    {
        const std::lock_guard lock(m_mutex);
        m_isShutDown = true;
        for (const std::unique_ptr<Pool>& pool : m_pools)
            pool->ShutDown();
    }

    std::size_t CountIdle(const Key& key) { return PoolOf(key).CountIdle(); }

private:
    using Pool = BoundedPool<T>;

    Pool& PoolOf(const Key& key)
    {
        const auto found = m_poolOfKey.find(key);
        return found != m_poolOfKey.end() ? *found->second : MakePool(key);
    }

    Pool& MakePool(const Key& key)
    {
        const std::lock_guard lock(m_mutex);
        if (const auto found = m_poolOfKey.find(key); found != m_poolOfKey.end())   // another thread was faster
            return *found->second;
        m_pools.push_back(std::make_unique<Pool>([this, key] { return m_factory(key); }, m_maxIdle));
        if (m_isShutDown)
            m_pools.back()->ShutDown();
        return *m_poolOfKey.emplace(key, m_pools.back().get()).first->second;
    }

    Factory m_factory;
    std::size_t m_maxIdle;
    tbb::concurrent_unordered_map<Key, Pool*> m_poolOfKey;
    std::mutex m_mutex;   // of what follows
    std::vector<std::unique_ptr<Pool>> m_pools;
    bool m_isShutDown = false;
};
