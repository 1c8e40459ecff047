#include "brvcore/runtime/FastCompression.h"

#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/MetricsScope.h"
#include "tests/support/TempFolder.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <sstream>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

using brevion::compress::OwnedBytes;
using brevion::compress::ZlibCompressFastest;
using brevion::compress::ZlibCompressFastestNoLogging;
using brevion::compress::ZlibUncompressFastest;
using Bytes = std::vector<unsigned char>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kBufError = -5;    // of the zlib manual: no room in the output
constexpr int kDataError = -3;   // corrupted or incomplete data

std::string ToHex(const Bytes& bytes)
{
    std::string text;
    for (const unsigned char byte : bytes)
    {
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
    }
    return text;
}

Bytes FromHex(const std::string& text)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

struct Sample
{
    std::string name;
    Bytes data;
    Bytes container;
};

// What make_containers.py has written.
std::vector<Sample> ReadSamples()
{
    std::ifstream in(BRV_TEST_DATA_DIR "/containers.csv");
    std::string line;
    std::getline(in, line);
    std::vector<Sample> samples;
    while (std::getline(in, line))
    {
        std::istringstream fields(line);
        std::string name, count, unit, container;
        std::getline(std::getline(std::getline(std::getline(fields, name, '|'), count, '|'), unit, '|'), container);
        Bytes data;
        for (int i = 0; i < std::stoi(count); ++i)
        {
            const Bytes bytes = FromHex(unit);
            data.insert(data.end(), bytes.begin(), bytes.end());
        }
        samples.push_back({name, data, FromHex(container)});
    }
    return samples;
}

Bytes SampleContainer(const std::string& name)
{
    for (const Sample& sample : ReadSamples())
        if (sample.name == name)
            return sample.container;
    ADD_FAILURE() << "no sample " << name;
    return {};
}

template <class Fields> std::string ToText(const Fields& fields)
{
    std::string text;
    for (const auto& [key, value] : fields)
        text.append(" ").append(key.ToUTF8()).append("=").append(value.ToUTF8());
    return text;
}

// Collects log events and metrics as text while it lives, under a clock that is 1.23456789 ms later at each look.
class Listeners
{
public:
    Listeners() : m_clock(Clock::Replace(std::make_shared<Ticking>()))
    {
        m_log->lines = &log;
        m_metrics->lines = &metrics;
        m_oldLog = SetLogSink(m_log);
        m_oldMetrics = SetMetricsSink(m_metrics);
    }
    ~Listeners()
    {
        SetMetricsSink(m_oldMetrics);
        SetLogSink(m_oldLog);
        Clock::Replace(m_clock);
    }
    Listeners(const Listeners&) = delete;
    Listeners& operator=(const Listeners&) = delete;

    std::vector<std::string> log;
    std::vector<std::string> metrics;

private:
    struct Ticking : IClock
    {
        std::chrono::steady_clock::time_point SteadyNow() override
        {
            return now += std::chrono::nanoseconds(1'234'568);
        }
        DateTime UniversalNow() override { return {}; }
        void Sleep(std::chrono::nanoseconds) override {}
        std::chrono::steady_clock::time_point now;
    };
    struct LogLines : ILogSink
    {
        void Write(const LogRecord& record) override
        {
            const char* const level = record.isError                            ? "error "
                                      : record.severity == LogSeverity::Info    ? "Info "
                                      : record.severity == LogSeverity::Warning ? "Warning "
                                                                                : "Debug ";
            lines->push_back(level + record.message.ToUTF8() + (record.fields ? ToText(*record.fields) : " nothing"));
        }
        std::vector<std::string>* lines = nullptr;
    };
    struct MetricsLines : IMetricsSink
    {
        void Write(const MetricsRecord& record) override
        {
            lines->push_back(TString(record.name).ToUTF8() + ToText(record.facts));
        }
        std::vector<std::string>* lines = nullptr;
    };

    std::shared_ptr<LogLines> m_log = std::make_shared<LogLines>();
    std::shared_ptr<MetricsLines> m_metrics = std::make_shared<MetricsLines>();
    std::shared_ptr<IClock> m_clock;
    std::shared_ptr<ILogSink> m_oldLog;
    std::shared_ptr<IMetricsSink> m_oldMetrics;
};

TEST(FastCompression, RestoresWhatPythonPacked)
{
    const std::vector<Sample> samples = ReadSamples();
    ASSERT_EQ(samples.size(), 10U);
    for (const Sample& sample : samples)
    {
        const OwnedBytes restored = ZlibUncompressFastest(sample.container.data(), sample.container.size());
        ASSERT_NE(restored, nullptr) << sample.name;
        EXPECT_EQ(*restored, sample.data) << sample.name;
    }
}

TEST(FastCompression, PythonRestoresWhatItPacks)
{
    if (std::system("python3 -c 'import zlib'") != 0)
        GTEST_SKIP() << "needs python3";
    const TempFolder folder;
    const std::string pairs = (folder / "pairs").native();
    {
        std::ofstream out(pairs);
        for (const Sample& sample : ReadSamples())
            out << ToHex(*ZlibCompressFastest(sample.data.data(), sample.data.size())) << '|' << ToHex(sample.data)
                << '\n';
    }
    const std::string command = "python3 -B '" BRV_TEST_DATA_DIR "/../runtime/make_containers.py' --check " + pairs;
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(FastCompression, PacksTightly)
{
    // All four bytes of the size differ. Runs of zeros shrink a thousandfold, and the memory with them.
    const Bytes zeros(0x0102'0304);
    const OwnedBytes container = ZlibCompressFastestNoLogging(zeros.data(), zeros.size());
    ASSERT_NE(container, nullptr);
    EXPECT_EQ(Bytes(container->begin(), container->begin() + 10), (Bytes{1, 4, 3, 2, 1, 0, 0, 0, 0x78, 0x01}))
        << "the stream says of itself: deflate, window of 32 KiB, fastest level";
    EXPECT_LT(container->size(), zeros.size() / 100);
    EXPECT_EQ(container->capacity(), container->size());
    EXPECT_EQ(*ZlibCompressFastest(zeros.data(), zeros.size()), *container);
    EXPECT_EQ(*ZlibUncompressFastest(container->data(), container->size()), zeros);
}

TEST(FastCompression, ReportsPacking)
{
    Listeners heard;
    const unsigned char data = 'a';
    EXPECT_NE(ZlibCompressFastest(&data, 0), nullptr);
    EXPECT_EQ(ZlibCompressFastest(nullptr, 0), nullptr);
    EXPECT_EQ(ZlibCompressFastest(nullptr, 3'700'000'001), nullptr);
    EXPECT_EQ(ZlibCompressFastest(&data, 3'700'000'001), nullptr);
    // The stream of no data takes 8 bytes: two of header, an empty block with fixed codes in two, four of check sum.
    EXPECT_THAT(heard.log,
        ElementsAre(
            "Info zlib-compress-data compressed-size-b=16 elapsed-ms=1.23457 outcome=done uncompressed-size-b=0",
            "Warning zlib-compress-data outcome=fail reason=input data null",
            "Warning zlib-compress-data outcome=fail reason=input data null",
            "Warning zlib-compress-data outcome=fail reason=input data too large"));
    EXPECT_THAT(heard.metrics,
        ElementsAre("zlib-compress-data compressed-size-b=16 outcome=done uncompressed-size-b=0",
            "zlib-compress-data outcome=fail reason=input data null",
            "zlib-compress-data outcome=fail reason=input data null",
            "zlib-compress-data outcome=fail reason=input data too large uncompressed-size-b=3700000001"));

    heard.log.clear();
    heard.metrics.clear();
    EXPECT_NE(ZlibCompressFastestNoLogging(&data, 1), nullptr);
    EXPECT_EQ(ZlibCompressFastestNoLogging(nullptr, 1), nullptr);
    EXPECT_EQ(ZlibCompressFastestNoLogging(&data, 3'700'000'001), nullptr);
    EXPECT_THAT(heard.log, IsEmpty());
    EXPECT_THAT(heard.metrics, IsEmpty());
}

TEST(FastCompression, ReportsRestoring)
{
    Listeners heard;
    const Bytes container = SampleContainer("text");
    EXPECT_NE(ZlibUncompressFastest(container.data(), container.size()), nullptr);
    const std::string sizes = "compressed-size-b=" + std::to_string(container.size());
    const OwnedBytes nothing = ZlibUncompressFastest(FromHex("0100000000000000ff").data(), 9);
    ASSERT_NE(nothing, nullptr) << "no size: the stream is not looked at";
    EXPECT_THAT(*nothing, IsEmpty());
    EXPECT_THAT(heard.log,
        ElementsAre("Info zlib-uncompress-data " + sizes + " elapsed-ms=1.23457 outcome=done uncompressed-size-b=84000",
            "Info zlib-uncompress-data outcome=done"));
    EXPECT_THAT(heard.metrics, ElementsAre("zlib-uncompress-data " + sizes + " outcome=done uncompressed-size-b=84000",
                                   "zlib-uncompress-data outcome=done"));
}

Bytes WithSize(Bytes container, unsigned char size)
{
    container.at(1) = size;
    return container;
}

Bytes WithLastByteChanged(Bytes container)
{
    container.back() ^= 1U;
    return container;
}

Bytes FirstBytes(Bytes container, std::size_t count)
{
    container.resize(count);
    return container;
}

// Of the 42 bytes of text; the size that came out and zlib's code, or only the code.
std::string WrongSize(int expected, int actual, int code)
{
    return "reason=unexpected size after uncompress size-actual=" + std::to_string(actual) +
           " size-expected=" + std::to_string(expected) + " zlib-error-code=" + std::to_string(code);
}

std::string WrongStream(int code)
{
    return "reason=non-zero errorcode from uncompress() zlib-error-code=" + std::to_string(code);
}

TEST(FastCompression, SaysWhyAContainerIsMalformed)
{
    const Bytes stored = SampleContainer("stored");   // 42 bytes behind 8 of our header, 2 of zlib's and 5 of the block
    struct Case
    {
        Bytes container;
        std::string facts;
        const char* why;
    };
    const Case cases[] = {
        {{1}, "reason=malformed input (too small)", "one byte"},
        {FromHex("02050000000000"), "reason=malformed input (too small)", "seven bytes; the method comes later"},
        {FromHex("0205000000000000"), "reason=malformed input (unexpected compression method)", "of unknown method"},
        {FromHex("0000000000000000"), "reason=malformed input (unexpected compression method)",
            "zeros, not empty data"},
        {FromHex("0105000000000000"), WrongSize(5, 0, kDataError), "a header without a stream"},
        {FromHex("010500000000000078"), WrongSize(5, 0, kDataError), "half of zlib's header"},
        {FromHex("01050000000000007801ff"), WrongSize(5, 0, kDataError), "an unknown type of block"},
        {FromHex("0105000000000000782000000001"), WrongSize(5, 0, kDataError), "a stream that needs a dictionary"},
        {FromHex("01050000000000001f8b08000000000000"), WrongSize(5, 0, kDataError), "gzip instead of zlib"},
        {FirstBytes(stored, 8 + 2 + 5 + 20), WrongSize(42, 20, kDataError), "cut off in the data"},
        {WithSize(stored, 43), WrongSize(43, 42, 0), "less data than the header says, in a stream without a fault"},
        {WithSize(stored, 41), WrongStream(kBufError), "more data than the header says"},
        {WithLastByteChanged(stored), WrongStream(kDataError), "a wrong check sum"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.why);
        Listeners heard;
        EXPECT_EQ(ZlibUncompressFastest(c.container.data(), c.container.size()), nullptr);
        EXPECT_THAT(heard.log, ElementsAre("Warning zlib-uncompress-data outcome=fail " + c.facts));
        EXPECT_THAT(heard.metrics, ElementsAre("zlib-uncompress-data outcome=fail " + c.facts));
    }
    Listeners heard;
    EXPECT_EQ(ZlibUncompressFastest(nullptr, 20), nullptr);
    EXPECT_THAT(heard.log, ElementsAre("Warning zlib-uncompress-data outcome=fail reason=input data null"));
    EXPECT_THAT(heard.metrics, ElementsAre("zlib-uncompress-data outcome=fail reason=input data null"));
}

TEST(FastCompression, IgnoresWhatIsNotItsOwn)
{
    Bytes container = SampleContainer("one byte");
    container[5] = container[6] = container[7] = 0xFF;
    container.push_back(0xFF);
    const OwnedBytes restored = ZlibUncompressFastest(container.data(), container.size());
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(*restored, Bytes{'a'});
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif
#else
constexpr bool kIsSanitized = false;
#endif

struct StandardErrorSink : ILogSink
{
    void Write(const LogRecord& record) override
    {
        for (const auto& [key, value] : *record.fields)
            std::fprintf(stderr, "<%s=%s>", key.ToUTF8().c_str(), value.ToUTF8().c_str());
    }
};

template <class Call> void ExpectBadAlloc(const char* what, Call call)
{
    try
    {
        static_cast<void>(call());
        std::fprintf(stderr, "<%s: a result>", what);
    }
    catch (const std::bad_alloc&)
    {
        std::fprintf(stderr, "<%s: no memory>", what);
    }
}

// Has the kernel map what the calls after it need.
[[gnu::noinline]] void UseStack()
{
    volatile char stack[512 * 1024];
    for (std::size_t i = 0; i < sizeof stack; i += 1024)
        stack[i] = 0;
}

// Uses up what the process has, and gets no more: small pieces are left, of less than the 64 KiB of one of zlib's tables.
[[noreturn]] void PackWithoutMemory()
{
    SetLogSink(std::make_shared<StandardErrorSink>());
    const Bytes data(std::size_t{1} << 20);
    const Bytes claim = FromHex("01ffffffff00000078");
    UseStack();
    const rlimit nothing{0, 0};
    setrlimit(RLIMIT_AS, &nothing);
    for (void* volatile piece = std::malloc(32768); piece != nullptr;)
        piece = std::malloc(32768);
    if (ZlibCompressFastest(data.data(), 16) == nullptr)
        std::fputs("<packing: null>", stderr);
    ExpectBadAlloc("packing", [&] { return ZlibCompressFastest(data.data(), data.size()); });
    ExpectBadAlloc("the most", [&] { return ZlibCompressFastestNoLogging(data.data(), 3'700'000'000); });
    ExpectBadAlloc("restoring", [&] { return ZlibUncompressFastest(claim.data(), claim.size()); });
    _exit(0);
}

TEST(FastCompressionDeathTest, TellsMissingMemoryFromBadInput)
{
    if (kIsSanitized)
        GTEST_SKIP() << "sanitizers map memory of their own";
    EXPECT_EXIT(PackWithoutMemory(), testing::ExitedWithCode(0),
        "<outcome=fail><packing: null><packing: no memory><the most: no memory><restoring: no memory>");
}

}   // namespace
