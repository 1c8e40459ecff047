#include "brvcore/foundation/TString.h"

#include "tests/support/LogicAssert.h"

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(TString, CopiesShareUntilOneChanges)
{
    TString a = u"shared";
    const TString b = a;
    EXPECT_EQ(a.View().data(), b.View().data());
    a += u'!';
    EXPECT_EQ(a, u"shared!");
    EXPECT_EQ(b, u"shared");
}

TEST(TString, AppendsItself)
{
    TString text = u"ab";
    for (int i = 0; i < 3; ++i)
        text.Append(text);
    EXPECT_EQ(text, u"abababababababab");
    text.Append(text.View().substr(0, 1));   // a view into the block that grows or stays
    EXPECT_EQ(text.Length(), 17U);
    EXPECT_EQ(text[16], u'a');
}

TEST(TString, RefusesAPositionOutside)
{
    EXPECT_LOGIC_ASSERT(TString(u"ab")[2], 0x91D0A6F3, "position < length");
    EXPECT_LOGIC_ASSERT(TString()[0], 0x91D0A6F3, "position < length");
}

TEST(TString, ReadsAndWritesUTF8)
{
    const struct
    {
        const char* bytes;
        const char16_t* text;
    } rows[] = {
        {"", u""},
        {"plain", u"plain"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u00E9\u20AC\U0001F600"},
        {"\xEF\xBF\xBF", u"\uFFFF"},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(TString::FromUTF8(row.bytes), row.text);
        EXPECT_EQ(TString(row.text).ToUTF8(), row.bytes);
    }
}

TEST(TString, KeepsBytesThatAreNotUTF8)
{
    // A lone byte, a cut sequence, an overlong form, a surrogate in UTF-8, beyond U+10FFFF, and zero bytes.
    for (const std::string& bytes : {"a\xFFz"s, "\xE2\x82"s, "\xC0\xAF"s, "\xED\xA0\xBD\xED\xB2\x80"s,
             "\xF4\x90\x80\x80"s, "\x80\x80"s, "x\0y"s, "\xC3"s})
        EXPECT_EQ(TString::FromUTF8(bytes).ToUTF8(), bytes);

    std::mt19937 generator(7);
    for (int round = 0; round < 2000; ++round)
    {
        std::string bytes(generator() % 12, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(generator() % 3 == 0 ? generator() : 0x80U | (generator() & 0x7FU));
        ASSERT_EQ(TString::FromUTF8(bytes).ToUTF8(), bytes);
    }
}

TEST(TString, WritesALoneSurrogateAsThreeBytes)
{
    const char16_t high[] = {u'a', 0xD83D, u'b', 0};
    EXPECT_EQ(TString(high).ToUTF8(), "a\xED\xA0\xBD"s + "b");
    const char16_t lows[] = {0xDCC3, 0xDCA9, 0};   // as bytes they would read as another character
    EXPECT_EQ(TString(lows).ToUTF8(), "\xED\xB3\x83\xED\xB2\xA9"s);
}

// Under every C locale: the decimal separator is the point.
TEST(TString, ReadsNumbers)
{
    constexpr double kNone = -12345.0;
    const struct
    {
        const char16_t* text;
        double value;
    } rows[] = {{u"1.5", 1.5}, {u" +1e3\r", 1000.0}, {u"-.5", -0.5}, {u"5.", 5.0}, {u"", kNone}, {u"+", kNone},
        {u"+-1", kNone}, {u"1,5", kNone}, {u"1 2", kNone}, {u"0x10", kNone}, {u"1e400", kNone}, {u"1e-400", kNone},
        {u"\uFF11", kNone}, {u"\u00A01", kNone}, {u"inf", std::numeric_limits<double>::infinity()}, {u"0.1", 0.1},
        {u"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min()}};
    for (const auto& row : rows)
        EXPECT_EQ(TString(row.text).ToDouble().value_or(kNone), row.value) << TString(row.text).ToUTF8();
    EXPECT_TRUE(std::isnan(TString(u"nan").ToDouble().value_or(0.0)));
    EXPECT_EQ((TString(u"0.") + TString(100, u'0') + u"1").ToDouble(), 1e-101) << "longer than the fixed buffer";

    EXPECT_EQ(TString(u"-9223372036854775808").ToInt(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(TString(u"9223372036854775808").ToInt(), std::nullopt);
    EXPECT_EQ(TString(u"ff").ToInt(16), 255);
    EXPECT_EQ(TString(u"1.0").ToInt(), std::nullopt);
}

TEST(TString, WritesNumbers)
{
    EXPECT_EQ(TString::FromDouble(0.1), u"0.1");
    EXPECT_EQ(TString::FromDouble(1e22), u"1e+22");
    EXPECT_EQ(TString::FromDouble(-std::numeric_limits<double>::quiet_NaN()), u"nan");
    EXPECT_EQ(TString::FromDouble(-std::numeric_limits<double>::quiet_NaN(), 'f', 2), u"nan");
    EXPECT_LOGIC_ASSERT(TString::FromInt(1, 1), 0x3FA08D16, "2 <= base && base <= 36");
    EXPECT_LOGIC_ASSERT(TString(u"1").ToInt(37), 0xB46E92D7, "2 <= base && base <= 36");
    EXPECT_EQ(TString::FromDouble(1234.565, 'f', 2), u"1234.57");   // the double lies above the tie
    EXPECT_EQ(TString::FromDouble(1e300, 'f', 0).Length(), 301U);
    EXPECT_EQ(TString::FromInt(std::numeric_limits<std::int64_t>::min(), 2), TString(u"-1") + TString(63, u'0'));
}

// Turkish has another upper case of i; the library's names do not change with the user's language.
TEST(TString, MapsCaseWithoutTheLocale)
{
    EXPECT_EQ(TString(u"title").ToUpper(), u"TITLE");
    EXPECT_EQ(TString(u"TITLE").ToLower(), u"title");
    EXPECT_EQ(TString(u"stra\u00DFe i").ToUpper(), u"STRASSE I") << "longer than the original";
    EXPECT_EQ(TString(u"\u0130").ToLower(), u"i\u0307");
}

TEST(TString, SplitsTrimsReplaces)
{
    EXPECT_EQ(TString(u"a,,b,").Split(u","), (std::vector<TString>{u"a", u"", u"b", u""}));
    EXPECT_EQ(TString().Split(u","), (std::vector<TString>{u""}));
    EXPECT_EQ(TString(u"abc").Split(u""), (std::vector<TString>{u"abc"}));
    EXPECT_EQ(TString(u"\u3000 a b\t").Trimmed(), u"a b");
    EXPECT_EQ(TString(u"aaa").Replaced(u"aa", u"b"), u"ba");
    EXPECT_EQ(TString(u"aXa").Replaced(u"X", u"XX"), u"aXXa");
    EXPECT_EQ(TString(u"abc").Mid(3), u"");
    EXPECT_EQ(TString(u"abc").Mid(1, 1), u"b");
}

TEST(TString, OrdersByCodeUnit)
{
    EXPECT_LT(TString(u"Z"), TString(u"a"));
    EXPECT_LT(TString(u"a"), TString(u"aa"));
    EXPECT_LT(TString(u"\U0001F600"), TString(u"\uFFFF")) << "a surrogate pair stands before the end of the BMP";
}

// FNV-1a over 16-bit units, worked out with a pocket calculator program: the value is part of stored documents.
TEST(TString, HashIsTheSameEverywhere)
{
    EXPECT_EQ(TString().Hash(), 0x811C9DC5U);
    EXPECT_EQ(TString(u"a").Hash(), 0xE40C292CU);   // the published value of the byte "a"
    EXPECT_EQ(TString(u"foobar").Hash(), 0xBF9CF968U);
}

TEST(TString, SharesAcrossThreads)
{
    const TString shared = u"one block";
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [shared]
            {
                for (int i = 0; i < 2000; ++i)
                {
                    TString copy = shared;
                    copy += u'x';
                    EXPECT_EQ(copy.Length(), 10U);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared, u"one block");
}
