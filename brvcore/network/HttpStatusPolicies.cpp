#include "brvcore/network/HttpStatusPolicies.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/HttpStatusHandler.h"

#include <optional>

namespace
{

constexpr std::uint32_t kTokenContention = 0x7CBE5263;
constexpr std::uint32_t kAuthenticationRefused = 0x07B28639;
constexpr int kNotFound = 404;   // what a token that lost its race counts as
constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;

template <class Exception> [[noreturn]] void ThrowRefused(const HTTPRequestor& requestor, int code, std::uint32_t error)
{
    const TString host = GetReplyHost(requestor);
    const TString message =
        TFormatString(u"The server '%1' refused the authentication (HTTP status %2).").arg(host).arg(code).result();
    throw Exception(
        code, host, TError::ErrorInfo(BrevionError::MakeError(error, message), TError::ErrorSource::Remote, code));
}

}   // namespace

IHttpStatusHandlingPolicy::~IHttpStatusHandlingPolicy() = default;

std::shared_ptr<ExponentialBackoffRetryPolicy> ExponentialBackoffRetryPolicy::Create()
{
    return std::make_shared<ExponentialBackoffRetryPolicy>();
}

// The next delay, or nothing when there have been enough.
std::optional<std::chrono::milliseconds> ExponentialBackoffRetryPolicy::TakeDelay()
{
    const std::lock_guard lock(m_mutex);
    if (m_retriesLeft == 0)
        return std::nullopt;
    --m_retriesLeft;
    const std::chrono::milliseconds delay = m_delay;
    m_delay *= 2;
    return delay;
}

int ExponentialBackoffRetryPolicy::HandleHttpStatus(HTTPRequestor& requestor)
{
    const std::optional<std::chrono::milliseconds> delay = TakeDelay();
    if (!delay)
        return kNotHandled;
    LogMessage(LogSeverity::Info, TFormatString(u"%1: Attempting to retry the request after %2 seconds.")
                                      .arg(u"HandleHttpStatus")
                                      .arg(std::chrono::duration_cast<std::chrono::seconds>(*delay).count())
                                      .result());
    requestor.WaitBeforeRetry(*delay);
    return kRetry;
}

int HandleTightTokenContentionPolicy::HandleHttpStatus(HTTPRequestor& requestor)
{
    if (requestor.GetRequestInfo().GetAuthenticationToken().IsEmpty() ||
        requestor.GetResponseData().find("ObjectOptimisticLockingFailureException") == std::string::npos)
        return kNotHandled;
    ThrowRefused<TokenAuthenticationException>(requestor, kNotFound, kTokenContention);
}

int TranslateAuthenticationErrorToExceptionPolicy::HandleHttpStatus(HTTPRequestor& requestor)
{
    const int status = requestor.GetStatusCode();
    if (status != kUnauthorized && status != kForbidden)
        return kNotHandled;
    ThrowRefused<AuthenticationException>(requestor, status, kAuthenticationRefused);
}
