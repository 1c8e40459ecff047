#include "brvcore/foundation/DataValue.h"
#include "brvcore/foundation/FieldName.h"
#include "brvcore/foundation/HashCombine.h"
#include "brvcore/foundation/TextFile.h"
#include "brvcore/foundation/Tuple.h"
#include "tests/support/LogicAssert.h"
#include "tests/support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(DataValue, ComparesTypeAndContent)
{
    EXPECT_EQ(DataValue(), DataValue());
    EXPECT_NE(DataValue::Integer(1), DataValue::Real(1.0));
    EXPECT_NE(DataValue::Integer(1), DataValue::Boolean(true));
    EXPECT_EQ(DataValue::Real(0.0), DataValue::Real(-0.0));
    EXPECT_EQ(DataValue::Real(0.0).Hash(), DataValue::Real(-0.0).Hash());
    EXPECT_NE(DataValue::Real(std::numeric_limits<double>::quiet_NaN()),
        DataValue::Real(std::numeric_limits<double>::quiet_NaN()));
    const DateTime noon(2024, 2, 29, 12);
    EXPECT_EQ(DataValue::Date(noon), DataValue::Date(DateTime(2024, 2, 29)));
    EXPECT_NE(DataValue::Date(DateTime(2024, 2, 29)), DataValue::FromDateTime(DateTime(2024, 2, 29)));
}

TEST(DataValue, ReadsOnlyItsOwnType)
{
    EXPECT_LOGIC_ASSERT(DataValue::Integer(1).GetReal(), 0xE8043D51, "type == expected");
    EXPECT_LOGIC_ASSERT(DataValue().GetString(), 0xE8043D51, "type == expected");
    EXPECT_LOGIC_ASSERT(DataValue::Integer(1).GetDateTime(), 0xE8043D51, "type == expected");
    EXPECT_EQ(DataValue::Date(DateTime(2024, 2, 29, 12)).GetDateTime(), DateTime(2024, 2, 29));
}

TEST(DataValue, WritesItself)
{
    EXPECT_EQ(DataValue().ToText(), u"");
    EXPECT_EQ(DataValue::Integer(-7).ToText(), u"-7");
    EXPECT_EQ(DataValue::Real(0.1).ToText(), u"0.1");
    EXPECT_EQ(DataValue::Boolean(false).ToText(), u"false");
    EXPECT_EQ(DataValue::Date(DateTime(2024, 2, 29)).ToText(), u"2024-02-29");
    EXPECT_EQ(DataValue::FromDateTime(DateTime(2024, 2, 29, 1, 2, 3)).ToText(), u"2024-02-29 01:02:03");
}

TEST(Tuple, HashesInOrder)
{
    const Tuple ab({DataValue::String(u"a"), DataValue::String(u"b")});
    const Tuple ba({DataValue::String(u"b"), DataValue::String(u"a")});
    EXPECT_FALSE(ab == ba);
    EXPECT_NE(ab.Hash(), ba.Hash());
    EXPECT_EQ(ab.Hash(), Tuple(ab.GetValues()).Hash());
}

TEST(QualifiedName, DoublesClosingBrackets)
{
    EXPECT_EQ(QualifiedName(u"a]b", FieldName(u"c")).ToText(), u"[a]]b].[c]");
    EXPECT_EQ(QualifiedName({}, FieldName(u"c")).ToText(), u"[c]");
}

// One block each of MurmurHash3 x86_32 without its finish, worked by hand in Python.
TEST(THashCombine32, IsTheSameEverywhere)
{
    EXPECT_EQ(THashCombine32(0xDEADBEEF).Get(), 0xDEADBEEFU);
    EXPECT_EQ(THashCombine32(0xDEADBEEF).Add(std::uint32_t{0}).Get(), 0x7DAA568DU);
    EXPECT_EQ(THashCombine32().Add(-1).Get(), THashCombine32().Add(0xFFFFFFFFU).Get());
    EXPECT_EQ(THashCombine32().Add(-0.0).Get(), THashCombine32().Add(0).Get());
    static_assert(
        !std::is_invocable_v<decltype([](auto x) -> decltype(THashCombine32().Add(x)) { return {}; }), char*>);
}

namespace
{

class TextFileTest : public testing::Test
{
protected:
    TPath Write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(m_folder / name, std::ios::binary) << bytes;
        return TPath(m_folder / name);
    }

    TempFolder m_folder;
};

}   // namespace

TEST_F(TextFileTest, ReadsByMark)
{
    EXPECT_EQ(TextFile::Load(Write("plain", "a\xC3\xA9")), u"a\u00E9");
    EXPECT_EQ(TextFile::Load(Write("mark", "\xEF\xBB\xBFx")), u"x");
    EXPECT_EQ(TextFile::Load(Write("little", "\xFF\xFE\x41\x00\x3D\xD8\x00\xDE"s)), u"A\U0001F600");
    EXPECT_EQ(TextFile::Load(Write("big", "\xFE\xFF\x00\x41"s)), u"A");
    EXPECT_EQ(TextFile::Load(Write("odd", "\xFF\xFE\x41\x00\x42"s)), u"A\uFFFD");
    EXPECT_EQ(TextFile::Load(Write("empty", "")), u"");
    EXPECT_EQ(TextFile::Load(Write("latin1", "\xE9")).ToUTF8(), "\xE9") << "kept, not replaced";
    EXPECT_EQ(TextFile::Load(Write("name\xFF", "odd name")), u"odd name");
}

TEST(TPath, KeepsNativeBytesAndTakesNamesApart)
{
    const TPath path(u"/tmp/caf\u00E9/table.csv");
    EXPECT_EQ(path.GetFileName(), u"table.csv");
    EXPECT_EQ(path.GetExtension(), u".csv");
    EXPECT_EQ(path.GetParent() / u"table.csv", path);
    const TPath odd(std::filesystem::path("/tmp/\xFF.csv"));
    EXPECT_EQ(TPath(odd.ToText()), odd);
}

TEST_F(TextFileTest, NamesTheFileThatCannotBeRead)
{
    const TPath missing(m_folder / "missing");
    const std::string path = missing.GetNative().string();
    Write("sec", "secret");
    EXPECT_THROW(TextFile::Load(TPath(m_folder / "sec\0.csv"s)), LogicException) << "not the file before the NUL";
    EXPECT_LOGIC_ASSERT(
        TextFile::Load(missing), 0x2C7F48BA, ("Cannot read \"" + path + "\": No such file or directory").c_str());
    EXPECT_LOGIC_ASSERT(TextFile::Load(m_folder.Path()), 0x2C7F48BA,
        ("Cannot read \"" + m_folder.Get().string() + "\": Is a directory").c_str());
}
