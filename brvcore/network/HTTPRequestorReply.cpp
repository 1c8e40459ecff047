#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/HTTPProgress.h"
#include "brvcore/network/HTTPRequestorTransfer.h"
#include "brvcore/network/HeaderText.h"
#include "brvcore/network/TNetworkAccessManager.h"
#include "brvcore/network/TNetworkRequest.h"

#include <algorithm>

// One attempt of a request, and what is known of its reply.

namespace
{

constexpr int kProxyAuthenticationRequired = 407;
constexpr std::uint32_t kTooLongToHold = 0x580146C2;
constexpr std::size_t kReleasePiece = std::size_t{1} << 20;   // bytes between two looks at a cancel

// Points at an object for the length of a scope.
template <class T> class PointerScope
{
public:
    PointerScope(T*& place, T* object) : m_place(place) { m_place = object; }
    ~PointerScope() { m_place = nullptr; }
    PointerScope(const PointerScope&) = delete;
    PointerScope& operator=(const PointerScope&) = delete;

private:
    T*& m_place;
};

// The next ";" that is not inside a quoted string, or the text's end.
std::size_t FindParameterEnd(std::u16string_view text, std::size_t at)
{
    bool isQuoted = false;
    for (; at < text.size() && (isQuoted || text[at] != u';'); ++at)
        if (text[at] == u'"')
            isQuoted = !isQuoted;
        else if (isQuoted && text[at] == u'\\')
            ++at;   // the next character stands for itself
    return std::min(at, text.size());
}

}   // namespace

void HTTPRequestor::SendRequest(
    TNetworkRequest& request, std::uint64_t length, const TString& boundary, IProgressReporter& progress)
{
    HTTPProgress transferProgress(progress, m_transfer->highestProgress);
    const PointerScope<ITransferProgress> requestScope(request.progress, &transferProgress);
    const PointerScope<HTTPProgress> replyScope(m_transfer->progress, &transferProgress);
    SendRequest(request, length, boundary);
}

// One attempt. A proxy that wants to know who asks is answered once, by who the user says he is.
void HTTPRequestor::SendRequest(TNetworkRequest& request, std::uint64_t length, const TString& boundary)
{
    if (IsLogging())
        LogMessage(
            LogSeverity::Debug, TFormatString(u"HTTPRequestor::SendRequest: %1 bytes to send").arg(length).result());
    request.headers.clear();
    GenerateHeaders(boundary, request);   // again for each attempt: a policy may have changed them
    try
    {
        ExecuteTransfer(request);
        if (GetStatusCode() != kProxyAuthenticationRequired || !AskForProxyCredentials(request))
            return;
    }
    catch (const NetworkException&)   // a tunnel that the proxy refuses to open
    {
        if (GetStatusCode() != kProxyAuthenticationRequired || !AskForProxyCredentials(request))
            throw;
    }
    ExecuteTransfer(request);
}

bool HTTPRequestor::AskForProxyCredentials(TNetworkRequest& request)
{
    if (!m_showsAuthenticationUI || m_isProxyAuthenticationCanceled || !request.proxyUser.empty())
        return false;
    BaseTClientContext& context = GetContext();
    const std::optional<BaseTClientContext::ProxyCredentials> credentials =
        context.AskForProxyCredentials(context.GetNetworkAccessManager().GetProxyHost());
    m_isProxyAuthenticationCanceled = !credentials;
    if (!credentials)
        return false;
    request.proxyUser = credentials->user.ToUTF8();
    request.proxyPassword = credentials->password.ToUTF8();
    return true;
}

void HTTPRequestor::ExecuteTransfer(TNetworkRequest& request)
{
    if (request.body != nullptr)
        request.body->SetPosition(0);
    auto reply = std::make_unique<TNetworkReply>(&*m_transfer->body);
    TNetworkReply& current = *reply;
    {
        const std::lock_guard lock(m_transfer->mutex);
        m_transfer->reply = std::move(reply);
        ThrowIfCancelled();   // by a Cancel() that found no reply; a later one finds this
    }
    try
    {
        GetContext().GetNetworkAccessManager().Execute(request, current);
    }
    catch (...)
    {
        PublishReply();
        throw;
    }
    PublishReply();
}

// The head of a successful reply is complete, and the first bytes of its body are here.
void HTTPRequestor::BeginBody()
{
    PublishReply();
    if (m_transfer->progress != nullptr)
        m_transfer->progress->CountReply();
    const auto& policies = m_info.GetPoliciesForHttpStatusCodes();
    const auto policy = policies.find(GetStatusCode());
    const bool hasPolicy = policy != policies.end() && policy->second != nullptr;
    if (hasPolicy && !CanTakeBodyBack())
    {
        m_transfer->body->Hold();
        return;
    }
    if (hasPolicy)
        m_transfer->body->Keep();
    if (const std::optional<std::int64_t> size = GetHeader(u"Content-Length").ToInt(); size && *size > 0)
        ExpectBody(static_cast<std::uint64_t>(*size));
}

void HTTPRequestor::BodySwitch::ThrowTooLong()
{
    throw NetworkException(TError::ErrorInfo(BrevionError::MakeError(
        kTooLongToHold, u"The reply is too long to be held back for the policy of its status")));
}

// Copies what others may ask for while the transfer goes on.
void HTTPRequestor::PublishReply()
{
    const std::lock_guard lock(m_transfer->mutex);
    m_transfer->status = m_transfer->reply->GetStatus();
    m_transfer->headers = m_transfer->reply->GetHeaders();
    m_transfer->effectiveUrl = m_transfer->reply->GetEffectiveUrl();
}

void HTTPRequestor::ReleaseHeldBody()
{
    const std::string held = m_transfer->body->Release();
    if (held.empty())
        return;
    ExpectBody(held.size());
    for (std::size_t begin = 0; begin < held.size(); begin += kReleasePiece)
    {
        ThrowIfCancelled();
        m_transfer->body->Write(held.data() + begin, std::min(kReleasePiece, held.size() - begin));
    }
}

void HTTPRequestor::WarnUnlessCompressed() const
{
    if (!m_info.AcceptsCompressedReply() || m_transfer->reply->GetBodySize() == 0)
        return;
    constexpr std::u16string_view kWriter = u"HTTPRequestor";
    const TString encoding = GetHeader(u"Content-Encoding").Trimmed();
    if (encoding.IsEmpty())
        LogMessage(LogSeverity::Warning, TFormatString(u"%1: Warning: Expected a gzip compressed response, but no "
                                                       u"'content-encoding' header was reported.")
                                             .arg(kWriter)
                                             .result());
    else if (!EqualIgnoringAsciiCase(encoding, u"gzip"))
        LogMessage(LogSeverity::Warning,
            TFormatString(u"%1: Warning: Expected a gzip compressed response, but 'content-encoding' was: '%2'")
                .arg(kWriter)
                .arg(encoding)
                .result());
}

// The failure that is on its way out counts; one of the sink's own behind it does not.
void HTTPRequestor::RewindAfterFailure(BodySwitch& body) const noexcept
{
    try
    {
        body.RewindSink();
    }
    catch (const std::exception& exception)
    {
        LogMessage(LogSeverity::Warning,
            TString(u"HTTPRequestor: what was received could not be removed: ") + TString::FromUTF8(exception.what()));
    }
    catch (...)
    {
        LogMessage(LogSeverity::Warning, u"HTTPRequestor: what was received could not be removed");
    }
}

// --- The reply --------------------------------------------------------------------------------------------------------

int HTTPRequestor::GetStatusCode() const noexcept
{
    const std::lock_guard lock(m_transfer->mutex);
    return m_transfer->status;
}

TString HTTPRequestor::GetHeader(const TString& name) const
{
    const std::lock_guard lock(m_transfer->mutex);
    return m_transfer->headers.Get(name);
}

std::vector<std::pair<TString, TString>> HTTPRequestor::GetHeaders() const
{
    const std::lock_guard lock(m_transfer->mutex);
    return m_transfer->headers.GetAll();
}

TString HTTPRequestor::GetEffectiveUrl() const
{
    const std::lock_guard lock(m_transfer->mutex);
    return m_transfer->effectiveUrl;
}

const std::string& HTTPRequestor::GetResponseData() const noexcept
{
    static const std::string empty;
    if (m_transfer->body && !m_transfer->body->GetKept().empty())
        return m_transfer->body->GetKept();
    return m_transfer->reply ? m_transfer->reply->GetErrorData() : empty;
}

// The "charset" parameter of RFC 9110 (8.3.2), as a token or a quoted string.
TString HTTPRequestor::GetResponseCharset() const
{
    const TString type = GetHeader(u"Content-Type");
    std::size_t begin = 0;
    while (begin < type.Length())
    {
        const std::size_t end = FindParameterEnd(type, begin);
        const TString parameter = type.Mid(begin, end - begin).Trimmed();
        begin = end + 1;
        const std::size_t equals = parameter.Find(u"=");
        if (equals == TString::npos || !EqualIgnoringAsciiCase(parameter.Mid(0, equals).Trimmed(), u"charset"))
            continue;
        return parameter.Mid(equals + 1).Replaced(u"\"", u"").Trimmed().ToLower();
    }
    return {};
}
