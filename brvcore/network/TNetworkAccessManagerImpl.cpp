#include "brvcore/network/TNetworkAccessManagerImpl.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/network/CurlTls.h"
#include "brvcore/network/CurlTransfer.h"
#include "brvcore/network/TNetworkAccessManager.h"

#include <QNetworkProxy>
#include <QThread>
#include <utility>

namespace
{

TransportSettings::ProxyKind ToProxyKind(const QNetworkProxy& proxy)
{
    using Kind = TransportSettings::ProxyKind;
    switch (proxy.type())
    {
    case QNetworkProxy::NoProxy:
    case QNetworkProxy::DefaultProxy:
        return Kind::None;
    case QNetworkProxy::HttpProxy:
        return Kind::Http;
    case QNetworkProxy::Socks5Proxy:
        return proxy.capabilities().testFlag(QNetworkProxy::HostNameLookupCapability) ? Kind::Socks5WithRemoteResolving
                                                                                      : Kind::Socks5;
    default:
        BRV_LOGIC_ERROR(0x59C3D7E8, u"Unsupported kind of proxy");
    }
}

// libcurl reads "host:port" and "scheme://host" out of a proxy's name; an IPv6 literal needs brackets to be none of these.
std::string ToProxyHost(const QNetworkProxy& proxy)
{
    std::string host = proxy.hostName().toStdString();
    if (host.find(':') != std::string::npos && !host.starts_with('['))
        host = '[' + host + ']';
    return host;
}

}   // namespace

TNetworkAccessManagerImpl::TNetworkAccessManagerImpl() = default;

TNetworkAccessManagerImpl::~TNetworkAccessManagerImpl() = default;

void TNetworkAccessManagerImpl::Execute(const TNetworkRequest& request, TNetworkReply& reply)
{
    std::shared_ptr<const TransportSettings> settings;
    {
        const std::lock_guard guard(m_settingsLock);
        settings = m_settings;
    }
    std::unique_ptr<CurlHandle> handle = m_pool.Take(CurlHandlePool::GetOrigin(request.url.ToUTF8()));
    CurlTransfer(*handle, request, reply, *settings).Run();
    m_pool.Return(std::move(handle));   // not after a failure: its connections may be in any state
}

void TNetworkAccessManagerImpl::ChangeSettings(const std::function<void(TransportSettings&)>& change)
{
    const std::lock_guard guard(m_settingsLock);
    const Qt::HANDLE current = QThread::currentThreadId();
    const bool isOwnThread = m_settingsThread == nullptr || m_settingsThread == current;
    BRV_LOGIC_ASSERT(0x8C5A17F3, isOwnThread);
    auto changed = std::make_shared<TransportSettings>(*m_settings);
    change(*changed);
    m_settings = std::move(changed);
    m_settingsThread = current;
}

void TNetworkAccessManagerImpl::SetProxy(const QNetworkProxy& proxy)
{
    const TransportSettings::ProxyKind kind = ToProxyKind(proxy);
    ChangeSettings(
        [&](TransportSettings& settings)
        {
            m_proxy = std::make_unique<QNetworkProxy>(proxy);
            settings.proxyKind = kind;
            settings.proxyHost = ToProxyHost(proxy);
            settings.proxyPort = proxy.port();
            settings.proxyUser = proxy.user().toStdString();
            settings.proxyPassword = proxy.password().toStdString();
        });
}

std::unique_ptr<QNetworkProxy> TNetworkAccessManagerImpl::CopyProxy() const
{
    const std::lock_guard guard(m_settingsLock);
    return m_proxy ? std::make_unique<QNetworkProxy>(*m_proxy) : nullptr;
}

TString TNetworkAccessManagerImpl::GetProxyHost() const
{
    const std::lock_guard guard(m_settingsLock);
    return TString::FromUTF8(m_settings->proxyHost);
}

void TNetworkAccessManagerImpl::SetNoProxyHosts(const TString& hosts)
{
    ChangeSettings([&](TransportSettings& settings) { settings.noProxyHosts = hosts.ToUTF8(); });
}

void TNetworkAccessManagerImpl::SetClientCertificate(const TPath& file)
{
    if (!file.IsEmpty())
        CheckClientCertificate(file);
    ChangeSettings([&](TransportSettings& settings) { settings.clientCertificate = file.GetNative().native(); });
}

void TNetworkAccessManagerImpl::ClearCookies()
{
    CurlHandle(m_share, {}).ClearCookies();
}

// The members of the public class that need Qt's type whole.

void TNetworkAccessManager::SetProxy(const QNetworkProxy& proxy)
{
    m_impl->SetProxy(proxy);
}

QNetworkProxy TNetworkAccessManager::GetProxy() const
{
    const std::unique_ptr<QNetworkProxy> proxy = m_impl->CopyProxy();
    return proxy ? *proxy : QNetworkProxy(QNetworkProxy::NoProxy);
}
