#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One token of a date-time format.
struct DateTimeToken
{
    enum class Kind : std::uint8_t
    {
        Text,            // stands for itself
        DateSeparator,   // "/"
        TimeSeparator,   // ":"
        GeneralDate,     // c: the date, and the time unless that is midnight
        ShortDate,       // ddddd
        LongDate,        // dddddd
        LongTime,        // ttttt
        Day,             // d, dd
        DayName,         // ddd, dddd
        DayOfWeek,       // w: 1 to 7
        WeekOfYear,      // ww
        Month,           // m, mm
        MonthName,       // mmm, mmmm
        Quarter,         // q
        DayOfYear,       // y
        Year,            // yy, yyyy
        Hour,            // h, hh
        Minute,          // n, nn, and m, mm beside hours or seconds
        Second,          // s, ss
        Fraction,        // .0 to .0000000 behind seconds
        DayHalf,         // AM/PM, am/pm, A/P, a/p: writes the half of its own text that applies
        LocaleDayHalf,   // AMPM: the locale's words
    };

    Kind kind = Kind::Text;
    std::uint8_t length = 0;    // letters, of a token that comes in several lengths
    std::u16string text;        // of Text, and of DayHalf before noon
    std::u16string afternoon;   // of DayHalf
};

// Cuts a format into tokens; O(length), for any text. Letters count in any case, and a run of one letter is one token: a run
// longer than the longest token of its letter is that token, and yyy is yyyy. "Quoted" and \escaped text stands for itself.
// Left out are @, _ and * with the character behind them, and [bracketed] text but for hours, minutes and seconds: [h] is h.
// A quotation or bracket that does not end takes the rest; a semicolon ends the format. Adjacent text is one token.
std::vector<DateTimeToken> TokenizeDateTime(std::u16string_view format);
