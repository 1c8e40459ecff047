#include "brvcore/transforms/ForecastOptimizer.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/ExponentialSmoothing.h"

#include <array>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using enum ForecastComponentType;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Four years of quarters that grow and swing, with two missing.
const std::vector<double> kQuarters = {30, 21, 29, 31, 40, kNaN, 53, 47, 57, 49, 61, 59, kNaN, 59, 70, 74};
const ParameterBox kLevelOnly{{0.2, 0, 0}, {0.3, 0, 0}};

TEST(ForecastOptimizer, CutsEachUsedParameterInFive)
{
    EXPECT_EQ(ForecastOptimizer::Boxes({None, None, 1}).size(), 5U);
    EXPECT_EQ(ForecastOptimizer::Boxes({Additive, None, 1}).size(), 25U);
    EXPECT_EQ(ForecastOptimizer::Boxes({None, Multiplicative, 4}).size(), 25U);
    const std::vector<ParameterBox> boxes = ForecastOptimizer::Boxes({Additive, Additive, 4});
    ASSERT_EQ(boxes.size(), 125U);
    EXPECT_EQ(boxes.front().lower, (ForecastParameters{0, 0, 0}));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_DOUBLE_EQ(boxes.back().upper[i], 0.5);
    EXPECT_TRUE(boxes[7].IsActive(0) && boxes[7].IsActive(1) && boxes[7].IsActive(2));
    EXPECT_FALSE(ForecastOptimizer::Boxes({Additive, None, 1})[0].IsActive(2));
}

TEST(ForecastOptimizer, TakesCentralDifferences)
{
    // Slopes of a^2 + 3 b at (0.25, 0.4), exact for a quadratic but for rounding; gamma's box is empty.
    std::vector<ForecastParameters> asked;
    const auto objective = [&](const ForecastParameters& p)
    {
        asked.push_back(p);
        return p[0] * p[0] + 3.0 * p[1];
    };
    double last = 0.0;
    const ForecastParameters slope =
        ForecastOptimizer::Gradient(objective, {0.25, 0.4, 0.0}, {{0.2, 0.4, 0}, {0.3, 0.5, 0}}, last);
    EXPECT_NEAR(slope[0], 0.5, 1e-9);
    EXPECT_NEAR(slope[1], 3.0, 1e-9);
    EXPECT_EQ(slope[2], 0.0);
    ASSERT_EQ(asked.size(), 4U);
    EXPECT_DOUBLE_EQ(asked[0][0], 0.25025);
    EXPECT_DOUBLE_EQ(asked[1][0], 0.24975);
    EXPECT_EQ(last, asked[3][0] * asked[3][0] + 3.0 * asked[3][1]) << "the lower side of the last active parameter";
}

TEST(ForecastOptimizer, AtZeroTheDifferenceIsNotZero)
{
    std::vector<double> asked;
    double last = 0.0;
    ForecastOptimizer::Gradient([&](const ForecastParameters& p) { return asked.emplace_back(p[0]); }, {0, 0, 0},
        {{0, 0, 0}, {0.1, 0, 0}}, last);
    EXPECT_EQ(asked, (std::vector<double>{1e-12, -1e-12}));
}

TEST(ForecastOptimizer, EndsAtTheWallOrAfter101Steps)
{
    int evaluations = 0;
    const auto uphill = [&](const ForecastParameters& p)
    {
        ++evaluations;
        return p[0];
    };
    const ForecastOptimizer::Descent atWall = ForecastOptimizer::GradientDescent(uphill, kLevelOnly);
    EXPECT_EQ(atWall.parameters[0], 0.2);
    // 0.25 to 0.20 in five steps of 0.01 (a sixth is shorter than the limit, whatever the rounding left).
    EXPECT_GE(evaluations, 2 * 5);
    EXPECT_LE(evaluations, 2 * 7);
    EXPECT_DOUBLE_EQ(atWall.sse, 0.2 - 0.0002) << "of the last evaluation, not of the point";

    evaluations = 0;
    const auto valley = [&](const ForecastParameters& p)
    {
        ++evaluations;
        return std::abs(p[0] - 0.2345);
    };
    const ForecastOptimizer::Descent between = ForecastOptimizer::GradientDescent(valley, kLevelOnly);
    EXPECT_EQ(evaluations, 2 * 101);
    EXPECT_NEAR(between.parameters[0], 0.2345, 0.01) << "stepping to and fro";
}

TEST(ForecastOptimizer, AFlatOrUnusableObjectiveDoesNotMove)
{
    for (const double value : {1.0, DBL_MAX})
    {
        const auto descent =
            ForecastOptimizer::GradientDescent([&](const ForecastParameters&) { return value; }, kLevelOnly);
        EXPECT_DOUBLE_EQ(descent.parameters[0], 0.25);
        EXPECT_EQ(descent.sse, value);
    }
}

// One box after the other with the plain objective, as the many-lane form has to come out.
ForecastParameters PlainOptimum(const SmoothingObjective& objective)
{
    ForecastParameters best{};
    double bestSse = DBL_MAX;
    for (const ParameterBox& box : ForecastOptimizer::Boxes(objective.GetComponents()))
    {
        const ForecastOptimizer::Descent descent =
            ForecastOptimizer::GradientDescent([&](const ForecastParameters& p) { return objective(p); }, box);
        if (descent.sse < bestSse)
        {
            bestSse = descent.sse;
            best = descent.parameters;
        }
    }
    return best;
}

TEST(ForecastOptimizer, ManyStartsAtATimeEqualThePlainLoop)
{
    for (int trend = 0; trend <= 2; ++trend)
        for (int season = 0; season <= 2; ++season)
        {
            const SmoothingComponents components{
                static_cast<ForecastComponentType>(trend), static_cast<ForecastComponentType>(season), 4};
            const SmoothingStates start = InitExponentialSmoothing(kQuarters, components);
            const SmoothingObjective objective(kQuarters, components, start);
            const ForecastParameters plain = PlainOptimum(objective);
            EXPECT_NE(plain, ForecastParameters{});
            for (const int level : {0, 1})
            {
                const SmoothingKernel* kernel = SmoothingKernelOfLevel(level);
                if (kernel == nullptr)
                    continue;
                EXPECT_EQ(ForecastOptimizer::OptimizeParameters(objective, *kernel), plain)
                    << "trend " << trend << ", season " << season << ", level " << level;
            }
        }
}

TEST(ForecastOptimizer, WithoutAFiniteSumAllParametersAreZero)
{
    const std::vector<double> series = {1, 2, 3};
    const SmoothingStates start{{kNaN}, {kNaN}, {}};
    const SmoothingObjective objective(series, {Additive, None, 1}, start);
    EXPECT_EQ(objective({0.5, 0.5, 0.5}), DBL_MAX);
    EXPECT_EQ(ForecastOptimizer::OptimizeParameters(objective), ForecastParameters{});
}

// R 4.2.2: HoltWinters(x, alpha = .3, beta = .2, gamma = FALSE, l.start = 30, b.start = -2, start.periods = 2)$SSE with
// the 24 values c(30, 21, ...); its recursion begins at the third.
TEST(ForecastOptimizer, TheObjectiveIsHoltsSumOfSquares)
{
    const std::vector<double> series = {
        29, 31, 40, 48, 53, 47, 37, 39, 31, 29, 17, 9, 20, 24, 27, 35, 41, 38, 27, 31, 27, 26};
    const SmoothingStates start{{30}, {-2}, {}};
    EXPECT_DOUBLE_EQ(SmoothingObjective(series, {Additive, None, 1}, start)({0.3, 0.2, 0.0}), 2952.9733414851953);
}

TEST(ForecastOptimizer, CanBeCancelled)
{
    const CancellationScope scope([] { return true; });
    const SmoothingStates start{{30}, {0}, {}};
    const SmoothingObjective objective(kQuarters, {None, None, 1}, start);
    EXPECT_THROW(ForecastOptimizer::OptimizeParameters(objective), CancelledException);
}

}   // namespace
