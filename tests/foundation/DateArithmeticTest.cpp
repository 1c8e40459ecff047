#include "brvcore/foundation/DateArithmetic.h"

#include "tests/support/LogicAssert.h"

#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using enum DatePeriodType;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr DatePeriodType kPeriods[] = {Year, Quarter, Month, Week, Day, Hour, Minute, Second};

DateTime At(const char16_t* text)
{
    return DateTime::FromISO(text).value();
}

}   // namespace

TEST(DateArithmetic, Advances)
{
    struct Row
    {
        const char16_t* anchor;
        DatePeriodType period;
        std::int64_t count;
        const char16_t* result;
    };
    for (const Row& row : {
             Row{u"2023-01-31", Month, 1, u"2023-02-28"},
             Row{u"2023-01-31", Month, 2, u"2023-03-31"},
             Row{u"2024-01-31", Month, 1, u"2024-02-29"},
             Row{u"2023-01-31", Month, -1, u"2022-12-31"},
             Row{u"2023-03-31 12:30:00.5", Month, -13, u"2022-02-28 12:30:00.5"},
             Row{u"2023-05-31", Month, 0, u"2023-05-31"},
             Row{u"2023-01-15", Month, -1, u"2022-12-15"},
             Row{u"0005-01-31", Month, -25, u"0002-12-31"},
             Row{u"2024-02-29", Year, 1, u"2025-02-28"},
             Row{u"2024-02-29", Year, 4, u"2028-02-29"},
             Row{u"2024-02-29", Year, -124, u"1900-02-28"},
             Row{u"2023-11-30", Quarter, 1, u"2024-02-29"},
             Row{u"2023-11-30", Quarter, -3, u"2023-02-28"},
             Row{u"2024-02-28 06:00", Week, 1, u"2024-03-06 06:00"},
             Row{u"2024-02-28 23:59:59", Day, 1, u"2024-02-29 23:59:59"},
             Row{u"1899-12-29 12:00", Day, 2, u"1899-12-31 12:00"},
             Row{u"2024-03-01", Hour, -1, u"2024-02-29 23:00"},
             Row{u"2024-03-01", Minute, -1441, u"2024-02-28 23:59"},
             Row{u"1899-12-31", Second, -86401, u"1899-12-29 23:59:59"},
             Row{u"0001-01-01", Year, 9998, u"9999-01-01"},
             Row{u"9999-12-31", Month, -119987, u"0001-01-31"},
             Row{u"0001-01-01", Day, 3652058, u"9999-12-31"},
             Row{u"9999-12-31 23:59:59", Second, -315537897599, u"0001-01-01"},
         })
        EXPECT_EQ(AdjustByDatePeriod(At(row.anchor), row.period, row.count), At(row.result))
            << TString(row.anchor).ToUTF8() << ' ' << row.count;
}

TEST(DateArithmetic, StaysWithinTheCalendar)
{
    for (const DatePeriodType period : kPeriods)
    {
        for (const std::int64_t count : {kMost, -kMost, -kMost - 1, kMost / 3, std::int64_t{315'537'897'600}})
            EXPECT_LOGIC_ASSERT(AdjustByDatePeriod(At(u"2024-02-29"), period, count), 0xC114F6F9,
                "-mostCount <= count && count <= mostCount");
        EXPECT_THROW(AdjustByDatePeriod(At(u"0001-01-01"), period, -1), LogicException);
        EXPECT_THROW(AdjustByDatePeriod(At(u"9999-12-31 23:59:59.9"), period, 1), LogicException);
        EXPECT_EQ(DatePeriodDifference(At(u"0001-01-01"), At(u"9999-12-31 23:59:59"), period),
            (std::vector<std::int64_t>{9998, 39995, 119987, 521722, 3652058, 87649415, 5258964959,
                315537897599})[static_cast<std::size_t>(period)]);
    }
    EXPECT_LOGIC_ASSERT(AdjustByDatePeriod(DateTime(), static_cast<DatePeriodType>(8), 1), 0xC7DE9026,
        "number < kPeriodLengths.size()");
    EXPECT_THROW(DatePeriodDifference(DateTime(), DateTime(), static_cast<DatePeriodType>(-1)), LogicException);
}

TEST(DateArithmetic, CountsElapsedPeriods)
{
    struct Row
    {
        const char16_t* first;
        const char16_t* second;
        DatePeriodType period;
        std::int64_t count;
    };
    for (const Row& row : {
             Row{u"2023-01-31", u"2023-02-27", Month, 0},
             Row{u"2023-01-31", u"2023-02-28", Month, 1},
             Row{u"2023-01-31", u"2023-03-30", Month, 1},
             Row{u"2023-01-31", u"2023-03-31", Month, 2},
             Row{u"2023-01-31 12:00", u"2023-02-28 11:59:59", Month, 0},
             Row{u"2023-01-31 12:00", u"2023-02-28 12:00", Month, 1},
             Row{u"2023-02-28", u"2023-01-31", Month, -1},
             Row{u"2023-02-28", u"2023-01-28", Month, -1},
             Row{u"2023-02-28", u"2023-01-27", Month, -2},
             Row{u"2024-02-29", u"2025-02-28", Year, 1},
             Row{u"2024-02-29", u"2023-02-28", Year, -1},
             Row{u"2024-02-29", u"2024-02-28", Year, -1},
             Row{u"0002-03-01", u"0001-02-01", Year, -2},   // one year back is too late, two leave the calendar
             Row{u"2024-02-29", u"2024-11-28", Quarter, 2},
             Row{u"2024-02-29", u"2024-11-29", Quarter, 3},
             Row{u"2024-02-29", u"2024-03-07", Week, 1},
             Row{u"2024-02-29", u"2024-02-28 23:59:59", Week, -1},
             Row{u"1899-12-29 12:00", u"1899-12-31", Day, 1},
             Row{u"1899-12-31", u"1899-12-29 12:00", Day, -2},
             Row{u"2024-01-01", u"2024-01-01 00:59:59.9999999", Hour, 0},
             Row{u"2024-01-01", u"2023-12-31 23:59:59.9999999", Second, -1},
         })
        EXPECT_EQ(DatePeriodDifference(At(row.first), At(row.second), row.period), row.count)
            << TString(row.first).ToUTF8() << " to " << TString(row.second).ToUTF8();
}

// The definition, for dates around the ends of months and a leap day, forwards and backwards.
TEST(DateArithmetic, CountsTheMostPeriodsThatFit)
{
    std::vector<DateTime> moments;
    for (int month = 1; month <= 26; ++month)
        for (const int hour : {-37, -13, -1, 0, 12, 670})
            moments.push_back(AdjustByDatePeriod(AdjustByDatePeriod(At(u"2023-01-01"), Month, month), Hour, hour));
    for (const DatePeriodType period : kPeriods)
        for (const DateTime& first : moments)
            for (const DateTime& second : moments)
            {
                const std::int64_t count = DatePeriodDifference(first, second, period);
                ASSERT_LE(AdjustByDatePeriod(first, period, count), second);
                ASSERT_GT(AdjustByDatePeriod(first, period, count + 1), second);
            }
}

TEST(DateArithmetic, FindsTheStart)
{
    struct Row
    {
        const char16_t* moment;
        DatePeriodType period;
        int fiscalYearStart;
        const char16_t* start;
    };
    for (const Row& row : {
             Row{u"2024-03-31 10:20:30", Year, 1, u"2024-01-01"},
             Row{u"2024-03-31 10:20:30", Year, 4, u"2023-04-01"},
             Row{u"2024-04-01", Year, 4, u"2024-04-01"},
             Row{u"2024-11-30", Year, 12, u"2023-12-01"},
             Row{u"2024-12-01", Year, 12, u"2024-12-01"},
             Row{u"2024-03-31", Quarter, 1, u"2024-01-01"},
             Row{u"2024-03-31", Quarter, 4, u"2024-01-01"},
             Row{u"2024-12-31", Quarter, 10, u"2024-10-01"},
             Row{u"2024-01-15", Quarter, 2, u"2023-11-01"},    // February, May, August, November
             Row{u"2024-11-30", Quarter, 12, u"2024-09-01"},   // December, March, June, September
             Row{u"2024-03-31 10:20:30", Month, 7, u"2024-03-01"},
             Row{u"2024-03-31 10:20:30.25", Day, 7, u"2024-03-31"},
             Row{u"1899-12-29 10:20:30.25", Day, 7, u"1899-12-29"},
             Row{u"1899-12-29 10:20:30.25", Hour, 7, u"1899-12-29 10:00"},
             Row{u"2024-03-31 10:20:30.25", Minute, 7, u"2024-03-31 10:20"},
             Row{u"1000-03-31 10:20:30.25", Second, 7, u"1000-03-31 10:20:30"},
         })
        EXPECT_EQ(FindStartOfPeriod(At(row.moment), row.period, DateOptions(0, row.fiscalYearStart)), At(row.start))
            << TString(row.moment).ToUTF8() << ", year from month " << row.fiscalYearStart;

    // 2024-03-10 is a Sunday. With weeks from weekday s the weekday w lies (w - s) mod 7 days after the start.
    for (int startOfWeek = 0; startOfWeek < 7; ++startOfWeek)
        for (int weekday = 0; weekday < 7; ++weekday)
            EXPECT_EQ(FindStartOfPeriod(DateTime(2024, 3, 10 + weekday, 13), Week, DateOptions(startOfWeek)),
                DateTime(2024, 3, weekday >= startOfWeek ? 10 + startOfWeek : 3 + startOfWeek));
    EXPECT_EQ(FindStartOfPeriod(At(u"2024-03-13"), Week, DateOptions::Default()), At(u"2024-03-10"));
    EXPECT_EQ(FindStartOfPeriod(At(u"2024-03-13"), Year, DateOptions::Default()), At(u"2024-01-01"));
}

TEST(DateArithmetic, RefusesSettingsAndStartsThatDoNotExist)
{
    const DateTime date(2024, 3, 13);
    for (const int month : {0, 13})
        EXPECT_LOGIC_ASSERT(FindStartOfPeriod(date, Quarter, DateOptions(0, month)), 0x9C23D5DA,
            "1 <= fiscalYearStart && fiscalYearStart <= 12");
    for (const int weekday : {-1, 7})
        EXPECT_LOGIC_ASSERT(
            FindStartOfPeriod(date, Week, DateOptions(weekday)), 0xF3ACCE4F, "0 <= startOfWeek && startOfWeek <= 6");
    EXPECT_EQ(FindStartOfPeriod(At(u"0001-01-07"), Week, DateOptions(1)), At(u"0001-01-01"));
    EXPECT_THROW(FindStartOfPeriod(At(u"0001-01-01"), Week, DateOptions(0)), LogicException);
    EXPECT_THROW(FindStartOfPeriod(At(u"0001-03-31"), Year, DateOptions(0, 4)), LogicException);
}
