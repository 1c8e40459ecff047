// The loops of DistanceKernels.h, compiled once per instruction level. The including file defines BRV_DISTANCE_LANES and is
// built with the level's flags.
//
// Everything here is private to the including file and calls no inline function of another header: the linker keeps one
// copy of such a function for the whole library, and must not keep one that an older processor cannot run. The vector types
// of gcc and clang keep sums in registers across the inner loop, where an array of lanes would go through memory.

#include "brvcore/transforms/DistanceKernels.h"

namespace
{

constexpr int kLanes = BRV_DISTANCE_LANES;
constexpr int kVectors = kTileRows / kLanes;   // vectors of a tile
constexpr int kCentreGroup = kLanes;   // centres at a time: kCentreGroup * kVectors sums, eight, fill the registers
constexpr double kLargest = __DBL_MAX__;

typedef double Vector __attribute__((vector_size(kLanes * sizeof(double))));
typedef double UnalignedVector __attribute__((vector_size(kLanes * sizeof(double)), aligned(8), may_alias));

inline __attribute__((always_inline)) Vector Load(const double* p)
{
    return *reinterpret_cast<const UnalignedVector*>(p);
}

inline __attribute__((always_inline)) void Store(double* p, Vector v)
{
    *reinterpret_cast<UnalignedVector*>(p) = v;
}

inline __attribute__((always_inline)) Vector Splat(double x)
{
    return x - Vector{};   // exact for every x, so it costs nothing
}

// sum_v (x_v - centre_v)^2 times the weight, for kGroup centres and the rows of a tile, against the best so far.
template <int kGroup>
inline __attribute__((always_inline)) void Measure(
    const double* tile, const CentreTable& centres, int first, const Vector* weight, Vector* best, Vector* which)
{
    Vector sum[kGroup][kVectors] = {};
    const double* centre = centres.values + static_cast<std::size_t>(first) * centres.stride;
    for (std::size_t v = 0; v < centres.nCols; ++v)
    {
        Vector x[kVectors];
        for (int t = 0; t < kVectors; ++t)
            x[t] = Load(tile + v * kTileRows + t * kLanes);
        for (int g = 0; g < kGroup; ++g)
            for (int t = 0; t < kVectors; ++t)
            {
                const Vector d = x[t] - centre[static_cast<std::size_t>(g) * centres.stride + v];
                sum[g][t] += d * d;
            }
    }
    for (int g = 0; g < kGroup; ++g)
        for (int t = 0; t < kVectors; ++t)
        {
            const Vector distance = weight[t] * sum[g][t];
            const auto isCloser = distance < best[t];
            best[t] = isCloser ? distance : best[t];
            which[t] = isCloser ? Splat(first + g) : which[t];
        }
}

void FindNearest(const double* tiles, int nTiles, const CentreTable& centres, const double* weights, double* distances,
    double* nearest)
{
    const int k = centres.nCentres;
    for (int tile = 0; tile < nTiles; ++tile)
    {
        Vector weight[kVectors], best[kVectors], which[kVectors];
        for (int t = 0; t < kVectors; ++t)
        {
            weight[t] = Load(weights + t * kLanes);
            best[t] = Splat(kLargest);
            which[t] = Vector{};
        }
        int first = 0;
        for (; k - first >= kCentreGroup; first += kCentreGroup)
            Measure<kCentreGroup>(tiles, centres, first, weight, best, which);
        if (kCentreGroup > 2 && k - first == 3)
            Measure<3>(tiles, centres, first, weight, best, which);
        else if (kCentreGroup > 2 && k - first == 2)
            Measure<2>(tiles, centres, first, weight, best, which);
        else if (k - first == 1)
            Measure<1>(tiles, centres, first, weight, best, which);
        for (int t = 0; t < kVectors; ++t)
        {
            Store(distances + t * kLanes, best[t]);
            Store(nearest + t * kLanes, which[t]);
        }
        tiles += centres.nCols * kTileRows;
        weights += kTileRows;
        distances += kTileRows;
        nearest += kTileRows;
    }
}

// before = x - mean;  mean' = mean + before / n;  m2' = m2 + (x - mean') before
void AddRows(const double* rows, int n, const std::int32_t* groups, const GroupMoments& moments)
{
    const std::size_t stride = moments.stride;
    for (int i = 0; i < n; ++i, rows += stride)
    {
        if (groups[i] < 0)
            continue;
        const auto group = static_cast<std::size_t>(groups[i]);
        const Vector count = Splat(++moments.counts[group]);
        double* means = moments.means + group * stride;
        double* m2 = moments.m2 + group * stride;
        for (std::size_t v = 0; v < stride; v += kLanes)
        {
            const Vector x = Load(rows + v);
            Vector mean = Load(means + v);
            const Vector before = x - mean;
            mean += before / count;
            Store(means + v, mean);
            Store(m2 + v, Load(m2 + v) + (x - mean) * before);
        }
    }
}

// W' = W + w;  d = (x - mean) w;  mean' = mean + d / W';  m2' = m2 + (x - mean') d
void AddWeightedRows(
    const double* rows, int n, const std::int32_t* groups, const double* weights, const GroupMoments& moments)
{
    const std::size_t stride = moments.stride;
    for (int i = 0; i < n; ++i, rows += stride)
    {
        if (groups[i] < 0 || !(weights[i] > 0.0))
            continue;
        const auto group = static_cast<std::size_t>(groups[i]);
        ++moments.counts[group];
        moments.weightSums[group] += weights[i];
        const Vector weight = Splat(weights[i]);
        const Vector weightSum = Splat(moments.weightSums[group]);
        double* means = moments.means + group * stride;
        double* m2 = moments.m2 + group * stride;
        for (std::size_t v = 0; v < stride; v += kLanes)
        {
            const Vector x = Load(rows + v);
            Vector mean = Load(means + v);
            const Vector d = (x - mean) * weight;
            mean += d / weightSum;
            Store(means + v, mean);
            Store(m2 + v, Load(m2 + v) + (x - mean) * d);
        }
    }
}

}   // namespace
