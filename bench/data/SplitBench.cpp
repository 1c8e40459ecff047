// Splitting columns of 100000 distinct values, the whole run from values to specifications; and single long values.

#include "bench/data/SplitColumns.h"
#include "brvcore/data/ICUDateFormatInspector.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include <benchmark/benchmark.h>

namespace
{
using Make = std::string (*)(SplitColumns::Random&);

void SplitColumn(benchmark::State& state, Make make, std::size_t count)
{
    std::set<TString> samples;
    for (const std::u16string& text : SplitColumns::Column(make, count))
        samples.insert(TString(text));
    const StructureGovernor governor;
    for (auto _ : state)
        benchmark::DoNotOptimize(GenerateSplitSpec(samples, governor, true));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

std::string LongText(SplitColumns::Random& random)
{
    std::string text;
    while (text.size() < 10000)
        text += SplitColumns::Join({SplitColumns::Word(random, 1, 9), ", ", SplitColumns::Digits(random, 3)});
    return text;
}

std::string LongRun(SplitColumns::Random& /*random*/)
{
    return SplitColumns::Join({std::string(5000, '7'), ".", std::string(4999, '7')});
}

constexpr std::size_t kValues = 100000;
}   // namespace

BENCHMARK_CAPTURE(SplitColumn, phones, SplitColumns::Phone, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, codes, SplitColumns::Code, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, emails, SplitColumns::Email, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, prices, SplitColumns::Price, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, ipv4, SplitColumns::Address4, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, urls, SplitColumns::Url, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, datetimes, SplitColumns::DateTime, kValues)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, macs, SplitColumns::Mac, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, numbers, SplitColumns::Numbers, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, long_rows, SplitColumns::LongRow, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, uuids, SplitColumns::Uuid, kValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, one_long_text, LongText, std::size_t(1))->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(SplitColumn, one_long_run, LongRun, std::size_t(1))->Unit(benchmark::kMillisecond)->UseRealTime();
