#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

// Buffers on their way from the thread that fills them to the thread that reads them. At most `capacity` of them wait:
// then the producer does. The end is a mark of its own, which never waits for room. One thread pushes and one pops;
// Abort() may be called by any, and stays in force.
class BufferQueue
{
public:
    explicit BufferQueue(std::size_t capacity);   // at least 1
    ~BufferQueue();
    BufferQueue(const BufferQueue&) = delete;
    BufferQueue& operator=(const BufferQueue&) = delete;

    // --- The producer -----------------------------------------------------------------------------------------------
    // Waits while the queue is full. False when it was aborted: the buffer goes nowhere.
    bool Push(std::string buffer);
    // An empty string, with the room of one that was read where there is one.
    std::string TakeSpare();
    void SetAtEnd() noexcept;

    // --- The consumer -----------------------------------------------------------------------------------------------
    enum class Outcome
    {
        Buffer,
        Nothing,   // nothing came in time
        End,       // all buffers have been read, and there will be none; or the queue was aborted
    };
    // The next buffer takes the place of `buffer`, whose room goes back to the producer.
    Outcome Pop(std::string& buffer, std::chrono::milliseconds patience);

    // Drops what waits and releases whoever waits.
    void Abort() noexcept;
    bool IsAborted() const noexcept;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
