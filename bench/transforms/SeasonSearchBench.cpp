#include "brvcore/transforms/ForecastSeasonSearch.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

// A trend, a yearly cycle and a disturbance: the same values on every run.
std::vector<double> MonthlySeries(std::int64_t n)
{
    std::vector<double> values(static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < values.size(); ++i)
    {
        const auto t = static_cast<double>(i);
        values[i] = 100.0 + 0.5 * t + 20.0 * std::sin(2.0 * std::numbers::pi * t / 12.0) + 3.0 * std::sin(7.3 * t * t);
    }
    return values;
}

// All periods that a series of this length allows, at most 2 to 60.
void BM_SeasonSearch(benchmark::State& state)
{
    const ForecastSeasonSearch search(MonthlySeries(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(search.Compute());
}
BENCHMARK(BM_SeasonSearch)->Arg(24)->Arg(120)->Arg(1200)->Unit(benchmark::kMicrosecond);

}   // namespace
