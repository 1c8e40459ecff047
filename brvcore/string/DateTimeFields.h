#pragma once

#include "brvcore/foundation/DateTime.h"

#include <cstdint>
#include <string>
#include <vector>

struct IcuDateSymbols;

enum class DateTimeField : std::uint8_t
{
    Text,          // its own text
    DayHalfText,   // its own text for before noon or for the afternoon
    GeneralDate,   // the locale's patterns: the short date, and the time unless it is midnight
    ShortDate,
    LongDate,
    MediumTime,
    Era,
    Year,
    YearOfWeek,   // that the week belongs to
    FiscalYear,   // named after the calendar year in which it ends
    Quarter,
    FiscalQuarter,
    Month,
    MonthInDate,   // names, see DateNameForm
    MonthAlone,
    WeekOfYear,
    DayOfYear,
    Day,
    DayOfWeek,   // 1 to 7 from the first day of the week
    DayNameInDate,
    DayNameAlone,
    Hour24,   // 0 to 23
    Hour12,   // 12, 1 to 11
    Minute,
    Second,
    Fraction,    // of the second, cut off behind `width` digits
    DayHalf,     // the locale's word
    DayPeriod,   // the locale's word, of which there are more than two
};

// A field and how it is written.
struct DateTimePart
{
    DateTimeField field = DateTimeField::Text;
    int width = 1;   // least digits; a year of width 2 is its last two digits; a name of width 4 is not abbreviated
    std::u16string text;        // of Text, and of DayHalfText before noon
    std::u16string afternoon;   // of DayHalfText
};
using DateTimeParts = std::vector<DateTimePart>;

// How the year is divided.
struct CalendarCustoms
{
    int firstDayOfWeek = 1;           // 1 Sunday to 7 Saturday
    int minimalDaysInFirstWeek = 1;   // of the year that the week belongs to
    int firstMonthOfFiscalYear = 1;
};

// Appends the parts of a moment. Re-entrant.
void RenderDateTime(const DateTimeParts& parts, const DateTime& value, const IcuDateSymbols& symbols,
    const CalendarCustoms& customs, std::u16string& text);
