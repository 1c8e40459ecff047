#include "brvcore/transforms/ClusterTables.h"

#include "brvcore/foundation/CancellationChecker.h"

#include <algorithm>

ClusterRows::ClusterRows(const std::vector<std::vector<double>>& data)
    : nRows(static_cast<std::int32_t>(data.size())), nCols(static_cast<std::int32_t>(data.front().size())),
      stride((data.front().size() + kColumnMultiple - 1) / kColumnMultiple * kColumnMultiple)
{
    const std::size_t tileSize = data.front().size() * kTileRows;
    values.reserve(data.size() * stride);
    tiles.reserve(static_cast<std::size_t>(GetNumTiles()) * tileSize);
    CancellationChecker checker(1000);
    for (std::size_t row = 0; row < data.size(); ++row)
    {
        checker.ThrowIfCancelled();
        values.insert(values.end(), data[row].begin(), data[row].end());
        values.resize((row + 1) * stride);
        if (row % kTileRows == 0)
            tiles.resize(tiles.size() + tileSize);
        double* lane = tiles.data() + row / kTileRows * tileSize + row % kTileRows;
        for (std::size_t v = 0; v < data.front().size(); ++v)
            lane[v * kTileRows] = data[row][v];
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

void GroupTable::AddGroup()
{
    counts.push_back(0);
    means.resize(means.size() + stride, 0.0);
    m2.resize(m2.size() + stride, 0.0);
}

ClusterTables::ClusterTables(const std::vector<std::vector<double>>& data)
    : rows(data), states(1, EstimationState::New), kept(1, rows.stride), members(1, rows.stride), sizes(1, 0),
      offsets(1, 0), memberDistances(data.size()),
      weights(static_cast<std::size_t>(rows.GetNumTiles()) * kTileRows, 0.0)
{
}

void ClusterTables::AddCluster()
{
    states.push_back(EstimationState::New);
    kept.AddGroup();
    members.AddGroup();
    sizes.push_back(0);
    offsets.push_back(0);
}
