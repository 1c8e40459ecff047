#include "brvcore/network/MultipartBoundary.h"
#include "brvcore/network/MultipartResponsePart.h"
#include "tests/network/PieceSource.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using namespace std::string_view_literals;

using BoundaryType = MultipartResponsePart::BoundaryType;
using enum MultipartResponsePart::BoundaryType;

constexpr auto kNoBoundary = "Couldn't find initial boundary. MultipartReply cannot be parsed.";
constexpr auto kNoPart = "Failed to start processing a part of a multipart reply";
constexpr auto kTruncated = "The transfer ended inside a part of a multipart reply";

struct Part
{
    HeaderBase::Headers headers;
    std::string data;
    friend bool operator==(const Part&, const Part&) = default;
};

// Sizes of pieces: all the body, one byte at a time, or one cut.
PieceSource::NextSize Whole()
{
    return [] { return std::string::npos; };
}
PieceSource::NextSize OneByteEach()
{
    return [] { return std::size_t{1}; };
}
PieceSource::NextSize CutAt(std::size_t cut)
{
    return [cut]() mutable { return std::exchange(cut, std::string::npos); };
}

std::string ReadRest(TNetworkMultipartReply& reply, std::size_t readSize)
{
    std::string data;
    std::string buffer(readSize, '\0');
    while (!reply.PartDataTransferComplete())
        data.append(buffer, 0, reply.ReadFromPart(buffer.data(), readSize));
    return data;
}

std::vector<Part> ReadAll(
    IBufferSource& source, std::size_t readSize, std::size_t leastCapacity = TNetworkMultipartReply::kDefaultCapacity)
{
    std::vector<Part> parts;
    TNetworkMultipartReply reply(source, leastCapacity);
    while (!reply.IsDone() && reply.ConstructNextPart())
        parts.push_back(Part{reply.GetPartHeaders(), ReadRest(reply, readSize)});
    return parts;
}

void ExpectPartsAtEveryCut(std::string_view body, const std::vector<Part>& parts)
{
    for (const std::size_t readSize : {1U, 7U, 4096U})
    {
        PieceSource bytes(body, body.size(), OneByteEach());
        EXPECT_EQ(ReadAll(bytes, readSize), parts) << "reads of " << readSize;
    }
    for (std::size_t cut = 1; cut <= body.size(); ++cut)
    {
        PieceSource source(body, body.size(), CutAt(cut));
        ASSERT_EQ(ReadAll(source, 4096), parts) << "cut at " << cut;
    }
}

std::string FromHex(const std::string& hex)
{
    std::string bytes;
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// Reads everything, in reads of 16 bytes; what was read before the exception stays in `data`.
void ReadUntilThrow(TNetworkMultipartReply& reply, std::string& data)
{
    char buffer[16];
    while (reply.ConstructNextPart())
        while (const std::size_t count = reply.ReadFromPart(buffer, sizeof buffer))
            data.append(buffer, count);
}

}   // namespace

TEST(MultipartBoundary, SearchesTheBuffer)
{
    const MultipartBoundary boundary("--ab");
    struct Row
    {
        std::string_view data;
        std::size_t length;
        BoundaryType type;
        std::size_t offset;
        const char* why;
    };
    constexpr std::size_t kAll = std::string::npos;
    for (const Row& row : {
             Row{"", kAll, None, 0, "nothing to search"},
             Row{"x-y-z", kAll, None, 5, "single hyphens"},
             Row{"x--zzzzz", kAll, None, 8, "two hyphens, other text"},
             Row{"x--ab\r\n", kAll, Boundary, 1, "a part boundary"},
             Row{"--abc\n", kAll, Boundary, 0, "whatever follows"},
             Row{"x--ab--", kAll, FinalBoundary, 1, "the final boundary at the very end"},
             Row{"--ab----ab\r\n", kAll, FinalBoundary, 0, "the first of two"},
             Row{"--a--ab\r\n", kAll, Boundary, 3, "after a failed match"},
             Row{"x---ab\r\n", kAll, Boundary, 2, "a failed match moves on by one byte"},
             Row{"----ab--", kAll, FinalBoundary, 2, "or by two, one at a time"},
             Row{"x--ab-", kAll, Incomplete, 1, "part or final boundary"},
             Row{"x--ab", kAll, Incomplete, 1, "the same with less"},
             Row{"x-", kAll, Incomplete, 1, "a lone hyphen at the end"},
             Row{"zz--z-", kAll, Incomplete, 2, "too little for a decision, at the first of two places"},
             Row{"xx--ab\r\n", 2, None, 2, "begins where the search ends"},
             Row{"xx--ab\r\n", 3, Boundary, 2, "begins before, ends behind"},
             Row{"xxx-", 3, None, 3, "incomplete behind the search"},
         })
    {
        std::size_t offset = 99;
        const char* const end = row.data.data() + row.data.size();
        EXPECT_EQ(boundary.SearchBufferForBoundary(row.data.data(), end, row.length, offset), row.type) << row.why;
        EXPECT_EQ(offset, row.offset) << row.why;
    }
}

TEST(MultipartBoundary, TakesLineEndsAway)
{
    const MultipartBoundary boundary("--ab");
    struct Row
    {
        std::string_view data;
        BoundaryType type;
        std::size_t place;
        std::size_t dataEnd;
        std::size_t nextStart;
        const char* why;
    };
    for (const Row& row : {
             Row{"x\n--ab\ny", Boundary, 2, 1, 7, "both line feeds"},
             Row{"x\r\n--ab\r\ny", Boundary, 3, 2, 7, "a CR before and a CR LF behind stay"},
             Row{"x\n\n--ab\n\n", Boundary, 3, 2, 8, "one on each side"},
             Row{"x--ab--", FinalBoundary, 1, 1, 7, "no line ends"},
             Row{"\n--ab--\n", FinalBoundary, 1, 0, 7, "nothing is moved behind the final boundary"},
             Row{"--ab", Boundary, 0, 0, 4, "at both ends of the data"},
         })
    {
        std::size_t dataEnd = row.place;
        std::size_t nextStart = 99;
        boundary.DealWithExtraEndLines(row.data, row.type, dataEnd, nextStart);
        EXPECT_EQ(dataEnd, row.dataEnd) << row.why;
        EXPECT_EQ(nextStart, row.nextStart) << row.why;
    }
}

TEST(MultipartReply, FindsTheFirstBoundary)
{
    const std::string longest(20, '-');   // what fits in the temporary buffer with its line feed
    struct Row
    {
        std::string body;
        const char* boundary;   // null: refused
        const char* why;
    };
    for (const Row& row : {
             Row{"--b\n", "--b", "the shortest"},
             Row{"\n\r\n\n--b\r\n", "--b", "blank lines in front"},
             Row{std::string(100, '\n') + "--b\n", "--b", "more of them than the temporary buffer holds"},
             Row{"--b c \t\r\n", "--b c", "white space at the end"},
             Row{"--b--\r\n", "--b--", "a boundary of its own"},
             Row{longest + "\n", longest.c_str(), "as long as the temporary buffer"},
             Row{longest + "-\n", nullptr, "longer"},
             Row{"--\n", nullptr, "two characters"},
             Row{"-- \r\n", nullptr, "two without white space"},
             Row{" --b\n", nullptr, "does not start with hyphens"},
             Row{"preamble\n--b\n", nullptr, "text in front"},
             Row{" \n--b\n", nullptr, "a blank is text"},
             Row{"--b", nullptr, "no line end"},
             Row{"", nullptr, "no data"},
         })
    {
        SCOPED_TRACE(row.why);
        for (const std::size_t pieceSize : {1U, 2U, 21U})
        {
            PieceSource source(row.body, 21, [pieceSize] { return pieceSize; });
            TNetworkMultipartReply reply(source, 21);
            try
            {
                EXPECT_EQ(reply.ParseBoundary(), row.boundary != nullptr ? row.boundary : "refused");
            }
            catch (const TNetworkMultipartException& exception)
            {
                EXPECT_EQ(row.boundary, nullptr);
                EXPECT_STREQ(exception.what(), kNoBoundary);
                EXPECT_TRUE(row.body.starts_with(exception.GetBuffer()));
                EXPECT_GE(exception.GetBuffer().size(), std::min<std::size_t>(row.body.find('\n') + 1, 21));
            }
        }
    }
}

// Bodies by two producers, their parts by a third hand's parser. That takes the whole line end before a boundary away;
// here the CR of a CR LF stays.
TEST(MultipartReply, AgreesWithOtherProducersAtEveryCut)
{
    struct Case
    {
        std::string body;
        std::string lineEnd;
        std::vector<Part> parts;
    };
    std::map<std::string, Case> cases;
    std::ifstream file(BRV_TEST_DATA_DIR "/multipart.csv");
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line))
    {
        std::istringstream cells(line);
        std::string name, kind, key, hex;
        std::getline(std::getline(std::getline(std::getline(cells, name, ','), kind, ','), key, ','), hex);
        Case& one = cases[name];
        if (kind == "body")
            one = Case{FromHex(hex), key, {}};
        else if (kind == "part")
            one.parts.emplace_back();
        else if (kind == "header")
            one.parts.back().headers[TString::FromUTF8(key)] = TString::FromUTF8(FromHex(hex));
        else
            one.parts.back().data = FromHex(hex) + (one.lineEnd == "crlf" ? "\r" : "");
    }
    ASSERT_EQ(cases.size(), 4U);
    for (const auto& [name, one] : cases)
    {
        SCOPED_TRACE(name);
        ASSERT_GE(one.parts.size(), 2U);
        ExpectPartsAtEveryCut(one.body, one.parts);
    }
}

TEST(MultipartReply, ReadsUnusualBodiesAtEveryCut)
{
    struct Row
    {
        std::string body;
        std::vector<Part> parts;
        const char* why;
    };
    for (const Row& row : {
             Row{"--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--", {{{}, "one\r"}, {{}, "two\r"}}, "no headers"},
             Row{"--b\n\none\n--b\n\ntwo\n--b--", {{{}, "one"}, {{}, "two"}}, "no headers, line feeds alone"},
             Row{"--b\n\n--b\n\n--b--", {{{}, ""}, {{}, ""}}, "no data"},
             Row{"--b\n\nx\n--b\n\r\ny: 1\r\n--b--", {{{}, "x"}, {{}, "y: 1\r"}}, "mixed line ends"},
             Row{"--b\r\n\r\n\r\n\r\n--b \t\r\n\r\nx--b--", {{{}, "\r\n\r"}, {{}, "x"}}, "blanks behind a boundary"},
             Row{"--b\n\n-\n--\n---\n\n\n--b--", {{{}, "-\n--\n---\n\n"}}, "hyphens and line feeds"},
             Row{"--b\n\nx--b\n\ny-----b--z", {{{}, "x"}, {{}, "y---"}}, "boundaries inside a line"},
             Row{"--b\n\nx--bA: 1\n\ny\n--b--", {{{}, "x"}, {{{u"a", u"1"}}, "y"}}, "a header right behind a boundary"},
             Row{"--b\nNAME :  Va: LUE \r\nnone\na:1\nA:2\n:\n\nx--b--",
                 {{{{u"name ", u"va: lue"}, {u"a", u"2"}, {u"", u""}}, "x"}}, "odd header lines"},
         })
    {
        SCOPED_TRACE(row.why);
        ExpectPartsAtEveryCut(row.body, row.parts);
    }
}

TEST(MultipartReply, SkipsWhatIsNotRead)
{
    const std::string big(300'000, '-');
    const std::string body = "--b\n\n" + big + "\n--b\nn: 2\n\nsecond\n--b\n\n" + big + "\n--b--" + big;
    PieceSource source(body, 1000, Whole());
    TNetworkMultipartReply reply(source);
    char buffer[3];
    EXPECT_TRUE(reply.ConstructNextPart());
    EXPECT_EQ(reply.ReadFromPart(buffer, 3), 3U);
    EXPECT_TRUE(reply.ConstructNextPart());
    EXPECT_EQ(reply.GetPartHeaderValue(u"N"), u"2");
    EXPECT_EQ(ReadRest(reply, 3), "second");
    EXPECT_EQ(reply.ReadFromPart(buffer, 3), 0U);
    EXPECT_TRUE(reply.ConstructNextPart());
    EXPECT_FALSE(reply.IsDone());
    EXPECT_FALSE(reply.ConstructNextPart());
    EXPECT_TRUE(reply.IsDone());
    EXPECT_FALSE(reply.ConstructNextPart());
    EXPECT_GE(source.GetSizeLeft(), big.size() - 1000) << "nobody waits for what follows the final boundary";
}

// The data is searched in blocks of 64 KiB.
TEST(MultipartReply, FindsBoundariesAroundTheEndOfABlock)
{
    for (std::size_t size = 65536 - 4; size <= 65536 + 2; ++size)
        for (const std::string rest : {"", "\nz", "\n\n-"})
        {
            const std::string data = std::string(size, 'x') + rest;
            const std::string body = "--b\n\n" + data + "\n--b\n\n" + data + "--b--";
            PieceSource source(body, 200'000, Whole());
            EXPECT_TRUE(ReadAll(source, 200'000) == (std::vector<Part>{{{}, data}, {{}, data}})) << size << rest;
        }
}

TEST(MultipartReply, HasRoomForOneBufferAndAFinalBoundary)
{
    const std::string body = "--b\n\nx\n--b\n\ny\n--b--";
    for (const auto& [bufferSize, leastCapacity] : {std::pair<std::size_t, std::size_t>{1, 4}, {3, 4}, {100, 1}})
    {
        PieceSource source(body, bufferSize, Whole());
        EXPECT_EQ(ReadAll(source, 4096, leastCapacity), (std::vector<Part>{{{}, "x"}, {{}, "y"}})) << bufferSize;
    }
}

TEST(MultipartReply, CountsWhatWasRead)
{
    const std::string_view body = "--b\n\nxyz\n--b--tail";
    PieceSource source(body, body.size(), Whole());
    TNetworkMultipartReply reply(source);
    char buffer[3];
    ASSERT_TRUE(reply.ConstructNextPart());
    EXPECT_EQ(reply.GetBytesConsumed(), 5U) << "the boundary's line and the blank line";
    EXPECT_EQ(reply.ReadFromPart(buffer, 1), 1U);
    EXPECT_EQ(reply.GetBytesConsumed(), 6U);
    EXPECT_FALSE(reply.IsDone()) << "the final boundary was seen, the data not yet read";
    EXPECT_EQ(reply.ReadFromPart(buffer, 3), 2U);
    EXPECT_EQ(reply.GetBytesConsumed(), 8U);
    EXPECT_TRUE(reply.IsDone());
    EXPECT_EQ(reply.GetBytesReceived(), body.size());
}

TEST(MultipartReply, EndsWithATruncatedTransfer)
{
    struct Row
    {
        std::string_view body;
        const char* message;
        std::string_view data;
        std::string_view buffer;
        const char* why;
    };
    for (const Row& row : {
             Row{"--b--\r\n", kNoPart, "", "", "the first line is a final boundary"},
             Row{"--b\n", kNoPart, "", "", "no headers"},
             Row{"--b\na: 1\nb: 2", kNoPart, "", "b: 2", "in a header line"},
             Row{"--b\n\nx\n--b\r\n\r", kNoPart, "x", "\r", "in the headers of the second part"},
             Row{"--b\n\nx\n--b  ", kNoPart, "x", "  ", "in a boundary's own line"},
             Row{"--b\n\nxyz", kTruncated, "xyz", "", "in the data"},
             Row{"--b\n\nxyz\r\n", kTruncated, "xyz\r", "\n", "in a line end"},
             Row{"--b\n\nxyz\n--b-", kTruncated, "xyz", "\n--b-", "in the final boundary"},
         })
    {
        SCOPED_TRACE(row.why);
        for (const auto& sizes : {Whole(), OneByteEach()})
        {
            PieceSource source(row.body, row.body.size(), sizes);
            TNetworkMultipartReply reply(source);
            std::string data;
            for (int time = 0; time < 2; ++time)   // and again
                try
                {
                    ReadUntilThrow(reply, data);
                    ADD_FAILURE() << "no exception";
                }
                catch (const TNetworkMultipartException& exception)
                {
                    EXPECT_STREQ(exception.what(), row.message);
                    EXPECT_TRUE(time > 0 || exception.GetBuffer() == row.buffer) << exception.GetBuffer();
                }
            EXPECT_EQ(data, row.data);
        }
    }
}

// Wherever the transfer fails, its own exception arrives, after the data that is data for certain.
TEST(MultipartReply, PassesTheFailureOfTheTransferOn)
{
    const std::string body = "\r\n--b\r\nA: 1\r\n\r\none-\r\n-\r\n--b\r\n\r\ntwo\r\n--b";
    const std::string all = "one-\r\n-\rtwo\r";
    for (std::size_t size = 0; size <= body.size(); ++size)
    {
        PieceSource source(std::string_view(body).substr(0, size), 5, Whole(),
            std::make_exception_ptr(std::out_of_range("connection reset")));
        TNetworkMultipartReply reply(source);
        std::string data;
        EXPECT_THROW(ReadUntilThrow(reply, data), std::out_of_range) << size;
        EXPECT_THROW(ReadUntilThrow(reply, data), std::out_of_range) << size << ", asked again";
        EXPECT_TRUE(all.starts_with(data)) << size;
        EXPECT_EQ(reply.GetBytesReceived(), size);
    }
    const std::string completeBody = body + "--";
    PieceSource complete(completeBody, 100, Whole(), std::make_exception_ptr(std::out_of_range("connection reset")));
    EXPECT_EQ(ReadAll(complete, 100).size(), 2U) << "after the final boundary nobody asks";
}

// With a temporary buffer of 600 bytes, which is also the largest block.
TEST(MultipartReply, SkipsHeadersThatAreTooLarge)
{
    struct Row
    {
        std::string lines;
        std::size_t kept;
        std::size_t logged;
        const char* why;
    };
    for (const Row& row : {
             Row{"b: " + std::string(591, 'x') + "\n", 2, 0, "600 bytes"},
             Row{"b: " + std::string(592, 'x') + "\n", 1, 1, "601"},
             Row{"b: " + std::string(300, 'x') + "\nc: " + std::string(300, 'x') + "\nnone\n", 2, 1, "two lines"},
             Row{std::string(600, 'b') + "\nc: 3\n", 1, 1, "a line that the buffer cannot hold, and one after it"},
             Row{std::string(5000, 'b') + "\n", 1, 1, "a much longer one"},
             Row{" \t\r\n", 1, 0, "blanks, as behind a boundary"},
         })
    {
        SCOPED_TRACE(row.why);
        const std::string body = "--b\na: 1\n" + row.lines + "\ndata\n--b--";
        for (const auto& sizes : {Whole(), OneByteEach()})
        {
            const CapturedLog log;
            PieceSource source(body, 500, sizes);
            TNetworkMultipartReply reply(source, 600);
            ASSERT_TRUE(reply.ConstructNextPart());
            EXPECT_EQ(reply.GetPartHeaders().size(), row.kept);
            EXPECT_EQ(reply.GetPartHeaderValue(u"a"), u"1");
            EXPECT_EQ(ReadRest(reply, 10), "data");
            EXPECT_EQ(log.GetMessages().size(), row.logged);
        }
    }
}

TEST(MultipartReply, ChecksItsUse)
{
    PieceSource source("--b\n\n", 4, Whole());
    TNetworkMultipartReply reply(source);
    EXPECT_LOGIC_ASSERT(reply.GetPartHeaders(), 0x562CFF6D, "isPartConstructed");
    EXPECT_LOGIC_ASSERT(reply.PartDataTransferComplete(), 0x562CFF6D, "isPartConstructed");
    EXPECT_LOGIC_ASSERT(
        MultipartBoundary("-b-"), 0x2A46EBCC, "partBoundary.size() >= 3 && partBoundary.starts_with(\"--\")");

    struct Liar : IBufferSource
    {
        bool GetNextBuffer(std::string& buffer) override
        {
            buffer.assign(100, '-');
            return true;
        }
        std::size_t GetBufferSize() const noexcept override { return 10; }
    } liar;
    TNetworkMultipartReply overflowing(liar, 10);
    EXPECT_LOGIC_ASSERT(overflowing.ConstructNextPart(), 0x60A5BFEC, "overflow <= m_capacity");
}

TEST(MultipartSubpartHeader, NamesContentTypesAndEncodings)
{
    using Type = MultipartSubpartHeader::ContentType;
    using Encoding = MultipartSubpartHeader::ContentEncoding;
    struct Row
    {
        std::string_view lines;
        Type type;
        Encoding encoding;
    };
    for (const Row& row : {
             Row{"x: y\n", Type::None, Encoding::None},
             Row{"Content-Type: text/xml\n", Type::None, Encoding::None},   // the other name is the one that counts
             Row{"Context-Type: Text/XML; charset=utf-8\n", Type::Xml, Encoding::None},
             Row{"context-type: MULTIPART/MIXED\n", Type::Multipart, Encoding::None},
             Row{"context-type: video/ogg\n", Type::Other, Encoding::None},
             Row{"Content-Transfer-Encoding:  BINARY \r\n", Type::None, Encoding::Binary},
             Row{"content-transfer-encoding: Base64\n", Type::None, Encoding::Base64},
             Row{"content-transfer-encoding: x-own\n", Type::None, Encoding::Other},
         })
    {
        MultipartSubpartHeader header;
        EXPECT_EQ(header.AddLine(row.lines), MultipartSubpartHeader::Line::Header);
        EXPECT_EQ(header.GetContentType(), row.type) << row.lines;
        EXPECT_EQ(header.GetContentEncoding(), row.encoding) << row.lines;
    }
}

TEST(MultipartSubpartHeader, KeepsNamesAndValuesInLowerCase)
{
    MultipartSubpartHeader header;
    EXPECT_EQ(header.AddLine("TITLE: \t\xC3\x84 I\xFF \r\n"), MultipartSubpartHeader::Line::Header);
    EXPECT_EQ(header.AddLine("nothing\r\n"), MultipartSubpartHeader::Line::Ignored);
    EXPECT_EQ(header.AddLine("\r\n"), MultipartSubpartHeader::Line::End);
    EXPECT_EQ(header.GetHeaderValue(u"Title").ToUTF8(), "\xC3\x84 i\xFF") << "only A-Z, in every language";
    EXPECT_EQ(header.GetHeaderValue(u"other"), u"");
    EXPECT_EQ(header.GetHeaderSize(), 16U + 9U + 2U);
}
