#include "brvcore/foundation/RotatingFileChannel.h"

#include "brvcore/foundation/Clock.h"
#include "tests/support/TempFolder.h"

#include <atomic>
#include <map>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace TLog;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

std::string Content(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void Fill(const fs::path& path, const std::string& text)
{
    std::ofstream(path) << text;
}

std::size_t CountDescriptors()
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

struct StoppedClock : IClock
{
    std::chrono::steady_clock::time_point SteadyNow() override { return steady; }
    DateTime UniversalNow() override { return universal; }
    void Sleep(std::chrono::nanoseconds) override {}

    std::chrono::steady_clock::time_point steady{std::chrono::hours(1)};
    DateTime universal{2021, 3, 4, 5, 6, 7, 2'500'000};
};

// The clock stands at 2021-03-04 05:06:07.25; a test ends with as many descriptors as it began with.
class RotatingFileChannelTest : public testing::Test
{
protected:
    void SetUp() override { Clock::Replace(m_clock); }
    void TearDown() override
    {
        Clock::Replace(nullptr);
        EXPECT_EQ(CountDescriptors(), m_descriptors);
    }

    // All files of the folder, in the order of their names, in one text.
    std::string AllContent() const
    {
        std::string text;
        for (const std::string& name : m_temp.Names())
            text += Content(m_temp / name);
        return text;
    }

    std::shared_ptr<StoppedClock> m_clock = std::make_shared<StoppedClock>();
    std::size_t m_descriptors = CountDescriptors();
    TempFolder m_temp;
};

constexpr auto kInfo = LogSeverity::Info;
constexpr const char* kClosed = "app-20210304-050607-2500000.log";

}   // namespace

TEST_F(RotatingFileChannelTest, ClosesTheFileThatReachedItsLimit)
{
    struct Row
    {
        std::size_t rotateSize;
        const char* before;   // what an earlier process left
        std::vector<std::string> lines;
        std::map<std::string, std::string> files;
        const char* why;
    };
    const Row rows[] = {
        {9, "", {"1234", "1234", "x"}, {{kClosed, "1234\n1234\n"}, {"app.log", "x\n"}}, "the limit passed by a line"},
        {10, "", {"1234", "1234", "x"}, {{kClosed, "1234\n1234\n"}, {"app.log", "x\n"}}, "the limit met exactly"},
        {11, "", {"1234", "1234", "x"}, {{"app.log", "1234\n1234\nx\n"}}, "one byte short"},
        {1, "", {"longer than the limit"}, {{"app.log", "longer than the limit\n"}}, "no empty file is closed"},
        {10, "old 56789\n", {"x"}, {{kClosed, "old 56789\n"}, {"app.log", "x\n"}}, "full at the start"},
        {20, "old\n", {"x"}, {{"app.log", "old\nx\n"}}, "an earlier process's file goes on"},
        {0, "", {"1234", "1234", "x"}, {{"app.log", "1234\n1234\nx\n"}}, "0 never rotates"},
        {1, "", {"a", "b", "c"}, {{kClosed, "a\n"}, {"app-20210304-050607-2500001.log", "b\n"}, {"app.log", "c\n"}},
            "closed within one moment: the names still sort by age"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.why);
        const TempFolder folder;
        if (*row.before != '\0')
            Fill(folder / "app.log", row.before);
        SizeBasedRotateFileChannel channel(TPath(folder / "app.log"), row.rotateSize);
        ASSERT_FALSE(channel.Open());
        for (const std::string& line : row.lines)
            channel.Write(kInfo, line);
        ASSERT_FALSE(channel.Close());
        std::map<std::string, std::string> files;
        for (const std::string& name : folder.Names())
            files[name] = Content(folder / name);
        EXPECT_EQ(files, row.files);
    }
}

TEST_F(RotatingFileChannelTest, NamesClosedFilesAndSparesExistingOnes)
{
    const std::map<std::string, std::string> rows = {
        {"app", "app-20210304-050607-2500000"},
        {"app.tar.gz", "app.tar-20210304-050607-2500000.gz"},
        {".log", ".log-20210304-050607-2500000"},
        {"\xFF%1.log", "\xFF%1-20210304-050607-2500000.log"},
    };
    for (const auto& [name, closedName] : rows)
    {
        const TempFolder folder;
        SizeBasedRotateFileChannel channel(TPath(folder / name), 1);
        ASSERT_FALSE(channel.Open());
        channel.Write(kInfo, "a");
        channel.Rotate();
        EXPECT_THAT(folder.Names(), testing::UnorderedElementsAre(name, closedName));
    }
    Fill(m_temp / kClosed, "precious");
    fs::create_symlink("nowhere", m_temp / "app-20210304-050607-2500001.log");
    SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 1);
    ASSERT_FALSE(channel.Open());
    channel.Write(kInfo, "a");
    channel.Rotate();
    m_clock->universal = DateTime(2020, 1, 1);
    channel.Write(kInfo, "b");
    channel.Rotate();
    EXPECT_EQ(Content(m_temp / kClosed), "precious");
    EXPECT_EQ(Content(m_temp / "app-20210304-050607-2500002.log"), "a\n");
    EXPECT_EQ(Content(m_temp / "app-20210304-050607-2500003.log"), "b\n") << "the clock was set back";
}

TEST_F(RotatingFileChannelTest, WaitsForAWarningAFlushOrTheEnd)
{
    const fs::path path = m_temp / "app.log";
    {
        SizeBasedRotateFileChannel channel(TPath(path), 0);
        channel.Write(kInfo, "before Open");
        EXPECT_EQ(channel.GetDroppedLines(), 1U);
        ASSERT_FALSE(channel.Open());
        channel.Write(kInfo, "a");
        EXPECT_EQ(Content(path), "");
        channel.Write(LogSeverity::Warning, "b");
        EXPECT_EQ(Content(path), "a\nb\n");
        channel.Write(kInfo, "c");
        EXPECT_FALSE(channel.Flush());
        EXPECT_EQ(Content(path), "a\nb\nc\n");
        channel.Write(kInfo, "d");
        ASSERT_FALSE(channel.Open()) << "a second time";
        EXPECT_EQ(Content(path), "a\nb\nc\nd\n");
        channel.Write(kInfo, "e");
        const TString message = u"f";
        channel.Log({.isError = true, .message = message});
        channel.Write(kInfo, std::string(200'000, 'x'));
        EXPECT_EQ(Content(path), "a\nb\nc\nd\ne\n2021-03-04 05:06:07.250 Error f\n" + std::string(200'000, 'x') + '\n');
        channel.Write(kInfo, "end");
    }
    EXPECT_TRUE(Content(path).ends_with("x\nend\n"));
}

TEST_F(RotatingFileChannelTest, RefusesWhatIsNoRegularFile)
{
    ASSERT_EQ(mkfifo((m_temp / "pipe.log").c_str(), 0600), 0);
    fs::create_directory(m_temp / "folder.log");
    Fill(m_temp / "target", "");
    fs::create_symlink("target", m_temp / "link.log");
    fs::create_symlink("nowhere", m_temp / "lost.log");
    const std::pair<fs::path, std::errc> rows[] = {
        {m_temp / "pipe.log", std::errc::invalid_argument},
        {m_temp / "folder.log", std::errc::is_a_directory},
        {m_temp / "link.log", std::errc::invalid_argument},
        {m_temp / "lost.log", std::errc::invalid_argument},
        {m_temp / (std::string(240, 'x') + ".log"), std::errc::filename_too_long},
        {m_temp / "missing/app.log", std::errc::no_such_file_or_directory},
        {m_temp / std::string("app\0.log", 8), std::errc::invalid_argument},
        {"/dev/null", std::errc::invalid_argument},
        {"", std::errc::no_such_file_or_directory},
    };
    for (const auto& [path, error] : rows)
    {
        SizeBasedRotateFileChannel channel{TPath(path), 1};
        EXPECT_EQ(channel.Open(), error) << path;
        channel.Write(LogSeverity::Warning, "a");
        channel.Rotate();
        EXPECT_EQ(channel.GetDroppedLines(), 1U);
    }
    EXPECT_THAT(m_temp.Names(), ElementsAre("folder.log", "link.log", "lost.log", "pipe.log", "target"));
}

TEST_F(RotatingFileChannelTest, FollowsItsPathAfterSomebodyMovedTheFile)
{
    SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 2);
    ASSERT_FALSE(channel.Open());
    channel.Write(LogSeverity::Warning, "a");
    fs::rename(m_temp / "app.log", m_temp / "moved");
    channel.Write(LogSeverity::Warning, "b");
    fs::remove(m_temp / "app.log");
    Fill(m_temp / "app.log", "of somebody else\n");
    channel.Write(LogSeverity::Warning, "c");
    EXPECT_THAT(m_temp.Names(), ElementsAre("app.log", "moved"));
    EXPECT_EQ(Content(m_temp / "moved"), "a\n");
    EXPECT_EQ(Content(m_temp / "app.log"), "of somebody else\nc\n");
    fs::rename(m_temp / "app.log", m_temp / "target");
    fs::create_symlink("target", m_temp / "app.log");
    channel.Write(LogSeverity::Warning, "d");
    EXPECT_EQ(channel.GetRotationError(), std::errc::invalid_argument) << "a link in its place";
    EXPECT_EQ(Content(m_temp / "target"), "of somebody else\nc\nd\n");
}

TEST_F(RotatingFileChannelTest, SurvivesTheRemovalOfItsFolder)
{
    const fs::path folder = m_temp / "logs";
    fs::create_directory(folder);
    SizeBasedRotateFileChannel channel(TPath(folder / "app.log"), 2);
    ASSERT_FALSE(channel.Open());
    fs::remove_all(folder);
    channel.Write(LogSeverity::Warning, "a");
    channel.Write(LogSeverity::Warning, "b");
    EXPECT_EQ(channel.GetRotationError(), std::errc::no_such_file_or_directory);
    fs::create_directory(folder);
    m_clock->steady += std::chrono::seconds(1);
    channel.Write(LogSeverity::Warning, "c");
    EXPECT_FALSE(channel.GetRotationError());
    EXPECT_EQ(Content(folder / "app.log"), "c\n");
}

TEST_F(RotatingFileChannelTest, KeepsItsFileWhenTheProcessGoesElsewhere)
{
    const fs::path before = fs::current_path();
    fs::create_directory(m_temp / "elsewhere");
    fs::current_path(m_temp.Get());
    {
        SizeBasedRotateFileChannel channel(TPath(u"app.log"), 1);
        fs::current_path(m_temp / "elsewhere");
        EXPECT_FALSE(channel.Open());
        channel.Write(kInfo, "a");
        channel.Write(kInfo, "b");
    }
    fs::current_path(before);
    EXPECT_THAT(m_temp.Names(), ElementsAre(kClosed, "app.log", "elsewhere"));
    EXPECT_THAT(TempFolder::NamesIn(m_temp / "elsewhere"), IsEmpty());
}

TEST_F(RotatingFileChannelTest, GoesOnInTheSameFileWhileItCannotBeRenamed)
{
    Fill(m_temp / "app.log", "old\n");
    fs::permissions(m_temp / "app.log", fs::perms::all);
    fs::permissions(m_temp.Get(), static_cast<fs::perms>(0555));
    SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 4);
    const bool hasRun = RunWithoutPrivileges(
        [&]
        {
            EXPECT_FALSE(channel.Open());
            channel.Write(kInfo, "a");
            channel.Write(kInfo, "b");
            EXPECT_FALSE(channel.Flush());
        });
    fs::permissions(m_temp.Get(), fs::perms::all);
    if (!hasRun)
        GTEST_SKIP() << "the rights cannot be given up on this machine";
    EXPECT_EQ(channel.GetRotationError(), std::errc::permission_denied);
    EXPECT_EQ(AllContent(), "old\na\nb\n");
    channel.Write(kInfo, "c");   // now it could, but too early for another attempt
    EXPECT_THAT(m_temp.Names(), ElementsAre("app.log"));
    m_clock->steady += std::chrono::seconds(1);
    channel.Write(LogSeverity::Warning, "d");
    EXPECT_EQ(Content(m_temp / kClosed), "old\na\nb\nc\n");
    EXPECT_EQ(Content(m_temp / "app.log"), "d\n");
    EXPECT_FALSE(channel.GetRotationError());
}

// Every file of the tmpfs is an inode, so that with its last one taken a file can be renamed but the next not be made.
TEST_F(RotatingFileChannelTest, TakesTheNameBackWhenTheNextFileCannotBeMade)
{
    const bool isMounted = RunOnPrivateTmpfs(m_temp.Get(), "nr_inodes=3",
        [&]
        {
            SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 2);
            ASSERT_FALSE(channel.Open());
            Fill(m_temp / "other", "");   // the root, the log and this
            channel.Write(kInfo, "a");
            channel.Write(LogSeverity::Warning, "b");
            EXPECT_THAT(m_temp.Names(), ElementsAre("app.log", "other"));
            EXPECT_EQ(Content(m_temp / "app.log"), "a\nb\n");
            fs::remove(m_temp / "other");
            m_clock->steady += std::chrono::seconds(1);
            channel.Write(LogSeverity::Warning, "c");
            EXPECT_EQ(AllContent(), "a\nb\nc\n");
            EXPECT_EQ(m_temp.Names().size(), 2U);
        });
    if (!isMounted)
        GTEST_SKIP() << "no private mount on this machine";
}

// The disk fills, takes nothing for a while, and has room again: what is in the files is a part of what was logged, in its
// order, whole lines only, and the rest is counted.
TEST_F(RotatingFileChannelTest, SurvivesAFullDisk)
{
    const bool isMounted = RunOnPrivateTmpfs(m_temp.Get(), "size=512k",
        [&]
        {
            SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 150'000);
            ASSERT_FALSE(channel.Open());
            m_temp.AddFile("ballast", 0);
            Fill(m_temp / "ballast", std::string(200'000, 'x'));
            constexpr int kLines = 30'000;
            const auto line = [](int i) { return std::string(100, '.') + std::to_string(i); };
            for (int i = 0; i < kLines / 2; ++i)
                channel.Write(kInfo, line(i));
            EXPECT_EQ(channel.Flush(), std::errc::no_space_on_device);
            EXPECT_GT(channel.GetDroppedLines(), 0U);
            EXPECT_LE(m_temp.Names().size(), 5U) << "no trail of empty files";
            fs::remove(m_temp / "ballast");
            m_clock->steady += std::chrono::seconds(1);
            for (int i = kLines / 2; i < kLines; ++i)
            {
                channel.Write(kInfo, line(i));
                if (const std::vector<std::string> names = m_temp.Names(); names.size() > 2)
                {
                    ASSERT_TRUE(Content(m_temp / names[0]).ends_with('\n')) << names[0];
                    fs::remove(m_temp / names[0]);   // somebody makes room
                }
                if (i % 1000 == 0)
                    m_clock->steady += std::chrono::seconds(1);
            }
            EXPECT_FALSE(channel.Close());
            std::istringstream text(AllContent());
            int last = -1;
            for (std::string read; std::getline(text, read);)
            {
                const int number = read.size() > 100 ? std::stoi(read.substr(100)) : -1;
                ASSERT_GT(number, last) << read;
                ASSERT_EQ(read, line(number));
                last = number;
            }
            EXPECT_EQ(last, kLines - 1);
        });
    if (!isMounted)
        GTEST_SKIP() << "no private mount on this machine";
}

TEST_F(RotatingFileChannelTest, LeavesNoPartOfALineOnAFullDisk)
{
    constexpr std::uint64_t kLines = 300;
    const bool isMounted = RunOnPrivateTmpfs(m_temp.Get(), "size=64k",
        [&]
        {
            for (const std::size_t rotateSize : {0UL, 15'000UL})
            {
                Fill(m_temp / "ballast", std::string(45'000, 'x'));   // leaves 20,480 bytes, no multiple of a line
                SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), rotateSize);
                ASSERT_FALSE(channel.Open());
                for (std::uint64_t i = 0; i < kLines; ++i)
                {
                    channel.Write(LogSeverity::Warning, std::string(100, '.'));
                    m_clock->steady += std::chrono::seconds(1);
                }
                EXPECT_EQ(channel.Close(), std::errc::no_space_on_device);
                std::uint64_t lines = 0;
                for (const std::string& name : m_temp.Names())
                    if (name != "ballast")
                    {
                        const std::string text = Content(m_temp / name);
                        EXPECT_EQ(text.size() % 101, 0U) << name;
                        lines += text.size() / 101;
                        fs::remove(m_temp / name);
                    }
                EXPECT_GT(lines, 150U);
                EXPECT_EQ(lines + channel.GetDroppedLines(), kLines);
            }
        });
    if (!isMounted)
        GTEST_SKIP() << "no private mount on this machine";
}

TEST_F(RotatingFileChannelTest, DropsWhatComesAfterAGiantLineOnAFullDisk)
{
    const bool isMounted = RunOnPrivateTmpfs(m_temp.Get(), "size=64k",
        [&]
        {
            SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 0);
            ASSERT_FALSE(channel.Open());
            channel.Write(kInfo, std::string(2 << 20, 'x'));
            EXPECT_EQ(channel.GetDroppedLines(), 0U) << "waits alone";
            channel.Write(kInfo, "a");
            channel.Write(kInfo, "b\nc");
            EXPECT_EQ(channel.GetDroppedLines(), 3U);
            EXPECT_EQ(channel.Close(), std::errc::no_space_on_device);
            EXPECT_EQ(channel.GetDroppedLines(), 4U);
            EXPECT_EQ(Content(m_temp / "app.log"), "");
            ASSERT_TRUE(MakeReadOnly(m_temp.Get()));
            EXPECT_EQ(channel.Open(), std::errc::read_only_file_system);
        });
    if (!isMounted)
        GTEST_SKIP() << "no private mount on this machine";
}

TEST_F(RotatingFileChannelTest, ThreadsLoseNothing)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 2000;
    {
        SizeBasedRotateFileChannel channel(TPath(m_temp / "app.log"), 5000);
        ASSERT_FALSE(channel.Open());
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back(
                [&channel, t]
                {
                    for (int i = 0; i < kLines; ++i)
                        channel.Write(
                            i % 50 == 0 ? LogSeverity::Warning : kInfo, std::to_string(t) + ' ' + std::to_string(i));
                });
        for (std::thread& thread : threads)
            thread.join();
    }
    std::istringstream text(AllContent());
    std::vector<int> next(kThreads, 0);
    for (int t = 0, i = 0; text >> t >> i;)
        ASSERT_EQ(i, next.at(static_cast<std::size_t>(t))++);
    EXPECT_THAT(next, testing::Each(kLines));
    for (const std::string& name : m_temp.Names())
        EXPECT_LT(fs::file_size(m_temp / name), 5000U + 7U) << name;
    EXPECT_GT(m_temp.Names().size(), 8U);
}

TEST(FormatLogLine, WritesOneLine)
{
    const DateTime moment(2021, 3, 4, 5, 6, 7, 59'999);
    const std::string prefix = "2021-03-04 05:06:07.005 ";
    const TString message = u"a\nb\u00E9\x1B[0m \"%1\"";
    const std::string text = "a\\nb\xC3\xA9\\x1B[0m \"%1\"";
    const LogFields none;
    const LogFields fields{{u"k", u"v\"\\\r"}, {u"path", u"\tc"}};
    const TError::ErrorInfo noError;
    const TError::ErrorInfo error(BrevionError::MakeError(0xABCDEF, u"x\ny"));
    EXPECT_EQ(FormatLogLine(moment, {.severity = LogSeverity::Debug, .message = message}), prefix + "Debug " + text);
    EXPECT_EQ(FormatLogLine(moment, {.severity = kInfo, .message = message, .fields = &none, .error = &noError}),
        prefix + "Info " + text);
    EXPECT_EQ(FormatLogLine(moment, {.isError = true,
                                        .errorSeverity = LogErrorSeverity::Fatal,
                                        .message = message,
                                        .fields = &fields,
                                        .error = &error}),
        prefix + "Fatal " + text + R"( {"k": "v\"\\\r", "path": "\tc"} [0x00ABCDEF x\ny])");
}
