#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/IProgressReporter.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/network/HTTPExceptions.h"
#include "brvcore/network/HTTPRequest.h"
#include "brvcore/network/HttpStatusPolicies.h"
#include "brvcore/network/TClientContext.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class IBodySink;
class RequestBody;
class TNetworkReply;
struct TNetworkRequest;

// One HTTP exchange with a server: the request's parts are set, the request is executed, with retries as its policies say,
// and the reply is read. A subclass says where the body of a successful reply goes.
//
//     StringHTTPRequestor requestor(u"https://example.org/data", u"GET");
//     requestor.SetHeader(u"Accept", u"application/json");
//     const TString text = requestor.GetResult(false);
//
// Redirects are followed, at most 30, to http and https alone. Headers set by the caller go along to whatever host a
// redirect names, except for Authorization and Cookie: those, credentials and the bearer token stay with the first host.
// Parameters and headers set here win over those of the RequestInfo with the same name.
//
// Fails with HTTPException (a status), NetworkException (the transport; CurlException where libcurl names the cause),
// AuthenticationException (as a policy says) or CancelledException. A name, value or URL with control characters
// throws LogicException 0x8B31E5F6 "has no control characters" before anything is sent; a header's name or a verb that is
// no token of RFC 9110 throws 0xC0E75BA7 "is a token". Content-Length and Transfer-Encoding follow from the body: a header
// of such a name throws 0x6A1F0D93 "frames no message". Streams of files and chunks throw what they throw, and
// LogicException 0x0D33F4E6 "stream != nullptr" when they are null. All of it is thrown by the execution, not the setters.
//
// A header set here or in the RequestInfo takes the place of the generated one of its name, except for the content type of
// a multipart body; Content-Type is sent with a POST or PUT alone.
//
// One object serves one thread, except for Cancel(), which may be called from any thread at any time, and stays in force.
class BRV_EXPORT HTTPRequestor
{
public:
    // An invalid URL throws NetworkException when the request is executed.
    HTTPRequestor(const TString& url, const TString& verb, HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    virtual ~HTTPRequestor();
    HTTPRequestor(const HTTPRequestor&) = delete;
    HTTPRequestor& operator=(const HTTPRequestor&) = delete;

    // --- The request ------------------------------------------------------------------------------------------------
    void SetParameter(const TString& key, const TString& value);
    void SetHeader(const TString& key, const TString& value);
    void SetCredentials(
        const TString& user, const TString& password, HTTPRequest::AuthKind kind = HTTPRequest::AuthKind::Default);
    void SetCAFilename(const TPath& path);
    void SetCAPathname(const TPath& path);
    void SetAllowInvalidSSLCerts(bool allow) noexcept;   // off at the start
    void SetShowAuthenticationUI(bool show) noexcept;    // a proxy that asks who we are: ask the client context
    void SetContext(BaseTClientContext* context) noexcept;
    void DisableCache() noexcept;   // asks caches on the way for a fresh reply

    const TString& GetVerb() const noexcept { return m_verb; }
    const TString& GetUrl() const noexcept { return m_url; }
    const TString& GetScheme() const noexcept { return m_scheme; }
    const TString& GetHost() const noexcept { return m_host; }
    std::uint16_t GetPort() const noexcept { return m_port; }
    const TString& GetPath() const noexcept { return m_path; }
    const HTTPRequest::RequestInfo& GetRequestInfo() const noexcept { return m_info; }
    BaseTClientContext& GetContext() const noexcept;

    // --- The execution ----------------------------------------------------------------------------------------------
    // Execute the request; return when the reply is complete, or, in a subclass with a worker, when that has been started.
    // `message` tells the user what is being done.
    void ExecuteWithProgress(const TString& message);
    void ExecuteImpl();
    void Cancel();
    bool IsCancelled() const noexcept;
    // True when whoever waits for a reply is released by a cancel before the worker, if there is one, has ended. The
    // destruction of the request waits for the worker all the same.
    virtual bool ShouldOrphanOnCancel() const noexcept { return false; }

    // Waits, and throws CancelledException as soon as the request is cancelled. For policies that try again later.
    void WaitBeforeRetry(std::chrono::milliseconds delay);

    // --- The reply --------------------------------------------------------------------------------------------------
    int GetStatusCode() const noexcept;             // 0 before the first reply
    TString GetHeader(const TString& name) const;   // ASCII letter case does not count; empty when absent
    std::vector<std::pair<TString, TString>> GetHeaders() const;
    TString GetEffectiveUrl() const;   // after redirects
    // The body of a reply that did not go to the subclass's destination: an error's text, or what a policy that ended the
    // request was shown of a success. The first 16 MiB of it. For the thread that executes the request.
    const std::string& GetResponseData() const noexcept;
    bool GetProxyAuthenticationCanceled() const noexcept { return m_isProxyAuthenticationCanceled; }

    // --- Steps, public for tests and for hosts that send requests by other means ---------------------------------------
    // Writes the request's body and returns its length; nothing for verbs other than POST and PUT.
    std::uint64_t GenerateRequest(TIO* out, const TString& boundary, IProgressReporter* progress);
    // 27 hyphens and 12 upper-case hexadecimal digits.
    static TString GenerateMultipartBoundary();
    void GenerateHeaders(const TString& boundary, TNetworkRequest& request);
    TString GetUserAgentString() const;
    // Throws again, on the calling thread, what ended the request on a worker.
    void CheckExceptions();

protected:
    // Where the body of a successful reply goes; asked for once per execution, and rewound when that fails.
    virtual IBodySink& GetBodySink() = 0;
    // False when Rewind() of the sink cannot undo a Write(). Then a body that a policy has a say in, for its success status,
    // is held back until the policy has spoken; one above 16 MiB ends in a NetworkException.
    virtual bool CanTakeBodyBack() const noexcept { return true; }
    // True when the request has been handed to a worker: to execute it is to do nothing.
    virtual bool IsExecutedElsewhere() const noexcept { return false; }
    // The bytes that the reply promises, before the first of them goes to the sink; not called when it says nothing.
    virtual void ExpectBody(std::uint64_t) {}
    // The reply is complete and a success, and the sink has all of it.
    virtual void Deliver() {}
    // The request is being cancelled, on the thread that asked for it: release whoever waits.
    virtual void OnCancel() noexcept {}
    // The whole exchange, retries included.
    virtual void DoWork();
    void TryExecute(bool withProgress);
    bool IsWithProgress() const noexcept { return m_withProgress; }
    virtual std::unique_ptr<IProgressReporter> GetProgressReporter(const TString& message, std::uint64_t total);
    void ConfigureRequest(TNetworkRequest& request);
    void SendRequest(TNetworkRequest& request, std::uint64_t length, const TString& boundary);
    void SendRequest(
        TNetworkRequest& request, std::uint64_t length, const TString& boundary, IProgressReporter& progress);
    void KeepException(std::exception_ptr exception) noexcept;
    TString GetResponseCharset() const;   // of the Content-Type header, lower-case; empty when absent
    void ThrowIfCancelled() const;

private:
    class BodySwitch;
    struct Transfer;   // the reply of the attempt that runs or ran last

    void ParseUrlAndConfigure();
    bool IsMultipart() const;
    std::unique_ptr<RequestBody> MakeBody(const TString& boundary) const;

    void ConfigureTimeouts(TNetworkRequest& request) const;
    bool AskForProxyCredentials(TNetworkRequest& request);
    void ExecuteTransfer(TNetworkRequest& request);
    void BeginBody();
    void PublishReply();
    void ReleaseHeldBody();
    void RewindAfterFailure(BodySwitch& body) const noexcept;
    void WarnUnlessCompressed() const;

    TString AuthenticationErrorText(const TError::ErrorInfo& info) const;
    [[noreturn]] void HandleHTTPException(const HTTPException& exception) const;
    [[noreturn]] void HandleAuthenticationException(const AuthenticationException& exception) const;
    [[noreturn]] void HandleNetworkException(const NetworkException& exception) const;

    TString m_url;
    TString m_shownUrl;    // for texts: without user and password
    TString m_targetUrl;   // as it is sent, without parameters; empty when the URL is none
    TString m_verb;
    HTTPRequest::RequestInfo m_info;
    TString m_scheme;
    TString m_host;
    std::uint16_t m_port = 0;
    TString m_path;
    TString m_user;
    TString m_password;
    HTTPRequest::AuthKind m_authKind = HTTPRequest::AuthKind::Default;
    TString m_progressMessage;
    bool m_withProgress = false;
    bool m_hasInfiniteTimeout;
    bool m_allowsInvalidCertificates = false;
    bool m_showsAuthenticationUI = false;
    bool m_isCacheDisabled = false;
    bool m_isProxyAuthenticationCanceled = false;
    std::unique_ptr<Transfer> m_transfer;
};

// The family: where the body of a reply goes.
#include "brvcore/network/BulkHTTPRequestor.h"
#include "brvcore/network/FileHTTPRequestor.h"
#include "brvcore/network/StringHTTPRequestor.h"
