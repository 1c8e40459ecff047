#include "brvcore/transforms/ClusterTables.h"

#include <algorithm>

ClusterRows::ClusterRows(const std::vector<std::vector<double>>& data)
    : nRows(static_cast<std::int32_t>(data.size())), nCols(static_cast<std::int32_t>(data.front().size())),
      stride((data.front().size() + kColumnMultiple - 1) / kColumnMultiple * kColumnMultiple)
{
    values.resize(data.size() * stride);
    tiles.resize(static_cast<std::size_t>(GetNumTiles()) * data.front().size() * kTileRows);
    for (std::size_t row = 0; row < data.size(); ++row)
    {
        std::copy(data[row].begin(), data[row].end(), values.begin() + static_cast<std::ptrdiff_t>(row * stride));
        double* tile = tiles.data() + row / kTileRows * data.front().size() * kTileRows + row % kTileRows;
        for (std::size_t v = 0; v < data.front().size(); ++v)
            tile[v * kTileRows] = data[row][v];
    }
}

GroupTable::GroupTable(std::size_t nGroups, std::size_t rowStride)
    : stride(rowStride), counts(nGroups, 0), means(nGroups * rowStride, 0.0), m2(nGroups * rowStride, 0.0)
{
}

void GroupTable::Clear(std::size_t group)
{
    const auto begin = static_cast<std::ptrdiff_t>(group * stride);
    counts[group] = 0;
    std::fill_n(means.begin() + begin, stride, 0.0);
    std::fill_n(m2.begin() + begin, stride, 0.0);
}

ClusterTables::ClusterTables(const std::vector<std::vector<double>>& data, int maxClusters)
    : rows(data), states(static_cast<std::size_t>(maxClusters), EstimationState::New), kept(states.size(), rows.stride),
      members(states.size(), rows.stride), sizes(states.size(), 0), offsets(states.size(), 0),
      memberDistances(data.size()), weights(static_cast<std::size_t>(rows.GetNumTiles()) * kTileRows, 0.0)
{
}
