#include "brvcore/runtime/LogFileChannels.h"

#include "brvcore/foundation/AsyncTasks.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/ThreadContext.h"
#include "brvcore/runtime/LogImpl.h"
#include "tests/support/TempFolder.h"

#include <array>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace TLog;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;

namespace fs = std::filesystem;

namespace
{

constexpr auto kInfo = LogSeverity::Info;
constexpr const char* kTwoDeleted = R"( Info delete-log {"count": "2"})";

std::string Content(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void AddClosedFiles(const TempFolder& folder, int count)
{
    for (int i = 1; i <= count; ++i)
        folder.AddFile("app-" + std::to_string(i) + ".log", 1, 1'577'836'800 + 60 * i);
}

// Keeps its tasks until they are asked for.
struct KeepingExecutor : ITaskExecutor
{
    void Schedule(std::function<void()> task) override
    {
        if (isFull)
            throw "queue is full";   // of whatever type
        onSchedule();
        tasks.push_back(std::move(task));
    }
    void RunAll()
    {
        for (const auto& task : std::exchange(tasks, {}))
            std::thread(task).join();
    }
    std::vector<std::function<void()>> tasks;
    std::function<void()> onSchedule = [] {};
    bool isFull = false;
};

class AsyncRetention : public testing::Test
{
protected:
    void SetUp() override
    {
        AsyncTasks::SetExecutor(m_executor);
        AddClosedFiles(m_temp, 5);
    }
    void TearDown() override
    {
        m_executor->tasks.clear();
        AsyncTasks::SetExecutor(nullptr);
    }

    std::shared_ptr<KeepingExecutor> m_executor = std::make_shared<KeepingExecutor>();
    TempFolder m_temp;
    const fs::path m_path = m_temp / "app.log";
};

}   // namespace

TEST(SizeBasedRotateAndDeleteFileChannel, DeletesWhenItOpensAndAfterEachRotation)
{
    const TempFolder folder;
    AddClosedFiles(folder, 5);
    folder.AddFile("app.log", 0, 1'000'000);   // idle for decades, and yet the youngest once it is open
    const auto channel = LogImpl::CreateSizeBasedRotateAndDeleteFileChannel(TPath(folder / "app.log"), 100, 4);
    ASSERT_FALSE(channel->Open());
    EXPECT_THAT(folder.Names(), ElementsAre("app-3.log", "app-4.log", "app-5.log", "app.log"));
    ASSERT_FALSE(channel->Flush());
    const std::string event = Content(folder / "app.log");
    EXPECT_THAT(event, HasSubstr(kTwoDeleted));

    channel->Rotate();
    EXPECT_EQ(folder.Names().size(), 4U) << "the file is not complete";
    channel->Write(kInfo, std::string(100, 'x'));
    channel->Write(kInfo, "next");
    ASSERT_FALSE(channel->Close());
    const std::vector<std::string> names = folder.Names();
    ASSERT_THAT(names, ElementsAre(testing::_, "app-4.log", "app-5.log", "app.log"));
    EXPECT_EQ(Content(folder / names[0]), event + std::string(100, 'x') + '\n');
    EXPECT_THAT(Content(folder / "app.log"), testing::MatchesRegex(R"(next
.* Info delete-log ."count": "1".
)"));
}

TEST(SizeBasedRotateAndDeleteFileChannel, KeepsAllForZeroAndTheFileInUseForOne)
{
    const TempFolder folder;
    AddClosedFiles(folder, 5);
    {
        SizeBasedRotateAndDeleteFileChannel channel(TPath(folder / "app.log"), 10, 0);
        ASSERT_FALSE(channel.Open());
        for (int i = 0; i < 3; ++i)
            channel.Write(kInfo, "0123456789");
    }
    EXPECT_EQ(folder.Names().size(), 8U);
    for (const std::string name : {"app.log", "app"})   // without an extension closed names sort after the log's own
    {
        SizeBasedRotateAndDeleteFileChannel channel(TPath(folder / name), 10, 1);
        ASSERT_FALSE(channel.Open());
        for (int i = 0; i < 50; ++i)
            channel.Write(LogSeverity::Warning, "0123456789");
        EXPECT_THAT(Content(folder / name), HasSubstr("0123456789\n"));
    }
    EXPECT_THAT(folder.Names(), ElementsAre("app", "app.log"));
}

TEST(SizeBasedRotateAndDeleteFileChannel, DoesNotDeleteWhenItCannotOpen)
{
    const TempFolder folder;
    AddClosedFiles(folder, 5);
    fs::create_directory(folder / "app.log");
    SizeBasedRotateAndDeleteFileChannel channel(TPath(folder / "app.log"), 10, 1);
    EXPECT_EQ(channel.Open(), std::errc::is_a_directory);
    channel.Rotate();
    EXPECT_EQ(folder.Names().size(), 6U);
}

TEST(SizeBasedRotateAndDeleteFileChannel, WritesIntoAFolderThatItCannotList)
{
    const TempFolder folder;
    AddClosedFiles(folder, 5);
    fs::permissions(folder.Get(), static_cast<fs::perms>(0333));
    const bool hasRun = RunWithoutPrivileges(
        [&]
        {
            SizeBasedRotateAndDeleteFileChannel channel(TPath(folder / "app.log"), 10, 1);
            EXPECT_FALSE(channel.Open());
            channel.Write(kInfo, "0123456789");
            channel.Write(kInfo, "next");
        });
    fs::permissions(folder.Get(), fs::perms::owner_all);
    if (!hasRun)
        GTEST_SKIP() << "the rights cannot be given up on this machine";
    EXPECT_EQ(folder.Names().size(), 7U);
    EXPECT_EQ(Content(folder / "app.log"), "next\n");
}

TEST_F(AsyncRetention, RunsAsATaskOfAThreadWithAContext)
{
    SizeBasedRotateAndDeleteFileChannel channel{TPath(m_path), 1000, 4};
    const ThreadContextScope context(u"session", u"1");
    ASSERT_FALSE(channel.Open());
    EXPECT_EQ(m_temp.Names().size(), 6U);
    m_executor->RunAll();
    EXPECT_EQ(m_temp.Names().size(), 4U);
    EXPECT_FALSE(channel.Flush());
    EXPECT_THAT(Content(m_path), HasSubstr(kTwoDeleted));
}

TEST_F(AsyncRetention, RunsAtOnceWithoutAContextOrAnExecutor)
{
    {
        SizeBasedRotateAndDeleteFileChannel channel{TPath(m_path), 1000, 5};
        ASSERT_FALSE(channel.Open());
        EXPECT_EQ(m_temp.Names().size(), 5U) << "no context";
    }
    const ThreadContextScope context(u"session", u"1");
    m_executor->isFull = true;
    {
        SizeBasedRotateAndDeleteFileChannel channel{TPath(m_path), 1000, 4};
        ASSERT_FALSE(channel.Open());
        EXPECT_EQ(m_temp.Names().size(), 4U) << "refused";
    }
    AsyncTasks::SetExecutor(nullptr);
    SizeBasedRotateAndDeleteFileChannel channel{TPath(m_path), 1000, 3};
    ASSERT_FALSE(channel.Open());
    EXPECT_EQ(m_temp.Names().size(), 3U) << "no executor";
}

// An executor that logs into the channel which asks it, and is held up or drops what it took.
TEST_F(AsyncRetention, HasOneTaskWaitingAtMost)
{
    const ThreadContextScope context(u"session", u"1");
    SizeBasedRotateAndDeleteFileChannel channel{TPath(m_path), 10, 3};
    m_executor->onSchedule = [&]
    {
        for (int i = 0; i < 3; ++i)
            channel.Write(kInfo, "schedules");
    };
    ASSERT_FALSE(channel.Open());
    EXPECT_EQ(m_executor->tasks.size(), 1U);
    m_executor->tasks.clear();
    for (int i = 0; i < 3; ++i)
        channel.Write(kInfo, "0123456789");
    EXPECT_EQ(m_executor->tasks.size(), 1U) << "after one was dropped";
    m_executor->RunAll();
    EXPECT_EQ(m_temp.Names().size(), 3U);
    channel.Write(kInfo, "0123456789");
    channel.Rotate();
    EXPECT_EQ(m_executor->tasks.size(), 1U) << "after one has run";
}

TEST_F(AsyncRetention, OutlivesItsChannelAndLogsNothingThen)
{
    const ThreadContextScope context(u"session", u"1");
    {
        SizeBasedRotateAndDeleteFileChannel channel{TPath(m_path), 1000, 4};
        ASSERT_FALSE(channel.Open());
        channel.Write(kInfo, "last line");
    }
    m_executor->RunAll();
    EXPECT_THAT(m_temp.Names(), ElementsAre("app-3.log", "app-4.log", "app-5.log", "app.log"));
    EXPECT_EQ(Content(m_path), "last line\n");
}

// Threads log through the rotations while deletions run, and channels end before, while and after their tasks do. What is
// left is the end of what was logged, without a gap.
TEST(SizeBasedRotateAndDeleteFileChannel, RotatesWhileDeletionsRun)
{
    struct ThreadExecutor : ITaskExecutor
    {
        void Schedule(std::function<void()> task) override
        {
            const std::lock_guard lock(mutex);
            threads.emplace_back(std::move(task));
        }
        std::mutex mutex;
        std::vector<std::thread> threads;
    };
    const auto executor = std::make_shared<ThreadExecutor>();
    AsyncTasks::SetExecutor(executor);
    const TempFolder folder;
    constexpr int kRounds = 5;
    constexpr int kLines = 300;
    constexpr std::uint64_t kMaxFiles = 3;
    for (int round = 0; round < kRounds; ++round)
    {
        SizeBasedRotateAndDeleteFileChannel channel(TPath(folder / "app.log"), 100, kMaxFiles);
        ASSERT_FALSE(channel.Open());
        const auto log = [&](char thread)
        {
            const ThreadContextScope context(u"thread", u"1");
            for (int i = 0; i < kLines; ++i)
                channel.Write(i % 7 == 0 ? LogSeverity::Warning : kInfo,
                    thread + std::string(" ") + std::to_string(round * kLines + i));
        };
        std::array threads{std::thread(log, 'a'), std::thread(log, 'b')};
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(channel.GetDroppedLines(), 0U);
    }
    AsyncTasks::SetExecutor(nullptr);
    for (std::thread& thread : executor->threads)
        thread.join();
    EXPECT_GE(folder.Names().size(), kMaxFiles);
    SizeBasedRotateAndDeleteFileChannel(TPath(folder / "app.log"), 0, kMaxFiles).Open();
    EXPECT_EQ(folder.Names().size(), kMaxFiles);
    std::map<char, int> last;
    for (const std::string& name : folder.Names())
    {
        std::istringstream text(Content(folder / name));
        for (std::string line; std::getline(text, line);)
            if (line[0] == 'a' || line[0] == 'b')
            {
                const int number = std::stoi(line.substr(2));
                const auto before = last.try_emplace(line[0], number - 1).first;
                EXPECT_EQ(number, before->second + 1) << name;
                before->second = number;
            }
    }
    EXPECT_THAT(last, testing::Contains(testing::Pair(testing::_, kRounds * kLines - 1)));
}

TEST(CreateFileSink, WritesRecordsIntoTheChannel)
{
    const TempFolder folder;
    std::shared_ptr<RotateFileChannel> channel =
        LogImpl::CreateSizeBasedRotateAndDeleteFileChannel(TPath(folder / "app.log"), 1000, 1);
    ASSERT_FALSE(channel->Open());
    SetLogSink(LogImpl::CreateFileSink(std::move(channel)));
    LogMessage(LogSeverity::Debug, u"large-file-delete", LogFields{{u"source", u"Sweep"}});
    SetLogSink(nullptr);
    EXPECT_THAT(Content(folder / "app.log"), testing::EndsWith(" Debug large-file-delete {\"source\": \"Sweep\"}\n"));
}

TEST(TimeBasedRotateFileChannel, FindsTheStartOfTheInterval)
{
    constexpr std::int64_t k1740 = 1'614'879'600;   // 2021-03-04 17:40:00
    struct Row
    {
        std::int64_t localSeconds;
        std::uint64_t interval;
        std::int64_t phase;
        const char* why;
    };
    const Row rows[] = {
        {k1740, 3600, 40 * 60, "since the top of the hour"},
        {k1740, 86'400, 17 * 3600 + 40 * 60, "since midnight"},
        {k1740, 1, 0, "every second"},
        {k1740, 0, 0, "no rotation"},
        {-1, 3600, 3599, "before 1970"},
        {-3600, 3600, 0, "before 1970, on the boundary"},
        {5, ~std::uint64_t{0}, 5, "the longest interval"},
        {-5, ~std::uint64_t{0}, 2'305'843'009, "as far back as the clock is sure to reach"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.why);
        const steady_clock::time_point now(seconds(1'000'000));
        EXPECT_EQ(TimeBasedRotateFileChannel::FindIntervalStart(now, row.localSeconds, row.interval),
            now - seconds(row.phase));
    }
}

TEST(TimeBasedRotateFileChannel, KnowsWhenAnIntervalIsOver)
{
    using std::chrono::nanoseconds;
    constexpr std::uint64_t kMost = 9'223'372'036;   // whole seconds in 2^63 ns
    struct Row
    {
        nanoseconds elapsed;
        std::uint64_t interval;
        bool isOver;
    };
    const Row rows[] = {
        {seconds(3600), 3600, false}, {seconds(3600) + nanoseconds(1), 3600, true}, {nanoseconds(-1), 1, false},
        {nanoseconds::max(), 0, false}, {nanoseconds::max(), kMost, true}, {nanoseconds::max(), kMost + 1, false},
        {nanoseconds::max(), ~std::uint64_t{0}, false},
        {seconds(1), 18'446'744'074, false},   // times 10^9 this is 2^64 + 290448384
    };
    for (const Row& row : rows)
        EXPECT_EQ(TimeBasedRotateFileChannel::IsIntervalOver(row.elapsed, row.interval), row.isOver)
            << row.elapsed.count() << " of " << row.interval;
}

TEST(TimeBasedRotateFileChannel, StartsFilesOnLocalTime)
{
    struct TestClock : IClock
    {
        steady_clock::time_point SteadyNow() override { return steady_clock::time_point(seconds(500) + elapsed); }
        DateTime UniversalNow() override
        {
            return DateTime(2021, 3, 4, 12, 10) + DateTimeSpan::FromTicks(elapsed.count() / 100);
        }
        void Sleep(std::chrono::nanoseconds length) override { elapsed += length; }
        std::chrono::nanoseconds elapsed{};
    };
    const char* const zone = std::getenv("TZ");
    const std::string zoneBefore = zone != nullptr ? zone : "";
    setenv("TZ", "IST-5:30", 1);   // 12:10 in London is 17:40 in Delhi
    tzset();
    Clock::Replace(std::make_shared<TestClock>());
    EXPECT_EQ(TimeBasedRotateFileChannel::GetLocalSeconds(DateTime(1970, 1, 1)), 5 * 3600 + 1800);
    EXPECT_EQ(TimeBasedRotateFileChannel::GetLocalSeconds(DateTime(1969, 12, 31, 23, 59, 59, 1)), 5 * 3600 + 1799);

    const TempFolder folder;
    {
        TimeBasedRotateFileChannel channel(TPath(folder / "app.log"), 3600);
        ASSERT_FALSE(channel.Open());
        channel.Write(kInfo, "17:40");
        Clock::Sleep(seconds(20 * 60));
        channel.Write(kInfo, "18:00, the end of the hour");
        Clock::Sleep(seconds(1));
        channel.Write(kInfo, "18:00:01");
        Clock::Sleep(seconds(5 * 3600));   // nothing is logged for hours
        channel.Write(kInfo, "23:00:01");
        Clock::Sleep(seconds(3600));
        channel.Rotate();
        Clock::Sleep(seconds(3600));
        channel.Rotate();   // nothing was logged in this hour
    }
    {
        TimeBasedRotateFileChannel never(TPath(folder / "never.log"), 0);
        ASSERT_FALSE(never.Open());
        never.Write(kInfo, "a");
        Clock::Sleep(std::chrono::hours(100'000));
        never.Write(kInfo, "b");
    }
    Clock::Replace(nullptr);
    zone != nullptr ? setenv("TZ", zoneBefore.c_str(), 1) : unsetenv("TZ");
    tzset();
    EXPECT_THAT(folder.Names(), ElementsAre("app-20210304-123001-0000000.log", "app-20210304-173001-0000000.log",
                                    "app-20210304-183001-0000000.log", "app.log", "never.log"));
    EXPECT_EQ(Content(folder / "app-20210304-123001-0000000.log"), "17:40\n18:00, the end of the hour\n");
    EXPECT_EQ(Content(folder / "app-20210304-173001-0000000.log"), "18:00:01\n");
    EXPECT_EQ(Content(folder / "app-20210304-183001-0000000.log"), "23:00:01\n");
    EXPECT_EQ(Content(folder / "app.log"), "");
    EXPECT_EQ(Content(folder / "never.log"), "a\nb\n");
}
