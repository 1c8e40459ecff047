#include "brvcore/foundation/Clock.h"

#include "brvcore/foundation/HostSlot.h"

#include <thread>
#include <utility>

namespace
{

HostSlot<IClock>& Slot()
{
    static auto* const slot = new HostSlot<IClock>;   // outlives every static object that asks the time
    return *slot;
}

DateTime SystemNow()
{
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, DateTimeSpan::kTicksPerSecond>>;
    const auto sinceUnixEpoch = std::chrono::floor<Ticks>(std::chrono::system_clock::now().time_since_epoch());
    return DateTime(1970, 1, 1) + DateTimeSpan::FromTicks(sinceUnixEpoch.count());
}

}   // namespace

IClock::~IClock() = default;

std::chrono::steady_clock::time_point Clock::SteadyNow()
{
    const std::shared_ptr<IClock> clock = Slot().Get();
    return clock ? clock->SteadyNow() : std::chrono::steady_clock::now();
}

DateTime Clock::UniversalNow()
{
    const std::shared_ptr<IClock> clock = Slot().Get();
    return clock ? clock->UniversalNow() : SystemNow();
}

void Clock::Sleep(std::chrono::nanoseconds length)
{
    if (const std::shared_ptr<IClock> clock = Slot().Get())
        clock->Sleep(length);
    else
        std::this_thread::sleep_for(length);
}

std::shared_ptr<IClock> Clock::Replace(std::shared_ptr<IClock> clock)
{
    return Slot().Exchange(std::move(clock));
}
