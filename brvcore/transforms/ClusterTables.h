#pragma once

#include "brvcore/transforms/DistanceKernels.h"
#include "brvcore/transforms/OutlierBound.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// What one computation of k-means clustering works on. What goes by row is allocated before the first pass, or by it; what
// goes by cluster grows with every split.

constexpr int kBlockTiles = 32;
constexpr int kBlockRows = kBlockTiles * kTileRows;   // at a time: the results of a block stay in the first-level cache

// A copy of the rows in the two orders in which the kernels read them.
struct ClusterRows
{
    explicit ClusterRows(const std::vector<std::vector<double>>& data);

    std::int32_t nRows;
    std::int32_t nCols;
    std::size_t stride;           // values from one row to the next
    std::vector<double> values;   // row after row, each filled up with zeros
    std::vector<double> tiles;    // kTileRows rows side by side, the last tile filled up with zeros

    std::int32_t GetNumTiles() const { return (nRows + kTileRows - 1) / kTileRows; }
    const double* GetRow(std::int32_t row) const { return values.data() + static_cast<std::size_t>(row) * stride; }
    const double* GetTile(std::int32_t tile) const
    {
        return tiles.data() + static_cast<std::size_t>(tile) * static_cast<std::size_t>(nCols) * kTileRows;
    }
};

// What a cluster's tables wait for.
enum class EstimationState : std::uint8_t
{
    New = 0,         // just created or split: they must be built
    Unchanged = 1,   // the last pass moved none of its rows and changed none of their distances
    Changed = 2,     // it moved a row from or to it, or changed a distance
};

// Count, mean and sum of squared deviations per variable of numbered groups. A row with a missing value weighs nothing and
// is in no group, so one count serves all variables.
struct GroupTable
{
    GroupTable(std::size_t nGroups, std::size_t rowStride);

    std::size_t stride;
    std::vector<std::int32_t> counts;
    std::vector<double> means;   // nGroups x stride, as m2
    std::vector<double> m2;

    GroupMoments GetMoments() { return {counts.data(), nullptr, means.data(), m2.data(), stride}; }
    const double* GetMeans(std::size_t group) const { return means.data() + group * stride; }
    const double* GetM2(std::size_t group) const { return m2.data() + group * stride; }
    double* GetMeans(std::size_t group) { return means.data() + group * stride; }
    void Clear(std::size_t group);
    void AddGroup();
};

// Where every row belongs: what a return to the partition before restores.
struct ClusterPartition
{
    std::vector<std::int32_t> assignments;
    std::vector<double> distances;
    std::vector<bool> excluded;
    std::vector<double> outlierBounds;
};

struct ClusterTables
{
    explicit ClusterTables(const std::vector<std::vector<double>>& data);   // with one cluster

    ClusterRows rows;
    std::vector<EstimationState> states;    // by cluster, as all that follows up to the offsets
    GroupTable kept;                        // the members that are no outliers: their means are the centres
    GroupTable members;                     // all members, outliers included: m2 is the spread that a split compares
    std::vector<std::int32_t> sizes;        // members, outliers included
    std::vector<std::size_t> offsets;       // of the cluster in memberDistances
    std::vector<double> memberDistances;    // grouped by cluster, in the order of the rows
    std::vector<double> weights;            // by row, filled up to whole tiles
    std::vector<std::int32_t> iterations;   // passes made with 1, 2, ... clusters
    OutlierScratch scratch;
    ClusterPartition previous;

    void AddCluster();
    const double* GetCentre(int cluster) const { return kept.GetMeans(static_cast<std::size_t>(cluster)); }
};
