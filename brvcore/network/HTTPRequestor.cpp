#include "brvcore/network/HTTPRequestor.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/CurlUrl.h"
#include "brvcore/network/HTTPRequestBody.h"
#include "brvcore/network/HTTPRequestorTransfer.h"
#include "brvcore/network/HeaderText.h"
#include "brvcore/network/HttpStatusHandler.h"
#include "brvcore/network/TNetworkRequest.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

namespace
{

constexpr std::uint32_t kNoUrl = 0xC7AAA707;

// "1:05.250"
void LogTime(const char16_t* format, int milliseconds)
{
    if (!IsLogging())
        return;
    LogMessage(LogSeverity::Info, TFormatString(format)
                                      .arg(milliseconds / 60'000)
                                      .arg(milliseconds / 1000 % 60, 2, 10, u'0')
                                      .arg(milliseconds % 1000, 3, 10, u'0')
                                      .result());
}

void LogStart(const TString& verb, const TString& url)
{
    if (!IsLogging())
        return;
    LogMessage(LogSeverity::Info,
        TFormatString(u"%1 verb: '%2', url: '%3'").arg(u"HTTPRequestor::DoWork").arg(verb).arg(url).result());
    LogMessage(LogSeverity::Info, TString(u"Creating new internet web request for ") + url);
}

// For a URL that could not be parsed.
bool HasHostBeyondAscii(std::u16string_view url)
{
    const std::size_t slashes = url.find(u"//");
    if (slashes == std::u16string_view::npos)
        return false;
    const std::u16string_view rest = url.substr(slashes + 2);
    const std::u16string_view authority = rest.substr(0, rest.find_first_of(u"/?#"));
    return std::any_of(authority.begin(), authority.end(), [](char16_t c) { return c >= 0x80; });
}

}   // namespace

HTTPRequestor::HTTPRequestor(const TString& url, const TString& verb, HTTPRequest::RequestInfo info,
    HTTPRequest::InfiniteTimeout infiniteTimeout)
    : m_url(url), m_verb(verb), m_info(std::move(info)),
      m_hasInfiniteTimeout(infiniteTimeout == HTTPRequest::InfiniteTimeout::Yes),
      m_transfer(std::make_unique<Transfer>())
{
    ParseUrlAndConfigure();
}

HTTPRequestor::~HTTPRequestor() = default;

void HTTPRequestor::ParseUrlAndConfigure()
{
    const std::optional<UrlParts> parts = ParseUrl(m_url, false);
    if (!parts)
    {
        m_shownUrl = WithoutUserInfo(m_url);
        return;
    }
    m_scheme = parts->scheme;
    m_host = parts->host;
    m_port = parts->port;
    m_path = parts->path;
    m_user = parts->user;
    m_password = parts->password;
    m_targetUrl = JoinUrl(*parts);
    m_shownUrl = parts->hasUserInfo ? m_targetUrl : m_url;
}

// --- The request ------------------------------------------------------------------------------------------------------

void HTTPRequestor::SetParameter(const TString& key, const TString& value)
{
    m_info.SetParameter(key, value);
}

void HTTPRequestor::SetHeader(const TString& key, const TString& value)
{
    m_info.SetHeader(key, value);
}

void HTTPRequestor::SetCredentials(const TString& user, const TString& password, HTTPRequest::AuthKind kind)
{
    m_user = user;
    m_password = password;
    m_authKind = kind;
}

void HTTPRequestor::SetCAFilename(const TPath& path)
{
    m_info.SetCAFile(path);
}

void HTTPRequestor::SetCAPathname(const TPath& path)
{
    m_info.SetCAPath(path);
}

void HTTPRequestor::SetAllowInvalidSSLCerts(bool allow) noexcept
{
    m_allowsInvalidCertificates = allow;
}

void HTTPRequestor::SetShowAuthenticationUI(bool show) noexcept
{
    m_showsAuthenticationUI = show;
}

void HTTPRequestor::SetContext(BaseTClientContext* context) noexcept
{
    m_info.SetClientContext(context);
}

void HTTPRequestor::DisableCache() noexcept
{
    m_isCacheDisabled = true;
}

BaseTClientContext& HTTPRequestor::GetContext() const noexcept
{
    BaseTClientContext* const context = m_info.GetClientContext();
    return context != nullptr ? *context : TClientContext::Instance();
}

// --- The execution ----------------------------------------------------------------------------------------------------

void HTTPRequestor::ExecuteWithProgress(const TString& message)
{
    if (IsExecutedElsewhere())
        return;
    m_progressMessage = message;
    TryExecute(true);
}

void HTTPRequestor::ExecuteImpl()
{
    if (!IsExecutedElsewhere())
        TryExecute(false);
}

// Failures of the exchange leave with a text that names the request. All others, cancellation too, leave as they are.
void HTTPRequestor::TryExecute(bool withProgress)
{
    m_withProgress = withProgress;
    try
    {
        DoWork();
    }
    catch (const HTTPException& exception)
    {
        HandleHTTPException(exception);
    }
    catch (const AuthenticationException& exception)
    {
        HandleAuthenticationException(exception);
    }
    catch (const NetworkException& exception)
    {
        HandleNetworkException(exception);
    }
}

void HTTPRequestor::DoWork()
{
    CheckHasNoControlCharacters(m_url);
    CheckIsToken(m_verb);
    LogStart(m_verb, m_shownUrl);
    ThrowIfCancelled();
    TNetworkRequest request;
    ConfigureRequest(request);
    const TString boundary = IsMultipart() ? GenerateMultipartBoundary() : TString();
    const std::unique_ptr<RequestBody> upload = MakeBody(boundary);
    request.body = upload.get();
    const std::uint64_t length = upload ? upload->GetLength() : 0;
    const std::unique_ptr<IProgressReporter> reporter =
        m_withProgress ? GetProgressReporter(m_progressMessage, length) : nullptr;

    BodySwitch& body = m_transfer->body.emplace(*this, GetBodySink());
    m_transfer->highestProgress = 0.0;
    try
    {
        do
        {
            body.Rewind();   // nothing of a failed attempt stays
            if (reporter)
                SendRequest(request, length, boundary, *reporter);
            else
                SendRequest(request, length, boundary);
            WarnUnlessCompressed();
        } while (HttpStatusHandler::HandleHttpStatusCode(GetStatusCode(), *this) == HttpStatusHandler::kRetry);
        ReleaseHeldBody();
        Deliver();
    }
    catch (...)
    {
        RewindAfterFailure(body);
        throw;
    }
    if (reporter)
        reporter->ReportProgress(1.0, TString());
}

void HTTPRequestor::ConfigureRequest(TNetworkRequest& request)
{
    if (m_targetUrl.IsEmpty())
        throw NetworkException(TError::ErrorInfo(BrevionError::MakeError(kNoUrl,
            TString(u"'") + m_shownUrl + u"' is no http or https URL" +
                (HasHostBeyondAscii(m_shownUrl) ? u": a host beyond ASCII has to be written in its xn-- form" : u""))));
    request.url = IsBodyVerb(m_verb) ? m_targetUrl : AppendQuery(m_targetUrl, m_info.GetParameters());
    request.verb = m_verb.ToUTF8();
    request.user = m_user.ToUTF8();
    request.password = m_password.ToUTF8();
    if (m_authKind != HTTPRequest::AuthKind::Default)
        request.authKinds = static_cast<unsigned>(m_authKind);
    request.maxUploadBytesPerSecond = m_info.GetMaxUploadBytesPerSecond();
    request.acceptsCompressedReply = m_info.AcceptsCompressedReply();
    request.usesOwnConnection = m_info.UsesOwnConnection();
    request.keepAlive = m_info.IsKeepAlive();
    request.allowsInvalidCertificates = m_allowsInvalidCertificates;
    request.caFile = m_info.GetCAFile();
    request.caPath = m_info.GetCAPath();
    ConfigureTimeouts(request);
}

// A session may grant its requests more time than they ask for, never less. 0 is no limit, the longest time of all.
void HTTPRequestor::ConfigureTimeouts(TNetworkRequest& request) const
{
    int operationTimeout = m_hasInfiniteTimeout ? 0 : m_info.GetOperationTimeout();
    LogTime(u"Connection timeout for new web request is %1:%2.%3 (min:sec.msec)", m_info.GetConnectTimeout());
    LogTime(u"Operation timeout for new web request is %1:%2.%3 (min:sec.msec)", operationTimeout);
    const int sessionTimeout = GetContext().GetSessionOperationTimeout().value_or(-1);
    if (operationTimeout != 0 && (sessionTimeout == 0 || sessionTimeout > operationTimeout))
    {
        LogTime(u"New operation timeout for session is %1:%2.%3 (min:sec.msec)", sessionTimeout);
        operationTimeout = sessionTimeout;
        LogTime(u"Updated web request timeout for session is %1:%2.%3 (min:sec.msec)", operationTimeout);
    }
    request.connectTimeout = m_info.GetConnectTimeout();
    request.operationTimeout = operationTimeout;
}

std::unique_ptr<IProgressReporter> HTTPRequestor::GetProgressReporter(const TString& message, std::uint64_t total)
{
    return GetContext().CreateProgressReporter(message, total);
}

// --- Cancellation -----------------------------------------------------------------------------------------------------

void HTTPRequestor::Cancel()
{
    if (m_transfer->isCancelled.exchange(true))
        return;
    const std::u16string_view path = m_path;
    LogMessage(LogSeverity::Info, TFormatString(u"Cancelling HTTP Request %1 http://%2:%3/%4")
                                      .arg(m_verb)
                                      .arg(m_host.Contains(u":") ? u"[" + m_host + u"]" : m_host)
                                      .arg(m_port)
                                      .arg(path.substr(path.empty() ? 0 : 1))
                                      .result());
    {
        const std::lock_guard lock(m_transfer->mutex);
        if (m_transfer->reply)
            m_transfer->reply->Cancel();
    }
    OnCancel();
}

bool HTTPRequestor::IsCancelled() const noexcept
{
    return m_transfer->isCancelled.load();
}

void HTTPRequestor::ThrowIfCancelled() const
{
    if (IsCancelled())
        throw CancelledException();
}

// In short sleeps, so that a cancel from any thread, or by the host of this one, is seen at once. The end is a point in
// time: what the looks cost does not add to the wait.
void HTTPRequestor::WaitBeforeRetry(std::chrono::milliseconds delay)
{
    constexpr std::chrono::nanoseconds kLongestSleep = std::chrono::milliseconds(100);
    CancellationChecker checker(1);
    const auto end = Clock::SteadyNow() + delay;
    for (;;)
    {
        ThrowIfCancelled();
        checker.ThrowIfCancelled();
        const std::chrono::nanoseconds left = end - Clock::SteadyNow();
        if (left <= std::chrono::nanoseconds::zero())
            return;
        Clock::Sleep(std::min(left, kLongestSleep));
    }
}
