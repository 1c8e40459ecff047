#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/HTTPRequestorTransfer.h"

#include <typeinfo>

// How failures leave a requestor: with a text that names the request, and logged once.

namespace
{

TError::ErrorInfo WithMessage(const TError::ErrorInfo& info, TString message)
{
    return TError::ErrorInfo(BrevionError::MakeError(info.GetError().GetCode(), std::move(message)), info.GetSource(),
        info.GetRemoteStatus());
}

// The text, and what is known of the cause behind it.
TString WithCause(TString text, const TError::ErrorInfo& info)
{
    const TString& cause = info.GetError().GetMessage();
    return cause.IsEmpty() ? text : text.Append(u" (").Append(cause).Append(u")");
}

// What the exception carries besides its type; nothing for one that is not this library's.
std::optional<TError::ErrorInfo> FindErrorInfo(const std::exception_ptr& exception)
{
    try
    {
        std::rethrow_exception(exception);
    }
    catch (const HTTPException& e)
    {
        return e.GetErrorInfo();
    }
    catch (const AuthenticationException& e)
    {
        return e.GetErrorInfo();
    }
    catch (const NetworkException& e)
    {
        return e.GetErrorInfo();
    }
    catch (const LogicException& e)
    {
        return e.GetErrorInfo();
    }
    catch (...)
    {
        return std::nullopt;
    }
}

// True when `exception` is a T and nothing more: another kind may carry more than can be built again.
template <class T> bool IsExactly(const std::exception& exception)
{
    return typeid(exception) == typeid(T);
}

}   // namespace

void HTTPRequestor::HandleHTTPException(const HTTPException& exception) const
{
    constexpr int kUnauthorized = 401;
    constexpr int kProxyAuthenticationRequired = 407;
    const int code = exception.GetCode();
    const TError::ErrorInfo& info = exception.GetErrorInfo();
    LogMessage(LogErrorSeverity::Error, TFormatString(u"HTTPRequestor::DoWork::HTTPException %1 %2 %3")
                                            .arg(code)
                                            .arg(info.GetError().GetMessage())
                                            .arg(m_shownUrl)
                                            .result());
    if (!IsExactly<HTTPException>(exception))
        throw;
    TString text = code == kUnauthorized || code == kProxyAuthenticationRequired
                       ? AuthenticationErrorText(info)
                       : WithCause(TString(u"Request for '") + m_shownUrl + u"' failed.", info);
    throw HTTPException(code, exception.GetResult(), WithMessage(info, std::move(text)));
}

void HTTPRequestor::HandleAuthenticationException(const AuthenticationException& exception) const
{
    const TError::ErrorInfo& info = exception.GetErrorInfo();
    const TString text = AuthenticationErrorText(info);
    LogMessage(LogErrorSeverity::Error, text, info);
    if (IsExactly<TokenAuthenticationException>(exception))
        throw TokenAuthenticationException(exception.GetCode(), exception.GetHost(), WithMessage(info, text));
    if (IsExactly<AuthenticationException>(exception))
        throw AuthenticationException(exception.GetCode(), exception.GetHost(), WithMessage(info, text));
    throw;
}

TString HTTPRequestor::AuthenticationErrorText(const TError::ErrorInfo& info) const
{
    return TString(u"An authentication error downloading ") + m_shownUrl + u" has occurred. " +
           info.GetError().GetMessage();
}

void HTTPRequestor::HandleNetworkException(const NetworkException& exception) const
{
    const TError::ErrorInfo& info = exception.GetErrorInfo();
    if (IsExactly<CurlException>(exception))
    {
        const auto& cause = static_cast<const CurlException&>(exception);
        LogMessage(LogErrorSeverity::Error, TFormatString(u"HTTPRequestor: network error %1: '%2' (%3)")
                                                .arg(cause.GetCurlCode())
                                                .arg(info.GetError().GetMessage())
                                                .arg(m_shownUrl)
                                                .result());
        const TString text =
            TFormatString(u"Communications error %1 downloading ").arg(cause.GetCurlCode()).result() + m_shownUrl;
        throw CurlException(cause.GetInterface(), cause.GetCurlCode(), WithMessage(info, WithCause(text, info)));
    }
    LogMessage(LogErrorSeverity::Error, TString(u"HTTPRequestor: failed request : ") + info.GetError().GetMessage());
    if (!IsExactly<NetworkException>(exception))
        throw;
    throw NetworkException(WithMessage(info, WithCause(TString(u"Request for '") + m_shownUrl + u"' failed.", info)));
}

void HTTPRequestor::KeepException(std::exception_ptr exception) noexcept
{
    const std::lock_guard lock(m_transfer->mutex);
    m_transfer->exception = std::move(exception);
}

void HTTPRequestor::CheckExceptions()
{
    std::exception_ptr kept;
    {
        const std::lock_guard lock(m_transfer->mutex);
        kept = m_transfer->exception;
    }
    if (!kept)
        return;
    if (const std::optional<TError::ErrorInfo> info = FindErrorInfo(kept))
        LogMessage(LogSeverity::Warning, u"HTTPRequestor: rethrow exception", *info);
    else
        LogMessage(LogSeverity::Warning, u"HTTPRequestor: rethrow exception no metadata");
    std::rethrow_exception(kept);
}
