#pragma once

#include "brvcore/network/HTTPRequestor.h"

#include <cstdint>
#include <memory>
#include <string>

class HTTPStringSink;

// The three requestors that hold the body of the reply in memory. GetResult() executes the request when that has not been
// done yet; `withProgress` shows it to the user. Each takes the URL, the verb and optionally a RequestInfo.

// The body as text, decoded by the character set that the reply names; UTF-8 when it names none or one that is unknown.
class BRV_EXPORT StringHTTPRequestor : public HTTPRequestor
{
public:
    StringHTTPRequestor(const TString& url, const TString& verb,
        HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    ~StringHTTPRequestor() override;

    TString GetResult(bool withProgress);

private:
    IBodySink& GetBodySink() override;
    void ExpectBody(std::uint64_t size) override;
    void Deliver() override;

    std::unique_ptr<HTTPStringSink> m_sink;
    TString m_result;
    bool m_isExecuted = false;
};

// The body's bytes as they came.
class BRV_EXPORT StdStringHTTPRequestor : public HTTPRequestor
{
public:
    StdStringHTTPRequestor(const TString& url, const TString& verb,
        HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    // Sends a body of bytes.
    StdStringHTTPRequestor(const TString& url, const TString& verb, std::string body,
        HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    ~StdStringHTTPRequestor() override;

    // The body may be large: an object with a name lends it, until it dies or executes again.
    const std::string& GetResult(bool withProgress) &;
    std::string GetResult(bool withProgress) &&;   // gives the body away: the next call executes again

private:
    IBodySink& GetBodySink() override;
    void ExpectBody(std::uint64_t size) override;
    void Deliver() override;

    std::unique_ptr<HTTPStringSink> m_sink;
    bool m_isExecuted = false;
};

// The body as text in a Unicode form: UTF-8, or UTF-16 or UTF-32 where the byte order mark or the reply's character set
// says so; any other character set is read as UTF-8.
class BRV_EXPORT UTFStringHTTPRequestor : public HTTPRequestor
{
public:
    UTFStringHTTPRequestor(const TString& url, const TString& verb,
        HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No);
    ~UTFStringHTTPRequestor() override;

    TString GetResult(bool withProgress);

private:
    IBodySink& GetBodySink() override;
    void ExpectBody(std::uint64_t size) override;
    void Deliver() override;

    std::unique_ptr<HTTPStringSink> m_sink;
    TString m_result;
    bool m_isExecuted = false;
};
