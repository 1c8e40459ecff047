#include "ForecastRun.h"

#include "Failure.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/transforms/ForecastUtils.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>

namespace
{

constexpr int kSeasonsAhead = 2;
constexpr int kYearsAhead = 5;
constexpr int kPositionsAhead = 10;

int DefaultLength(AggType level)
{
    if (level == AggType::None)
        return kPositionsAhead;
    const int season = ForecastUtils::DeriveSeasonLength(level);
    return season > 1 ? kSeasonsAhead * season : kYearsAhead;
}

int ForecastLength(const ForecastContext& context, const ForecastOptions& options, const DataValue& lastActual)
{
    const AggType level = context.axis.GetLevel();
    if (options.rangeCount > 0)
        return ForecastUtils::GetUserForecastLength(ForecastRangeType::FromNextPeriod, lastActual.GetDateTime(),
            options.rangeUnit, level, level, options.rangeCount, context.axis.GetOptions());
    return options.periods > 0 ? options.periods : DefaultLength(level);
}

AggType ResponseAggregation(RowAggregation aggregation)
{
    switch (aggregation)
    {
    case RowAggregation::Sum:
        return AggType::Sum;
    case RowAggregation::Avg:
        return AggType::Avg;
    case RowAggregation::Count:
        return AggType::Count;
    case RowAggregation::None:
        break;
    }
    return AggType::None;
}

struct Horizon
{
    int length;
    DataValue last;
};

Horizon FindHorizon(
    const ForecastContext& context, const ForecastOptions& options, const Series& series, const DataValue& lastActual)
{
    try
    {
        const int length = ForecastLength(context, options, lastActual);
        return {length, context.axis.Advance(lastActual, length)};
    }
    catch (const LogicException&)
    {
        throw DataError(
            series.line, "the periods to forecast after " + context.axis.Label(lastActual) + " pass the year 9999");
    }
}

bool IsAllZero(const std::vector<double>& values)
{
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isnan(value) || value == 0.0; });
}

RefCntPtr<ForecastModel> MakeModel(const ForecastContext& context, const ForecastOptions& options, const Series& series)
{
    const AggType level = context.axis.GetLevel();
    const int n = static_cast<int>(series.values.size());
    const bool isFixed = options.fixedSeason > 0;
    const int frequency = isFixed ? options.fixedSeason : std::max(1, ForecastUtils::DeriveSeasonLength(level));

    ForecastComponentType season = options.season;
    if (season != ForecastComponentType::None && !ForecastUtils::EnoughDataForSeasonalSearch(n, frequency))
    {
        if (isFixed)
            throw DataError(series.line, "a series of " + std::to_string(n) + " periods is too short for seasons of " +
                                             std::to_string(frequency));
        season = ForecastComponentType::None;
    }

    if (!isFixed && season == ForecastComponentType::Multiplicative && IsAllZero(series.values))
        season = ForecastComponentType::Additive;   // nothing to multiply

    const DataValue lastActual = context.axis.Advance(series.first, n - 1);
    const Horizon horizon = FindHorizon(context, options, series, lastActual);
    std::vector<DataValue> partition;
    for (const std::string& value : series.partition)
        partition.push_back(DataValue::String(TString::FromUTF8(value)));
    const auto present =
        std::count_if(series.values.begin(), series.values.end(), [](double value) { return !std::isnan(value); });

    return MakeRefCnt<ForecastModel>(ForecastStatus::Success, FieldName(TString::FromUTF8(context.valueName)),
        MakeRefCnt<Tuple>(std::move(partition)), RefCntPtr<ForecastModel>(), level, level,
        ResponseAggregation(options.aggregation), series.values, context.axis.GetOptions(), n,
        static_cast<int>(present), options.ignoreLast, horizon.length, frequency, 0, 0, 0, series.first, lastActual,
        horizon.last, options.confidence, ForecastUtils::DeriveErrorType(options.trend, season), options.trend, season,
        options.trend, season, isFixed ? ForecastModelType::Fixed : ForecastModelType::Search);
}

}   // namespace

PartitionForecast RunForecast(const ForecastContext& context, const ForecastOptions& options, const Series& series)
{
    PartitionForecast result;
    result.series = &series;
    std::string name;
    for (std::size_t i = 0; i < context.byNames.size(); ++i)
        name.append(i == 0 ? "" : ", ").append(context.byNames[i]).append(" = ").append(series.partition[i]);
    const auto located = [&](int line, const std::string& message)
    { return Located(context.file, line, name.empty() ? message : name + ": " + message); };

    if (!series.failure.empty())
    {
        result.failure = series.failure;
        return result;
    }
    try
    {
        RefCntPtr<ForecastModel> model = MakeModel(context, options, series);
        result.hasIntervals = model->Forecast() == 0;
        model->SetStatus(result.hasIntervals ? ForecastStatus::Success : ForecastStatus::ResidualsTooWide);
        result.model = model;
        if (!result.hasIntervals)
            result.failure = located(series.line,
                "the residuals spread too wide (outcome 24): the forecast has no intervals and no summary");
    }
    catch (const DataError& error)
    {
        result.failure = located(error.GetLine(), error.what());
    }
    catch (const LogicException& error)
    {
        result.failure = located(series.line,
            "the series of " + std::to_string(series.values.size()) + " periods cannot be forecast: " + error.what());
    }
    catch (const CancelledException&)
    {
        throw;
    }
    catch (const std::exception& error)   // of the numeric library, or memory: the other partitions go on
    {
        result.model = nullptr;
        result.failure = located(series.line, error.what());
    }
    return result;
}
