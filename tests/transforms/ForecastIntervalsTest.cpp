#include "brvcore/transforms/ForecastIntervals.h"

#include "brvcore/transforms/ForecastAggregation.h"

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>
#include <gtest/gtest.h>

namespace
{

using enum ForecastComponentType;

// A fit behind its last observation, the fourth. The states before it are of no account.
SmoothingFit FitOf(const SmoothingComponents& components, const ForecastParameters& parameters)
{
    SmoothingFit fit;
    fit.components = components;
    fit.parameters = parameters;
    fit.states.level = {0, 0, 0, 0, 100};
    fit.states.trend = {0, 0, 0, 0, 1.5};
    fit.states.season = {0, 0, 0, 0, 0.8, 1.2};
    fit.statistics.residuals = {0, 0, 0, 0};
    fit.statistics.fittedCount = 4;
    fit.statistics.sse = 16;
    fit.statistics.sigma = 0.05;
    return fit;
}

TEST(ForecastIntervals, CriticalValues)
{
    EXPECT_DOUBLE_EQ(CriticalValue(0.95), 1.959963984540054);
    EXPECT_NEAR(CriticalValue(0.99), 2.5758293035489004, 1e-14);   // R: qnorm(0.995)
    EXPECT_EQ(CriticalValue(0.0), 0.0);
    EXPECT_THROW(CriticalValue(1.0), std::overflow_error);
    for (const double level : {1.2, -0.5, -3.0, std::numeric_limits<double>::quiet_NaN()})
        try
        {
            CriticalValue(level);
            ADD_FAILURE() << level;
        }
        catch (const std::domain_error& error)
        {
            const std::string message = error.what();
            EXPECT_NE(message.find("Probability argument is "), std::string::npos) << message;
            EXPECT_NE(message.find(", but must be >= 0 and <= 1 !"), std::string::npos) << message;
        }
}

TEST(ForecastIntervals, AdditiveErrorsHaveAClosedForm)
{
    // Error variance 16 / 4 = 4. Coefficients 0.5 (1 + 0.2 j), and (1 - 0.5) 0.4 more when j is even: 0.6, 0.9, 0.8.
    const SmoothingFit fit = FitOf({Additive, Additive, 2}, {0.5, 0.2, 0.4});
    const ForecastIntervals intervals = ComputePredictionIntervals(fit, {10, 20, 30, 40}, 0.95);
    const std::vector<double> variances = {4.0, 4.0 * 1.36, 4.0 * 2.17, 4.0 * 2.81};
    ASSERT_EQ(intervals.halfWidths.size(), 4U);
    for (std::size_t h = 0; h < 4; ++h)
    {
        const double forecast = 10.0 * static_cast<double>(h + 1);
        EXPECT_NEAR(intervals.standardDeviations[h], std::sqrt(variances[h]), 1e-14);
        EXPECT_NEAR(intervals.halfWidths[h], 1.959963984540054 * std::sqrt(variances[h]), 1e-13);
        EXPECT_DOUBLE_EQ(intervals.lower[h], forecast - intervals.halfWidths[h]);
        EXPECT_DOUBLE_EQ(intervals.upper[h], forecast + intervals.halfWidths[h]);
    }
}

// The same 100 paths, with the recursion of an additive trend and a multiplicative season of 2 written out, and the
// deviations taken in two passes.
TEST(ForecastIntervals, MultiplicativeErrorsAreSimulatedPathByPath)
{
    const SmoothingFit fit = FitOf({Additive, Multiplicative, 2}, {0.5, 0.2, 0.4});
    const std::vector<double> forecast(5, 7.0);
    const ForecastIntervals intervals = SimulatePredictionIntervals(fit, forecast, 0.95);

    boost::random::mt19937 generator(13579);
    boost::random::normal_distribution<double> normal(0.0, 0.05);
    std::vector<std::vector<double>> outcomes(5);
    for (int path = 0; path < 100; ++path)
    {
        double level = 100, trend = 1.5;
        double season[7] = {0.8, 1.2};
        for (std::size_t h = 0; h < 5; ++h)
        {
            const double e = normal(generator);
            const double mu = level + trend;
            outcomes[h].push_back(mu * season[h] * (1 + e));
            level = mu * (1 + 0.5 * e);
            trend += 0.1 * mu * e;
            season[h + 2] = season[h] * (1 + 0.2 * e);
        }
    }
    for (std::size_t h = 0; h < 5; ++h)
    {
        double mean = 0.0, squares = 0.0;
        for (const double outcome : outcomes[h])
            mean += outcome / 100;
        for (const double outcome : outcomes[h])
            squares += (outcome - mean) * (outcome - mean);
        EXPECT_NEAR(intervals.standardDeviations[h], std::sqrt(squares / 100), 1e-11) << "horizon " << h + 1;
        EXPECT_DOUBLE_EQ(intervals.upper[h], 7.0 + 1.959963984540054 * intervals.standardDeviations[h]);
    }
    EXPECT_EQ(SimulatePredictionIntervals(fit, forecast, 0.95).lower, intervals.lower) << "the seed is fixed";
}

TEST(ForecastIntervals, AFitThatFailedHasNone)
{
    SmoothingFit fit = FitOf({Multiplicative, None, 1}, {0.5, 0.2, 0.0});
    fit.statistics.sigma = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(SimulatePredictionIntervals(fit, {1.0}, 0.95).halfWidths.at(0)));
}

TEST(ForecastAggregation, SumsFinerPeriods)
{
    const std::vector<double> months = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(SumIntoViewPeriods(months, 0, 3), (std::vector<double>{6, 15, 7}));
    EXPECT_EQ(SumIntoViewPeriods(months, 2, 3), (std::vector<double>{1, 9, 18})) << "the first period begins late";
    EXPECT_EQ(SumIntoViewPeriods(months, 4, 3), (std::vector<double>{0, 3, 12, 13})) << "and the one before is empty";
    EXPECT_EQ(SumIntoViewPeriods(months, -2, 3), (std::vector<double>{15, 13})) << "positions -2 and -1 divide to 0";
    EXPECT_EQ(SumIntoViewPeriods(months, -4, 3), std::vector<double>{25}) << "-4 and -3 lie in front";
    EXPECT_EQ(SumIntoViewPeriods({}, 5, 3), std::vector<double>());
    EXPECT_EQ(CombineHalfWidths({3, 4, 5, 12, 8}, 0, 2), (std::vector<double>{5, 13, 8})) << "root of summed squares";
}

}   // namespace
