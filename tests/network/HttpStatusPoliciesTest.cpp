#include "brvcore/network/HttpStatusPolicies.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/network/BulkHTTPRequestor.h"
#include "brvcore/network/StringHTTPRequestor.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LoopbackServer.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using std::chrono::milliseconds;

// A clock that moves only when someone sleeps.
class SleepingClock : public IClock
{
public:
    std::chrono::steady_clock::time_point SteadyNow() override
    {
        return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(m_now.load()));
    }
    DateTime UniversalNow() override { return DateTime(2020, 1, 1); }
    void Sleep(std::chrono::nanoseconds length) override { m_now += length.count(); }
    double GetSeconds() const { return static_cast<double>(m_now.load()) * 1e-9; }

private:
    std::atomic<std::int64_t> m_now{0};
};

class HttpStatusPolicies : public testing::Test
{
protected:
    HttpStatusPolicies() : m_clock(std::make_shared<SleepingClock>()), m_before(Clock::Replace(m_clock)) {}
    ~HttpStatusPolicies() override { Clock::Replace(m_before); }

    const LoopbackServer& m_server = LoopbackServer::Instance();
    std::shared_ptr<SleepingClock> m_clock;
    std::shared_ptr<IClock> m_before;
};

HTTPRequest::RequestInfo WithPolicy(int code, std::shared_ptr<IHttpStatusHandlingPolicy> policy)
{
    HTTPRequest::RequestInfo info;
    info.SetPolicyForHttpStatusCode(code, std::move(policy));
    return info;
}

std::vector<std::string> RetryLines(const CapturedLog& log)
{
    std::vector<std::string> lines;
    for (const std::string& line : log.GetMessages())
        if (line.find("Attempting") != std::string::npos)
            lines.push_back(line);
    return lines;
}

TEST_F(HttpStatusPolicies, BackoffGivesUpAfterSixRetries)
{
    const CapturedLog log;
    StringHTTPRequestor requestor(m_server.Http("/status/503?key=backoff-always"), u"GET",
        WithPolicy(503, ExponentialBackoffRetryPolicy::Create()));
    try
    {
        requestor.GetResult(false);
        FAIL() << "no exception";
    }
    catch (const HTTPException& exception)
    {
        EXPECT_EQ(exception.GetCode(), 503);
        EXPECT_EQ(exception.GetResult(), u"status 503");
    }
    EXPECT_DOUBLE_EQ(m_clock->GetSeconds(), 63.0);
    const std::string start = "Info: HandleHttpStatus: Attempting to retry the request after ";
    EXPECT_THAT(RetryLines(log), testing::ElementsAre(start + "1 seconds.", start + "2 seconds.", start + "4 seconds.",
                                     start + "8 seconds.", start + "16 seconds.", start + "32 seconds."));
    EXPECT_EQ(StdStringHTTPRequestor(m_server.Http("/counter?of=backoff-always"), u"GET").GetResult(false), "7");
}

TEST_F(HttpStatusPolicies, BackoffEndsWithASuccess)
{
    StringHTTPRequestor requestor(m_server.Http("/status/503?key=backoff-some&times=3"), u"GET",
        WithPolicy(503, ExponentialBackoffRetryPolicy::Create()));
    EXPECT_EQ(requestor.GetResult(false), u"status 200") << "of failed attempts nothing is left";
    EXPECT_EQ(requestor.GetStatusCode(), 200);
    EXPECT_DOUBLE_EQ(m_clock->GetSeconds(), 7.0);
}

// What the failure is, by its status: 0 for an HTTPException.
TEST_F(HttpStatusPolicies, TranslateFailures)
{
    enum class Kind
    {
        Http,
        Authentication,
        Token,
    };
    struct Case
    {
        std::string path;
        int registered;
        std::shared_ptr<IHttpStatusHandlingPolicy> policy;
        const char16_t* token;
        Kind kind;
        int code;
    };
    const auto translate = std::make_shared<TranslateAuthenticationErrorToExceptionPolicy>();
    const auto contention = std::make_shared<HandleTightTokenContentionPolicy>();
    const std::string lost = "/status/409?body=a%20ObjectOptimisticLockingFailureException%20b";
    for (const Case& row : {
             Case{"/status/401", 401, translate, u"", Kind::Authentication, 401},
             Case{"/status/403", 403, translate, u"t", Kind::Authentication, 403},
             Case{"/status/404", 404, translate, u"", Kind::Http, 404},
             Case{"/status/401", 403, translate, u"", Kind::Http, 401},
             Case{lost, 409, contention, u"t", Kind::Token, 404},
             Case{lost, 409, contention, u"", Kind::Http, 409},
             Case{"/status/409", 409, contention, u"t", Kind::Http, 409},
         })
    {
        SCOPED_TRACE(row.path + " with a policy for " + std::to_string(row.registered));
        HTTPRequest::RequestInfo info = WithPolicy(row.registered, row.policy);
        info.SetAuthenticationToken(row.token);
        StringHTTPRequestor requestor(m_server.Http(row.path), u"GET", info);
        try
        {
            requestor.GetResult(false);
            ADD_FAILURE() << "no exception";
        }
        catch (const AuthenticationException& exception)
        {
            const bool isToken = dynamic_cast<const TokenAuthenticationException*>(&exception) != nullptr;
            EXPECT_EQ(isToken ? Kind::Token : Kind::Authentication, row.kind);
            EXPECT_EQ(exception.GetCode(), row.code);
            EXPECT_EQ(exception.GetHost(), u"127.0.0.1");
            EXPECT_THAT(exception.what(), testing::StartsWith("An authentication error downloading http://127.0.0.1:"));
        }
        catch (const HTTPException& exception)
        {
            EXPECT_EQ(Kind::Http, row.kind);
            EXPECT_EQ(exception.GetCode(), row.code);
        }
    }
}

// Looks at a success, and repeats the first of them.
class LookingPolicy : public IHttpStatusHandlingPolicy
{
public:
    int HandleHttpStatus(HTTPRequestor& requestor) override
    {
        m_sizes.push_back(requestor.GetResponseData().size());
        return m_sizes.size() == 1 ? kRetry : kNotHandled;
    }

    std::vector<std::size_t> m_sizes;
};

TEST_F(HttpStatusPolicies, SeeASuccessBeforeItsDestination)
{
    constexpr std::size_t kSize = 3'000'001;   // more than one piece
    const TString url = m_server.Http("/bytes?n=3000001");
    for (const bool isStreamed : {false, true})
    {
        const auto policy = std::make_shared<LookingPolicy>();
        std::string body;
        if (isStreamed)
        {
            BulkHTTPRequestor requestor(url, u"GET", WithPolicy(200, policy));
            for (std::string buffer; requestor.GetNextBuffer(buffer);)
                body += buffer;
        }
        else
            body = StdStringHTTPRequestor(url, u"GET", WithPolicy(200, policy)).GetResult(false);
        EXPECT_THAT(policy->m_sizes, testing::ElementsAre(kSize, kSize));
        EXPECT_TRUE(body == LoopbackServer::Pattern(0, kSize)) << "each byte once";
    }
}

class WaitingPolicy : public IHttpStatusHandlingPolicy
{
public:
    int HandleHttpStatus(HTTPRequestor& requestor) override
    {
        m_isWaiting = true;
        requestor.WaitBeforeRetry(std::chrono::hours(1));
        return kRetry;
    }
    std::atomic<bool> m_isWaiting{false};
};

TEST_F(HttpStatusPolicies, WaitEndsWithACancel)
{
    Clock::Replace(nullptr);   // waits for real
    for (const bool byHost : {false, true})
    {
        const auto policy = std::make_shared<WaitingPolicy>();
        StringHTTPRequestor requestor(m_server.Http("/status/503"), u"GET", WithPolicy(503, policy));
        std::thread canceller(
            [&]
            {
                while (!policy->m_isWaiting)
                    std::this_thread::sleep_for(milliseconds(1));
                if (!byHost)
                    requestor.Cancel();
            });
        const CancellationScope scope([&] { return byHost && policy->m_isWaiting; });
        const auto start = std::chrono::steady_clock::now();
        EXPECT_THROW(requestor.GetResult(false), CancelledException);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
        canceller.join();
    }
}

}   // namespace
