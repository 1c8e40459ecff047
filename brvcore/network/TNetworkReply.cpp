#include "brvcore/network/TNetworkReply.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/network/HTTPExceptions.h"

#include <algorithm>
#include <mutex>

struct TNetworkReply::Wake
{
    std::mutex lock;
    std::function<void()> wakeUp;
};

namespace
{

constexpr std::uint32_t kTooManyHeaders = 0x2A7F90D4;

std::string_view Trimmed(std::string_view text) noexcept
{
    // Cheaper than the searches of std::string_view for what is mostly one character.
    const auto isWhite = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isWhite(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isWhite(text.back()))
        text.remove_suffix(1);
    return text;
}

// A trailer may begin with "HTTP/" too.
bool IsStatusLine(std::string_view line) noexcept
{
    constexpr std::string_view kProtocol = "HTTP/";
    return line.starts_with(kProtocol) && line.size() > kProtocol.size() && line[kProtocol.size()] >= '0' &&
           line[kProtocol.size()] <= '9';
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

void TNetworkReply::OnStart()
{
    if (IsCancelled())
        throw CancelledException();
    if (m_sink != nullptr && m_isForSinkNow && m_bodySize != 0)
        m_sink->Rewind();
    m_status = 0;
    m_headers.Clear();
    m_effectiveUrl = TString();
    m_errorData.clear();
    m_bodySize = 0;
    m_headerBytes = 0;
    m_head = Head::None;
    m_isForSinkNow = false;
}

void TNetworkReply::OnHeaderLine(std::string_view line, int status)
{
    m_headerBytes += line.size();
    if (m_headerBytes > kMaxHeaderBytes)
        throw NetworkException(
            TError::ErrorInfo(BrevionError::MakeError(kTooManyHeaders, u"The reply's headers are too long"),
                TError::ErrorSource::Remote));

    if (m_head == Head::None || (m_head == Head::Complete && IsStatusLine(line)))
    {
        const bool isInterim = status >= 100 && status <= 199 && status != 101;
        m_head = isInterim ? Head::Interim : Head::Open;
        if (isInterim)
            return;
        m_status = status;
        m_isForSinkNow = m_isForSink(status);
        m_headers.Clear();
        return;
    }
    const std::string_view text = Trimmed(line);
    if (text.empty() && m_head == Head::Interim)
        m_head = Head::None;
    if (m_head != Head::Open)
        return;
    if (text.empty())
        m_head = Head::Complete;
    else if (line.front() == ' ' || line.front() == '\t')   // a folded line: more of the value before it
        m_headers.ExtendLast(text);
    else if (const std::size_t colon = text.find(':'); colon != std::string_view::npos)
        m_headers.Add(Trimmed(text.substr(0, colon)), Trimmed(text.substr(colon + 1)));
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
