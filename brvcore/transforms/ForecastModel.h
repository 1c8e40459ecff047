#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataValue.h"
#include "brvcore/foundation/DateArithmetic.h"
#include "brvcore/foundation/FieldName.h"
#include "brvcore/foundation/RefCntObject.h"
#include "brvcore/foundation/Tuple.h"
#include "brvcore/transforms/ForecastTypes.h"

#include <cstdint>
#include <vector>

// Exponential smoothing of one time series: the fit, the forecast, its prediction intervals and its summary facts.
//
// A host constructs the model with a series (one partition of a measure over a date axis) and its date context, calls
// Forecast(), and reads the results. NaN stands for a missing observation. The confidence level is a fraction (0.95).
//
//     RefCntPtr<ForecastModel> model(new ForecastModel(...));
//     if (model->Forecast() == 0)
//         for (int h = 0; h < model->GetForecastLen(); ++h)
//             Show(model->GetForecast(h), model->GetLowerPredictionInterval(h), model->GetUpperPredictionInterval(h));
//
// A search with a season needs two whole seasons of data: ask ForecastUtils::EnoughDataForSeasonalSearch(n, m) first
// and lower the season limit to None when it says no. Except for levels None and YearTrunc the model tries its own
// frequency whatever n is: a fit with trend and season then fails with "seasonIdx > 0", and one of a series without even
// one position's observation with "periodIdx <= m_frequency".
//
// One model serves one thread at a time; models share nothing, so many may run at once. The date options are referred
// to, not copied: they must outlive the model.
//
// Indexed getters throw std::out_of_range beyond the vector. Getters with a flag answer for the companion model when
// the flag is set and there is a companion.
//
// Model: C. C. Holt (1957), P. R. Winters (1960); state-space form R. J. Hyndman, A. B. Koehler, R. D. Snyder, S. Grose,
// "A state space framework for automatic forecasting using exponential smoothing methods", International Journal of
// Forecasting 18 (2002).
class BRV_EXPORT ForecastModel : public RefCntObject
{
public:
    using StatisticInfo = ::StatisticInfo;

    // An empty model that carries only a status.
    explicit ForecastModel(ForecastStatus status);

    // estFinerModel may be null. When it is not, and its aggregation differs from this one's, this model is the estimate
    // at the finer date level, and Forecast() adds its results up into the periods of the companion.
    // Throws LogicException 0x5B0E61D7 unless timeSeriesLen is the length of the series, 0x83F1406A for a trend, a season
    // or a limit that is no ForecastComponentType, 0xD07A5C13 when lengths and offsets add up to more than 2e9 periods.
    ForecastModel(ForecastStatus status, FieldName response, RefCntPtr<Tuple> partitionTuple,
        RefCntPtr<ForecastModel> estFinerModel, AggType aggType, AggType newAggType, AggType responseAggType,
        std::vector<double> series, const IDateOptions& dateOptions, int timeSeriesLen, int fittedCount, int ignoreLast,
        int forecastLen, int frequency, int firstOffset, int partialPeriodPosition, int firstTsTableIdx,
        DataValue firstActual, DataValue lastActual, DataValue lastForecast, double confidenceLevel,
        ForecastComponentType errorType, ForecastComponentType trendType, ForecastComponentType seasonType,
        ForecastComponentType trendLimit, ForecastComponentType seasonLimit, ForecastModelType modelType);

    ~ForecastModel() override;

    // Fits, forecasts and summarises. Returns 0, or 24 when a multiplicative-error model has a residual spread above 1:
    // then only the fit and the point forecast are there.
    // Throws LogicException:
    //   0xC8D41F36  "m_frequency > 0": fixed mode, and operator()
    //   0x2E95B7D8  "frequency > 0": a search at a level with a season of its own (not None, not YearTrunc)
    //   0x7A3590EB  "seasonIdx > 0": a season with a trend, but no second whole season with an observation
    //   0x1D6BC24F  "periodIdx <= m_frequency": a season, but no value for any of its positions
    //   0xE24907A8  "m_forecastLen > 0"
    // and, with a season, what ForecastUtils::IncrementExplanatory throws for the date of a period, after everything else
    // is there. A confidence level outside [0, 1] raises Boost.Math's domain error (std::domain_error), exactly 1 its
    // overflow error (std::overflow_error). Polls cancellation; after that exception the model is of no further use.
    int Forecast();

    // Sum of squared one-step errors of a fit with these parameters and the model's present components; DBL_MAX when the
    // running sum becomes NaN.
    double operator()(const ForecastParameters& parameters) const;

    // Results -------------------------------------------------------------------------------------------------------
    double GetForecast(int index, bool ofCompanion = false) const;
    const std::vector<double>& GetForecast() const;
    double GetPredictionIntervals(int index, bool ofCompanion = false) const;   // half-width
    const std::vector<double>& GetPredictionIntervals() const;
    double GetUpperPredictionInterval(int index, bool ofCompanion = false) const;
    const std::vector<double>& GetUpperPredictionInterval() const;
    double GetLowerPredictionInterval(int index, bool ofCompanion = false) const;
    const std::vector<double>& GetLowerPredictionInterval() const;
    double GetForecastStdDev(int index) const;
    const std::vector<double>& GetForecastStdDevs() const;
    double GetFitTrend(int index, bool ofCompanion = false) const;   // level and trend of the period, before the season
    const std::vector<double>& GetFitTrend() const;
    double GetFitted(int index) const;
    const std::vector<double>& GetFitted() const;   // one step ahead; the forecast follows the observed periods
    double GetResiduals(int index) const;
    const std::vector<double>& GetResiduals() const;
    double GetRelativeResiduals(int index) const;   // multiplicative error only
    const std::vector<double>& GetRelativeResiduals() const;
    const std::vector<double>& GetLevels() const;   // state before each period, and after the last
    const std::vector<double>& GetTrends() const;
    const std::vector<double>& GetSeasons() const;
    const std::vector<double>& GetSeries() const;

    const ForecastParameters& GetParameters() const;
    double GetLevelParam() const;
    double GetTrendParam() const;
    double GetSeasonParam() const;
    void SetParameters(double alpha, double beta, double gamma);

    ForecastComponentType GetErrorType() const;
    ForecastComponentType GetTrendType() const;
    ForecastComponentType GetSeasonType() const;
    ForecastComponentType GetTrendLimit() const;
    ForecastComponentType GetSeasonLimit() const;
    ForecastModelType GetModelType() const;
    bool IsTrend() const;
    bool IsSeason() const;

    double GetSSE() const;
    double GetRMSE() const;
    double GetMAE() const;
    double GetMAPE() const;   // percent
    double GetMASE() const;
    double
    GetRescaledMASE() const;   // MASE / (1 + MASE): 0 for a perfect fit, 1/2 for one as good as the naive forecast
    double GetAIC() const;
    double GetSigma() const;
    int GetQuality() const;   // 0 good (MASE below 0.4), 1 fair, 2 poor (above 0.8)

    const StatisticInfo& GetSeasonHigh() const;
    const StatisticInfo& GetSeasonLow() const;
    const StatisticInfo& GetFirstForecastInfo() const;
    const StatisticInfo& GetChangeOverTimeInfo() const;
    const StatisticInfo& GetSeasonalContribution() const;   // value: share in the forecast's variance
    const StatisticInfo& GetTrendContribution() const;
    double GetLevelVariance() const;   // population variances over the forecast horizon
    double GetSeasonVariance() const;
    double GetForecastVariance() const;

    // Context -------------------------------------------------------------------------------------------------------
    ForecastStatus GetStatus() const;
    void SetStatus(ForecastStatus status);
    const FieldName& GetResponse() const;
    RefCntPtr<Tuple> GetPartitionTuple() const;   // a new reference
    RefCntPtr<ForecastModel> GetEstFinerModel() const;
    bool IsEstFinerThanViz() const;
    AggType GetAggType(bool ofCompanion = false) const;
    AggType GetNewAggType(bool ofCompanion = false) const;
    AggType GetResponseAggType() const;
    const IDateOptions& GetDateOptions() const;
    int GetTimeSeriesLen(bool ofCompanion = false) const;
    int GetFittedCount() const;   // observations that were not missing in the last fit
    int GetIgnoreLast(bool ofCompanion = false) const;
    int GetForecastLen(bool ofCompanion = false) const;
    int GetFrequency(bool ofCompanion = false) const;
    int GetFirstOffset(bool ofCompanion = false) const;
    int GetPartialPeriodPosition() const;
    int GetFirstTsTableIdx(bool ofCompanion = false) const;
    const DataValue& GetFirstActual(bool ofCompanion = false) const;
    const DataValue& GetLastActual(bool ofCompanion = false) const;
    const DataValue& GetLastForecast(bool ofCompanion = false) const;
    double GetConfidenceLevel() const;

    // Equal response, partition, aggregations, frequency, confidence level, components and model type. Both tuples must
    // be set: a null one throws. A search changes frequency and components, so compare before or after, not across.
    bool HasSameSpecificationAs(const ForecastModel& other) const;

    // The same number in every process. It covers more than the comparison does (status, lengths, offsets, the first
    // actual date), so it serves to recognise one request again.
    std::uint32_t GetSpecificationHash() const;

private:
    const ForecastModel& Chosen(bool ofCompanion) const;
    SmoothingComponents GivenComponents() const;
    SmoothingFit SearchFit(int horizon);
    void KeepComponents();
    void KeepIntervals(ForecastIntervals intervals);
    void AggregateForecast();
    void AggregatePredictionIntervals(int firstPosition, int periodsPerViewPeriod);
    void ComputeSeasonStats();
    void ClearResults();
    void ClearForecast();

    ForecastStatus m_status;
    FieldName m_response;
    RefCntPtr<Tuple> m_partitionTuple;
    RefCntPtr<ForecastModel> m_estFinerModel;
    AggType m_aggType;
    AggType m_newAggType;
    AggType m_responseAggType;
    const IDateOptions& m_dateOptions;
    int m_timeSeriesLen = 0;
    int m_fittedCount = 0;
    int m_ignoreLast = 0;
    int m_forecastLen = 0;
    int m_frequency = 1;
    int m_firstOffset = 0;
    int m_partialPeriodPosition = 0;
    int m_firstTsTableIdx = 0;
    DataValue m_firstActual;
    DataValue m_lastActual;
    DataValue m_lastForecast;
    double m_confidenceLevel = 0.0;
    ForecastComponentType m_errorType = ForecastComponentType::Additive;
    ForecastComponentType m_trendType = ForecastComponentType::None;
    ForecastComponentType m_seasonType = ForecastComponentType::None;
    ForecastComponentType m_trendLimit = ForecastComponentType::None;
    ForecastComponentType m_seasonLimit = ForecastComponentType::None;
    ForecastModelType m_modelType = ForecastModelType::Search;
    std::vector<double> m_series;
    SmoothingFit m_fit;   // parameters, errors, fitted values, states, fit-trend path
    std::vector<double> m_forecastStdDevs;
    std::vector<double> m_forecast;
    std::vector<double> m_predictionIntervals;   // half-widths
    std::vector<double> m_lower;
    std::vector<double> m_upper;
    double m_levelVariance = 0.0;
    double m_seasonVariance = 0.0;
    double m_forecastVariance = 0.0;
    StatisticInfo m_seasonHigh;
    StatisticInfo m_seasonLow;
    StatisticInfo m_firstForecastInfo;
    StatisticInfo m_changeOverTimeInfo;
    StatisticInfo m_seasonalContribution;
    StatisticInfo m_trendContribution;
};

#include "brvcore/transforms/ForecastSeasonSearch.h"
#include "brvcore/transforms/ForecastUtils.h"
