#include "brvcore/transforms/StatsComputer.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/BasicStatistics.h"
#include "brvcore/transforms/MersenneTwister.h"
#include "tests/support/LogicAssert.h"
#include "tests/transforms/ReferenceData.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <locale>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(StatsComputer, SortsWhenAsked)
{
    StatsComputer computer({4.0, 1.0, 3.0, 2.0}, false);
    EXPECT_EQ(computer.GetQuantile(0.5), 2.5);
    EXPECT_EQ(computer.GetQuantile(1.0, 4.0), 1.75);
    EXPECT_EQ(computer.GetPercentile(100.0), 4.0);
    EXPECT_LOGIC_ASSERT(computer.GetQuantile(1.2), 0xFDD4CCAB, "0 <= probability && probability <= 1");

    StatsComputer missing({kNaN, 3.0, kNaN, 1.0, 2.0}, false);
    EXPECT_EQ(missing.GetQuantile(0.0), 1.0);
    EXPECT_EQ(missing.GetQuantile(0.5), 3.0);
    EXPECT_TRUE(std::isnan(missing.GetQuantile(1.0)));

    StatsComputer trusted({4.0, 1.0}, true);
    EXPECT_EQ(trusted.GetQuantile(0.0), 4.0) << "the caller's word counts";
    EXPECT_TRUE(std::isnan(StatsComputer().GetQuantile(0.5)));
}

TEST(StatsComputer, ForwardsMoments)
{
    double mean = 0.0, variance = 0.0, skewness = 0.0, kurtosis = 0.0;
    StatsComputer({1.0, 2.0, 3.0, 4.0}, true).GetMomentsTwoPass(mean, variance, skewness, kurtosis);
    EXPECT_EQ(mean, 2.5);
    EXPECT_DOUBLE_EQ(variance, 5.0 / 3.0);
    EXPECT_EQ(skewness, 0.0);
    EXPECT_DOUBLE_EQ(kurtosis, 1.64 - 3.0);   // 4 * 10.25 / 25
}

TEST(StatsComputer, CriticalTAgreesWithTheReference)
{
    int compared = 0;
    for (const ReferenceRow& row : ReadReference("distributions.csv"))
        if (row.name == "t")
        {
            const double expected = row.numbers[3];
            EXPECT_NEAR(StatsComputer::GetTCrit(row.numbers[0], static_cast<int>(row.numbers[1])), expected,
                1e-12 * std::fabs(expected));
            ++compared;
        }
    EXPECT_EQ(compared, 7);
}

TEST(StatsComputer, CriticalTOutsideItsRange)
{
    EXPECT_EQ(StatsComputer::GetTCrit(0.0, 10), 0.0);
    for (const int n : {1, 0, -5, std::numeric_limits<int>::min()})
        EXPECT_LOGIC_ASSERT(StatsComputer::GetTCrit(95.0, n), 0x90FCA73B, "df >= 1");
    EXPECT_THROW(StatsComputer::GetTCrit(100.0, 10), std::overflow_error);
    EXPECT_THROW(StatsComputer::GetTCrit(-100.0, 10), std::overflow_error);
    EXPECT_THROW(StatsComputer::GetTCrit(kNaN, 10), std::domain_error);
    try
    {
        StatsComputer::GetTCrit(120.0, 10);
        ADD_FAILURE() << "no exception";
    }
    catch (const std::domain_error& error)
    {
        // Boost.Math writes the number with the global C++ locale: 1.1 or 1,1.
        const std::string number =
            std::use_facet<std::numpunct<char>>(std::locale()).decimal_point() == ',' ? "1,1" : "1.1";
        EXPECT_NE(std::string(error.what()).find("Probability argument is " + number), std::string::npos)
            << error.what();
        EXPECT_NE(std::string(error.what()).find(", but must be >= 0 and <= 1 !"), std::string::npos) << error.what();
    }
}

TEST(StatsComputer, AveragePrecision)
{
    // R: qt(0.975, 3) * sd(c(1, 2, 4, 9)) / 2
    EXPECT_NEAR(StatsComputer({9.0, 1.0, 4.0, 2.0}, false).GetAveragePrecision(95.0), 5.663204705733679, 1e-13);
    // R: qt(0.975, 2) * sqrt(2 / 3): the missing value counts in n, not in the variance of 2
    EXPECT_NEAR(StatsComputer({1.0, kNaN, 3.0}, false).GetAveragePrecision(95.0), 3.5131012427597827, 1e-13);
    EXPECT_EQ(StatsComputer({1.0, kNaN}, false).GetAveragePrecision(95.0), 0.0);
    EXPECT_TRUE(std::isnan(StatsComputer({1.0}, false).GetAveragePrecision(95.0)));
    EXPECT_TRUE(std::isnan(StatsComputer({kNaN, kNaN}, false).GetAveragePrecision(95.0)));
}

// The bootstrap written out: draw values, sort them, take the quantile.
double PlainMedianPrecision(std::vector<double> values, double confidence)
{
    const auto missingLast = [](double a, double b) { return std::isnan(b) ? !std::isnan(a) : a < b; };
    std::sort(values.begin(), values.end(), missingLast);
    const std::size_t n = values.size();
    const int replicates = n <= 10 ? 400000 : n <= 100 ? 10000 : 1000;
    std::mt19937 generator(13579);
    std::vector<double> sample(n);
    int count = 0;
    double mean = 0.0, m2 = 0.0;
    for (int i = 0; i < replicates; ++i)
    {
        for (double& value : sample)
            value = values[generator() % n];
        std::sort(sample.begin(), sample.end(), missingLast);
        BasicStatistics::VarianceIterative(BasicStatistics::GetQuantile(sample, 0.5), count, mean, m2);
    }
    return StatsComputer::GetTCrit(confidence, static_cast<int>(n)) * std::sqrt(m2 / count);
}

TEST(StatsComputer, MedianPrecisionEqualsThePlainBootstrap)
{
    struct Case
    {
        int n;
        int missing;
    };
    std::mt19937 noise(1);
    for (const Case& c : {Case{3, 0}, Case{8, 0}, Case{9, 2}, Case{10, 0}, Case{11, 0}, Case{16, 5}, Case{100, 0},
             Case{101, 60}, Case{512, 0}})
    {
        std::vector<double> values;
        for (int i = 0; i < c.n; ++i)
            values.push_back(i < c.missing ? kNaN : static_cast<double>(noise() % 1000) / 7.0 - 20.0);
        std::shuffle(values.begin(), values.end(), noise);
        const double precision = StatsComputer(values, false).GetMedianPrecision(90.0);
        EXPECT_EQ(precision, PlainMedianPrecision(values, 90.0)) << c.n << " values";
        EXPECT_GT(precision, 0.0) << c.n << " values";
    }
}

TEST(StatsComputer, MedianPrecisionAtTheEdges)
{
    EXPECT_TRUE(std::isnan(StatsComputer({1.0, 2.0}, true).GetMedianPrecision(95.0)));
    EXPECT_TRUE(std::isnan(StatsComputer({kNaN, kNaN, kNaN}, true).GetMedianPrecision(95.0)));
    EXPECT_EQ(StatsComputer({5.0, 5.0, 5.0, 5.0}, true).GetMedianPrecision(95.0), 0.0);
    EXPECT_TRUE(std::isnan(StatsComputer({-kInf, 0.0, kInf}, true).GetMedianPrecision(95.0)));
}

// The wish comes when the work has begun.
TEST(StatsComputer, MedianPrecisionIsCancelledOnTheWay)
{
    for (const std::size_t n : {10u, 100u, 101u, 5000u})
    {
        int asked = 0;
        const CancellationScope cancel([&asked] { return ++asked == 2; });
        EXPECT_THROW(StatsComputer(std::vector<double>(n, 1.0), true).GetMedianPrecision(95.0), CancelledException)
            << n;
    }
}

TEST(MersenneTwister, DrawsTheStandardSequence)
{
    for (const std::uint32_t seed : {0u, 13579u, 0xFFFFFFFFu})
    {
        std::mt19937 standard(seed);
        MersenneTwister ours(seed);
        for (int i = 0; i < 3000; ++i)
            ASSERT_EQ(ours(), standard()) << "seed " << seed << ", draw " << i;
    }
}

}   // namespace
