#pragma once

#include <cstddef>
#include <cstdint>

// The loops of k-means clustering that touch every row: the nearest centre, running mean and spread, weighted mean and spread.
//
// A lane is one row where distances are measured and one variable where rows are added up. Lanes never mix, so each performs
// the operations of BasicStatistics::SquaredEuclideanDistance, of RunningVariance::Add or of the weighted update in the same
// order, and every result is equal to the last bit, whatever the width of the vectors.

constexpr int kTileRows = 8;         // rows that lie side by side in a tile: value v of row r at [v * kTileRows + r]
constexpr int kColumnMultiple = 4;   // a row or a centre fills up to this many values, with zeros

// Centres in rows of `stride` values, of which the first nCols count.
struct CentreTable
{
    const double* values;
    std::size_t stride;
    std::size_t nCols;
    int nCentres;
};

// Running moments of numbered groups, `stride` variables each; the counts and sums of weights serve all variables, because
// a row with a missing value belongs to no group. m2 is the sum of squared deviations from the mean.
struct GroupMoments
{
    std::int32_t* counts;
    double* weightSums;   // of the weighted update alone
    double* means;
    double* m2;
    std::size_t stride;
};

struct DistanceKernel
{
    // For each row of the tiles the lowest-numbered of the nearest centres and the distance to it, times the row's weight.
    // Centre 0 and the largest double where no distance is below that, as when all are NaN.
    void (*findNearest)(const double* tiles, int nTiles, const CentreTable& centres, const double* weights,
        double* distances, double* nearest);
    // Adds row i to group groups[i] (none when negative) with Welford's recurrence, for i from 0 to n - 1 in this order.
    void (*addRows)(const double* rows, int n, const std::int32_t* groups, const GroupMoments& moments);
    // The same with D. H. D. West, "Updating Mean and Variance Estimates: An Improved Method", Communications of the ACM 22
    // (1979). A weight that is not above 0 adds nothing.
    void (*addWeightedRows)(
        const double* rows, int n, const std::int32_t* groups, const double* weights, const GroupMoments& moments);
};

// The widest kernel that this processor runs. All give the same bits.
const DistanceKernel& BestDistanceKernel();

// The kernel of one instruction level, or null when the processor or the build has none: 0 the baseline of the target,
// 1 AVX2. For tests and benchmarks.
const DistanceKernel* DistanceKernelOfLevel(int level);
