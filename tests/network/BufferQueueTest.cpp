#include "brvcore/network/BufferQueue.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace
{

using Outcome = BufferQueue::Outcome;

constexpr std::chrono::milliseconds kLong{60'000};   // longer than any test may take

TEST(BufferQueue, KeepsOrderAndBounds)
{
    constexpr int kBuffers = 20'000;
    constexpr int kCapacity = 3;
    BufferQueue queue(kCapacity);
    std::atomic<int> pushed{0};
    std::thread producer(
        [&]
        {
            for (int i = 0; i < kBuffers; ++i)
            {
                std::string buffer = queue.TakeSpare();
                EXPECT_TRUE(buffer.empty());
                buffer.append(std::to_string(i)).append(100, 'x');
                EXPECT_TRUE(queue.Push(std::move(buffer)));
                ++pushed;
            }
            queue.SetAtEnd();
        });
    std::string buffer;
    for (int i = 0; i < kBuffers; ++i)
    {
        ASSERT_EQ(queue.Pop(buffer, kLong), Outcome::Buffer);
        EXPECT_EQ(std::stoi(buffer), i);
        EXPECT_LE(pushed.load(), i + 1 + kCapacity);
    }
    EXPECT_EQ(queue.Pop(buffer, kLong), Outcome::End);
    EXPECT_EQ(queue.Pop(buffer, kLong), Outcome::End);
    producer.join();
}

TEST(BufferQueue, ReturnsAfterItsPatience)
{
    BufferQueue queue(1);
    std::string buffer;
    EXPECT_EQ(queue.Pop(buffer, std::chrono::milliseconds(1)), Outcome::Nothing);
}

TEST(BufferQueue, UsesTheRoomOfReadBuffersAgain)
{
    BufferQueue queue(2);
    std::string buffer(1000, 'a');
    const char* const room = buffer.data();
    queue.Push(std::string(900, 'b'));
    ASSERT_EQ(queue.Pop(buffer, kLong), Outcome::Buffer);
    EXPECT_EQ(buffer, std::string(900, 'b'));
    const std::string spare = queue.TakeSpare();
    EXPECT_EQ(spare.data(), room);
    EXPECT_EQ(spare, "");
    EXPECT_LT(queue.TakeSpare().capacity(), 100U) << "there was one";
}

// Both ends may be about to wait, or wait already, when the queue is aborted.
TEST(BufferQueue, AbortReleasesBothEnds)
{
    for (int round = 0; round < 300; ++round)
    {
        BufferQueue queue(1);
        std::thread producer(
            [&]
            {
                while (queue.Push("x"))
                    ;
            });
        BufferQueue silent(1);
        Outcome outcome = Outcome::Nothing;
        std::thread consumer(
            [&]
            {
                std::string buffer;
                outcome = silent.Pop(buffer, kLong);
            });
        if (round % 2 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(round));
        queue.Abort();
        silent.Abort();
        producer.join();
        consumer.join();
        EXPECT_EQ(outcome, Outcome::End);
        EXPECT_FALSE(queue.Push("late"));
        std::string buffer;
        EXPECT_EQ(queue.Pop(buffer, kLong), Outcome::End) << "what waited is dropped";
    }
}

}   // namespace
