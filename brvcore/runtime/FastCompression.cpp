#include "brvcore/runtime/FastCompression.h"

#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/MetricsScope.h"
#include "brvcore/foundation/TString.h"

#include <chrono>
#include <concepts>
#include <cstdint>
#include <string_view>

#include <zlib.h>

namespace
{

using brevion::compress::OwnedBytes;
using Bytes = std::vector<unsigned char>;

constexpr unsigned char kMethodZlib = 1;
constexpr std::size_t kSizeOffset = 1;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kMaxDataSize = 3'700'000'000;   // the worst-case container still counts in 32 bits
constexpr int kFastestLevel = 1;
constexpr int kElapsedDigits = 6;

// What one call tells about itself: a metrics scope and a log event of one name. A number becomes text only when somebody
// listens; otherwise the calls cost a look at two flags.
class CallReport
{
public:
    explicit CallReport(std::u16string_view name) : m_name(name), m_scope(name), m_isLogging(IsLogging())
    {
        if (m_isLogging)
            m_start = Clock::SteadyNow();
    }

    void Tell(std::u16string_view key, const auto& value)
    {
        TellScope(key, value);
        TellLog(key, value);
    }
    void TellScope(std::u16string_view key, const auto& value)
    {
        if (m_scope.IsActive())
            m_scope.Emit(key, ToText(value));
    }

    void Done() { Finish(u"done", LogSeverity::Info); }
    void DoneWithSizes(std::size_t uncompressed, std::size_t compressed)
    {
        if (m_isLogging)
        {
            const std::chrono::duration<double, std::milli> elapsed = Clock::SteadyNow() - m_start;
            TellLog(u"elapsed-ms", TString::FromDouble(elapsed.count(), 'g', kElapsedDigits));
        }
        Tell(u"uncompressed-size-b", uncompressed);
        Tell(u"compressed-size-b", compressed);
        Done();
    }
    void Fail() { Finish(u"fail", LogSeverity::Warning); }
    void Fail(std::u16string_view reason)
    {
        Tell(u"reason", reason);
        Fail();
    }

private:
    static TString ToText(std::u16string_view text) { return text; }
    static TString ToText(const TString& text) { return text; }
    static TString ToText(std::signed_integral auto number) { return TString::FromInt(number); }
    static TString ToText(std::unsigned_integral auto number) { return TString::FromUInt(number); }

    void TellLog(std::u16string_view key, const auto& value)
    {
        if (m_isLogging)
            m_fields.insert_or_assign(key, ToText(value));
    }
    void Finish(std::u16string_view outcome, LogSeverity severity)
    {
        Tell(u"outcome", outcome);
        if (m_isLogging)
            LogMessage(severity, m_name, m_fields);
    }

    std::u16string_view m_name;
    MetricsScope m_scope;
    bool m_isLogging;
    std::chrono::steady_clock::time_point m_start;
    LogFields m_fields;
};

std::uint32_t ReadSize(const unsigned char* container)
{
    std::uint32_t size = 0;
    for (std::size_t i = 0; i < sizeof size; ++i)
        size |= static_cast<std::uint32_t>(container[kSizeOffset + i]) << (8 * i);
    return size;
}

void WriteHeader(Bytes& container, std::size_t size)
{
    container[0] = kMethodZlib;
    for (std::size_t i = 0; i < sizeof(std::uint32_t); ++i)
        container[kSizeOffset + i] = static_cast<unsigned char>(size >> (8 * i));
}

}   // namespace

OwnedBytes brevion::compress::ZlibCompressFastestNoLogging(const unsigned char* data, std::size_t size)
{
    if (data == nullptr || size > kMaxDataSize)
        return nullptr;
    uLong length = compressBound(static_cast<uLong>(size));
    auto container = std::make_unique<Bytes>(length + kHeaderSize);
    WriteHeader(*container, size);
    if (compress2(container->data() + kHeaderSize, &length, data, static_cast<uLong>(size), kFastestLevel) != Z_OK)
        return nullptr;
    container->resize(length + kHeaderSize);
    container->shrink_to_fit();   // or data that packs well would go on holding its own size and more
    return container;
}

OwnedBytes brevion::compress::ZlibCompressFastest(const unsigned char* data, std::size_t size)
{
    CallReport report(u"zlib-compress-data");
    if (data == nullptr)
    {
        report.Fail(u"input data null");
        return nullptr;
    }
    if (size > kMaxDataSize)
    {
        report.TellScope(u"uncompressed-size-b", size);
        report.Fail(u"input data too large");
        return nullptr;
    }
    OwnedBytes container = ZlibCompressFastestNoLogging(data, size);
    if (container == nullptr)
        report.Fail();
    else
        report.DoneWithSizes(size, container->size());
    return container;
}

OwnedBytes brevion::compress::ZlibUncompressFastest(const unsigned char* data, std::size_t size)
{
    CallReport report(u"zlib-uncompress-data");
    const auto fail = [&report](std::u16string_view reason)
    {
        report.Fail(reason);
        return OwnedBytes();
    };
    if (data == nullptr)
        return fail(u"input data null");
    if (size < kHeaderSize)
        return fail(u"malformed input (too small)");
    if (data[0] != kMethodZlib)
        return fail(u"malformed input (unexpected compression method)");
    const std::uint32_t expected = ReadSize(data);
    auto restored = std::make_unique<Bytes>(expected);
    if (expected == 0)
    {
        report.Done();
        return restored;
    }
    uLong actual = expected;
    const int code = uncompress(restored->data(), &actual, data + kHeaderSize, static_cast<uLong>(size - kHeaderSize));
    if (actual != expected)
    {
        report.Tell(u"size-expected", expected);
        report.Tell(u"size-actual", actual);
        report.Tell(u"zlib-error-code", code);
        return fail(u"unexpected size after uncompress");
    }
    if (code != Z_OK)
    {
        report.Tell(u"zlib-error-code", code);
        return fail(u"non-zero errorcode from uncompress()");
    }
    report.DoneWithSizes(expected, size);
    return restored;
}
