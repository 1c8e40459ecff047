#include "brvcore/foundation/DateArithmetic.h"

#include "brvcore/foundation/CalendarTime.h"
#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>

namespace
{

using CalendarTime::Ticks;

// A period is a number of calendar months, or else a fixed number of ticks.
struct PeriodLength
{
    DatePeriodType period;
    int months;
    Ticks ticks;

    // More periods than this do not fit between the years 1 and 9999.
    constexpr std::int64_t MostCount() const
    {
        constexpr int kMonths = (CalendarTime::kLastYear - CalendarTime::kFirstYear + 1) * 12;
        constexpr std::int64_t kTicks = CalendarTime::kMaxTicks - CalendarTime::kMinTicks;
        return months > 0 ? kMonths / months : kTicks / ticks.count();
    }
};

// In the order of the numbers of DatePeriodType.
constexpr std::array kPeriodLengths = {
    PeriodLength{DatePeriodType::Year, 12, {}},
    PeriodLength{DatePeriodType::Quarter, 3, {}},
    PeriodLength{DatePeriodType::Month, 1, {}},
    PeriodLength{DatePeriodType::Week, 0, std::chrono::weeks(1)},
    PeriodLength{DatePeriodType::Day, 0, std::chrono::days(1)},
    PeriodLength{DatePeriodType::Hour, 0, std::chrono::hours(1)},
    PeriodLength{DatePeriodType::Minute, 0, std::chrono::minutes(1)},
    PeriodLength{DatePeriodType::Second, 0, std::chrono::seconds(1)},
};
static_assert(
    []
    {
        for (std::size_t i = 0; i < kPeriodLengths.size(); ++i)
            if (static_cast<std::size_t>(kPeriodLengths[i].period) != i)
                return false;
        return true;
    }(),
    "a row is found by its number");

const PeriodLength& LengthOf(DatePeriodType period)
{
    const auto number = static_cast<std::size_t>(period);
    BRV_LOGIC_ASSERT(0xC7DE9026, number < kPeriodLengths.size());
    return kPeriodLengths[number];
}

constexpr std::int64_t FloorDivide(std::int64_t dividend, std::int64_t divisor)
{
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

// Months since year 0, counted from 0.
std::int64_t MonthNumber(const std::chrono::year_month_day& date)
{
    return static_cast<int>(date.year()) * std::int64_t{12} + static_cast<unsigned>(date.month()) - 1;
}

// The same day of another month, or that month's last day when it is shorter.
std::chrono::year_month_day ClampedToMonth(std::int64_t monthNumber, std::chrono::day day)
{
    using namespace std::chrono;
    const std::int64_t year = FloorDivide(monthNumber, 12);
    const auto month = static_cast<unsigned>(monthNumber - year * 12) + 1;
    const year_month target = std::chrono::year{static_cast<int>(year)} / std::chrono::month{month};
    return target / std::min(day, (target / last).day());
}

DateTime FromCalendar(const std::chrono::year_month_day& date, Ticks time = {})
{
    const DateTime midnight(static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
        static_cast<int>(static_cast<unsigned>(date.day())));
    return midnight + DateTimeSpan::FromTicks(time.count());
}

}   // namespace

IDateOptions::~IDateOptions() = default;

const IDateOptions& DateOptions::Default()
{
    static const auto& options = *new DateOptions;   // never destroyed: static objects may refer to it
    return options;
}

DateTime AdjustByDatePeriod(DateTime anchor, DatePeriodType period, std::int64_t count)
{
    const PeriodLength& length = LengthOf(period);
    const std::int64_t mostCount = length.MostCount();
    BRV_LOGIC_ASSERT(0xC114F6F9, -mostCount <= count && count <= mostCount);
    if (length.months == 0)
        return anchor + DateTimeSpan::FromTicks(length.ticks.count() * count);
    const auto [day, time] = CalendarTime::Split(anchor);
    const std::chrono::year_month_day date(day);
    return FromCalendar(ClampedToMonth(MonthNumber(date) + count * length.months, date.day()), time);
}

DateTime FindStartOfPeriod(DateTime moment, DatePeriodType period, const IDateOptions& options)
{
    const PeriodLength& length = LengthOf(period);
    const auto [day, time] = CalendarTime::Split(moment);
    if (length.months > 0)
    {
        const int fiscalYearStart = options.GetFiscalYearStart();
        BRV_LOGIC_ASSERT(0x9C23D5DA, 1 <= fiscalYearStart && fiscalYearStart <= 12);
        const std::int64_t month = MonthNumber(std::chrono::year_month_day(day));
        const std::int64_t monthOfFiscalYear = (month % 12 + 13 - fiscalYearStart) % 12;
        return FromCalendar(ClampedToMonth(month - monthOfFiscalYear % length.months, std::chrono::day{1}));
    }
    if (period == DatePeriodType::Week)
    {
        const int startOfWeek = options.GetStartOfWeek();
        BRV_LOGIC_ASSERT(0xF3ACCE4F, 0 <= startOfWeek && startOfWeek <= 6);
        const int dayOfWeek = (moment.GetDayOfWeek() + 7 - startOfWeek) % 7;
        return moment.GetDate() - DateTimeSpan::FromDays(dayOfWeek);
    }
    return moment - DateTimeSpan::FromTicks((time % length.ticks).count());
}

std::int64_t DatePeriodDifference(DateTime first, DateTime second, DatePeriodType period)
{
    const PeriodLength& length = LengthOf(period);
    if (length.months == 0)
        return FloorDivide((second - first).GetTicks(), length.ticks.count());

    const auto [firstDay, firstTime] = CalendarTime::Split(first);
    const auto [secondDay, secondTime] = CalendarTime::Split(second);
    const std::chrono::year_month_day firstDate(firstDay);
    const std::chrono::year_month_day secondDate(secondDay);
    const std::int64_t months = MonthNumber(secondDate) - MonthNumber(firstDate);
    const std::int64_t count = FloorDivide(months, length.months);
    if (count * length.months != months)
        return count;   // the advanced date falls into an earlier month than the second one
    const std::chrono::sys_days reached = ClampedToMonth(MonthNumber(secondDate), firstDate.day());
    const bool isTooFar = reached != secondDay ? reached > secondDay : firstTime > secondTime;
    return isTooFar ? count - 1 : count;
}
