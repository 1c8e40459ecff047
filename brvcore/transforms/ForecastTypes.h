#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataValue.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

// Plain values that the forecasting units hand to each other. All of them are owned by whoever holds them, none takes a
// lock. NaN stands for a missing observation and for a number that cannot be given.

// Kind of the error, of the trend or of the season. The values are part of saved documents.
enum class ForecastComponentType : std::int32_t
{
    None = 0,
    Additive = 1,
    Multiplicative = 2,
};

// Fixed fits the given components and season length; every other value asks for a search.
enum class ForecastModelType : std::int32_t
{
    Search = 0,
    Fixed = 2,
};

// Hosts keep codes of their own here; the library itself produces these two.
enum class ForecastStatus : std::int32_t
{
    Success = 0,
    ResidualsTooWide = 24,   // multiplicative error with a residual spread above 1
};

// Alpha (level), beta (trend), gamma (season), each in [0, 0.5] after a fit.
using ForecastParameters = std::array<double, 3>;

// What a smoothing model is made of. The frequency is the season length in periods; 1 means no season.
struct SmoothingComponents
{
    ForecastComponentType trend = ForecastComponentType::None;
    ForecastComponentType season = ForecastComponentType::None;
    int frequency = 1;

    bool HasTrend() const { return trend != ForecastComponentType::None; }
    bool HasSeason() const { return season != ForecastComponentType::None; }

    // Multiplicative as soon as the trend or the season is, otherwise additive.
    ForecastComponentType ErrorType() const
    {
        return trend == ForecastComponentType::Multiplicative || season == ForecastComponentType::Multiplicative
                   ? ForecastComponentType::Multiplicative
                   : ForecastComponentType::Additive;
    }
    bool HasMultiplicativeError() const { return ErrorType() == ForecastComponentType::Multiplicative; }
};

// States before each period: level and trend have an entry more than there are periods, the season has one entry per
// period after its first m. Entry 0 (0 to m - 1 of the season) is where the recursion starts.
struct SmoothingStates
{
    std::vector<double> level;
    std::vector<double> trend;
    std::vector<double> season;
};

// How well a fit follows its series. N, the fitted count, is the number of observations that are not missing.
struct SmoothingStatistics
{
    int fittedCount = 0;
    double sse = 0.0;     // sum of squared residuals
    double rmse = 0.0;    // root of the mean squared residual
    double mae = 0.0;     // mean absolute residual
    double mape = 0.0;    // mean absolute residual in percent of the observation
    double mase = 0.0;    // mean absolute residual in units of the naive forecast's mean absolute error
    double aic = 0.0;     // Akaike's information criterion
    double sigma = 0.0;   // spread of the residuals, relative to the fitted value when the error is multiplicative
    std::vector<double> residuals;
    std::vector<double> relativeResiduals;   // for a multiplicative error only
};

// One fitted model: the recursion has run over the n observations; the vectors have room for the forecast.
struct SmoothingFit
{
    SmoothingComponents components;
    ForecastParameters parameters{};
    SmoothingStates states;
    std::vector<double> fitted;     // the value that the states before a period predict for it
    std::vector<double> fitTrend;   // level and trend of that prediction, before the season
    double sse = 0.0;               // NaN when the recursion met a NaN
    SmoothingStatistics statistics;
};

// Prediction intervals, one entry per horizon.
struct ForecastIntervals
{
    std::vector<double> standardDeviations;
    std::vector<double> halfWidths;
    std::vector<double> lower;
    std::vector<double> upper;
};

// One summary fact about a forecast.
struct BRV_EXPORT StatisticInfo
{
    StatisticInfo() = default;
    StatisticInfo(
        double aValue, double aValuePercent, double anInterval, double anIntervalPercent, DataValue aDate = DataValue())
        : value(aValue), valuePercent(aValuePercent), interval(anInterval), intervalPercent(anIntervalPercent),
          date(std::move(aDate))
    {
    }

    double value = 0.0;
    double valuePercent = 0.0;      // of the level, or of the first forecast
    double interval = 0.0;          // half-width of a prediction interval, or the mean of several
    double intervalPercent = 0.0;   // of the same base
    DataValue date;                 // the period concerned; null where there is none
};
