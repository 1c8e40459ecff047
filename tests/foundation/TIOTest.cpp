#include "brvcore/foundation/TIO.h"

#include "brvcore/foundation/TextFile.h"
#include "tests/support/TempFolder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <stdexcept>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

class TFileIOTest : public testing::Test
{
protected:
    TPath File(const char* name) const { return TPath(m_folder / name); }

private:
    TempFolder m_folder;
};

std::string ReadAll(TRandomIO& io)
{
    io.SetPosition(0);
    std::string bytes;
    char buffer[3];
    while (const std::size_t count = io.Read(buffer, sizeof buffer))
        bytes.append(buffer, count);
    return bytes;
}

// What every stream with a position does.
void ExpectRandomAccess(TRandomIO& io)
{
    io.Write("abcdef");
    EXPECT_EQ(io.GetPosition(), 6U);
    io.SetPosition(2);
    io.Write("XY");
    EXPECT_EQ(ReadAll(io), "abXYef");
    io.SetPosition(5);
    io.Write("123");
    EXPECT_EQ(ReadAll(io), "abXYe123") << "over the end";
    io.SetPosition(10);
    io.Write("");
    EXPECT_EQ(io.GetSize(), 8U) << "nothing written is no gap";
    io.Write("z");
    EXPECT_EQ(ReadAll(io), std::string("abXYe123\0\0z", 11)) << "a gap of zeros";
    char byte = 0;
    EXPECT_EQ(io.Read(&byte, 1), 0U) << "at the end";
    io.SetPosition(std::uint64_t{1} << 40);
    EXPECT_EQ(io.Read(&byte, 1), 0U) << "far beyond the end";
    io.SetSize(3);
    io.SetSize(5);
    EXPECT_EQ(ReadAll(io), std::string("abX\0\0", 5));
}

void ExpectSystemError(const std::function<void()>& act, int reason, const std::string& textInMessage)
{
    try
    {
        act();
        ADD_FAILURE() << "no exception: " << textInMessage;
    }
    catch (const std::system_error& error)
    {
        EXPECT_EQ(error.code(), std::error_code(reason, std::generic_category()));
        EXPECT_THAT(error.what(), testing::HasSubstr(textInMessage));
    }
}

}   // namespace

TEST(TMemoryIO, ReadsAndWritesAnywhere)
{
    TMemoryIO io;
    ExpectRandomAccess(io);
    EXPECT_EQ(io.TakeBytes().size(), 5U);
    EXPECT_EQ(io.GetSize(), 0U);
    EXPECT_EQ(io.GetPosition(), 0U);
    io.SetPosition(std::numeric_limits<std::uint64_t>::max());
    EXPECT_THROW(io.Write("ab"), std::length_error) << "must not wrap around to the front";
}

TEST_F(TFileIOTest, ReadsAndWritesAnywhere)
{
    TFileIO io(File("file"), TFileIO::Mode::CreateNew);
    ExpectRandomAccess(io);
    EXPECT_EQ(TextFile::LoadBytes(File("file")), std::string("abX\0\0", 5)) << "unbuffered: others see it";
}

TEST_F(TFileIOTest, OpensAsTheModeSays)
{
    const TPath path = File("file");
    ExpectSystemError([&] { TFileIO(path, TFileIO::Mode::Read); }, ENOENT, path.GetNative().native());
    TFileIO(path, TFileIO::Mode::ReadWrite).Write("kept");
    TFileIO kept(path, TFileIO::Mode::ReadWrite);
    EXPECT_EQ(ReadAll(kept), "kept");
    ExpectSystemError([&] { TFileIO(path, TFileIO::Mode::CreateNew); }, EEXIST, path.GetNative().native());
    ExpectSystemError([&] { TFileIO(path, TFileIO::Mode::Read).Write("x"); }, EBADF, path.GetNative().native());
    TFileIO(path, TFileIO::Mode::Truncate);
    EXPECT_EQ(kept.GetSize(), 0U);

    TFileIO(File("private"), TFileIO::Mode::CreateNew);
    EXPECT_EQ(std::filesystem::status(File("private").GetNative()).permissions(),
        std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    ExpectSystemError([&] { TFileIO(path, TFileIO::Mode::CreateNewShared); }, EEXIST, path.GetNative().native());
}

TEST_F(TFileIOTest, FailuresNameThePath)
{
    TFileIO full(TPath(u"/dev/full"), TFileIO::Mode::ReadWrite);
    ExpectSystemError([&] { full.Write("x"); }, ENOSPC, "/dev/full");
    EXPECT_EQ(full.GetPosition(), 0U);

    TFileIO closed(File("closed"), TFileIO::Mode::Truncate);
    closed.Close();
    closed.Close();
    ExpectSystemError([&] { closed.Write("x"); }, EBADF, "closed");

    TFileIO folder(File("."), TFileIO::Mode::Read);
    char byte = 0;
    ExpectSystemError([&] { folder.Read(&byte, 1); }, EISDIR, File(".").GetNative().native());

    TFileIO far(File("far"), TFileIO::Mode::Truncate);
    far.SetPosition(std::numeric_limits<std::uint64_t>::max());
    ExpectSystemError([&] { far.Write("x"); }, EINVAL, "far");

    const TPath cut(std::filesystem::path(File("name").GetNative().native() + std::string("\0hidden", 7)));
    ExpectSystemError([&] { TFileIO(cut, TFileIO::Mode::Truncate); }, EINVAL, "name");
    EXPECT_FALSE(std::filesystem::exists(File("name").GetNative()));
}
