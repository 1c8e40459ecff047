#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <exception>
#include <functional>

// What a long call throws when its host cancels it. Not an error: hosts catch it apart from std::exception's other kinds.
class BRV_EXPORT CancelledException : public std::exception
{
public:
    const char* what() const noexcept override;   // "The operation was cancelled"
};

// Asks the host, now and then, whether to go on. Long loops call ThrowIfCancelled() once per round; the host's callback
// runs at the first call and then at every pollingCount-th, so that a round costs a decrement. One object serves one
// thread. Without a callback on the thread nothing is ever cancelled.
class BRV_EXPORT CancellationChecker
{
public:
    explicit CancellationChecker(int pollingCount = 1000) noexcept : m_pollingCount(pollingCount > 0 ? pollingCount : 1)
    {
    }

    // Throws CancelledException when the host's callback answers true. What the callback throws passes through.
    void ThrowIfCancelled()
    {
        if (--m_countdown <= 0) [[unlikely]]
            Poll();
    }

private:
    void Poll();

    int m_pollingCount;
    int m_countdown = 1;   // the first call asks
};

// Installs the callback of the calling thread for the lifetime of the object and restores the one before it; scopes nest.
// The callback answers true to cancel, and runs on the thread that works.
class BRV_EXPORT CancellationScope
{
public:
    explicit CancellationScope(std::function<bool()> isCancelled);
    ~CancellationScope();
    CancellationScope(const CancellationScope&) = delete;
    CancellationScope& operator=(const CancellationScope&) = delete;

private:
    std::function<bool()> m_callback;
    const std::function<bool()>* m_previous;
};
