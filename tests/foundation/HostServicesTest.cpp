#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/AppOptions.h"
#include "brvcore/foundation/AsyncTasks.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/MetricsScope.h"
#include "brvcore/foundation/Observable.h"
#include "brvcore/foundation/SecureRandom.h"
#include "brvcore/foundation/ThreadContext.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using std::chrono::seconds;

TEST(CancellationChecker, AsksAtTheFirstCallAndThenAtEveryNth)
{
    int asked = 0;
    const CancellationScope scope(
        [&asked]
        {
            ++asked;
            return false;
        });
    CancellationChecker checker(1000);
    checker.ThrowIfCancelled();
    EXPECT_EQ(asked, 1);
    for (int call = 2; call <= 1000; ++call)
        checker.ThrowIfCancelled();
    EXPECT_EQ(asked, 1);
    checker.ThrowIfCancelled();
    EXPECT_EQ(asked, 2);
}

TEST(CancellationChecker, StopsTheThreadOfItsScopeOnly)
{
    const CancellationScope outer([] { return false; });
    {
        const CancellationScope inner([] { return true; });
        EXPECT_THROW(CancellationChecker().ThrowIfCancelled(), CancelledException);
        std::thread([] { EXPECT_NO_THROW(CancellationChecker().ThrowIfCancelled()); }).join();
    }
    EXPECT_NO_THROW(CancellationChecker().ThrowIfCancelled());
}

namespace
{

struct ThrowingSink : ILogSink
{
    void Write(const LogRecord&) override { throw std::runtime_error("full disk"); }
};

struct CountingSink : ILogSink
{
    void Write(const LogRecord& record) override { lines += record.isError ? 100 : 1; }
    std::atomic<int> lines = 0;
};

}   // namespace

TEST(LogMessage, IsSilentWithoutASinkAndKeepsASinksTroubleAway)
{
    EXPECT_FALSE(IsLogging());
    LogMessage(LogSeverity::Info, u"to nobody");
    SetLogSink(std::make_shared<ThrowingSink>());
    EXPECT_TRUE(IsLogging());
    LogMessage(LogErrorSeverity::Error, u"dropped", TError::ErrorInfo::NoError());
    EXPECT_NE(SetLogSink(nullptr), nullptr);
}

TEST(LogMessage, SinkIsReplacedWhileOthersLog)
{
    const auto a = std::make_shared<CountingSink>();
    const auto b = std::make_shared<CountingSink>();
    SetLogSink(a);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back(
            []
            {
                for (int i = 0; i < 1000; ++i)
                    LogMessage(LogSeverity::Debug, u"line");
            });
    for (int i = 0; i < 200; ++i)
        SetLogSink(i % 2 == 0 ? b : a);
    for (std::thread& thread : threads)
        thread.join();
    SetLogSink(nullptr);
    EXPECT_EQ(a->lines + b->lines, 3000);
}

namespace
{

struct FakeClock : IClock
{
    std::chrono::steady_clock::time_point SteadyNow() override { return now; }
    DateTime UniversalNow() override { return DateTime(2024, 2, 29); }
    void Sleep(std::chrono::nanoseconds length) override { now += length; }
    std::chrono::steady_clock::time_point now;
};

struct MetricsCapture : IMetricsSink
{
    void Write(const MetricsRecord& record) override
    {
        name = TString(record.name);
        elapsed = record.elapsed;
        facts = record.facts;
    }
    TString name;
    std::chrono::nanoseconds elapsed{};
    std::map<TString, TString> facts;
};

}   // namespace

TEST(MetricsScope, ReportsOnTheReplaceableClock)
{
    const auto sink = std::make_shared<MetricsCapture>();
    Clock::Replace(std::make_shared<FakeClock>());
    SetMetricsSink(sink);
    try
    {
        MetricsScope scope(u"CreateCluster_ComputeKmeans");
        scope.Emit(u"rows", u"1");
        scope.Emit(u"rows", u"150");
        Clock::Sleep(seconds(63));
        throw std::runtime_error("work failed");
    }
    catch (const std::runtime_error&)
    {
    }
    SetMetricsSink(nullptr);
    EXPECT_FALSE(MetricsScope(u"off").IsActive());
    EXPECT_EQ(Clock::UniversalNow(), DateTime(2024, 2, 29));
    Clock::Replace(nullptr);
    EXPECT_EQ(sink->name, u"CreateCluster_ComputeKmeans");
    EXPECT_EQ(sink->elapsed, seconds(63));
    EXPECT_EQ(sink->facts, (std::map<TString, TString>{{u"rows", u"150"}}));
    EXPECT_GT(Clock::UniversalNow(), DateTime(2024, 1, 1));
}

TEST(LogMessage, HandsEverythingToTheSink)
{
    struct Keeper : ILogSink
    {
        void Write(const LogRecord& record) override
        {
            text = record.message.ToUTF8() + "|" + (record.isError ? "error" : "line") +
                   (record.fields != nullptr ? "|" + record.fields->at(u"key").ToUTF8() : "") +
                   (record.error != nullptr ? "|" + record.error->GetError().GetMessage().ToUTF8() : "");
        }
        std::string text;
    };
    const auto keeper = std::make_shared<Keeper>();
    SetLogSink(keeper);
    const LogFields fields{{u"key", u"value"}};
    const TError::ErrorInfo info(BrevionError::MakeError(1, u"bad entry"));
    LogMessage(LogSeverity::Warning, u"a", info);
    EXPECT_EQ(keeper->text, "a|line|bad entry");
    LogMessage(LogSeverity::Warning, u"a", fields, info);
    EXPECT_EQ(keeper->text, "a|line|value|bad entry");
    LogMessage(LogErrorSeverity::Fatal, u"b", fields);
    EXPECT_EQ(keeper->text, "b|error|value");
    LogMessage(LogErrorSeverity::Fatal, u"b", fields, info);
    EXPECT_EQ(keeper->text, "b|error|value|bad entry");
    SetLogSink(nullptr);
}

TEST(Observable, EndsARegistrationThatOwnsAnother)
{
    Observable<int>::Registration outlives;
    {
        Observable<int> observable;
        auto inner = std::make_shared<Observable<int>::Registration>(observable.Register([](int) {}));
        auto outer = observable.Register([inner](int) {});
        inner.reset();
        outer = {};   // destroys the callback, and with it the inner registration
        outlives = observable.Register([](int) { throw std::runtime_error("observer"); });
        EXPECT_THROW(observable.Notify(1), std::runtime_error);
    }
}

TEST(Observable, TellsInOrderAndMayChangeInside)
{
    Observable<int> observable;
    std::vector<int> told;
    Observable<int>::Registration second;
    auto first = observable.Register(
        [&](int value)
        {
            told.push_back(value);
            second = observable.Register([&](int later) { told.push_back(10 * later); });
        });
    observable.Notify(1);
    observable.Notify(2);
    first = {};
    observable.Notify(3);
    second = {};
    observable.Notify(4);
    EXPECT_THAT(told, testing::ElementsAre(1, 2, 20, 30));
}

namespace
{

// Starts a thread a task, as slowly as a busy host.
struct SlowExecutor : ITaskExecutor
{
    ~SlowExecutor() override
    {
        for (std::thread& thread : threads)
            thread.join();
    }
    void Schedule(std::function<void()> task) override
    {
        if (threads.size() == 8)
            throw std::runtime_error("queue is full");
        threads.emplace_back(
            [task = std::move(task)]
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                task();
            });
    }
    std::vector<std::thread> threads;
};

}   // namespace

TEST(AsyncTasks, EndOfTheLoanWaitsForWhatWasScheduled)
{
    std::atomic<int> done = 0;
    AsyncTasks::SetExecutor(std::make_shared<SlowExecutor>());
    for (int i = 0; i < 8; ++i)
        AsyncTasks::Run([&done] { ++done; });
    EXPECT_THROW(AsyncTasks::Run([&done] { ++done; }), std::runtime_error);
    AsyncTasks::SetExecutor(nullptr);
    EXPECT_EQ(done, 8);
    AsyncTasks::Run([&done] { ++done; });
    EXPECT_EQ(done, 9) << "without an executor at once";
}

// The host may destroy its threads as soon as the loan has ended: by then no thread is in Schedule(), what the tasks held
// is gone, and only tasks of the old executor were waited for.
TEST(AsyncTasks, EndOfTheLoanLeavesNothingBehind)
{
    struct LingeringExecutor : SlowExecutor
    {
        void Schedule(std::function<void()> task) override
        {
            SlowExecutor::Schedule(std::move(task));
            isInside = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            isInside = false;
        }
        std::atomic<bool> isInside = false;
    };
    const auto executor = std::make_shared<LingeringExecutor>();
    AsyncTasks::SetExecutor(executor);
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    std::thread caller([held = std::move(held)]() mutable { AsyncTasks::Run([held = std::move(held)] {}); });
    while (!executor->isInside)
        std::this_thread::yield();
    AsyncTasks::SetExecutor(nullptr);
    EXPECT_FALSE(executor->isInside);
    EXPECT_TRUE(watched.expired());
    caller.join();
}

// A worker that drops the last trace of a task must not destroy the executor, which would join that worker: the executor
// dies on the thread that ended the loan, in every one of many short loans.
TEST(AsyncTasks, ExecutorIsDestroyedByTheThreadThatEndsTheLoan)
{
    struct Executor : ITaskExecutor
    {
        explicit Executor(std::thread::id& owner) : destroyedBy(owner) {}
        ~Executor() override { destroyedBy = std::this_thread::get_id(); }
        void Schedule(std::function<void()> task) override { std::thread(std::move(task)).detach(); }
        std::thread::id& destroyedBy;
    };
    for (int i = 0; i < 300; ++i)
    {
        std::thread::id destroyedBy;
        AsyncTasks::SetExecutor(std::make_shared<Executor>(destroyedBy));
        AsyncTasks::Run([] {});
        AsyncTasks::SetExecutor(nullptr);
        ASSERT_EQ(destroyedBy, std::this_thread::get_id()) << "loan " << i;
    }
}

TEST(AsyncTasks, ADroppedTaskIsNotWaitedFor)
{
    struct DroppingExecutor : ITaskExecutor
    {
        void Schedule(std::function<void()>) override {}
    };
    AsyncTasks::SetExecutor(std::make_shared<DroppingExecutor>());
    AsyncTasks::Run([] { ADD_FAILURE() << "dropped"; });
    AsyncTasks::SetExecutor(nullptr);
}

TEST(AsyncTasks, LogsWhatATaskThrows)
{
    const CapturedLog log;
    AsyncTasks::Run([] { throw std::runtime_error("no network"); });
    EXPECT_THAT(log.GetMessages(), testing::ElementsAre("Error: AsyncTasks::Run: no network"));
}

TEST(ThreadContext, NestsPerThread)
{
    const ThreadContextScope outer(u"session", u"1");
    {
        const ThreadContextScope inner(u"session", u"2");
        EXPECT_EQ(ThreadContext::Find(u"session"), TString(u"2"));
        std::thread([] { EXPECT_TRUE(ThreadContext::GetAll().empty()); }).join();
    }
    EXPECT_EQ(ThreadContext::Find(u"session"), TString(u"1"));
    EXPECT_EQ(ThreadContext::Find(u"request"), std::nullopt);
}

TEST(AppOptions, OverridesAreLoggedAndTyped)
{
    const CapturedLog log;
    EXPECT_EQ(AppOptions::Get(AppOptions::ConnectionConnectTimeout), 60000);
    AppOptions::Override(u"ConnectionConnectTimeout", std::int64_t{5});
    EXPECT_EQ(AppOptions::Get(AppOptions::ConnectionConnectTimeout), 5);
    AppOptions::Override(u"ConnectionConnectTimeout", TString(u"soon"));
    EXPECT_LOGIC_ASSERT(
        AppOptions::Get(AppOptions::ConnectionConnectTimeout), 0x7A96F0CE, "option has the type it is read as");
    AppOptions::Reset(u"ConnectionConnectTimeout");
    EXPECT_EQ(AppOptions::Get(AppOptions::ConnectionConnectTimeout), 60000);
    EXPECT_THAT(log.GetMessages(), testing::ElementsAre("Info: AppOptions::Override: ConnectionConnectTimeout = 5",
                                       "Info: AppOptions::Override: ConnectionConnectTimeout = soon"));
}

TEST(AppConfig, FeaturesAreOffUntilSwitchedOn)
{
    EXPECT_FALSE(AppConfig::IsFeatureEnabled(u"beta"));
    AppConfig::SetFeature(u"beta", true);
    EXPECT_TRUE(AppConfig::IsFeatureEnabled(u"beta"));
    AppConfig::SetFeature(u"beta", false);
    EXPECT_FALSE(AppConfig::IsFeatureEnabled(u"beta"));
    EXPECT_LOGIC_ASSERT(AppConfig::SetFeature({}, true), 0xC35D218F, "!name.IsEmpty()");
}

TEST(SecureRandom, DoesNotRepeat)
{
    EXPECT_NE(SecureRandom::NextUInt64(), SecureRandom::NextUInt64());
}
