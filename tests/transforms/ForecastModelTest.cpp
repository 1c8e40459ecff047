#include "brvcore/transforms/ForecastModel.h"

#include "brvcore/transforms/ForecastSelection.h"
#include "brvcore/transforms/ForecastStatistics.h"
#include "brvcore/transforms/ForecastSummary.h"
#include "tests/support/LogicAssert.h"

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using enum ForecastComponentType;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The arguments of a model; a test names those that it is about.
struct Request
{
    std::vector<double> series;
    ForecastComponentType trendLimit = Multiplicative;
    ForecastComponentType seasonLimit = Multiplicative;
    AggType aggType = AggType::MonthTrunc;
    int frequency = 12;
    int horizon = 12;
    int firstOffset = 0;
    int partialPeriodPosition = 0;
    double confidence = 0.95;
    ForecastModelType modelType = ForecastModelType::Search;
    ForecastComponentType trend = None;
    ForecastComponentType season = None;
    RefCntPtr<ForecastModel> companion = {};
    DataValue lastActual = DataValue::FromDateTime(DateTime(1960, 12, 1));
    RefCntPtr<Tuple> partition = MakeRefCnt<Tuple>(std::vector<DataValue>{DataValue::Integer(7)});
    ForecastStatus status = ForecastStatus::Success;

    RefCntPtr<ForecastModel> Make() const
    {
        const int n = static_cast<int>(series.size());
        return MakeRefCnt<ForecastModel>(status, FieldName(u"Sales"), partition, companion, aggType, aggType,
            AggType::Sum, series, DateOptions::Default(), n, n, 0, horizon, frequency, firstOffset,
            partialPeriodPosition, 0, DataValue(), lastActual, DataValue(), confidence, Additive, trend, season,
            trendLimit, seasonLimit, modelType);
    }
};

// Months with a trend and a yearly cycle that grow together, and a disturbance.
std::vector<double> Months(int n)
{
    std::vector<double> series;
    for (int t = 0; t < n; ++t)
        series.push_back((100.0 + 2.0 * t) * (1.0 + 0.3 * std::sin(2.0 * std::numbers::pi * t / 12.0)) +
                         2.0 * std::sin(1.7 * t * t));
    return series;
}

TEST(ForecastModel, ForecastsATrendAndASeason)
{
    const auto model = Request{.series = Months(96)}.Make();
    ASSERT_EQ(model->Forecast(), 0);
    EXPECT_TRUE(model->IsTrend());
    EXPECT_EQ(model->GetSeasonType(), Multiplicative);
    EXPECT_EQ(model->GetErrorType(), Multiplicative);
    EXPECT_EQ(model->GetFrequency(), 12);
    EXPECT_EQ(model->GetQuality(), 0);
    EXPECT_EQ(model->GetFittedCount(), 96);
    const std::vector<double> truth = Months(108);
    for (int h = 0; h < 12; ++h)
    {
        const double expected = truth[static_cast<std::size_t>(96 + h)];
        EXPECT_NEAR(model->GetForecast(h), expected, 0.1 * expected) << "horizon " << h + 1;
        EXPECT_LT(model->GetLowerPredictionInterval(h), model->GetForecast(h));
        EXPECT_DOUBLE_EQ(
            model->GetUpperPredictionInterval(h), model->GetForecast(h) + model->GetPredictionIntervals(h));
        EXPECT_EQ(model->GetForecast(h), model->GetFitted(96 + h));
    }
    EXPECT_THROW(model->GetForecast(12), std::out_of_range);
    EXPECT_THROW(model->GetForecast(-1), std::out_of_range);

    // The sine is highest at position 3 and lowest at 9, and the next period is position 0 of the cycle.
    EXPECT_EQ(model->GetSeasonHigh().date, DataValue::FromDateTime(DateTime(1961, 4, 1)));
    EXPECT_EQ(model->GetSeasonLow().date, DataValue::FromDateTime(DateTime(1961, 10, 1)));
    EXPECT_EQ(model->GetSeasonHigh().interval, model->GetPredictionIntervals(3));
    EXPECT_TRUE(model->GetFirstForecastInfo().date.IsNull());

    const std::vector<double> lower = model->GetLowerPredictionInterval();
    ASSERT_EQ(model->Forecast(), 0);
    EXPECT_EQ(model->GetLowerPredictionInterval(), lower) << "a second run gives the same";
    EXPECT_EQ((*model)(model->GetParameters()), model->GetSSE());
}

TEST(ForecastModel, FixedModeKeepsTheGivenComponents)
{
    const auto model = Request{.series = Months(60),
        .frequency = 6,
        .modelType = ForecastModelType::Fixed,
        .trend = Multiplicative,
        .season = Additive}
                           .Make();
    EXPECT_EQ(model->Forecast(), 0);
    EXPECT_EQ(model->GetTrendType(), Multiplicative);
    EXPECT_EQ(model->GetSeasonType(), Additive) << "a pair that a search leaves out";
    EXPECT_EQ(model->GetErrorType(), Multiplicative);
    EXPECT_EQ(model->GetFrequency(), 6);
    EXPECT_GT(model->GetRMSE(), 0.0) << "statistics are there, too";
}

TEST(ForecastModel, ReportsWhatItCannotDo)
{
    const std::vector<double> oneSeason(15, 3.0);
    EXPECT_LOGIC_ASSERT(Request{.series = oneSeason}.Make()->Forecast(), 0x7A3590EB, "seasonIdx > 0");
    EXPECT_LOGIC_ASSERT((Request{.series = std::vector<double>(36, 0.0), .trendLimit = None}.Make()->Forecast()),
        0x1D6BC24F, "periodIdx <= m_frequency");
    EXPECT_LOGIC_ASSERT(
        (Request{.series = Months(36), .horizon = 0}.Make()->Forecast()), 0xE24907A8, "m_forecastLen > 0");
    EXPECT_LOGIC_ASSERT(
        (Request{.series = Months(36), .frequency = 0}.Make()->Forecast()), 0x2E95B7D8, "frequency > 0");
    EXPECT_EQ(
        (Request{.series = Months(36), .aggType = AggType::None, .frequency = -1, .lastActual = DataValue::Integer(36)}
                .Make()
                ->Forecast()),
        0)
        << "a level without a season of its own never asks for it";
    EXPECT_LOGIC_ASSERT(
        (Request{.series = Months(36), .frequency = 0, .modelType = ForecastModelType::Fixed}.Make()->Forecast()),
        0xC8D41F36, "m_frequency > 0");
    constexpr auto kNoComponent = static_cast<ForecastComponentType>(3);
    for (const Request& request :
        {Request{.series = {}, .trendLimit = kNoComponent}, Request{.series = {}, .seasonLimit = kNoComponent},
            Request{.series = {}, .trend = kNoComponent}, Request{.series = {}, .season = kNoComponent}})
        EXPECT_LOGIC_ASSERT(request.Make(), 0x83F1406A,
            "IsComponent(trendType) && IsComponent(seasonType) && IsComponent(trendLimit) && IsComponent(seasonLimit)");
    EXPECT_LOGIC_ASSERT((Request{.series = {}, .horizon = std::numeric_limits<int>::max()}.Make()), 0xD07A5C13,
        "periods <= kMostPeriods");
    EXPECT_THROW((Request{.series = Months(36), .confidence = 1.5}.Make()->Forecast()), std::domain_error);
    EXPECT_LOGIC_ASSERT(ForecastModel(ForecastStatus::Success, FieldName(), {}, {}, AggType::None, AggType::None,
                            AggType::Sum, {1, 2, 3}, DateOptions::Default(), 4, 4, 0, 1, 1, 0, 0, 0, {}, {}, {}, 0.95,
                            None, None, None, None, None, ForecastModelType::Search),
        0x5B0E61D7, "timeSeriesLen == seriesLen");
}

TEST(ForecastModel, AWideSpreadEndsBehindThePointForecast)
{
    // Fitted values near zero beside residuals of the size of the spikes.
    const auto model = Request{.series = {1e-3, 40, 1e-3, 1e-3, 35, 1e-3, 1e-3, 1e-3, 60, 1e-3, 1e-3, 1e-3},
        .frequency = 1,
        .horizon = 3,
        .modelType = ForecastModelType::Fixed,
        .trend = Multiplicative}
                           .Make();
    ASSERT_EQ(model->Forecast(), 24);
    EXPECT_GT(model->GetSigma(), 1.0);
    EXPECT_EQ(model->GetForecast().size(), 3U);
    EXPECT_TRUE(model->GetPredictionIntervals().empty());
    EXPECT_EQ(model->GetFirstForecastInfo().value, 0.0);
}

TEST(ForecastModel, SeriesThatSayNothing)
{
    for (const std::vector<double>& series : {std::vector<double>(), std::vector<double>(20, kNaN)})
    {
        const auto model = Request{.series = series, .seasonLimit = None}.Make();
        EXPECT_EQ(model->Forecast(), 0);
        EXPECT_FALSE(model->IsTrend());
        EXPECT_FALSE(model->IsSeason());
        EXPECT_EQ(model->GetParameters(), ForecastParameters{});
        EXPECT_EQ(model->GetFittedCount(), 0);
        EXPECT_TRUE(std::isnan(model->GetForecast(0)));
    }
    const auto constant = Request{.series = std::vector<double>(30, 5.0), .seasonLimit = None}.Make();
    ASSERT_EQ(constant->Forecast(), 0);
    EXPECT_EQ(constant->GetForecast(11), 5.0);
    EXPECT_FALSE(constant->IsTrend()) << "the first of equals";
}

TEST(ForecastModel, FinerPeriodsAddUpInTheCompanion)
{
    const auto companion = Request{.series = {}, .aggType = AggType::QuarterTrunc, .frequency = 4}.Make();
    const auto model = Request{.series = Months(48), .horizon = 8, .firstOffset = 1, .companion = companion}.Make();
    for (int run = 0; run < 2; ++run)   // the second must not add to the first
    {
        ASSERT_EQ(model->Forecast(), 0);
        ASSERT_EQ(companion->GetForecast().size(), 3U);
        EXPECT_DOUBLE_EQ(model->GetForecast(0, true), model->GetForecast(0) + model->GetForecast(1));
        EXPECT_DOUBLE_EQ(
            model->GetForecast(2, true), model->GetForecast(5) + model->GetForecast(6) + model->GetForecast(7));
        EXPECT_DOUBLE_EQ(model->GetPredictionIntervals(0, true),
            std::hypot(model->GetPredictionIntervals(0), model->GetPredictionIntervals(1)));
        EXPECT_DOUBLE_EQ(model->GetLowerPredictionInterval(0, true),
            model->GetForecast(0, true) - model->GetPredictionIntervals(0, true));
        EXPECT_DOUBLE_EQ(
            model->GetFitTrend(1, true), model->GetFitTrend(2) + model->GetFitTrend(3) + model->GetFitTrend(4));
    }
    // A companion that has a fit of its own keeps it; only its forecast makes room.
    const auto fitted = Request{.series = Months(24), .aggType = AggType::QuarterTrunc, .frequency = 4}.Make();
    ASSERT_EQ(fitted->Forecast(), 0);
    const double sse = fitted->GetSSE();
    ASSERT_EQ((Request{.series = Months(48), .horizon = 8, .companion = fitted}.Make()->Forecast()), 0);
    EXPECT_EQ(fitted->GetSSE(), sse);
    EXPECT_EQ(fitted->GetForecast().size(), 3U);

    EXPECT_TRUE(model->IsEstFinerThanViz());
    EXPECT_EQ(model->GetAggType(true), AggType::QuarterTrunc);
    EXPECT_FALSE(companion->IsEstFinerThanViz());
    EXPECT_EQ(companion->GetAggType(true), AggType::QuarterTrunc) << "without a companion it answers for itself";
}

TEST(ForecastModel, SamenessAndHash)
{
    struct Change
    {
        const char* what;
        std::function<void(Request&)> apply;
        bool changesSameness;
    };
    const Change changes[] = {
        {"partition", [](Request& r) { r.partition = MakeRefCnt<Tuple>(); }, true},
        {"aggregation", [](Request& r) { r.aggType = AggType::DayTrunc; }, true},
        {"frequency", [](Request& r) { r.frequency = 7; }, true},
        {"confidence", [](Request& r) { r.confidence = 0.9; }, true},
        {"trend", [](Request& r) { r.trend = Additive; }, true},
        {"season", [](Request& r) { r.season = Additive; }, true},
        {"model type", [](Request& r) { r.modelType = ForecastModelType::Fixed; }, true},
        {"status", [](Request& r) { r.status = ForecastStatus::ResidualsTooWide; }, false},
        {"horizon", [](Request& r) { r.horizon = 3; }, false},
        {"offset", [](Request& r) { r.firstOffset = 3; }, false},
    };
    const Request base{.series = {1, 2, 3}};
    const auto model = base.Make();
    EXPECT_TRUE(model->HasSameSpecificationAs(*base.Make()));
    EXPECT_EQ(model->GetSpecificationHash(), base.Make()->GetSpecificationHash());
    for (const Change& change : changes)
    {
        Request changed = base;
        change.apply(changed);
        EXPECT_EQ(model->HasSameSpecificationAs(*changed.Make()), !change.changesSameness) << change.what;
        EXPECT_NE(model->GetSpecificationHash(), changed.Make()->GetSpecificationHash()) << change.what;
    }
    EXPECT_THROW(ForecastModel(ForecastStatus::Success).GetSpecificationHash(), LogicException);
    EXPECT_THROW(model->HasSameSpecificationAs(ForecastModel(ForecastStatus::Success)), LogicException);
}

TEST(ForecastSelection, TrustsTheDataOnlyWhereTheCalendarIsSilent)
{
    std::vector<double> cycle;   // of 5, without noise: the search finds it alone
    for (int t = 0; t < 60; ++t)
        cycle.push_back(10.0 + std::sin(2.0 * std::numbers::pi * t / 5.0) + 0.01 * std::sin(3.1 * t * t));
    struct Row
    {
        AggType aggType;
        ForecastComponentType limit;
        std::set<int> lengths;
        ForecastComponentType limitAfter;
    };
    for (const Row& row : {Row{AggType::YearTrunc, Additive, {5}, Additive},
             Row{AggType::None, Additive, {5}, Additive}, Row{AggType::MinuteTrunc, Additive, {5, 60}, Additive},
             Row{AggType::SecondTrunc, Additive, {5, 60}, Additive}, Row{AggType::MonthTrunc, Additive, {60}, Additive},
             Row{AggType::MinuteTrunc, None, {60}, None}, Row{AggType::YearTrunc, None, {1}, None}})
    {
        const SeasonCandidates candidates = CandidateSeasons(cycle, row.aggType, 60, row.limit);
        EXPECT_EQ(candidates.lengths, row.lengths) << static_cast<int>(row.aggType);
        EXPECT_EQ(candidates.seasonLimit, row.limitAfter) << static_cast<int>(row.aggType);
    }
    const SeasonCandidates nothing = CandidateSeasons({1, 2, 3}, AggType::None, 60, Multiplicative);
    EXPECT_EQ(nothing.lengths, std::set<int>{1});
    EXPECT_EQ(nothing.seasonLimit, None);
}

TEST(ForecastStatistics, Errors)
{
    // Residuals 1, -2, missing, 3; N = 3. Lag-1 changes |4 - 2| = 2 alone (the other pairs have a gap), so d = 2.
    SmoothingFit fit;
    fit.components = {Additive, None, 4};
    fit.fitted = {1, 6, 9, 7};
    fit.sse = 14;
    const SmoothingStatistics statistics = ComputeStatistics({2, 4, kNaN, 10}, fit);
    EXPECT_EQ(statistics.fittedCount, 3);
    EXPECT_EQ(statistics.sse, 14.0);
    EXPECT_DOUBLE_EQ(statistics.rmse, std::sqrt(14.0 / 3.0));
    EXPECT_EQ(statistics.mae, 2.0);
    EXPECT_DOUBLE_EQ(statistics.mape, 100.0 * (0.5 + 0.5 + 0.3) / 3.0);
    EXPECT_EQ(statistics.mase, 1.0);
    EXPECT_DOUBLE_EQ(statistics.sigma, std::sqrt(14.0 / 3.0 - 4.0 / 9.0));
    EXPECT_DOUBLE_EQ(statistics.aic, 3.0 * std::log(14.0 / 3.0) + 10.0) << "2 (0 + 2) + 6";
    EXPECT_TRUE(std::isnan(statistics.residuals[2]));

    // A season of 2 without a trend: d from |10 - 4| = 6. Relative residuals 1/1, -2/6, 3/7; a value of 0 has no
    // percentage, but counts.
    fit.components = {None, Multiplicative, 2};
    const SmoothingStatistics seasonal = ComputeStatistics({2, 4, kNaN, 10}, fit);
    EXPECT_DOUBLE_EQ(seasonal.mase, 2.0 / 6.0);
    EXPECT_DOUBLE_EQ(seasonal.aic, 3.0 * std::log(14.0 / 3.0) + 10.0) << "2 (2 + 0) + 6";
    EXPECT_DOUBLE_EQ(seasonal.relativeResiduals[1], -1.0 / 3.0);
    fit.fitted = {0, -1, 9, 7};
    EXPECT_DOUBLE_EQ(ComputeStatistics({0, 4, kNaN, 10}, fit).mape, 100.0 * (1.25 + 0.3) / 3.0);

    fit.sse = kNaN;
    EXPECT_TRUE(std::isnan(ComputeStatistics({2, 4, kNaN, 10}, fit).aic));
}

TEST(ForecastStatistics, Quality)
{
    EXPECT_EQ(QualityOfMASE(0.39), 0);
    EXPECT_EQ(QualityOfMASE(0.4), 1);
    EXPECT_EQ(QualityOfMASE(0.8), 1);
    EXPECT_EQ(QualityOfMASE(0.81), 2);
    EXPECT_EQ(QualityOfMASE(kNaN), 1);
}

TEST(ForecastSummary, Facts)
{
    // Two observed periods, a season of 3 and two forecasts. Level 50 behind the observations.
    SmoothingFit fit;
    fit.components = {None, Additive, 3};
    fit.states.level = {1, 1, 50, 52, 56};
    fit.states.season = {9, 9, 5, -1, 5, 3, 7};
    fit.statistics.residuals = {0, 0};
    const std::vector<double> forecast = {40, 50};
    const std::vector<double> halfWidths = {2, 4};
    const HorizonVariances variances = ComputeHorizonVariances(fit, forecast);
    EXPECT_DOUBLE_EQ(variances.levels, 4.0);    // 52, 56
    EXPECT_DOUBLE_EQ(variances.seasons, 4.0);   // 3, 7
    EXPECT_DOUBLE_EQ(variances.forecast, 25.0);

    const ForecastSummary summary =
        SummariseForecast({fit, forecast, halfWidths}, variances, DataValue::Integer(100), AggType::None, 6);
    const auto expectInfo = [](const StatisticInfo& info, std::vector<double> numbers, const DataValue& date)
    {
        EXPECT_DOUBLE_EQ(info.value, numbers[0]);
        EXPECT_DOUBLE_EQ(info.valuePercent, numbers[1]);
        EXPECT_DOUBLE_EQ(info.interval, numbers[2]);
        EXPECT_DOUBLE_EQ(info.intervalPercent, numbers[3]);
        EXPECT_EQ(info.date, date);
    };
    expectInfo(summary.seasonHigh, {5, 10, 2, 4}, DataValue::Integer(107));   // the first of the two fives
    expectInfo(summary.seasonLow, {-1, -2, 4, 8}, DataValue::Integer(108));
    expectInfo(summary.firstForecast, {40, 0, 2, 5}, DataValue());
    expectInfo(summary.changeOverTime, {10, 25, 3, 7.5}, DataValue());
    expectInfo(summary.trendContribution, {0.16, 50, 0, 0}, DataValue());
    expectInfo(summary.seasonalContribution, {0.16, 50, 0, 0}, DataValue());

    fit.states.season[4] = 6;   // the high at position 2, behind a horizon of 2
    const ForecastSummary beyond =
        SummariseForecast({fit, forecast, halfWidths}, {0, 0, 0}, DataValue(), AggType::None, 6);
    expectInfo(beyond.seasonHigh, {6, 12, 0, 0}, DataValue());
    expectInfo(beyond.trendContribution, {0, 0, 0, 0}, DataValue());
}

}   // namespace
