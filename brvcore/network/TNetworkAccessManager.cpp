#include "brvcore/network/TNetworkAccessManager.h"

#include "brvcore/network/TNetworkAccessManagerImpl.h"

TNetworkAccessManager::TNetworkAccessManager() : m_impl(std::make_unique<TNetworkAccessManagerImpl>()) {}

TNetworkAccessManager::~TNetworkAccessManager() = default;

void TNetworkAccessManager::Execute(const TNetworkRequest& request, TNetworkReply& reply)
{
    m_impl->Execute(request, reply);
}

TString TNetworkAccessManager::GetProxyHost() const
{
    return m_impl->GetProxyHost();
}

void TNetworkAccessManager::SetNoProxyHosts(const TString& hosts)
{
    m_impl->SetNoProxyHosts(hosts);
}

void TNetworkAccessManager::SetClientCertificate(const TPath& file)
{
    m_impl->SetClientCertificate(file);
}

void TNetworkAccessManager::ClearCookies()
{
    m_impl->ClearCookies();
}

void TNetworkAccessManager::CloseIdleConnections()
{
    m_impl->CloseIdleConnections();
}
