#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"

#include <chrono>
#include <memory>

// What the library knows of time. Tests install a clock of their own, so that nothing waits for real.
class BRV_EXPORT IClock
{
public:
    virtual ~IClock();

    virtual std::chrono::steady_clock::time_point SteadyNow() = 0;   // for lengths of time
    virtual DateTime UniversalNow() = 0;                             // UTC
    virtual void Sleep(std::chrono::nanoseconds length) = 0;         // of the calling thread
};

namespace Clock
{

BRV_EXPORT std::chrono::steady_clock::time_point SteadyNow();
BRV_EXPORT DateTime UniversalNow();
BRV_EXPORT void Sleep(std::chrono::nanoseconds length);

// Installs another clock for the process and returns the one before it; null stands for the system's. Safe while other
// threads ask the time.
BRV_EXPORT std::shared_ptr<IClock> Replace(std::shared_ptr<IClock> clock);

}   // namespace Clock
