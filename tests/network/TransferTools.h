#pragma once

#include "brvcore/network/HTTPExceptions.h"
#include "brvcore/network/TNetworkAccessManager.h"
#include "brvcore/network/TNetworkReply.h"
#include "brvcore/network/TNetworkRequest.h"
#include "tests/support/LoopbackServer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <curl/curl.h>
#include <gtest/gtest.h>

// What the tests of the transport share: sinks, an upload, and one exchange with the loopback server in a line.
namespace TransferTools
{

inline constexpr CURLcode kAnyCode = CURLE_OK;   // NetworkException of any kind

struct StringSink : IBodySink
{
    void Write(const char* data, std::size_t size) override { bytes.append(data, size); }
    void Rewind() override { bytes.clear(); }
    std::string bytes;
};

struct FunctionSink : IBodySink
{
    explicit FunctionSink(std::function<void(const char*, std::size_t)> f) : write(std::move(f)) {}
    void Write(const char* data, std::size_t size) override { write(data, size); }
    void Rewind() override {}
    std::function<void(const char*, std::size_t)> write;
};

struct StringUpload : IUploadSource
{
    explicit StringUpload(std::string b) : bytes(std::move(b)) {}
    std::uint64_t GetLength() const override { return bytes.size(); }
    std::size_t Read(char* buffer, std::size_t size) override
    {
        const std::size_t copied = bytes.copy(buffer, size, position);
        position += copied;
        return copied;
    }
    void SetPosition(std::uint64_t p) override { position = p; }
    std::string bytes;
    std::size_t position = 0;
};

inline const LoopbackServer& Server()
{
    return LoopbackServer::Instance();
}

inline TNetworkRequest Request(const TString& url, std::string verb = "GET")
{
    TNetworkRequest request;
    request.url = url;
    request.verb = std::move(verb);
    request.operationTimeout = 60'000;   // a transfer that hangs fails its test with the code of a time-out
    request.caFile = Server().GetCAFile();
    return request;
}

struct Outcome
{
    int status;
    std::string body;    // of the sink
    std::string error;   // body of an error
    TString url;
};

inline Outcome Fetch(TNetworkAccessManager& manager, const TNetworkRequest& request)
{
    StringSink sink;
    TNetworkReply reply(&sink);
    manager.Execute(request, reply);
    return {reply.GetStatus(), sink.bytes, reply.GetErrorData(), reply.GetEffectiveUrl()};
}

inline std::string Get(TNetworkAccessManager& manager, const TString& url)
{
    return Fetch(manager, Request(url)).body;
}

inline int Count(std::string_view key)
{
    TNetworkAccessManager manager;
    return std::stoi(Get(manager, Server().Http("/counter?of=" + std::string(key))));
}

inline void ExpectFailure(TNetworkAccessManager& manager, const TNetworkRequest& request, CURLcode code)
{
    StringSink sink;
    TNetworkReply reply(&sink);
    try
    {
        manager.Execute(request, reply);
        ADD_FAILURE() << "no exception; status " << reply.GetStatus() << ", bytes " << sink.bytes.size();
    }
    catch (const CurlException& exception)
    {
        EXPECT_EQ(exception.GetInterface(), CurlException::Interface::Easy);
        if (code != kAnyCode)
            EXPECT_EQ(exception.GetCurlCode(), code) << exception.what();
        else   // it hung, or what should have failed was not reached
            for (const CURLcode other :
                {CURLE_OPERATION_TIMEDOUT, CURLE_COULDNT_CONNECT, CURLE_PEER_FAILED_VERIFICATION})
                EXPECT_NE(exception.GetCurlCode(), other);
    }
    catch (const NetworkException& exception)
    {
        EXPECT_EQ(code, kAnyCode) << exception.what();
    }
}

}   // namespace TransferTools
