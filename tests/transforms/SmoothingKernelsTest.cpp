#include "brvcore/transforms/SmoothingKernels.h"

#include "brvcore/transforms/ExponentialSmoothing.h"
#include "brvcore/transforms/ForecastOptimizer.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// Positive values that grow, with a cycle and a share of missing ones.
std::vector<double> Series(int n, double missingShare)
{
    std::mt19937 random(static_cast<unsigned>(n) + 1);
    const auto draw = [&] { return static_cast<double>(random()) / 4294967296.0; };
    std::vector<double> series;
    for (int t = 0; t < n; ++t)
    {
        const double value = 50.0 + 0.7 * t + 15.0 * std::sin(0.5 * t) + 4.0 * draw();
        series.push_back(draw() < missingShare ? std::numeric_limits<double>::quiet_NaN() : value);
    }
    return series;
}

class SmoothingKernels : public testing::TestWithParam<std::tuple<int, int>>
{
};

// Every combination, on series around one, two and three seasons long, against the single recursion, to the last bit. Some
// parameters lie outside the boxes, where sums overflow, and a start of 0 divides by zero.
TEST_P(SmoothingKernels, LanesEqualTheSingleRecursion)
{
    const auto [level, frequency] = GetParam();
    const SmoothingKernel* kernel = SmoothingKernelOfLevel(level);
    if (kernel == nullptr)
        GTEST_SKIP() << "this processor has no such instructions";
    const auto lanes = static_cast<std::size_t>(kernel->lanes);
    std::vector<double> alpha(lanes), beta(lanes), gamma(lanes), sse(lanes);
    std::vector<double> ring(lanes * static_cast<std::size_t>(frequency));
    for (std::size_t k = 0; k < lanes; ++k)
    {
        alpha[k] = 0.03 * static_cast<double>(k + 1);
        beta[k] = k == 3 ? 40.0 : 0.5 - 0.02 * static_cast<double>(k);
        gamma[k] = k == 5 ? -1e-12 : 0.01 * static_cast<double>(k * k % 50);
    }

    int nanSums = 0;
    for (const int n :
        {0, 1, frequency - 1, frequency, frequency + 1, 2 * frequency - 1, 2 * frequency, 3 * frequency + 2, 240})
        for (const double missingShare : {0.0, 0.2, 1.0})
            for (const double startLevel : {40.0, 0.0})
                for (int trend = 0; trend <= 2; ++trend)
                    for (int season = 0; season <= 2; ++season)
                    {
                        const std::vector<double> series = Series(n, missingShare);
                        const SmoothingComponents components{static_cast<ForecastComponentType>(trend),
                            static_cast<ForecastComponentType>(season), frequency};
                        SmoothingStates start{{startLevel}, {trend == 2 ? 1.01 : 0.5}, {}};
                        for (int i = 0; components.HasSeason() && i < frequency; ++i)
                            start.season.push_back(season == 2 ? 0.8 + 0.03 * i : i - 3.0);
                        const SmoothingObjective objective(series, components, start);
                        kernel->accumulate(
                            objective.GetProblem(), {alpha.data(), beta.data(), gamma.data(), sse.data()}, ring.data());
                        for (std::size_t k = 0; k < lanes; ++k)
                        {
                            const double expected = objective({alpha[k], beta[k], gamma[k]});
                            const double actual = std::isnan(sse[k]) ? DBL_MAX : sse[k];
                            nanSums += std::isnan(sse[k]);
                            ASSERT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected))
                                << "n " << n << ", missing " << missingShare << ", start " << startLevel << ", trend "
                                << trend << ", season " << season << ", lane " << k;
                        }
                    }
    EXPECT_GT(nanSums, 0) << "the cases no longer reach a sum that is NaN";
}

INSTANTIATE_TEST_SUITE_P(
    LevelAndSeason, SmoothingKernels, testing::Combine(testing::Values(0, 1), testing::Values(1, 2, 7, 12)));

}   // namespace
