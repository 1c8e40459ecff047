#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/TNetworkReply.h"
#include "brvcore/network/TNetworkRequest.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"

#include <cstdint>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using HTTPRequest::RequestInfo;
using testing::ElementsAre;

using namespace std::string_literals;

namespace
{

// Sends nothing; its steps are what is tested.
class Requestor : public HTTPRequestor
{
public:
    explicit Requestor(const TString& verb, RequestInfo info = RequestInfo())
        : HTTPRequestor(u"http://example.org/create.xml", verb, std::move(info))
    {
    }

    std::vector<std::string> Headers()
    {
        TNetworkRequest request;
        GenerateHeaders(u"BOUND", request);
        return request.headers;
    }

private:
    IBodySink& GetBodySink() override { throw std::logic_error("not asked for"); }
};

// Without the user agent, which is a text of this machine.
std::vector<std::string> HeadersBehindUserAgent(Requestor& requestor)
{
    std::vector<std::string> headers = requestor.Headers();
    EXPECT_EQ(headers.front(), "User-Agent: " + requestor.GetUserAgentString().ToUTF8());
    headers.erase(headers.begin());
    return headers;
}

HTTPRequest::FileInfo File()
{
    return {u"name", std::make_shared<TMemoryIO>("content"), u"text/plain"};
}

struct FailingContext : BaseTClientContext
{
    TNetworkAccessManager& GetNetworkAccessManager() override { throw std::runtime_error("none"); }
    TString GetLanguage() const override { throw std::runtime_error("no session"); }
};

}   // namespace

TEST(GenerateHeaders, StandInTheirOrder)
{
    RequestInfo info(true);
    info.SetHeader(u"X-B", u"of the info");
    info.SetHeader(u"X-C", u"  with blanks ");
    info.SetAuthenticationToken(u"secret");
    info.SetUserAgentSaysGzip(true);
    info.SetRequest(TString(u"raw"));
    Requestor requestor(u"POST", info);
    requestor.SetHeader(u"x-b", u"of the requestor");
    requestor.SetHeader(u"X-A", u"\u20AC");
    requestor.SetHeader(u"X-Empty", u" ");
    requestor.DisableCache();
    TNetworkRequest request;
    requestor.GenerateHeaders({}, request);
    const std::string userAgent = requestor.GetUserAgentString().ToUTF8() + "; gzip";
    EXPECT_THAT(request.headers,
        ElementsAre("User-Agent: " + userAgent, "Accept-Encoding: gzip, deflate", "Cache-Control: no-cache",
            "Pragma: no-cache", "X-A: \xE2\x82\xAC", "X-C: with blanks", "X-Empty:", "x-b: of the requestor",
            "Content-Type: application/octet-stream", "Authorization: Bearer secret"));
    EXPECT_EQ(request.userAgent, userAgent);
    EXPECT_TRUE(request.acceptsCompressedReply);
}

TEST(GenerateHeaders, SendOneContentType)
{
    RequestInfo info;
    Requestor nothing(u"POST", info);
    EXPECT_THAT(HeadersBehindUserAgent(nothing), ElementsAre());
    info.SetRequest(TString(u"{}"));
    info.SetContentType(u"application/json");
    Requestor raw(u"PUT", info);
    EXPECT_THAT(HeadersBehindUserAgent(raw), ElementsAre("Content-Type: application/json"));
    raw.SetHeader(u"content-type", u"text/x");
    EXPECT_THAT(HeadersBehindUserAgent(raw), ElementsAre("Content-Type: text/x"));
    info.SetContentType({});
    info.SetParameter(u"a", u"1");
    Requestor parameters(u"POST", info);
    EXPECT_THAT(HeadersBehindUserAgent(parameters), ElementsAre("Content-Type: application/x-www-form-urlencoded"));
    info.SetContentType(u"text/x");
    info.SetHeader(u"Content-Type", u"text/y");
    Requestor get(u"GET", info);
    EXPECT_THAT(HeadersBehindUserAgent(get), ElementsAre()) << "no body, no type";
    info.SetFile(u"f", File());
    Requestor file(u"POST", info);
    EXPECT_THAT(HeadersBehindUserAgent(file), ElementsAre("Content-Type: multipart/form-data; boundary=BOUND"))
        << "the boundary has to be told";
    RequestInfo related;
    related.SetBatchPart(HTTPRequest::BatchPart{u"GET", u"/", u"{}"});
    related.SetRelatedMultipart(true);
    Requestor batch(u"POST", related);
    EXPECT_THAT(HeadersBehindUserAgent(batch), ElementsAre("Content-Type: multipart/related; boundary=BOUND"));
}

TEST(GenerateHeaders, CallersOwnReplaceTheGenerated)
{
    RequestInfo info(true);
    info.SetAuthenticationToken(u"token");
    Requestor requestor(u"GET", info);
    requestor.SetHeader(u"user-agent", u"mine/1");
    requestor.SetHeader(u"accept-encoding", u"identity");
    requestor.SetHeader(u"authorization", u"Basic eA==");
    requestor.SetHeader(u"pragma", u"x");
    requestor.DisableCache();
    EXPECT_THAT(requestor.Headers(), ElementsAre("User-Agent: mine/1", "Accept-Encoding: identity",
                                         "Cache-Control: no-cache", "pragma: x", "Authorization: Basic eA=="));
}

TEST(GenerateHeaders, RefuseWhatWouldBreakALine)
{
    const std::pair<TString, TString> controls[] = {
        {u"X", u"a\r\nY: b"},
        {u"X", u"a\n"},
        {u"X", TString(u"a\0b"s)},
        {u"X", u"\x7F"},
        {u"X", u"\u0085"},
        {u"X\r\nY", u""},
        {u"User-Agent", u"a\r\nY: b"},
        {u"Authorization", u"a\r\nY: b"},
    };
    for (const auto& [name, value] : controls)
    {
        Requestor requestor(u"GET");
        requestor.SetHeader(name, value);
        EXPECT_LOGIC_ASSERT(requestor.Headers(), 0x8B31E5F6, "has no control characters");
    }
    for (const char16_t* const name : {u"", u"A B", u"A:", u"\u00C4", u"(x)"})
    {
        Requestor requestor(u"GET");
        requestor.SetHeader(name, u"value");
        EXPECT_LOGIC_ASSERT(requestor.Headers(), 0xC0E75BA7, "is a token");
    }
    for (const char16_t* const name : {u"content-length", u"Transfer-Encoding"})
    {
        Requestor requestor(u"POST");
        requestor.SetHeader(name, u"5");
        EXPECT_LOGIC_ASSERT(requestor.Headers(), 0x6A1F0D93, "frames no message");
    }
    RequestInfo info;
    info.SetAuthenticationToken(u"a\rb");
    Requestor requestor(u"GET", info);
    EXPECT_LOGIC_ASSERT(requestor.Headers(), 0x8B31E5F6, "has no control characters");
}

TEST(GenerateHeaders, UserAgentIsTheBareNameWhenItCannotBeBuilt)
{
    FailingContext context;
    Requestor requestor(u"GET");
    requestor.SetContext(&context);
    EXPECT_EQ(requestor.GetUserAgentString(), TString(u"Brevion"));
}

TEST(GenerateMultipartBoundary, IsNeverTheSame)
{
    std::set<TString> seen;
    for (int i = 0; i < 1000; ++i)
    {
        const TString boundary = HTTPRequestor::GenerateMultipartBoundary();
        EXPECT_EQ(boundary.Length(), 39U);
        EXPECT_TRUE(boundary.StartsWith(TString(27, u'-')));
        EXPECT_EQ(boundary.View().find_first_not_of(u"0123456789ABCDEF", 27), TString::npos);
        seen.insert(boundary);
    }
    EXPECT_EQ(seen.size(), 1000U);
}

TEST(GenerateRequest, LogsWhatSupportAsksFor)
{
    const auto generate = [](const TString& verb, const TString& name, const TString& value)
    {
        const CapturedLog log;
        TMemoryIO out;
        Requestor requestor(verb);   // its URL names create.xml
        requestor.SetParameter(name, value);
        const std::uint64_t size = requestor.GenerateRequest(&out, u"BOUND", nullptr);
        EXPECT_EQ(size, out.GetSize());
        return log.GetMessages();
    };
    EXPECT_THAT(generate(u"POST", u"server-viewerid", u"17"), ElementsAre());
    EXPECT_THAT(generate(u"POST", u"server-viewerid", u"x17"), ElementsAre("Info: server-viewerid no match"));
    EXPECT_THAT(generate(u"POST", u"server-viewerid", u""), ElementsAre("Info: server-viewerid no match"));
    EXPECT_THAT(generate(u"GET", u"a", u"b"), ElementsAre()) << "no body";
    AppConfig::SetFeature(u"ServerDebugLogging", true);
    EXPECT_THAT(generate(u"PUT", u"server-viewerid", u"1"), ElementsAre("Debug: GenerateRequest size: 17"));
    AppConfig::SetFeature(u"ServerDebugLogging", false);
}
