#include "brvcore/transforms/OneWayANOVA.h"
#include "brvcore/transforms/SummaryStats.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

// The same values and labels as in bench/compare_peers.py.
std::vector<double> Waves(std::size_t n)
{
    std::vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i)
        values[i] = 100.0 + 10.0 * std::sin(0.7 * static_cast<double>(i)) + std::sin(12.9898 * static_cast<double>(i));
    return values;
}

// A million values in so many groups; the labels of a table in no order, or of a sorted one.
void Anova(benchmark::State& state, bool isSorted)
{
    constexpr std::int64_t kValues = 1000000;
    const std::int64_t numGroups = state.range(0);
    const std::vector<double> values = Waves(static_cast<std::size_t>(kValues));
    std::vector<int> groups;
    groups.reserve(values.size());
    for (std::int64_t i = 0; i < kValues; ++i)
        groups.push_back(static_cast<int>(isSorted ? i * numGroups / kValues : i * i % 104729 % numGroups));
    for (auto _ : state)
        benchmark::DoNotOptimize(OneWayANOVA(values, groups, static_cast<int>(numGroups)));
    state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_AnovaScattered(benchmark::State& state)
{
    Anova(state, false);
}
BENCHMARK(BM_AnovaScattered)->Arg(2)->Arg(50)->Unit(benchmark::kMicrosecond);

void BM_AnovaSorted(benchmark::State& state)
{
    Anova(state, true);
}
BENCHMARK(BM_AnovaSorted)->Arg(50)->Unit(benchmark::kMicrosecond);

void BM_SummaryStats(benchmark::State& state)
{
    const std::vector<double> values = Waves(1000000);
    for (auto _ : state)
        benchmark::DoNotOptimize(SummaryStats(values).GetVariance());
    state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(BM_SummaryStats)->Unit(benchmark::kMicrosecond);

// So many columns of a hundred thousand values.
void BM_SummaryColumns(benchmark::State& state)
{
    const std::vector<std::vector<double>> columns(static_cast<std::size_t>(state.range(0)), Waves(100000));
    for (auto _ : state)
        benchmark::DoNotOptimize(SummaryStatsMat(columns).GetVariances());
    state.SetItemsProcessed(state.iterations() * state.range(0) * 100000);
}
BENCHMARK(BM_SummaryColumns)->Arg(1)->Arg(10)->Unit(benchmark::kMicrosecond);

}   // namespace
