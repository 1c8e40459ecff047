#include "brvcore/transforms/SummaryStats.h"

#include "tests/support/LogicAssert.h"
#include "tests/transforms/ReferenceData.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kMax = std::numeric_limits<double>::max();

TEST(SummaryStats, CountsMeasuresAndBounds)
{
    struct Case
    {
        std::vector<double> values;
        int count;
        double mean;
        double variance;
        double min;
        double max;
        const char* why;
    };
    for (const Case& c : {
             Case{{}, 0, 0.0, kNaN, kMax, -kMax, "nothing"},
             Case{{kNaN, kNaN}, 0, 0.0, kNaN, kMax, -kMax, "nothing but missing values"},
             Case{{5.0}, 1, 5.0, kNaN, 5.0, 5.0, "one value has no variance"},
             Case{{1.0, kNaN, 3.0}, 2, 2.0, 2.0, 1.0, 3.0, "a missing value in between"},
             Case{{kNaN, -4.0, -2.0, kNaN}, 2, -3.0, 2.0, -4.0, -2.0, "missing values around; all below zero"},
             Case{{1e9, 1e9 + 1.0, 1e9 + 2.0}, 3, 1e9 + 1.0, 1.0, 1e9, 1e9 + 2.0, "far from zero"},
             Case{{kInf}, 1, kInf, kNaN, kMax, kInf, "infinity is not below the initial minimum"},
             Case{{1.0, -kInf}, 2, -kInf, kNaN, -kInf, 1.0, "minus infinity is the minimum"},
         })
    {
        SCOPED_TRACE(c.why);
        const SummaryStats stats(c.values);
        EXPECT_EQ(stats.GetCount(), c.count);
        EXPECT_EQ(stats.GetMean(), c.mean);
        EXPECT_THAT(stats.GetVariance(), testing::NanSensitiveDoubleEq(c.variance));
        EXPECT_THAT(stats.GetStdDev(), testing::NanSensitiveDoubleEq(std::sqrt(c.variance)));
        EXPECT_THAT(stats.GetRange(), Pair(c.min, c.max));
        EXPECT_EQ(stats.GetMin(), c.min);
        EXPECT_EQ(stats.GetMax(), c.max);
        EXPECT_THAT(stats.GetMeanStdDev(), Pair(c.mean, testing::NanSensitiveDoubleEq(std::sqrt(c.variance))));
    }
}

TEST(SummaryStats, ConstructorsAddWhatTheyAreGiven)
{
    EXPECT_EQ(SummaryStats().GetCount(), 0);
    EXPECT_EQ(SummaryStats(std::vector<double>{}).GetCount(), 0);
    EXPECT_EQ(SummaryStats(2.5).GetMean(), 2.5);
    EXPECT_EQ(SummaryStats({1, kNaN, 3}).GetVariance(), 2.0);
    const SummaryStats missing(kNaN);
    EXPECT_EQ(missing.GetCount(), 0);
    EXPECT_THAT(missing.GetRange(), Pair(kMax, -kMax));
}

TEST(SummaryStats, AgreesWithTheReferenceHoweverTheValuesArrive)
{
    const std::vector<ReferenceRow> rows = ReadReference("rivers.csv");
    const std::vector<double> rivers = ReferenceColumn(rows, "value");
    SummaryStats parts(rivers.front());
    parts.AddValue(std::vector<double>(rivers.begin() + 1, rivers.end() - 1));
    parts.AddValue(rivers.back());
    for (const SummaryStats& stats : {SummaryStats(rivers), parts})
    {
        EXPECT_EQ(stats.GetCount(), 141);
        EXPECT_NEAR(stats.GetMean(), ReferenceColumn(rows, "mean").at(0), 1e-11);
        EXPECT_NEAR(stats.GetVariance(), ReferenceColumn(rows, "variance").at(0), 1e-8);
        EXPECT_THAT(stats.GetRange(), Pair(135.0, 3710.0));
    }
    EXPECT_EQ(SummaryStats(rivers).GetVariance(), parts.GetVariance());
}

TEST(SummaryStatsMat, RowsAndColumnsAddUp)
{
    SummaryStatsMat stats(std::vector<double>{1.0, -1.0, kNaN});
    stats.AddRow({3.0, kNaN, kNaN});
    stats.AddColMajorRows({{5.0}, {}, {kNaN, 2.0, 4.0}});
    EXPECT_THAT(stats.GetCounts(), ElementsAre(3, 1, 2));
    EXPECT_THAT(stats.GetMeans(), ElementsAre(3.0, -1.0, 3.0));
    EXPECT_THAT(stats.GetVariances(), ElementsAre(4.0, testing::IsNan(), 2.0));
    EXPECT_THAT(stats.GetRanges(), ElementsAre(Pair(1.0, 5.0), Pair(-1.0, -1.0), Pair(2.0, 4.0)));
}

TEST(SummaryStatsMat, FirstColumnsFixTheirNumber)
{
    SummaryStatsMat stats;
    EXPECT_THAT(stats.GetVariances(), IsEmpty());
    stats.AddRow({});   // still open
    stats.AddColMajorRows({});
    stats.AddColMajorRows({{}, {}, {}});   // three columns without a value
    EXPECT_THAT(stats.GetCounts(), ElementsAre(0, 0, 0));
    EXPECT_THAT(stats.GetRanges(), testing::Each(Pair(kMax, -kMax)));
    stats.AddRow({1.0, 2.0, 3.0});
    constexpr auto kText = "m_nCols == size";
    EXPECT_LOGIC_ASSERT(stats.AddRow({1.0, 2.0, 3.0, 4.0}), 0x1EC2E00D, kText);
    EXPECT_LOGIC_ASSERT(stats.AddRow({}), 0x1EC2E00D, kText);
    EXPECT_LOGIC_ASSERT(stats.AddColMajorRows({{1.0}, {2.0}}), 0x1EC2E00D, kText);
    EXPECT_THAT(stats.GetCounts(), ElementsAre(1, 1, 1));
    EXPECT_THAT(stats.GetMeans(), ElementsAre(1.0, 2.0, 3.0));
}

// Welford's recurrence written plainly; a count of its own for each series.
struct PlainMoments
{
    int count = 0;
    double mean = 0.0;
    double m2 = 0.0;

    void Add(double x)
    {
        if (std::isnan(x))
            return;
        const double previousMean = mean;
        ++count;
        mean = previousMean + (x - previousMean) / count;
        m2 = m2 + (x - mean) * (x - previousMean);
    }
};

// More and fewer columns than are taken together, of unequal lengths, with missing values, in two portions.
TEST(SummaryStatsMat, EveryWayGivesTheBitsOfThePlainRecurrence)
{
    for (const std::size_t width : {1U, 3U, 4U, 5U, 11U})
    {
        std::vector<std::vector<double>> columns(width);
        for (std::size_t j = 0; j < width; ++j)
            for (std::size_t i = 0; i < 40 + 7 * j % 30; ++i)
                columns[j].push_back((i + j) % 9 == 0 ? kNaN : std::sin(static_cast<double>(i * (j + 2))) / 3.0);
        SummaryStatsMat stats(columns);
        stats.AddColMajorRows(columns);
        for (std::size_t j = 0; j < width; ++j)
        {
            SCOPED_TRACE(testing::Message() << "column " << j << " of " << width);
            PlainMoments plain;
            SummaryStats single;
            SummaryStatsMat byRow;
            for (int portion = 0; portion < 2; ++portion)
                for (const double x : columns[j])
                {
                    plain.Add(x);
                    single.AddValue(x);
                    byRow.AddRow({x});
                }
            for (const SummaryStatsMat* table : {&stats, &byRow})
            {
                const std::size_t k = table == &stats ? j : 0;
                EXPECT_EQ(table->GetCounts()[k], plain.count);
                EXPECT_EQ(table->GetMeans()[k], plain.mean);
                EXPECT_EQ(table->GetVariances()[k], plain.m2 / (plain.count - 1));
                EXPECT_EQ(table->GetRanges()[k], single.GetRange());
            }
            EXPECT_EQ(single.GetMean(), plain.mean);
            EXPECT_EQ(single.GetVariance(), plain.m2 / (plain.count - 1));
        }
    }
}

}   // namespace
