#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/MetricsScope.h"
#include "brvcore/runtime/FastCompression.h"

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include <benchmark/benchmark.h>
#include <zlib.h>

namespace
{

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kSmall = 16;
constexpr std::size_t kLarge = std::size_t{4} << 20;

unsigned Below(std::mt19937& generator, unsigned limit)
{
    return static_cast<unsigned>(generator() % limit);
}

// Words by Zipf's law, as in prose.
Bytes Text(std::size_t size)
{
    std::mt19937 generator(1);
    std::vector<std::string> words(5000);
    for (std::string& word : words)
        for (unsigned letters = 2 + Below(generator, 9); letters > 0; --letters)
            word += static_cast<char>('a' + Below(generator, 26));
    std::string text;
    while (text.size() < size)
        text += words[static_cast<std::size_t>(5000.0 / (1.0 + Below(generator, 5000))) % words.size()] + " ";
    return {text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size)};
}

// Rows of a date, a shop, a number of pieces and a price.
Bytes Csv(std::size_t size)
{
    std::mt19937 generator(2);
    std::string text = "day,shop,pieces,price\n";
    for (unsigned row = 0; text.size() < size; ++row)
        text += "2024-" + std::to_string(10 + row / 3000 % 3) + "-" + std::to_string(10 + row / 100 % 18) + ",shop " +
                std::to_string(Below(generator, 40)) + "," + std::to_string(Below(generator, 500)) + "," +
                std::to_string(Below(generator, 100)) + "." + std::to_string(10 + Below(generator, 90)) + "\n";
    return {text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size)};
}

// A smooth series with noise: the low bytes do not pack.
Bytes Doubles(std::size_t size)
{
    std::mt19937 generator(3);
    Bytes bytes(size);
    for (std::size_t i = 0; i + sizeof(double) <= size; i += sizeof(double))
    {
        const double value =
            1000.0 + 100.0 * std::sin(static_cast<double>(i) / 1000.0) + Below(generator, 1000) / 1000.0;
        std::memcpy(&bytes[i], &value, sizeof value);
    }
    return bytes;
}

void Pack(benchmark::State& state, Bytes (*make)(std::size_t), std::size_t size)
{
    const Bytes data = make(size);
    for (auto _ : state)
        benchmark::DoNotOptimize(brevion::compress::ZlibCompressFastest(data.data(), data.size()));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

// The limit: zlib alone, into a buffer that is there.
void PackRaw(benchmark::State& state, Bytes (*make)(std::size_t), std::size_t size)
{
    const Bytes data = make(size);
    Bytes output(compressBound(data.size()));
    for (auto _ : state)
    {
        uLong length = output.size();
        benchmark::DoNotOptimize(compress2(output.data(), &length, data.data(), data.size(), 1));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void Restore(benchmark::State& state, Bytes (*make)(std::size_t), std::size_t size)
{
    const Bytes data = make(size);
    const auto packed = brevion::compress::ZlibCompressFastestNoLogging(data.data(), data.size());
    for (auto _ : state)
        benchmark::DoNotOptimize(brevion::compress::ZlibUncompressFastest(packed->data(), packed->size()));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void RestoreRaw(benchmark::State& state, Bytes (*make)(std::size_t), std::size_t size)
{
    const Bytes data = make(size);
    const auto packed = brevion::compress::ZlibCompressFastestNoLogging(data.data(), data.size());
    Bytes output(size);
    for (auto _ : state)
    {
        uLong length = output.size();
        benchmark::DoNotOptimize(uncompress(output.data(), &length, packed->data() + 8, packed->size() - 8));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

// Each in its kind beside its limit.
#define BRV_BENCH_SIZE(name, make, size)                                                                               \
    BENCHMARK_CAPTURE(Pack, name, make, size);                                                                         \
    BENCHMARK_CAPTURE(PackRaw, name, make, size);                                                                      \
    BENCHMARK_CAPTURE(Restore, name, make, size);                                                                      \
    BENCHMARK_CAPTURE(RestoreRaw, name, make, size)

BRV_BENCH_SIZE(text_4M, Text, kLarge);
BRV_BENCH_SIZE(csv_4M, Csv, kLarge);
BRV_BENCH_SIZE(doubles_4M, Doubles, kLarge);
BRV_BENCH_SIZE(text_16B, Text, kSmall);

// With somebody who listens to both the log and the metrics.
void PackWithListeners(benchmark::State& state)
{
    struct Log : ILogSink
    {
        void Write(const LogRecord& record) override { benchmark::DoNotOptimize(record.fields->size()); }
    };
    struct Metrics : IMetricsSink
    {
        void Write(const MetricsRecord& record) override { benchmark::DoNotOptimize(record.facts.size()); }
    };
    SetLogSink(std::make_shared<Log>());
    SetMetricsSink(std::make_shared<Metrics>());
    Pack(state, Text, kSmall);
    SetLogSink(nullptr);
    SetMetricsSink(nullptr);
}
BENCHMARK(PackWithListeners);

}   // namespace
