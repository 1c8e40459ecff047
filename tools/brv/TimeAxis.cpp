#include "TimeAxis.h"

#include "brvcore/foundation/TString.h"
#include "brvcore/transforms/ForecastUtils.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>

namespace
{

// Coarse to fine: the order in which a level is looked for.
constexpr std::array kLevels = {AggType::YearTrunc, AggType::QuarterTrunc, AggType::MonthTrunc, AggType::WeekTrunc,
    AggType::DayTrunc, AggType::HourTrunc, AggType::MinuteTrunc, AggType::SecondTrunc, AggType::None};

int DigitsAt(std::string_view text, std::size_t position, std::size_t count)
{
    int number = 0;
    for (const char c : text.substr(position, count))
    {
        if (c < '0' || c > '9')
            return -1;
        number = number * 10 + (c - '0');
    }
    return number;
}

// "2024-W05" is the Monday of that week, "2024-W05-3" its Wednesday; the first week is the one with 4 January.
std::optional<DateTime> ParseWeek(std::string_view text)
{
    if ((text.size() != 8 && text.size() != 10) || text.substr(4, 2) != "-W" || (text.size() == 10 && text[8] != '-'))
        return std::nullopt;
    const int year = DigitsAt(text, 0, 4);
    const int week = DigitsAt(text, 6, 2);
    const int day = text.size() == 10 ? DigitsAt(text, 9, 1) : 1;
    if (year < 1 || year > 9998 || week < 1 || day < 1 || day > 7)
        return std::nullopt;
    namespace chr = std::chrono;
    const auto firstMonday = [](int ofYear)
    {
        const chr::sys_days fourth = chr::year(ofYear) / chr::January / 4;
        return fourth - (chr::weekday(fourth) - chr::Monday);
    };
    const chr::sys_days monday = firstMonday(year) + chr::weeks(week - 1);
    if (monday >= firstMonday(year + 1))
        return std::nullopt;   // most years have 52 weeks
    const chr::year_month_day date(monday + chr::days(day - 1));
    return DateTime(static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
        static_cast<int>(static_cast<unsigned>(date.day())));
}

bool KeepsApart(const std::vector<DateTime>& sorted, AggType level, const IDateOptions& options)
{
    const DatePeriodType period = ForecastUtils::AggTypeToDatePeriod(level);
    for (std::size_t i = 1; i < sorted.size(); ++i)
        if (FindStartOfPeriod(sorted[i - 1], period, options) == FindStartOfPeriod(sorted[i], period, options))
            return false;
    return true;
}

}   // namespace

const std::vector<std::string>& LevelNames()
{
    static const std::vector<std::string> kNames = {
        "year", "quarter", "month", "week", "day", "hour", "minute", "second", "none"};
    return kNames;
}

AggType LevelFromName(std::string_view name)
{
    const auto& names = LevelNames();
    return kLevels.at(static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin()));
}

std::string LevelName(AggType level)
{
    return LevelNames().at(
        static_cast<std::size_t>(std::find(kLevels.begin(), kLevels.end(), level) - kLevels.begin()));
}

std::optional<DateTime> ParseDate(std::string_view text)
{
    if (const std::optional<DateTime> week = ParseWeek(text))
        return week;
    for (const std::string_view offset : {"+00:00", "+0000", "-00:00"})
        if (text.ends_with(offset) && text.find(':') < text.size() - offset.size())
        {
            text.remove_suffix(offset.size());
            break;
        }
    return DateTime::FromISO(TString::FromUTF8(text));
}

TimeAxis TimeAxis::OfDates(std::vector<DateTime> dates, std::optional<AggType> level)
{
    std::sort(dates.begin(), dates.end());
    dates.erase(std::unique(dates.begin(), dates.end()), dates.end());
    const int weekday = dates.front().GetDayOfWeek();
    const bool isSameWeekday =
        std::all_of(dates.begin(), dates.end(), [&](DateTime d) { return d.GetDayOfWeek() == weekday; });
    const int startOfWeek = isSameWeekday ? weekday : 1;
    if (level)
        return TimeAxis(*level, startOfWeek);
    const DateOptions options(startOfWeek);
    for (const AggType candidate : kLevels)
        if (candidate == AggType::SecondTrunc || KeepsApart(dates, candidate, options))
            return TimeAxis(candidate, startOfWeek);
    return TimeAxis(AggType::SecondTrunc, startOfWeek);
}

DataValue TimeAxis::StartOfPeriod(const DataValue& time) const
{
    if (!HasDates())
        return time;
    return DataValue::FromDateTime(
        FindStartOfPeriod(time.GetDateTime(), ForecastUtils::AggTypeToDatePeriod(m_level), m_options));
}

std::int64_t TimeAxis::Distance(const DataValue& first, const DataValue& second) const
{
    if (!HasDates())
        return second.GetInteger() - first.GetInteger();
    return DatePeriodDifference(first.GetDateTime(), second.GetDateTime(), ForecastUtils::AggTypeToDatePeriod(m_level));
}

DataValue TimeAxis::Advance(const DataValue& start, int periods) const
{
    return ForecastUtils::IncrementExplanatory(start, m_level, periods);
}

std::string TimeAxis::Label(const DataValue& start) const
{
    if (!HasDates())
        return start.ToText().ToUTF8();
    const DateTime moment = start.GetDateTime();
    std::string day = moment.ToISODate().ToUTF8();
    const DateTime::Fields fields = moment.GetFields();
    const auto two = [](int number) { return std::string(number < 10 ? "0" : "").append(std::to_string(number)); };
    switch (m_level)
    {
    case AggType::YearTrunc:
        return day.substr(0, 4);
    case AggType::QuarterTrunc:
        return day.substr(0, 4) + "-Q" + std::to_string((fields.month + 2) / 3);
    case AggType::MonthTrunc:
        return day.substr(0, 7);
    case AggType::HourTrunc:
    case AggType::MinuteTrunc:
        return day + " " + two(fields.hour) + ":" + two(fields.minute);
    case AggType::SecondTrunc:
        return day + " " + two(fields.hour) + ":" + two(fields.minute) + ":" + two(fields.second);
    default:
        return day;
    }
}
