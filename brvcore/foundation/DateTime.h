#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

// A length of time in ticks of 100 ns, signed. It holds 29 000 years; more seconds or days than that give the longest span,
// which no DateTime can be moved by.
class DateTimeSpan
{
public:
    static constexpr std::int64_t kTicksPerSecond = 10'000'000;
    static constexpr std::int64_t kTicksPerDay = 86'400 * kTicksPerSecond;

    constexpr DateTimeSpan() = default;
    static constexpr DateTimeSpan FromTicks(std::int64_t ticks) { return DateTimeSpan(ticks); }
    static constexpr DateTimeSpan FromSeconds(std::int64_t seconds) { return FromUnits(seconds, kTicksPerSecond); }
    static constexpr DateTimeSpan FromDays(std::int64_t days) { return FromUnits(days, kTicksPerDay); }

    constexpr std::int64_t GetTicks() const noexcept { return m_ticks; }
    constexpr double GetTotalSeconds() const noexcept
    {
        return static_cast<double>(m_ticks) / static_cast<double>(kTicksPerSecond);
    }

    friend constexpr auto operator<=>(const DateTimeSpan&, const DateTimeSpan&) = default;

private:
    explicit constexpr DateTimeSpan(std::int64_t ticks) : m_ticks(ticks) {}
    static constexpr DateTimeSpan FromUnits(std::int64_t count, std::int64_t ticksPerUnit)
    {
        const std::int64_t most = std::numeric_limits<std::int64_t>::max() / ticksPerUnit;
        return DateTimeSpan(std::clamp(count, -most, most) * ticksPerUnit);
    }

    std::int64_t m_ticks = 0;
};

// A moment of the proleptic Gregorian calendar, without a time zone: a signed count of 100 ns ticks since 1899-12-30
// 00:00 (the OLE automation epoch). Years 1 to 9999; whatever would lie outside throws LogicException. A plain value.
class BRV_EXPORT DateTime
{
public:
    // Calendar fields; month and day count from 1, ticks is the fraction of the second.
    struct Fields
    {
        int year = 1899;
        int month = 12;
        int day = 30;
        int hour = 0;
        int minute = 0;
        int second = 0;
        int ticks = 0;

        friend bool operator==(const Fields&, const Fields&) = default;
    };

    constexpr DateTime() = default;   // the epoch
    static const DateTime OLEEpoch;   // 1899-12-30, where serial numbers count from
    // Throws LogicException 0x30E283AD for a date that does not exist, 0x435B3838 for such a time.
    DateTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int ticks = 0);

    // Throws LogicException 0x50722320 for a tick count outside years 1 to 9999.
    static DateTime FromTicks(std::int64_t ticks);
    // Serial numbers count days since the epoch, rounded to the millisecond. In a negative one the integer part is the day
    // and the fraction, whatever its sign, the time after that day's midnight: -1.25 is 1899-12-29 06:00, and -0.5 and 0.5
    // are both noon of the epoch's day. Halves round to the later moment, into the next day if need be.
    // Throws LogicException 0x9E103B5B for NaN and for a day outside years 1 to 9999, 0x50722320 when rounding reaches
    // year 10000; ToSerial stops at the last millisecond instead.
    static DateTime FromSerial(double serial);
    // The last half millisecond of the year 9999 rounds down, since no serial follows it.
    double ToSerial() const noexcept;

    // "2024", "2024-01", "2024-01-31", "2024-Q1", "20240131", and a day followed by "T" or blanks and
    // "HH:MM[:SS[.fraction]]" with an optional "Z" (which says nothing: there are no zones); nothing when the text is none of
    // them or names a date or a time that does not exist ("24:00" and second 60 included). The year has 4 digits; the
    // fraction may have any number, of which the first 7 count.
    static std::optional<DateTime> FromISO(std::u16string_view text) noexcept;
    // "2024-01-31" at midnight, else "2024-01-31 12:00:00", with up to 7 digits of a fraction where there is one.
    TString ToISO() const;
    TString ToISODate() const;

    constexpr std::int64_t GetTicks() const noexcept { return m_ticks; }
    Fields GetFields() const noexcept;
    int GetYear() const noexcept { return GetFields().year; }
    int GetMonth() const noexcept { return GetFields().month; }
    int GetDay() const noexcept { return GetFields().day; }
    int GetHour() const noexcept;
    int GetMinute() const noexcept;
    int GetSecond() const noexcept;
    int GetDayOfWeek() const noexcept;   // 0 Sunday to 6 Saturday
    DateTime GetDate() const noexcept;   // midnight of the same day

    // Throw LogicException 0x50722320 when the result leaves years 1 to 9999.
    friend BRV_EXPORT DateTime operator+(DateTime moment, DateTimeSpan span);
    friend BRV_EXPORT DateTime operator-(DateTime moment, DateTimeSpan span);
    friend constexpr DateTimeSpan operator-(DateTime a, DateTime b)
    {
        return DateTimeSpan::FromTicks(a.m_ticks - b.m_ticks);
    }
    friend constexpr auto operator<=>(const DateTime&, const DateTime&) = default;

private:
    std::int64_t m_ticks = 0;
};

inline constexpr DateTime DateTime::OLEEpoch{};
