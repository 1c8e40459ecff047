#include "brvcore/network/CurlOptions.h"

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
    for (const char* verb : {"", "GET /other", "GET\r\nHost: x"})
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
    for (std::size_t i = 0; i < CurlHandlePool::kMaxIdle; ++i)
        pool.Return(std::make_unique<CurlHandle>(share, std::to_string(i)));
    EXPECT_EQ(pool.Take("1")->GetOrigin(), "1");
    pool.Clear();
}

}   // namespace
