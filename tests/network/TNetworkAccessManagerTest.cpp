#include "brvcore/network/TNetworkAccessManager.h"

#include "tests/network/TransferTools.h"
#include "tests/support/LogicAssert.h"

#include <QNetworkProxy>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

// Against the loopback server: what is sent and what comes back.
namespace
{

using namespace TransferTools;
using testing::HasSubstr;
using testing::Not;

QNetworkProxy Proxy(const char* port, QNetworkProxy::ProxyType type = QNetworkProxy::HttpProxy)
{
    return {type, QStringLiteral("127.0.0.1"), Server().GetPort(port)};
}

// Of a server that answers with these bytes.
TString Raw(const std::string& text)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(3 * text.size());
    for (const char byte : text)
    {
        encoded += '%';
        encoded += kDigits[static_cast<unsigned char>(byte) >> 4];
        encoded += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return Server().Fault("/raw?text=" + encoded);
}

TEST(TNetworkAccessManager, TakesEveryWellFormedFraming)
{
    TNetworkAccessManager manager;
    const std::string pattern = LoopbackServer::Pattern(0, 100'000);
    for (const TString& url : {Server().Http("/bytes?n=100000"), Server().Http("/bytes?n=100000&chunked=1"),
             Server().Https("/bytes?n=100000"), Server().Fault("/no-length"), Server().Fault("/http10"),
             Server().Fault("/many-headers?count=1000"), Server().Http("/gzip"), Server().Http("/deflate"),
             Server().Http("/encoding?label=&body=none")})
    {
        TNetworkRequest request = Request(url);
        request.acceptsCompressedReply = true;
        EXPECT_TRUE(Fetch(manager, request).body == pattern) << url.ToUTF8();
    }
    for (const char* path : {"/bytes?n=0", "/bytes?n=0&chunked=1", "/status/204", "/gzip?n=0"})
    {
        TNetworkRequest request = Request(Server().Http(path));
        request.acceptsCompressedReply = true;
        EXPECT_EQ(Fetch(manager, request).body, "") << path;
    }
    const auto gzipMagic = "\x1f\x8b";
    EXPECT_TRUE(Get(manager, Server().Http("/gzip")).starts_with(gzipMagic)) << "not asked for, hence not unpacked";
}

TEST(TNetworkAccessManager, SendsEveryVerbAndItsBody)
{
    struct Row
    {
        const char* verb;
        const char* path;
        bool hasBody;
        std::vector<std::string> pieces;   // of the echo; empty for HEAD, which has none
    };
    const std::string body = R"("body":"a=1")";
    const std::string none = R"("body":"")";
    const std::string type = R"(["content-type","text/x-own"])";
    const std::vector<Row> rows = {
        {"GET", "/echo?x=%20y", false, {R"("method":"GET")", R"("raw_query":"x=%20y")", none}},
        {"HEAD", "/bytes?n=1000", false, {}},
        {"DELETE", "/echo", false, {R"("method":"DELETE")", none}},
        {"OPTIONS", "/echo", false, {R"("method":"OPTIONS")", none}},
        {"POST", "/echo", false, {R"("method":"POST")", none, R"(["content-length","0"])"}},
        {"PUT", "/echo", false, {R"("method":"PUT")", none, R"(["content-length","0"])"}},
        {"POST", "/echo", true, {R"("method":"POST")", body, type, R"(["content-length","3"])"}},
        {"PUT", "/echo", true, {R"("method":"PUT")", body, type, R"(["content-length","3"])"}},
        {"PATCH", "/echo", true, {R"("method":"PATCH")", body, type}},
        {"POST", "/redirect?code=307&n=2", true, {R"("method":"POST")", body}},
        {"PUT", "/redirect?code=308&n=2", true, {R"("method":"PUT")", body}},
        {"PATCH", "/redirect?code=307", true, {R"("method":"PATCH")", body}},
        {"PUT", "/redirect?code=302", true, {R"("method":"PUT")", body}},
        {"DELETE", "/redirect?code=302", false, {R"("method":"DELETE")", none}},
        {"POST", "/redirect?code=302", true, {R"("method":"GET")", none}},
        {"POST", "/redirect?code=303", true, {R"("method":"GET")", none}},
        {"PATCH", "/redirect?code=303", true, {R"("method":"GET")", none}},
        {"PATCH", "/redirect?code=303", false, {R"("method":"GET")", none}},
        {"DELETE", "/redirect?code=303", false, {R"("method":"DELETE")", none}},
        {"HEAD", "/redirect?to=/bytes%3Fn%3D1000", false, {}},
    };
    TNetworkAccessManager manager;   // one for all: a handle that is used again keeps nothing of the verb before
    for (const Row& row : rows)
    {
        SCOPED_TRACE(std::string(row.verb) + " " + row.path);
        StringUpload upload("a=1");
        TNetworkRequest request = Request(Server().Http(row.path), row.verb);
        request.userAgent = "tests/1";
        request.headers = {"X-Empty:", "X-A: \xC3\xA4"};
        if (row.hasBody)
        {
            request.body = &upload;
            request.headers.emplace_back("Content-Type: text/x-own");
        }
        StringSink sink;
        TNetworkReply reply(&sink);
        manager.Execute(request, reply);
        EXPECT_EQ(reply.GetStatus(), 200);
        EXPECT_FALSE(reply.HasHeader(u"Location")) << "of a redirect";
        EXPECT_EQ(reply.GetBodySize(), sink.bytes.size());
        for (const std::string& piece : row.pieces)
            EXPECT_THAT(sink.bytes, HasSubstr(piece));
        if (row.pieces.empty())
        {
            EXPECT_EQ(sink.bytes, "");
            EXPECT_EQ(reply.GetHeader(u"content-LENGTH"), u"1000");
        }
        else
        {
            EXPECT_THAT(sink.bytes, HasSubstr(R"(["x-empty",""])"));
            EXPECT_THAT(sink.bytes, HasSubstr("[\"x-a\",\"\xC3\xA4\"]"));
            EXPECT_THAT(sink.bytes, HasSubstr(R"(["user-agent","tests/1"])"));
            EXPECT_THAT(sink.bytes, Not(HasSubstr(R"("accept-encoding")")));
            if (!row.hasBody)
            {
                EXPECT_THAT(sink.bytes, Not(HasSubstr(R"("content-type")")));
            }
        }
    }
}

// The second and third send the bytes more than once: libcurl has to wind the source back.
TEST(TNetworkAccessManager, UploadsLargeBodies)
{
    TNetworkAccessManager manager;
    StringUpload upload(LoopbackServer::Pattern(0, std::size_t{20} << 20));
    for (const char* verb : {"POST", "PUT"})
        for (const char* path : {"/take", "/redirect?code=307&to=/take"})
        {
            TNetworkRequest request = Request(Server().Https(path), verb);
            upload.position = 0;
            request.body = &upload;
            const std::string reply = Fetch(manager, request).body;
            EXPECT_THAT(reply, HasSubstr(R"("content_length":"20971520")")) << verb << path;
            EXPECT_THAT(reply, HasSubstr(R"("is_pattern":true)")) << verb << path;
        }
}

TEST(TNetworkAccessManager, KeepsErrorBodiesFromTheSink)
{
    TNetworkAccessManager manager;
    const Outcome notFound = Fetch(manager, Request(Server().Http("/status/404?body=gone")));
    EXPECT_EQ(notFound.status, 404);
    EXPECT_EQ(notFound.body, "");
    EXPECT_EQ(notFound.error, "gone");
    const Outcome large = Fetch(manager, Request(Server().Http("/bytes?status=500&n=20971520")));
    EXPECT_EQ(large.error.size(), TNetworkReply::kMaxErrorData);
    const Outcome moved = Fetch(manager, Request(Server().Http("/redirect?to=/status/200")));
    EXPECT_EQ(moved.body, "status 200");
    EXPECT_EQ(moved.error, "") << "the redirect had a body too";
    EXPECT_EQ(moved.url, Server().Http("/status/200"));
    EXPECT_EQ(Fetch(manager, Request(Server().Http("/status/302"))).status, 302) << "without a place to go to";

    StringSink sink;
    TNetworkReply reply(&sink, [](int status) { return status == 404; });
    manager.Execute(Request(Server().Http("/status/404?body=gone")), reply);
    EXPECT_EQ(sink.bytes, "gone");
}

TEST(TNetworkAccessManager, TellsAnErrorHoweverItsPageIsPacked)
{
    const std::string pattern = LoopbackServer::Pattern(0, 1000);
    TNetworkAccessManager manager;
    const auto fetch = [&](const TString& url)
    {
        TNetworkRequest request = Request(url);
        request.acceptsCompressedReply = true;
        return Fetch(manager, request);
    };
    EXPECT_EQ(fetch(Server().Http("/encoding?n=1000&status=404&label=gzip&body=gzip")).error, pattern);
    EXPECT_EQ(fetch(Server().Http("/encoding?n=1000&status=404&label=br")).error, pattern) << "unknown: as it is";
    EXPECT_EQ(fetch(Server().Http("/encoding?n=1000&status=404&label=gzip")).error, pattern) << "is none";
    EXPECT_EQ(fetch(Server().Http("/encoding?n=1000&status=503&label=gzip&body=gzip&cut=5")).error, pattern);
    EXPECT_EQ(fetch(Raw("HTTP/1.1 404 Gone\r\nContent-Encoding: gzip\r\n\r\n")).status, 404);
}

// libcurl and this library have to read the same out of a head: of a status read otherwise the body would go astray.
TEST(TNetworkAccessManager, ReadsOddHeads)
{
    const std::string chunked = "Transfer-Encoding: chunked\r\nX-A: 1\r\n\r\n5\r\nhello\r\n0\r\n";
    const std::string rest = "X-A: 1\r\nContent-Length: 5\r\n\r\nhello";
    TNetworkAccessManager manager;
    for (const std::string& text : {"HTTP/1.1  200 OK\r\n" + rest, "HTTP/1.1 200\r\n" + rest,
             "HTTP/1.1 200 OK\r\nHTTP/Thing: x\r\n" + rest, "HTTP/1.1 200 OK\r\nX-B: b\r\n\tc\r\n" + rest,
             "HTTP/1.1 200 OK\r\n" + chunked + "HTTP/x: y\r\nX-A: 2\r\n\r\n",
             "HTTP/1.1 200 OK\r\n" + chunked + "HTTP/1.1 404: y\r\n\r\n",
             "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nHTTP/1: y\r\nX-A: 2\r\n\r\nHTTP/1.1 200 OK\r\n" +
                 rest})
    {
        SCOPED_TRACE(text);
        StringSink sink;
        TNetworkReply reply(&sink);
        manager.Execute(Request(Raw(text)), reply);
        EXPECT_EQ(reply.GetStatus(), 200);
        EXPECT_EQ(sink.bytes, "hello");
        EXPECT_EQ(reply.GetHeader(u"x-a"), u"1");
        EXPECT_EQ(reply.GetHeader(u"X-B"), reply.HasHeader(u"X-B") ? u"b c" : u"");
    }
}

TEST(TNetworkAccessManager, SharesCookiesWithinItself)
{
    TNetworkAccessManager manager;
    TNetworkAccessManager other;
    Get(manager, Server().Http("/cookie/set?name=session&value=abc"));
    EXPECT_EQ(Get(manager, Server().Http("/cookie/get")), R"({"session":"abc"})");
    EXPECT_EQ(Get(other, Server().Http("/cookie/get")), "{}");
    std::string seenByThread;
    std::thread([&] { seenByThread = Get(manager, Server().Http("/cookie/get")); }).join();
    EXPECT_EQ(seenByThread, R"({"session":"abc"})");
    manager.ClearCookies();
    EXPECT_EQ(Get(manager, Server().Http("/cookie/get")), "{}");
}

TEST(TNetworkAccessManager, Authenticates)
{
    struct Row
    {
        const char* path;
        const char* password;
        unsigned kinds;
        int status;
    };
    TNetworkAccessManager manager;
    for (const Row& row : {Row{"/auth/basic", "password", 15, 200}, Row{"/auth/basic", "password", 1, 200},
             Row{"/auth/basic", "guess", 15, 401}, Row{"/auth/basic", "password", 2, 401},
             Row{"/auth/digest", "password", 15, 200}, Row{"/auth/digest?algorithm=SHA-256", "password", 2, 200},
             Row{"/auth/digest", "guess", 15, 401}, Row{"/auth/digest", "", 15, 401}})
        for (const char* verb : {"GET", "POST", "PUT"})
        {
            SCOPED_TRACE(std::string(verb) + " " + row.path + " " + row.password);
            TNetworkRequest request = Request(Server().Http(row.path), verb);
            StringUpload upload("kept");
            request.body = *verb == 'P' ? &upload : nullptr;
            request.user = *row.password == '\0' ? "" : "user";
            request.password = row.password;
            request.authKinds = row.kinds;
            const Outcome outcome = Fetch(manager, request);
            EXPECT_EQ(outcome.status, row.status);
            if (row.status == 200 && request.body != nullptr && std::string(row.path).starts_with("/auth/digest"))
            {
                EXPECT_THAT(outcome.body, HasSubstr(R"("body":"kept")"));
            }
        }
}

TEST(TNetworkAccessManager, KeepsCredentialsFromOtherOrigins)
{
    TNetworkAccessManager manager;
    const std::string otherHost = "http://localhost:" + std::to_string(Server().GetPort("http"));
    const std::string otherPort = Server().Https("").ToUTF8();
    TNetworkRequest request;
    for (const std::string& origin : {otherHost, otherPort})
        for (const bool isToken : {false, true})
        {
            request = Request(Server().Http("/redirect?to=" + origin + "/echo"));
            request.user = isToken ? "" : "user";
            request.password = "password";
            request.authKinds = 1;
            request.headers = {"X-Own: 1"};
            if (isToken)
                request.headers.emplace_back("Authorization: Bearer token");
            const std::string echo = Fetch(manager, request).body;
            EXPECT_THAT(echo, HasSubstr(R"(["x-own","1"])")) << origin;
            EXPECT_THAT(echo, Not(HasSubstr("authorization"))) << origin;
        }
    request.url = Server().Http("/redirect?to=/auth/bearer");
    EXPECT_EQ(Fetch(manager, request).status, 200) << "the same origin gets the token";
}

TEST(TNetworkAccessManager, AllowsInvalidCertificatesWhenTold)
{
    TNetworkAccessManager manager;
    for (const char* port : {"https_self_signed", "https_expired", "https_wrong_host"})
    {
        TNetworkRequest request = Request(Server().Url(port, "/bytes?n=1"));
        request.allowsInvalidCertificates = true;
        EXPECT_EQ(Fetch(manager, request).status, 200) << port;
        request.allowsInvalidCertificates = false;   // the open connection must not serve a request that verifies
        ExpectFailure(manager, request, CURLE_PEER_FAILED_VERIFICATION);
    }
    TNetworkRequest request = Request(Server().Https("/bytes?n=1"));
    request.caFile = TPath();
    ExpectFailure(manager, request, CURLE_PEER_FAILED_VERIFICATION);
    request.caFile = TPath(u"/no/such/file.pem");
    ExpectFailure(manager, request, CURLE_SSL_CACERT_BADFILE);
    manager.SetClientCertificate(Server().GetClientCertificate());
    EXPECT_EQ(Fetch(manager, Request(Server().Url("https_client", "/bytes?n=1"))).status, 200);
}

TEST(TNetworkAccessManager, GoesThroughTheProxyItIsGiven)
{
    const TString http = Server().Http("/bytes?n=5");
    const TString https = Server().Https("/bytes?n=5");
    const std::string five = LoopbackServer::Pattern(0, 5);
    const auto expectCarried = [&](const char* port, const QNetworkProxy& proxy, const TString& noProxy, int carried)
    {
        TNetworkAccessManager manager;
        manager.SetProxy(proxy);
        manager.SetNoProxyHosts(noProxy);
        const int before = Count(port);
        EXPECT_EQ(Get(manager, http), five) << port;
        EXPECT_EQ(Get(manager, https), five) << port;
        EXPECT_EQ(Count(port) - before, carried) << port;
    };
    expectCarried("proxy", Proxy("proxy"), {}, 2);
    expectCarried("proxy", Proxy("proxy"), u".example.org,127.0.0.1", 0);
    expectCarried("proxy", Proxy("proxy"), u"*", 0);
    expectCarried("socks", Proxy("socks", QNetworkProxy::Socks5Proxy), {}, 2);
    QNetworkProxy known = Proxy("proxy_auth");
    known.setUser(QStringLiteral("user"));
    known.setPassword(QStringLiteral("password"));
    expectCarried("proxy_auth", known, {}, 2);

    struct Row
    {
        const char* port;
        int status;   // of a plain request; the tunnel of an encrypted one fails
    };
    for (const Row& row : {Row{"proxy_refusing", 403}, Row{"proxy_auth", 407}, Row{"refused", 0}})
    {
        SCOPED_TRACE(row.port);
        TNetworkAccessManager manager;
        manager.SetProxy(Proxy(row.port));
        if (row.status != 0)
            EXPECT_EQ(Fetch(manager, Request(http)).status, row.status);
        else
            ExpectFailure(manager, Request(http), CURLE_COULDNT_CONNECT);
        ExpectFailure(manager, Request(https), row.status != 0 ? CURLE_RECV_ERROR : CURLE_COULDNT_CONNECT);
        manager.SetProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        EXPECT_EQ(Get(manager, http), five) << "the next request takes the new setting";
    }
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    setenv("ALL_PROXY", "http://127.0.0.1:1", 1);
    TNetworkAccessManager manager;
    EXPECT_EQ(Get(manager, http), five) << "the environment does not choose";
    unsetenv("http_proxy");
    unsetenv("ALL_PROXY");
}

TEST(TNetworkAccessManager, GuardsItsSettings)
{
    TNetworkAccessManager manager;
    EXPECT_THROW(manager.SetProxy(Proxy("proxy", QNetworkProxy::FtpCachingProxy)), LogicException);
    manager.SetProxy(Proxy("proxy"));
    EXPECT_EQ(manager.GetProxy().port(), Server().GetPort("proxy"));
    std::thread([&] { EXPECT_THROW(manager.SetNoProxyHosts(u"*"), LogicException); }).join();
}

TEST(TNetworkAccessManager, UsesConnectionsAgain)
{
    for (const char* port : {"http", "https"})
    {
        TNetworkAccessManager manager;
        const TString url = Server().Url(port, "/connections");
        const auto connection = [&](const TNetworkRequest& request)
        {
            const std::string body = Fetch(manager, request).body;
            return body.substr(body.find("\"this\""), body.rfind(',') - body.find("\"this\""));
        };
        const std::string first = connection(Request(url));
        Fetch(manager, Request(Server().Url(port, "/status/500")));
        for (int i = 0; i < 20; ++i)
            EXPECT_EQ(connection(Request(url)), first);
        TNetworkRequest own = Request(url);
        own.usesOwnConnection = true;
        const std::string second = connection(own);
        EXPECT_NE(second, first);
        EXPECT_NE(connection(own), second);
        EXPECT_EQ(connection(Request(url)), first);
        manager.CloseIdleConnections();
        EXPECT_NE(connection(Request(url)), first);
    }
}

}   // namespace
