#include "brvcore/data/ParallelFor.h"

#include "tests/support/CapturingLogSink.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/task_group.h>

TEST(ParallelFor, VisitsEveryIndexOnce)
{
    for (const unsigned count : {0U, 1U, 2U, 100000U})
    {
        std::vector<int> visits(count);
        PerThread<long> sums;
        ParallelFor(count,
            [&](unsigned first, unsigned last)
            {
                for (unsigned i = first; i < last; ++i)
                {
                    ++visits[i];
                    sums.Local() += i;
                }
            });
        EXPECT_EQ(visits, std::vector<int>(count, 1));
        long sum = 0;
        for (const long* const local : sums.GetAll())
            sum += *local;
        EXPECT_EQ(sum, static_cast<long>(count) * (static_cast<long>(count) - 1) / 2);
    }
}

TEST(ParallelFor, RethrowsWhatABodyThrew)
{
    for (const unsigned culprit : {0U, 77777U, 99999U})
        try
        {
            ParallelFor(100000,
                [&](unsigned first, unsigned last)
                {
                    if (first <= culprit && culprit < last)
                        throw std::runtime_error("index " + std::to_string(culprit));
                });
            ADD_FAILURE() << "nothing was thrown";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_EQ(error.what(), "index " + std::to_string(culprit));
        }
}

TEST(ParallelFor, ThrowsOnceWhenEveryBodyThrows)
{
    EXPECT_THROW(ParallelFor(100000, [](unsigned first, unsigned) { throw std::out_of_range(std::to_string(first)); }),
        std::out_of_range);

    std::vector<unsigned> begun;
    const auto body = [&](unsigned first, unsigned)
    {
        begun.push_back(first);
        throw std::out_of_range(std::to_string(first));
    };
    const auto pool = [](unsigned, ParallelForDetail::RangeBody range, void* loop)
    {
        range(loop, 4, 8);
        range(loop, 0, 4);
        range(loop, 8, 9);
    };
    try
    {
        ParallelFor(9, body, pool);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const std::out_of_range& error)
    {
        EXPECT_STREQ(error.what(), "4");
    }
    EXPECT_EQ(begun, std::vector<unsigned>{4});   // none behind the one that threw
}

// The loop neither loses indices nor does any twice when the host gives up the task that it runs in.
TEST(ParallelFor, EndsWholeWithinACancelledTask)
{
    for (int round = 0; round < 20; ++round)
    {
        const CapturedLog log;
        std::vector<std::atomic<int>> visits(20000);
        std::atomic<int> loops = 0;
        tbb::task_group group;
        group.run_and_wait(
            [&]
            {
                ++loops;
                ParallelFor(static_cast<unsigned>(visits.size()),
                    [&](unsigned first, unsigned last)
                    {
                        if (first <= visits.size() / 2)
                            group.cancel();
                        for (unsigned i = first; i < last; ++i)
                            ++visits[i];
                    });
            });
        ASSERT_EQ(loops.load(), 1);
        EXPECT_TRUE(std::all_of(visits.begin(), visits.end(), [](const auto& count) { return count == 1; }));
        EXPECT_LE(log.GetMessages().size(), 1U);   // at most the loop's remark that it did the rest itself
    }
}

TEST(ParallelFor, DoesTheRestItselfWhenThePoolGivesUp)
{
    const CapturedLog log;
    std::vector<int> visits(10);
    ParallelFor(
        10,
        [&](unsigned first, unsigned last)
        {
            for (unsigned i = first; i < last; ++i)
                ++visits[i];
        },
        [](unsigned, ParallelForDetail::RangeBody body, void* loop)
        {
            body(loop, 7, 9);
            body(loop, 0, 3);
            body(loop, 3, 4);
        });
    EXPECT_EQ(visits, std::vector<int>(10, 1));
    EXPECT_EQ(
        log.GetMessages(), std::vector<std::string>{"Warning: Cancellation is confused in range based ParallelFor"});
}
