#include "brvcore/network/HttpStatusHandler.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/CurlUrl.h"
#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/TNetworkReply.h"

#include <memory>
#include <optional>

namespace
{

constexpr std::uint32_t kStatusNotHandled = 0xC926DA9F;

int AskPolicy(int code, HTTPRequestor& requestor)
{
    const auto& policies = requestor.GetRequestInfo().GetPoliciesForHttpStatusCodes();
    const auto found = policies.find(code);
    if (found == policies.end() || found->second == nullptr)
        return IHttpStatusHandlingPolicy::kNotHandled;
    const std::shared_ptr<IHttpStatusHandlingPolicy> policy = found->second;   // may be replaced while it runs
    return policy->HandleHttpStatus(requestor);
}

}   // namespace

int HttpStatusHandler::HandleHttpStatusCode(int code, HTTPRequestor& requestor)
{
    if (AskPolicy(code, requestor) == IHttpStatusHandlingPolicy::kRetry)
        return kRetry;
    if (TNetworkReply::IsSuccessStatus(code))
        return kDone;
    const TString message =
        TFormatString(u"The server '%1' answered with HTTP status %2.").arg(GetReplyHost(requestor)).arg(code).result();
    const TString body = TString::FromUTF8(requestor.GetResponseData());
    LogMessage(LogErrorSeverity::Error, u"http-status-handler",
        {{u"brevion-error-code", u"C926DA9F"}, {u"msg", message}, {u"data", body}});
    throw HTTPException(code, body,
        TError::ErrorInfo(BrevionError::MakeError(kStatusNotHandled, message), TError::ErrorSource::Remote, code));
}

TString GetReplyHost(const HTTPRequestor& requestor)
{
    const std::optional<UrlParts> parts = ParseUrl(requestor.GetEffectiveUrl(), false);
    return parts ? parts->host : TString();
}
