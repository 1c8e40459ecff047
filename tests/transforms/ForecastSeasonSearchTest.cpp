#include "brvcore/transforms/ForecastSeasonSearch.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/SeasonKernels.h"
#include "tests/transforms/ReferenceData.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<double> Cycle(int n, double period)
{
    std::vector<double> values;
    for (int t = 0; t < n; ++t)
        values.push_back(20.0 + 0.1 * t + 5.0 * std::sin(2.0 * std::numbers::pi * t / period + 0.4));
    return values;
}

std::vector<double> Noise(int n, double missingShare)
{
    std::mt19937 generator(static_cast<unsigned>(n));
    std::vector<double> values;
    for (int t = 0; t < n; ++t)
    {
        const double y = static_cast<double>(generator() % 20001) / 1000.0 - 10.0;
        values.push_back(static_cast<double>(generator() % 1000) < 1000.0 * missingShare ? kNaN : y);
    }
    return values;
}

double PeriodSSE(const std::vector<double>& series, int period)
{
    return ForecastSeasonSearch::computeSSE(
        ForecastSeasonSearch::fitPeriodicModel(series, 1, period), series, 1, period);
}

TEST(ForecastSeasonSearch, RegressorsOfARow)
{
    const auto x = ForecastSeasonSearch::codePeriodicModelOnRow(3, 1, 8, 12);   // u = 1/4, a = pi / 2
    const std::array<double, 7> expected{0.0, 0.25, 1.0, 0.0, 0.0625, 0.25, 0.0};
    for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_NEAR(x[k], expected[k], 1e-15) << k;
}

TEST(ForecastSeasonSearch, FitAgreesWithTheReference)
{
    const std::vector<ReferenceRow> rows = ReadReference("season_search.csv");
    const std::vector<double> series = ReferenceColumn(rows, "value");
    const std::vector<double> coefficients = ForecastSeasonSearch::fitPeriodicModel(series, 1, 12);
    ASSERT_EQ(coefficients.size(), 7u);
    int compared = 0;
    for (const ReferenceRow& row : rows)
    {
        if (row.name == "sse")
            EXPECT_NEAR(PeriodSSE(series, static_cast<int>(row.numbers[0])), row.numbers[1], 1e-9 * row.numbers[1])
                << "period " << row.numbers[0];
        else if (row.name == "coefficient12")
            EXPECT_NEAR(coefficients[static_cast<std::size_t>(row.numbers[0])], row.numbers[1], 1e-9);
        else
            continue;
        ++compared;
    }
    EXPECT_EQ(compared, 34 + 7);
    EXPECT_EQ(ForecastSeasonSearch(series).Compute(), std::vector<int>{12});
}

// All scores within a factor 0.9 of the best, of which there are more than ten.
TEST(ForecastSeasonSearch, RankingAgreesWithTheReference)
{
    const std::vector<ReferenceRow> rows = ReadReference("season_search.csv");
    std::vector<int> expected;
    for (const double period : ReferenceColumn(rows, "noiserank"))
        expected.push_back(static_cast<int>(period));
    ASSERT_EQ(expected.size(), 10u);
    EXPECT_EQ(ForecastSeasonSearch(ReferenceColumn(rows, "noise")).Compute(), expected);
}

TEST(ForecastSeasonSearch, FindsAPlantedCycle)
{
    for (const int period : {3, 4, 7, 11, 12, 24, 30, 47, 52, 60})
        for (const bool gaps : {false, true})
        {
            std::vector<double> series = Cycle(150, period);
            for (std::size_t t = 0; gaps && t < series.size(); t += 13)
                series[t] = kNaN;
            const std::vector<int> found = ForecastSeasonSearch(series).Compute();
            ASSERT_FALSE(found.empty()) << period;
            EXPECT_EQ(found.front(), period);
        }
}

TEST(ForecastSeasonSearch, LimitsOfThePeriods)
{
    EXPECT_TRUE(ForecastSeasonSearch(Noise(5, 0.0)).Compute().empty());

    struct Case
    {
        int n;
        int longest;
    };
    for (const Case& c : {Case{18, 6}, Case{19, 9}, Case{40, 20}, Case{500, 60}})
    {
        // Only the longest period allowed, then one that is not.
        const std::vector<double> series = Noise(c.n, 0.0);
        EXPECT_EQ(ForecastSeasonSearch(series, 60, c.longest, {}).Compute(), std::vector<int>{c.longest}) << c.n;
        EXPECT_TRUE(ForecastSeasonSearch(series, 60, c.longest + 1, {}).Compute().empty()) << c.n;
    }
    EXPECT_EQ(ForecastSeasonSearch(Noise(100, 0.0), 7, 7, {}).Compute(), std::vector<int>{7});
    EXPECT_TRUE(ForecastSeasonSearch(Noise(100, 0.0), -3, -9, {}).Compute().empty());
    for (const int period : ForecastSeasonSearch(Noise(100, 0.0), 50, -9, {}).Compute())
        EXPECT_GE(period, 3) << "a period of 1 or 2 rows has no sine";
}

// Periods 9 and 10 score within 2 % of each other in this series; the bonus is 5 %.
TEST(ForecastSeasonSearch, FavouredLengthsRankFirst)
{
    const std::vector<double> series = ReferenceColumn(ReadReference("season_search.csv"), "noise");
    EXPECT_EQ(ForecastSeasonSearch(series, 60, 2, {}).Compute().front(), 9);
    EXPECT_EQ(ForecastSeasonSearch(series, 60, 2, {10}).Compute().front(), 10);
    EXPECT_EQ(ForecastSeasonSearch(series, 60, 2, {9, 10}).Compute().front(), 9);
}

TEST(ForecastSeasonSearch, SeriesThatSayNothing)
{
    EXPECT_TRUE(ForecastSeasonSearch({}).Compute().empty());
    EXPECT_TRUE(ForecastSeasonSearch(std::vector<double>(60, kNaN)).Compute().empty());
    std::vector<double> infinite = Noise(60, 0.0);
    infinite[30] = kInf;
    EXPECT_TRUE(ForecastSeasonSearch(infinite).Compute().empty());

    // All scores are exactly 0: the first ten periods that can be fitted.
    EXPECT_EQ(ForecastSeasonSearch(std::vector<double>(60, 0.0)).Compute(),
        (std::vector<int>{3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(ForecastSeasonSearch, IsCancelledOnTheWay)
{
    int asked = 0;
    const CancellationScope cancel([&asked] { return ++asked == 2; });
    EXPECT_THROW(ForecastSeasonSearch(Cycle(120, 12)).Compute(), CancelledException);
}

// The bonus of each usual length decides somewhere between its own cycle and that of the next period.
TEST(ForecastSeasonSearch, KnowsTheUsualLengths)
{
    const std::set<int> usual{4, 7, 12, 13, 24, 52, 60};
    for (const int length : usual)
    {
        const std::vector<double> own = Cycle(150, length);
        const std::vector<double> next = Cycle(150, length == 60 ? 59 : length + 1);
        std::set<int> others = usual;
        others.erase(length);
        bool isDecisive = false;
        for (double share = 0.3; share < 0.7 && !isDecisive; share += 0.002)
        {
            std::vector<double> mixed;
            for (std::size_t t = 0; t < own.size(); ++t)
                mixed.push_back((1.0 - share) * own[t] + share * next[t]);
            const std::vector<int> found = ForecastSeasonSearch(mixed).Compute();
            const std::vector<int> without = ForecastSeasonSearch(mixed, 60, 2, others).Compute();
            ASSERT_EQ(found, ForecastSeasonSearch(mixed, 60, 2, usual).Compute());
            isDecisive = found.front() == length && without.front() != length;
        }
        EXPECT_TRUE(isDecisive) << length;
    }
}

TEST(ForecastSeasonSearch, SumOfSquaresOfNothing)
{
    EXPECT_TRUE(std::isnan(ForecastSeasonSearch::computeSSE({}, {1.0, 2.0}, 1, 4)));
    EXPECT_EQ(ForecastSeasonSearch::computeSSE({}, {}, 1, 4), 0.0);
    EXPECT_TRUE(ForecastSeasonSearch::fitPeriodicModel(Noise(40, 0.0), 1, 2).empty()) << "the sine vanishes";
}

// Equal to the last bit, whatever is missing and whichever lane and table a period falls into.
TEST(SeasonKernels, LanesEqualTheSingleFit)
{
    for (const int n : {1, 7, 24, 119, 120, 700})
        for (const double missingShare : {0.0, 0.2, 1.0})
            for (const int start : {1, 0, 5})
            {
                const std::vector<double> series = Noise(n, missingShare);
                const std::vector<double> scores = ScorePeriods(series, start, 1, 62);
                ASSERT_EQ(scores.size(), 62u);
                for (int period = 1; period <= 62; ++period)
                {
                    const double expected = ForecastSeasonSearch::computeSSE(
                        ForecastSeasonSearch::fitPeriodicModel(series, start, period), series, start, period);
                    const double score = scores[static_cast<std::size_t>(period - 1)];
                    ASSERT_TRUE(std::isnan(expected)
                                    ? std::isnan(score)
                                    : std::bit_cast<std::uint64_t>(score) == std::bit_cast<std::uint64_t>(expected))
                        << "n " << n << ", missing " << missingShare << ", start " << start << ", period " << period;
                }
            }
}

// The searches share a table of waves; the thread sanitizer watches.
TEST(SeasonKernels, ManyThreadsSearchAtOnce)
{
    std::vector<std::vector<int>> found(4);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < found.size(); ++i)
        threads.emplace_back([&found, i] { found[i] = ForecastSeasonSearch(Cycle(120, 12)).Compute(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::vector<int>& periods : found)
        EXPECT_EQ(periods, ForecastSeasonSearch(Cycle(120, 12)).Compute());
}

TEST(SeasonKernels, SineAndCosineAreThoseOfTheLibrary)
{
    double (*volatile librarySine)(double) = std::sin;   // volatile: two calls, not one merged by the compiler
    double (*volatile libraryCosine)(double) = std::cos;
    for (int period = 1; period <= 100; ++period)
        for (int row = 0; row < 500; ++row)
        {
            const double angle = AngleOfRow(row, 1, period);
            double sine = 0.0;
            double cosine = 0.0;
            SineAndCosine(angle, sine, cosine);
            ASSERT_EQ(sine, librarySine(angle)) << angle;
            ASSERT_EQ(cosine, libraryCosine(angle)) << angle;
        }
}

}   // namespace
