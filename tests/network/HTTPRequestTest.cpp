#include "brvcore/network/HTTPRequest.h"

#include "brvcore/foundation/AppOptions.h"
#include "brvcore/network/HttpStatusPolicies.h"
#include "brvcore/string/UserLocaleSettings.h"
#include "tests/support/LogicAssert.h"
#include "tests/support/UserSettingsGuard.h"

#include <cstdint>
#include <limits>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using HTTPRequest::RequestInfo;

namespace
{

constexpr unsigned kEnglishUS = 1033;
constexpr unsigned kGerman = 1031;
constexpr unsigned kFrench = 1036;
constexpr unsigned kRussian = 1049;

}   // namespace

TEST(HTTPRequest, ParametersAreUrlEncodedInOrder)
{
    const struct
    {
        std::unordered_map<TString, TString> parameters;
        const char16_t* text;
        const char* why;
    } rows[] = {
        {{}, u"", "nothing"},
        {{{u"b", u"2"}, {u"a", u"1"}, {u"B", u"3"}}, u"B=3&a=1&b=2", "by code unit, upper case first"},
        {{{u"name", u""}, {u"", u"value"}}, u"=value&name=", "empty ones"},
        {{{u"a b", u"x+y"}}, u"a%20b=x%2By", "a blank is no plus, and a plus no blank"},
        {{{u"k", u"-._~"}}, u"k=-._~", "unreserved"},
        {{{u"k", u"&=%?#/\"\r\n\x7F!'()*"}}, u"k=%26%3D%25%3F%23%2F%22%0D%0A%7F%21%27%28%29%2A", "reserved"},
        {{{u"ü", u"€\U0001F600"}}, u"%C3%BC=%E2%82%AC%F0%9F%98%80", "UTF-8"},
        {{{u"k", TString::FromUTF8("\xFF")}}, u"k=%FF", "bytes that are not UTF-8 stay"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(HTTPRequest::URLFormatParams(row.parameters), TString(row.text)) << row.why;
}

TEST(HTTPRequest, SizesAreWrittenForPeople)
{
    const struct
    {
        std::uint64_t bytes;
        unsigned locale;
        int decimals;
        const char16_t* text;
        const char* why;
    } rows[] = {
        {0, kEnglishUS, 2, u"0", "no unit"},
        {999, kEnglishUS, 2, u"999", "no unit"},
        {1000, kEnglishUS, 2, u"1.00 kB", "the first with one"},
        {1536, kEnglishUS, 1, u"1.5 kB", "units of 1000"},
        {999'999, kEnglishUS, 0, u"1,000 kB", "the unit is chosen before rounding"},
        {1'000'000, kEnglishUS, 0, u"1 MB", "the next unit"},
        {1'500'000, kEnglishUS, 2, u"1.50 MB", "decimals are kept"},
        {999'999'999, kEnglishUS, 3, u"1,000.000 MB", "the last in megabytes"},
        {1'000'000'000, kEnglishUS, 1, u"1.0 GB", "the first in gigabytes"},
        {1'234'567'000'000, kEnglishUS, 1, u"1,234.6 GB", "no unit above"},
        {std::numeric_limits<std::uint64_t>::max(), kEnglishUS, 0, u"18,446,744,074 GB", "the largest"},
        {1'500'000, kEnglishUS, -3, u"2 MB", "no decimals below none"},
        {1'500'000, kFrench, 2, u"1,50\u202FMo", "octets, and a narrow blank that does not break"},
        {1'234'000, kGerman, 2, u"1,23 MB", "a comma"},
        {1'500, kRussian, 1, u"1,5 кБ", "letters of its own"},
        {1'500'000, 999'999, 1, u"1.5 MB", "English for an unknown locale"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(HTTPRequest::FormatSize(row.bytes, row.locale, row.decimals), TString(row.text)) << row.why;

    const SettingsGuard guard({.localeTag = u"fr-FR",
        .groupingSeparator = u"'",
        .decimalSeparator = u"·",
        .startOfWeek = SOWValue::SystemDefault,
        .firstWeek = FirstWeekBehaviour::SystemDefault});
    EXPECT_EQ(HTTPRequest::FormatSize(1'234'500'000'000, 0, 1), TString(u"1'234·5\u202FGo")) << "the user's signs";
}

TEST(RequestInfo, TimeoutsStartAtTheOptions)
{
    EXPECT_EQ(RequestInfo().GetOperationTimeout(), 900'000);
    EXPECT_EQ(RequestInfo().GetConnectTimeout(), 60'000);
    AppOptions::Override(u"ConnectionOperationTimeout", std::int64_t{1} << 40);
    AppOptions::Override(u"ConnectionConnectTimeout", std::int64_t{-5});
    RequestInfo info;
    AppOptions::Reset(u"ConnectionOperationTimeout");
    AppOptions::Reset(u"ConnectionConnectTimeout");
    EXPECT_EQ(info.GetOperationTimeout(), std::numeric_limits<int>::max());
    EXPECT_EQ(info.GetConnectTimeout(), 0);
    EXPECT_LOGIC_ASSERT(info.SetOperationTimeout(-1), 0x6E2B9C14, "milliseconds >= 0");
    EXPECT_LOGIC_ASSERT(info.SetConnectTimeout(-1), 0x0D87F3A5, "milliseconds >= 0");
}

TEST(RequestInfo, LaterSettingsReplaceEarlierOnes)
{
    RequestInfo info;
    info.SetHeader(u"X-Name", u"1");
    info.SetHeader(u"x-NAME", u"2");
    EXPECT_EQ(info.GetHeaders().size(), 1U) << "one header, whatever its letter case";
    EXPECT_EQ(info.GetHeader(u"X-name"), TString(u"2"));
    EXPECT_EQ(info.GetHeader(u"X-Nam"), TString());

    info.SetRequest(std::string("bytes \xFF"));
    EXPECT_EQ(info.GetRequest().ToUTF8(), "bytes \xFF");
    info.SetRequest({std::make_shared<TMemoryIO>("file"), 0, 4});
    EXPECT_FALSE(info.GetRequestBytes());
    info.SetRequest(TString(u"ü"));
    EXPECT_EQ(info.GetRequestBytes(), "\xC3\xBC");
    EXPECT_FALSE(info.GetRequestChunk());

    const auto policy = ExponentialBackoffRetryPolicy::Create();
    info.SetPolicyForHttpStatusCode(503, ExponentialBackoffRetryPolicy::Create());
    info.SetPolicyForHttpStatusCode(503, policy);
    EXPECT_THAT(info.GetPoliciesForHttpStatusCodes(), testing::ElementsAre(testing::Pair(503, policy)));
}
