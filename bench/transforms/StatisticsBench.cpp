#include "brvcore/transforms/BasicStatistics.h"

#include <cmath>
#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

// A slow and a fast wave: no two values alike, the same on every run. bench/compare_peers.py makes the same values.
std::vector<double> Waves(std::int64_t n)
{
    std::vector<double> values(static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = 100.0 + 10.0 * std::sin(0.7 * static_cast<double>(i)) + std::sin(12.9898 * static_cast<double>(i));
    return values;
}

void BM_Moments(benchmark::State& state)
{
    const std::vector<double> values = Waves(state.range(0));
    for (auto _ : state)
    {
        double mean = 0.0, variance = 0.0, skewness = 0.0, kurtosis = 0.0;
        BasicStatistics::GetMomentsTwoPass(values, mean, variance, skewness, kurtosis);
        benchmark::DoNotOptimize(kurtosis);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Moments)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

void BM_Variance(benchmark::State& state)
{
    const std::vector<double> values = Waves(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(BasicStatistics::variance(values, 0, true));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Variance)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// 400000 samples of 10 values, 10000 of 100, 1000 of 1000. Sorted once, as a host's object would be.
void BM_MedianPrecision(benchmark::State& state)
{
    StatsComputer computer(Waves(state.range(0)), false);
    for (auto _ : state)
        benchmark::DoNotOptimize(computer.GetMedianPrecision(95.0));
}
BENCHMARK(BM_MedianPrecision)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

void BM_OutlierUpperBound(benchmark::State& state)
{
    const std::vector<double> values = Waves(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(BasicStatistics::OutlierUpperBound(values, 0.05));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_OutlierUpperBound)->Arg(100000)->Unit(benchmark::kMicrosecond);

void BM_FTail(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(StatDistributions::ComputePF(3.7, 4, 120));
}
BENCHMARK(BM_FTail);

}   // namespace
