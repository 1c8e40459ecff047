#include "brvcore/network/StringHTTPRequestor.h"

#include "brvcore/network/CharsetDecoding.h"
#include "brvcore/network/TNetworkReply.h"

#include <algorithm>
#include <utility>

// The body's bytes. A server's word on their number is trusted as far as it costs little to be wrong: for a first piece,
// then for a multiple of what has come. Memory that is reserved and never written costs an address range, no more.
class HTTPStringSink final : public IBodySink
{
public:
    void Expect(std::uint64_t size) { m_expected = size; }

    void Write(const char* bytes, std::size_t size) override
    {
        if (m_bytes.capacity() - m_bytes.size() < size) [[unlikely]]
            MakeRoom(size);
        m_bytes.append(bytes, size);
    }
    void Rewind() override
    {
        m_bytes = std::string();
        m_expected = 0;
    }

    const std::string& GetBytes() const noexcept { return m_bytes; }
    std::string TakeBytes() noexcept { return std::exchange(m_bytes, std::string()); }

private:
    static constexpr std::uint64_t kTrustAtFirst = std::uint64_t{64} << 20;
    static constexpr std::uint64_t kTrustPerByte = 16;

    void MakeRoom(std::size_t size)
    {
        const std::uint64_t trusted = std::max(kTrustAtFirst, kTrustPerByte * m_bytes.size());
        const std::uint64_t wanted = std::min(m_expected, trusted);
        if (wanted >= m_bytes.size() + size)
            m_bytes.reserve(static_cast<std::size_t>(wanted));   // else append() doubles
    }

    std::string m_bytes;
    std::uint64_t m_expected = 0;
};

// --- StringHTTPRequestor ----------------------------------------------------------------------------------------------

StringHTTPRequestor::StringHTTPRequestor(const TString& url, const TString& verb, HTTPRequest::RequestInfo info,
    HTTPRequest::InfiniteTimeout infiniteTimeout)
    : HTTPRequestor(url, verb, std::move(info), infiniteTimeout), m_sink(std::make_unique<HTTPStringSink>())
{
}

StringHTTPRequestor::~StringHTTPRequestor() = default;

TString StringHTTPRequestor::GetResult(bool withProgress)
{
    if (!m_isExecuted)
        TryExecute(withProgress);
    return m_result;
}

IBodySink& StringHTTPRequestor::GetBodySink()
{
    m_isExecuted = false;
    return *m_sink;
}

void StringHTTPRequestor::ExpectBody(std::uint64_t size)
{
    m_sink->Expect(size);
}

void StringHTTPRequestor::Deliver()
{
    m_result = DecodeHttpStringResponse(m_sink->TakeBytes(), GetResponseCharset());
    m_isExecuted = true;
}

// --- StdStringHTTPRequestor -------------------------------------------------------------------------------------------

StdStringHTTPRequestor::StdStringHTTPRequestor(const TString& url, const TString& verb, HTTPRequest::RequestInfo info,
    HTTPRequest::InfiniteTimeout infiniteTimeout)
    : HTTPRequestor(url, verb, std::move(info), infiniteTimeout), m_sink(std::make_unique<HTTPStringSink>())
{
}

namespace
{

HTTPRequest::RequestInfo WithBody(HTTPRequest::RequestInfo info, std::string body)
{
    info.SetRequest(std::move(body));
    return info;
}

}   // namespace

StdStringHTTPRequestor::StdStringHTTPRequestor(const TString& url, const TString& verb, std::string body,
    HTTPRequest::RequestInfo info, HTTPRequest::InfiniteTimeout infiniteTimeout)
    : StdStringHTTPRequestor(url, verb, WithBody(std::move(info), std::move(body)), infiniteTimeout)
{
}

StdStringHTTPRequestor::~StdStringHTTPRequestor() = default;

const std::string& StdStringHTTPRequestor::GetResult(bool withProgress) &
{
    if (!m_isExecuted)
        TryExecute(withProgress);
    return m_sink->GetBytes();
}

std::string StdStringHTTPRequestor::GetResult(bool withProgress) &&
{
    if (!m_isExecuted)
        TryExecute(withProgress);
    m_isExecuted = false;
    return m_sink->TakeBytes();
}

IBodySink& StdStringHTTPRequestor::GetBodySink()
{
    m_isExecuted = false;
    return *m_sink;
}

void StdStringHTTPRequestor::ExpectBody(std::uint64_t size)
{
    m_sink->Expect(size);
}

void StdStringHTTPRequestor::Deliver()
{
    m_isExecuted = true;
}

// --- UTFStringHTTPRequestor -------------------------------------------------------------------------------------------

UTFStringHTTPRequestor::UTFStringHTTPRequestor(const TString& url, const TString& verb, HTTPRequest::RequestInfo info,
    HTTPRequest::InfiniteTimeout infiniteTimeout)
    : HTTPRequestor(url, verb, std::move(info), infiniteTimeout), m_sink(std::make_unique<HTTPStringSink>())
{
}

UTFStringHTTPRequestor::~UTFStringHTTPRequestor() = default;

TString UTFStringHTTPRequestor::GetResult(bool withProgress)
{
    if (!m_isExecuted)
        TryExecute(withProgress);
    return m_result;
}

IBodySink& UTFStringHTTPRequestor::GetBodySink()
{
    m_isExecuted = false;
    return *m_sink;
}

void UTFStringHTTPRequestor::ExpectBody(std::uint64_t size)
{
    m_sink->Expect(size);
}

void UTFStringHTTPRequestor::Deliver()
{
    m_result = DecodeHttpUTFStringResponse(m_sink->TakeBytes(), GetResponseCharset());
    m_isExecuted = true;
}
