#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/IProgressReporter.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

class TNetworkAccessManager;

// Who asks: the session on whose behalf requests are made. Requests of one context share cookies, resolved names and TLS
// sessions. The virtual functions are called on the threads that execute requests, several at once.
class BRV_EXPORT BaseTClientContext
{
public:
    struct ProxyCredentials
    {
        TString user;
        TString password;
    };

    virtual ~BaseTClientContext();

    virtual TNetworkAccessManager& GetNetworkAccessManager() = 0;

    // The user's language ("de"); empty for the configured default.
    virtual TString GetLanguage() const { return {}; }
    // Milliseconds that the session grants a request: raises a shorter operation time-out. Nothing: the request's own holds.
    virtual std::optional<int> GetSessionOperationTimeout() const { return std::nullopt; }
    // Shows the progress of a request; null for none. `message` says what is being done, `total` is the number of bytes to
    // send or to receive, 0 when unknown.
    virtual std::unique_ptr<IProgressReporter> CreateProgressReporter(const TString& message, std::uint64_t total);
    // Asks the user who he is for a proxy that wants to know; nothing when he declines.
    virtual std::optional<ProxyCredentials> AskForProxyCredentials(const TString& proxyHost);
};

// The context of requests that name none. Its settings may be changed from any thread.
class BRV_EXPORT TClientContext : public BaseTClientContext
{
public:
    TClientContext();
    ~TClientContext() override;

    static TClientContext& Instance();   // lives until the process ends

    TNetworkAccessManager& GetNetworkAccessManager() override;
    TString GetLanguage() const override;
    std::optional<int> GetSessionOperationTimeout() const override;

    void SetLanguage(const TString& language);
    void SetSessionOperationTimeout(std::optional<int> milliseconds);

private:
    mutable std::mutex m_mutex;
    TString m_language;
    std::optional<int> m_sessionOperationTimeout;
    std::unique_ptr<TNetworkAccessManager> m_manager;
};
