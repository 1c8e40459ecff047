#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

class BaseTClientContext;
class IHttpStatusHandlingPolicy;

// What an HTTP request is made of: plain values that a caller fills in and hands to a requestor.
namespace HTTPRequest
{

// Waits for as long as it takes: no operation time-out. The connect time-out stays.
enum class InfiniteTimeout : bool
{
    No,
    Yes,
};

// Who removes what the request creates on the server when it fails half-way. Carried for the host, not acted upon.
enum class TargetResourceOwnership : std::uint8_t
{
    Unowned,
    Caller,
    Server,
};

// Kinds of authentication that may be tried, as bits.
enum class AuthKind : std::uint8_t
{
    Default = 0,   // all of the below
    Basic = 1,
    Digest = 2,
    Negotiate = 4,
    NTLM = 8,
};

// A file that travels inside a multipart body. The content is read from its start to its end while the request is sent,
// and again for each retry; it is shared, not copied.
struct FileInfo
{
    TString fileName;
    std::shared_ptr<TRandomIO> content;
    TString mimeType = u"application/octet-stream";
};

// A slice of a file, sent as a raw body. Clamped to the file's end.
struct FileChunk
{
    std::shared_ptr<TRandomIO> content;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

// A request that is carried inside a multipart body.
struct BatchPart
{
    TString verb;
    TString path;
    TString json;
};

// A copyable value; copies share the contents of files and the policies. One object serves one thread at a time.
class BRV_EXPORT RequestInfo
{
public:
    // The reply may come compressed, and is then unpacked on the way in. Uploads faster than `maxUploadBytesPerSecond` are
    // slowed down; 0 stands for no limit. The time-outs start at the application options ConnectionOperationTimeout and
    // ConnectionConnectTimeout.
    explicit RequestInfo(bool acceptsCompressedReply = false, std::int64_t maxUploadBytesPerSecond = 0);

    // The raw body, sent as it is when there are no parameters, files or batch part. Text is sent as UTF-8. Bodies go with the
    // verbs POST and PUT alone, in upper case; other verbs send none.
    void SetRequest(const TString& text);
    void SetRequest(std::string bytes);
    void SetRequest(FileChunk chunk);
    TString GetRequest() const;
    const std::optional<std::string>& GetRequestBytes() const noexcept { return m_request; }
    const std::optional<FileChunk>& GetRequestChunk() const noexcept { return m_chunk; }

    // Of names that differ in ASCII letter case alone the last one set holds.
    void SetHeader(const TString& name, const TString& value);
    TString GetHeader(const TString& name) const;   // empty when there is none; ASCII letter case does not count
    const std::unordered_map<TString, TString>& GetHeaders() const noexcept { return m_headers; }

    void SetParameter(const TString& name, const TString& value) { m_parameters[name] = value; }
    const std::unordered_map<TString, TString>& GetParameters() const noexcept { return m_parameters; }

    void SetFile(const TString& fieldName, FileInfo file) { m_files[fieldName] = std::move(file); }
    const std::map<TString, FileInfo>& GetFiles() const noexcept { return m_files; }

    void SetBatchPart(std::optional<BatchPart> part) { m_batchPart = std::move(part); }
    const std::optional<BatchPart>& GetBatchPart() const noexcept { return m_batchPart; }

    // multipart/related instead of multipart/form-data, for a multipart body.
    void SetRelatedMultipart(bool isRelated) noexcept { m_isRelatedMultipart = isRelated; }
    bool IsRelatedMultipart() const noexcept { return m_isRelatedMultipart; }

    // Used in place of the generated content type, except for a multipart body, whose type must name the boundary.
    void SetContentType(const TString& contentType) { m_contentType = contentType; }
    const TString& GetContentType() const noexcept { return m_contentType; }

    // Sent as "Authorization: Bearer ...", to the first host only: a redirect to another one does not carry it.
    void SetAuthenticationToken(const TString& token) { m_authenticationToken = token; }
    const TString& GetAuthenticationToken() const noexcept { return m_authenticationToken; }

    // Milliseconds for one attempt, its redirects included, and for the opening of a connection; 0 stands for no limit.
    // Throw LogicException 0x6E2B9C14, 0x0D87F3A5 "milliseconds >= 0".
    void SetOperationTimeout(int milliseconds);
    void SetConnectTimeout(int milliseconds);
    int GetOperationTimeout() const noexcept { return m_operationTimeout; }
    int GetConnectTimeout() const noexcept { return m_connectTimeout; }

    // Certificates that the server's is checked against, as a file or a folder. With either of the two the system's do not
    // count; with both empty they alone do.
    void SetCAFile(const TPath& path) { m_caFile = path; }
    void SetCAPath(const TPath& path) { m_caPath = path; }
    const TPath& GetCAFile() const noexcept { return m_caFile; }
    const TPath& GetCAPath() const noexcept { return m_caPath; }

    bool AcceptsCompressedReply() const noexcept { return m_acceptsCompressedReply; }
    void SetAcceptsCompressedReply(bool accepts) noexcept { m_acceptsCompressedReply = accepts; }
    std::int64_t GetMaxUploadBytesPerSecond() const noexcept { return m_maxUploadBytesPerSecond; }

    // "; gzip" at the end of the user agent, when compressed replies are accepted.
    void SetUserAgentSaysGzip(bool says) noexcept { m_userAgentSaysGzip = says; }
    bool UserAgentSaysGzip() const noexcept { return m_userAgentSaysGzip; }
    // A connection that serves this request alone: opened for it and closed behind it.
    void SetUsesOwnConnection(bool uses) noexcept { m_usesOwnConnection = uses; }
    bool UsesOwnConnection() const noexcept { return m_usesOwnConnection; }
    // TCP keep-alive probes on idle connections.
    void SetKeepAlive(bool isOn) noexcept { m_keepAlive = isOn; }
    bool IsKeepAlive() const noexcept { return m_keepAlive; }

    void SetTargetResourceOwnership(TargetResourceOwnership ownership) noexcept { m_ownership = ownership; }
    TargetResourceOwnership GetTargetResourceOwnership() const noexcept { return m_ownership; }

    // Not owned; must outlive the request. Null, as at the start, stands for TClientContext::Instance().
    void SetClientContext(BaseTClientContext* context) noexcept { m_context = context; }
    BaseTClientContext* GetClientContext() const noexcept { return m_context; }

    // What to do on a status; setting a code twice replaces the policy. A policy with state of its own (a retry counter)
    // belongs to one request: create one for each.
    void SetPolicyForHttpStatusCode(int code, std::shared_ptr<IHttpStatusHandlingPolicy> policy);
    const std::map<int, std::shared_ptr<IHttpStatusHandlingPolicy>>& GetPoliciesForHttpStatusCodes() const noexcept
    {
        return m_policies;
    }

private:
    std::optional<std::string> m_request;
    std::optional<FileChunk> m_chunk;
    std::unordered_map<TString, TString> m_headers;
    std::unordered_map<TString, TString> m_parameters;
    std::map<TString, FileInfo> m_files;
    std::optional<BatchPart> m_batchPart;
    TString m_contentType;
    TString m_authenticationToken;
    TPath m_caFile;
    TPath m_caPath;
    std::map<int, std::shared_ptr<IHttpStatusHandlingPolicy>> m_policies;
    BaseTClientContext* m_context = nullptr;
    std::int64_t m_maxUploadBytesPerSecond;
    int m_operationTimeout;
    int m_connectTimeout;
    TargetResourceOwnership m_ownership = TargetResourceOwnership::Unowned;
    bool m_acceptsCompressedReply;
    bool m_userAgentSaysGzip = false;
    bool m_usesOwnConnection = false;
    bool m_keepAlive = false;
    bool m_isRelatedMultipart = false;
};

// A count of bytes for people: as it is below 1000, else in kilobytes up to 999999, in megabytes up to 999999999, then in
// gigabytes (units of 1000), with the locale's digits, grouping, decimal sign and short unit name: "1.50 MB", "1,50 Mo". The
// blank in front of the unit is the locale's, in French one that does not break. The unit is chosen before rounding: 999999
// without decimals is "1,000 kB". `decimals` is clamped to 0 to 15. The locale is a numeric identifier; 0 and 1024 stand for
// the user's own, an unknown one for English.
BRV_EXPORT TString FormatSize(std::uint64_t bytes, unsigned locale, int decimals);

// Names and values in their URL-encoded form, "a=1&b=two%20words", sorted by name.
BRV_EXPORT TString URLFormatParams(const std::unordered_map<TString, TString>& parameters);

}   // namespace HTTPRequest
