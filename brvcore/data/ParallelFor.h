#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// Loops over the threads of the process's pool. This is the folder's adaptor of the thread pool: nothing of it shows here.

namespace ParallelForDetail
{
using RangeBody = void (*)(void* loop, unsigned first, unsigned last);
using Ranges = std::vector<std::pair<unsigned, unsigned>>;

// Calls body(loop, ...) for disjoint ranges that together are [0, count), in an arena of its own.
void RunRanges(unsigned count, RangeBody body, void* loop);
// The ranges of [0, count) that are not among the done ones, which are disjoint.
Ranges MissingRanges(unsigned count, Ranges done);
void LogConfusedCancellation();

// One object per thread that asks for it.
class ThreadSlots
{
public:
    explicit ThreadSlots(std::shared_ptr<void> (*make)());
    ~ThreadSlots();
    ThreadSlots(const ThreadSlots&) = delete;
    ThreadSlots& operator=(const ThreadSlots&) = delete;
    void* Local();
    std::vector<void*> GetAll();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
}   // namespace ParallelForDetail

namespace ParallelForDetail
{
// Orders what the caller wrote before the bodies. So does the pool, but tools that look for races do not see into it.
inline std::atomic<unsigned> loopsStarted = 0;

template <class Body> struct Loop
{
    static void Run(void* self, unsigned first, unsigned last)
    {
        loopsStarted.load(std::memory_order_acquire);
        Loop& loop = *static_cast<Loop*>(self);
        std::exception_ptr thrown;
        const bool isWanted = !loop.isStopped.load(std::memory_order_relaxed);
        try
        {
            if (isWanted)
                loop.body(first, last);
        }
        catch (...)
        {
            thrown = std::current_exception();
            loop.isStopped.store(true, std::memory_order_relaxed);
        }
        const std::lock_guard lock(loop.mutex);
        if (thrown == nullptr && isWanted)
            loop.done.emplace_back(first, last);
        else if (loop.failure == nullptr)
            loop.failure = std::move(thrown);
    }

    const Body& body;
    std::atomic<bool> isStopped = false;   // a body threw: the ranges that are left need not run
    std::mutex mutex{};
    std::exception_ptr failure{};
    Ranges done{};
};
}   // namespace ParallelForDetail

// Calls body(first, last) for ranges that together are [0, count), on several threads, the caller's among them. What a
// body throws stops the loop and is thrown here, the first of several. When the pool gives up without an exception (a task
// around the call was cancelled), logs "Cancellation is confused in range based ParallelFor" and does the rest on the
// calling thread. What bodies wrote may be read after the call. Another `run` takes the pool's place in tests.
template <class Body, class RunType = decltype(&ParallelForDetail::RunRanges)>
void ParallelFor(unsigned count, const Body& body, const RunType& run = &ParallelForDetail::RunRanges)
{
    ParallelForDetail::Loop<Body> loop{body};
    ParallelForDetail::loopsStarted.fetch_add(1, std::memory_order_release);
    run(count, &ParallelForDetail::Loop<Body>::Run, &loop);
    ParallelForDetail::Ranges missing;
    {
        const std::lock_guard lock(loop.mutex);   // behind the bodies
        if (loop.failure != nullptr)
            std::rethrow_exception(loop.failure);
        missing = ParallelForDetail::MissingRanges(count, std::move(loop.done));
    }
    if (missing.empty())
        return;
    ParallelForDetail::LogConfusedCancellation();
    for (const auto& [first, last] : missing)
        body(first, last);
}

// One object per thread that asks for it, made by its default constructor.
template <class T> class PerThread
{
public:
    PerThread() : m_slots([] { return std::shared_ptr<void>(std::make_shared<T>()); }) {}
    // The calling thread's.
    T& Local() { return *static_cast<T*>(m_slots.Local()); }
    // All, in no particular order. Not while threads still ask for theirs.
    std::vector<T*> GetAll()
    {
        std::vector<T*> all;
        for (void* const object : m_slots.GetAll())
            all.push_back(static_cast<T*>(object));   // as many as there are threads
        return all;
    }

private:
    ParallelForDetail::ThreadSlots m_slots;
};
