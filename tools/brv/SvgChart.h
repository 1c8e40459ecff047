#pragma once

#include "ForecastRun.h"

#include <string>
#include <vector>

// A chart of each forecast, one below the other: history, fit, forecast and its band over an axis of dates. The colours
// follow the reader's light or dark setting. Partitions without a forecast are left out.
std::string DrawChart(const ForecastContext& context, const std::vector<PartitionForecast>& forecasts);
