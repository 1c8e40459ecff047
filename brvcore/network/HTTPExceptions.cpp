#include "brvcore/network/HTTPExceptions.h"

#include <utility>

struct NetworkException::State
{
    TError::ErrorInfo info;
    std::string what;
};

NetworkException::NetworkException(TError::ErrorInfo info)
{
    std::string what = info.GetError().GetMessage().ToUTF8();
    m_state = std::make_shared<const State>(State{std::move(info), std::move(what)});
}

const char* NetworkException::what() const noexcept
{
    return m_state->what.c_str();
}

const TError::ErrorInfo& NetworkException::GetErrorInfo() const noexcept
{
    return m_state->info;
}

CurlException::CurlException(Interface interface, int curlCode, TError::ErrorInfo info)
    : NetworkException(std::move(info)), m_interface(interface), m_curlCode(curlCode)
{
}

struct HTTPException::State
{
    int code;
    TString result;
    TError::ErrorInfo info;
    std::string what;
};

HTTPException::HTTPException(int code, TString result, TError::ErrorInfo info)
{
    std::string what = info.GetError().GetMessage().ToUTF8();
    m_state = std::make_shared<const State>(State{code, std::move(result), std::move(info), std::move(what)});
}

const char* HTTPException::what() const noexcept
{
    return m_state->what.c_str();
}

int HTTPException::GetCode() const noexcept
{
    return m_state->code;
}

const TString& HTTPException::GetResult() const noexcept
{
    return m_state->result;
}

const TError::ErrorInfo& HTTPException::GetErrorInfo() const noexcept
{
    return m_state->info;
}

struct AuthenticationException::State
{
    int code;
    TString host;
    TError::ErrorInfo info;
    std::string what;
};

AuthenticationException::AuthenticationException(int code, TString host, TError::ErrorInfo info)
{
    std::string what = info.GetError().GetMessage().ToUTF8();
    m_state = std::make_shared<const State>(State{code, std::move(host), std::move(info), std::move(what)});
}

const char* AuthenticationException::what() const noexcept
{
    return m_state->what.c_str();
}

int AuthenticationException::GetCode() const noexcept
{
    return m_state->code;
}

const TString& AuthenticationException::GetHost() const noexcept
{
    return m_state->host;
}

const TError::ErrorInfo& AuthenticationException::GetErrorInfo() const noexcept
{
    return m_state->info;
}
