#include "brvcore/runtime/LogFileChannels.h"
#include "brvcore/runtime/LogImpl.h"
#include "tests/support/TempFolder.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

namespace
{

constexpr std::size_t kFileB = 16 << 20;   // a run writes many files; their number stays small
const std::string kLine(100, 'x');

// Goal: below 1 microsecond a line, rotation and retention included.
void WriteBySize(benchmark::State& state)
{
    const TempFolder folder;
    TLog::SizeBasedRotateAndDeleteFileChannel channel(TPath(folder / "app.log"), kFileB, 2);
    if (channel.Open())
        std::abort();
    for (auto _ : state)
        channel.Write(LogSeverity::Info, kLine);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WriteBySize);

// Asks the clock for each line.
void WriteByTime(benchmark::State& state)
{
    const TempFolder folder;
    TLog::TimeBasedRotateFileChannel channel(TPath(folder / "app.log"), 3600);
    if (channel.Open())
        std::abort();
    std::size_t writtenB = 0;
    for (auto _ : state)
    {
        channel.Write(LogSeverity::Info, kLine);
        if ((writtenB += kLine.size() + 1) > kFileB)
        {
            writtenB = 0;
            std::filesystem::resize_file(folder / "app.log", 0);
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WriteByTime);

// The limit: the C library's buffer of the same size and no rotation. It locks as well, once a line.
void WriteRaw(benchmark::State& state)
{
    const TempFolder folder;
    std::FILE* const file = std::fopen((folder / "app.log").c_str(), "a");
    if (file == nullptr)
        std::abort();
    const std::string line = kLine + '\n';
    std::setvbuf(file, nullptr, _IOFBF, 64 * 1024);
    std::size_t writtenB = 0;
    for (auto _ : state)
    {
        std::fwrite(line.data(), 1, line.size(), file);
        if ((writtenB += line.size()) > kFileB)
        {
            writtenB = 0;
            std::filesystem::resize_file(folder / "app.log", 0);
        }
    }
    std::fclose(file);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WriteRaw);

// A record as the sink of a host writes it: moment, level, message, fields. Beyond WriteBySize it measures the formatting.
void WriteRecord(benchmark::State& state)
{
    const TempFolder folder;
    std::shared_ptr<TLog::RotateFileChannel> channel =
        LogImpl::CreateSizeBasedRotateAndDeleteFileChannel(TPath(folder / "app.log"), kFileB, 2);
    if (channel->Open())
        std::abort();
    const std::shared_ptr<ILogSink> sink = LogImpl::CreateFileSink(std::move(channel));
    const TString message = u"zlib-compress-data";
    const LogFields fields{{u"outcome", u"done"}, {u"uncompressed-size-b", u"4194304"}};
    for (auto _ : state)
        sink->Write({.severity = LogSeverity::Info, .message = message, .fields = &fields});
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WriteRecord);

}   // namespace
