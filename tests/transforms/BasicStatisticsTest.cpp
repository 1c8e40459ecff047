#include "brvcore/transforms/BasicStatistics.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "tests/support/LogicAssert.h"
#include "tests/transforms/ReferenceData.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kMax = std::numeric_limits<double>::max();

struct Moments
{
    double mean = 0.0, variance = 0.0, skewness = 0.0, kurtosis = 0.0;
    explicit Moments(const std::vector<double>& values)
    {
        BasicStatistics::GetMomentsTwoPass(values, mean, variance, skewness, kurtosis);
    }
};

TEST(BasicStatistics, FuzzyEquals)
{
    EXPECT_TRUE(BasicStatistics::FuzzyEquals(100.0, 101.0, 0.01)) << "1 % of the larger";
    EXPECT_FALSE(BasicStatistics::FuzzyEquals(100.0, 102.0, 0.01));
    EXPECT_TRUE(BasicStatistics::FuzzyEquals(0.0, 0.0, 0.0));
    EXPECT_FALSE(BasicStatistics::FuzzyEquals(-1.0, 1.0, 1.0));
    EXPECT_FALSE(BasicStatistics::FuzzyEquals(kNaN, kNaN, 1.0));
}

TEST(BasicStatistics, IsInteger)
{
    constexpr int kUntouched = -77;
    struct Case
    {
        double x;
        double tol;
        bool is;
        int out;
        const char* why;
    };
    for (const Case& c : {
             Case{3.0, 0.0, true, 3, "an integer"},
             Case{-3.0, 0.0, true, -3, "a negative integer"},
             Case{2.999, 0.001, true, 3, "just below"},
             Case{3.001, 0.001, true, 3, "just above"},
             Case{3.1, 0.001, false, kUntouched, "too far"},
             Case{2.5, 0.5, true, 3, "a tie goes up"},
             Case{-2.5, 0.5, true, -2, "also below zero"},
             Case{2147483647.0, 0.0, true, 2147483647, "the largest int"},
             Case{2147483648.0, 0.0, false, kUntouched, "above the largest int"},
             Case{-1e300, 0.0, false, kUntouched, "far below the smallest"},
             Case{kInf, 1.0, false, kUntouched, "infinite"},
             Case{kNaN, 1.0, false, kUntouched, "missing"},
         })
    {
        int out = kUntouched;
        EXPECT_EQ(BasicStatistics::IsInteger(c.x, out, c.tol), c.is) << c.why;
        EXPECT_EQ(out, c.out) << c.why;
    }
}

TEST(BasicStatistics, Quantile)
{
    const std::vector<double> four{1.0, 2.0, 3.0, 4.0};
    EXPECT_EQ(BasicStatistics::GetQuantile(four, 0.5), 2.5);
    EXPECT_EQ(BasicStatistics::GetQuantile(four, 1.0, 3.0), 2.0) << "3 * (1 / 3) + 1 is a position";
    EXPECT_EQ(BasicStatistics::GetPercentile(four, 75.0), 3.25);
    EXPECT_EQ(BasicStatistics::GetQuantile({7.0}, 0.3), 7.0);
    // position 1 + 1e-9 snaps to the first value, 1 + 1e-7 does not; 2 - 1e-9 snaps to the second
    EXPECT_EQ(BasicStatistics::GetQuantile({0.0, 1e9}, 1e-9), 0.0);
    EXPECT_NEAR(BasicStatistics::GetQuantile({0.0, 1e9}, 1e-7), 100.0, 1e-5);
    EXPECT_EQ(BasicStatistics::GetQuantile({0.0, 1e9}, 1.0 - 1e-9), 1e9);
    EXPECT_TRUE(std::isnan(BasicStatistics::GetQuantile({}, 0.3)));
    for (const double p : {1.2, -0.1, kNaN})
    {
        constexpr auto kText = "0 <= probability && probability <= 1";
        EXPECT_LOGIC_ASSERT(BasicStatistics::GetQuantile(four, p), 0xFDD4CCAB, kText);
        EXPECT_LOGIC_ASSERT(BasicStatistics::GetQuantile({}, p), 0xFDD4CCAB, kText);
    }
}

TEST(BasicStatistics, AgreesWithTheReference)
{
    const std::vector<ReferenceRow> rows = ReadReference("rivers.csv");
    const std::vector<double> values = ReferenceColumn(rows, "value");
    const Moments moments(values);
    EXPECT_NEAR(moments.mean, ReferenceColumn(rows, "mean").at(0), 1e-10);
    EXPECT_NEAR(moments.variance, ReferenceColumn(rows, "variance").at(0), 1e-7);
    EXPECT_NEAR(moments.skewness, ReferenceColumn(rows, "skewness").at(0), 1e-12);
    EXPECT_NEAR(moments.kurtosis, ReferenceColumn(rows, "kurtosis").at(0), 1e-11);
    EXPECT_NEAR(BasicStatistics::variance(values, 0, true), ReferenceColumn(rows, "variance").at(0), 1e-7);

    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    int quantiles = 0;
    for (const ReferenceRow& row : rows)
        if (row.name.starts_with("quantile"))
        {
            std::istringstream text(row.name.substr(8));
            text.imbue(std::locale::classic());
            double p = -1.0;
            text >> p;
            EXPECT_NEAR(BasicStatistics::GetQuantile(sorted, p), row.numbers.at(0), 1e-9) << row.name;
            ++quantiles;
        }
    EXPECT_EQ(quantiles, 8);
}

// The NumAcc sets of the NIST Statistical Reference Datasets: mean and deviation are exact by construction.
TEST(BasicStatistics, HoldsAccuracyFarFromZero)
{
    struct Case
    {
        double center;
        double step;
        int pairs;
        double deviation;
        double tolerance;
    };
    for (const Case& c : {
             Case{10000002.0, 1.0, 1, 1.0, 0.0},      // NumAcc1
             Case{1.2, 0.1, 500, 0.1, 1e-14},         // NumAcc2
             Case{1000000.2, 0.1, 500, 0.1, 1e-9},    // NumAcc3
             Case{10000000.2, 0.1, 500, 0.1, 1e-8},   // NumAcc4
         })
    {
        std::vector<double> values{c.center};
        for (int i = 0; i < c.pairs; ++i)
        {
            values.push_back(c.center - c.step);
            values.push_back(c.center + c.step);
        }
        const Moments moments(values);
        EXPECT_NEAR(moments.mean, c.center, 1e-15 * c.center * c.pairs);
        EXPECT_NEAR(std::sqrt(moments.variance), c.deviation, c.tolerance);
        EXPECT_NEAR(std::sqrt(BasicStatistics::variance(values, 0, true)), c.deviation, c.tolerance);
    }
}

TEST(BasicStatistics, MomentsStopWhereTheyCannotBeComputed)
{
    struct Case
    {
        std::vector<double> values;
        double mean, variance, skewness, kurtosis;
        const char* why;
    };
    for (const Case& c : {
             Case{{}, kNaN, kNaN, kNaN, kNaN, "no value"},
             Case{{2.0}, 2.0, kNaN, kNaN, kNaN, "one value"},
             Case{{1.0, kNaN, 3.0}, 4.0 / 3.0, (1.0 / 9.0 + 25.0 / 9.0) / 2.0,
                 124.0 / 27.0 * std::sqrt(3.0) / std::pow(26.0 / 9.0, 1.5), 3.0 * (626.0 / 81.0) / (676.0 / 81.0) - 3.0,
                 "a missing one counts"},
             Case{{5.0, 5.0}, 5.0, 0.0, kNaN, kNaN, "nothing varies"},
             Case{{kMax, -kMax}, kNaN, kNaN, kNaN, kNaN, "the sum touches the largest double on its way"},
             Case{{1e200, -1e200}, 0.0, kNaN, kNaN, kNaN, "the squares overflow"},
             Case{{1e100, -1e100, 0.0}, 0.0, 1e200, kNaN, kNaN, "the fourth powers overflow"},
         })
    {
        SCOPED_TRACE(c.why);
        const Moments moments(c.values);
        const double actual[] = {moments.mean, moments.variance, moments.skewness, moments.kurtosis};
        const double expected[] = {c.mean, c.variance, c.skewness, c.kurtosis};
        for (int i = 0; i < 4; ++i)
            if (std::isnan(expected[i]))
                EXPECT_TRUE(std::isnan(actual[i])) << "output " << i << " is " << actual[i];
            else
                EXPECT_NEAR(actual[i], expected[i], 1e-14 * std::fabs(expected[i])) << "output " << i;
    }
}

TEST(BasicStatistics, VarianceAndStandardError)
{
    struct Case
    {
        std::vector<double> values;
        int start;
        bool sample;
        double variance;
        double error;
    };
    for (const Case& c : {
             Case{{1.0, 2.0, 6.0}, 0, true, 7.0, std::sqrt(7.0 / 3.0)},
             Case{{1.0, 2.0, 6.0}, 0, false, 14.0 / 3.0, std::sqrt(7.0 / 3.0)},
             Case{{1.0, 2.0, 6.0}, 1, true, 8.0, std::sqrt(8.0 / 3.0)},   // the divisor is the whole length
             Case{{1.0, 2.0, 6.0}, -4, true, 7.0, std::sqrt(7.0 / 3.0)},
             Case{{1.0, kNaN, 3.0}, 0, true, 2.0, std::sqrt(2.0 / 3.0)},
             Case{{1.0, kNaN}, 0, true, 0.0, 0.0},
             Case{{1.0, kNaN}, 0, false, 0.0, 0.0},
             Case{{1.0, kNaN}, 1, true, kNaN, kNaN},
             Case{{1.0}, 1, true, kNaN, kNaN},
             Case{{}, 0, true, kNaN, kNaN},
         })
    {
        const double variance = BasicStatistics::variance(c.values, c.start, c.sample);
        const double error = BasicStatistics::StandardErrorOfMean(c.values, c.start);
        if (std::isnan(c.variance))
        {
            EXPECT_TRUE(std::isnan(variance));
            EXPECT_TRUE(std::isnan(error));
            continue;
        }
        EXPECT_DOUBLE_EQ(variance, c.variance);
        EXPECT_DOUBLE_EQ(error, c.error);
    }
}

TEST(BasicStatistics, RunningCovariance)
{
    int n = 0;
    double meanX = 0.0, meanY = 0.0, cov = 0.0;
    for (const auto& [x, y] : std::vector<std::pair<double, double>>{{1, 2}, {kNaN, 5}, {2, 4}, {7, kNaN}, {3, 9}})
        BasicStatistics::CovarianceIterative(x, y, n, meanX, meanY, cov);
    EXPECT_EQ(n, 3);
    EXPECT_DOUBLE_EQ(meanX, 2.0);
    EXPECT_DOUBLE_EQ(meanY, 5.0);
    EXPECT_NEAR(cov, 7.0 / 3.0, 1e-15);   // (-1 * -3 + 0 * -1 + 1 * 4) / 3
}

TEST(BasicStatistics, SymmetricSolver)
{
    // L = (1; 1/2 1; 1/4 5/8 1), D = (4, 4, 67/16); the lower triangle is not read
    std::vector<std::vector<double>> a{{4, 2, 1}, {kNaN, 5, 3}, {kNaN, kNaN, 6}};
    ASSERT_EQ(BasicStatistics::symdet(a), -1);
    EXPECT_EQ(a[1][0], 0.5);
    EXPECT_EQ(a[2][0], 0.25);
    EXPECT_EQ(a[2][1], 0.625);
    EXPECT_EQ(a[0][0], 0.25);
    EXPECT_EQ(a[1][1], 0.25);
    EXPECT_EQ(a[2][2], 16.0 / 67.0);
    std::vector<double> x;
    BasicStatistics::symsol(a, {11, 21, 25}, x);
    ASSERT_EQ(x.size(), 3u);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(x[static_cast<std::size_t>(i)], i + 1.0, 1e-15);
}

TEST(BasicStatistics, SymmetricSolverNamesTheFailedRow)
{
    struct Case
    {
        std::vector<std::vector<double>> a;
        int result;
    };
    for (Case c : {
             Case{{}, -1},
             Case{{{1, 0}, {0, 1}}, -1},
             Case{{{1, 1}, {1, 1}}, 1},
             Case{{{0, 0}, {0, 1}}, 0},
             Case{{{1, 0, 2}, {0, 1, 0}, {2, 0, 3}}, 2},   // indefinite: the last pivot is -1
             Case{{{1e-15}}, -1},
             Case{{{0.9e-15}}, 0},
         })
        EXPECT_EQ(BasicStatistics::symdet(c.a), c.result);
}

TEST(BasicStatistics, OutlierUpperBoundIsCancelledOnTheWay)
{
    int asked = 0;
    const CancellationScope cancel([&asked] { return ++asked == 2; });
    EXPECT_THROW(BasicStatistics::OutlierUpperBound(std::vector<double>(5000, 1.0), 0.05), CancelledException);
}

TEST(BasicStatistics, OutlierUpperBound)
{
    const double kNone = kNaN;
    const std::vector<double> even{3, 100, 0, 7, 10, 1, 9, 4, 2, 8, 5, 6};      // gaps 1, then 90; threshold 1.5 L
    const std::vector<double> uneven{0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 100};   // gaps 2, 1, then 89: (1 + 2 * 2) L / 2
    const std::vector<double> dirty{3, kNaN, 100, 0, 7, kInf, 10, 1, 9, 4, 2, -kInf, 8, 5, 6};
    const std::vector<double> narrow{0, 1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009, 1049};
    const std::vector<double> wide{0, 1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009, 1069};
    struct Case
    {
        std::vector<double> values;
        double alpha;
        double bound;
        const char* why;
    };
    for (const Case& c : {
             Case{even, 0.05, 10.0, "one far value"},
             Case{dirty, 0.05, 10.0, "only finite values count"},
             Case{even, std::exp(-59.0), 10.0, "90 exceeds 88.5"},
             Case{even, std::exp(-61.0), kNone, "90 does not exceed 91.5"},
             Case{uneven, std::exp(-35.0), 11.0, "89 exceeds 87.5"},
             Case{uneven, std::exp(-36.0), kNone, "the farther gap has the larger weight: 90"},
             Case{narrow, 0.05, kNone, "40 is less than a twentieth of 1049"},
             Case{wide, 0.05, 1009.0, "60 is more than a twentieth of 1069"},
             Case{{0, 0, 0, 0, 0, 0, 1e9}, 0.05, kNone, "seven values"},
             Case{{0, 1, 2, 3, 4, 5, 6, 100}, 0.05, 6.0, "eight: m is 2, the gap below is 1"},
             Case{{0, 1, 100}, 0.05, kNone, "three values: none lies above the third quartile"},
             Case{{0, 100}, 0.05, kNone, "two values"},
             Case{{1}, 0.05, kNone, "one value"},
             Case{{}, 0.05, kNone, "no value"},
             Case{{kNaN, kInf}, 0.05, kNone, "no finite value"},
             Case{std::vector<double>(50, 3.0), 0.05, kNone, "no gap"},
         })
    {
        const double bound = BasicStatistics::OutlierUpperBound(c.values, c.alpha);
        if (std::isnan(c.bound))
            EXPECT_TRUE(std::isnan(bound)) << c.why << ": " << bound;
        else
            EXPECT_EQ(bound, c.bound) << c.why;
    }
}

TEST(BasicStatistics, Distances)
{
    const auto full = BasicStatistics::SquaredEuclideanDistance;
    EXPECT_EQ(full({1, 2}, {4, 6}, 0.5), 12.5);
    EXPECT_EQ(full({}, {}, 2.0), 0.0);
    EXPECT_TRUE(std::isnan(full({1}, {1, 2}, 1.0)));
    EXPECT_TRUE(std::isnan(full({1, kNaN}, {1, 2}, 1.0)));

    const auto partial = BasicStatistics::SquaredAdjustedPartialEuclideanDistance;
    EXPECT_EQ(partial({1, kNaN, 2, 7}, {4, 5, 6, kNaN}, 0.5), 25.0) << "25 over two of four coordinates";
    EXPECT_EQ(partial({1, 2}, {4, 6}, 0.5), 12.5);
    EXPECT_TRUE(std::isnan(partial({kNaN, 1}, {2, kNaN}, 1.0)));
    EXPECT_TRUE(std::isnan(partial({}, {}, 1.0)));
    EXPECT_TRUE(std::isnan(partial({1}, {1, 2}, 1.0)));
}

TEST(BasicStatistics, RandomProjection)
{
    constexpr std::size_t kLength = 16;   // s = 4: +4, 0, -4 with 1/8, 1/4, 5/8
    constexpr int kDims = 4000;
    std::vector<std::vector<double>> rows(kLength, std::vector<double>(kLength, 0.0));
    for (std::size_t i = 0; i < kLength; ++i)
        rows[i][i] = 1.0;   // a unit row shows the coefficients themselves
    rows.push_back(std::vector<double>(kLength, 0.0));
    rows.back()[2] = 1.0;
    rows.back()[5] = -3.0;
    rows.push_back(std::vector<double>(kLength, kNaN));

    const auto projected = BasicStatistics::ComputeRandomProjection(rows, kDims);
    ASSERT_EQ(projected.size(), rows.size());
    int plus = 0, zero = 0, minus = 0;
    for (std::size_t t = 0; t < kDims; ++t)
    {
        for (std::size_t i = 0; i < kLength; ++i)
        {
            plus += projected[i].at(t) == 4.0;
            zero += projected[i].at(t) == 0.0;
            minus += projected[i].at(t) == -4.0;
        }
        ASSERT_EQ(projected[kLength].at(t), projected[2][t] - 3.0 * projected[5][t]);
        ASSERT_TRUE(std::isnan(projected[kLength + 1].at(t)));
    }
    constexpr double kDraws = 1.0 * kLength * kDims;
    EXPECT_EQ(plus + zero + minus, kDraws);
    EXPECT_NEAR(plus / kDraws, 0.125, 0.012);   // more than seven standard deviations
    EXPECT_NEAR(zero / kDraws, 0.25, 0.013);
    EXPECT_NE(BasicStatistics::ComputeRandomProjection(rows, kDims)[0], projected[0]) << "a fresh seed each time";

    EXPECT_TRUE(BasicStatistics::ComputeRandomProjection({}, 3).empty());
    EXPECT_EQ(BasicStatistics::ComputeRandomProjection({{}, {}}, 2), (std::vector<std::vector<double>>(2, {0.0, 0.0})));
    EXPECT_EQ(BasicStatistics::ComputeRandomProjection({{1.0}}, 0), (std::vector<std::vector<double>>(1)));
}

}   // namespace
