#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/foundation/DateArithmetic.h"
#include "brvcore/transforms/ForecastUtils.h"

#include <array>

// What the date levels are to a forecast, as data. ForecastUtils.cpp reads the tables; to change a rule, change its row.
namespace ForecastUtilsTables
{

using enum AggType;

// A set of date parts, one bit each.
using DateParts = unsigned;

inline constexpr DateParts kYear = 256;
inline constexpr DateParts kQuarter = 128;
inline constexpr DateParts kMonth = 64;
inline constexpr DateParts kWeek = 32;
inline constexpr DateParts kDay = 16;
inline constexpr DateParts kWeekday = 8;
inline constexpr DateParts kHour = 4;
inline constexpr DateParts kMinute = 2;
inline constexpr DateParts kSecond = 1;

inline constexpr DateParts kHourMinute = kHour | kMinute;
inline constexpr DateParts kTime = kHour | kMinute | kSecond;

struct ComponentsRow
{
    AggType agg;
    DateParts parts;
};

// The parts that an aggregation shows. The full day of MDY and of the levels below the week is missing: each of
// kDaySpecifications completes them in turn.
inline constexpr std::array kComponents = {
    ComponentsRow{Year, kYear},
    ComponentsRow{Quarter, kQuarter},
    ComponentsRow{Month, kMonth},
    ComponentsRow{Week, kWeek},
    ComponentsRow{Day, kDay},
    ComponentsRow{Weekday, kWeekday},
    ComponentsRow{Hour, kHour},
    ComponentsRow{Minute, kMinute},
    ComponentsRow{Second, kSecond},
    ComponentsRow{MY, kYear | kMonth},
    ComponentsRow{YearTrunc, kYear},
    ComponentsRow{QuarterTrunc, kYear | kQuarter},
    ComponentsRow{MonthTrunc, kYear | kQuarter | kMonth},
    ComponentsRow{WeekTrunc, kYear | kWeek},
    ComponentsRow{MDY, 0},
    ComponentsRow{DayTrunc, 0},
    ComponentsRow{HourTrunc, kHour},
    ComponentsRow{MinuteTrunc, kHourMinute},
    ComponentsRow{SecondTrunc, kTime},
};

// The ways to name a day, in the order in which they are tried.
inline constexpr std::array kDaySpecifications = {
    kYear | kMonth | kDay,
    kYear | kWeek | kDay,
    kYear | kWeek | kWeekday,
};

struct ValidSetRow
{
    DateParts parts;
    AggType agg;
};

// The sets of parts that form a time axis without gaps, and its level. The seven sets that name a day each appear alone,
// with the hour, with the minute and with the second.
inline constexpr std::array kValidSets = {
    ValidSetRow{kYear, YearTrunc},
    ValidSetRow{kYear | kQuarter, QuarterTrunc},
    ValidSetRow{kYear | kQuarter | kMonth, MonthTrunc},
    ValidSetRow{kYear | kMonth, MonthTrunc},
    ValidSetRow{kYear | kWeek, WeekTrunc},

    ValidSetRow{kYear | kQuarter | kMonth | kDay, DayTrunc},
    ValidSetRow{kYear | kQuarter | kMonth | kDay | kHour, HourTrunc},
    ValidSetRow{kYear | kQuarter | kMonth | kDay | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kQuarter | kMonth | kDay | kTime, SecondTrunc},

    ValidSetRow{kYear | kMonth | kDay, DayTrunc},
    ValidSetRow{kYear | kMonth | kDay | kHour, HourTrunc},
    ValidSetRow{kYear | kMonth | kDay | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kMonth | kDay | kTime, SecondTrunc},

    ValidSetRow{kYear | kWeek | kDay, DayTrunc},
    ValidSetRow{kYear | kWeek | kDay | kHour, HourTrunc},
    ValidSetRow{kYear | kWeek | kDay | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kWeek | kDay | kTime, SecondTrunc},

    ValidSetRow{kYear | kWeek | kWeekday, DayTrunc},
    ValidSetRow{kYear | kWeek | kWeekday | kHour, HourTrunc},
    ValidSetRow{kYear | kWeek | kWeekday | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kWeek | kWeekday | kTime, SecondTrunc},

    ValidSetRow{kYear | kWeek | kDay | kWeekday, DayTrunc},
    ValidSetRow{kYear | kWeek | kDay | kWeekday | kHour, HourTrunc},
    ValidSetRow{kYear | kWeek | kDay | kWeekday | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kWeek | kDay | kWeekday | kTime, SecondTrunc},

    ValidSetRow{kYear | kQuarter | kMonth | kDay | kWeekday, DayTrunc},
    ValidSetRow{kYear | kQuarter | kMonth | kDay | kWeekday | kHour, HourTrunc},
    ValidSetRow{kYear | kQuarter | kMonth | kDay | kWeekday | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kQuarter | kMonth | kDay | kWeekday | kTime, SecondTrunc},

    ValidSetRow{kYear | kMonth | kDay | kWeekday, DayTrunc},
    ValidSetRow{kYear | kMonth | kDay | kWeekday | kHour, HourTrunc},
    ValidSetRow{kYear | kMonth | kDay | kWeekday | kHourMinute, MinuteTrunc},
    ValidSetRow{kYear | kMonth | kDay | kWeekday | kTime, SecondTrunc},
};

struct ConfigRow
{
    AggType agg;
    ForecastUtils::TimeSeriesConfig config;
};

// The season of each level: a cycle of the season level lasts so many periods.
inline constexpr std::array kConfigs = {
    //        level          season level  length  reserved  next finer level
    ConfigRow{YearTrunc, {YearTrunc, 1, 9, QuarterTrunc}},
    ConfigRow{QuarterTrunc, {YearTrunc, 4, 9, MonthTrunc}},
    ConfigRow{MonthTrunc, {YearTrunc, 12, 0, None}},
    ConfigRow{WeekTrunc, {QuarterTrunc, 13, 9, DayTrunc}},
    ConfigRow{DayTrunc, {WeekTrunc, 7, 9, HourTrunc}},
    ConfigRow{HourTrunc, {DayTrunc, 24, 9, MinuteTrunc}},
    ConfigRow{MinuteTrunc, {HourTrunc, 60, 9, SecondTrunc}},
    ConfigRow{SecondTrunc, {MinuteTrunc, 60, 0, None}},
    ConfigRow{None, {None, 1, 0, YearTrunc}},
};

struct MultipleRow
{
    AggType coarse;
    AggType fine;
    int multiple;
};

// How many finer periods make a coarser one: each level with the next finer one where that number never changes, and the
// months of a year.
inline constexpr std::array kMultiples = {
    MultipleRow{YearTrunc, QuarterTrunc, 4},
    MultipleRow{YearTrunc, MonthTrunc, 12},
    MultipleRow{QuarterTrunc, MonthTrunc, 3},
    MultipleRow{WeekTrunc, DayTrunc, 7},
    MultipleRow{DayTrunc, HourTrunc, 24},
    MultipleRow{HourTrunc, MinuteTrunc, 60},
    MultipleRow{MinuteTrunc, SecondTrunc, 60},
};

// Sums and counts of finer periods add up to those of the coarser one, so they may be estimated at a finer level.
inline constexpr std::array kFinerEstimates = {Sum, Count};

struct DatePeriodRow
{
    AggType agg;
    DatePeriodType period;
};

inline constexpr std::array kDatePeriods = {
    DatePeriodRow{YearTrunc, DatePeriodType::Year},
    DatePeriodRow{QuarterTrunc, DatePeriodType::Quarter},
    DatePeriodRow{MonthTrunc, DatePeriodType::Month},
    DatePeriodRow{WeekTrunc, DatePeriodType::Week},
    DatePeriodRow{DayTrunc, DatePeriodType::Day},
    DatePeriodRow{HourTrunc, DatePeriodType::Hour},
    DatePeriodRow{MinuteTrunc, DatePeriodType::Minute},
    DatePeriodRow{SecondTrunc, DatePeriodType::Second},
};

// Reserved: the levels at which an estimate may be made, each with a set of parts that forms it. No rule reads the sets
// yet; each is the one of kValidSets that names every coarser calendar part.
inline constexpr std::array kEstimateLevels = {
    ComponentsRow{YearTrunc, kYear},
    ComponentsRow{QuarterTrunc, kYear | kQuarter},
    ComponentsRow{MonthTrunc, kYear | kQuarter | kMonth},
    ComponentsRow{WeekTrunc, kYear | kWeek},
    ComponentsRow{DayTrunc, kYear | kQuarter | kMonth | kDay},
    ComponentsRow{HourTrunc, kYear | kQuarter | kMonth | kDay | kHour},
    ComponentsRow{MinuteTrunc, kYear | kQuarter | kMonth | kDay | kHourMinute},
    ComponentsRow{SecondTrunc, kYear | kQuarter | kMonth | kDay | kTime},
};

}   // namespace ForecastUtilsTables
