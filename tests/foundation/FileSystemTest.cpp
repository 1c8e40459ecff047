#include "brvcore/foundation/FileSystem.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "tests/support/TempFolder.h"

#include <atomic>
#include <cstdio>
#include <limits>
#include <map>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace FileSystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

std::size_t CountDescriptors()
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

// Every test ends with as many descriptors as it began with.
class FileSystemTest : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(CountDescriptors(), m_descriptors); }

    FolderHandle Open(const fs::path& path)
    {
        std::error_code error;
        FolderHandle handle = FolderHandle::Open(TPath(path), error);
        EXPECT_EQ(error, std::error_code()) << path;
        return handle;
    }

    std::size_t m_descriptors = CountDescriptors();
    TempFolder m_temp;
};

// A chain of folders below `top`, with a file of one byte in each. The path of the deepest is depth * (length + 1) long.
void MakeDeepTree(const fs::path& top, int depth, std::size_t length)
{
    const std::string name(length, 'd');
    fs::create_directory(top);
    int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < depth; ++level)
    {
        const int file = openat(folder, "file", O_WRONLY | O_CREAT, 0600);
        ASSERT_EQ(write(file, "x", 1), 1);
        close(file);
        ASSERT_EQ(mkdirat(folder, name.c_str(), 0700), 0);
        const int next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(folder);
        folder = next;
    }
    close(folder);
}

// Leaves room for so many more descriptors.
class DescriptorLimit
{
public:
    explicit DescriptorLimit(rlim_t room)
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const int firstFree = dup(0);   // the limit is on the number, of which all below are taken here
        close(firstFree);
        const rlimit limit = {static_cast<rlim_t>(firstFree) + room, m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit m_before = {};
};

}   // namespace

TEST_F(FileSystemTest, ListsEveryEntryByItsOwnKind)
{
    m_temp.AddFile("file", 1);
    m_temp.AddFile("\xFF%2.log", 1);   // no UTF-8
    m_temp.AddFile("folder/inside", 1);
    fs::create_symlink("nowhere", m_temp / "dangling");
    fs::create_directory_symlink("folder", m_temp / "link");
    mkfifo((m_temp / "pipe").c_str(), 0600);

    const DirectoryListing listing = ListDirectory(m_temp.Path());
    EXPECT_FALSE(listing.error);
    std::map<std::string, FileKind> kinds;
    for (const DirectoryEntry& entry : listing.entries)
    {
        kinds[entry.name] = entry.kind;
        EXPECT_EQ(GetFileKind(TPath(m_temp / entry.name)), entry.kind) << entry.name;
        EXPECT_EQ(IsRegularFile(TPath(m_temp / entry.name)), entry.kind == FileKind::RegularFile);
    }
    const std::map<std::string, FileKind> expected = {{"file", FileKind::RegularFile},
        {"\xFF%2.log", FileKind::RegularFile}, {"folder", FileKind::Folder}, {"dangling", FileKind::Link},
        {"link", FileKind::Link}, {"pipe", FileKind::Other}};
    EXPECT_EQ(kinds, expected);
    EXPECT_EQ(ListDirectory(TPath(m_temp / "link")).entries.size(), 1U) << "the path itself may be a link";
    EXPECT_EQ(Open(m_temp.Get()).List().entries.size(), expected.size());
}

TEST_F(FileSystemTest, TellsWhatIsNoFolder)
{
    const struct
    {
        fs::path path;
        std::errc error;
    } rows[] = {
        {m_temp / "missing", std::errc::no_such_file_or_directory},
        {"", std::errc::no_such_file_or_directory},
        {m_temp.AddFile("file", 0), std::errc::not_a_directory},
        {m_temp.Get().native() + std::string("\0/rest", 6), std::errc::invalid_argument},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(ListDirectory(TPath(row.path)).error, row.error) << row.path;
        std::error_code error;
        EXPECT_FALSE(FolderHandle::Open(TPath(row.path), error).IsOpen());
        EXPECT_EQ(error, row.error) << row.path;
    }
    EXPECT_EQ(FolderHandle().List().error, std::errc::bad_file_descriptor);
    EXPECT_FALSE(GetFileKind(TPath(m_temp / "missing")));
    EXPECT_FALSE(GetLastWriteTime(TPath(m_temp / "missing")));
}

TEST_F(FileSystemTest, CutsWriteTimesToATick)
{
    const fs::path file = m_temp.AddFile("file", 0);
    const struct
    {
        std::timespec time;
        DateTime expected;
    } rows[] = {
        {{1'614'834'367, 123'456'789},
            DateTime(2021, 3, 4, 5, 6, 7, 1'234'567)},   // date -u -d 2021-03-04T05:06:07 +%s
        {{-1, 999'999'999}, DateTime(1969, 12, 31, 23, 59, 59, 9'999'999)},
        {{0, 0}, DateTime(1970, 1, 1)},
    };
    for (const auto& row : rows)
    {
        TempFolder::SetTime(file, row.time);
        EXPECT_EQ(GetLastWriteTime(TPath(file)), row.expected);
    }
    fs::create_symlink("file", m_temp / "link");
    TempFolder::SetTime(m_temp / "link", {86'400, 0});
    EXPECT_EQ(GetLastWriteTime(TPath(m_temp / "link")), DateTime(1970, 1, 2)) << "a link has its own time";
}

TEST_F(FileSystemTest, RenamesOnlyToAFreeName)
{
    const TPath source(m_temp.AddFile("source", 7));
    fs::create_symlink("nowhere", m_temp / "dangling");
    fs::create_directory(m_temp / "folder");
    m_temp.AddFile("taken", 1);
    for (const char* const taken : {"taken", "dangling", "folder", "source"})
        EXPECT_EQ(RenameWithoutOverwriting(source, TPath(m_temp / taken)), std::errc::file_exists) << taken;
    EXPECT_EQ(fs::file_size(m_temp / "taken"), 1U);
    EXPECT_FALSE(RenameWithoutOverwriting(source, TPath(m_temp / "free")));
    EXPECT_EQ(fs::file_size(m_temp / "free"), 7U);
    EXPECT_EQ(RenameWithoutOverwriting(source, TPath(m_temp / "other")), std::errc::no_such_file_or_directory);
}

TEST_F(FileSystemTest, RemovesOneFileOrLink)
{
    m_temp.AddFile("file", 0);
    fs::create_symlink("file", m_temp / "link");
    fs::create_directory(m_temp / "folder");
    EXPECT_FALSE(RemoveFile(TPath(m_temp / "link")));
    EXPECT_EQ(RemoveFile(TPath(m_temp / "folder")), std::errc::is_a_directory);
    EXPECT_EQ(RemoveFile(TPath(m_temp / "link")), std::errc::no_such_file_or_directory);
    EXPECT_THAT(m_temp.Names(), ElementsAre("file", "folder"));
}

TEST_F(FileSystemTest, MeasuresSizeAndNewestTime)
{
    m_temp.AddFile("outside", 1000, 9000);
    m_temp.AddFile("plain", 7, 100);
    m_temp.AddFile("nested/a/b", 10, 200);
    m_temp.AddFile("nested/c", 5, 300);
    fs::create_directories(m_temp / "hollow/empty");
    TempFolder::SetTime(m_temp / "hollow/empty", {400, 0});
    m_temp.AddFile("links/file", 3, 100);
    fs::create_hard_link(m_temp / "links/file", m_temp / "links/second name");
    fs::create_symlink("../outside", m_temp / "links/out");
    fs::create_directory_symlink("..", m_temp / "links/circle");
    fs::create_symlink("itself", m_temp / "links/itself");
    TempFolder::SetTime(m_temp / "links/out", {500, 0});
    TempFolder::SetTime(m_temp / "links/circle", {450, 0});
    TempFolder::SetTime(m_temp / "links/itself", {450, 0});
    fs::create_symlink("outside", m_temp / "link");
    TempFolder::SetTime(m_temp / "link", {600, 0});

    const struct
    {
        const char* name;
        std::uint64_t sizeB;
        int unixTime;
        const char* why;
    } rows[] = {
        {"plain", 7, 100, "a file"},
        {"nested", 15, 300, "folders that hold something have no time of their own (it would be now)"},
        {"hollow", 0, 400, "an empty folder has"},
        {"links", 6, 500, "links weigh nothing, have their own time, and are not followed; two names weigh twice"},
        {"link", 0, 600, "a link"},
    };
    const FolderHandle handle = Open(m_temp.Get());
    for (const auto& row : rows)
    {
        const TreeMeasure measure = handle.MeasureTree(row.name);
        EXPECT_EQ(measure.sizeB, row.sizeB) << row.why;
        EXPECT_EQ(measure.newestWriteTime, DateTime(1970, 1, 1) + DateTimeSpan::FromSeconds(row.unixTime)) << row.why;
        EXPECT_TRUE(measure.exists && measure.isComplete) << row.why;
    }
    for (const char* const name : {"missing", "", ".", "..", "nested/c"})
    {
        EXPECT_FALSE(handle.MeasureTree(name).exists) << name;
        EXPECT_NE(handle.RemoveTree(name).outcome, RemovalOutcome::Removed) << name;
    }
    EXPECT_EQ(handle.RemoveTree("missing").outcome, RemovalOutcome::Missing);
    EXPECT_EQ(handle.RemoveTree("..").error, std::errc::invalid_argument);

    EXPECT_EQ(handle.RemoveTree("links").outcome, RemovalOutcome::Removed);
    EXPECT_EQ(handle.RemoveTree("link").outcome, RemovalOutcome::Removed);
    EXPECT_THAT(m_temp.Names(), ElementsAre("hollow", "nested", "outside", "plain"));
}

// 200 levels of 100 bytes: 5 times the longest path. Descriptors are short, then very short.
TEST_F(FileSystemTest, WalksDeeperThanAnyPathWithFewDescriptors)
{
    for (const rlim_t room : {20U, 3U})
    {
        constexpr int kDepth = 200;
        MakeDeepTree(m_temp / "deep", kDepth, 100);
        const FolderHandle handle = Open(m_temp.Get());
        const DescriptorLimit limit(room);
        const TreeMeasure measure = handle.MeasureTree("deep");
        EXPECT_EQ(measure.sizeB, static_cast<std::uint64_t>(kDepth));
        EXPECT_TRUE(measure.isComplete) << room;
        const TreeRemoval removal = handle.RemoveTree("deep");
        EXPECT_EQ(removal.outcome, RemovalOutcome::Removed) << room << " " << removal.error;
        EXPECT_THAT(m_temp.Names(), IsEmpty());
    }
}

// When a walk is in the first of two folders, links to precious files take the places of both.
TEST_F(FileSystemTest, NeverFollowsALinkThatTakesAFoldersPlace)
{
    const TempFolder precious;
    precious.AddFile("file", 1'000'000);
    for (const char* const name : {"a", "b"})
        for (int i = 0; i < 1500; ++i)   // cancellation is polled at every 1000th
            m_temp.AddFile(std::string("tree/") + name + "/" + std::to_string(i), 1);
    const FolderHandle handle = Open(m_temp.Get());
    const auto swapAtSecondCall = [&, calls = 0]() mutable
    {
        if (++calls == 2)
            for (const std::string name : {"a", "b"})
            {
                fs::rename(m_temp / ("tree/" + name), m_temp / name);
                fs::create_directory_symlink(precious.Get(), m_temp / ("tree/" + name));
            }
        return false;
    };
    {
        const CancellationScope scope(swapAtSecondCall);
        EXPECT_EQ(handle.MeasureTree("tree").sizeB, 1500U) << "of the folder that was open";
    }
    for (const std::string name : {"a", "b"})
    {
        fs::remove(m_temp / ("tree/" + name));
        fs::rename(m_temp / name, m_temp / ("tree/" + name));
    }
    const CancellationScope scope(swapAtSecondCall);
    EXPECT_EQ(handle.RemoveTree("tree").outcome, RemovalOutcome::Removed) << "links and all";
    EXPECT_THAT(precious.Names(), ElementsAre("file"));
    EXPECT_EQ(TempFolder::NamesIn(m_temp / "a").size() + TempFolder::NamesIn(m_temp / "b").size(), 1500U);
}

// Into a folder that was read already, which is not empty at the end.
TEST_F(FileSystemTest, RemovesWhatIsAddedMeanwhile)
{
    for (int i = 0; i < 1500; ++i)
        m_temp.AddFile("tree/folder/" + std::to_string(i), 0);
    const FolderHandle handle = Open(m_temp.Get());
    const CancellationScope scope(
        [&, calls = 0]() mutable
        {
            if (++calls == 2)
                m_temp.AddFile("tree/late", 1);
            return false;
        });
    EXPECT_EQ(handle.RemoveTree("tree").outcome, RemovalOutcome::Removed);
    EXPECT_THAT(m_temp.Names(), IsEmpty());
}

TEST_F(FileSystemTest, LeavesNoDescriptorToChildren)
{
    const auto countInherited = []
    {
        int count = 0;
        for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd"))
            count += (fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC) == 0 ? 1 : 0;
        return count;
    };
    m_temp.AddFile("tree/file", 1);
    const int before = countInherited();
    const FolderHandle handle = Open(m_temp.Get());
    int during = 0;
    const CancellationScope scope(
        [&]
        {
            during = countInherited();
            return false;
        });
    handle.MeasureTree("tree");
    EXPECT_EQ(during, before);
}

TEST_F(FileSystemTest, LocksAFolderOnce)
{
    {
        const FolderHandle first = Open(m_temp.Get());
        EXPECT_TRUE(first.TryLock());
        EXPECT_TRUE(first.TryLock()) << "it has it";
        EXPECT_FALSE(Open(m_temp.Get()).TryLock());
    }
    EXPECT_TRUE(Open(m_temp.Get()).TryLock()) << "free again";
}

// While the walk is far below, a part of the tree moves to another folder, whose entries bear the names that are still to be
// removed where the part came from.
TEST_F(FileSystemTest, EndsWhenTheWayBackLeadsElsewhere)
{
    const std::vector<std::string> victims = {"v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7"};
    for (const std::string& victim : victims)
    {
        m_temp.AddFile("home/" + victim + "/precious", 1);
        m_temp.AddFile("tree/" + victim + "/file", 1);
    }
    std::string path = "tree/part";
    for (int level = 0; level < 40; ++level)
        path += "/d";
    m_temp.AddFile(path + "/file", 1);
    const FolderHandle handle = Open(m_temp.Get());
    const CancellationScope scope(   // called at the first entry and whenever 1000 have passed: enough of them lie deep
        [&, calls = 0]() mutable
        {
            if (++calls == 2)
                fs::rename(m_temp / "tree/part", m_temp / "home/part");
            return false;
        });
    for (int i = 0; i < 1000; ++i)
        m_temp.AddFile(path + "/file" + std::to_string(i), 0);
    const TreeRemoval removal = handle.RemoveTree("tree");
    EXPECT_EQ(removal.outcome, RemovalOutcome::Failed);
    EXPECT_EQ(removal.error.value(), ESTALE);
    for (const std::string& victim : victims)
        EXPECT_TRUE(fs::exists(m_temp / ("home/" + victim + "/precious"))) << victim;
}

TEST_F(FileSystemTest, StaysWithTheFolderThatItOpened)
{
    m_temp.AddFile("cache/entry", 1);
    m_temp.AddFile("home/entry", 1);
    const FolderHandle handle = Open(m_temp / "cache");
    fs::rename(m_temp / "cache", m_temp / "moved");
    fs::create_directory_symlink("home", m_temp / "cache");
    EXPECT_EQ(handle.RemoveTree("entry").outcome, RemovalOutcome::Removed);
    EXPECT_TRUE(fs::exists(m_temp / "home/entry"));
    EXPECT_FALSE(fs::exists(m_temp / "moved/entry"));
}

TEST_F(FileSystemTest, SharesARemovalWithAnother)
{
    const FolderHandle handle = Open(m_temp.Get());
    for (int round = 0; round < 5; ++round)
    {
        for (int i = 0; i < 100; ++i)
            m_temp.AddFile("tree/" + std::to_string(i % 10) + "/" + std::to_string(i), 1);
        RemovalOutcome other = RemovalOutcome::Failed;
        std::thread thread([&] { other = handle.RemoveTree("tree").outcome; });
        const RemovalOutcome own = handle.RemoveTree("tree").outcome;
        thread.join();
        EXPECT_NE(own, RemovalOutcome::Failed);
        EXPECT_NE(other, RemovalOutcome::Failed);
        EXPECT_NE(own, other) << "one of them removed it";
    }
}

TEST_F(FileSystemTest, DoesWhatItCanWithoutRights)
{
    m_temp.AddFile("tree/readable", 5, 100);
    m_temp.AddFile("tree/sealed/unseen", 50, 9000);
    fs::create_directory(m_temp / "tree/sealed and empty");
    m_temp.AddFile("tree/frozen/stays", 7, 100);
    TempFolder::SetTime(m_temp / "tree/sealed", {300, 0});
    TempFolder::SetTime(m_temp / "tree/sealed and empty", {200, 0});
    fs::permissions(m_temp.Get(), fs::perms::all);
    fs::permissions(m_temp / "tree", fs::perms::all);
    fs::permissions(m_temp / "tree/sealed", fs::perms::none);
    fs::permissions(m_temp / "tree/sealed and empty", fs::perms::none);
    fs::permissions(m_temp / "tree/frozen", static_cast<fs::perms>(0555));
    RunWithoutPrivileges(
        [this]
        {
            const FolderHandle handle = Open(m_temp.Get());
            const TreeMeasure measure = handle.MeasureTree("tree");
            EXPECT_EQ(measure.sizeB, 12U);
            EXPECT_EQ(measure.newestWriteTime, DateTime(1970, 1, 1, 0, 5)) << "of the folder that could not be read";
            EXPECT_FALSE(measure.isComplete);
            const TreeRemoval removal = handle.RemoveTree("tree");
            EXPECT_EQ(removal.outcome, RemovalOutcome::Failed);
            EXPECT_EQ(removal.error, std::errc::permission_denied);
        });
    EXPECT_THAT(TempFolder::NamesIn(m_temp / "tree"), ElementsAre("frozen", "sealed"));
    for (const char* const name : {"tree/sealed", "tree/frozen"})
        fs::permissions(m_temp / name, fs::perms::owner_all);
}

TEST_F(FileSystemTest, MeasuresButKeepsAReadOnlyFileSystem)
{
    const bool isMounted = RunOnPrivateTmpfs(m_temp.Get(), "size=1m",
        [this]
        {
            constexpr auto kLongest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
            for (const char* const name : {"tree/1", "tree/2", "tree/3"})
                m_temp.AddFile(name, kLongest);
            ASSERT_TRUE(MakeReadOnly(m_temp.Get()));
            const FolderHandle handle = Open(m_temp.Get());
            EXPECT_EQ(handle.MeasureTree("tree").sizeB, std::numeric_limits<std::uint64_t>::max()) << "held at the end";
            EXPECT_EQ(handle.RemoveTree("tree").error, std::errc::read_only_file_system);
            EXPECT_EQ(RemoveFile(TPath(m_temp / "tree/1")), std::errc::read_only_file_system);
            EXPECT_EQ(TempFolder::NamesIn(m_temp / "tree").size(), 3U);
        });
    if (!isMounted)
        GTEST_SKIP() << "needs the right to mount";
}

TEST_F(FileSystemTest, StopsWhenCancelled)
{
    m_temp.AddFile("tree/a/file", 1);
    const FolderHandle handle = Open(m_temp.Get());
    const CancellationScope scope([] { return true; });
    EXPECT_THROW(handle.MeasureTree("tree"), CancelledException);
    EXPECT_THROW(handle.RemoveTree("tree"), CancelledException);
    EXPECT_TRUE(fs::exists(m_temp / "tree/a/file"));
}
