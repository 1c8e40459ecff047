#pragma once

#include "brvcore/string/DateTimeFields.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

// The locale library's knowledge of dates, for this folder. Everything is in the Gregorian calendar, whatever calendar the
// locale prefers.

// The form of a name of a month or a day: beside a day of the month ("5 декабря") or on its own ("декабрь").
enum class DateNameForm : std::size_t
{
    InDate,
    Standalone,
};
enum class DateNameWidth : std::size_t
{
    Abbreviated,
    Wide,
};

// A locale's words, digits, customs and patterns. The patterns are cut into parts here, once: a format only refers to them.
struct IcuDateSymbols
{
    template <std::size_t count> using Names = std::array<std::array<std::array<std::u16string, count>, 2>, 2>;

    std::array<std::u16string, 10> digits;
    Names<12> months;   // by form and width
    Names<7> days;      // Sunday first
    std::array<std::u16string, 2> dayHalves;
    std::array<std::u16string, 24> dayPeriods;   // by hour: "in the morning"
    std::u16string era;                          // of the years from 1
    int firstDayOfWeek = 1;                      // 1 Sunday to 7 Saturday
    int minimalDaysInFirstWeek = 1;              // of the year that the week belongs to
    DateTimeParts shortDate;
    DateTimeParts longDate;
    DateTimeParts mediumTime;
    DateTimeParts dateAndTime;      // short date, medium time
    std::u16string dateSeparator;   // of the short date
    std::u16string timeSeparator;   // of the short time

    template <std::size_t count>
    static const std::array<std::u16string, count>& Of(
        const Names<count>& names, DateNameForm form, DateNameWidth width)
    {
        return names[static_cast<std::size_t>(form)][static_cast<std::size_t>(width)];
    }
};

// The symbols of a locale by the locale library's name of it, those of American English for an empty one. Built once per
// name (a millisecond) and kept until the process ends. May be called by several threads at once.
std::shared_ptr<const IcuDateSymbols> GetIcuDateSymbols(const std::string& localeName);
