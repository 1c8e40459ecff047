#include "brvcore/network/CurlTransfer.h"

#include "brvcore/network/CurlErrors.h"
#include "brvcore/network/CurlLog.h"
#include "brvcore/network/CurlUrl.h"
#include "brvcore/network/TNetworkReply.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <utility>

namespace
{

// How long a host's cancel may go unnoticed; TNetworkReply::Cancel() is noticed at once.
constexpr std::chrono::milliseconds kPollInterval{100};
// Not more often than this: asking may be costly for the host, and a busy transfer goes round thousands of times a second.
constexpr std::chrono::milliseconds kMinPollInterval{20};

// The handle is part of its multi handle, and the reply can wake it, for the lifetime of the object.
class Attachment
{
public:
    Attachment(CurlHandle& handle, TNetworkReply& reply) : m_handle(handle), m_reply(reply)
    {
        ThrowIfCurlFailed(curl_multi_add_handle(handle.GetMulti(), handle.GetEasy()), u"curl_multi_add_handle");
        reply.SetWakeUp([&handle] { handle.Wake(); });
    }
    ~Attachment()
    {
        m_reply.SetWakeUp({});
        curl_multi_remove_handle(m_handle.GetMulti(), m_handle.GetEasy());
    }
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;

private:
    CurlHandle& m_handle;
    TNetworkReply& m_reply;
};

CURLcode ReadResult(CURLM* multi)
{
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi, &left))
        if (message->msg == CURLMSG_DONE)
            return message->data.result;
    return CURLE_FAILED_INIT;   // libcurl always leaves a message about a transfer that has ended
}

template <class T> T GetInfo(CURL* handle, CURLINFO info)
{
    T value{};
    curl_easy_getinfo(handle, info, &value);
    return value;
}

}   // namespace

CurlTransfer::CurlTransfer(
    CurlHandle& handle, const TNetworkRequest& request, TNetworkReply& reply, const TransportSettings& settings)
    : m_handle(handle), m_request(request), m_reply(reply), m_settings(settings), m_headers(MakeHeaderList(request))
{
    if (request.operationTimeout > 0)
        m_end = Time::now() + std::chrono::milliseconds(std::min<std::int64_t>(request.operationTimeout, INT_MAX));
}

CurlTransfer::~CurlTransfer()
{
    // For the next use, and because libcurl may still write an error text here while it closes a connection.
    m_handle.Reset();
}

void CurlTransfer::Run()
{
    m_reply.OnStart();
    if (m_request.body != nullptr)
        m_request.body->SetPosition(0);
    SetOptions(m_handle.GetEasy(), m_request, m_settings, m_headers);
    SetCallbacks();
    const CURLcode code = Drive();
    Finish(code);
}

void CurlTransfer::SetCallbacks()
{
    CURL* const easy = m_handle.GetEasy();
    SetPointer<CURLOPT_ERRORBUFFER>(easy, m_errorText.data());
    SetPointer<CURLOPT_HEADERFUNCTION>(easy, &CurlTransfer::OnHeader);
    SetPointer<CURLOPT_HEADERDATA>(easy, this);
    SetPointer<CURLOPT_WRITEFUNCTION>(easy, &CurlTransfer::OnBody);
    SetPointer<CURLOPT_WRITEDATA>(easy, this);
    SetPointer<CURLOPT_XFERINFOFUNCTION>(easy, &CurlTransfer::OnProgress);
    SetPointer<CURLOPT_PROGRESSDATA>(easy, this);
    if (m_request.body != nullptr)
    {
        SetPointer<CURLOPT_READFUNCTION>(easy, &CurlTransfer::OnRead);
        SetPointer<CURLOPT_READDATA>(easy, this);
        SetPointer<CURLOPT_SEEKFUNCTION>(easy, &CurlTransfer::OnSeek);
        SetPointer<CURLOPT_SEEKDATA>(easy, this);
    }
    SetVerboseLogging(easy);
}

CURLcode CurlTransfer::Drive()
{
    CURLM* const multi = m_handle.GetMulti();
    const Attachment attachment(m_handle, m_reply);
    while (true)
    {
        int running = 0;
        ThrowIfCurlFailed(curl_multi_perform(multi, &running), u"curl_multi_perform");
        if (running == 0)
            return ReadResult(multi);
        CheckCancelled(Time::now());
        ThrowIfCurlFailed(
            curl_multi_poll(multi, nullptr, 0, static_cast<int>(kPollInterval.count()), nullptr), u"curl_multi_poll");
    }
}

void CurlTransfer::CheckCancelled(Time::time_point now)
{
    if (m_reply.IsCancelled())
        throw CancelledException();
    if (now < m_nextCheck)
        return;
    m_checker.ThrowIfCancelled();
    m_nextCheck = now + kMinPollInterval;
}

template <class Result, class Work> Result CurlTransfer::Guard(Result failure, Work work) noexcept
{
    if (m_failure || m_reply.IsCancelled())   // libcurl may call once more before it ends the transfer
        return failure;
    try
    {
        return work();
    }
    catch (...)
    {
        m_failure = std::current_exception();
        return failure;
    }
}

std::size_t CurlTransfer::OnHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept
{
    auto& self = *static_cast<CurlTransfer*>(transfer);
    return self.Guard(std::size_t{CURL_WRITEFUNC_ERROR},
        [&]
        {
            self.ReceiveHeader({bytes, size * count});
            return size * count;
        });
}

std::size_t CurlTransfer::OnBody(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept
{
    auto& self = *static_cast<CurlTransfer*>(transfer);
    return self.Guard(std::size_t{CURL_WRITEFUNC_ERROR},
        [&]
        {
            self.ReceiveBody(bytes, size * count);
            return size * count;
        });
}

std::size_t CurlTransfer::OnRead(char* buffer, std::size_t size, std::size_t count, void* transfer) noexcept
{
    auto& self = *static_cast<CurlTransfer*>(transfer);
    return self.Guard(std::size_t{CURL_READFUNC_ABORT}, [&] { return self.ReadUpload(buffer, size * count); });
}

int CurlTransfer::OnSeek(void* transfer, curl_off_t offset, int origin) noexcept
{
    auto& self = *static_cast<CurlTransfer*>(transfer);
    if (origin != SEEK_SET || offset < 0)   // libcurl asks for nothing else
        return CURL_SEEKFUNC_FAIL;
    return self.Guard(int{CURL_SEEKFUNC_FAIL},
        [&]
        {
            self.m_uploadPosition = static_cast<std::uint64_t>(offset);
            self.m_request.body->SetPosition(self.m_uploadPosition);
            return int{CURL_SEEKFUNC_OK};
        });
}

int CurlTransfer::OnProgress(
    void* transfer, curl_off_t receiveTotal, curl_off_t received, curl_off_t sendTotal, curl_off_t sent) noexcept
{
    auto& self = *static_cast<CurlTransfer*>(transfer);
    return self.Guard(1,
        [&]
        {
            if (self.m_request.progress != nullptr)
                self.ReportProgress(static_cast<std::uint64_t>(receiveTotal), static_cast<std::uint64_t>(received),
                    static_cast<std::uint64_t>(sendTotal), static_cast<std::uint64_t>(sent));
            return 0;
        });
}

void CurlTransfer::ReceiveHeader(std::string_view line)
{
    if (m_hasBodyBegun)   // a trailer
        return;
    m_reply.OnHeaderLine(line, static_cast<int>(GetInfo<long>(m_handle.GetEasy(), CURLINFO_RESPONSE_CODE)));
    if (m_reply.GetStatus() == 303 && m_reply.HasCompleteHead())
        ForgetVerb(m_handle.GetEasy(), m_request);
}

void CurlTransfer::ReceiveBody(const char* bytes, std::size_t size)
{
    CheckCancelled(Time::now());
    try
    {
        if (!std::exchange(m_hasBodyBegun, true) && m_request.acceptsCompressedReply)
            if (const auto format = ContentUnpacker::ParseEncoding(m_reply.GetHeader(u"Content-Encoding")))
                m_unpacker.emplace(*format);
        if (m_unpacker)
            Unpack({bytes, size});
        else
            m_reply.OnBody(bytes, size);
    }
    catch (const CurlException& exception)
    {
        // How an error's page is packed must not hide the error. What was unpacked of it counts, else the bytes as they are.
        if (m_reply.IsForSink() || exception.GetCurlCode() != CURLE_BAD_CONTENT_ENCODING)
            throw;
        if (m_reply.GetBodySize() != 0)
            return;   // the next pieces fail likewise
        m_unpacker.reset();
        m_reply.OnBody(bytes, size);
    }
}

void CurlTransfer::Unpack(std::string_view packed)
{
    m_unpacker->Push(packed);
    for (std::string_view piece = m_unpacker->Next(); !piece.empty(); piece = m_unpacker->Next())
    {
        m_reply.OnBody(piece.data(), piece.size());
        // A few bytes may unpack to many: this goes on for long where libcurl would look at its clock.
        const Time::time_point now = Time::now();
        CheckCancelled(now);
        if (now >= m_end)
            throw MakeTransferException(CURLE_OPERATION_TIMEDOUT, "Operation timed out while a reply was unpacked");
    }
}

std::size_t CurlTransfer::ReadUpload(char* buffer, std::size_t size)
{
    const std::uint64_t left = m_request.body->GetLength() - std::min(m_uploadPosition, m_request.body->GetLength());
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, size));
    if (wanted == 0)
        return 0;
    const std::size_t read = m_request.body->Read(buffer, wanted);
    if (read == 0)   // the server would wait for the rest
        throw MakeNetworkException(u"The request's body ended before its length");
    m_uploadPosition += read;
    return read;
}

void CurlTransfer::ReportProgress(
    std::uint64_t receiveTotal, std::uint64_t received, std::uint64_t sendTotal, std::uint64_t sent)
{
    m_request.progress->Report(sent, sendTotal, received, receiveTotal);
}

void CurlTransfer::Finish(CURLcode code)
{
    const long status = GetInfo<long>(m_handle.GetEasy(), CURLINFO_RESPONSE_CODE);
    const long tunnelStatus = GetInfo<long>(m_handle.GetEasy(), CURLINFO_HTTP_CONNECTCODE);
    m_reply.OnDone(static_cast<int>(status != 0 || code == CURLE_OK ? status : tunnelStatus), GetEffectiveUrl());
    if (m_failure)
        std::rethrow_exception(m_failure);
    if (m_reply.IsCancelled())
        throw CancelledException();
    if (code == CURLE_OUT_OF_MEMORY && m_errorText.front() == '\0' && !m_reply.HasCompleteHead())
        throw MakeTransferException(code, "Out of memory, or a header of the reply is too long");   // libcurl: 100 KiB
    if (code != CURLE_OK)
        throw MakeTransferException(code, m_errorText.data());
    CheckReplyIsWhole();
}

// What libcurl takes for a success when the connection is closed early.
void CurlTransfer::CheckReplyIsWhole() const
{
    if (!m_reply.HasCompleteHead())
        throw MakeNetworkException(u"The reply ended inside its head");
    if (!m_reply.IsForSink())
        return;
    if (m_unpacker && !m_unpacker->IsAtEnd())
        throw MakeNetworkException(u"The reply's compressed body ended early");

    // A packed body takes some bytes even when it packs none. Without a length, none at all is a connection that broke.
    const int status = m_reply.GetStatus();
    const bool hasNoBody = m_request.verb == "HEAD" || status == 204 || status == 304;
    if (!m_request.acceptsCompressedReply || m_hasBodyBegun || hasNoBody)
        return;
    if (m_reply.HasHeader(u"Content-Encoding") && !m_reply.HasHeader(u"Content-Length") &&
        !m_reply.HasHeader(u"Transfer-Encoding"))
        throw MakeNetworkException(u"The reply's compressed body is missing");
}

TString CurlTransfer::GetEffectiveUrl() const
{
    const char* const text = GetInfo<char*>(m_handle.GetEasy(), CURLINFO_EFFECTIVE_URL);
    TString url = TString::FromUTF8(text != nullptr ? text : "");
    if (!url.Contains(u"@"))
        return url;
    const std::optional<UrlParts> parts = ParseUrl(url, false);
    return parts ? JoinUrl(*parts) : WithoutUserInfo(url);
}
