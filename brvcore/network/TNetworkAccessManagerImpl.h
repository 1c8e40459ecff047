#pragma once

#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/network/CurlHandle.h"
#include "brvcore/network/CurlOptions.h"

#include <functional>
#include <memory>
#include <mutex>

class QNetworkProxy;
class TNetworkReply;

// The state of one session. Settings are replaced as a whole, so that a running request keeps those it began with.
class TNetworkAccessManagerImpl
{
public:
    TNetworkAccessManagerImpl();
    ~TNetworkAccessManagerImpl();

    void Execute(const TNetworkRequest& request, TNetworkReply& reply);

    void SetProxy(const QNetworkProxy& proxy);
    std::unique_ptr<QNetworkProxy> CopyProxy() const;   // a null pointer until one is set
    TString GetProxyHost() const;
    void SetNoProxyHosts(const TString& hosts);
    void SetClientCertificate(const TPath& file);

    void ClearCookies();
    void CloseIdleConnections() { m_pool.Clear(); }

private:
    // Throws LogicException 0x8C5A17F3 "isOwnThread" on another thread than the first that changed a setting.
    void ChangeSettings(const std::function<void(TransportSettings&)>& change);

    CurlShare m_share;
    CurlHandlePool m_pool{m_share};
    mutable std::mutex m_settingsLock;
    std::shared_ptr<const TransportSettings> m_settings = std::make_shared<const TransportSettings>();
    std::unique_ptr<QNetworkProxy> m_proxy;
    void* m_settingsThread = nullptr;   // Qt::HANDLE
};
