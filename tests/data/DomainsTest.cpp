#include "brvcore/data/DateDomains.h"
#include "brvcore/data/RegularExpression.h"
#include "brvcore/data/StatsDomains.h"
#include "brvcore/data/TextDomains.h"
#include "tests/support/LogicAssert.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{
bool Matches(const Domain& domain, std::u16string_view part)
{
    return domain.match(Value(part));
}

// The domains that decide by an automaton, with the expression that says the same.
std::vector<std::pair<DomainPtr, TString>> AutomatonDomains()
{
    std::vector<std::pair<DomainPtr, TString>> result;
    for (const RefCntPtr<RegExpDomain>& domain :
        {RefCntPtr<RegExpDomain>(MakeRefCnt<WordDomain>()), RefCntPtr<RegExpDomain>(MakeRefCnt<DigitsDomain>()),
            RefCntPtr<RegExpDomain>(MakeRefCnt<OnePuncDomain>()), RefCntPtr<RegExpDomain>(MakeRefCnt<PuncDomain>()),
            RefCntPtr<RegExpDomain>(MakeRefCnt<DecimalDomain>()), RefCntPtr<RegExpDomain>(MakeRefCnt<IPDomain>())})
        result.emplace_back(domain, domain->pattern());
    result.emplace_back(MakeRefCnt<SpacesDomain>(), u" +");
    return result;
}

// Calls with every text of the units, up to a length.
template <class Function>
void ForEachText(std::u16string_view units, std::size_t maxLength, const Function& function, std::u16string text = {})
{
    function(text);
    if (text.size() < maxLength)
        for (const char16_t unit : units)
            ForEachText(units, maxLength, function, text + unit);
}

std::vector<DomainPtr> CalendarNumbers()
{
    return {MakeRefCnt<YearDomain>(), MakeRefCnt<Year2Domain>(), MakeRefCnt<MonthDomain>(),
        MakeRefCnt<DayOfMonthDomain>(), MakeRefCnt<HourDomain>(), MakeRefCnt<MeridianHourDomain>(),
        MakeRefCnt<MinuteDomain>(), MakeRefCnt<SecondDomain>(), MakeRefCnt<SubsecondDomain>(),
        MakeRefCnt<QuarterDomain>()};
}
}   // namespace

// One unit in every place that decides something, for every unit there is.
TEST(Domains, AutomataAgreeWithTheirExpressionsOnEveryCodeUnit)
{
    for (const auto& [domain, pattern] : AutomatonDomains())
    {
        RegularExpression expression(pattern);
        for (const std::u16string_view frame : {u"_", u"a_", u"_a", u"7_", u"_7", u"-_", u"_.5", u"7._", u"__", u" _",
                 u"!_", u"_!", u"1.2.3_4", u"1.2.3._"})
            for (unsigned unit = 0; unit <= 0xFFFF; ++unit)
            {
                std::u16string part(frame);
                for (char16_t& c : part)
                    c = c == u'_' ? static_cast<char16_t>(unit) : c;
                if (part.size() < domain->shortest() || part.size() > domain->longest())
                    continue;
                ASSERT_EQ(Matches(*domain, part), expression.MatchesWhole(part))
                    << domain->id().ToUTF8() << ", unit " << unit << " in " << TString(frame).ToUTF8();
            }
    }
}

TEST(Domains, AutomataAgreeWithTheirExpressionsOnRandomParts)
{
    constexpr std::array<std::u16string_view, 6> kAlphabets = {
        u"azAZ@[`{", u"09/:", u"1.", u"1+-.", u"a1 .+-\u00e9\U0001F600", u" \u00a0\t"};
    std::mt19937 random(53);
    for (const auto& [domain, pattern] : AutomatonDomains())
    {
        RegularExpression expression(pattern);
        unsigned accepted = 0;
        for (int round = 0; round < 60000; ++round)
        {
            std::u16string part;
            const std::u16string_view alphabet = kAlphabets[random() % kAlphabets.size()];
            for (auto length = static_cast<std::size_t>(1 + random() % 15); part.size() < length;)
                part += alphabet[random() % alphabet.size()];
            const bool isInBounds = part.size() >= domain->shortest() && part.size() <= domain->longest();
            ASSERT_EQ(Matches(*domain, part), isInBounds && expression.MatchesWhole(part))
                << domain->id().ToUTF8() << " " << TString(part).ToUTF8();
            accepted += Matches(*domain, part) ? 1 : 0;
        }
        EXPECT_GT(accepted, 10U) << domain->id().ToUTF8();
    }
}

// A scan stops at a length where uniform() holds and the part does not match: nothing longer may match then.
TEST(Domains, UniformIsTruthful)
{
    constexpr std::u16string_view kOneOfEachClass = u"a1 .+-@";
    for (const auto& [domain, pattern] : AutomatonDomains())
        ForEachText(kOneOfEachClass, 6,
            [&domain = domain](const std::u16string& text)
            {
                if (text.empty() || !Matches(*domain, text))
                    return;
                for (std::size_t length = 1; length < text.size(); ++length)
                    EXPECT_TRUE(
                        !domain->uniform(static_cast<unsigned>(length)) || Matches(*domain, text.substr(0, length)))
                        << domain->id().ToUTF8() << " " << TString(text).ToUTF8();
            });
}

TEST(Domains, Cardinalities)
{
    struct Row
    {
        DomainPtr domain;
        unsigned length;
        double count;
    };
    for (const Row& row : {
             Row{MakeRefCnt<WordDomain>(), 1, 52.0},
             Row{MakeRefCnt<WordDomain>(), 3, 140608.0},
             Row{MakeRefCnt<DigitsDomain>(), 6, 1e6},
             Row{MakeRefCnt<DigitsDomain>(), 400, std::numeric_limits<double>::infinity()},
             Row{MakeRefCnt<OnePuncDomain>(), 1, 193.0},
             Row{MakeRefCnt<OnePuncDomain>(), 2, 0.0},
             Row{MakeRefCnt<PuncDomain>(), 2, 37249.0},
             Row{MakeRefCnt<SpacesDomain>(), 7, 1.0},
             Row{MakeRefCnt<SpacesDomain>(2U, 4U), 1, 0.0},
             Row{MakeRefCnt<SpacesDomain>(2U, 4U), 4, 1.0},
             Row{MakeRefCnt<SpacesDomain>(2U, 4U), 5, 0.0},
             Row{MakeRefCnt<DecimalDomain>(), 1, 10.0},
             Row{MakeRefCnt<DecimalDomain>(), 2, 130.0},
             Row{MakeRefCnt<DecimalDomain>(), 3, 1320.0},
             Row{MakeRefCnt<DecimalDomain>(), 5, 132000.0},
             Row{MakeRefCnt<IPDomain>(), 6, 0.0},
             Row{MakeRefCnt<IPDomain>(), 7, 1e4},
             Row{MakeRefCnt<IPDomain>(), 15, 1e12},
             Row{MakeRefCnt<IPDomain>(), 16, 0.0},
             Row{MakeRefCnt<ConstantDomain>(u"GmbH"), 4, 1.0},
             Row{MakeRefCnt<ConstantDomain>(u"GmbH"), 3, 0.0},
             Row{MakeRefCnt<YearDomain>(), 2, 0.0},
             Row{MakeRefCnt<Year2Domain>(), 2, 100.0},
             Row{MakeRefCnt<MonthDomain>(), 1, 9.0},
             Row{MakeRefCnt<MonthDomain>(), 2, 12.0},
             Row{MakeRefCnt<SubsecondDomain>(), 9, 1e9},
             Row{MakeRefCnt<MeridianDomain>(), 2, 2.0},
             Row{MakeRefCnt<QuarterAbbrDomain>(), 2, 4.0},
             Row{MakeRefCnt<QuarterNameDomain>(), 11, 4.0},
             Row{MakeRefCnt<SubsecondPuncDomain>(), 1, 3.0},
             Row{MakeRefCnt<SubsecondPuncDomain>(), 2, 0.0},
             Row{MakeRefCnt<TimeZone8061hDomain>(), 3, 40.0},
             Row{MakeRefCnt<TimeZone8061hDomain>(), 2, 0.0},
             Row{MakeRefCnt<TimeZone8061hmDomain>(false), 5, 2400.0},
             Row{MakeRefCnt<TimeZone8061hmDomain>(true), 6, 2400.0},
             Row{MakeRefCnt<TimeZone8061hmDomain>(true), 5, 0.0},
         })
        EXPECT_EQ(row.domain->cardinality(row.length), row.count) << row.domain->id().ToUTF8() << " " << row.length;
}

// Numbers and offsets admit as many parts as they say: all that could be one are tried.
TEST(Domains, CalendarPartsCountWhatTheyMatch)
{
    std::vector<DomainPtr> numbers = CalendarNumbers();
    numbers.push_back(MakeRefCnt<UnsignedDomain>(u"<n>", u"n", UnsignedDomain::Limits{37, 1204, 1, kUnboundedLength}));
    for (const DomainPtr& domain : numbers)
    {
        std::array<double, 5> counts{};
        ForEachText(u"0123456789", 4,
            [&](const std::u16string& text) { counts[text.size()] += Matches(*domain, text) ? 1.0 : 0.0; });
        for (unsigned length = 0; length < counts.size(); ++length)
            EXPECT_EQ(domain->cardinality(length), counts[length]) << domain->id().ToUTF8() << " " << length;
        for (const std::u16string_view other : {u"", u"+1", u"1 ", u"\uff11", u"1.0", u"-0"})
            EXPECT_FALSE(Matches(*domain, other)) << domain->id().ToUTF8();
    }

    const auto hours = MakeRefCnt<TimeZone8061hDomain>();
    const auto basic = MakeRefCnt<TimeZone8061hmDomain>(false);
    const auto extended = MakeRefCnt<TimeZone8061hmDomain>(true);
    std::array<double, 3> counts{};
    for (const std::u16string_view sign : {u"+", u"-", u"", u":"})
        ForEachText(u"0123456789", 4,
            [&](const std::u16string& text)
            {
                const std::u16string part = std::u16string(sign) + text;
                counts[0] += Matches(*hours, part) ? 1.0 : 0.0;
                counts[1] += Matches(*basic, part) ? 1.0 : 0.0;
                const std::u16string withColon =
                    part.substr(0, 3) + u":" + part.substr(std::min<std::size_t>(3, part.size()));
                counts[2] += text.size() > 2 && Matches(*extended, withColon) ? 1.0 : 0.0;
            });
    EXPECT_EQ(counts, (std::array{40.0, 2400.0, 2400.0}));
}

TEST(Domains, UnsignedNumbersBeyondAnyRange)
{
    constexpr std::uint64_t kMaximum = std::numeric_limits<std::uint64_t>::max();
    const UnsignedDomain domain(u"<n>", u"n", {0, kMaximum, 1, kUnboundedLength});
    EXPECT_TRUE(Matches(domain, u"18446744073709551614"));
    EXPECT_FALSE(Matches(domain, u"18446744073709551615"));
    EXPECT_FALSE(Matches(domain, u"18446744073709551616"));
    EXPECT_FALSE(Matches(domain, u"99999999999999999999999"));
    EXPECT_TRUE(Matches(domain, u"000000000000000000000000000001"));
    EXPECT_EQ(domain.cardinality(30), 0x1p64);
    EXPECT_EQ(UnsignedDomain(u"<n>", u"n", {5, 5, 1, 3}).cardinality(2), 0.0);
}

TEST(Domains, WordsAreWholeAndMayIgnoreCase)
{
    EnumeratedDomain days(u"<day>", u"EEE", {u"Mon", u"Tue", u"Thurs", u"MON", u"\u0130zmir"});
    EXPECT_TRUE(Matches(days, u"Mon"));
    for (const std::u16string_view other : {u"mon", u"Mo", u"Monx", u"", u"Thur"})
        EXPECT_FALSE(Matches(days, other));
    EXPECT_EQ(days.cardinality(3), 3.0);
    EXPECT_EQ(days.cardinality(4), 0.0);
    EXPECT_EQ(days.shortest(), 3U);
    EXPECT_EQ(days.longest(), 5U);

    days.MakeCaseInsensitive();
    for (const std::u16string_view word : {u"mon", u"MON", u"mOn", u"tUE", u"\u0130ZMIR"})
        EXPECT_TRUE(Matches(days, word));
    EXPECT_FALSE(Matches(days, u"i\u0307zmir")) << "the same letters in another length";
    EXPECT_EQ(days.cardinality(3), 2.0) << "Mon and MON are one now";

    EXPECT_TRUE(Matches(*MakeRefCnt<MeridianDomain>(), u"pm"));
    EXPECT_TRUE(Matches(*MakeRefCnt<QuarterNameDomain>(), u"3RD Quarter"));
    EXPECT_FALSE(Matches(ConstantDomain(u"AM"), u"am"));
}

TEST(Domains, NarrowToWhatWasSeen)
{
    struct Row
    {
        DomainPtr domain;
        const char16_t* first;
        const char16_t* second;
    };
    std::vector<Row> rows = {{MakeRefCnt<WordDomain>(), u"EUR", u"USD"},
        {MakeRefCnt<IPDomain>(), u"10.0.0.1", u"10.0.0.2"}, {MakeRefCnt<SpacesDomain>(), u" ", u"  "},
        {MakeRefCnt<DecimalDomain>(), u"1.0", u"1.00"}, {MakeRefCnt<HourDomain>(), u"7", u"07"},
        {MakeRefCnt<MeridianDomain>(), u"AM", u"am"}, {MakeRefCnt<TimeZone8061hDomain>(), u"+01", u"+02"}};
    rows.push_back({MakeRefCnt<NumericDomain<double>>(MakeRefCnt<DecimalDomain>()), u"-1.5", u"2"});
    for (const auto& [domain, first, second] : rows)
    {
        SCOPED_TRACE(domain->id().ToUTF8());
        const DomainPtr unseen = domain->makeStatsDomain();
        EXPECT_TRUE(unseen->parameterise() == unseen);
        EXPECT_FALSE(unseen->constant());

        const DomainPtr one = domain->makeStatsDomain();
        one->updateStats(Value(std::u16string_view(first)));
        one->updateStats(Value(std::u16string_view(first)));
        const DomainPtr literal = one->parameterise();
        EXPECT_TRUE(literal->constant());
        EXPECT_EQ(literal->id(), first);
        EXPECT_EQ(literal->original(), first);
        EXPECT_TRUE(Matches(*literal, first));
        EXPECT_FALSE(Matches(*literal, second));

        const DomainPtr several = domain->makeStatsDomain();
        for (const std::u16string_view text : {first, second, first})
            several->updateStats(Value(text));
        const DomainPtr kept = several->parameterise();
        EXPECT_FALSE(kept->constant());
        EXPECT_EQ(kept->id(), domain->id());
        EXPECT_EQ(kept->shortest(), domain->shortest());
        EXPECT_EQ(kept->longest(), domain->longest());
        for (unsigned length = 0; length < 20; ++length)
        {
            EXPECT_EQ(kept->cardinality(length), domain->cardinality(length));
            EXPECT_EQ(kept->uniform(length), domain->uniform(length));
        }
        EXPECT_TRUE(Matches(*kept, first) && Matches(*kept, second));
        EXPECT_FALSE(Matches(*kept, u"?!"));
        EXPECT_TRUE(kept->sameDomain(*domain));
        EXPECT_EQ(kept->matchWithConfidence(Value(std::u16string_view(first)), 3), 1.0);
    }
}

TEST(Domains, NumbersKeepTheirRange)
{
    const auto show = [](Domain& domain, std::initializer_list<std::u16string_view> texts)
    {
        for (const std::u16string_view text : texts)
            domain.updateStats(Value(text));
    };
    NumericDomain<std::uint64_t> counts(MakeRefCnt<DigitsDomain>());
    EXPECT_FALSE(counts.GetRange());
    show(counts, {u"070", u"18446744073709551615", u"8", u"-3", u""});
    EXPECT_EQ(counts.GetRange(), std::make_pair(std::uint64_t(8), std::numeric_limits<std::uint64_t>::max()));

    NumericDomain<std::int64_t> amounts(MakeRefCnt<DigitsDomain>());
    show(amounts, {u"-9223372036854775808", u"12", u"9223372036854775808"});
    EXPECT_EQ(amounts.GetRange(), std::make_pair(std::numeric_limits<std::int64_t>::min(), std::int64_t(12)));

    NumericDomain<double> prices(MakeRefCnt<DecimalDomain>());
    show(prices, {u".5", u"-1.25", u"nan", u"+3."});
    EXPECT_EQ(prices.GetRange(), std::make_pair(-1.25, 3.0));
}

TEST(Domains, CopiesForStatisticsFollowTheirDomain)
{
    const DomainPtr word =
        MakeRefCnt<WordDomain>(Domain::Placement{{WordDomain::kId}, {DigitsDomain::kId}, {SpacesDomain::kId}, false});
    const DomainPtr digits = MakeRefCnt<DigitsDomain>();
    const DomainPtr spaces = MakeRefCnt<SpacesDomain>();
    const DomainChain afterSpaces{nullptr, spaces};
    const DomainChain afterDigits{&afterSpaces, digits};
    for (const DomainPtr& domain : {word, word->makeStatsDomain(), word->makeStatsDomain()->makeStatsDomain()})
    {
        EXPECT_TRUE(domain->isRedundantAfter(nullptr));
        EXPECT_FALSE(domain->isRedundantAfter(&afterSpaces));
        EXPECT_TRUE(domain->isRedundantAfter(&afterDigits));
    }
    EXPECT_LOGIC_ASSERT(HistogramDomain(nullptr), 0x5B1E7C02, "pointer != nullptr");
}

TEST(RegularExpression, MatchesFromEndToEnd)
{
    struct Row
    {
        const char16_t* pattern;
        std::u16string_view text;
        bool isMatch;
        const char* why;
    };
    using namespace std::string_view_literals;
    for (const Row& row : {
             Row{u"[0-9]+", u"12", true, "the whole"},
             Row{u"[0-9]+", u"12a", false, "anchored at the end"},
             Row{u"[0-9]+", u"a12", false, "and at the start"},
             Row{u"a|ab", u"ab", true, "the second alternative reaches the end"},
             Row{u"", u"", true, "nothing matches nothing"},
             Row{u"", u"a", false, "and nothing else"},
             Row{u".*", u"", true, "an empty text"},
             Row{u".", u"\U0001F600", true, "a pair is one character"},
             Row{u".", u"\xD83D"sv, true, "so is a lone half"},
             Row{u"a.b", u"a\nb", false, "a point is no line end"},
             Row{u"\\w+", u"\u00e9\u4e2d", true, "letters of all scripts"},
             Row{u"(?i)STRASSE", u"stra\u00dfe", true, "full case folding"},
             Row{u"a\\x00b", u"a\0b"sv, true, "a zero is no end"},
         })
        EXPECT_EQ(RegularExpression(row.pattern).MatchesWhole(row.text), row.isMatch) << row.why;
}

TEST(RegularExpression, NamesTheError)
{
    EXPECT_LOGIC_ASSERT(RegularExpression(u"a(b"), 0xB21FCE6B,
        "The regular expression is not valid: U_REGEX_MISMATCHED_PAREN, line 1, position 3");
    EXPECT_LOGIC_ASSERT(RegularExpression(u"*"), 0xB21FCE6B,
        "The regular expression is not valid: U_REGEX_RULE_SYNTAX, line 1, position 1");
    RegularExpression slow(u"(a+)+");
    const std::u16string text(200, u'a');
    EXPECT_TRUE(slow.MatchesWhole(text));
    constexpr auto kTimeOut = "The regular expression costs too much on a text: U_REGEX_TIME_OUT";
    EXPECT_LOGIC_ASSERT(slow.MatchesWhole(text + u"b"), 0x33E53DA5, kTimeOut);
    EXPECT_TRUE(slow.MatchesWhole(u"aa")) << "usable after the failure";
    RegularExpression copy(slow);
    EXPECT_LOGIC_ASSERT(copy.MatchesWhole(text + u"b"), 0x33E53DA5, kTimeOut);
    EXPECT_LOGIC_ASSERT(RegularExpression(u"(a|bc)*").MatchesWhole(std::u16string(10'000'000, u'a')), 0x33E53DA5,
        "The regular expression costs too much on a text: U_REGEX_STACK_OVERFLOW");
    EXPECT_TRUE(RegularExpression(u"([a-z]+,)*.*").MatchesWhole(std::u16string(1'000'000, u'a')));
}

// A domain without an automaton copies its expression per part, so one domain may serve several threads.
TEST(RegularExpression, DomainsServeSeveralThreads)
{
    const TimeZone8061hmDomain domain(true);
    std::array<int, 3> matches{};
    std::vector<std::thread> threads;
    for (int& count : matches)
        threads.emplace_back(
            [&domain, &count]
            {
                for (int i = 0; i < 2000; ++i)
                    count += Matches(domain, i % 2 == 0 ? u"+05:30" : u"+05:60") ? 1 : 0;
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(matches, (std::array{1000, 1000, 1000}));
}
