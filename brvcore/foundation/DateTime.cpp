#include "brvcore/foundation/DateTime.h"

#include "brvcore/foundation/CalendarTime.h"
#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <limits>

namespace
{

using CalendarTime::kFirstYear;
using CalendarTime::kLastYear;
using CalendarTime::kMaxTicks;
using CalendarTime::kMinTicks;
using CalendarTime::Ticks;

constexpr std::int64_t kTicksPerMillisecond = DateTimeSpan::kTicksPerSecond / 1'000;
constexpr std::int64_t kMillisecondsPerDay = 86'400'000;
constexpr int kFractionDigits = 7;   // a tick is the seventh digit of a second

// The range is checked before std::chrono sees the numbers: its year, month and day keep 16 and 8 bits of an int.
constexpr bool IsCalendarDay(int year, int month, int day)
{
    return kFirstYear <= year && year <= kLastYear && 1 <= month && month <= 12 && 1 <= day && day <= 31 &&
           (std::chrono::year{year} / month / day).ok();
}

constexpr bool IsTimeOfDay(int hour, int minute, int second, int ticks)
{
    return 0 <= hour && hour < 24 && 0 <= minute && minute < 60 && 0 <= second && second < 60 && 0 <= ticks &&
           ticks < DateTimeSpan::kTicksPerSecond;
}

// Reads a text from the left. A step that does not match leaves the position where it was.
class Scanner
{
public:
    explicit Scanner(std::u16string_view text) : m_text(text) {}

    bool AtEnd() const { return m_text.empty(); }

    bool Skip(char16_t unit)
    {
        if (!m_text.starts_with(unit))
            return false;
        m_text.remove_prefix(1);
        return true;
    }

    // One or more blanks.
    bool SkipBlanks()
    {
        const std::size_t length = std::min(m_text.find_first_not_of(u" \t"), m_text.size());
        m_text.remove_prefix(length);
        return length > 0;
    }

    // Exactly `count` ASCII digits.
    std::optional<int> Digits(std::size_t count)
    {
        if (DigitsAhead() < count)
            return std::nullopt;
        int value = 0;
        for (const char16_t unit : m_text.substr(0, count))
            value = value * 10 + (unit - u'0');
        m_text.remove_prefix(count);
        return value;
    }

    // One or more digits after a decimal point, in ticks; what is finer than a tick is cut off.
    std::optional<int> Fraction()
    {
        const std::size_t length = DigitsAhead();
        if (length == 0)
            return std::nullopt;
        int ticks = 0;
        for (std::size_t i = 0; i < kFractionDigits; ++i)
            ticks = ticks * 10 + (i < length ? m_text[i] - u'0' : 0);
        m_text.remove_prefix(length);
        return ticks;
    }

private:
    std::size_t DigitsAhead() const { return std::min(m_text.find_first_not_of(u"0123456789"), m_text.size()); }

    std::u16string_view m_text;
};

// What a text's date part named: only a full day may be followed by a time.
struct DatePart
{
    int month = 1;
    int day = 1;
    bool isDay = false;
};

// The rest of a date after its year.
std::optional<DatePart> ScanDatePart(Scanner& text)
{
    if (text.AtEnd())
        return DatePart{};
    if (!text.Skip(u'-'))
    {
        const std::optional<int> monthAndDay = text.Digits(4);   // 20240131
        if (!monthAndDay)
            return std::nullopt;
        return DatePart{*monthAndDay / 100, *monthAndDay % 100, true};
    }
    if (text.Skip(u'Q'))
    {
        const std::optional<int> quarter = text.Digits(1);
        if (!quarter || *quarter < 1 || *quarter > 4)
            return std::nullopt;
        return DatePart{*quarter * 3 - 2, 1, false};
    }
    const std::optional<int> month = text.Digits(2);
    if (!month)
        return std::nullopt;
    if (!text.Skip(u'-'))
        return DatePart{*month, 1, false};
    const std::optional<int> day = text.Digits(2);
    if (!day)
        return std::nullopt;
    return DatePart{*month, *day, true};
}

// "HH:MM[:SS[.fraction]][Z]", to the end of the text.
bool ScanTime(Scanner& text, DateTime::Fields& fields)
{
    const std::optional<int> hour = text.Digits(2);
    if (!hour || !text.Skip(u':'))
        return false;
    const std::optional<int> minute = text.Digits(2);
    if (!minute)
        return false;
    fields.hour = *hour;
    fields.minute = *minute;
    if (text.Skip(u':'))
    {
        const std::optional<int> second = text.Digits(2);
        if (!second)
            return false;
        fields.second = *second;
        if (text.Skip(u'.'))
        {
            const std::optional<int> ticks = text.Fraction();
            if (!ticks)
                return false;
            fields.ticks = *ticks;
        }
    }
    text.Skip(u'Z');
    return text.AtEnd() && IsTimeOfDay(fields.hour, fields.minute, fields.second, fields.ticks);
}

void AppendPadded(TString& text, int value, std::size_t width)
{
    char16_t digits[kFractionDigits] = {};
    for (std::size_t i = width; i-- > 0; value /= 10)
        digits[i] = static_cast<char16_t>(u'0' + value % 10);
    text.Append(std::u16string_view(digits, width));
}

}   // namespace

DateTime::DateTime(int year, int month, int day, int hour, int minute, int second, int ticks)
{
    BRV_LOGIC_ASSERT(0x30E283AD, IsCalendarDay(year, month, day));
    BRV_LOGIC_ASSERT(0x435B3838, IsTimeOfDay(hour, minute, second, ticks));
    const std::chrono::sys_days date = std::chrono::year{year} / month / day;
    const Ticks time =
        std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second) + Ticks(ticks);
    m_ticks = CalendarTime::TicksOf(date) + time.count();
}

DateTime DateTime::FromTicks(std::int64_t ticks)
{
    BRV_LOGIC_ASSERT(0x50722320, kMinTicks <= ticks && ticks <= kMaxTicks);
    DateTime result;
    result.m_ticks = ticks;
    return result;
}

// The integer part is exact and so is the difference, so the rounding sees the time that was meant. It may carry into the
// next day: -1.99999999999 is the last instant of 1899-12-29 and becomes midnight of the 30th.
DateTime DateTime::FromSerial(double serial)
{
    constexpr double kBeforeFirstDay = static_cast<double>(kMinTicks / DateTimeSpan::kTicksPerDay) - 1.0;
    constexpr double kAfterLastDay = static_cast<double>((kMaxTicks + 1) / DateTimeSpan::kTicksPerDay);
    BRV_LOGIC_ASSERT(0x9E103B5B, kBeforeFirstDay < serial && serial < kAfterLastDay);
    const double day = std::trunc(serial);
    const double milliseconds = std::round(std::abs(serial - day) * static_cast<double>(kMillisecondsPerDay));
    return FromTicks(static_cast<std::int64_t>(day) * DateTimeSpan::kTicksPerDay +
                     static_cast<std::int64_t>(milliseconds) * kTicksPerMillisecond);
}

double DateTime::ToSerial() const noexcept
{
    constexpr std::int64_t kLastMillisecond = kMaxTicks / kTicksPerMillisecond;
    using Milliseconds = std::chrono::duration<std::int64_t, std::milli>;
    const auto half = Ticks(kTicksPerMillisecond / 2);
    const auto rounded = std::chrono::floor<Milliseconds>(Ticks(m_ticks) + half);
    const Milliseconds sinceEpoch(std::min(rounded.count(), kLastMillisecond));   // year 10000 has no serial
    const auto day = std::chrono::floor<std::chrono::days>(sinceEpoch);
    const double dayNumber = static_cast<double>(day.count());
    const double time = static_cast<double>((sinceEpoch - day).count()) / static_cast<double>(kMillisecondsPerDay);
    return dayNumber < 0 ? dayNumber - time : dayNumber + time;
}

std::optional<DateTime> DateTime::FromISO(std::u16string_view text) noexcept
{
    Scanner scanner(text);
    const std::optional<int> year = scanner.Digits(4);
    if (!year)
        return std::nullopt;
    const std::optional<DatePart> date = ScanDatePart(scanner);
    if (!date || !IsCalendarDay(*year, date->month, date->day))
        return std::nullopt;
    Fields fields{*year, date->month, date->day, 0, 0, 0, 0};
    if (!scanner.AtEnd())
    {
        const bool hasTime = date->isDay && (scanner.Skip(u'T') || scanner.SkipBlanks());
        if (!hasTime || !ScanTime(scanner, fields))
            return std::nullopt;
    }
    return DateTime(fields.year, fields.month, fields.day, fields.hour, fields.minute, fields.second, fields.ticks);
}

TString DateTime::ToISODate() const
{
    const Fields fields = GetFields();
    TString text;
    AppendPadded(text, fields.year, 4);
    text += u'-';
    AppendPadded(text, fields.month, 2);
    text += u'-';
    AppendPadded(text, fields.day, 2);
    return text;
}

TString DateTime::ToISO() const
{
    const Fields fields = GetFields();
    TString text = ToISODate();
    if (*this == GetDate())
        return text;
    text += u' ';
    AppendPadded(text, fields.hour, 2);
    text += u':';
    AppendPadded(text, fields.minute, 2);
    text += u':';
    AppendPadded(text, fields.second, 2);
    if (fields.ticks != 0)
    {
        std::size_t digits = kFractionDigits;
        int fraction = fields.ticks;
        for (; fraction % 10 == 0; fraction /= 10)
            --digits;
        text += u'.';
        AppendPadded(text, fraction, digits);
    }
    return text;
}

DateTime::Fields DateTime::GetFields() const noexcept
{
    const auto [day, time] = CalendarTime::Split(*this);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss<Ticks> clock(time);
    return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
        static_cast<int>(static_cast<unsigned>(date.day())), static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()),
        static_cast<int>(clock.subseconds().count())};
}

int DateTime::GetHour() const noexcept
{
    return static_cast<int>(std::chrono::floor<std::chrono::hours>(CalendarTime::Split(*this).time).count());
}

int DateTime::GetMinute() const noexcept
{
    return static_cast<int>(std::chrono::floor<std::chrono::minutes>(CalendarTime::Split(*this).time).count() % 60);
}

int DateTime::GetSecond() const noexcept
{
    return static_cast<int>(std::chrono::floor<std::chrono::seconds>(CalendarTime::Split(*this).time).count() % 60);
}

int DateTime::GetDayOfWeek() const noexcept
{
    return static_cast<int>(std::chrono::weekday(CalendarTime::Split(*this).day).c_encoding());
}

DateTime DateTime::GetDate() const noexcept
{
    DateTime midnight;
    midnight.m_ticks = CalendarTime::TicksOf(CalendarTime::Split(*this).day);
    return midnight;
}

DateTime operator+(DateTime moment, DateTimeSpan span)
{
    std::int64_t ticks = 0;
    const bool isOverflow = __builtin_add_overflow(moment.GetTicks(), span.GetTicks(), &ticks);
    return DateTime::FromTicks(isOverflow ? std::numeric_limits<std::int64_t>::max() : ticks);
}

DateTime operator-(DateTime moment, DateTimeSpan span)
{
    std::int64_t ticks = 0;
    const bool isOverflow = __builtin_sub_overflow(moment.GetTicks(), span.GetTicks(), &ticks);
    return DateTime::FromTicks(isOverflow ? std::numeric_limits<std::int64_t>::max() : ticks);
}
