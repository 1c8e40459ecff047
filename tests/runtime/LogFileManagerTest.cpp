#include "brvcore/runtime/LogFileManager.h"

#include "tests/support/TempFolder.h"

#include <atomic>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace TLog;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

namespace fs = std::filesystem;

namespace
{

constexpr std::time_t kYear2020 = 1'577'836'800;

// app-1.log, the oldest, to app-<count>.log, a minute apart.
void AddClosedFiles(const TempFolder& folder, int count)
{
    for (int i = 1; i <= count; ++i)
        folder.AddFile("app-" + std::to_string(i) + ".log", 1, kYear2020 + 60 * i);
}

LogFileManager ManagerOf(const TempFolder& folder)
{
    return {folder.Path(), u"app", u"log"};
}

}   // namespace

TEST(FileCollection, OrdersByTimeThenByPath)
{
    const DateTime noon(2020, 1, 1, 12);
    const auto later = [&](std::int64_t ticks) { return noon + DateTimeSpan::FromTicks(ticks); };
    FileCollection files;
    files.AddFile({TPath(u"d"), later(2)});
    files.AddFile({TPath(u"c"), later(1)});
    files.AddFile({TPath(u"e"), noon});
    files.AddFile({TPath(u"a"), later(1)});
    files.AddFile({TPath(u"b"), later(1)});
    files.RemoveFile(TPath(u"b"));
    files.RemoveFile(TPath(u"unknown"));
    EXPECT_EQ(files.GetSize(), 4U);
    const auto oldest = [&](std::uint64_t count)
    {
        std::string names;
        for (const FileInfo& file : files.GetOldestFiles(count))
            names += file.GetFilePath().ToText().ToUTF8();
        return names;
    };
    EXPECT_EQ(oldest(0), "");
    EXPECT_EQ(oldest(2), "ea");
    EXPECT_EQ(oldest(4), "eacd");
    EXPECT_EQ(oldest(std::uint64_t{1} << 63), "eacd");
    for (int i = 0; i < 1000; ++i)   // a comparison by "earlier or equal" runs out of the array here
        files.AddFile({TPath(u"same"), noon});
    EXPECT_EQ(files.GetOldestFiles(1004).back().GetFilePath(), TPath(u"d"));
}

TEST(LogFileManager, DeletesTheOldest)
{
    struct Row
    {
        std::uint64_t maxCount;
        std::uint64_t removals;
        std::vector<std::string> left;
    };
    const Row rows[] = {
        {3, 2, {"app-3.log", "app-4.log", "app-5.log"}},
        {5, 0, {"app-1.log", "app-2.log", "app-3.log", "app-4.log", "app-5.log"}},
        {0, 5, {}},
        {(std::uint64_t{1} << 32) + 1, 0, {"app-1.log", "app-2.log", "app-3.log", "app-4.log", "app-5.log"}},
        {~std::uint64_t{0}, 0, {"app-1.log", "app-2.log", "app-3.log", "app-4.log", "app-5.log"}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.maxCount);
        const TempFolder folder;
        AddClosedFiles(folder, 5);
        EXPECT_EQ(ManagerOf(folder).DeleteOlderFilesToRestrictFileCount(row.maxCount), row.removals);
        EXPECT_EQ(folder.Names(), row.left);
    }
}

TEST(LogFileManager, ComparesTimesTo100Nanoseconds)
{
    const TempFolder folder;
    for (const long tick : {3, 1, 2})
        TempFolder::SetTime(folder.AddFile("app-" + std::to_string(9 - tick) + ".log", 1), {kYear2020, 100 * tick});
    EXPECT_EQ(ManagerOf(folder).DeleteOlderFilesToRestrictFileCount(1), 2U);
    EXPECT_THAT(folder.Names(), ElementsAre("app-6.log"));
}

TEST(LogFileManager, TouchesOnlyFilesOfItsLog)
{
    const TempFolder folder;
    const std::vector<std::string> others = {"App.log", "ap.log", "app", "app.log.1", "app.txt", "other.log",
        "xapp.log", "app.L\xC3\x96G", "app.folder.log", "app.link.log", "app.pipe.log", "app.lost.log", "target"};
    for (const char* const name :
        {"App.log", "ap.log", "app", "app.log.1", "app.txt", "other.log", "xapp.log", "app.L\xC3\x96G", "target"})
        folder.AddFile(name, 1);
    fs::create_directory(folder / "app.folder.log");
    fs::create_symlink("target", folder / "app.link.log");
    fs::create_symlink("nowhere", folder / "app.lost.log");
    ASSERT_EQ(mkfifo((folder / "app.pipe.log").c_str(), 0600), 0);
    for (const char* const name : {"app.log", "app-1.LOG", "app.2.lOg", "app_http.log", "apple.log", "app\xFF.log"})
        folder.AddFile(name, 1);
    EXPECT_EQ(ManagerOf(folder).DeleteOlderFilesToRestrictFileCount(0), 6U);
    EXPECT_THAT(folder.Names(), UnorderedElementsAreArray(others));
}

TEST(LogFileManager, TakesTheExtensionAsGiven)
{
    const TempFolder folder;
    for (const char* const name : {"APP.LOG", "APP.log", "app", "app-1", "app.", ".app"})
        folder.AddFile(name, 1);
    EXPECT_EQ(LogFileManager(folder.Path(), u"APP", u"LOG").DeleteOlderFilesToRestrictFileCount(0), 0U)
        << "upper case finds nothing";
    EXPECT_EQ(LogFileManager(folder.Path(), u"app", u"").DeleteOlderFilesToRestrictFileCount(0), 3U);
    EXPECT_EQ(LogFileManager(folder.Path(), u".app", u"").DeleteOlderFilesToRestrictFileCount(0), 1U);
    EXPECT_THAT(folder.Names(), ElementsAre("APP.LOG", "APP.log"));
    for (const char* const name :
        {"INFO.INI", "INFO.ini", "\xC4\xB0NFO.ini", "INFO.\xC4\xB0ni", "INFO.\xC4\xB1n\xC4\xB1"})
        folder.AddFile(name, 1);
    EXPECT_EQ(LogFileManager(folder.Path(), u"INFO", u"ini").DeleteOlderFilesToRestrictFileCount(0), 2U)
        << "in a Turkish locale, too, I is the capital of i";
}

TEST(LogFileManager, SparesTheFileInUse)
{
    const fs::path before = fs::current_path();
    for (const bool isDirectoryGiven : {true, false})
        for (const bool isPathGiven : {true, false})
        {
            const TempFolder folder;
            AddClosedFiles(folder, 4);
            // A clock that was set back: the folder has files from the future, and one from beyond year 9999 where the
            // file system can tell.
            folder.AddFile("app-5.log", 1, 400'000'000'000);
            fs::current_path(folder.Get());
            const LogFileManager manager(isDirectoryGiven ? folder.Path() : TPath(), u"app", u"log",
                isPathGiven ? TPath(folder / "app-1.log") : TPath(u"app-1.log"));
            EXPECT_EQ(manager.DeleteOlderFilesToRestrictFileCount(2), 3U);
            EXPECT_THAT(folder.Names(), ElementsAre("app-1.log", "app-5.log"));
            EXPECT_EQ(manager.DeleteOlderFilesToRestrictFileCount(1), 1U);
            EXPECT_THAT(folder.Names(), ElementsAre("app-1.log"));
            EXPECT_EQ(manager.DeleteOlderFilesToRestrictFileCount(0), 1U);
            fs::current_path(before);
        }
}

TEST(LogFileManager, IsSilentAboutWhatItCannotReadOrRemove)
{
    const TempFolder folder;
    AddClosedFiles(folder, 3);
    const fs::path& path = folder.Get();
    EXPECT_EQ(LogFileManager(TPath(path / "missing"), u"app", u"log").DeleteOlderFilesToRestrictFileCount(0), 0U);
    EXPECT_EQ(LogFileManager(TPath(path / "app-1.log"), u"app", u"log").DeleteOlderFilesToRestrictFileCount(0), 0U);
    fs::permissions(path, static_cast<fs::perms>(0555));
    const bool hasRun = RunWithoutPrivileges(
        [&] { EXPECT_EQ(ManagerOf(folder).DeleteOlderFilesToRestrictFileCount(1), 2U) << "both were tried"; });
    fs::permissions(path, static_cast<fs::perms>(0111));
    RunWithoutPrivileges([&] { EXPECT_EQ(ManagerOf(folder).DeleteOlderFilesToRestrictFileCount(1), 0U); });
    fs::permissions(path, static_cast<fs::perms>(0444));   // names, but no times
    RunWithoutPrivileges([&] { EXPECT_EQ(ManagerOf(folder).DeleteOlderFilesToRestrictFileCount(1), 0U); });
    fs::permissions(path, fs::perms::owner_all);
    EXPECT_EQ(folder.Names().size(), 3U);
    if (!hasRun)
        GTEST_SKIP() << "the rights cannot be given up on this machine";
}

TEST(LogFileManager, RunsAtOnceNeverDeleteTooMuch)
{
    for (int round = 0; round < 10; ++round)
    {
        const TempFolder folder;
        AddClosedFiles(folder, 200);
        std::atomic<int> ready = 0;
        std::atomic<std::uint64_t> removals = 0;
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t)
            threads.emplace_back(
                [&]
                {
                    const LogFileManager manager = ManagerOf(folder);
                    for (++ready; ready < 3;)
                        std::this_thread::yield();
                    removals += manager.DeleteOlderFilesToRestrictFileCount(3);
                });
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_THAT(folder.Names(), ElementsAre("app-198.log", "app-199.log", "app-200.log"));
        EXPECT_GE(removals, 197U);
    }
}
