#pragma once

#include "brvcore/foundation/IProgressReporter.h"
#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The bytes of a request's body, read while they are sent and, after a redirect, an authentication round or for a retry,
// read again. Lives until the transfer ends; used on the transfer's thread.
class IUploadSource
{
public:
    virtual ~IUploadSource() = default;
    virtual std::uint64_t GetLength() const = 0;
    // Up to `size` bytes at the position; 0 at the end. What it throws ends the transfer and reaches the caller.
    virtual std::size_t Read(char* buffer, std::size_t size) = 0;
    virtual void SetPosition(std::uint64_t position) = 0;
};

// One exchange as the transport sends it: complete, checked, and free of policy. A plain value.
struct TNetworkRequest
{
    TString url;        // http or https; no control characters
    std::string verb;   // "GET", "POST", "PUT", "HEAD", "DELETE", ...
    // "Name: value"; "Name:" for an empty value; UTF-8, without control characters. Not Content-Length nor Transfer-Encoding.
    // They go wherever a redirect leads to, except Authorization and Cookie, which stay with the first host.
    std::vector<std::string> headers;
    std::string userAgent;
    IUploadSource* body = nullptr;   // null: none (POST then sends Content-Length 0); none for HEAD

    std::string user;          // sent to the first host only, never logged; no control characters
    std::string password;      // likewise
    unsigned authKinds = 15;   // bits: 1 basic, 2 digest, 4 negotiate, 8 NTLM
    std::string proxyUser;     // for a proxy that asks; wins over the user of the proxy settings, never logged
    std::string proxyPassword;

    std::int64_t connectTimeout = 60'000;      // ms; 0: none
    std::int64_t operationTimeout = 900'000;   // ms for the whole attempt; 0: none
    std::int64_t maxUploadBytesPerSecond = 0;
    bool acceptsCompressedReply = false;   // "gzip, deflate"
    bool usesOwnConnection = false;
    bool keepAlive = false;
    bool allowsInvalidCertificates = false;
    TPath caFile;   // certificates to trust; with either of the two, none of the system's
    TPath caPath;
    // Told of body bytes sent and received, with the reply's expected size, on the transfer's thread; may be null.
    class ITransferProgress* progress = nullptr;
};

class ITransferProgress
{
public:
    virtual ~ITransferProgress() = default;
    // Called often, also while nothing moves. Totals are 0 while unknown. What it throws ends the transfer and reaches the
    // caller.
    virtual void Report(
        std::uint64_t sent, std::uint64_t sendTotal, std::uint64_t received, std::uint64_t receiveTotal) = 0;
};
