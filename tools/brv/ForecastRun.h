#pragma once

#include "Options.h"
#include "Series.h"
#include "TimeAxis.h"
#include "brvcore/foundation/RefCntObject.h"
#include "brvcore/transforms/ForecastModel.h"

#include <string>

// What all partitions of one run share. The writers and the chart take their words from here.
struct ForecastContext
{
    std::string file;
    std::string timeName;    // empty: the rows' order
    std::string valueName;   // "rows" when rows are counted
    std::vector<std::string> byNames;
    TimeAxis axis;
    double confidence = 0.95;
    RowAggregation aggregation = RowAggregation::None;
};

// A partition's model after Forecast(), or why there is none.
struct PartitionForecast
{
    const Series* series = nullptr;
    RefCntPtr<ForecastModel> model;
    // False when the residuals spread too wide: no intervals and no summary facts, only fit and forecast.
    bool hasIntervals = false;
    // Complete line for the standard error, empty when there is nothing to say.
    std::string failure;

    DataValue PeriodOf(const TimeAxis& axis, int index) const { return axis.Advance(series->first, index); }
    int SeriesLength() const { return static_cast<int>(series->values.size()); }
    bool IsForecast() const { return static_cast<bool>(model); }
};

// Fits and forecasts one series. A season is only allowed where the series is long enough for one. A series that cannot be
// fitted gives a failure; CancelledException passes through.
PartitionForecast RunForecast(const ForecastContext& context, const ForecastOptions& options, const Series& series);
