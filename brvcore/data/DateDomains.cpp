#include "brvcore/data/DateDomains.h"

#include <array>
#include <cstddef>

namespace
{
using Part = CalendarNumberDomain::Part;

// One row per part, in the order of the values.
struct Row
{
    Part part;
    const char16_t* id;
    const char16_t* original;
    UnsignedDomain::Limits limits;
};

// clang-format off
constexpr std::array kRows = {
//  part                id                  original   minimum  end         shortest, longest
Row{Part::Year,         u"<year>",          u"yyyy",   {1,      10000,      4, 4}},
Row{Part::Year2,        u"<year2>",         u"yy",     {0,      100,        2, 2}},
Row{Part::Month,        u"<month>",         u"M",      {1,      13,         1, 2}},
Row{Part::DayOfMonth,   u"<dayofmonth>",    u"d",      {1,      32,         1, 2}},
Row{Part::Hour,         u"<hour>",          u"H",      {0,      24,         1, 2}},
Row{Part::MeridianHour, u"<meridianhour>",  u"h",      {1,      13,         1, 2}},
Row{Part::Minute,       u"<minute>",        u"mm",     {0,      60,         2, 2}},
Row{Part::Second,       u"<second>",        u"ss",     {0,      60,         2, 2}},
Row{Part::Subsecond,    u"<subsecond>",     u"S",      {0,      1000000000, 1, 9}},   // down to nanoseconds
Row{Part::Quarter,      u"<quarter>",       u"Q",      {1,      5,          1, 1}},
};
// clang-format on

constexpr bool IsInValueOrder()
{
    for (std::size_t i = 0; i < kRows.size(); ++i)
        if (kRows[i].part != static_cast<Part>(i))
            return false;
    return true;
}
static_assert(IsInValueOrder(), "a row is found by its value");

const Row& RowOf(Part part)
{
    return kRows[static_cast<std::size_t>(part)];
}

constexpr unsigned kHourOffsetLength = 3;
constexpr unsigned kMinuteOffsetLength = 5;   // one more with a colon
constexpr double kHourOffsets = 2.0 * 20.0;   // sign, hour
constexpr double kMinuteOffsets = kHourOffsets * 60.0;

RegExpDomain::Shape OfLength(unsigned length)
{
    return {length, length, 0, nullptr, 2.0};
}
}   // namespace

CalendarNumberDomain::CalendarNumberDomain(Part part, Placement placement)
    : UnsignedDomain(RowOf(part).id, RowOf(part).original, RowOf(part).limits, std::move(placement))
{
}

DatePartDomain::DatePartDomain(TString id, TString original, const std::vector<TString>& words, Placement placement)
    : EnumeratedDomain(std::move(id), std::move(original), words, std::move(placement))
{
    MakeCaseInsensitive();
}

MeridianDomain::MeridianDomain(Placement placement)
    : DatePartDomain(u"<meridian>", u"a", {u"AM", u"PM"}, std::move(placement))
{
}

QuarterAbbrDomain::QuarterAbbrDomain(Placement placement)
    : DatePartDomain(u"<quarterabbr>", u"QQQ", {u"Q1", u"Q2", u"Q3", u"Q4"}, std::move(placement))
{
}

QuarterNameDomain::QuarterNameDomain(Placement placement)
    : DatePartDomain(u"<quartername>", u"QQQQ", {u"1st quarter", u"2nd quarter", u"3rd quarter", u"4th quarter"},
          std::move(placement))
{
}

SubsecondPuncDomain::SubsecondPuncDomain(Placement placement)
    : EnumeratedDomain(u"<subsecondpunc>", u".", {u".", u",", u":"}, std::move(placement))
{
}

TimeZone8061hDomain::TimeZone8061hDomain(Placement placement)
    : RegExpDomain(u"<timezoneh>", u"x", u"[-+][01][0-9]", OfLength(kHourOffsetLength), std::move(placement))
{
}

double TimeZone8061hDomain::cardinality(unsigned length) const
{
    return length == shortest() ? kHourOffsets : 0.0;
}

TimeZone8061hmDomain::TimeZone8061hmDomain(bool hasColon, Placement placement)
    : RegExpDomain(hasColon ? u"<timezoneh:m>" : u"<timezonehm>", hasColon ? u"xxx" : u"xx",
          hasColon ? u"[-+][01][0-9]:[0-5][0-9]" : u"[-+][01][0-9][0-5][0-9]",
          OfLength(kMinuteOffsetLength + (hasColon ? 1 : 0)), std::move(placement))
{
}

double TimeZone8061hmDomain::cardinality(unsigned length) const
{
    return length == shortest() ? kMinuteOffsets : 0.0;
}
