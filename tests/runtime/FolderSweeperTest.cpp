#include "brvcore/runtime/FolderSweeper.h"

#include "brvcore/foundation/AppOptions.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/FileSystem.h"
#include "brvcore/foundation/MetricsScope.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"
#include "tests/support/TempFolder.h"

#include <functional>
#include <latch>
#include <limits>
#include <map>
#include <mutex>
#include <semaphore>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

constexpr auto kOldest = FolderSweepOrder::OldestFirst;
constexpr auto kLargest = FolderSweepOrder::LargestFirst;
constexpr std::uint64_t kMB = 1'000'000;

// The outcome of every sweep that ran; "" for none.
struct Outcomes : IMetricsSink
{
    void Write(const MetricsRecord& record) override
    {
        const std::lock_guard lock(mutex);
        const auto found = record.facts.find(u"outcome");
        all.push_back(found == record.facts.end() ? "" : found->second.ToUTF8());
        isNamed = isNamed && record.name == u"FolderSweeper::Sweep";
    }
    std::mutex mutex;
    std::vector<std::string> all;
    bool isNamed = true;
};

class FolderSweeperTest : public testing::Test
{
protected:
    FolderSweeperTest() : m_metricsBefore(SetMetricsSink(m_outcomes)) {}
    ~FolderSweeperTest() override
    {
        SetMetricsSink(m_metricsBefore);
        EXPECT_TRUE(m_outcomes->isNamed);
    }

    bool Sweep(const FolderSweeper& sweeper, unsigned long reserveB = 0)
    {
        return sweeper.Sweep(m_temp.Path(), reserveB);
    }
    std::string ErasedLine(const std::string& name) const
    {
        return "Debug: FolderSweeper erased path: " + (m_temp / name).native();
    }
    std::string FailedLine(const fs::path& folder, const std::string& totals) const
    {
        return "Warning: FolderSweeper::Sweep failed to enforce limits. folder: '" + folder.native() + "', " + totals;
    }

    TempFolder m_temp;
    CapturedLog m_log;
    std::shared_ptr<Outcomes> m_outcomes = std::make_shared<Outcomes>();
    std::shared_ptr<IMetricsSink> m_metricsBefore;
};

// Asks the function before each entry.
class GuardedSweeper : public FolderSweeper
{
public:
    using Guard = std::function<bool(const TPath&)>;
    GuardedSweeper(std::uint64_t limitB, FolderSweepOrder order, std::uint32_t limitSubpaths, Guard guard)
        : FolderSweeper(limitB, order, limitSubpaths, seconds(0)), m_guard(std::move(guard))
    {
    }
    bool CanDelete(const TPath& entry) const override { return m_guard(entry); }

private:
    Guard m_guard;
};

class FakeClock : public IClock
{
public:
    FakeClock() = default;
    std::chrono::steady_clock::time_point SteadyNow() override { return std::chrono::steady_clock::time_point(now); }
    DateTime UniversalNow() override { return {}; }
    void Sleep(nanoseconds length) override
    {
        slept += length;
        if (onSleep)
            onSleep();
    }

    nanoseconds now = seconds(5);
    nanoseconds slept = {};
    std::function<void()> onSleep;
};

class ClockGuard
{
public:
    ClockGuard() : m_before(Clock::Replace(m_clock)) {}
    ~ClockGuard() { Clock::Replace(m_before); }
    ClockGuard(const ClockGuard&) = delete;
    ClockGuard& operator=(const ClockGuard&) = delete;
    FakeClock* operator->() const { return m_clock.get(); }

private:
    std::shared_ptr<FakeClock> m_clock = std::make_shared<FakeClock>();
    std::shared_ptr<IClock> m_before;
};

}   // namespace

TEST_F(FolderSweeperTest, RefusesLimitsThatMakeNoSense)
{
    EXPECT_LOGIC_ASSERT(FolderSweeper(0, kOldest, 1, seconds(1)), 0xAD4AE5EB, "limitB > 0");
    EXPECT_LOGIC_ASSERT(FolderSweeper(1, kOldest, 0, seconds(1)), 0x5E6C6DB3, "limitSubpaths > 0");
    EXPECT_LOGIC_ASSERT(FolderSweeper(1, kOldest, 65'000, seconds(1)), 0x3CB6A30A, "limitSubpaths < 65000");
    EXPECT_LOGIC_ASSERT(FolderSweeper(1, static_cast<FolderSweepOrder>(7), 1, seconds(1)), 0xF8F6FE64,
        "m_sweepOrder == FolderSweepOrder::LargestFirst || m_sweepOrder == FolderSweepOrder::OldestFirst");
    EXPECT_NO_THROW(FolderSweeper(1, kOldest, 64'999, seconds(1)));
}

TEST_F(FolderSweeperTest, ErasesInOrderUntilWithinLimits)
{
    const struct
    {
        const char* why;
        std::uint64_t limitB;
        FolderSweepOrder order;
        std::uint32_t limitSubpaths;
        unsigned long reserveB;
        std::vector<std::string> erased;   // in this order
    } rows[] = {
        {"at both limits", 12 * kMB, kLargest, 5, 0, {}},
        {"the largest is enough", 8 * kMB, kLargest, 9, 0, {"5MB"}},
        {"equal sizes go by name", 3 * kMB - 1, kLargest, 9, 0, {"5MB", "2MB", "2MB too", "folder"}},
        {"one byte too many, oldest first", 12 * kMB - 1, kOldest, 9, 0, {"2MB too"}},
        {"equal times go by name, a folder by the newest inside", 5 * kMB, kOldest, 9, 0, {"2MB too", "2MB", "5MB"}},
        {"entries alone", 99 * kMB, kOldest, 3, 0, {"2MB too", "2MB"}},
        {"a reserve takes bytes and an entry", 14 * kMB, kLargest, 5, 2 * kMB, {"5MB"}},
        {"a reserve takes bytes", 12 * kMB, kOldest, 9, 1, {"2MB too"}},
        {"a reserve above the limit leaves no byte", 3 * kMB, kLargest, 9, 4 * kMB,
            {"5MB", "2MB", "2MB too", "folder", "1MB"}},
        {"no entry is left beside a reserve", 99 * kMB, kOldest, 1, 1, {"2MB too", "2MB", "5MB", "folder", "1MB"}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.why);
        m_temp.AddFile("2MB", 2 * kMB, 200);
        m_temp.AddFile("2MB too", 2 * kMB, 100);
        m_temp.AddFile("5MB", 5 * kMB, 200);
        m_temp.AddFile("folder/old", kMB, 1);
        m_temp.AddFile("folder/sub/newer", kMB, 300);
        m_temp.AddFile("1MB", kMB, 400);
        const CapturedLog log;
        const FolderSweeper sweeper(row.limitB, row.order, row.limitSubpaths, seconds(0));

        const FolderSweepPlan plan = sweeper.Plan(m_temp.Path(), row.reserveB);
        EXPECT_EQ(m_temp.Names().size(), 5U) << "a plan changes nothing";
        EXPECT_TRUE(plan.isFolder && plan.isWithinLimits);
        EXPECT_EQ(plan.totalSizeB, 12 * kMB);
        std::vector<std::string> planned;
        for (const FolderSweepEntry& entry : plan.entries)
            if (entry.isErased)
                planned.push_back(entry.path.GetFileName().ToUTF8());
        EXPECT_EQ(planned, row.erased);

        EXPECT_TRUE(Sweep(sweeper, row.reserveB));
        std::vector<std::string> lines;
        for (const std::string& name : row.erased)
        {
            lines.push_back(ErasedLine(name));
            EXPECT_FALSE(fs::exists(m_temp / name));
        }
        EXPECT_EQ(log.GetMessages(), lines);
        EXPECT_EQ(m_temp.Names().size(), 5 - row.erased.size());
        EXPECT_EQ(m_outcomes->all.back(), row.erased.empty() ? "skipped" : "done");
    }
}

TEST_F(FolderSweeperTest, PlansEveryEntryWithItsSizeAndTime)
{
    m_temp.AddFile("a/file", 3, 60);
    m_temp.AddFile("b", 9, 0);
    const GuardedSweeper sweeper(1, kLargest, 9, [](const TPath& entry) { return entry.GetFileName() != u"b"; });
    const FolderSweepPlan plan = sweeper.Plan(m_temp.Path(), 0);
    ASSERT_EQ(plan.entries.size(), 2U);
    EXPECT_EQ(plan.entries[0].path, TPath(m_temp / "b"));
    EXPECT_EQ(plan.entries[0].sizeB, 9U);
    EXPECT_FALSE(plan.entries[0].isErased) << "CanDelete refuses";
    EXPECT_EQ(plan.entries[1].newestWriteTime, DateTime(1970, 1, 1, 0, 1));
    EXPECT_TRUE(plan.entries[1].isErased);
    EXPECT_FALSE(plan.isWithinLimits);
    EXPECT_FALSE(sweeper.Plan(TPath(m_temp / "missing"), 0).isFolder);
    EXPECT_THAT(m_log.GetMessages(), IsEmpty());
    EXPECT_THAT(m_outcomes->all, IsEmpty());
}

TEST_F(FolderSweeperTest, RunsOncePerInterval)
{
    const auto isSwept = [this](const FolderSweeper& sweeper)
    {
        m_temp.AddFile("entry", 10);
        EXPECT_TRUE(Sweep(sweeper));
        return m_temp.Names().empty();
    };
    const ClockGuard clock;
    const FolderSweeper sweeper(1, kOldest, 1, seconds(60));
    EXPECT_TRUE(isSwept(sweeper)) << "the first";
    EXPECT_FALSE(isSwept(sweeper));
    clock->now += seconds(60) - nanoseconds(1);
    EXPECT_FALSE(isSwept(sweeper));
    EXPECT_EQ(m_outcomes->all.size(), 1U);
    clock->now += nanoseconds(1);
    EXPECT_TRUE(isSwept(sweeper)) << "calls that did not run are not counted";

    for (const nanoseconds interval : {nanoseconds(1LL << 62), nanoseconds::max()})
    {
        const FolderSweeper longest(1, kOldest, 1, interval);
        EXPECT_TRUE(isSwept(longest));
        EXPECT_FALSE(isSwept(longest));
    }
    for (const nanoseconds interval : {nanoseconds(0), nanoseconds::min()})
    {
        const FolderSweeper always(1, kOldest, 1, interval);
        EXPECT_TRUE(isSwept(always));
        EXPECT_TRUE(isSwept(always));
    }
}

TEST_F(FolderSweeperTest, LetsOneOfManyThreadsSweep)
{
    for (std::size_t round = 1; round <= 100; ++round)
    {
        const FolderSweeper sweeper(1, kOldest, 1, seconds(3600));
        constexpr int kThreads = 8;
        std::latch start(kThreads);
        std::vector<std::thread> threads(kThreads);
        for (std::thread& thread : threads)
            thread = std::thread(
                [&]
                {
                    start.arrive_and_wait();
                    EXPECT_TRUE(Sweep(sweeper));
                });
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(m_outcomes->all.size(), round);
    }
}

TEST_F(FolderSweeperTest, TakesWhatIsNoFolderForMissing)
{
    fs::create_symlink("circle", m_temp / "circle");
    fs::create_symlink("nowhere", m_temp / "dangling");
    const fs::path paths[] = {m_temp / "missing", m_temp.AddFile("file", 9), m_temp / "circle", m_temp / "dangling", "",
        m_temp.Get().native() + std::string(1, '\0')};
    for (const fs::path& path : paths)
    {
        const FolderSweeper sweeper(1, kOldest, 1, seconds(3600));
        EXPECT_FALSE(sweeper.Sweep(TPath(path), 0)) << path;
        EXPECT_TRUE(sweeper.Sweep(TPath(path), 0)) << "it has used the interval up";
        EXPECT_EQ(m_outcomes->all.back(), "");
    }
    EXPECT_THAT(m_log.GetMessages(), IsEmpty());
    EXPECT_THAT(m_temp.Names(), ElementsAre("circle", "dangling", "file"));
}

TEST_F(FolderSweeperTest, KeepsWhatCanDeleteProtects)
{
    m_temp.AddFile("a", 5, 100);
    m_temp.AddFile("b", 6, 200);
    std::vector<TPath> asked;
    const GuardedSweeper sweeper(7, kOldest, 9,
        [&](const TPath& entry)
        {
            asked.push_back(entry);
            return false;
        });
    EXPECT_FALSE(Sweep(sweeper, 3));
    EXPECT_THAT(m_temp.Names(), ElementsAre("a", "b"));
    EXPECT_THAT(asked, ElementsAre(TPath(m_temp / "a"), TPath(m_temp / "b")));
    EXPECT_THAT(m_log.GetMessages(), ElementsAre(FailedLine(m_temp.Get(),
                                         "totalSizeB: '11', m_limitB: '7', totalSubpaths:'2', m_limitSubpaths:'9' ")));
    EXPECT_THAT(m_outcomes->all, ElementsAre("failed"));
}

TEST_F(FolderSweeperTest, LogsLargeDeletesBeforeItAsks)
{
    struct Events : ILogSink
    {
        void Write(const LogRecord& record) override
        {
            if (record.message == u"large-file-delete" && record.severity == LogSeverity::Warning && !record.isError)
                all.push_back(*record.fields);
        }
        std::vector<LogFields> all;
    };
    m_temp.AddFile("kept", 1001);
    m_temp.AddFile("limit", 1000);
    const GuardedSweeper sweeper(1, kLargest, 9, [](const TPath&) { return false; });
    const auto sweepAndCount = [&]
    {
        const auto events = std::make_shared<Events>();
        const std::shared_ptr<ILogSink> before = SetLogSink(events);
        EXPECT_FALSE(Sweep(sweeper));
        SetLogSink(before);
        return events->all;
    };
    AppOptions::Override(u"LogLargeDeletesSizeThresholdBytes", std::int64_t{1000});
    EXPECT_THAT(sweepAndCount(), IsEmpty()) << "off unless asked for";
    AppOptions::Override(u"LogLargeDeletes", true);
    const LogFields expected = {
        {u"source", u"Sweep"}, {u"path", TPath(m_temp / "kept").ToText()}, {u"total-size-b", u"1001"}};
    EXPECT_THAT(sweepAndCount(), ElementsAre(expected));
    AppOptions::Override(u"LogLargeDeletesSizeThresholdBytes", std::int64_t{-1});
    EXPECT_EQ(sweepAndCount().size(), 2U);
    AppOptions::Reset(u"LogLargeDeletesSizeThresholdBytes");
    m_temp.AddFile("kept", 100 * 1024 * 1024 + 1);
    m_temp.AddFile("limit", 100 * 1024 * 1024);
    EXPECT_EQ(sweepAndCount().size(), 1U) << "100 MiB unless set";
    AppOptions::Reset(u"LogLargeDeletes");
}

TEST_F(FolderSweeperTest, EntriesErasedByOthersLeaveTheSums)
{
    for (const char* const name : {"a", "b", "c", "d"})
        m_temp.AddFile(name, 10, name[0]);
    const GuardedSweeper sweeper(20, kOldest, 9, [](const TPath& entry) { return fs::remove(entry.GetNative()); });
    EXPECT_TRUE(Sweep(sweeper));
    EXPECT_THAT(m_temp.Names(), ElementsAre("c", "d"));
    EXPECT_THAT(m_log.GetMessages(), IsEmpty()) << "it has erased nothing itself";

    const CancellationScope scope([this] { return fs::remove(m_temp / "c") && false; });   // listed, not yet measured
    EXPECT_EQ(sweeper.Plan(m_temp.Path(), 0).entries.size(), 1U);
}

// The second comes when the first is inside its first entry, which then looks smaller than the others.
TEST_F(FolderSweeperTest, TwoAtOnceEraseNoMoreThanOne)
{
    constexpr std::size_t kFiles = 1500;   // cancellation is polled at every 1000th
    for (std::size_t i = 0; i < kFiles; ++i)
        m_temp.AddFile("big/" + std::to_string(i), 10);
    m_temp.AddFile("b", 9000);
    m_temp.AddFile("c", 9000);
    const FolderSweeper sweeper(kMB, kLargest, 2, seconds(0));
    std::counting_semaphore<> secondWaitsOrEnds(0);
    std::latch firstEnds(1);
    const ClockGuard clock;
    clock->onSleep = [&]
    {
        secondWaitsOrEnds.release();
        firstEnds.wait();
    };
    std::thread second;
    {
        const CancellationScope scope(
            [&]
            {
                if (second.joinable() || TempFolder::NamesIn(m_temp / "big").size() == kFiles)
                    return false;
                second = std::thread(
                    [&]
                    {
                        EXPECT_TRUE(Sweep(sweeper));
                        secondWaitsOrEnds.release();
                    });
                secondWaitsOrEnds.acquire();
                return false;
            });
        EXPECT_TRUE(Sweep(sweeper));
    }
    firstEnds.count_down();
    ASSERT_TRUE(second.joinable());
    second.join();
    EXPECT_THAT(m_temp.Names(), ElementsAre("b", "c"));
    EXPECT_THAT(m_outcomes->all, ElementsAre("done", "skipped"));
}

TEST_F(FolderSweeperTest, GoesOnBesideALockThatStays)
{
    m_temp.AddFile("entry", 10);
    std::error_code error;
    const auto other = FileSystem::FolderHandle::Open(m_temp.Path(), error);
    ASSERT_TRUE(other.TryLock());
    const ClockGuard clock;
    const FolderSweeper sweeper(1, kOldest, 1, seconds(0));
    EXPECT_EQ(sweeper.Plan(m_temp.Path(), 0).entries.size(), 1U);
    EXPECT_EQ(clock->slept, seconds(0)) << "a plan does not wait";
    EXPECT_TRUE(Sweep(sweeper));
    EXPECT_EQ(clock->slept, seconds(10));
    EXPECT_THAT(m_temp.Names(), IsEmpty());
}

TEST_F(FolderSweeperTest, EntriesThatCannotBeErasedCountInFull)
{
    m_temp.AddFile("1/free", 10, 100);
    m_temp.AddFile("1/sealed/stays", 10, 100);
    m_temp.AddFile("2", 10, 200);
    m_temp.AddFile("3", 10, 300);
    fs::permissions(m_temp.Get(), fs::perms::all);
    fs::permissions(m_temp / "1", fs::perms::all);
    fs::permissions(m_temp / "1/sealed", static_cast<fs::perms>(0555));
    RunWithoutPrivileges([this] { EXPECT_TRUE(Sweep(FolderSweeper(30, kOldest, 9, seconds(0)))); });
    EXPECT_THAT(m_temp.Names(), ElementsAre("1", "3"));
    EXPECT_THAT(m_log.GetMessages(), ElementsAre(ErasedLine("2")));
    fs::permissions(m_temp / "1/sealed", fs::perms::owner_all);
}

TEST_F(FolderSweeperTest, FailsWhenTheFolderCannotBeListed)
{
    m_temp.AddFile("folder/entry", 1);
    fs::permissions(m_temp.Get(), fs::perms::all);
    for (const int mode : {0000, 0111, 0444})
    {
        fs::permissions(m_temp / "folder", static_cast<fs::perms>(mode));
        const CapturedLog log;
        RunWithoutPrivileges(
            [this] { EXPECT_FALSE(FolderSweeper(9, kOldest, 9, seconds(0)).Sweep(TPath(m_temp / "folder"), 0)); });
        EXPECT_THAT(log.GetMessages(), ElementsAre(FailedLine(m_temp / "folder",
                                           "totalSizeB: '0', m_limitB: '9', totalSubpaths:'0', m_limitSubpaths:'9' ")))
            << mode;
        EXPECT_EQ(m_outcomes->all.back(), "failed");
        RunWithoutPrivileges(
            [this]
            {
                const FolderSweepPlan plan = FolderSweeper(9, kOldest, 9, seconds(0)).Plan(TPath(m_temp / "folder"), 0);
                EXPECT_TRUE(plan.isFolder);
                EXPECT_FALSE(plan.isWithinLimits);
            });
    }
    fs::permissions(m_temp / "folder", fs::perms::owner_all);
    EXPECT_TRUE(fs::exists(m_temp / "folder/entry"));
}

TEST_F(FolderSweeperTest, ErasesLinksAsLinksAndStaysInTheFolder)
{
    const TempFolder outside;
    for (const char* const name : {"a", "b", "c"})
    {
        outside.AddFile(name, 10);
        m_temp.AddFile(std::string("cache/") + name, 10);
    }
    fs::create_directory_symlink(outside.Get(), m_temp / "cache/link");
    TempFolder::SetTime(m_temp / "cache/link", {1, 0});
    fs::create_directory_symlink("cache", m_temp / "way");
    const GuardedSweeper sweeper(1, kOldest, 9,
        [&](const TPath& entry)   // after the link at the first place: the folder itself becomes a link
        {
            if (entry.GetFileName() == u"a")
            {
                fs::rename(m_temp / "cache", m_temp / "moved");
                fs::create_directory_symlink(outside.Get(), m_temp / "cache");
            }
            return true;
        });
    EXPECT_TRUE(sweeper.Sweep(TPath(m_temp / "way"), 0)) << "the folder itself may be given by a link";
    EXPECT_EQ(outside.Names().size(), 3U);
    EXPECT_THAT(TempFolder::NamesIn(m_temp / "moved"), IsEmpty());
}

TEST_F(FolderSweeperTest, TakesNamesAsTheyAre)
{
    m_temp.AddFile("100%2", 1, 1);
    m_temp.AddFile("\xFF\xFE", 1, 2);
    EXPECT_FALSE(Sweep(GuardedSweeper(1, kOldest, 9, [](const TPath&) { return false; })));
    EXPECT_TRUE(Sweep(FolderSweeper(1, kOldest, 1, seconds(0)), 1));
    EXPECT_THAT(m_temp.Names(), IsEmpty());
    EXPECT_EQ(m_log.GetMessages().at(1), ErasedLine("100%2"));
    EXPECT_EQ(m_log.GetMessages().at(2), ErasedLine("\xFF\xFE"));
}

TEST_F(FolderSweeperTest, SumsBeyond64Bits)
{
    constexpr auto kLongest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const bool isMounted = RunOnPrivateTmpfs(m_temp.Get(), "size=1m",
        [&]
        {
            for (const char* const name : {"a", "b", "c", "d"})
                m_temp.AddFile(name, kLongest, name[0]);
            EXPECT_TRUE(Sweep(FolderSweeper(2 * kLongest, kOldest, 9, seconds(0))));
            EXPECT_THAT(m_temp.Names(), ElementsAre("c", "d"));
            m_temp.AddFile("a", kLongest);
            ASSERT_TRUE(MakeReadOnly(m_temp.Get()));
            EXPECT_FALSE(Sweep(FolderSweeper(1, kOldest, 9, seconds(0))));
            EXPECT_THAT(m_log.GetMessages().back(),
                FailedLine(m_temp.Get(), "totalSizeB: '18446744073709551615', m_limitB: '1', totalSubpaths:'3', "
                                         "m_limitSubpaths:'9' "));
        });
    if (!isMounted)
        GTEST_SKIP() << "needs the right to mount";
}

TEST_F(FolderSweeperTest, PassesOnCancellation)
{
    m_temp.AddFile("entry", 10);
    for (const int last : {1, 2})   // before the measuring, before the erasing
    {
        const CancellationScope scope([last, calls = 0]() mutable { return ++calls == last; });
        EXPECT_THROW(Sweep(FolderSweeper(1, kOldest, 1, seconds(0))), CancelledException) << last;
        EXPECT_THAT(m_temp.Names(), ElementsAre("entry"));
    }
}
