#include "brvcore/foundation/DateTime.h"

#include "tests/support/LogicAssert.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace
{

constexpr std::int64_t kMostTicks = std::numeric_limits<std::int64_t>::max();

std::string Text(DateTime moment)
{
    return moment.ToISO().ToUTF8();
}

}   // namespace

// Serials of well-known days as Python's proleptic calendar counts them from 1899-12-30, with their weekdays.
TEST(DateTime, CountsDaysFromTheEpoch)
{
    struct Row
    {
        int year, month, day;
        int serial;
        int dayOfWeek;
    };
    for (const Row& row : {Row{1, 1, 1, -693593, 1}, Row{100, 1, 1, -657434, 5}, Row{1582, 10, 15, -115858, 5},
             Row{1899, 12, 29, -1, 5}, Row{1900, 2, 28, 60, 3}, Row{1900, 3, 1, 61, 4}, Row{1970, 1, 1, 25569, 4},
             Row{2000, 2, 29, 36585, 2}, Row{2024, 3, 14, 45365, 4}, Row{9999, 12, 31, 2958465, 5}})
    {
        const DateTime date(row.year, row.month, row.day);
        SCOPED_TRACE(Text(date));
        EXPECT_EQ(date.GetTicks(), row.serial * DateTimeSpan::kTicksPerDay);
        EXPECT_EQ(date.ToSerial(), row.serial);
        EXPECT_EQ(DateTime::FromSerial(row.serial), date);
        EXPECT_EQ(date.GetDayOfWeek(), row.dayOfWeek);
    }
}

// Every day from the first to the last, beside a calendar that only knows the lengths of the months.
TEST(DateTime, FollowsTheGregorianCalendar)
{
    int year = 1;
    int month = 1;
    int day = 1;
    int dayOfWeek = 1;   // 0001-01-01 was a Monday
    const std::int64_t noon = DateTimeSpan::kTicksPerDay / 2;
    for (std::int64_t ticks = DateTime(1, 1, 1).GetTicks(); year <= 9999; ticks += DateTimeSpan::kTicksPerDay)
    {
        const DateTime moment = DateTime::FromTicks(ticks + noon);
        const DateTime::Fields expected{year, month, day, 12, 0, 0, 0};
        if (moment.GetFields() != expected || moment.GetDayOfWeek() != dayOfWeek ||
            moment != DateTime(year, month, day, 12))
            FAIL() << year << '-' << month << '-' << day;
        const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        const int lengths[] = {31, isLeap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        dayOfWeek = (dayOfWeek + 1) % 7;
        if (++day <= lengths[month - 1])
            continue;
        day = 1;
        if (++month <= 12)
            continue;
        month = 1;
        ++year;
    }
}

TEST(DateTime, ReadsSerialNumbers)
{
    constexpr double kMillisecond = 1.0 / 86'400'000;
    struct Row
    {
        double serial;
        const char* text;
        const char* why;
    };
    for (const Row& row : {
             Row{-1.25, "1899-12-29 06:00:00", "the time follows the day's midnight before the epoch, too"},
             Row{-0.5, "1899-12-30 12:00:00", "day 0 has two signs"},
             Row{0.5, "1899-12-30 12:00:00", "day 0 has two signs"},
             Row{-0.0, "1899-12-30", "day 0 has two signs"},
             Row{2.75, "1900-01-01 18:00:00", "after the epoch"},
             Row{10 + 1.4 * kMillisecond, "1900-01-09 00:00:00.001", "down to the millisecond"},
             Row{10 + 1.6 * kMillisecond, "1900-01-09 00:00:00.002", "up to the millisecond"},
             Row{0.5 * kMillisecond, "1899-12-30 00:00:00.001", "a half goes up"},
             Row{-0.5 * kMillisecond, "1899-12-30 00:00:00.001", "and is later before the epoch, too"},
             Row{1 - 0.4 * kMillisecond, "1899-12-31", "carries to the next day"},
             Row{-1 - (1 - 0.4 * kMillisecond), "1899-12-30", "the last instant of the 29th is not the 28th"},
             Row{-(1 - 0.4 * kMillisecond), "1899-12-31", "the last instant of the epoch's day"},
             Row{-693593.75, "0001-01-01 18:00:00", "the first day has times, too"},
             Row{2958465.999, "9999-12-31 23:58:33.6", "the last day"},
         })
    {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(Text(DateTime::FromSerial(row.serial)), row.text);
    }
    for (const double serial : {-693594.0, 2958466.0, 1e300, -1e300, std::nan(""), HUGE_VAL, -HUGE_VAL})
        EXPECT_LOGIC_ASSERT(
            DateTime::FromSerial(serial), 0x9E103B5B, "kBeforeFirstDay < serial && serial < kAfterLastDay");
    EXPECT_THROW(DateTime::FromSerial(std::nextafter(2958466.0, 0.0)), LogicException) << "rounds into year 10000";
}

TEST(DateTime, WritesSerialNumbers)
{
    EXPECT_EQ(DateTime(1899, 12, 29, 6).ToSerial(), -1.25);
    EXPECT_EQ(DateTime(1899, 12, 30, 6).ToSerial(), 0.25);
    EXPECT_EQ(DateTime(1899, 12, 28, 23, 59, 59, 9'999'999).ToSerial(), -1.0) << "carries to the next day";
    EXPECT_EQ(DateTime(9999, 12, 31, 23, 59, 59, 9'999'999).ToSerial(), 2958465 + 86'399'999 / 86'400'000.0);
    for (std::int64_t millisecond = 1; millisecond < 86'400'000; millisecond = millisecond * 3 + 1)
        for (const DateTime& day :
            {DateTime(1, 1, 1), DateTime(1899, 12, 29), DateTime(2024, 2, 29), DateTime(9999, 12, 31)})
        {
            const DateTime moment = day + DateTimeSpan::FromTicks(millisecond * 10'000);
            EXPECT_EQ(DateTime::FromSerial(moment.ToSerial()), moment) << Text(moment);
        }
}

TEST(DateTime, RefusesWhatDoesNotExist)
{
    constexpr auto kDate = "IsCalendarDay(year, month, day)";
    constexpr auto kTime = "IsTimeOfDay(hour, minute, second, ticks)";
    constexpr auto kRange = "kMinTicks <= ticks && ticks <= kMaxTicks";
    EXPECT_LOGIC_ASSERT(DateTime(1900, 2, 29), 0x30E283AD, kDate);
    EXPECT_LOGIC_ASSERT(DateTime(2023, 2, 29), 0x30E283AD, kDate);
    EXPECT_LOGIC_ASSERT(DateTime(0, 12, 31), 0x30E283AD, kDate);
    EXPECT_LOGIC_ASSERT(DateTime(10000, 1, 1), 0x30E283AD, kDate);
    EXPECT_LOGIC_ASSERT(DateTime(65536 + 2024, 1, 1), 0x30E283AD, kDate);   // 2024 in 16 bits
    EXPECT_LOGIC_ASSERT(DateTime(2024, 256 + 1, 1), 0x30E283AD, kDate);     // 1 in 8 bits
    EXPECT_LOGIC_ASSERT(DateTime(2024, 1, 256 + 1), 0x30E283AD, kDate);
    EXPECT_LOGIC_ASSERT(DateTime(2024, 1, 0), 0x30E283AD, kDate);
    EXPECT_LOGIC_ASSERT(DateTime(2024, 1, 1, 24), 0x435B3838, kTime);
    EXPECT_LOGIC_ASSERT(DateTime(2024, 1, 1, 0, -1), 0x435B3838, kTime);
    EXPECT_LOGIC_ASSERT(DateTime(2024, 1, 1, 0, 0, 60), 0x435B3838, kTime);
    EXPECT_LOGIC_ASSERT(DateTime(2024, 1, 1, 0, 0, 0, 10'000'000), 0x435B3838, kTime);

    const DateTime first(1, 1, 1);
    const DateTime last(9999, 12, 31, 23, 59, 59, 9'999'999);
    const DateTimeSpan tick = DateTimeSpan::FromTicks(1);
    EXPECT_LOGIC_ASSERT(first - tick, 0x50722320, kRange);
    EXPECT_LOGIC_ASSERT(last + tick, 0x50722320, kRange);
    EXPECT_EQ(first + (last - first), last);
    EXPECT_EQ(last - (last - first), first);
    for (const DateTime& moment : {first, DateTime(), last})
        for (const std::int64_t count : {kMostTicks, -kMostTicks, -kMostTicks - 1})
            for (const DateTimeSpan& span :
                {DateTimeSpan::FromTicks(count), DateTimeSpan::FromSeconds(count), DateTimeSpan::FromDays(count)})
            {
                EXPECT_LOGIC_ASSERT(moment + span, 0x50722320, kRange);
                EXPECT_LOGIC_ASSERT(moment - span, 0x50722320, kRange);
            }
}

TEST(DateTime, ReadsISO)
{
    struct Row
    {
        const char16_t* text;
        const char* written;
    };
    for (const Row& row : {Row{u"2024", "2024-01-01"}, Row{u"0001", "0001-01-01"}, Row{u"2024-11", "2024-11-01"},
             Row{u"2024-Q1", "2024-01-01"}, Row{u"2024-Q4", "2024-10-01"}, Row{u"2024-02-29", "2024-02-29"},
             Row{u"20240229", "2024-02-29"}, Row{u"2024-02-29T23:59", "2024-02-29 23:59:00"},
             Row{u"2024-02-29 \t 07:08:09", "2024-02-29 07:08:09"}, Row{u"20240229T070809" /* no colons */, ""},
             Row{u"20240229T07:08:09Z", "2024-02-29 07:08:09"}, Row{u"2024-02-29T07:08Z", "2024-02-29 07:08:00"},
             Row{u"2024-02-29T00:00:00", "2024-02-29"}, Row{u"2024-02-29T00:00:00.0500", "2024-02-29 00:00:00.05"},
             Row{u"2024-02-29T00:00:00.0000001", "2024-02-29 00:00:00.0000001"},
             Row{u"2024-02-29T00:00:00.99999999999999999999", "2024-02-29 00:00:00.9999999"},
             Row{u"9999-12-31T23:59:59.9999999Z", "9999-12-31 23:59:59.9999999"}})
    {
        const std::optional<DateTime> moment = DateTime::FromISO(row.text);
        EXPECT_EQ(moment ? Text(*moment) : "", row.written) << TString(row.text).ToUTF8();
    }
    for (const char16_t* text : {u"", u"202", u"0000", u"20244", u"2024-", u"2024-1", u"2024-00", u"2024-13", u"2024-Q",
             u"2024-Q0", u"2024-Q5", u"2024-q1", u"2024-Q11", u"2024-02-30", u"2023-02-29", u"2024-02-2",
             u"2024-02-029", u"2024-0229", u"202402", u"2024022", u"20240230", u" 2024", u"2024 ", u"-2024",
             u"+2024-01-01", u"2024-01T10:00", u"2024 10:00", u"2024-01-31Z", u"2024-01-31T", u"2024-01-31 ",
             u"2024-01-31t10:00", u"2024-01-31T10", u"2024-01-31T1:00", u"2024-01-31T24:00", u"2024-01-31T10:60",
             u"2024-01-31T10:00:60", u"2024-01-31T10:00:", u"2024-01-31T10:00:00.", u"2024-01-31T10:00.5",
             u"2024-01-31T10:00:00,5", u"2024-01-31T10:00:00+01:00", u"2024-01-31T10:00ZZ", u"2024-01-31T T10:00",
             u"2024-01-31T 10:00", u"2024/01/31", u"2024-01-31T10:00:00z", u"\uFF12\uFF10\uFF12\uFF14"})
        EXPECT_FALSE(DateTime::FromISO(text)) << TString(text).ToUTF8();
    EXPECT_FALSE(DateTime::FromISO(std::u16string_view(u"2024\0", 5)));
}

TEST(DateTime, SplitsTheTime)
{
    for (const int year : {1, 1899, 2024})   // the time runs forward on both sides of the epoch
    {
        const DateTime moment(year, 2, 3, 4, 5, 6, 7);
        EXPECT_EQ(moment.GetFields(), (DateTime::Fields{year, 2, 3, 4, 5, 6, 7}));
        EXPECT_EQ(moment.GetHour() * 10000 + moment.GetMinute() * 100 + moment.GetSecond(), 40506);
        EXPECT_EQ(moment.GetDate(), DateTime(year, 2, 3));
        EXPECT_EQ(moment.ToISODate().ToUTF8(), Text(DateTime(year, 2, 3)));
    }
}
