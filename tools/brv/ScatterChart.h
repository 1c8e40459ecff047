#pragma once

#include "ClusterRun.h"

#include <optional>
#include <string>
#include <vector>

// The columns on the axes, as they count in the clustering. Nothing: the two that separate the clusters most.
struct ScatterAxes
{
    std::size_t x;
    std::size_t y;
};

// The axes of two names. Throws DataError for a name that is no column, or none of those clustered by.
std::optional<ScatterAxes> FindAxes(
    const CsvTable& table, const ClusterInput& input, const std::vector<std::string>& names);

// The clustered rows as dots in the colours of their clusters, outliers as crosses, and the centres with their numbers. Where
// there is one column alone, the other axis is the row's line. The colours follow the reader's light or dark setting.
std::string DrawScatterChart(const Clustering& clustering, const std::optional<ScatterAxes>& axes);
