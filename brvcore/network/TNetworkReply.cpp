#include "brvcore/network/TNetworkReply.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/network/HTTPExceptions.h"

#include <algorithm>
#include <mutex>
#include <optional>

struct TNetworkReply::Wake
{
    std::mutex lock;
    std::function<void()> wakeUp;
};

namespace
{

constexpr std::uint32_t kTooManyHeaders = 0x2A7F90D4;

constexpr char16_t ToAsciiLower(char16_t unit) noexcept
{
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) noexcept
{
    return std::ranges::equal(a, b, {}, ToAsciiLower, ToAsciiLower);
}

std::string_view Trimmed(std::string_view text) noexcept
{
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

// "HTTP/1.1 200 OK" and "HTTP/2 200"; 0 when the three digits are missing.
int ParseStatusLine(std::string_view line) noexcept
{
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos)
        return 0;
    int status = 0;
    for (const char digit : line.substr(blank + 1, 3))
    {
        if (digit < '0' || digit > '9')
            return 0;
        status = status * 10 + (digit - '0');
    }
    return status;
}

}   // namespace

TNetworkReply::TNetworkReply(IBodySink* sink, std::function<bool(int status)> isForSink)
    : m_sink(sink), m_isForSink(std::move(isForSink)), m_wake(std::make_unique<Wake>())
{
}

TNetworkReply::~TNetworkReply() = default;

void TNetworkReply::Cancel() noexcept
{
    m_isCancelled.store(true, std::memory_order_release);
    const std::lock_guard guard(m_wake->lock);
    if (m_wake->wakeUp)
        m_wake->wakeUp();
}

void TNetworkReply::SetWakeUp(std::function<void()> wakeUp)
{
    const std::lock_guard guard(m_wake->lock);
    m_wake->wakeUp = std::move(wakeUp);
}

TString TNetworkReply::GetHeader(std::u16string_view name) const
{
    TString joined;
    bool isFirst = true;
    for (const auto& [headerName, value] : m_headers)
    {
        if (!EqualsNoCase(headerName, name))
            continue;
        joined = isFirst ? value : std::move(joined.Append(u", ").Append(value));
        isFirst = false;
    }
    return joined;
}

bool TNetworkReply::HasHeader(std::u16string_view name) const
{
    return std::ranges::any_of(m_headers, [name](const auto& header) { return EqualsNoCase(header.first, name); });
}

void TNetworkReply::OnStart()
{
    if (IsCancelled())
        throw CancelledException();
    if (m_sink != nullptr && m_isForSinkNow && m_bodySize != 0)
        m_sink->Rewind();
    m_status = 0;
    m_headers.clear();
    m_effectiveUrl = TString();
    m_errorData.clear();
    m_bodySize = 0;
    m_headerBytes = 0;
    m_head = Head::None;
    m_isForSinkNow = false;
}

void TNetworkReply::OnHeaderLine(std::string_view line)
{
    m_headerBytes += line.size();
    if (m_headerBytes > kMaxHeaderBytes)
        throw NetworkException(
            TError::ErrorInfo(BrevionError::MakeError(kTooManyHeaders, u"The reply's headers are too long"),
                TError::ErrorSource::Remote));

    if (line.starts_with("HTTP/"))
    {
        const int status = ParseStatusLine(line);
        if (status >= 100 && status <= 199 && status != 101)
        {
            m_head = Head::Interim;
            return;
        }
        m_head = Head::Open;
        m_status = status;
        m_isForSinkNow = m_isForSink(status);
        m_headers.clear();
        return;
    }
    if (m_head != Head::Open)
        return;
    const std::string_view text = Trimmed(line);
    if (text.empty())
    {
        m_head = Head::Complete;
    }
    else if (line.front() == ' ' || line.front() == '\t')   // a folded line: more of the value before it
    {
        if (!m_headers.empty())
            m_headers.back().second.Append(u" ").Append(TString::FromUTF8(text));
    }
    else if (const std::size_t colon = text.find(':'); colon != std::string_view::npos)
    {
        m_headers.emplace_back(
            TString::FromUTF8(Trimmed(text.substr(0, colon))), TString::FromUTF8(Trimmed(text.substr(colon + 1))));
    }
}

void TNetworkReply::OnBody(const char* bytes, std::size_t size)
{
    m_bodySize += size;
    if (!m_isForSinkNow)
        m_errorData.append(bytes, std::min(size, kMaxErrorData - m_errorData.size()));
    else if (m_sink != nullptr)
        m_sink->Write(bytes, size);
}

void TNetworkReply::OnDone(int status, TString effectiveUrl)
{
    m_status = status;
    m_effectiveUrl = std::move(effectiveUrl);
}
