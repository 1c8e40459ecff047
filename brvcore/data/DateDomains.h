#pragma once

#include "brvcore/data/TextDomains.h"

#include <cstdint>

// Domains of the parts of dates and times. Their original texts are the letters that stand for them in date patterns of
// Unicode's locale data: "yyyy", "MMM", "xxx".

// A part that is written as a number; the table of limits is in the source.
class CalendarNumberDomain : public UnsignedDomain
{
public:
    enum class Part : std::uint8_t
    {
        Year,
        Year2,
        Month,
        DayOfMonth,
        Hour,
        MeridianHour,
        Minute,
        Second,
        Subsecond,
        Quarter,
    };

    explicit CalendarNumberDomain(Part part, Placement placement = {});
};

template <CalendarNumberDomain::Part part> class CalendarNumberOf : public CalendarNumberDomain
{
public:
    explicit CalendarNumberOf(Placement placement = {}) : CalendarNumberDomain(part, std::move(placement)) {}
};

using YearDomain = CalendarNumberOf<CalendarNumberDomain::Part::Year>;                   // four digits, from 1
using Year2Domain = CalendarNumberOf<CalendarNumberDomain::Part::Year2>;                 // 00 to 99
using MonthDomain = CalendarNumberOf<CalendarNumberDomain::Part::Month>;                 // 1 to 12
using DayOfMonthDomain = CalendarNumberOf<CalendarNumberDomain::Part::DayOfMonth>;       // 1 to 31
using HourDomain = CalendarNumberOf<CalendarNumberDomain::Part::Hour>;                   // 0 to 23
using MeridianHourDomain = CalendarNumberOf<CalendarNumberDomain::Part::MeridianHour>;   // 1 to 12
using MinuteDomain = CalendarNumberOf<CalendarNumberDomain::Part::Minute>;               // 00 to 59
using SecondDomain = CalendarNumberOf<CalendarNumberDomain::Part::Second>;               // 00 to 59
using SubsecondDomain = CalendarNumberOf<CalendarNumberDomain::Part::Subsecond>;         // digits behind the second
using QuarterDomain = CalendarNumberOf<CalendarNumberDomain::Part::Quarter>;             // 1 to 4

// A part that is written in words, in any letter case: names of months or days, which the caller brings.
class DatePartDomain : public EnumeratedDomain
{
public:
    DatePartDomain(TString id, TString original, const std::vector<TString>& words, Placement placement = {});
};

// AM and PM.
class MeridianDomain : public DatePartDomain
{
public:
    explicit MeridianDomain(Placement placement = {});
};

// Q1 to Q4.
class QuarterAbbrDomain : public DatePartDomain
{
public:
    explicit QuarterAbbrDomain(Placement placement = {});
};

// 1st quarter to 4th quarter.
class QuarterNameDomain : public DatePartDomain
{
public:
    explicit QuarterNameDomain(Placement placement = {});
};

// The mark between seconds and their fraction: a point, a comma or a colon.
class SubsecondPuncDomain : public EnumeratedDomain
{
public:
    explicit SubsecondPuncDomain(Placement placement = {});
};

// An offset from universal time in hours, as ISO 8601 writes it: a sign and 00 to 19.
class TimeZone8061hDomain : public RegExpDomain
{
public:
    explicit TimeZone8061hDomain(Placement placement = {});

    double cardinality(unsigned length) const override;   // 40
};

// With minutes, +hh:mm or +hhmm.
class TimeZone8061hmDomain : public RegExpDomain
{
public:
    explicit TimeZone8061hmDomain(bool hasColon, Placement placement = {});

    double cardinality(unsigned length) const override;   // 2400
};
