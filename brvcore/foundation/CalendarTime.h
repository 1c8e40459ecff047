#pragma once

#include "brvcore/foundation/DateTime.h"

#include <chrono>
#include <cstdint>
#include <ratio>

// The bridge between the ticks of a DateTime and the calendar of std::chrono. Both are proleptic Gregorian; only the
// epochs differ, by the 25569 days from 1899-12-30 to 1970-01-01.
namespace CalendarTime
{

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, DateTimeSpan::kTicksPerSecond>>;

inline constexpr std::chrono::sys_days kEpoch = std::chrono::year{1899} / 12 / 30;
inline constexpr int kFirstYear = 1;
inline constexpr int kLastYear = 9999;

constexpr std::int64_t TicksOf(std::chrono::sys_days day)
{
    return Ticks(day - kEpoch).count();
}

inline constexpr std::int64_t kMinTicks = TicksOf(std::chrono::year{kFirstYear} / 1 / 1);
inline constexpr std::int64_t kMaxTicks = TicksOf(std::chrono::year{kLastYear + 1} / 1 / 1) - 1;

// A moment as its day and the time since that day's midnight.
struct DayAndTime
{
    std::chrono::sys_days day;
    Ticks time;
};

inline DayAndTime Split(DateTime moment)
{
    const Ticks sinceEpoch(moment.GetTicks());
    const auto day = std::chrono::floor<std::chrono::days>(sinceEpoch);
    return {kEpoch + day, sinceEpoch - day};
}

}   // namespace CalendarTime
