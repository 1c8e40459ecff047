#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"

#include <memory>

class QNetworkProxy;
class TNetworkAccessManagerImpl;
class TNetworkReply;
struct TNetworkRequest;

// Carries out requests for one session: owns the cookies, resolved names and TLS sessions that its requests share, keeps
// handles with their open connections for the next request to the same origin (scheme, host and port), and knows the
// proxy. It speaks HTTP/1.1: each connection serves one request at a time, so HTTP/2 would gain nothing, and over it
// libcurl 7.88 may wait for ever when an upload is redirected before the body is sent. Execute() may run on any number of
// threads at once. The settings belong to one thread, the first that changes
// one; a change on another throws LogicException 0x8C5A17F3 "isOwnThread". A change holds for requests that begin after it.
class BRV_EXPORT TNetworkAccessManager
{
public:
    // Throws CurlException when libcurl cannot be set up ("Curl: Failed to set SSL/TLS backend").
    TNetworkAccessManager();
    ~TNetworkAccessManager();   // no request may be running
    TNetworkAccessManager(const TNetworkAccessManager&) = delete;
    TNetworkAccessManager& operator=(const TNetworkAccessManager&) = delete;

    // Sends one request and receives its reply on the calling thread: one attempt, redirects and authentication included.
    // Throws NetworkException (CurlException where libcurl names the cause), CancelledException after reply.Cancel() or
    // when the host cancels the calling thread's work, and whatever the body sink, the upload source or the progress
    // throws. An HTTP status is no failure here.
    void Execute(const TNetworkRequest& request, TNetworkReply& reply);

    // No proxy at the start, whatever the environment says. An HttpProxy or Socks5Proxy with a host name is used for all
    // requests, except to the hosts of the list ("*" for all, ".example.org" for a domain), separated by commas.
    // Throws LogicException 0x59C3D7E8 for a kind of proxy that libcurl has no counterpart of.
    void SetProxy(const QNetworkProxy& proxy);
    QNetworkProxy GetProxy() const;
    TString GetProxyHost() const;   // empty without a proxy
    void SetNoProxyHosts(const TString& hosts);
    // A certificate with its private key (PEM, no passphrase) by which the client shows who it is, to every https server that
    // asks, be it one that a redirect leads to; empty for none. Throws NetworkException, with the reason, for a file that
    // holds no such pair.
    void SetClientCertificate(const TPath& file);

    void ClearCookies();
    void CloseIdleConnections();

private:
    std::unique_ptr<TNetworkAccessManagerImpl> m_impl;
};
