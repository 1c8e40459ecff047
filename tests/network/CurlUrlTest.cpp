#include "brvcore/network/CurlUrl.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

TEST(CurlUrl, CutsUrls)
{
    struct Row
    {
        const char* url;
        const char* host;
        const char* zoneId;
        int port;
        const char* path;
        const char* query;
        const char* joined;
    };
    // By RFC 3986 and RFC 6874, the numeric hosts by inet_aton(3).
    const std::vector<Row> rows = {
        {"http://example.com", "example.com", "", 80, "/", "", "http://example.com/"},
        {"HTTPS://h:8443/a/../b/./c?x=1&y#part", "h", "", 8443, "/b/c", "x=1&y", "https://h:8443/b/c?x=1&y"},
        {"https://h:443?", "h", "", 443, "/", "", "https://h/"},
        {"http://h:443/", "h", "", 443, "/", "", "http://h:443/"},
        {"http://u:p%40w@h/", "h", "", 80, "/", "", "http://h/"},
        {"http://h?@other/", "h", "", 80, "/", "@other/", "http://h/?@other/"},
        {"http://h#@other/", "h", "", 80, "/", "", "http://h/"},
        {"http://0x7f.1/", "127.0.0.1", "", 80, "/", "", "http://127.0.0.1/"},
        {"http://%30x7f.1/", "127.0.0.1", "", 80, "/", "", "http://127.0.0.1/"},
        {"http://%6c%6fcalhost/", "localhost", "", 80, "/", "", "http://localhost/"},
        {"http://[2001:db8::1]:81/x", "2001:db8::1", "", 81, "/x", "", "http://[2001:db8::1]:81/x"},
        {"http://[fe80::1%25eth0]/", "fe80::1", "eth0", 80, "/", "", "http://[fe80::1%25eth0]/"},
        {"http://h/\xC3\xA9?\xC3\xBC", "h", "", 80, "/%c3%a9", "%c3%bc", "http://h/%c3%a9?%c3%bc"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.url);
        const std::optional<UrlParts> parts = ParseUrl(TString::FromUTF8(row.url), false);
        ASSERT_TRUE(parts);
        EXPECT_EQ(parts->host.ToUTF8(), row.host);
        EXPECT_EQ(parts->zoneId.ToUTF8(), row.zoneId);
        EXPECT_EQ(parts->port, row.port);
        EXPECT_EQ(parts->path.ToUTF8(), row.path);
        EXPECT_EQ(parts->query.ToUTF8(), row.query);
        EXPECT_EQ(JoinUrl(*parts).ToUTF8(), row.joined);
    }
}

TEST(CurlUrl, RefusesWhatCannotBeContactedSafely)
{
    using namespace std::string_literals;
    const std::vector<std::string> urls = {"", "http://", "example.com/", "ftp://h/", "file:///etc/passwd",
        "http://h/a b", "http://h/\r\nX: y", "http://h\0.example.com/"s, "http://h/\x7F", "http://h/\xC2\x85",
        "http://a%00b/", "http://a%2fb/", "http://%4%37/", "http://h:0/", "http://h:65536/", "http://h:80:90/",
        "http://[::1", "http://u:%0a@h/", "http://u@[fe80::1%25@th0]/", "http://b\303\274cher.de/",
        "http://%EF%BC%91%EF%BC%92%EF%BC%97.0.0.1/", "http://127\343\200\2020.0.1/", "http://h\343\200\200/"};
    for (const std::string& url : urls)
        EXPECT_FALSE(ParseUrl(TString::FromUTF8(url), false)) << url;
}

TEST(CurlUrl, SchemeMayBeOptional)
{
    const std::optional<UrlParts> bare = ParseUrl(u"ftp.example.com:8080/x", true);
    ASSERT_TRUE(bare);
    EXPECT_EQ(JoinUrl(*bare), u"https://ftp.example.com:8080/x");
    const std::optional<UrlParts> unknown = ParseUrl(u"Other://h/x", true);
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->scheme, u"other");
    EXPECT_EQ(unknown->port, 0);
    EXPECT_EQ(JoinUrl(*unknown), u"other://h/x");
}

TEST(CurlUrl, KeepsUserInfoApart)
{
    const std::optional<UrlParts> both = ParseUrl(u"http://us%65r:p%40w@h/", false);
    ASSERT_TRUE(both);
    EXPECT_TRUE(both->hasUserInfo);
    EXPECT_EQ(both->user, u"user");
    EXPECT_EQ(both->password, u"p@w");
    EXPECT_FALSE(ParseUrl(u"http://h/", false)->hasUserInfo);

    EXPECT_EQ(WithoutUserInfo(u"http://user:p/w@h/x"), u"http://h/x");
    EXPECT_EQ(WithoutUserInfo(u"user:a@b@h"), u"h");
    EXPECT_EQ(WithoutUserInfo(u"user:a://b@h"), u"h") << "what looks like a scheme is a password";
    EXPECT_EQ(WithoutUserInfo(u"http://h/x"), u"http://h/x");
}

}   // namespace
