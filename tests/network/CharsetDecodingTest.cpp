#include "brvcore/network/CharsetDecoding.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

using namespace std::string_view_literals;

// The bytes are from the tables of the standards, or by Python's codecs.
TEST(CharsetDecoding, FollowsTheNamedSet)
{
    const struct
    {
        std::string_view bytes;
        const char16_t* charset;
        std::u16string_view text;
        const char* why;
    } rows[] = {
        {"caf\xE9"sv, u"ISO-8859-1", u"café"sv, "one byte"},
        {"caf\xE9"sv, u"LATIN1", u"café"sv, "an alias, in another letter case"},
        {"\x80 5"sv, u"windows-1252", u"€ 5"sv, "where it differs from ISO 8859-1"},
        {"\xC1\xC2"sv, u"koi8-r", u"аб"sv, "Cyrillic"},
        {"\x83\x65\x83\x58"sv, u"Shift_JIS", u"テス"sv, "two bytes; the second is an ASCII letter"},
        {"\xA5\xC6"sv, u"EUC-JP", u"テ"sv, "the same in another form"},
        {"\x1B$B%F\x1B(B!"sv, u"ISO-2022-JP", u"テ!"sv, "with state"},
        {"\x81\x36\xB3\x32\xC4\xE3"sv, u"GB18030", u"\u20AD\u4F60"sv, "four bytes and two"},
        {"a\xFF"sv, u"US-ASCII", u"a\uFFFD"sv, "no meaning"},
        {"a\x83"sv, u"Shift_JIS", u"a\uFFFD"sv, "cut off inside a character"},
        {"\xD8\x3D\xDE\x00"sv, u"UTF-16BE", u"\U0001F600"sv, "a pair"},
        {"\x3D\xD8\x41\x00"sv, u"UTF-16LE", u"\uFFFDA"sv, "half a pair"},
        {"a+3AA-b"sv, u"UTF-7", u"a\uFFFDb"sv, "half a pair: 3AA is 0xDC00 in base 64"},
        {"\xFF\xFE\x41\x00"sv, u"UTF-16", u"A"sv, "by its mark"},
        {"\xFF\xFE\x41\x00"sv, u"utf-16le", u"A"sv, "the mark is dropped"},
        {"\xEF\xBB\xBF\xC3\xA9"sv, u"UTF-8", u"é"sv, "the mark is dropped"},
        {"\xEF\xBB\xBF\xC3\xA9"sv, u"", u"é"sv, "no name: UTF-8"},
        {"\xC3\xA9\xFF"sv, u"utf8", u"é\xDCFF"sv, "UTF-8 keeps what is none"},
        {"\xC3\xA9"sv, u"x-unheard-of", u"é"sv, "unknown: UTF-8"},
        {"\xC3\xA9"sv, u"../../etc/passwd", u"é"sv, "a name is not a file's"},
        {"\xC3\xA9"sv, u"é,\u0001=", u"é"sv, "a name is not even ASCII"},
        {""sv, u"Shift_JIS", u""sv, "nothing"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DecodeHttpStringResponse(row.bytes, row.charset), TString(row.text)) << row.why;
}

TEST(CharsetDecoding, UTFIsFoundByItsMark)
{
    const struct
    {
        std::string_view bytes;
        const char16_t* charset;
        std::u16string_view text;
        const char* why;
    } rows[] = {
        {"\xFF\xFE\x41\x00"sv, u"UTF-8", u"A"sv, "the mark counts more than the name"},
        {"\xFE\xFF\x00\x41"sv, u"", u"A"sv, "big-endian"},
        {"\xFF\xFE\x00\x00\x41\x00\x00\x00"sv, u"", u"A"sv, "32 bits, not 16 bits and a zero"},
        {"\x00\x00\xFE\xFF\x00\x00\x00\x41"sv, u"", u"A"sv, "32 bits, big-endian"},
        {"\xEF\xBB\xBF\xC3\xA9"sv, u"UTF-16", u"é"sv, "UTF-8 under a wrong name"},
        {"\x00\x41"sv, u"UTF-16BE", u"A"sv, "by name"},
        {"\xC3\xA9"sv, u"ISO-8859-1", u"é"sv, "a name that is no UTF does not count"},
        {"\xFF"sv, u"", u"\xDCFF"sv, "UTF-8, and what is none is kept"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DecodeHttpUTFStringResponse(row.bytes, row.charset), TString(row.text)) << row.why;
}

// A character across every place where the work space of the decoder may end.
TEST(CharsetDecoding, LongTextIsWhole)
{
    for (std::size_t lead = 0; lead < 2; ++lead)
    {
        std::string bytes(lead, 'x');
        std::u16string text(lead, u'x');
        for (int i = 0; i < 9000; ++i)
        {
            bytes += "\xD8\x3D\xDE\x00"sv;
            text += u"\U0001F600";
        }
        if (lead == 1)
            bytes.insert(0, 1, '\0');
        EXPECT_EQ(DecodeHttpStringResponse(bytes, u"UTF-16BE"), TString(text));
    }
}
