#include "brvcore/transforms/ForecastUtils.h"

#include "brvcore/transforms/ForecastUtilsTables.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"

#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ForecastUtils;
using testing::ElementsAre;

namespace
{

using enum AggType;

DateTime At(const char16_t* text)
{
    return DateTime::FromISO(text).value();
}

// Sets of date parts that form an axis: Year 256, Quarter 128, Month 64, Week 32, Day 16, Weekday 8, Hour 4, Minute 2,
// Second 1.
const std::map<unsigned, AggType> kAxes = {
    {256, YearTrunc},
    {384, QuarterTrunc},
    {448, MonthTrunc},
    {320, MonthTrunc},
    {288, WeekTrunc},
    {464, DayTrunc},
    {468, HourTrunc},
    {470, MinuteTrunc},
    {471, SecondTrunc},
    {336, DayTrunc},
    {340, HourTrunc},
    {342, MinuteTrunc},
    {343, SecondTrunc},
    {304, DayTrunc},
    {308, HourTrunc},
    {310, MinuteTrunc},
    {311, SecondTrunc},
    {296, DayTrunc},
    {300, HourTrunc},
    {302, MinuteTrunc},
    {303, SecondTrunc},
    {312, DayTrunc},
    {316, HourTrunc},
    {318, MinuteTrunc},
    {319, SecondTrunc},
    {472, DayTrunc},
    {476, HourTrunc},
    {478, MinuteTrunc},
    {479, SecondTrunc},
    {344, DayTrunc},
    {348, HourTrunc},
    {350, MinuteTrunc},
    {351, SecondTrunc},
};

}   // namespace

// Every set of plain date parts: 33 of the 512 form an axis.
TEST(ForecastUtils, FindsTheAxisOfDateParts)
{
    constexpr AggType kParts[] = {Second, Minute, Hour, Weekday, Day, Week, Month, Quarter, Year};
    ASSERT_EQ(kAxes.size(), 33U);
    for (unsigned parts = 0; parts < 512; ++parts)
    {
        std::set<AggType> aggs;
        for (unsigned bit = 0; bit < 9; ++bit)
            if ((parts >> bit & 1) != 0)
                aggs.insert(kParts[bit]);
        const auto axis = kAxes.find(parts);
        EXPECT_EQ(GetExplanatoryAgg(aggs), axis == kAxes.end() ? std::nullopt : std::optional(axis->second)) << parts;
        EXPECT_EQ(IsValidDateSet(aggs), axis != kAxes.end()) << parts;
    }
}

TEST(ForecastUtils, FindsTheAxisOfCutDates)
{
    struct Row
    {
        std::set<AggType> aggs;
        std::optional<AggType> axis;
        const char* why;
    };
    const Row rows[] = {
        {{YearTrunc}, YearTrunc, "256"},
        {{QuarterTrunc}, QuarterTrunc, "384"},
        {{MonthTrunc}, MonthTrunc, "448"},
        {{WeekTrunc}, WeekTrunc, "288"},
        {{DayTrunc}, DayTrunc, "336 of the first way to name a day"},
        {{HourTrunc}, HourTrunc, "336 + 4"},
        {{MinuteTrunc}, MinuteTrunc, "336 + 6"},
        {{SecondTrunc}, SecondTrunc, "336 + 7"},
        {{MDY}, DayTrunc, "a full day like DayTrunc"},
        {{MY}, MonthTrunc, "320"},
        {{MY, Day}, DayTrunc, "336"},
        {{MDY, Hour}, HourTrunc, "340"},
        {{YearTrunc, MonthTrunc}, MonthTrunc, "448 holds 256"},
        {{YearTrunc, Month}, MonthTrunc, "320"},
        {{MonthTrunc, Day}, DayTrunc, "464"},
        {{MonthTrunc, Day, Weekday}, DayTrunc, "472"},
        {{WeekTrunc, Weekday}, DayTrunc, "296"},
        {{Week, DayTrunc}, DayTrunc, "304 of the second way; 368 of the first is no axis"},
        {{Quarter, HourTrunc}, HourTrunc, "340 + 128, the month comes with the day"},
        {{Weekday, DayTrunc}, DayTrunc, "344"},
        {{HourTrunc, Minute}, MinuteTrunc, "342"},
        {{YearTrunc, SecondTrunc}, SecondTrunc, "343"},
        {{QuarterTrunc, DayTrunc}, DayTrunc, "464, the month comes with the day"},
        {{MonthTrunc, MinuteTrunc}, MinuteTrunc, "470"},
        {{QuarterTrunc, Day}, std::nullopt, "400, a day without a month"},
        {{MonthTrunc, WeekTrunc}, std::nullopt, "weeks cross the ends of months"},
        {{Year, Weekday}, std::nullopt, "a weekday without a week"},
        {{Year, Sum}, std::nullopt, "a sum has no place on an axis"},
        {{Year, None}, std::nullopt, "nor has None"},
        {{ISOYear}, std::nullopt, "ISO levels have none"},
        {{ISOYearTrunc, Year}, std::nullopt, "ISO levels have none"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(GetExplanatoryAgg(row.aggs), row.axis)
            << row.why << ", first " << static_cast<int>(*row.aggs.begin());
}

TEST(ForecastUtils, ConfiguresTheLevels)
{
    struct Row
    {
        int level, seasonLevel, seasonLength, reserved, finerLevel, period;
    };
    for (const Row& row :
        {Row{30, 30, 1, 9, 31, 0}, Row{31, 30, 4, 9, 32, 1}, Row{32, 30, 12, 0, 12, 2}, Row{33, 31, 13, 9, 34, 3},
            Row{34, 33, 7, 9, 35, 4}, Row{35, 34, 24, 9, 36, 5}, Row{36, 35, 60, 9, 37, 6}, Row{37, 36, 60, 0, 12, 7}})
    {
        const auto level = static_cast<AggType>(row.level);
        EXPECT_EQ(
            AggTypeToTimeSeriesConfig(level), (TimeSeriesConfig{static_cast<AggType>(row.seasonLevel), row.seasonLength,
                                                  row.reserved, static_cast<AggType>(row.finerLevel)}));
        EXPECT_EQ(DeriveSeasonLength(level), row.seasonLength);
        EXPECT_EQ(static_cast<int>(AggTypeToDatePeriod(level)), row.period);
    }
    for (const AggType agg : {None, Sum, Month, ISOYearTrunc})
        EXPECT_EQ(AggTypeToTimeSeriesConfig(agg), (TimeSeriesConfig{None, 1, 0, YearTrunc}));
    EXPECT_EQ(DeriveSeasonLength(None), 1);
    for (const AggType agg : {Sum, Month, ISOYearTrunc, static_cast<AggType>(29), static_cast<AggType>(99)})
        EXPECT_EQ(DeriveSeasonLength(agg), -1);
}

TEST(ForecastUtils, LogsAnAggregationThatIsNoLevel)
{
    const CapturedLog log;
    EXPECT_EQ(AggTypeToDatePeriod(ISOYearTrunc), DatePeriodType::Month);
    EXPECT_EQ(AggTypeToDatePeriod(static_cast<AggType>(-7)), DatePeriodType::Month);
    EXPECT_EQ(AggTypeToDatePeriod(SecondTrunc), DatePeriodType::Second);
    EXPECT_THAT(
        log.GetMessages(), ElementsAre("Warning: Invalid aggregation type 38", "Warning: Invalid aggregation type -7"));
}

TEST(ForecastUtils, KnowsFixedMultiples)
{
    const std::map<std::pair<int, int>, int> multiples = {
        {{30, 31}, 4}, {{30, 32}, 12}, {{31, 32}, 3}, {{33, 34}, 7}, {{34, 35}, 24}, {{35, 36}, 60}, {{36, 37}, 60}};
    for (int coarse = 0; coarse < 60; ++coarse)
    {
        std::vector<AggType> finerLevels;
        for (int fine = 0; fine < 60; ++fine)
        {
            const auto entry = multiples.find({coarse, fine});
            EXPECT_EQ(AggTypePairToMultiple(static_cast<AggType>(coarse), static_cast<AggType>(fine)),
                entry == multiples.end() ? 0 : entry->second);
            if (entry != multiples.end())
                finerLevels.push_back(static_cast<AggType>(fine));
        }
        EXPECT_EQ(GetSupportedAggTypeChanges(static_cast<AggType>(coarse)), finerLevels);
        EXPECT_EQ(CanAggWithEstFinerThanViz(static_cast<AggType>(coarse)), coarse == 0 || coarse == 8);
    }
}

// The reserved sets are no free choice: each must form its own level.
TEST(ForecastUtils, EstimateLevelsAreAxes)
{
    int level = 30;
    for (const auto& [agg, parts] : ForecastUtilsTables::kEstimateLevels)
    {
        EXPECT_EQ(static_cast<int>(agg), level++);
        EXPECT_EQ(kAxes.at(parts), agg);
    }
    EXPECT_EQ(level, 38);
}

TEST(ForecastUtils, DerivesTheErrorType)
{
    using enum ForecastComponentType;
    for (const auto trend : {ForecastComponentType::None, Additive, Multiplicative})
        for (const auto season : {ForecastComponentType::None, Additive, Multiplicative})
            EXPECT_EQ(static_cast<int>(DeriveErrorType(trend, season)),
                static_cast<int>(trend) == 2 || static_cast<int>(season) == 2 ? 2 : 1);
}

TEST(ForecastUtils, NeedsTwoSeasonsAndFiveMoreThanOne)
{
    constexpr int kMost = std::numeric_limits<int>::max();
    struct Row
    {
        int n, m;
        bool isEnough;
    };
    for (const Row& row :
        {Row{16, 12, false}, Row{23, 12, false}, Row{24, 12, true}, Row{8, 4, false}, Row{9, 4, true}, Row{6, 1, true},
            Row{5, 1, false}, Row{10, 5, true}, Row{12, 6, true}, Row{11, 6, false}, Row{0, 12, false},
            Row{24, 0, false}, Row{24, -1, false}, Row{kMost, kMost, false}, Row{kMost, kMost / 2, true}})
        EXPECT_EQ(EnoughDataForSeasonalSearch(row.n, row.m), row.isEnough) << row.n << ", " << row.m;
}

TEST(ForecastUtils, Increments)
{
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(IncrementExplanatory(DataValue::Integer(5), None, -7), DataValue::Integer(-2));
    EXPECT_LOGIC_ASSERT(IncrementExplanatory(DataValue::Integer(kMost), None, 1), 0xC8473AF0, "!overflows");
    EXPECT_LOGIC_ASSERT(IncrementExplanatory(DataValue::Integer(-kMost), None, -2), 0xC8473AF0, "!overflows");
    EXPECT_THROW(IncrementExplanatory(DataValue::FromDateTime(DateTime()), None, 1), LogicException);
    EXPECT_THROW(IncrementExplanatory(DataValue::Integer(5), MonthTrunc, 1), LogicException);
    EXPECT_THROW(IncrementExplanatory(DataValue(), DayTrunc, 1), LogicException);

    const DataValue day = DataValue::Date(At(u"2024-01-31"));
    EXPECT_EQ(IncrementExplanatory(day, MonthTrunc, 1), DataValue::FromDateTime(At(u"2024-02-29")));
    EXPECT_EQ(IncrementExplanatory(day, QuarterTrunc, -1), DataValue::FromDateTime(At(u"2023-10-31")));
    EXPECT_EQ(IncrementExplanatory(DataValue::FromDateTime(At(u"2024-01-31 12:00")), MinuteTrunc, -721),
        DataValue::FromDateTime(At(u"2024-01-30 23:59")));
    EXPECT_EQ(IncrementExplanatory(day, Weekday, 1), DataValue::FromDateTime(At(u"2024-02-29"))) << "months by default";
}

TEST(ForecastUtils, TurnsAUserRangeIntoPeriods)
{
    constexpr auto kNext = ForecastRangeType::FromNextPeriod;
    constexpr auto kUnit = ForecastRangeType::ToEndOfUnit;
    struct Row
    {
        ForecastRangeType rangeType;
        const char16_t* last;
        AggType unit, view, estimate;
        int count;
        int length;
        const char* why;
    };
    const Row rows[] = {
        {kNext, u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, 1, 12, "September to August"},
        {kNext, u"2023-08-01", MonthTrunc, MonthTrunc, MonthTrunc, 3, 3, "September to November"},
        {kNext, u"2023-08-01", DayTrunc, MonthTrunc, MonthTrunc, 1, 1, "one day touches one month"},
        {kNext, u"2023-08-01", MonthTrunc, MonthTrunc, MonthTrunc, 0, 1, "never less than one"},
        {kNext, u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, -2, 1, "never less than one"},
        {kNext, u"2024-01-31", QuarterTrunc, MonthTrunc, MonthTrunc, 1, 3,
            "29 February to 28 May, before the third's end"},
        {kUnit, u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, 1, 4, "September to December"},
        {kUnit, u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, 2, 16, "to December of the next year"},
        {kUnit, u"2023-12-01", YearTrunc, MonthTrunc, MonthTrunc, 1, 12, "the next period begins a year"},
        {kUnit, u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, 0, 1, "a range that ended before it began"},
        {kUnit, u"2023-08-16", WeekTrunc, DayTrunc, DayTrunc, 1, 3, "Thursday 17 to Saturday 19 August"},
        {kNext, u"2023-08-15", WeekTrunc, DayTrunc, WeekTrunc, 1, 7, "ends with the estimate's week"},
        {kNext, u"2023-08-15", WeekTrunc, DayTrunc, MonthTrunc, 1, 31, "to 15 September"},
        {kNext, u"2023-08-01", MonthTrunc, WeekTrunc, MonthTrunc, 1, 9, "5 weeks pass 1 September; 9 reach 1 October"},
        {kNext, u"2024-01-31", DayTrunc, DayTrunc, MonthTrunc, 29, 29, "the month from 31 January ends on the 29th"},
        {kNext, u"2024-01-31", DayTrunc, DayTrunc, MonthTrunc, 30, 60, "the next one on 31 March"},
        {kNext, u"2024-01-31", DayTrunc, MonthTrunc, DayTrunc, 30, 2, "a coarser view stays; 30 days pass 29 March"},
        {kNext, u"2000-01-01", SecondTrunc, SecondTrunc, YearTrunc, 1, 31622400, "the seconds of a leap year"},
        {kNext, u"2023-08-15", HourTrunc, HourTrunc, HourTrunc, 3, 3, "three hours, less their last second"},
        {kUnit, u"2023-08-15", MonthTrunc, DayTrunc, MonthTrunc, 1, 31, "16 days end August, 31 reach 15 September"},
        {ForecastRangeType(1), u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, 1, 12, "a host's own value"},
        {ForecastRangeType(3), u"2023-08-01", YearTrunc, MonthTrunc, MonthTrunc, 1, 12, "another one"},
        {kNext, u"2023-08-01", MonthTrunc, None, None, 3, 3, "what is no level counts as a month"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(GetUserForecastLength(
                      row.rangeType, At(row.last), row.unit, row.view, row.estimate, row.count, DateOptions::Default()),
            row.length)
            << row.why;

    const DateOptions fromApril(1, 4);   // weeks from Monday, years from April
    EXPECT_EQ(GetUserForecastLength(kUnit, At(u"2023-08-01"), YearTrunc, MonthTrunc, MonthTrunc, 1, fromApril), 7);
    EXPECT_EQ(GetUserForecastLength(kUnit, At(u"2023-08-16"), WeekTrunc, DayTrunc, DayTrunc, 1, fromApril), 4);

    // A hundred years from 2000 have 36525 days.
    EXPECT_LOGIC_ASSERT(
        GetUserForecastLength(kNext, At(u"2000-01-01"), YearTrunc, SecondTrunc, SecondTrunc, 100, fromApril),
        0x86524F38, "length <= std::numeric_limits<int>::max()");
    EXPECT_THROW(GetUserForecastLength(kNext, At(u"9999-12-01"), MonthTrunc, MonthTrunc, MonthTrunc, 1, fromApril),
        LogicException);
    EXPECT_THROW(GetUserForecastLength(kNext, At(u"2000-01-01"), DayTrunc, DayTrunc, DayTrunc,
                     std::numeric_limits<int>::max(), fromApril),
        LogicException);
}
