#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TError.h"
#include "brvcore/foundation/TString.h"

#include <exception>
#include <memory>
#include <string>

// The failures of the HTTP layer. All carry a TError::ErrorInfo; what() is its message in UTF-8. Copying shares the state
// and cannot throw. No message contains a password, an authentication token, a cookie or the user part of a URL. It may name
// the URL with its query: a secret in there is not hidden.

// The exchange did not take place, or broke off: no host, no connection, a time-out, a reply cut short, ...
class BRV_EXPORT NetworkException : public std::exception
{
public:
    explicit NetworkException(TError::ErrorInfo info);

    const char* what() const noexcept override;
    const TError::ErrorInfo& GetErrorInfo() const noexcept;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};

// A failure that libcurl reported. The numeric code is libcurl's own, of the interface that GetInterface() names.
class BRV_EXPORT CurlException : public NetworkException
{
public:
    enum class Interface
    {
        Easy,    // CURLcode: one transfer
        Share,   // CURLSHcode: what transfers share
        Multi,   // CURLMcode: the loop that drives a transfer
        Tls,     // CURLsslset: the choice of the TLS back end
    };

    CurlException(Interface interface, int curlCode, TError::ErrorInfo info);

    Interface GetInterface() const noexcept { return m_interface; }
    int GetCurlCode() const noexcept { return m_curlCode; }

private:
    Interface m_interface;
    int m_curlCode;
};

// The server answered, with a status that is neither a success nor handled by a policy.
class BRV_EXPORT HTTPException : public std::exception
{
public:
    HTTPException(int code, TString result, TError::ErrorInfo info);

    const char* what() const noexcept override;
    int GetCode() const noexcept;   // the HTTP status
    const TString&
    GetResult() const noexcept;   // the reply's body, its bytes read as UTF-8 (see TString for what is none)
    const TError::ErrorInfo& GetErrorInfo() const noexcept;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};

// The server refused who asks: the status, and the host of the URL that refused after redirects.
class BRV_EXPORT AuthenticationException : public std::exception
{
public:
    AuthenticationException(int code, TString host, TError::ErrorInfo info);

    const char* what() const noexcept override;
    int GetCode() const noexcept;
    const TString& GetHost() const noexcept;
    const TError::ErrorInfo& GetErrorInfo() const noexcept;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};

// The same for a token that a session carries: asking again with a new token may help.
class BRV_EXPORT TokenAuthenticationException : public AuthenticationException
{
public:
    using AuthenticationException::AuthenticationException;
};
