#include "brvcore/transforms/ClusterAnalysis.h"
#include "brvcore/transforms/DistanceKernels.h"
#include "brvcore/transforms/OutlierBound.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

// A number in [0, 1) that depends on i and v alone.
double Unit(std::int64_t i, std::int64_t v)
{
    const double x = std::sin(static_cast<double>(i) * 12.9898 + static_cast<double>(v) * 78.233) * 43758.5453;
    return x - std::floor(x);
}

// Clouds of unit deviation around centres in a cube of side 10, the same on every run. bench/compare_peers.py makes the same.
std::vector<std::vector<double>> Clouds(std::int64_t rows, std::int64_t cols, std::int64_t clouds)
{
    std::vector<std::vector<double>> data(
        static_cast<std::size_t>(rows), std::vector<double>(static_cast<std::size_t>(cols)));
    for (std::int64_t i = 0; i < rows; ++i)
        for (std::int64_t v = 0; v < cols; ++v)
        {
            double x = 10.0 * Unit(-1 - i % clouds, v) - 6.0;
            for (std::int64_t part = 0; part < 12; ++part)
                x += Unit(i, v + 100 * part);
            data[static_cast<std::size_t>(i)][static_cast<std::size_t>(v)] = x;
        }
    return data;
}

void BM_KMeans(benchmark::State& state)
{
    const auto data = Clouds(state.range(0), 10, state.range(1));
    ClusterKMeans clusters(25, 100, 0.0, 0.05);
    for (auto _ : state)
    {
        clusters.Compute(data, {}, static_cast<int>(state.range(1)));
        benchmark::DoNotOptimize(clusters.m_assignments.data());
    }
    state.counters["clusters"] = clusters.m_nClusters;
    state.counters["outliers"] = clusters.m_nOutliers;
}
BENCHMARK(BM_KMeans)->Args({100000, 8})->Args({10000, 8})->ArgNames({"rows", "k"})->Unit(benchmark::kMillisecond);

// The number of clusters is left to the index.
void BM_KMeansAutomatic(benchmark::State& state)
{
    const auto data = Clouds(state.range(0), state.range(1), 5);
    ClusterKMeans clusters(25, 100, 0.0, 0.05);
    for (auto _ : state)
    {
        clusters.Compute(data, {}, 0);
        benchmark::DoNotOptimize(clusters.m_assignments.data());
    }
    state.counters["clusters"] = clusters.m_nClusters;
    state.counters["tried"] = static_cast<double>(clusters.m_chIndex.size());
}
BENCHMARK(BM_KMeansAutomatic)
    ->Args({2000, 4})
    ->Args({2000, 10})
    ->ArgNames({"rows", "columns"})
    ->Unit(benchmark::kMicrosecond);

// Squared distances within a cloud of ten variables.
std::vector<double> Distances(std::int64_t n)
{
    std::vector<double> distances(static_cast<std::size_t>(n), 0.0);
    for (std::int64_t i = 0; i < n; ++i)
        for (std::int64_t v = 0; v < 10; ++v)
        {
            const double d = Unit(i, v) + Unit(i, v + 100) + Unit(i, v + 200) - 1.5;
            distances[static_cast<std::size_t>(i)] += d * d;
        }
    return distances;
}

void BM_OutlierBound(benchmark::State& state)
{
    const std::vector<double> distances = Distances(state.range(0));
    const auto find = state.range(1) == 0 ? FindOutlierBound : FindOutlierBoundBySorting;
    OutlierScratch scratch;
    for (auto _ : state)
        benchmark::DoNotOptimize(find(distances, 0.05, scratch));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_OutlierBound)
    ->ArgsProduct({{100, 1000, 12500}, {0, 1}})
    ->ArgNames({"values", "sorting"})
    ->Unit(benchmark::kMicrosecond);

// One pass over 4096 rows of ten variables: the nearest of K centres.
void BM_NearestCentre(benchmark::State& state)
{
    const DistanceKernel* kernel = DistanceKernelOfLevel(static_cast<int>(state.range(1)));
    if (kernel == nullptr)
    {
        state.SkipWithError("no such instructions");
        return;
    }
    constexpr int kRows = 4096;
    std::vector<double> tiles(10 * kRows), weights(kRows, 1.0), distances(kRows), nearest(kRows), centres(32 * 12);
    for (std::size_t i = 0; i < tiles.size(); ++i)
        tiles[i] = Unit(static_cast<std::int64_t>(i), 0);
    for (std::size_t i = 0; i < centres.size(); ++i)
        centres[i] = Unit(static_cast<std::int64_t>(i), 1);
    const CentreTable table{centres.data(), 12, 10, static_cast<int>(state.range(0))};
    for (auto _ : state)
    {
        kernel->findNearest(tiles.data(), kRows / kTileRows, table, weights.data(), distances.data(), nearest.data());
        benchmark::DoNotOptimize(nearest.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kRows * state.range(0));
}
BENCHMARK(BM_NearestCentre)
    ->ArgsProduct({{1, 2, 8, 25}, {0, 1}})
    ->ArgNames({"k", "level"})
    ->Unit(benchmark::kMicrosecond);

}   // namespace
