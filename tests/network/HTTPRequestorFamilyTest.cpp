#include "brvcore/foundation/TIO.h"
#include "brvcore/network/FileHTTPRequestor.h"
#include "brvcore/network/StringHTTPRequestor.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/TempFolder.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

namespace fs = std::filesystem;

const LoopbackServer& Server()
{
    return LoopbackServer::Instance();
}

std::string Get(const std::string& path)
{
    return StdStringHTTPRequestor(Server().Http(path), u"GET").GetResult(false);
}

struct RetryAtOnce : IHttpStatusHandlingPolicy
{
    int HandleHttpStatus(HTTPRequestor&) override { return kRetry; }
};

HTTPRequest::RequestInfo Retrying()
{
    HTTPRequest::RequestInfo info;
    info.SetPolicyForHttpStatusCode(503, std::make_shared<RetryAtOnce>());
    return info;
}

// --- In memory --------------------------------------------------------------------------------------------------------

TEST(StringHTTPRequestor, DecodesByTheReplysCharacterSet)
{
    struct Case
    {
        const char* query;
        const char16_t* text;      // of StringHTTPRequestor
        const char16_t* utfText;   // of UTFStringHTTPRequestor
    };
    for (const Case& row : {
             Case{"text=%C3%A4%E2%82%AC&codec=utf-8", u"ä€", u"ä€"},
             Case{"text=%C3%A4%E2%82%AC&codec=utf-8&name=", u"ä€", u"ä€"},
             Case{"text=%C3%A4%E2%82%AC&codec=utf-8&name=none-such", u"ä€", u"ä€"},
             Case{"text=%C3%A4%E2%82%AC&codec=cp1252&name=%22Windows-1252%22", u"ä€", u"\xDCE4\xDC80"},
             Case{"text=%C3%A4%E2%82%AC&codec=utf-16", u"ä€", u"ä€"},
             Case{"text=%C3%A4&codec=cp1252&type=text/x%3B%20a=%22%5C%22%3Bcharset=utf-16%22%3B%20charset=windows-1252",
                 u"ä", u"\xDCE4"},
             Case{"text=&codec=utf-8", u"", u""},
         })
    {
        const TString url = Server().Http(std::string("/charset?") + row.query);
        EXPECT_EQ(StringHTTPRequestor(url, u"GET").GetResult(false), row.text) << row.query;
        EXPECT_EQ(UTFStringHTTPRequestor(url, u"GET").GetResult(false), row.utfText) << row.query;
    }
}

TEST(StringHTTPRequestor, ExecutesOnce)
{
    StringHTTPRequestor text(Server().Http("/bytes?n=0&key=executes-once"), u"GET");
    StdStringHTTPRequestor bytes(Server().Http("/bytes?n=1000&key=executes-once"), u"GET");
    UTFStringHTTPRequestor utf(Server().Http("/bytes?n=2&key=executes-once"), u"GET");
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(text.GetResult(false), u"");
        EXPECT_EQ(bytes.GetResult(false), LoopbackServer::Pattern(0, 1000));
        EXPECT_EQ(utf.GetResult(false), TString(std::u16string_view(u"\0\1", 2)));
    }
    EXPECT_EQ(Get("/counter?of=executes-once"), "3");
    bytes.ExecuteImpl();
    EXPECT_EQ(Get("/counter?of=executes-once"), "4") << "when it is told to";
    EXPECT_EQ(bytes.GetResult(false).size(), 1000U) << "the new one alone";
    EXPECT_EQ(std::move(bytes).GetResult(false).size(), 1000U);
    EXPECT_EQ(bytes.GetResult(false).size(), 1000U) << "given away, got again";   // NOLINT(bugprone-use-after-move)
}

TEST(StringHTTPRequestor, HoldsNothingOfAFailedAttempt)
{
    StdStringHTTPRequestor requestor(
        Server().Http("/status/503?body=busy&times=2&then=200&key=failed-attempts"), u"GET", Retrying());
    EXPECT_EQ(requestor.GetResult(false), "busy");
    StdStringHTTPRequestor truncated(Server().Fault("/truncate"), u"GET");
    EXPECT_THROW(truncated.GetResult(false), NetworkException);
    StdStringHTTPRequestor large(Server().Http("/bytes?n=80000000"), u"GET");   // more than is trusted at first
    EXPECT_TRUE(large.GetResult(false) == LoopbackServer::Pattern(0, 80'000'000));
}

// Reads of a success as much as it is shown, and has a say.
struct ReadingPolicy : IHttpStatusHandlingPolicy
{
    int HandleHttpStatus(HTTPRequestor& requestor) override
    {
        sizes.push_back(requestor.GetResponseData().size());
        if (isRefusing)
            throw std::runtime_error("refused");
        return sizes.size() == 1 ? kRetry : kNotHandled;
    }
    std::vector<std::size_t> sizes;
    bool isRefusing = false;
};

TEST(StringHTTPRequestor, ShowsAPolicyTheBeginningOfASuccess)
{
    const auto policy = std::make_shared<ReadingPolicy>();
    HTTPRequest::RequestInfo info;
    info.SetPolicyForHttpStatusCode(200, policy);
    StdStringHTTPRequestor large(Server().Http("/bytes?n=20000000"), u"GET", info);
    EXPECT_TRUE(large.GetResult(false) == LoopbackServer::Pattern(0, 20'000'000)) << "of one attempt, all of it";
    EXPECT_THAT(policy->sizes, testing::ElementsAre(std::size_t{16} << 20, std::size_t{16} << 20));
    EXPECT_EQ(large.GetResponseData(), "");
    policy->isRefusing = true;
    StdStringHTTPRequestor refused(Server().Http("/bytes?n=50"), u"GET", info);
    EXPECT_THROW(refused.GetResult(false), std::runtime_error);
    EXPECT_EQ(refused.GetResponseData(), LoopbackServer::Pattern(0, 50)) << "what it was refused for";
}

// --- Into a stream ----------------------------------------------------------------------------------------------------

TEST(BinaryHTTPRequestor, WritesFromAnOffsetAndCutsBackOnFailure)
{
    const std::string half = LoopbackServer::Pattern(0, 50'000);
    struct Case
    {
        TString url;
        const char* before;
        std::uint64_t offset;
        std::string after;
        int failure;   // 0: none, 1: transport, 2: status
        const char* why;
    };
    for (const Case& row :
        {
            Case{Server().Http("/bytes?n=3"), "", 0, std::string("\0\1\2", 3), 0, "an empty stream"},
            Case{Server().Http("/bytes?n=3"), "abcdefgh", 2, std::string("ab\0\1\2fgh", 8), 0, "inside another's data"},
            Case{Server().Http("/bytes?n=3"), "ab", 4, std::string("ab\0\0\0\1\2", 7), 0, "beyond the end"},
            Case{Server().Fault("/truncate"), "abcdefgh", 2, "ab", 1, "cut back to the offset"},
            Case{Server().Fault("/truncate"), "ab", 4, "ab", 1, "cut back to the old size"},
            Case{Server().Http("/status/500?body=no"), "abcdefgh", 2, "abcdefgh", 2, "never touched"},
        })
    {
        SCOPED_TRACE(row.why);
        const auto out = std::make_shared<TMemoryIO>(row.before);
        BinaryHTTPRequestor requestor(row.url, u"GET", out, row.offset);
        if (row.failure == 0)
            EXPECT_EQ(requestor.ProcessFile(), 3U);
        else if (row.failure == 1)
            EXPECT_THROW(requestor.ProcessFile(), NetworkException);
        else
            EXPECT_THROW(requestor.ProcessFile(), HTTPException);
        EXPECT_EQ(out->GetBytes(), row.after);
        EXPECT_EQ(requestor.GetErrorData(), row.failure == 2 ? "no" : "");
    }
}

TEST(BinaryHTTPRequestor, ExecutesAgain)
{
    const auto out = std::make_shared<TMemoryIO>("abcdefgh");
    BinaryHTTPRequestor requestor(
        Server().Http("/status/200?body=XY&times=2&then=500&key=binary-again"), u"GET", out, 2);
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(requestor.ProcessFile(), 2U);
        EXPECT_EQ(out->GetBytes(), "abXYefgh");
    }
    EXPECT_THROW(requestor.ProcessFile(), HTTPException);
    EXPECT_EQ(out->GetBytes(), "abXYefgh") << "the failed one wrote nothing";
}

// --- Into a file ------------------------------------------------------------------------------------------------------

class FileRequests : public testing::Test
{
protected:
    std::string Content() const
    {
        std::ifstream file(m_target, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    void SetContent(const std::string& text) const { std::ofstream(m_target, std::ios::binary) << text; }
    std::ptrdiff_t CountFiles() const
    {
        return std::distance(fs::directory_iterator(m_folder.Get()), fs::directory_iterator());
    }
    FileHTTPRequestor Request(const TString& url) const
    {
        return FileHTTPRequestor(url, u"GET", TPath(m_target), Retrying());
    }

    TempFolder m_folder;
    fs::path m_target = m_folder / "target.bin";
};

TEST_F(FileRequests, ReplaceTheTargetWhenComplete)
{
    for (const std::size_t size : {std::size_t{1'000'000}, std::size_t{0}})
    {
        SetContent("old");
        const TString url = Server().Http("/bytes?n=" + std::to_string(size));
        EXPECT_EQ(Request(url).ProcessFile(), size);
        EXPECT_TRUE(Content() == LoopbackServer::Pattern(0, size));
        EXPECT_EQ(CountFiles(), 1);
    }
    EXPECT_EQ(Request(Server().Http("/status/503?body=busy&times=1&key=file-retry&then=200")).ProcessFile(), 4U);
    EXPECT_EQ(Content(), "busy");
}

TEST_F(FileRequests, HaveThePermissionsOfANewFile)
{
    const mode_t before = umask(027);
    Request(Server().Http("/bytes?n=1")).ProcessFile();
    umask(before);
    EXPECT_EQ(fs::status(m_target).permissions(), fs::perms{0640});
}

TEST_F(FileRequests, ReplaceALinkNotItsTarget)
{
    const fs::path other = m_folder / "other";
    std::ofstream(other) << "kept";
    fs::create_symlink(other, m_target);
    Request(Server().Http("/bytes?n=3")).ProcessFile();
    EXPECT_FALSE(fs::is_symlink(m_target));
    EXPECT_EQ(fs::file_size(other), 4U);
}

TEST_F(FileRequests, LeaveTheTargetAloneOnFailure)
{
    SetContent("old");
    FileHTTPRequestor refused = Request(Server().Http("/status/404?body=nothing"));
    EXPECT_THROW(refused.ProcessFile(), HTTPException);
    EXPECT_EQ(refused.GetErrorData(), "nothing");
    EXPECT_THROW(Request(Server().Fault("/truncate")).ProcessFile(), NetworkException);
    EXPECT_EQ(Content(), "old");
    EXPECT_EQ(CountFiles(), 1);

    fs::remove(m_target);
    fs::create_directory(m_target);   // cannot be replaced by a file
    const TString counted = Server().Http("/bytes?n=3&key=bad-target");
    EXPECT_THROW(Request(counted).ProcessFile(), std::system_error);
    EXPECT_EQ(CountFiles(), 1);
    for (const fs::path& bad : {m_folder / "missing" / "target", m_folder / "", fs::path()})
    {
        m_target = bad;
        EXPECT_THROW(Request(counted).ProcessFile(), std::system_error) << bad;
    }
    EXPECT_EQ(Get("/counter?of=bad-target"), "0") << "known before anything is sent";
}

// The limit of the process on the size of files stands for a disk that is full.
TEST_F(FileRequests, LeaveNothingBehindWhenTheDiskIsFull)
{
    SetContent("old");
    FileHTTPRequestor requestor = Request(Server().Http("/bytes?n=1000000"));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit low{100'000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
    EXPECT_THROW(requestor.ProcessFile(), std::system_error);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(Content(), "old");
    EXPECT_EQ(CountFiles(), 1);
}

}   // namespace
