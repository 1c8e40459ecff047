#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataType.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/string/UserLocaleSettings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

class CustomFormatDateTime;
class CustomFormatNumberResources;
struct BooleanWords;
enum class BooleanKind : std::uint8_t;

// A user-written format of the spreadsheet kind, compiled once for one locale and rendered many times.
//
//     const auto format = CustomFormat::CreateNumberFormatter(u"#,##0.00;(#,##0.00);\"none\"", 1033);
//     format->Format(-1234.5);   // (1,234.50)
//
// A number format has up to four sections: positive; negative; zero; and one that serves values of extreme magnitude where
// the format asks for that. `0` and `#` are digits, `.` and `,` the point and the grouping (a comma behind the last digit
// divides by 1000), `%` and `‰` multiply, `E+00` and its kind write an exponent, `[scale]` picks a unit prefix (k, M, ...),
// `$` is the currency symbol; "quoted" or \escaped text and everything else stands for itself. Names such as "currency",
// "general number", "yes/no" and "long date" are formats too, in any letter case.
//
// A date-time format has these tokens, in any letter case:
//
//     c                  short date, and the time unless it is midnight (to the tick)
//     ddddd dddddd       the locale's short and long date
//     ttttt              the locale's time with seconds
//     d dd ddd dddd      day of the month; day's name
//     w ww               day of the week, 1 to 7; week of the year
//     m mm mmm mmmm      month; its name. m and mm are minutes behind hours and in front of seconds
//     q y yy yyyy        quarter, day of the year, year
//     h hh n nn s ss     hours, minutes, seconds; .0 to .0000000 behind seconds is their fraction, cut off and not rounded
//     AM/PM am/pm A/P a/p AMPM   half of the day, in these letters or (AMPM) in the locale's words; hours then count to 12
//     / :                what the locale has between the parts of a short date and a short time
//
// Text stands for itself as above; [h], [m] and [s] are h, n and s, other [bracketed] text is left out, and so are `@` and
// what `_` and `*` stand in front of; a semicolon ends the format. The calendar is the proleptic Gregorian in every locale.
// Names of months and days take the form that the locale uses inside a date when the format has a day of the month, otherwise
// the one for a name on its own ("5 декабря", "декабрь"). Weeks follow the week settings. Beside a week of the year, the year
// is the one that owns the week, unless the format has a quarter or anything finer of the calendar (month, day, date). A
// fiscal year bears the number of the calendar year in which it ends; the year is the fiscal one where a format writes
// nothing of the date but years and quarters. A quarter is one of the year beside it, and of the fiscal year where there is
// none: in a fiscal year from October, 2020-10-05 is "2021 1" by `yyyy q`, "10/2020 4" by `m/yyyy q`, and "1" by `q`.
//
// A boolean format writes true and false, yes and no, or on and off (true and false where it names no pair) in the language
// of the locale, whatever its region, and in English where that language has no words here.
//
// The locale is a numeric identifier (1031 for de-DE); 0, 1024 and 2048 mean the user's own, see UserLocaleSettings.h. An
// unknown identifier, or one whose locale has no data, gets the symbols of plain English.
//
// A compiled format is immutable: any number of threads may render with it at once. Copies share what is heavy. Parse() is
// a change like any other.
class BRV_EXPORT CustomFormat
{
public:
    // The type of the values that will be formatted, which decides what a format means that could be of any kind.
    explicit CustomFormat(DataType dataType);

    // Compiles a format; O(length), below a microsecond for a usual number format, some 20 for one named after a pattern of
    // the locale ("standard", "percent", "currency"), which is read anew. Returns 0, or -1 (all bits set) when the format is
    // too long or too rich to be compiled: then it renders every value as an empty text. An empty format is the general one
    // of the data type.
    // Throws LogicException 0xA5F86AD5 "Invalid type encountered" when neither the format nor the data type (integer,
    // real, boolean, date, date-time) says what is formatted.
    int Parse(const TString& format, unsigned locale, SOWValue startOfWeek = SOWValue::SystemDefault,
        FirstWeekBehaviour firstWeek = FirstWeekBehaviour::SystemDefault);

    // A compiled format; IsValid() is false when Parse() said -1.
    static std::unique_ptr<CustomFormat> CreateNumberFormatter(const TString& format, unsigned locale);
    static std::unique_ptr<CustomFormat> CreateBooleanFormatter(const TString& format, unsigned locale);
    static std::unique_ptr<CustomFormat> CreateDateTimeFormatter(const TString& format, unsigned locale,
        SOWValue startOfWeek = SOWValue::SystemDefault,
        FirstWeekBehaviour firstWeek = FirstWeekBehaviour::SystemDefault,
        FYSValues fiscalYearStart = FYSValues::January);

    // The value as text; empty for a value of a kind that the format does not render. A number format writes a boolean as
    // 1 or 0, and whatever the format NaN as "nan" and infinities as "inf" and "-inf". Doubles are rounded half up on
    // their first 15 decimal digits (18 from 1e7 to 1e16), so 1.005 is 1.01 with two decimals. A date format writes a
    // boolean as the date of serial number 1 or 0.
    TString Format(const bool& value) const;
    TString Format(const long long& value) const;
    TString Format(const double& value) const;
    TString Format(const DateTime& value) const;

    bool IsValid() const noexcept { return m_isValid; }
    // What the format renders, once parsed: Real, DateTime or Boolean. Before that the data type of the constructor.
    DataType GetKind() const noexcept { return m_kind; }
    // The format after names were replaced by what they stand for.
    const TString& GetFormatString() const noexcept { return m_format; }
    unsigned GetLocale() const noexcept { return m_locale; }

    // Power of ten of the last digit that the first section can show: -2 for `0.00`, -4 for `0.00%`, 3 for `0,`.
    // 2147483647 when that cannot be said: no number format, an exponent, or no placeholders.
    int GetSmallestVisiblePowerOfTen() const noexcept;

    // True when the language of the locale is Korean, whose date patterns need care of their own.
    bool IsKoreanLocale() const;
    // A date pattern in the notation of Unicode's locale data with the year of the calendar ("y") or the year that owns the
    // week ("Y") throughout; quoted text stays. The years differ around the first of January.
    static TString UpdateToYear(const TString& pattern);
    static TString UpdateToYearOfWeek(const TString& pattern);

private:
    friend class CustomFormatNumber;

    // Offsets of the second, third and fourth sections, the header of the first, 243 bytes of tokens, and the end mark.
    static constexpr std::size_t kStreamSize = 3 + 5 + 243 + 1;

    bool Compile();   // m_format for m_kind; false when it is too long or too rich

    DataType m_dataType;
    DataType m_kind;
    bool m_isValid = false;
    // Only the general number and the empty format set these three.
    bool m_dropsTrailingSeparator = false;   // when no digit of the fraction was written
    bool m_keepsSignOfZero = false;          // of a value that is, or rounds to, zero
    bool m_hasExtremeSection = false;        // the fourth section takes magnitudes from 1e15 and below 1e-15
    BooleanKind m_booleanKind{};
    SOWValue m_startOfWeek = SOWValue::SystemDefault;
    FirstWeekBehaviour m_firstWeek = FirstWeekBehaviour::SystemDefault;
    FYSValues m_fiscalYearStart = FYSValues::January;
    unsigned m_locale = kUserDefaultLocale;
    TString m_format;
    const BooleanWords* m_booleanWords = nullptr;                     // of a boolean format
    std::shared_ptr<const CustomFormatNumberResources> m_resources;   // of a number format
    std::shared_ptr<const CustomFormatDateTime> m_dateTime;           // of a date-time format
    std::array<std::uint8_t, kStreamSize> m_stream{};                 // of a number format
};
