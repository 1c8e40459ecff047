#include "brvcore/network/BulkHTTPRequestor.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/ThreadContext.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"
#include "tests/support/LoopbackServer.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using std::chrono::milliseconds;

const LoopbackServer& Server()
{
    return LoopbackServer::Instance();
}

HTTPRequest::RequestInfo AnyInfo()
{
    return HTTPRequest::RequestInfo();
}

constexpr auto kTimed = HTTPRequest::InfiniteTimeout::No;

// A stop that hangs would last until the server's lifetime ends.
class Stopwatch
{
public:
    ~Stopwatch() { EXPECT_LT(std::chrono::steady_clock::now() - m_start, std::chrono::seconds(10)); }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

TEST(BulkHTTPRequestor, CutsTheBodyIntoFullBuffers)
{
    struct Case
    {
        std::size_t size;
        std::size_t bufferSize;
        std::size_t queueLength;
    };
    for (const Case& row : {Case{0, 10, 1}, Case{1, 10, 1}, Case{1000, 10, 1}, Case{1001, 7, 3},
             Case{5'000'000, 65'536, 16}, Case{3'000'000, 5'000'000, 2}, Case{3'000'000, 1'000'000, 1}})
    {
        SCOPED_TRACE(std::to_string(row.size) + " in " + std::to_string(row.bufferSize));
        BulkHTTPRequestor requestor(Server().Http("/bytes?n=" + std::to_string(row.size)), u"GET", AnyInfo(), kTimed,
            row.bufferSize, row.queueLength);
        EXPECT_EQ(requestor.GetBufferSize(), row.bufferSize);
        std::string body;
        for (std::string buffer; requestor.GetNextBuffer(buffer);)
        {
            body += buffer;
            ASSERT_EQ(buffer.size(), body.size() < row.size ? row.bufferSize : (row.size - 1) % row.bufferSize + 1);
        }
        EXPECT_TRUE(body == LoopbackServer::Pattern(0, row.size));
        std::string rest;
        EXPECT_FALSE(requestor.GetNextBuffer(rest)) << "again and again";
        EXPECT_EQ(requestor.GetStatusCode(), 200);
        EXPECT_EQ(requestor.GetErrorString(), u"");
    }
    EXPECT_LOGIC_ASSERT(BulkHTTPRequestor(u"http://127.0.0.1/", u"GET", AnyInfo(), kTimed, 0), 0x1CD08B47,
        "bufferSize > 0 && queueLength > 0");
}

TEST(BulkHTTPRequestor, AnErrorStatusBringsNoData)
{
    const CapturedLog log;
    BulkHTTPRequestor requestor(Server().Http("/status/500?body=sorry"), u"GET");
    std::string buffer;
    for (int i = 0; i < 2; ++i)
        try
        {
            requestor.GetNextBuffer(buffer);
            FAIL() << "no exception";
        }
        catch (const HTTPException& exception)
        {
            EXPECT_EQ(exception.GetCode(), 500);
            EXPECT_EQ(exception.GetResult(), u"sorry");
        }
    EXPECT_EQ(buffer, "");
    EXPECT_EQ(requestor.GetErrorString(), u"sorry");
    EXPECT_THAT(log.GetMessages(), testing::Contains("Warning: HTTPRequestor: rethrow exception").Times(2));
}

TEST(BulkHTTPRequestor, DeliversWhatCameBeforeAFailure)
{
    BulkHTTPRequestor requestor(Server().Fault("/truncate"), u"GET", AnyInfo(), kTimed, 30'000);
    std::string body;
    std::string buffer;
    EXPECT_THROW(
        {
            while (requestor.GetNextBuffer(buffer))
                body += buffer;
        },
        NetworkException);
    EXPECT_TRUE(body == LoopbackServer::Pattern(0, 100'000));
    EXPECT_EQ(requestor.GetErrorString(), u"");
}

TEST(BulkHTTPRequestor, ShowsTheHeadersWhileTheBodyArrives)
{
    BulkHTTPRequestor requestor(Server().Http("/bytes?n=200000&hang_after=100000"), u"GET", AnyInfo(), kTimed, 50'000);
    std::string buffer;
    ASSERT_TRUE(requestor.GetNextBuffer(buffer));
    EXPECT_EQ(requestor.GetStatusCode(), 200);
    EXPECT_EQ(requestor.GetHeader(u"content-length"), u"200000");
}

// In each state in which the worker or the consumer may be.
TEST(BulkHTTPRequestor, IsDestroyedInTheMiddle)
{
    struct Case
    {
        const char* path;
        int buffersRead;   // -1: not started
        const char* why;
    };
    for (const Case& row : {
             Case{"/bytes?n=100", -1, "nothing runs"},
             Case{"/hang", 0, "the server thinks"},
             Case{"/bytes?n=1000000&hang_after=300000", 2, "the server has stopped in the body"},
             Case{"/bytes?n=1000000000", 2, "the queue is full"},
             Case{"/bytes?n=100", 0, "all of the body waits in the queue"},
             Case{"/status/503", 0, "it waits to try again"},
         })
    {
        SCOPED_TRACE(row.why);
        const Stopwatch stopwatch;
        HTTPRequest::RequestInfo info;
        info.SetPolicyForHttpStatusCode(503, ExponentialBackoffRetryPolicy::Create());
        BulkHTTPRequestor requestor(Server().Http(row.path), u"GET", info, kTimed, 100'000, 2);
        if (row.buffersRead < 0)
            continue;
        requestor.ExecuteImpl();                   // starts it, and returns
        requestor.ExecuteWithProgress(u"again");   // changes nothing under the worker's hands
        std::string buffer;
        for (int i = 0; i < row.buffersRead; ++i)
            EXPECT_TRUE(requestor.GetNextBuffer(buffer));
        std::this_thread::sleep_for(milliseconds(50));
    }
}

TEST(BulkHTTPRequestor, CancelReachesAWaitingConsumer)
{
    for (const char* const path : {"/hang", "/bytes?n=1000000000"})
        for (const bool byHost : {false, true})
        {
            SCOPED_TRACE(path);
            const Stopwatch stopwatch;
            BulkHTTPRequestor requestor(Server().Http(path), u"GET");
            const auto end = std::chrono::steady_clock::now() + milliseconds(100);
            const CancellationScope scope([&] { return byHost && std::chrono::steady_clock::now() > end; });
            std::thread canceller(
                [&]
                {
                    std::this_thread::sleep_until(end);
                    if (!byHost)
                        requestor.Cancel();
                });
            std::string buffer;
            EXPECT_THROW(
                while (requestor.GetNextBuffer(buffer)) { std::this_thread::sleep_for(milliseconds(1)); },
                CancelledException);
            canceller.join();
            EXPECT_THROW(requestor.GetNextBuffer(buffer), CancelledException) << "stays in force";
            EXPECT_TRUE(requestor.IsCancelled());
        }
}

struct NoSay : IHttpStatusHandlingPolicy
{
    int HandleHttpStatus(HTTPRequestor&) override { return kNotHandled; }
};

TEST(BulkHTTPRequestor, HoldsABodyBackForAPolicyUpToALimit)
{
    struct Case
    {
        std::size_t size;
        bool hasPolicy;   // else a null one
        bool isDelivered;
    };
    for (const Case& row : {Case{2'000'000, true, true}, Case{std::size_t{16} << 20, true, true},
             Case{(std::size_t{16} << 20) + 1, true, false}, Case{20'000'000, false, true}})
    {
        SCOPED_TRACE(row.size);
        HTTPRequest::RequestInfo info;
        info.SetPolicyForHttpStatusCode(200, row.hasPolicy ? std::make_shared<NoSay>() : nullptr);
        BulkHTTPRequestor requestor(Server().Http("/bytes?n=" + std::to_string(row.size)), u"GET", info);
        std::size_t received = 0;
        const auto readAll = [&]
        {
            for (std::string buffer; requestor.GetNextBuffer(buffer);)
                received += buffer.size();
        };
        if (row.isDelivered)
            readAll();
        else
            EXPECT_THROW(readAll(), NetworkException);
        EXPECT_EQ(received, row.isDelivered ? row.size : 0);
    }
}

// The facts of the thread that starts the transfer are those of the worker.
class AskingContext : public TClientContext
{
public:
    std::unique_ptr<IProgressReporter> CreateProgressReporter(const TString&, std::uint64_t) override
    {
        m_session = ThreadContext::Find(u"session");
        m_thread = std::this_thread::get_id();
        return nullptr;
    }

    std::optional<TString> m_session;
    std::thread::id m_thread;
};

TEST(BulkHTTPRequestor, CarriesTheThreadContext)
{
    AskingContext context;
    const ThreadContextScope scope(u"session", u"forty-two");
    BulkHTTPRequestor requestor(Server().Http("/bytes?n=10"), u"GET");
    requestor.SetContext(&context);
    requestor.Start(true);
    for (std::string buffer; requestor.GetNextBuffer(buffer);)
        EXPECT_EQ(buffer.size(), 10U);
    EXPECT_EQ(context.m_session, std::optional<TString>(u"forty-two"));
    EXPECT_NE(context.m_thread, std::this_thread::get_id());
}

}   // namespace
