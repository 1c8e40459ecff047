#include "brvcore/transforms/ExponentialSmoothing.h"

#include "tests/support/LogicAssert.h"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using enum ForecastComponentType;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Start
{
    std::vector<double> series;
    SmoothingComponents components;
    double level;
    double trend;
    std::vector<double> season;
    const char* why;
};

TEST(ExponentialSmoothing, StartsWhereTheFirstObservationsPoint)
{
    // Two seasons of 4 around the line 6 + 2 i; means 10 and 18; deviations 1 0 1 2, then 2 -1 1 2.
    const std::vector<double> kTwoSeasons = {7, 8, 11, 14, 16, 15, 19, 22};
    const std::vector<Start> starts = {
        {{kNaN, 1, 3, 5, kNaN, 7, 100}, {None, None, 12}, 4, 0, {}, "the mean of the first four observations"},
        {{8, kNaN}, {None, None, 1}, 8, 0, {}, "fewer than four"},
        {{kNaN, 1, 3, 5, kNaN, 7, 100}, {Additive, None, 1}, 4, 24.5, {}, "slopes 2, 2, 1 over a gap, and 93"},
        {{kNaN, 1, 3, 5, kNaN, 7, 100}, {Multiplicative, None, 1}, 4, 7.125, {}, "24.5 / 4 + 1"},
        {{0, 0, 0, 0, 5}, {Multiplicative, None, 1}, 0, 1e6, {}, "the cap of an infinite ratio"},
        {{0, 0, 0, 0, 0}, {Multiplicative, None, 1}, 0, 1e6, {}, "and of 0 / 0"},
        {kTwoSeasons, {Additive, Additive, 4}, 6, 2, {1.5, -0.5, 1, 2}, "both seasons' mean deviations"},
        {kTwoSeasons, {None, Additive, 4}, 10, 0, {-2.5, -2.5, 1, 4}, "without a trend, deviations from both means"},
        {{1, 3, 8, 8}, {None, Multiplicative, 2}, 2, 0, {0.75, 1.25}, "ratios 1/2 3/2 and 1 1"},
        {{3, 5, 9, 7}, {Additive, Multiplicative, 2}, 2, 2, {1.5, 1.0625}, "ratios to the lines 2 + 2 i and 6 + 2 i"},
        {{3, 5, 9, 7}, {Multiplicative, Multiplicative, 2}, 2, 2, {1.5, 1.0625}, "the same lines; 2 / 2 + 1"},
        {{4, kNaN, 8, 6, kNaN, 6}, {None, Additive, 3}, 6, 0, {-1, -1, 1}, "an empty position takes the one before"},
        {{kNaN, 5, 7, kNaN, 5, 7}, {None, Additive, 3}, 6, 0, {1, -1, 1}, "cyclically"},
        {{2, 4, 9, 6}, {None, Additive, 3}, 5, 0, {-3, -1, 4}, "an incomplete second season has no mean"},
        {{1, 3, kNaN, kNaN, 5, 7, kNaN}, {Additive, Additive, 2}, 1, 1, {0, 1},
            "the last season with a mean is the third"},
    };
    for (const Start& start : starts)
    {
        SCOPED_TRACE(start.why);
        const SmoothingStates states = InitExponentialSmoothing(start.series, start.components);
        EXPECT_DOUBLE_EQ(states.level.at(0), start.level);
        EXPECT_DOUBLE_EQ(states.trend.at(0), start.trend);
        ASSERT_EQ(states.season.size(), start.season.size());
        for (std::size_t i = 0; i < start.season.size(); ++i)
            EXPECT_DOUBLE_EQ(states.season[i], start.season[i]) << "position " << i;
    }
}

TEST(ExponentialSmoothing, RefusesAStartWithoutData)
{
    EXPECT_LOGIC_ASSERT(
        InitExponentialSmoothing({1, 2, kNaN, kNaN, kNaN, kNaN}, {Additive, Additive, 2}), 0x7A3590EB, "seasonIdx > 0");
    EXPECT_LOGIC_ASSERT(
        InitExponentialSmoothing({1, 2, 3}, {Multiplicative, Multiplicative, 2}), 0x7A3590EB, "seasonIdx > 0");
    EXPECT_LOGIC_ASSERT(InitExponentialSmoothing({}, {Additive, Additive, 2}), 0x7A3590EB, "seasonIdx > 0");
    EXPECT_LOGIC_ASSERT(
        InitExponentialSmoothing({0, 0, 0, 0}, {None, Multiplicative, 2}), 0x1D6BC24F, "periodIdx <= m_frequency");
    EXPECT_LOGIC_ASSERT(InitExponentialSmoothing({1}, {None, Additive, 2}), 0x1D6BC24F, "periodIdx <= m_frequency");
}

struct Path
{
    int trend;
    int season;
    std::vector<double> fitted;   // four observed periods and two forecasts
    double sse;
    double level;   // behind the forecast
    double trendState;
    std::vector<double> seasonStates;
};

void ExpectClose(double actual, double expected)
{
    EXPECT_NEAR(actual, expected, 1e-13 * std::abs(expected));
}

// Starts at level 10; trend 2 or 5/4; season -1, 1 or 3/4, 5/4; alpha 1/2, beta 1/4, gamma 1/4.
void ExpectPaths(const std::vector<double>& series, const std::vector<Path>& paths)
{
    for (const Path& path : paths)
    {
        SCOPED_TRACE(testing::Message() << "trend " << path.trend << ", season " << path.season);
        SmoothingFit fit;
        fit.components = {
            static_cast<ForecastComponentType>(path.trend), static_cast<ForecastComponentType>(path.season), 2};
        fit.parameters = {0.5, path.trend == 0 ? 0.0 : 0.25, path.season == 0 ? 0.0 : 0.25};
        fit.states.level = {10};
        fit.states.trend = {path.trend == 0 ? 0.0 : path.trend == 1 ? 2.0 : 1.25};
        if (path.season != 0)
            fit.states.season = path.season == 1 ? std::vector<double>{-1, 1} : std::vector<double>{0.75, 1.25};

        ExponentialSmoothingUpdate(series, 2, fit);
        const std::vector<double> forecast = ExponentialSmoothingForecast(4, 2, fit);
        ASSERT_EQ(fit.fitted.size(), path.fitted.size());
        for (std::size_t t = 0; t < path.fitted.size(); ++t)
            ExpectClose(fit.fitted[t], path.fitted[t]);
        EXPECT_EQ(forecast, std::vector<double>(fit.fitted.begin() + 4, fit.fitted.end()));
        ExpectClose(fit.sse, path.sse);
        ExpectClose(fit.states.level.back(), path.level);
        ExpectClose(fit.states.trend.back(), path.trendState);
        ASSERT_EQ(fit.states.season.size(), 8U);
        for (std::size_t i = 0; i < path.seasonStates.size(); ++i)
            ExpectClose(fit.states.season[6 + i], path.seasonStates[i]);
    }
}

// Expected values: the formulas in exact rational arithmetic (Python's fractions), rounded once.
// clang-format off
TEST(ExponentialSmoothing, FollowsTheSeries)
{
    ExpectPaths({10, 14, 13, 19}, {
        {0, 0, {10, 10, 12, 12.5, 15.75, 15.75}, 59.25, 15.75, 0, {}},
        {0, 1, {9, 11.5, 11, 14.375, 14.8125, 17.84375}, 32.640625, 15.0625, 0, {-0.25, 2.78125}},
        {0, 2, {7.5, 14.583333333333334, 9.2895833333333329, 16.974374999999998, 12.989024987024031, 18.523809565314444}, 24.460626258680556, 14.535101010101011, 0, {0.89363155976676389, 1.2744190461725395}},
        {1, 0, {12, 12.75, 15.28125, 15.76171875, 19.40673828125, 21.4326171875}, 21.253067016601562, 21.4326171875, 2.02587890625, {}},
        {1, 1, {11, 14.375, 13.765625, 17.271484375, 17.736572265625, 22.46484375}, 4.7145729064941406, 21.12646484375, 1.948486328125, {-1.44140625, 1.33837890625}},
        {1, 2, {9, 18.541666666666668, 11.353732638888889, 20.85989803774104, 14.989288693568231, 23.573160854287945}, 27.79615304616383, 20.546670630600303, 1.7813402815264772, {0.79877563649222061, 1.1472983276998789}},
        {2, 0, {12.5, 13.7109375, 16.930853610568576, 17.756460798992514, 21.996638530258046, 26.327458961668864}, 23.331556981068601, 26.327458961668864, 1.1968855571024384, {}},
        {2, 2, {9.375, 20.350477430555557, 12.69015741757811, 23.587893876816096, 16.802463109879245, 28.467189984049384}, 61.863961246803981, 25.963228495989171, 1.1854096708859534, {0.7671542954772459, 1.0964426087628905}},
    });
}

TEST(ExponentialSmoothing, FillsMissingObservationsWithItsOwnPrediction)
{
    ExpectPaths({kNaN, 14, kNaN, 19}, {
        {0, 0, {10, 10, 12, 12, 15.5, 15.5}, 65, 15.5, 0, {}},
        {0, 1, {9, 11, 10.5, 13.25, 13.375, 17.5625}, 42.0625, 14.375, 0, {-1, 3.1875}},
        {0, 2, {7.5, 12.5, 7.9500000000000002, 13.647500000000001, 9.5089805825242717, 17.924278885784943}, 30.899256250000001, 12.678640776699028, 0, {0.75, 1.4137382075471698}},
        {1, 0, {12, 14, 16, 18, 20.625, 22.75}, 1, 22.75, 2.125, {}},
        {1, 1, {11, 15, 14.375, 18, 18.75, 22.75}, 2, 21.75, 2, {-1, 1}},
        {1, 2, {9, 17.5, 10.6875, 18.881250000000001, 13.209375, 22.925051591981131}, 12.2641015625, 19.274999999999999, 1.6625000000000001, {0.75, 1.1893671383647799}},
        {2, 0, {12.5, 15.625, 18.274921875, 22.54668486328125, 25.125165847964674, 30.3886560848395}, 15.21959851942834, 30.3886560848395, 1.2094907659008032, {}},
        {2, 2, {9.375, 19.53125, 12.12909140625, 22.648711006832421, 15.886784970726476, 27.897363200732585}, 43.907818573880064, 25.026329188737773, 1.1814691849948933, {0.75, 1.1147205405292449}},
    });
}
// clang-format on

TEST(ExponentialSmoothing, StopsAtTheFirstNaNOfTheSum)
{
    SmoothingFit fit;
    fit.components = {Multiplicative, None, 1};
    fit.parameters = {0.5, 0.5, 0.0};
    fit.states = {{0.0}, {1.0}, {}};
    ExponentialSmoothingUpdate({1, 2, 3, 4, 5}, 0, fit);   // 0.5 / 0 makes the trend infinite, then infinity / infinity
    EXPECT_EQ(fit.fitted[2], std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(fit.sse));
    EXPECT_TRUE(std::isnan(fit.fitted[4]));
}

struct Innovation
{
    SmoothingComponents components;
    double outcome;
    SmoothingState after;
    const char* why;
};

// From level 10, trend 2, season 4 with coefficients 1/2, 1/4, 1/8 and an error of 8 (additive) or 1/2 (relative).
TEST(ExponentialSmoothing, DrawsTheStatesAlongWithAnError)
{
    const std::vector<Innovation> innovations = {
        {{None, None, 1}, 18, {14, 2, 4}, "10 + 8"},
        {{Additive, None, 1}, 20, {16, 4, 4}, "12 + 8"},
        {{Additive, Additive, 1}, 24, {16, 4, 5}, "12 + 4 + 8"},
        {{None, Multiplicative, 1}, 60, {12.5, 2, 4.25}, "10 * 4 * 1.5"},
        {{Additive, Multiplicative, 1}, 72, {15, 3.5, 4.25}, "12 * 4 * 1.5; the trend moves by 12 / 4 * 0.5"},
        {{Multiplicative, None, 1}, 30, {25, 2.25, 4}, "20 * 1.5"},
        {{Multiplicative, Additive, 1}, 36, {25, 2.25, 4.25}, "(20 + 4) * 1.5"},
        {{Multiplicative, Multiplicative, 1}, 120, {25, 2.25, 4.25}, "20 * 4 * 1.5"},
    };
    for (const Innovation& row : innovations)
    {
        SCOPED_TRACE(row.why);
        SmoothingState state{10, 2, 4};
        const double error = row.components.HasMultiplicativeError() ? 0.5 : 8.0;
        EXPECT_DOUBLE_EQ(StateSpaceUpdate(row.components, {0.5, 0.25, 0.125}, error, state), row.outcome);
        EXPECT_DOUBLE_EQ(state.level, row.after.level);
        EXPECT_DOUBLE_EQ(state.trend, row.after.trend);
        EXPECT_DOUBLE_EQ(state.season, row.after.season);
    }
}

}   // namespace
