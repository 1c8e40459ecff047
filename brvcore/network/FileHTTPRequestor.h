#pragma once

#include "brvcore/network/HTTPRequestor.h"

#include <cstdint>
#include <memory>
#include <string>

// The body goes into a stream of the caller's, from a given offset on. On failure, and before each retry, the stream is cut
// back to that offset (or to its old size when that is smaller), when it has been written to at all. On success, bytes beyond
// the body's end stay. Throws LogicException 0x94E2F852 "hasStream".
class BRV_EXPORT BinaryHTTPRequestor : public HTTPRequestor
{
public:
    BinaryHTTPRequestor(const TString& url, const TString& verb, std::shared_ptr<TRandomIO> out,
        std::uint64_t startOffset = 0, HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    ~BinaryHTTPRequestor() override;

    // Executes the request; returns the number of bytes written.
    std::uint64_t ProcessFile(bool withProgress = false);
    const std::string& GetErrorData() const noexcept { return GetResponseData(); }

private:
    IBodySink& GetBodySink() override;
    struct Sink;
    std::unique_ptr<Sink> m_sink;
};

// The body goes into a file. It is written beside the target under a temporary name and renamed when it is complete: on
// failure the target is as it was, and nothing is left behind. The file has the permissions of any new file; a target that
// is a link is replaced, not followed. System failures throw std::system_error; a folder that cannot be written to, and a
// target that is a folder, do so before the request is sent. The file is not forced to the disk: what a power cut leaves of
// a target replaced shortly before is the file system's affair.
class BRV_EXPORT FileHTTPRequestor : public HTTPRequestor
{
public:
    FileHTTPRequestor(const TString& url, const TString& verb, const TPath& path,
        HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    ~FileHTTPRequestor() override;

    // Executes the request; returns the number of bytes written.
    std::uint64_t ProcessFile(bool withProgress = false);
    const std::string& GetErrorData() const noexcept { return GetResponseData(); }

private:
    IBodySink& GetBodySink() override;
    void Deliver() override;
    struct Sink;
    std::unique_ptr<Sink> m_sink;
};
