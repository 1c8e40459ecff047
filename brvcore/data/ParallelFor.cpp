#include "brvcore/data/ParallelFor.h"

#include "brvcore/foundation/LogMessage.h"

#include <algorithm>

#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

namespace ParallelForDetail
{
class ThreadSlots::Impl
{
public:
    explicit Impl(std::shared_ptr<void> (*make)()) : slots(make) {}
    tbb::enumerable_thread_specific<std::shared_ptr<void>> slots;
};

ThreadSlots::ThreadSlots(std::shared_ptr<void> (*make)()) : m_impl(std::make_unique<Impl>(make)) {}

ThreadSlots::~ThreadSlots() = default;

void* ThreadSlots::Local()
{
    return m_impl->slots.local().get();
}

std::vector<void*> ThreadSlots::GetAll()
{
    std::vector<void*> all(m_impl->slots.size());
    std::transform(m_impl->slots.begin(), m_impl->slots.end(), all.begin(),
        [](const std::shared_ptr<void>& slot) { return slot.get(); });
    return all;
}

// Isolated: while the caller waits for the loop it takes no other work of the host, which might hold the host's locks.
void RunRanges(unsigned count, RangeBody body, void* loop)
{
    if (count == 0)
        return;
    tbb::task_arena arena;
    arena.execute(
        [&]
        {
            tbb::this_task_arena::isolate(
                [&]
                {
                    tbb::parallel_for(
                        tbb::blocked_range<unsigned int>(0, count),
                        [=](const tbb::blocked_range<unsigned int>& range) { body(loop, range.begin(), range.end()); },
                        tbb::auto_partitioner());
                });
        });
}

Ranges MissingRanges(unsigned count, Ranges done)
{
    std::sort(done.begin(), done.end());
    done.emplace_back(count, count);
    Ranges missing;
    unsigned next = 0;
    for (const auto& [first, last] : done)
    {
        if (next < first)
            missing.emplace_back(next, first);   // seldom any
        next = last;
    }
    return missing;
}

void LogConfusedCancellation()
{
    LogMessage(LogSeverity::Warning, u"Cancellation is confused in range based ParallelFor");
}
}   // namespace ParallelForDetail
