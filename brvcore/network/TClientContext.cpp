#include "brvcore/network/TClientContext.h"

#include "brvcore/network/TNetworkAccessManager.h"

BaseTClientContext::~BaseTClientContext() = default;

std::unique_ptr<IProgressReporter> BaseTClientContext::CreateProgressReporter(const TString&, std::uint64_t)
{
    return nullptr;
}

std::optional<BaseTClientContext::ProxyCredentials> BaseTClientContext::AskForProxyCredentials(const TString&)
{
    return std::nullopt;
}

TClientContext::TClientContext() = default;
TClientContext::~TClientContext() = default;

TClientContext& TClientContext::Instance()
{
    static auto* const context = new TClientContext;   // outlives every static object that sends a request
    return *context;
}

TNetworkAccessManager& TClientContext::GetNetworkAccessManager()
{
    const std::lock_guard lock(m_mutex);
    if (!m_manager)
        m_manager = std::make_unique<TNetworkAccessManager>();
    return *m_manager;
}

TString TClientContext::GetLanguage() const
{
    const std::lock_guard lock(m_mutex);
    return m_language;
}

std::optional<int> TClientContext::GetSessionOperationTimeout() const
{
    const std::lock_guard lock(m_mutex);
    return m_sessionOperationTimeout;
}

void TClientContext::SetLanguage(const TString& language)
{
    const std::lock_guard lock(m_mutex);
    m_language = language;
}

void TClientContext::SetSessionOperationTimeout(std::optional<int> milliseconds)
{
    const std::lock_guard lock(m_mutex);
    m_sessionOperationTimeout = milliseconds;
}
