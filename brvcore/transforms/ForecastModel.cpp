#include "brvcore/transforms/ForecastModel.h"

#include "brvcore/foundation/HashCombine.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/ExponentialSmoothing.h"
#include "brvcore/transforms/ForecastAggregation.h"
#include "brvcore/transforms/ForecastIntervals.h"
#include "brvcore/transforms/ForecastOptimizer.h"
#include "brvcore/transforms/ForecastSelection.h"
#include "brvcore/transforms/ForecastStatistics.h"
#include "brvcore/transforms/ForecastSummary.h"
#include "brvcore/transforms/ForecastUtils.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace
{

constexpr int kForecastDone = 0;
constexpr int kResidualsTooWide = 24;
constexpr double kLargestSigma = 1.0;   // beyond it a relative error says nothing
constexpr std::int64_t kMostPeriods = 2'000'000'000;
constexpr std::uint32_t kHashSeed = 0xDEADBEEF;

bool IsComponent(ForecastComponentType type)
{
    return ForecastComponentType::None <= type && type <= ForecastComponentType::Multiplicative;
}

double At(const std::vector<double>& values, int index)
{
    return values.at(static_cast<std::size_t>(index));   // a negative index is beyond every vector, too
}

}   // namespace

ForecastModel::ForecastModel(ForecastStatus status)
    : m_status(status), m_aggType(AggType::None), m_newAggType(AggType::None), m_responseAggType(AggType::None),
      m_dateOptions(DateOptions::Default())
{
}

ForecastModel::ForecastModel(ForecastStatus status, FieldName response, RefCntPtr<Tuple> partitionTuple,
    RefCntPtr<ForecastModel> estFinerModel, AggType aggType, AggType newAggType, AggType responseAggType,
    std::vector<double> series, const IDateOptions& dateOptions, int timeSeriesLen, int fittedCount, int ignoreLast,
    int forecastLen, int frequency, int firstOffset, int partialPeriodPosition, int firstTsTableIdx,
    DataValue firstActual, DataValue lastActual, DataValue lastForecast, double confidenceLevel,
    ForecastComponentType errorType, ForecastComponentType trendType, ForecastComponentType seasonType,
    ForecastComponentType trendLimit, ForecastComponentType seasonLimit, ForecastModelType modelType)
    : m_status(status), m_response(std::move(response)), m_partitionTuple(std::move(partitionTuple)),
      m_estFinerModel(std::move(estFinerModel)), m_aggType(aggType), m_newAggType(newAggType),
      m_responseAggType(responseAggType), m_dateOptions(dateOptions), m_timeSeriesLen(timeSeriesLen),
      m_fittedCount(fittedCount), m_ignoreLast(ignoreLast), m_forecastLen(forecastLen), m_frequency(frequency),
      m_firstOffset(firstOffset), m_partialPeriodPosition(partialPeriodPosition), m_firstTsTableIdx(firstTsTableIdx),
      m_firstActual(std::move(firstActual)), m_lastActual(std::move(lastActual)),
      m_lastForecast(std::move(lastForecast)), m_confidenceLevel(confidenceLevel), m_errorType(errorType),
      m_trendType(trendType), m_seasonType(seasonType), m_trendLimit(trendLimit), m_seasonLimit(seasonLimit),
      m_modelType(modelType), m_series(std::move(series))
{
    const int seriesLen = static_cast<int>(m_series.size());
    BRV_LOGIC_ASSERT(0x5B0E61D7, timeSeriesLen == seriesLen);
    BRV_LOGIC_ASSERT(0x83F1406A,
        IsComponent(trendType) && IsComponent(seasonType) && IsComponent(trendLimit) && IsComponent(seasonLimit));

    // Every position that the model counts, date offsets included, fits an int.
    const std::int64_t periods = std::int64_t{timeSeriesLen} + std::max(0, forecastLen) + std::max(0, frequency) +
                                 std::abs(std::int64_t{firstOffset}) + std::abs(std::int64_t{partialPeriodPosition});
    BRV_LOGIC_ASSERT(0xD07A5C13, periods <= kMostPeriods);
}

ForecastModel::~ForecastModel() = default;

int ForecastModel::Forecast()
{
    ClearResults();
    const int horizon = std::max(0, m_forecastLen);
    m_fit = m_modelType == ForecastModelType::Fixed ? FitSmoothing(m_series, GivenComponents(), horizon)
                                                    : SearchFit(horizon);
    KeepComponents();
    m_forecast = ExponentialSmoothingForecast(m_timeSeriesLen, horizon, m_fit);
    const HorizonVariances variances = ComputeHorizonVariances(m_fit, m_forecast);
    m_levelVariance = variances.levels;
    m_seasonVariance = variances.seasons;
    m_forecastVariance = variances.forecast;

    const bool hasMultiplicativeError = m_fit.components.HasMultiplicativeError();
    if (hasMultiplicativeError && m_fit.statistics.sigma > kLargestSigma)
        return kResidualsTooWide;   // the point forecast stays readable
    KeepIntervals(hasMultiplicativeError ? SimulatePredictionIntervals(m_fit, m_forecast, m_confidenceLevel)
                                         : ComputePredictionIntervals(m_fit, m_forecast, m_confidenceLevel));
    AggregateForecast();
    ComputeSeasonStats();
    return kForecastDone;
}

double ForecastModel::operator()(const ForecastParameters& parameters) const
{
    const SmoothingComponents components = GivenComponents();
    const SmoothingStates start = InitExponentialSmoothing(m_series, components);
    return SmoothingObjective(m_series, components, start)(parameters);
}

SmoothingComponents ForecastModel::GivenComponents() const
{
    BRV_LOGIC_ASSERT(0xC8D41F36, m_frequency > 0);
    return {m_trendType, m_seasonType, m_frequency};
}

SmoothingFit ForecastModel::SearchFit(int horizon)
{
    const SeasonCandidates candidates = CandidateSeasons(m_series, m_aggType, m_frequency, m_seasonLimit);
    m_seasonLimit = candidates.seasonLimit;
    return SelectSmoothing(m_series, candidates, m_trendLimit, horizon);
}

void ForecastModel::KeepComponents()
{
    m_frequency = m_fit.components.frequency;
    m_trendType = m_fit.components.trend;
    m_seasonType = m_fit.components.season;
    m_errorType = m_fit.components.ErrorType();
    m_fittedCount = m_fit.statistics.fittedCount;
}

void ForecastModel::KeepIntervals(ForecastIntervals intervals)
{
    m_forecastStdDevs = std::move(intervals.standardDeviations);
    m_predictionIntervals = std::move(intervals.halfWidths);
    m_lower = std::move(intervals.lower);
    m_upper = std::move(intervals.upper);
}

// Adds the finer periods up into the companion's vectors, which hold nothing else afterwards; the rest of the companion
// stays. A pair of levels without a fixed multiple leaves them empty.
void ForecastModel::AggregateForecast()
{
    if (!m_estFinerModel || m_estFinerModel->m_aggType == m_aggType)
        return;
    ForecastModel& companion = *m_estFinerModel;
    companion.ClearForecast();
    const int periodsPerViewPeriod = ForecastUtils::AggTypePairToMultiple(companion.m_aggType, m_aggType);
    if (periodsPerViewPeriod < 1)
        return;
    const int firstPosition = m_firstOffset + m_partialPeriodPosition;
    companion.m_fit.fitTrend = SumIntoViewPeriods(m_fit.fitTrend, firstPosition, periodsPerViewPeriod);
    companion.m_forecast = SumIntoViewPeriods(m_forecast, firstPosition, periodsPerViewPeriod);
    AggregatePredictionIntervals(firstPosition, periodsPerViewPeriod);
}

void ForecastModel::AggregatePredictionIntervals(int firstPosition, int periodsPerViewPeriod)
{
    ForecastModel& companion = *m_estFinerModel;
    companion.m_predictionIntervals = CombineHalfWidths(m_predictionIntervals, firstPosition, periodsPerViewPeriod);
    for (std::size_t i = 0; i < companion.m_forecast.size(); ++i)
    {
        companion.m_lower.push_back(companion.m_forecast[i] - companion.m_predictionIntervals[i]);
        companion.m_upper.push_back(companion.m_forecast[i] + companion.m_predictionIntervals[i]);
    }
}

void ForecastModel::ComputeSeasonStats()
{
    BRV_LOGIC_ASSERT(0xE24907A8, m_forecastLen > 0);
    ForecastSummary summary = SummariseForecast({m_fit, m_forecast, m_predictionIntervals},
        {m_levelVariance, m_seasonVariance, m_forecastVariance}, m_lastActual, m_aggType, m_firstOffset);
    m_seasonHigh = std::move(summary.seasonHigh);
    m_seasonLow = std::move(summary.seasonLow);
    m_firstForecastInfo = std::move(summary.firstForecast);
    m_changeOverTimeInfo = std::move(summary.changeOverTime);
    m_seasonalContribution = std::move(summary.seasonalContribution);
    m_trendContribution = std::move(summary.trendContribution);
}

// Nothing of an earlier forecast may show through when a later one ends early.
void ForecastModel::ClearResults()
{
    m_fit = {};
    ClearForecast();
    m_forecastStdDevs.clear();
    m_levelVariance = m_seasonVariance = m_forecastVariance = 0.0;
    m_seasonHigh = m_seasonLow = m_firstForecastInfo = m_changeOverTimeInfo = {};
    m_seasonalContribution = m_trendContribution = {};
}

void ForecastModel::ClearForecast()
{
    m_fit.fitTrend.clear();
    m_forecast.clear();
    m_predictionIntervals.clear();
    m_lower.clear();
    m_upper.clear();
}

bool ForecastModel::HasSameSpecificationAs(const ForecastModel& other) const
{
    const bool isSamePartition = *m_partitionTuple == *other.m_partitionTuple;   // first: a null one always throws
    return isSamePartition && m_response == other.m_response && m_aggType == other.m_aggType &&
           m_newAggType == other.m_newAggType && m_responseAggType == other.m_responseAggType &&
           m_frequency == other.m_frequency && m_confidenceLevel == other.m_confidenceLevel &&
           m_errorType == other.m_errorType && m_trendType == other.m_trendType && m_seasonType == other.m_seasonType &&
           m_modelType == other.m_modelType;
}

std::uint32_t ForecastModel::GetSpecificationHash() const
{
    return THashCombine32(kHashSeed)
        .Add(static_cast<std::int32_t>(m_status))
        .Add(m_response.Hash())
        .Add(m_partitionTuple->Hash())
        .Add(static_cast<std::int32_t>(m_aggType))
        .Add(static_cast<std::int32_t>(m_newAggType))
        .Add(static_cast<std::int32_t>(m_responseAggType))
        .Add(m_timeSeriesLen)
        .Add(m_fittedCount)
        .Add(m_ignoreLast)
        .Add(m_forecastLen)
        .Add(m_frequency)
        .Add(m_firstOffset)
        .Add(m_partialPeriodPosition)
        .Add(m_firstTsTableIdx)
        .Add(m_firstActual.Hash())
        .Add(m_confidenceLevel)
        .Add(static_cast<std::int32_t>(m_errorType))
        .Add(static_cast<std::int32_t>(m_trendType))
        .Add(static_cast<std::int32_t>(m_seasonType))
        .Add(static_cast<std::int32_t>(m_modelType))
        .Get();
}

// Getters ------------------------------------------------------------------------------------------------------------

const ForecastModel& ForecastModel::Chosen(bool ofCompanion) const
{
    return ofCompanion && m_estFinerModel ? *m_estFinerModel : *this;
}

double ForecastModel::GetForecast(int index, bool ofCompanion) const
{
    return At(Chosen(ofCompanion).m_forecast, index);
}

const std::vector<double>& ForecastModel::GetForecast() const
{
    return m_forecast;
}

double ForecastModel::GetPredictionIntervals(int index, bool ofCompanion) const
{
    return At(Chosen(ofCompanion).m_predictionIntervals, index);
}

const std::vector<double>& ForecastModel::GetPredictionIntervals() const
{
    return m_predictionIntervals;
}

double ForecastModel::GetUpperPredictionInterval(int index, bool ofCompanion) const
{
    return At(Chosen(ofCompanion).m_upper, index);
}

const std::vector<double>& ForecastModel::GetUpperPredictionInterval() const
{
    return m_upper;
}

double ForecastModel::GetLowerPredictionInterval(int index, bool ofCompanion) const
{
    return At(Chosen(ofCompanion).m_lower, index);
}

const std::vector<double>& ForecastModel::GetLowerPredictionInterval() const
{
    return m_lower;
}

double ForecastModel::GetFitTrend(int index, bool ofCompanion) const
{
    return At(Chosen(ofCompanion).m_fit.fitTrend, index);
}

const std::vector<double>& ForecastModel::GetFitTrend() const
{
    return m_fit.fitTrend;
}

double ForecastModel::GetFitted(int index) const
{
    return At(m_fit.fitted, index);
}

const std::vector<double>& ForecastModel::GetFitted() const
{
    return m_fit.fitted;
}

double ForecastModel::GetResiduals(int index) const
{
    return At(m_fit.statistics.residuals, index);
}

const std::vector<double>& ForecastModel::GetResiduals() const
{
    return m_fit.statistics.residuals;
}

double ForecastModel::GetRelativeResiduals(int index) const
{
    return At(m_fit.statistics.relativeResiduals, index);
}

const std::vector<double>& ForecastModel::GetRelativeResiduals() const
{
    return m_fit.statistics.relativeResiduals;
}

double ForecastModel::GetForecastStdDev(int index) const
{
    return At(m_forecastStdDevs, index);
}

const std::vector<double>& ForecastModel::GetForecastStdDevs() const
{
    return m_forecastStdDevs;
}

const std::vector<double>& ForecastModel::GetLevels() const
{
    return m_fit.states.level;
}

const std::vector<double>& ForecastModel::GetTrends() const
{
    return m_fit.states.trend;
}

const std::vector<double>& ForecastModel::GetSeasons() const
{
    return m_fit.states.season;
}

const std::vector<double>& ForecastModel::GetSeries() const
{
    return m_series;
}

const ForecastParameters& ForecastModel::GetParameters() const
{
    return m_fit.parameters;
}

double ForecastModel::GetLevelParam() const
{
    return m_fit.parameters[0];
}

double ForecastModel::GetTrendParam() const
{
    return m_fit.parameters[1];
}

double ForecastModel::GetSeasonParam() const
{
    return m_fit.parameters[2];
}

void ForecastModel::SetParameters(double alpha, double beta, double gamma)
{
    m_fit.parameters = {alpha, beta, gamma};
}

ForecastComponentType ForecastModel::GetErrorType() const
{
    return m_errorType;
}

ForecastComponentType ForecastModel::GetTrendType() const
{
    return m_trendType;
}

ForecastComponentType ForecastModel::GetSeasonType() const
{
    return m_seasonType;
}

ForecastComponentType ForecastModel::GetTrendLimit() const
{
    return m_trendLimit;
}

ForecastComponentType ForecastModel::GetSeasonLimit() const
{
    return m_seasonLimit;
}

ForecastModelType ForecastModel::GetModelType() const
{
    return m_modelType;
}

bool ForecastModel::IsTrend() const
{
    return m_trendType != ForecastComponentType::None;
}

bool ForecastModel::IsSeason() const
{
    return m_seasonType != ForecastComponentType::None;
}

double ForecastModel::GetSSE() const
{
    return m_fit.statistics.sse;
}

double ForecastModel::GetRMSE() const
{
    return m_fit.statistics.rmse;
}

double ForecastModel::GetMAE() const
{
    return m_fit.statistics.mae;
}

double ForecastModel::GetMAPE() const
{
    return m_fit.statistics.mape;
}

double ForecastModel::GetMASE() const
{
    return m_fit.statistics.mase;
}

double ForecastModel::GetAIC() const
{
    return m_fit.statistics.aic;
}

double ForecastModel::GetSigma() const
{
    return m_fit.statistics.sigma;
}

double ForecastModel::GetRescaledMASE() const
{
    return GetMASE() / (1.0 + GetMASE());
}

int ForecastModel::GetQuality() const
{
    return QualityOfMASE(GetMASE());
}

const StatisticInfo& ForecastModel::GetSeasonHigh() const
{
    return m_seasonHigh;
}

const StatisticInfo& ForecastModel::GetSeasonLow() const
{
    return m_seasonLow;
}

const StatisticInfo& ForecastModel::GetFirstForecastInfo() const
{
    return m_firstForecastInfo;
}

const StatisticInfo& ForecastModel::GetChangeOverTimeInfo() const
{
    return m_changeOverTimeInfo;
}

const StatisticInfo& ForecastModel::GetSeasonalContribution() const
{
    return m_seasonalContribution;
}

const StatisticInfo& ForecastModel::GetTrendContribution() const
{
    return m_trendContribution;
}

double ForecastModel::GetLevelVariance() const
{
    return m_levelVariance;
}

double ForecastModel::GetSeasonVariance() const
{
    return m_seasonVariance;
}

double ForecastModel::GetForecastVariance() const
{
    return m_forecastVariance;
}

ForecastStatus ForecastModel::GetStatus() const
{
    return m_status;
}

void ForecastModel::SetStatus(ForecastStatus status)
{
    m_status = status;
}

const FieldName& ForecastModel::GetResponse() const
{
    return m_response;
}

RefCntPtr<Tuple> ForecastModel::GetPartitionTuple() const
{
    return m_partitionTuple;
}

RefCntPtr<ForecastModel> ForecastModel::GetEstFinerModel() const
{
    return m_estFinerModel;
}

bool ForecastModel::IsEstFinerThanViz() const
{
    return static_cast<bool>(m_estFinerModel);
}

AggType ForecastModel::GetAggType(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_aggType;
}

AggType ForecastModel::GetNewAggType(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_newAggType;
}

AggType ForecastModel::GetResponseAggType() const
{
    return m_responseAggType;
}

const IDateOptions& ForecastModel::GetDateOptions() const
{
    return m_dateOptions;
}

int ForecastModel::GetTimeSeriesLen(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_timeSeriesLen;
}

int ForecastModel::GetFittedCount() const
{
    return m_fittedCount;
}

int ForecastModel::GetIgnoreLast(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_ignoreLast;
}

int ForecastModel::GetForecastLen(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_forecastLen;
}

int ForecastModel::GetFrequency(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_frequency;
}

int ForecastModel::GetFirstOffset(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_firstOffset;
}

int ForecastModel::GetPartialPeriodPosition() const
{
    return m_partialPeriodPosition;
}

int ForecastModel::GetFirstTsTableIdx(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_firstTsTableIdx;
}

const DataValue& ForecastModel::GetFirstActual(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_firstActual;
}

const DataValue& ForecastModel::GetLastActual(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_lastActual;
}

const DataValue& ForecastModel::GetLastForecast(bool ofCompanion) const
{
    return Chosen(ofCompanion).m_lastForecast;
}

double ForecastModel::GetConfidenceLevel() const
{
    return m_confidenceLevel;
}
