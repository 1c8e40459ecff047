#pragma once

#include "brvcore/data/AggType.h"

#include <array>
#include <cstddef>
#include <string_view>

// What is known of each aggregation and date derivation by its value alone.
namespace AggregationTable
{

using enum AggType;

// Categories, one bit each.
inline constexpr unsigned kFold = 1;         // makes one value of many
inline constexpr unsigned kLocal = 2;        // computed from the answer of a query, not by the source of the data
inline constexpr unsigned kBin = 4;          // a part of a date
inline constexpr unsigned kTrunc = 8;        // a date cut to a level
inline constexpr unsigned kTop = 16;         // nothing is coarser
inline constexpr unsigned kISO = 32;         // weeks from Monday, years of whole weeks
inline constexpr unsigned kClock = 64;       // a level below the day
inline constexpr unsigned kCombined = 128;   // several parts in one number, whose steps are not even

// The type of the aggregated values. Another input than the one named gives an unknown type.
enum class ResultType
{
    Input,
    RealIfNumeric,
    Integer,
    IntegerIfTemporal,
    DateIfTemporal,
    DateTimeIfTemporal,
    Boolean,
    Spatial,
    Invalid,   // not an aggregation
};

struct Row
{
    AggType type;
    std::u16string_view xmlName;    // empty: no name in documents
    std::u16string_view function;   // upper case; of a part of a date, the plain function of that part
    std::u16string_view datePart;   // lower case; the argument of DATEPART for a part, of DATETRUNC for a cut date
    unsigned categories;
    AggType swap;     // the cut date of the same level as a part, and the reverse, or None
    AggType rollup;   // the next coarser level, or None
    ResultType result;

    constexpr bool Is(unsigned category) const { return (categories & category) != 0; }
};

// A value that belongs to the range but has no meaning.
constexpr AggType Unused(int value)
{
    return static_cast<AggType>(value);
}

using enum ResultType;

// One row per value, in the order of the values. To add one, append its row, and its texts in AggTypeUserNames.cpp.
// clang-format off
inline constexpr std::array kRows = {
//      type             XML name              function        date part       categories            swap             roll-up          result
    Row{Sum,             u"Sum",               u"SUM",         u"",            kFold,                None,            None,            Input},
    Row{Avg,             u"Avg",               u"AVG",         u"",            kFold,                None,            None,            RealIfNumeric},
    Row{Min,             u"Min",               u"MIN",         u"",            kFold,                None,            None,            Input},
    Row{Max,             u"Max",               u"MAX",         u"",            kFold,                None,            None,            Input},
    Row{Stdev,           u"Stdev",             u"STDEV",       u"",            kFold,                None,            None,            RealIfNumeric},
    Row{StdevP,          u"StdevP",            u"STDEVP",      u"",            kFold,                None,            None,            RealIfNumeric},
    Row{Var,             u"Var",               u"VAR",         u"",            kFold,                None,            None,            RealIfNumeric},
    Row{VarP,            u"VarP",              u"VARP",        u"",            kFold,                None,            None,            RealIfNumeric},
    Row{Count,           u"Count",             u"COUNT",       u"",            kFold,                None,            None,            Integer},
    Row{CountD,          u"CountD",            u"COUNTD",      u"",            kFold,                None,            None,            Integer},
    Row{Median,          u"Median",            u"MEDIAN",      u"",            kFold,                None,            None,            RealIfNumeric},
    Row{Attribute,       u"Attribute",         u"ATTR",        u"",            kFold | kLocal,       None,            None,            Input},
    Row{None,            u"None",              u"",            u"",            0,                    None,            None,            Input},
    Row{Percentile,      u"Percentile",        u"PERCENTILE",  u"",            kFold,                None,            None,            RealIfNumeric},
    Row{Year,            u"Year",              u"YEAR",        u"year",        kBin | kTop,          YearTrunc,       None,            IntegerIfTemporal},
    Row{Quarter,         u"Quarter",           u"QUARTER",     u"quarter",     kBin,                 QuarterTrunc,    Year,            IntegerIfTemporal},
    Row{Month,           u"Month",             u"MONTH",       u"month",       kBin,                 MonthTrunc,      Quarter,         IntegerIfTemporal},
    Row{Day,             u"Day",               u"DAY",         u"day",         kBin,                 DayTrunc,        Month,           IntegerIfTemporal},
    Row{Hour,            u"Hour",              u"HOUR",        u"hour",        kBin | kClock,        HourTrunc,       Day,             IntegerIfTemporal},
    Row{Minute,          u"Minute",            u"MINUTE",      u"minute",      kBin | kClock,        MinuteTrunc,     Hour,            IntegerIfTemporal},
    Row{Second,          u"Second",            u"SECOND",      u"second",      kBin | kClock,        SecondTrunc,     Minute,          IntegerIfTemporal},
    Row{Week,            u"Week",              u"WEEK",        u"week",        kBin,                 WeekTrunc,       Year,            IntegerIfTemporal},
    Row{Weekday,         u"Weekday",           u"WEEKDAY",     u"weekday",     kBin,                 None,            None,            IntegerIfTemporal},
    Row{MY,              u"MY",                u"",            u"",            kBin | kCombined,     None,            None,            IntegerIfTemporal},
    Row{MDY,             u"MDY",               u"",            u"",            kBin | kCombined,     None,            None,            IntegerIfTemporal},
    Row{Unused(25),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{ISOYear,         u"ISO-Year",          u"ISOYEAR",     u"iso-year",    kBin | kTop | kISO,   ISOYearTrunc,    None,            IntegerIfTemporal},
    Row{ISOQuarter,      u"ISO-Qtr",           u"ISOQUARTER",  u"iso-quarter", kBin | kISO,          ISOQuarterTrunc, ISOYear,         IntegerIfTemporal},
    Row{ISOWeek,         u"ISO-Week",          u"ISOWEEK",     u"iso-week",    kBin | kISO,          ISOWeekTrunc,    ISOQuarter,      IntegerIfTemporal},
    Row{ISOWeekday,      u"ISO-Weekday",       u"ISOWEEKDAY",  u"iso-weekday", kBin | kISO,          ISOWeekdayTrunc, ISOWeek,         IntegerIfTemporal},
    Row{YearTrunc,       u"Year-Trunc",        u"",            u"year",        kTrunc | kTop,        Year,            None,            DateIfTemporal},
    Row{QuarterTrunc,    u"Quarter-Trunc",     u"",            u"quarter",     kTrunc,               Quarter,         YearTrunc,       DateIfTemporal},
    Row{MonthTrunc,      u"Month-Trunc",       u"",            u"month",       kTrunc,               Month,           QuarterTrunc,    DateIfTemporal},
    Row{WeekTrunc,       u"Week-Trunc",        u"",            u"week",        kTrunc,               Week,            YearTrunc,       DateIfTemporal},
    Row{DayTrunc,        u"Day-Trunc",         u"",            u"day",         kTrunc,               Day,             MonthTrunc,      DateIfTemporal},
    Row{HourTrunc,       u"Hour-Trunc",        u"",            u"hour",        kTrunc | kClock,      Hour,            DayTrunc,        DateTimeIfTemporal},
    Row{MinuteTrunc,     u"Minute-Trunc",      u"",            u"minute",      kTrunc | kClock,      Minute,          HourTrunc,       DateTimeIfTemporal},
    Row{SecondTrunc,     u"Second-Trunc",      u"",            u"second",      kTrunc | kClock,      Second,          MinuteTrunc,     DateTimeIfTemporal},
    Row{ISOYearTrunc,    u"ISO-Year-Trunc",    u"",            u"iso-year",    kTrunc | kTop | kISO, ISOYear,         None,            DateIfTemporal},
    Row{ISOQuarterTrunc, u"ISO-Qtr-Trunc",     u"",            u"iso-quarter", kTrunc | kISO,        ISOQuarter,      ISOYearTrunc,    DateIfTemporal},
    Row{ISOWeekTrunc,    u"ISO-Week-Trunc",    u"",            u"iso-week",    kTrunc | kISO,        ISOWeek,         ISOQuarterTrunc, DateIfTemporal},
    Row{ISOWeekdayTrunc, u"ISO-Weekday-Trunc", u"",            u"iso-weekday", kTrunc | kISO,        ISOWeekday,      ISOWeekTrunc,    DateIfTemporal},
    Row{Unused(42),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Unused(43),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Unused(44),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Unused(45),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{InOut,           u"InOut",             u"",            u"",            0,                    None,            None,            Boolean},
    Row{SumXSqr,         u"SumXSqr",           u"",            u"",            kFold,                None,            None,            Input},
    Row{User,            u"User",              u"",            u"",            kFold,                None,            None,            Input},
    Row{Collect,         u"Collect",           u"COLLECT",     u"",            kFold,                None,            None,            Spatial},
    Row{Unused(50),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Unused(51),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Unused(52),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Unused(53),      u"",                  u"",            u"",            0,                    None,            None,            Invalid},
    Row{Concatenate,     u"Concatenate",       u"CONCATENATE", u"",            kFold,                None,            None,            Input},
    Row{Union,           u"Union",             u"UNION",       u"",            kFold,                None,            None,            Spatial},
};
// clang-format on

static_assert(
    []
    {
        for (std::size_t i = 0; i < kRows.size(); ++i)
            if (static_cast<std::size_t>(kRows[i].type) != i)
                return false;
        return true;
    }(),
    "a row is found by its value");

// The row of a value; null outside the range.
constexpr const Row* Find(AggType type)
{
    const auto value = static_cast<std::size_t>(type);
    return value < kRows.size() ? &kRows[value] : nullptr;
}

}   // namespace AggregationTable
