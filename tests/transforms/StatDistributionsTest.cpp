#include "brvcore/transforms/StatDistributions.h"

#include "tests/transforms/ReferenceData.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(StatDistributions, AgreesWithTheReference)
{
    int compared = 0;
    for (const ReferenceRow& row : ReadReference("distributions.csv"))
    {
        SCOPED_TRACE(testing::Message() << row.name << "(" << row.numbers[0] << ", " << row.numbers[1] << ")");
        const double x = row.numbers[0];
        const int df1 = static_cast<int>(row.numbers[1]);
        const int df2 = static_cast<int>(row.numbers[2]);
        const double expected = row.numbers[3];
        if (row.name == "pf")
            EXPECT_NEAR(StatDistributions::ComputePF(x, df1, df2), expected, 1e-14);
        else if (row.name == "qf")
            EXPECT_NEAR(StatDistributions::ComputeQF(x, df1, df2), expected, 1e-12 * (1.0 + expected));
        else
            continue;
        ++compared;
    }
    EXPECT_EQ(compared, 16);
}

TEST(StatDistributions, RefusesATailItCannotCompute)
{
    struct Case
    {
        double f;
        int df1;
        int df2;
        const char* why;
    };
    for (const Case& c : {
             Case{1.0, 0, 5, "no first degree of freedom"},
             Case{1.0, 5, 0, "no second degree of freedom"},
             Case{-1.0, 2, 2, "df1 f + df2 is 0"},
             Case{-0.5, 2, 2, "the share is above 1"},
             Case{-3.0, 2, 2, "the share is negative"},
             Case{kInf, 2, 2, "infinite"},
             Case{-kInf, 2, 2, "infinite"},
             Case{kNaN, 2, 2, "missing"},
         })
        EXPECT_EQ(StatDistributions::ComputePF(c.f, c.df1, c.df2), -1.0) << c.why;
}

// A complement would keep digits here; the tail is defined as 1 minus the lower one.
TEST(StatDistributions, TailIsOneMinusTheLowerTail)
{
    EXPECT_EQ(StatDistributions::ComputePF(1e12, 2, 30), 0.0);
}

TEST(StatDistributions, QuantileOfBadArguments)
{
    EXPECT_TRUE(std::isnan(StatDistributions::ComputeQF(1.5, 2, 3)));
    EXPECT_TRUE(std::isnan(StatDistributions::ComputeQF(-0.1, 2, 3)));
    EXPECT_TRUE(std::isnan(StatDistributions::ComputeQF(kNaN, 2, 3)));
    EXPECT_TRUE(std::isnan(StatDistributions::ComputeQF(0.5, 0, 3)));
    EXPECT_TRUE(std::isnan(StatDistributions::ComputeQF(0.5, 2, 0)));
    EXPECT_EQ(StatDistributions::ComputeQF(1.0, 2, 3), kInf);
}

}   // namespace
