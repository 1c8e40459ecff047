#include "brvcore/transforms/ExponentialSmoothing.h"
#include "brvcore/transforms/ForecastModel.h"
#include "brvcore/transforms/ForecastOptimizer.h"
#include "brvcore/transforms/SmoothingKernels.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

using enum ForecastComponentType;

// International airline passengers in thousands, monthly, 1949 to 1960: G. E. P. Box, G. M. Jenkins and G. C. Reinsel,
// "Time Series Analysis", series G.
const std::vector<double> kAirline = {112, 118, 132, 129, 121, 135, 148, 148, 136, 119, 104, 118, 115, 126, 141, 135,
    125, 149, 170, 170, 158, 133, 114, 140, 145, 150, 178, 163, 172, 178, 199, 199, 184, 162, 146, 166, 171, 180, 193,
    181, 183, 218, 230, 242, 209, 191, 172, 194, 196, 196, 236, 235, 229, 243, 264, 272, 237, 211, 180, 201, 204, 188,
    235, 227, 234, 264, 302, 293, 259, 229, 203, 229, 242, 233, 267, 269, 270, 315, 364, 347, 312, 274, 237, 278, 284,
    277, 317, 313, 318, 374, 413, 405, 355, 306, 271, 306, 315, 301, 356, 348, 355, 422, 465, 467, 404, 347, 305, 336,
    340, 318, 362, 348, 363, 435, 491, 505, 404, 359, 310, 337, 360, 342, 406, 396, 420, 472, 548, 559, 463, 407, 362,
    405, 417, 391, 419, 461, 472, 535, 622, 606, 508, 461, 390, 432};

// A growing cycle with a disturbance: the same values on every run.
std::vector<double> MonthlySeries(int n)
{
    std::vector<double> series;
    for (int t = 0; t < n; ++t)
        series.push_back((100.0 + 0.5 * t) * (1.0 + 0.2 * std::sin(2.0 * std::numbers::pi * t / 12.0)) +
                         5.0 * std::sin(7.3 * t * t));
    return series;
}

void Search(const std::vector<double>& series, ForecastComponentType trendLimit)
{
    const int n = static_cast<int>(series.size());
    const auto model = MakeRefCnt<ForecastModel>(ForecastStatus::Success, FieldName(), MakeRefCnt<Tuple>(),
        RefCntPtr<ForecastModel>(), AggType::MonthTrunc, AggType::MonthTrunc, AggType::Sum, series,
        DateOptions::Default(), n, n, 0, 24, 12, 0, 0, 0, DataValue(), DataValue(), DataValue(), 0.95, Additive, None,
        None, trendLimit, Multiplicative, ForecastModelType::Search);
    benchmark::DoNotOptimize(model->Forecast());
}

// The whole search, with forecast and intervals.
void BM_ForecastAirline(benchmark::State& state)
{
    for (auto _ : state)
        Search(kAirline, static_cast<ForecastComponentType>(state.range(0)));
}
BENCHMARK(BM_ForecastAirline)->ArgName("trendLimit")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_ForecastMonths(benchmark::State& state)
{
    const std::vector<double> series = MonthlySeries(static_cast<int>(state.range(0)));
    for (auto _ : state)
        Search(series, Multiplicative);
    state.SetItemsProcessed(state.iterations());   // series
}
BENCHMARK(BM_ForecastMonths)->Arg(36)->Arg(100)->Arg(240)->Arg(2400)->Unit(benchmark::kMillisecond);

// One candidate, from all starts: (trend, season, instruction level).
void BM_OptimizeParameters(benchmark::State& state)
{
    const SmoothingComponents components{
        static_cast<ForecastComponentType>(state.range(0)), static_cast<ForecastComponentType>(state.range(1)), 12};
    const SmoothingStates start = InitExponentialSmoothing(kAirline, components);
    const SmoothingObjective objective(kAirline, components, start);
    const SmoothingKernel* kernel = SmoothingKernelOfLevel(static_cast<int>(state.range(2)));
    if (kernel == nullptr)
    {
        state.SkipWithError("this processor has no such instructions");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(ForecastOptimizer::OptimizeParameters(objective, *kernel));
}
BENCHMARK(BM_OptimizeParameters)
    ->ArgNames({"trend", "season", "level"})
    ->ArgsProduct({{0, 1, 2}, {0, 1, 2}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

// One pass over the series for all lanes: the optimiser's unit of work.
void BM_SmoothingPass(benchmark::State& state)
{
    const std::vector<double> series = MonthlySeries(240);
    const std::vector<double> season(12, 1.0);
    const SmoothingProblem problem{series.data(), 240, static_cast<int>(state.range(0)),
        static_cast<int>(state.range(1)), 12, 100.0, state.range(0) == 2 ? 1.005 : 0.5, season.data()};
    const SmoothingKernel& kernel = BestSmoothingKernel();
    const auto lanes = static_cast<std::size_t>(kernel.lanes);
    std::vector<double> ring(12 * lanes), alpha(lanes), beta(lanes, 0.1), gamma(lanes, 0.2), sse(lanes);
    for (std::size_t k = 0; k < lanes; ++k)
        alpha[k] = 0.03 * static_cast<double>(k + 1);
    for (auto _ : state)
    {
        kernel.accumulate(problem, {alpha.data(), beta.data(), gamma.data(), sse.data()}, ring.data());
        benchmark::DoNotOptimize(sse.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 240 * kernel.lanes);   // parameter sets x periods
}
BENCHMARK(BM_SmoothingPass)->ArgNames({"trend", "season"})->ArgsProduct({{0, 1, 2}, {0, 1, 2}});

}   // namespace
