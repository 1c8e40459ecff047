#include "brvcore/network/CurlOptions.h"

#include "brvcore/network/CurlErrors.h"
#include "brvcore/network/CurlHandle.h"
#include "tests/support/LogicAssert.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

struct NoBytes : IUploadSource
{
    std::uint64_t GetLength() const override { return 0; }
    std::size_t Read(char*, std::size_t) override { return 0; }
    void SetPosition(std::uint64_t) override {}
};

std::vector<std::string> Headers(const TNetworkRequest& request)
{
    const CurlList list = MakeHeaderList(request);
    std::vector<std::string> headers;
    headers.reserve(8);
    for (const curl_slist* line = list.get(); line != nullptr; line = line->next)
        headers.emplace_back(line->data);
    return headers;
}

// libcurl takes "Name:" for an order not to send the header, and "Name;" for an empty value.
TEST(CurlOptions, WritesHeadersAsLibcurlReadsThem)
{
    using List = std::vector<std::string>;
    NoBytes body;
    struct Row
    {
        const char* verb;
        IUploadSource* body;
        List headers;
        List expected;
        const char* why;
    };
    for (const Row& row : {
             Row{"GET", nullptr, {"A: b", "B:", "C: ", "D: e:"}, {"A: b", "B;", "C;", "D: e:"}, "empty values"},
             Row{"POST", nullptr, {}, {"Content-Type:"}, "no content type of libcurl's own"},
             Row{"POST", nullptr, {"content-TYPE: x"}, {"content-TYPE: x"}, "in any letter case"},
             Row{"POST", nullptr, {"Content-Typed: x"}, {"Content-Typed: x", "Content-Type:"}, "the whole name counts"},
             Row{"PUT", &body, {}, {"Expect:"}, "a body is not held back"},
             Row{"PUT", &body, {"Expect: 100-continue"}, {"Expect: 100-continue"}, "unless the caller asks for it"},
         })
    {
        TNetworkRequest request;
        request.verb = row.verb;
        request.body = row.body;
        request.headers = row.headers;
        EXPECT_EQ(Headers(request), row.expected) << row.why;
    }
}

TEST(CurlOptions, RefusesWhatWouldForgeARequest)
{
    const CurlShare share;
    const CurlHandle handle(share, "");
    const TransportSettings settings;
    TNetworkRequest request;
    request.url = u"http://127.0.0.1/";
    for (const char* verb : {"", "GET /other", "GET\r\nHost: x", "GET:"})
    {
        request.verb = verb;
        EXPECT_LOGIC_ASSERT(SetOptions(handle.GetEasy(), request, settings, {}), 0x2E95D3B6, "IsToken(request.verb)");
    }
    request.verb = "GET";
    request.userAgent = "a\r\nB: c";
    EXPECT_LOGIC_ASSERT(
        SetOptions(handle.GetEasy(), request, settings, {}), 0xD3064AB9, "!HasControlCharacter(request.userAgent)");
    for (const std::string& header :
        {std::string("A: b\r\nC: d"), std::string("A: b\nC: d"), std::string("A: b\0c", 6)})
    {
        request.headers = {header};
        EXPECT_LOGIC_ASSERT(MakeHeaderList(request), 0x71C8E04B, "!HasControlCharacter(header)");
    }
    for (const char* header : {"NoColon", "", ": b", "X-Semi;", "Bad Name: b", "A : b"})
    {
        request.headers = {header};
        EXPECT_LOGIC_ASSERT(MakeHeaderList(request), 0xF88FDB66, "colon != std::string::npos && IsToken(name)");
    }
    for (const char* header : {"Content-Length: 1", "content-length:", "Transfer-Encoding: chunked"})
    {
        request.headers = {header};
        EXPECT_LOGIC_ASSERT(MakeHeaderList(request), 0xDF5F08CE, "!isFraming");
    }
    for (std::string TNetworkRequest::*text : {&TNetworkRequest::user, &TNetworkRequest::password,
             &TNetworkRequest::proxyUser, &TNetworkRequest::proxyPassword})
    {
        TNetworkRequest cut;
        cut.verb = "GET";
        cut.*text = std::string("a\0b", 3);
        EXPECT_LOGIC_ASSERT(SetOptions(handle.GetEasy(), cut, settings, {}), 0x93B3583A, "!hasControlCharacters");
    }
    TNetworkRequest cut;
    cut.verb = "GET";
    cut.url = TString(std::u16string_view(u"http://127.0.0.1/a\0b", 20));
    EXPECT_LOGIC_ASSERT(SetOptions(handle.GetEasy(), cut, settings, {}), 0x93B3583A, "!hasControlCharacters");
    NoBytes body;
    TNetworkRequest head;
    head.verb = "HEAD";
    head.body = &body;
    EXPECT_LOGIC_ASSERT(
        SetOptions(handle.GetEasy(), head, settings, {}), 0x406FD4C8, "!(isHead && request.body != nullptr)");
}

TEST(CurlErrors, TakesUserInfoOutOfUrlsAlone)
{
    const auto text = [](const char* said) { return std::string(MakeTransferException(CURLE_OK, said).what()); };
    EXPECT_EQ(text("no host a for mail b@c"), "no host a for mail b@c");
    EXPECT_EQ(text("'http://u:p@w@h/x@y' and ftp://v@g"), "'http://h/x@y' and ftp://g");
}

TEST(CurlHandlePool, HandsBackTheHandleOfTheOrigin)
{
    EXPECT_EQ(CurlHandlePool::GetOrigin("HTTP://User:p@Host.Example:81/p@q?x"), "http://host.example:81");
    EXPECT_EQ(CurlHandlePool::GetOrigin("https://[::1]?a@b"), "https://[::1]");

    const CurlShare share;
    CurlHandlePool pool(share);
    std::unique_ptr<CurlHandle> a = pool.Take("http://a");
    const CurlHandle* const first = a.get();
    pool.Return(std::move(a));
    EXPECT_NE(pool.Take("http://b").get(), first);
    a = pool.Take("http://a");
    EXPECT_EQ(a.get(), first);
    const std::unique_ptr<CurlHandle> second = pool.Take("http://a");
    EXPECT_NE(second.get(), first) << "in use";
    pool.Return(std::move(a));
    std::vector<const CurlHandle*> handles;
    handles.reserve(CurlHandlePool::kMaxIdle);
    pool.Return(std::make_unique<CurlHandle>(share, "oldest"));
    for (std::size_t i = 0; i < CurlHandlePool::kMaxIdle; ++i)
    {
        auto handle = std::make_unique<CurlHandle>(share, std::to_string(i));
        handles.push_back(handle.get());
        pool.Return(std::move(handle));
    }
    std::vector<std::unique_ptr<CurlHandle>> taken;   // held: an address must not be used again
    taken.reserve(handles.size());
    for (std::size_t i = 0; i < handles.size(); ++i)
        EXPECT_EQ(taken.emplace_back(pool.Take(std::to_string(i))).get(), handles[i]) << i;
}

}   // namespace
