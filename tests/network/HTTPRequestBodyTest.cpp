#include "brvcore/network/HTTPRequestBody.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/IProgressReporter.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/HTTPExceptions.h"
#include "tests/support/LogicAssert.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using HTTPRequest::FileInfo;
using HTTPRequest::RequestInfo;

namespace
{

std::shared_ptr<TMemoryIO> Stream(std::string bytes)
{
    return std::make_shared<TMemoryIO>(std::move(bytes));
}

std::string ReadAll(RequestBody& body, std::size_t pieceSize, std::uint64_t from = 0)
{
    std::string bytes;
    std::string piece(pieceSize, '\0');
    body.SetPosition(from);
    while (const std::size_t count = body.Read(piece.data(), piece.size()))
        bytes.append(piece, 0, count);
    return bytes;
}

// What is sent; "null" without a body.
std::string Sent(const RequestInfo& info, const TString& verb = u"POST")
{
    const std::unique_ptr<RequestBody> body = MakeRequestBody(info, verb, u"BOUND");
    if (body == nullptr)
        return "null";
    const std::string bytes = ReadAll(*body, 1000);
    EXPECT_EQ(body->GetLength(), bytes.size());
    return bytes;
}

struct Reports : IProgressReporter
{
    void ReportProgress(double fraction, const TString&) override { fractions.push_back(fraction); }
    std::vector<double> fractions;
};

}   // namespace

TEST(MakeRequestBody, ChoosesTheForm)
{
    RequestInfo info;
    EXPECT_EQ(Sent(info), "null") << "nothing to send";
    info.SetRequest(std::string());
    EXPECT_EQ(Sent(info), "") << "an empty body is one";
    info.SetRequest(TString(u"raw ü"));
    EXPECT_EQ(Sent(info), "raw \xC3\xBC");
    EXPECT_EQ(Sent(info, u"PUT"), "raw \xC3\xBC");
    for (const char16_t* const verb : {u"GET", u"DELETE", u"HEAD", u"post"})
        EXPECT_EQ(Sent(info, verb), "null");
    info.SetRequest({Stream("0123456789"), 7, std::numeric_limits<std::uint64_t>::max()});
    EXPECT_EQ(Sent(info), "789") << "clamped to the end of the file";
    info.SetRequest({Stream("0123456789"), 11, 2});
    EXPECT_EQ(Sent(info), "") << "behind the end of the file";
    info.SetRequest({Stream("0123456789"), 2, 3});
    EXPECT_EQ(Sent(info), "234");
    info.SetParameter(u"b", u"x y");
    info.SetParameter(u"a", u"ü");
    EXPECT_EQ(Sent(info), "a=%C3%BC&b=x%20y") << "parameters go in front of a raw body";
}

TEST(MakeRequestBody, WritesMultipartToTheByte)
{
    RequestInfo info;
    info.SetParameter(u"two", u"line\r\nline \u20AC");
    info.SetParameter(u"a \"q\"\r\n%22", u"");
    info.SetFile(u"file", FileInfo{u"b\"\r\n.csv", Stream(std::string("\0\r\n--BOUND\xFF", 11)), u"text/csv"});
    info.SetFile(u"empty", FileInfo{u"f\u00FC.bin", Stream(""), u"application/octet-stream"});
    info.SetBatchPart(HTTPRequest::BatchPart{u"PATCH", u"/api/items?id=1", u"{\"\u20AC\":1}"});
    const std::string expected = "--BOUND\r\n"
                                 "Content-Disposition: form-data; name=\"a %22q%22%0D%0A%22\"\r\n"
                                 "\r\n"
                                 "\r\n"
                                 "--BOUND\r\n"
                                 "Content-Disposition: form-data; name=\"two\"\r\n"
                                 "\r\n"
                                 "line\r\nline \xE2\x82\xAC\r\n"
                                 "--BOUND\r\n"
                                 "Content-Disposition: form-data; name=\"empty\"; filename=\"f\xC3\xBC.bin\"\r\n"
                                 "Content-Transfer-Encoding: binary\r\n"
                                 "Content-Type: application/octet-stream\r\n"
                                 "\r\n"
                                 "\r\n"
                                 "--BOUND\r\n"
                                 "Content-Disposition: form-data; name=\"file\"; filename=\"b%22%0D%0A.csv\"\r\n"
                                 "Content-Transfer-Encoding: binary\r\n"
                                 "Content-Type: text/csv\r\n"
                                 "\r\n" +
                                 std::string("\0\r\n--BOUND\xFF", 11) +
                                 "\r\n"
                                 "--BOUND\r\n"
                                 "Content-Type: application/http\r\n"
                                 "\r\n"
                                 "PATCH /api/items?id=1 HTTP/1.1\r\n"
                                 "Content-Type: application/json\r\n"
                                 "Content-Length: 9\r\n"   // the euro sign is three bytes
                                 "\r\n"
                                 "{\"\xE2\x82\xAC\":1}\r\n"
                                 "--BOUND--\r\n";
    EXPECT_EQ(Sent(info), expected);
    EXPECT_EQ(Sent(info), expected) << "again for a retry: the streams are at their ends now";
}

TEST(MakeRequestBody, RefusesWhatWouldBreakALine)
{
    const auto expectRefused = [](const RequestInfo& info, const TString& boundary)
    { EXPECT_LOGIC_ASSERT(MakeRequestBody(info, u"POST", boundary), 0x8B31E5F6, "has no control characters"); };
    RequestInfo info;
    info.SetFile(u"f", FileInfo{u"n", Stream(""), u"text/plain\r\nX-Evil: 1"});
    expectRefused(info, u"B");
    info.SetFile(u"f", FileInfo{u"n", Stream(""), u"text/plain"});
    expectRefused(info, u"B\n");
    info.SetBatchPart(HTTPRequest::BatchPart{u"GET", u"/ HTTP/1.1\r\nHost: x", u""});
    expectRefused(info, u"B");
    info.SetBatchPart(std::nullopt);
    info.SetFile(u"f", FileInfo{u"n", nullptr, u"text/plain"});
    EXPECT_LOGIC_ASSERT(MakeRequestBody(info, u"POST", u"B"), 0x0D33F4E6, "stream != nullptr");
}

// Every piece size from every position, with one stream in two places.
TEST(RequestBody, ReadsFromAnyPosition)
{
    const std::shared_ptr<TMemoryIO> stream = Stream("0123456789");
    RequestBody body;
    body.AddStream(stream, 0, 0);
    body.AddBytes("ab");
    body.AddStream(stream, 8, 100);
    body.AddBytes("");
    body.AddBorrowedBytes("cdef");
    body.AddStream(stream, 1, 3);
    const std::string expected = "ab89cdef123";
    ASSERT_EQ(body.GetLength(), expected.size());
    for (std::size_t from = 0; from <= expected.size() + 1; ++from)
        for (std::size_t size = 1; size <= expected.size() + 1; ++size)
            EXPECT_EQ(ReadAll(body, size, from), expected.substr(std::min(from, expected.size())))
                << from << ' ' << size;

    stream->SetSize(3);   // "ab" and then a slice that is no longer there
    char buffer[8];
    body.SetPosition(0);
    EXPECT_THROW(body.Read(buffer, sizeof buffer), NetworkException);
}

TEST(RequestBody, WritesWithProgressUntilCancelled)
{
    const std::string content(200'000, 'x');   // three pieces of 64 KiB, and a rest
    RequestBody body;
    body.AddBytes("head");
    body.AddStream(Stream(content), 0, content.size());
    TMemoryIO out;
    Reports reports;
    EXPECT_EQ(body.WriteTo(out, &reports), 200'004U);
    EXPECT_EQ(out.GetBytes(), "head" + content);
    EXPECT_THAT(
        reports.fractions, testing::ElementsAre(65536 / 200'004.0, 131072 / 200'004.0, 196608 / 200'004.0, 1.0));

    TMemoryIO cancelledOut;
    const CancellationScope cancel([&cancelledOut] { return cancelledOut.GetSize() > 100'000; });
    EXPECT_THROW(body.WriteTo(cancelledOut, nullptr), CancelledException);
    EXPECT_EQ(cancelledOut.GetSize(), 131072U) << "the piece in hand is the last";
    EXPECT_EQ(RequestBody().WriteTo(out, &reports), 0U);
}

TEST(AppendQuery, KeepsQueryAndFragment)
{
    const struct
    {
        const char16_t* url;
        const char16_t* result;
    } rows[] = {
        {u"http://h/p", u"http://h/p?a=%26&b=2"},
        {u"http://h", u"http://h?a=%26&b=2"},
        {u"http://h/p?", u"http://h/p?a=%26&b=2"},
        {u"http://h/p?x=1", u"http://h/p?x=1&a=%26&b=2"},
        {u"http://h/p?x=1&", u"http://h/p?x=1&a=%26&b=2"},
        {u"http://h/p#top", u"http://h/p?a=%26&b=2#top"},
        {u"http://h/p?x#top?y", u"http://h/p?x&a=%26&b=2#top?y"},
        {u"http://h/p#top?y", u"http://h/p?a=%26&b=2#top?y"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(AppendQuery(row.url, {{u"b", u"2"}, {u"a", u"&"}}), TString(row.result));
        EXPECT_EQ(AppendQuery(row.url, {}), TString(row.url));
    }
}
