#include "brvcore/network/HTTPRequest.h"

#include "brvcore/foundation/AppOptions.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/network/HeaderText.h"
#include "brvcore/string/CustomFormat.h"
#include "brvcore/string/IcuLocale.h"

#include <algorithm>
#include <array>
#include <limits>

namespace
{

int MillisecondsOf(const AppOptions::Option<std::int64_t>& option)
{
    return static_cast<int>(
        std::clamp(AppOptions::Get(option), std::int64_t{0}, std::int64_t{std::numeric_limits<int>::max()}));
}

// RFC 3986, 2.3.
bool IsUnreserved(unsigned char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

void AppendUrlEncoded(std::u16string& out, const TString& text)
{
    constexpr std::u16string_view kHexadecimal = u"0123456789ABCDEF";
    for (const char c : text.ToUTF8())
    {
        const auto byte = static_cast<unsigned char>(c);
        if (IsUnreserved(byte))
            out += static_cast<char16_t>(byte);
        else
            out.append({u'%', kHexadecimal[byte >> 4U], kHexadecimal[byte & 0xFU]});
    }
}

// One row per unit: the sizes up to `last` that are written in it.
struct SizeUnit
{
    std::uint64_t last;
    double bytes;
    IcuDataUnit unit;
};

constexpr std::array kSizeUnits = {
    SizeUnit{999'999, 1e3, IcuDataUnit::Kilobyte},
    SizeUnit{999'999'999, 1e6, IcuDataUnit::Megabyte},
    SizeUnit{std::numeric_limits<std::uint64_t>::max(), 1e9, IcuDataUnit::Gigabyte},
};

constexpr int kMaxDecimals = 15;   // what a double holds

TString NumberFormatWithDecimals(int decimals)
{
    TString format = u"#,##0";
    if (decimals > 0)
        format += TString(u".") + TString(static_cast<std::size_t>(decimals), u'0');
    return format;
}

}   // namespace

namespace HTTPRequest
{

RequestInfo::RequestInfo(bool acceptsCompressedReply, std::int64_t maxUploadBytesPerSecond)
    : m_maxUploadBytesPerSecond(maxUploadBytesPerSecond),
      m_operationTimeout(MillisecondsOf(AppOptions::ConnectionOperationTimeout)),
      m_connectTimeout(MillisecondsOf(AppOptions::ConnectionConnectTimeout)),
      m_acceptsCompressedReply(acceptsCompressedReply)
{
}

void RequestInfo::SetRequest(const TString& text)
{
    SetRequest(text.ToUTF8());
}

void RequestInfo::SetRequest(std::string bytes)
{
    m_request = std::move(bytes);
    m_chunk.reset();
}

void RequestInfo::SetRequest(FileChunk chunk)
{
    m_chunk = std::move(chunk);
    m_request.reset();
}

TString RequestInfo::GetRequest() const
{
    return m_request ? TString::FromUTF8(*m_request) : TString();
}

void RequestInfo::SetHeader(const TString& name, const TString& value)
{
    auto header = std::pair(name, value);   // either may be part of what is erased
    std::erase_if(
        m_headers, [&header](const auto& other) { return EqualIgnoringAsciiCase(other.first, header.first); });
    m_headers.insert(std::move(header));
}

TString RequestInfo::GetHeader(const TString& name) const
{
    const auto found = std::find_if(m_headers.begin(), m_headers.end(),
        [&name](const auto& header) { return EqualIgnoringAsciiCase(header.first, name); });
    return found == m_headers.end() ? TString() : found->second;
}

void RequestInfo::SetOperationTimeout(int milliseconds)
{
    BRV_LOGIC_ASSERT(0x6E2B9C14, milliseconds >= 0);
    m_operationTimeout = milliseconds;
}

void RequestInfo::SetConnectTimeout(int milliseconds)
{
    BRV_LOGIC_ASSERT(0x0D87F3A5, milliseconds >= 0);
    m_connectTimeout = milliseconds;
}

void RequestInfo::SetPolicyForHttpStatusCode(int code, std::shared_ptr<IHttpStatusHandlingPolicy> policy)
{
    m_policies[code] = std::move(policy);
}

TString FormatSize(std::uint64_t bytes, unsigned locale, int decimals)
{
    if (bytes < 1000)
        return TString::FromUInt(bytes);
    const int shown = std::clamp(decimals, 0, kMaxDecimals);
    const SizeUnit& unit =
        *std::find_if(kSizeUnits.begin(), kSizeUnits.end(), [bytes](const SizeUnit& u) { return bytes <= u.last; });
    const double amount = static_cast<double>(bytes) / unit.bytes;
    const TString number = CustomFormat::CreateNumberFormatter(NumberFormatWithDecimals(shown), locale)->Format(amount);
    const UnitAffixes affixes = IcuUnitAffixes(IcuLocaleName(locale), unit.unit, amount, shown);
    return affixes.inFront + number + affixes.behind;
}

TString URLFormatParams(const std::unordered_map<TString, TString>& parameters)
{
    const std::map<TString, TString> sorted(parameters.begin(), parameters.end());
    std::u16string text;
    for (const auto& [name, value] : sorted)
    {
        if (!text.empty())
            text += u'&';
        AppendUrlEncoded(text, name);
        text += u'=';
        AppendUrlEncoded(text, value);
    }
    return text;
}

}   // namespace HTTPRequest
