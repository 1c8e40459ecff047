#include "brvcore/network/ContentUnpacker.h"

#include "brvcore/network/HTTPExceptions.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;
using Format = ContentUnpacker::Format;

// Of Python 3.11: gzip.compress(b"abcabcabcabc", mtime=0), zlib.compress(...), the same without header and checksum.
const std::string kText = "abcabcabcabc";
const std::string kGzip =
    "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\x4b\x4c\x4a\x4e\x84\x21\x00\x34\x2a\x6e\x5a\x0c\x00\x00\x00"s;
const std::string kZlib = "\x78\x9c\x4b\x4c\x4a\x4e\x84\x21\x00\x1d\xe0\x04\x99"s;
const std::string kRaw = "\x4b\x4c\x4a\x4e\x84\x21\x00"s;

struct Unpacked
{
    std::string text;
    bool isAtEnd;
};

Unpacked Unpack(Format format, std::string_view packed, std::size_t pieceSize)
{
    ContentUnpacker unpacker(format);
    std::string text;
    for (; !packed.empty(); packed.remove_prefix(std::min(pieceSize, packed.size())))
    {
        unpacker.Push(packed.substr(0, pieceSize));
        for (std::string_view piece = unpacker.Next(); !piece.empty(); piece = unpacker.Next())
            text += piece;
    }
    return {text, unpacker.IsAtEnd()};
}

TEST(ContentUnpacker, KnowsTheEndWhereverTheBodyIsCut)
{
    struct Row
    {
        Format format;
        std::string packed;
        std::string text;
        const char* why;
    };
    for (const Row& row : {
             Row{Format::Gzip, kGzip, kText, "gzip"},
             Row{Format::Deflate, kZlib, kText, "deflate"},
             Row{Format::Deflate, kRaw, kText, "deflate without its header"},
         })
        for (const std::size_t pieceSize : {std::size_t{1}, std::size_t{5}, std::size_t{1000}})
        {
            SCOPED_TRACE(row.why);
            const Unpacked whole = Unpack(row.format, row.packed, pieceSize);
            EXPECT_EQ(whole.text, row.text);
            EXPECT_TRUE(whole.isAtEnd);
            for (std::size_t size = 0; size < row.packed.size(); ++size)
                EXPECT_FALSE(Unpack(row.format, std::string_view(row.packed).substr(0, size), pieceSize).isAtEnd)
                    << size;
        }
}

TEST(ContentUnpacker, GoesOnBehindAMember)
{
    for (const std::size_t pieceSize : {std::size_t{1}, std::size_t{1000}})
    {
        EXPECT_EQ(Unpack(Format::Gzip, kGzip + kGzip, pieceSize).text, kText + kText);
        EXPECT_TRUE(Unpack(Format::Gzip, kGzip + std::string(9, '\0'), pieceSize).isAtEnd) << "padding";
        EXPECT_FALSE(Unpack(Format::Gzip, kGzip + kGzip.substr(0, 3), pieceSize).isAtEnd);
        EXPECT_THROW(Unpack(Format::Gzip, kGzip + "x", pieceSize), CurlException);
        EXPECT_THROW(Unpack(Format::Deflate, kZlib + kZlib, pieceSize), CurlException);
        EXPECT_THROW(Unpack(Format::Gzip, kZlib, pieceSize), CurlException);
        std::string damaged = kGzip;
        damaged[20] = static_cast<char>(damaged[20] ^ 1);   // of the checksum
        EXPECT_THROW(Unpack(Format::Gzip, damaged, pieceSize), CurlException);
    }
}

TEST(ContentUnpacker, PassesOverEmptyMembers)
{
    constexpr int kCount = 100'000;   // a call per member would be too many for the stack
    const std::string empty = "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\x03\x00"s + std::string(8, '\0');
    std::string packed;
    packed.reserve(kCount * empty.size() + kGzip.size());
    for (int i = 0; i < kCount; ++i)
        packed += empty;
    EXPECT_EQ(Unpack(Format::Gzip, packed + kGzip, packed.size() + kGzip.size()).text, kText);
}

TEST(ContentUnpacker, ReadsTheEncodingsName)
{
    EXPECT_EQ(ContentUnpacker::ParseEncoding(u""), std::nullopt);
    EXPECT_EQ(ContentUnpacker::ParseEncoding(u"identity"), std::nullopt);
    EXPECT_EQ(ContentUnpacker::ParseEncoding(u" X-GZIP "), Format::Gzip);
    EXPECT_EQ(ContentUnpacker::ParseEncoding(u"identity, deflate"), Format::Deflate);
    for (const char16_t* unknown : {u"br", u"gzip, gzip", u"gzip;q=1"})
        EXPECT_THROW(ContentUnpacker::ParseEncoding(unknown), CurlException);
}

}   // namespace
