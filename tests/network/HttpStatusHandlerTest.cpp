#include "brvcore/network/HttpStatusHandler.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/network/StringHTTPRequestor.h"
#include "tests/support/LoopbackServer.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// Errors with fields, as a sink receives them.
struct ErrorSink : ILogSink
{
    void Write(const LogRecord& record) override
    {
        const std::lock_guard lock(mutex);
        if (record.isError && record.fields != nullptr)
            errors.emplace_back(record.message, *record.fields);
    }
    std::mutex mutex;
    std::vector<std::pair<TString, LogFields>> errors;
};

}   // namespace

TEST(HttpStatusHandler, LogsWhatNoPolicyHandles)
{
    const auto sink = std::make_shared<ErrorSink>();
    const auto before = SetLogSink(sink);
    StringHTTPRequestor requestor(LoopbackServer::Instance().Http("/status/418?body=teapot"), u"GET");
    try
    {
        requestor.ExecuteImpl();
        ADD_FAILURE() << "no exception";
    }
    catch (const HTTPException& exception)
    {
        EXPECT_EQ(exception.GetErrorInfo().GetError().GetCode(), 0xC926DA9FU);
        EXPECT_EQ(exception.GetErrorInfo().GetSource(), TError::ErrorSource::Remote);
        EXPECT_EQ(exception.GetErrorInfo().GetRemoteStatus(), 418);
    }
    SetLogSink(before);
    const LogFields fields = {{u"brevion-error-code", u"C926DA9F"},
        {u"msg", u"The server '127.0.0.1' answered with HTTP status 418."}, {u"data", u"teapot"}};
    ASSERT_EQ(sink->errors.size(), 1U);
    EXPECT_EQ(sink->errors.front(), std::pair(TString(u"http-status-handler"), fields));
}

TEST(HttpStatusHandler, SuccessIs200To299)
{
    StringHTTPRequestor requestor(u"http://127.0.0.1/", u"GET");
    EXPECT_EQ(HttpStatusHandler::HandleHttpStatusCode(200, requestor), HttpStatusHandler::kDone);
    EXPECT_EQ(HttpStatusHandler::HandleHttpStatusCode(299, requestor), HttpStatusHandler::kDone);
    for (const int status : {0, 199, 300, 304})
        EXPECT_THROW(HttpStatusHandler::HandleHttpStatusCode(status, requestor), HTTPException) << status;
}
