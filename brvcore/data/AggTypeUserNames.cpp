#include "brvcore/data/AggTypeUserNames.h"

#include "brvcore/data/AggregationTable.h"
#include "brvcore/data/MessageCatalogue.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

using enum AggType;

// The English texts of one value. Identifiers are made of the kind of text and the name in documents, so that a new value
// gets its own by its row.
struct Texts
{
    AggType type;
    std::u16string_view display;
    std::u16string_view pretty;
    std::u16string_view example;
    std::u16string_view user;         // empty: the English display text, which is then unique
    std::u16string_view withoutISO;   // empty: the display text
};

// clang-format off
constexpr std::array kTexts = {
Texts{Sum,             u"Sum",                u"Sum of all values",                      u"",                      u"",                         u""},
Texts{Avg,             u"Average",            u"Arithmetic mean",                        u"",                      u"",                         u""},
Texts{Min,             u"Minimum",            u"Smallest value",                         u"",                      u"",                         u""},
Texts{Max,             u"Maximum",            u"Largest value",                          u"",                      u"",                         u""},
Texts{Stdev,           u"Std. deviation",     u"Standard deviation of a sample",         u"",                      u"",                         u""},
Texts{StdevP,          u"Std. deviation (P)", u"Standard deviation of a population",     u"",                      u"",                         u""},
Texts{Var,             u"Variance",           u"Variance of a sample",                   u"",                      u"",                         u""},
Texts{VarP,            u"Variance (P)",       u"Variance of a population",               u"",                      u"",                         u""},
Texts{Count,           u"Count",              u"Number of values",                       u"",                      u"",                         u""},
Texts{CountD,          u"Distinct count",     u"Number of distinct values",              u"",                      u"",                         u""},
Texts{Median,          u"Median",             u"Middle value",                           u"",                      u"",                         u""},
Texts{Attribute,       u"Attribute",          u"The value that all rows share",          u"",                      u"",                         u""},
Texts{None,            u"None",               u"Not aggregated",                         u"",                      u"",                         u""},
Texts{Percentile,      u"Percentile",         u"Value below which a given share lies",   u"",                      u"",                         u""},
Texts{Year,            u"Year",               u"Year of the date",                       u"2024",                  u"Year part",                u""},
Texts{Quarter,         u"Quarter",            u"Quarter of the year",                    u"Q1",                    u"Quarter part",             u""},
Texts{Month,           u"Month",              u"Month of the year",                      u"March",                 u"Month part",               u""},
Texts{Day,             u"Day",                u"Day of the month",                       u"14",                    u"Day part",                 u""},
Texts{Hour,            u"Hour",               u"Hour of the day",                        u"9",                     u"Hour part",                u""},
Texts{Minute,          u"Minute",             u"Minute of the hour",                     u"5",                     u"Minute part",              u""},
Texts{Second,          u"Second",             u"Second of the minute",                   u"7",                     u"Second part",              u""},
Texts{Week,            u"Week",               u"Week of the year",                       u"11",                    u"Week part",                u""},
Texts{Weekday,         u"Weekday",            u"Day of the week",                        u"Thursday",              u"Weekday part",             u""},
Texts{MY,              u"Month, year",        u"Month and year in one number",           u"March 2024",            u"Month and year part",      u""},
Texts{MDY,             u"Month, day, year",   u"Month, day and year in one number",      u"March 14, 2024",        u"Month, day and year part", u""},
Texts{ISOYear,         u"ISO year",           u"Year of whole ISO weeks",                u"2024",                  u"ISO year part",            u"Year"},
Texts{ISOQuarter,      u"ISO quarter",        u"Quarter of the ISO year",                u"Q1",                    u"ISO quarter part",         u"Quarter"},
Texts{ISOWeek,         u"ISO week",           u"Week of the ISO year",                   u"11",                    u"ISO week part",            u"Week"},
Texts{ISOWeekday,      u"ISO weekday",        u"Day of the ISO week, from Monday",       u"4",                     u"ISO weekday part",         u"Weekday"},
Texts{YearTrunc,       u"Year",               u"Date cut to the year",                   u"2024",                  u"Year level",               u""},
Texts{QuarterTrunc,    u"Quarter",            u"Date cut to the quarter",                u"Q1 2024",               u"Quarter level",            u""},
Texts{MonthTrunc,      u"Month",              u"Date cut to the month",                  u"March 2024",            u"Month level",              u""},
Texts{WeekTrunc,       u"Week",               u"Date cut to the week",                   u"Week of March 10, 2024", u"Week level",              u""},
Texts{DayTrunc,        u"Day",                u"Date cut to the day",                    u"March 14, 2024",        u"Day level",                u""},
Texts{HourTrunc,       u"Hour",               u"Date and time cut to the hour",          u"March 14, 2024, 09:00", u"Hour level",               u""},
Texts{MinuteTrunc,     u"Minute",             u"Date and time cut to the minute",        u"March 14, 2024, 09:05", u"Minute level",             u""},
Texts{SecondTrunc,     u"Second",             u"Date and time cut to the second",        u"March 14, 2024, 09:05:07", u"Second level",          u""},
Texts{ISOYearTrunc,    u"ISO year",           u"Date cut to the ISO year",               u"2024",                  u"ISO year level",           u"Year"},
Texts{ISOQuarterTrunc, u"ISO quarter",        u"Date cut to the ISO quarter",            u"Q1 2024",               u"ISO quarter level",        u"Quarter"},
Texts{ISOWeekTrunc,    u"ISO week",           u"Date cut to the ISO week",               u"Week 11, 2024",         u"ISO week level",           u"Week"},
Texts{ISOWeekdayTrunc, u"ISO weekday",        u"Date cut to the day of the ISO week",    u"Thursday, week 11, 2024", u"ISO weekday level",      u"Weekday"},
Texts{InOut,           u"In/Out",             u"Whether a set holds the value",          u"",                      u"",                         u""},
Texts{SumXSqr,         u"Sum of squares",     u"Sum of the squares of all values",       u"",                      u"",                         u""},
Texts{User,            u"Custom",             u"Aggregated by the calculation itself",   u"",                      u"",                         u""},
Texts{Collect,         u"Collection",         u"All shapes in one",                      u"",                      u"",                         u""},
Texts{Concatenate,     u"Concatenation",      u"All texts in a row",                     u"",                      u"",                         u""},
Texts{Union,           u"Union",              u"All shapes merged",                      u"",                      u"",                         u""},
};
// clang-format on

TString TextOf(const Texts& texts, std::u16string_view kind, std::u16string_view Texts::*column)
{
    TString messageId = u"AggType.";
    messageId += kind;
    messageId += u'.';
    messageId += AggregationTable::Find(texts.type)->xmlName;
    const std::u16string_view english = texts.*column;
    return GetMessageText(messageId, english);
}

// Empty for a value that has no texts at all, or none of this kind.
TString TextOf(AggType type, std::u16string_view kind, std::u16string_view Texts::*column)
{
    const auto texts = std::ranges::find(kTexts, type, &Texts::type);
    return texts == kTexts.end() || (texts->*column).empty() ? TString() : TextOf(*texts, kind, column);
}

}   // namespace

TString DisplayStrFromAggType(AggType aggType)
{
    return TextOf(aggType, u"Display", &Texts::display);
}

TString DisplayStrFromAggTypePretty(AggType aggType)
{
    return TextOf(aggType, u"Pretty", &Texts::pretty);
}

TString ExampleStrFromAggType(AggType aggType)
{
    return TextOf(aggType, u"Example", &Texts::example);
}

TString UserStringFromAggType(AggType aggType)
{
    const auto texts = std::ranges::find(kTexts, aggType, &Texts::type);
    if (texts == kTexts.end())
        return {};
    return TextOf(*texts, u"User", texts->user.empty() ? &Texts::display : &Texts::user);
}

AggType AggTypeFromUserString(const TString& name)
{
    for (const Texts& texts : kTexts)
        if (UserStringFromAggType(texts.type) == name)
            return texts.type;
    return AggType::None;
}

TString GetDisplayStringForISOAggTypeWithoutISOPrefix(AggType aggType)
{
    TString label = TextOf(aggType, u"WithoutISO", &Texts::withoutISO);
    return label.IsEmpty() ? DisplayStrFromAggType(aggType) : label;
}
