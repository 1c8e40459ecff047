#include "brvcore/network/MultipartResponsePart.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

constexpr std::size_t kPartSize = 1024 * 1024;
constexpr std::size_t kParts = 64;
constexpr std::string_view kBrowserBoundary = "-----------------------------7A3F01BB2C9D";

// What the parts hold.
enum class Content
{
    Random,    // bytes as a compressed file has them
    Table,     // dates, signed numbers and "--" for what is missing: seven hyphens in a line
    Hyphens,   // nothing else: every byte may begin a boundary
    Nearly,    // the boundary without its last character, again and again
};

std::string MakePart(Content content, std::string_view boundary)
{
    std::minstd_rand random(42);
    std::string part;
    part.reserve(kPartSize + 64);
    while (part.size() < kPartSize)
        switch (content)
        {
        case Content::Random:
            part += static_cast<char>(random() >> 8);
            break;
        case Content::Table:
            part +=
                "2024-01-" + std::to_string(10 + random() % 20) + ",--,-" + std::to_string(random() % 1000) + ",--\r\n";
            break;
        case Content::Hyphens:
            part += '-';
            break;
        case Content::Nearly:
            part += boundary.substr(0, boundary.size() - 1);
            part += '\n';
            break;
        }
    part.resize(kPartSize);
    return part;
}

std::string MakeBody(Content content, std::string_view boundary)
{
    const std::string part = MakePart(content, boundary);
    std::string body;
    body.reserve(kParts * (kPartSize + 256));
    for (std::size_t i = 0; i < kParts; ++i)
    {
        body += boundary;
        body += "\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: binary\r\n\r\n";
        body += part;
        body += "\r\n";
    }
    return body.append(boundary).append("--\r\n");
}

// The body in full buffers, each copied once, as a queue would hand them over.
class MemorySource : public IBufferSource
{
public:
    MemorySource(std::string_view body, std::size_t bufferSize) : m_body(body), m_bufferSize(bufferSize) {}

    bool GetNextBuffer(std::string& buffer) override
    {
        const std::string_view piece = m_body.substr(0, m_bufferSize);
        buffer.assign(piece);
        m_body.remove_prefix(piece.size());
        return !piece.empty();
    }
    std::size_t GetBufferSize() const noexcept override { return m_bufferSize; }

private:
    std::string_view m_body;
    std::size_t m_bufferSize;
};

// All parts of one body, read into one buffer. Arguments: the content, the size of the source's buffers.
void ReadParts(benchmark::State& state, std::string_view boundary)
{
    const std::string body = MakeBody(static_cast<Content>(state.range(0)), boundary);
    const std::size_t bufferSize = static_cast<std::size_t>(state.range(1));
    std::vector<char> buffer(64 * 1024);
    for (auto _ : state)
    {
        MemorySource source(body, bufferSize);
        TNetworkMultipartReply reply(source);
        std::size_t bytes = 0;
        while (reply.ConstructNextPart())
            while (const std::size_t count = reply.ReadFromPart(buffer.data(), buffer.size()))
            {
                bytes += count;
                benchmark::DoNotOptimize(buffer.data());
            }
        if (bytes != kParts * (kPartSize + 1))   // and the CR of the line end
            std::abort();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}

void BM_MultipartReply(benchmark::State& state)
{
    ReadParts(state, kBrowserBoundary);
}

// A boundary of three characters leaves the search little to skip by, a run of hyphens inside nothing at all.
void BM_MultipartReplyShortBoundary(benchmark::State& state)
{
    ReadParts(state, "--b");
}
void BM_MultipartReplyHostileBoundary(benchmark::State& state)
{
    ReadParts(state, "--x----------------------------------------");
}

// The same buffers copied twice and not looked at: what no reader can beat.
void BM_MultipartReplyCopiesOnly(benchmark::State& state)
{
    const std::string body = MakeBody(Content::Random, kBrowserBoundary);
    std::vector<char> buffer(64 * 1024);
    for (auto _ : state)
    {
        MemorySource source(body, buffer.size());
        for (std::string piece; source.GetNextBuffer(piece);)
        {
            std::ranges::copy(piece, buffer.begin());
            benchmark::DoNotOptimize(buffer.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}

constexpr std::int64_t kRandom = static_cast<std::int64_t>(Content::Random);
constexpr std::int64_t kTable = static_cast<std::int64_t>(Content::Table);
constexpr std::int64_t kNearly = static_cast<std::int64_t>(Content::Nearly);
constexpr std::int64_t kHyphens = static_cast<std::int64_t>(Content::Hyphens);

BENCHMARK(BM_MultipartReplyCopiesOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MultipartReply)
    ->ArgsProduct({benchmark::CreateDenseRange(kRandom, kNearly, 1), {64 * 1024}})
    ->Args({kRandom, 1024})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MultipartReplyShortBoundary)
    ->Args({kRandom, 64 * 1024})
    ->Args({kTable, 64 * 1024})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MultipartReplyHostileBoundary)->Args({kHyphens, 64 * 1024})->Unit(benchmark::kMillisecond);

}   // namespace
