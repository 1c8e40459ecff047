#include "brvcore/data/StructureLibrary.h"

#include "brvcore/data/LeftRight.h"
#include "brvcore/data/SplitLibrary.h"
#include "tests/data/PlainInference.h"
#include "tests/data/TestDomains.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using Hinting = TestLibrary::Hinting;

std::vector<Value> ValuesOf(const std::vector<std::u16string>& texts)
{
    std::vector<Value> values;
    for (const std::u16string& text : texts)
        values.emplace_back(text);
    return values;
}

// Letter, digit, space, '.', '+', '-' and two other marks, in runs now and then.
std::u16string RandomText(std::mt19937& random, std::size_t maxLength)
{
    constexpr std::u16string_view kUnits = u"aZ07 .+-,@";
    std::u16string text;
    const std::size_t length = random() % (maxLength + 1);
    while (text.size() < length)
    {
        const std::size_t run = random() % 3 == 0 ? 1 + random() % 4 : 1;
        text.append(run, kUnits[random() % kUnits.size()]);
    }
    return text.substr(0, length);
}

// Texts that share a skeleton, so that structures have counts and constants.
std::vector<std::u16string> RandomColumn(std::mt19937& random)
{
    std::vector<std::u16string> texts;
    const std::u16string skeleton = RandomText(random, 9);
    for (std::size_t i = 0, count = random() % 12; i < count; ++i)
    {
        std::u16string text = random() % 5 == 0 ? RandomText(random, 8) : skeleton;
        for (char16_t& c : text)
            if (c == u'0' || c == u'7')
                c = static_cast<char16_t>(u'0' + random() % 10);
            else if (c == u',' && random() % 3 == 0)
                c = u';';
        if (random() % 4 == 0)
            text.insert(random() % (text.size() + 1), 1, random() % 2 == 0 ? u'5' : u'x');
        texts.push_back(text);
    }
    return texts;
}

std::vector<TString> IdsOf(const std::vector<StructurePtr>& structures)
{
    std::vector<TString> ids;
    for (const StructurePtr& structure : structures)
        ids.push_back(structure->id());
    return ids;
}

const std::vector<StructureGovernor>& Governors()
{
    static const std::vector<StructureGovernor> governors = {StructureGovernor(), StructureGovernor(0, 20, 20),
        StructureGovernor(1, 3, 20), StructureGovernor(5, 20, 20), StructureGovernor(12, 5, 20),
        StructureGovernor(100, 1, 20), StructureGovernor(30, 0, 20)};
    return governors;
}

std::string Utf8(const std::u16string& text)
{
    return TString(text).ToUTF8();
}
}   // namespace

TEST(StructureEnumeration, EqualsThePlainOne)
{
    std::mt19937 random(5);
    for (const auto& catalogue : {SplitCatalogue(), TangledCatalogue()})
        for (const StructureGovernor& governor : Governors())
            for (const Hinting hinting : {Hinting::None, Hinting::All})
            {
                const TestLibrary library(governor, catalogue, hinting);
                const PlainInference plain(library);
                for (int round = 0; round < 500; ++round)
                {
                    const std::u16string text = RandomText(random, 10);
                    SCOPED_TRACE(Utf8(text) + " cap " + std::to_string(governor.GetMaxEnumerate()) + " depth " +
                                 std::to_string(governor.GetMaxDomains()));
                    // Behind a chain of up to two domains, too.
                    const DomainPtr& first = catalogue.size() > 5 ? library.GetCatalogue()[random() % 7]
                                                                  : library.GetCatalogue()[random() % 5];
                    const DomainChain outer{nullptr, first};
                    const DomainChain inner{&outer, library.GetCatalogue()[random() % 5]};
                    const DomainChain* const chain =
                        std::array<const DomainChain*, 3>{nullptr, &outer, &inner}[random() % 3];
                    std::vector<TString> expected;
                    const std::size_t budget = governor.GetMaxDomains();
                    for (const auto& sequence : plain.EnumerateValue(budget, Value(text), chain))
                        expected.push_back(plain.MakeStructure(sequence)->id());
                    ASSERT_EQ(IdsOf(library.EnumerateValue(budget, Value(text), chain)), expected);
                }
            }
}

TEST(LeftRight, EqualsThePlainOne)
{
    std::mt19937 random(6);
    for (const auto& traits : {SplitCatalogue(), TangledCatalogue()})
        for (const Hinting hinting : {Hinting::None, Hinting::All})
        {
            const StructureGovernor governor;
            std::vector<DomainPtr> pool = TestLibrary(governor, traits, hinting).GetCatalogue();
            for (const char16_t* const literal : {u"-", u".", u"+-", u"a"})
                pool.push_back(DomainPtr(MakeRefCnt<TestLiteral>(literal)));
            int splits = 0;
            for (int round = 0; round < 60000; ++round)
            {
                const std::u16string text = RandomText(random, 14);
                std::vector<DomainPtr> domains;
                for (std::size_t i = 0, count = random() % 8; i < count; ++i)
                    domains.push_back(pool[random() % pool.size()]);
                const std::size_t start = random() % 2 == 0 ? 0 : random() % (text.size() + 2);
                const auto expected = PlainInference::LeftRight(Value(text), domains, 0, start);
                ASSERT_EQ(LeftRight(Value(text), domains.data(), domains.data() + domains.size(), start),
                    expected.value_or(std::vector<std::size_t>()))
                    << Utf8(text) << " from " << start;
                splits += expected.has_value() ? 1 : 0;
            }
            EXPECT_GT(splits, 200);
        }
}

// The backtracking alone would take time exponential in the number of domains.
TEST(LeftRight, RemembersWhereItFailed)
{
    const StructureGovernor governor;
    const TestLibrary library(governor, TangledCatalogue(), Hinting::None);
    std::vector<DomainPtr> domains(20, library.GetCatalogue()[2]);
    domains.push_back(DomainPtr(MakeRefCnt<TestLiteral>(u"!")));
    const std::u16string text(200, u'x');
    EXPECT_TRUE(LeftRight(Value(text), domains.data(), domains.data() + domains.size(), 0).empty());
}

TEST(StructureCounts, EqualThePlainOnesHoweverTheyWereGathered)
{
    std::mt19937 random(8);
    for (int round = 0; round < 500; ++round)
    {
        const std::vector<std::u16string> texts = RandomColumn(random);
        const std::vector<Value> samples = ValuesOf(texts);
        const StructureGovernor& governor = Governors()[random() % Governors().size()];
        const TestLibrary library(governor, SplitCatalogue(), Hinting::All);
        const PlainInference plain(library);
        std::map<TString, double> expected;
        for (const auto& [sequence, count] : plain.Count(samples))
            expected[plain.MakeStructure(sequence)->id()] = count;

        const std::size_t middle = random() % (samples.size() + 1);
        StructureCounts counts;
        StructureCounts others;
        library.EnumerateSamples(counts, samples.data(), samples.data() + middle);
        library.EnumerateSamples(others, samples.data() + middle, samples.data() + samples.size());
        counts.Merge(std::move(others));
        std::map<TString, double> actual;
        for (const auto& [id, counted] : counts.Expand())
        {
            EXPECT_EQ(counted.structure->id(), id);
            actual[id] = counted.count;
        }
        ASSERT_EQ(actual, expected);
    }
}

namespace
{
void ExpectRankingsEqual(const std::vector<Value>& samples, const StructureGovernor& governor,
    const std::vector<TestDomainTraits>& catalogue, const std::vector<PlainInference::Ranked>& expected)
{
    for (const Hinting hinting : {Hinting::None, Hinting::Automata, Hinting::All})
    {
        const TestLibrary library(governor, catalogue, hinting);
        const auto actual = library.RankSamples(samples);
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t i = 0; i < actual.size(); ++i)
        {
            ASSERT_EQ(actual[i].first, expected[i].score) << "rank " << i;
            ASSERT_EQ(actual[i].second->id(), expected[i].id) << "rank " << i;
        }
    }
}
}   // namespace

TEST(StructureRanking, EqualsThePlainOne)
{
    std::mt19937 random(7);
    std::size_t ranked = 0;
    std::size_t literals = 0;
    for (int round = 0; round < 1500; ++round)
    {
        const std::vector<std::u16string> texts = RandomColumn(random);
        const std::vector<Value> samples = ValuesOf(texts);
        const StructureGovernor& governor = Governors()[random() % Governors().size()];
        const auto catalogue = random() % 4 == 0 ? TangledCatalogue() : SplitCatalogue();
        std::string trace = "cap " + std::to_string(governor.GetMaxEnumerate());
        for (const std::u16string& text : texts)
            trace.append("|").append(Utf8(text));
        SCOPED_TRACE(trace);
        const TestLibrary reference(governor, catalogue, Hinting::None);
        const auto expected = PlainInference(reference).Rank(samples);
        ExpectRankingsEqual(samples, governor, catalogue, expected);
        ranked += expected.size();
        for (const auto& structure : expected)
            literals += structure.id.Contains(u"<") ? 0 : 1;
    }
    EXPECT_GT(ranked, 2500U);   // the columns are worth comparing
    EXPECT_GT(literals, 10U);
}

TEST(StructureRanking, EqualsThePlainOneForTheCatalogueOfSplits)
{
    std::mt19937 random(11);
    for (int round = 0; round < 600; ++round)
    {
        const std::vector<std::u16string> texts = RandomColumn(random);
        const std::vector<Value> samples = ValuesOf(texts);
        const StructureGovernor& governor = Governors()[random() % Governors().size()];
        const SplitLibrary library(governor, random() % 2 == 0);
        const auto expected = PlainInference(library).Rank(samples);
        const auto actual = library.RankSamples(samples);
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t i = 0; i < actual.size(); ++i)
        {
            ASSERT_EQ(actual[i].first, expected[i].score) << "rank " << i;
            ASSERT_EQ(actual[i].second->id(), expected[i].id) << "rank " << i;
        }
    }
}

// Enough samples for several threads, many of them of equal structure.
TEST(StructureRanking, DoesNotDependOnThreads)
{
    std::mt19937 random(9);
    std::vector<std::u16string> texts;
    for (int i = 0; i < 3000; ++i)
    {
        std::u16string text = i % 3 == 0 ? RandomText(random, 6) : std::u16string(u"a-");
        if (i % 3 != 0)
            text.append(1 + random() % 3, u'7').append(i % 7 == 0 ? u".5" : u"-x");
        texts.push_back(text);
    }
    const std::vector<Value> samples = ValuesOf(texts);
    const StructureGovernor governor;
    const TestLibrary reference(governor, SplitCatalogue(), Hinting::None);
    const auto expected = PlainInference(reference).Rank(samples);
    EXPECT_GT(expected.size(), 50U);
    for (int run = 0; run < 3; ++run)
        ExpectRankingsEqual(samples, governor, SplitCatalogue(), expected);
}

// Computed apart with numpy's float32: "<word><digits>" and "<word>-<digits>" of two samples each, and a word of 400 letters
// whose 52^400 texts no double counts.
TEST(StructureRanking, ScoresAreDescriptionLengths)
{
    struct Row
    {
        std::vector<std::u16string> samples;
        const char16_t* best;
        double score;
    };
    const std::vector<Row> rows = {
        {{u"a1", u"b2"}, u"<word><digits>", 14.637077808380127},
        {{u"ab-12", u"c-3", u"de 4"}, u"<word>-<digits>", 35.38467950291104},
        {{std::u16string(400, u'x'), std::u16string(400, u'y')}, u"<word>", 2291.626992225647},
    };
    const StructureGovernor governor;
    for (const Row& row : rows)
    {
        const TestLibrary library(governor, SplitCatalogue(), Hinting::All);
        const auto ranked = library.RankSamples(ValuesOf(row.samples));
        const auto found = std::find_if(
            ranked.begin(), ranked.end(), [&](const RankedStructure& entry) { return entry.second->id() == row.best; });
        ASSERT_NE(found, ranked.end()) << TString(row.best).ToUTF8();
        EXPECT_DOUBLE_EQ(found->first, row.score) << TString(row.best).ToUTF8();
    }
}

TEST(StructureRanking, NeedsTwoSamplesUnlessThereIsOne)
{
    const StructureGovernor governor;
    const TestLibrary library(governor, SplitCatalogue(), Hinting::All);
    EXPECT_TRUE(library.RankSamples({}).empty());
    const std::vector<std::u16string> texts = {u"x-1", u"2/y", u""};
    const std::vector<Value> samples = ValuesOf(texts);
    EXPECT_TRUE(library.RankSamples({samples[2]}).empty());
    EXPECT_FALSE(library.RankSamples({samples[0]}).empty());
    EXPECT_TRUE(library.RankSamples(samples).empty());
}

TEST(StructureEnumeration, StopsAtTheDeepestStructure)
{
    const StructureGovernor governor;
    const TestLibrary library(governor, SplitCatalogue(), Hinting::All);
    std::u16string text;
    for (int i = 0; i < 10; ++i)
        text += u"a1";
    const auto structures = library.EnumerateValue(20, Value(text), nullptr);
    EXPECT_GT(structures.size(), 100U);
    for (const StructurePtr& structure : structures)
        EXPECT_EQ(structure->domains().size(), 20U);
    EXPECT_TRUE(library.EnumerateValue(20, Value(text += u"b"), nullptr).empty());
}

// Whatever a host allows, stacks stay shallow.
TEST(StructureEnumeration, IsNeverDeeperThanAThousand)
{
    const StructureGovernor governor(3, std::numeric_limits<std::uint64_t>::max(), 20);
    std::u16string text;
    while (text.size() < StructureGovernor::kDeepest)
        text += u"a1";
    const std::u16string longer = text + u"a";
    std::u16string longest;
    while (longest.size() < 60000)
        longest += text;
    for (const Hinting hinting : {Hinting::None, Hinting::All})
    {
        const TestLibrary library(governor, SplitCatalogue(), hinting);
        const auto ranked = library.RankSamples({Value(text)});
        ASSERT_FALSE(ranked.empty());
        EXPECT_EQ(ranked.front().second->domains().size(), StructureGovernor::kDeepest);
        EXPECT_TRUE(library.RankSamples({Value(longer)}).empty());
        EXPECT_TRUE(library.EnumerateValue(longest.size(), Value(longest), nullptr).empty());
    }
}

namespace
{
// Two catalogue entries whose identifiers join to the same text: one "x" after the other, and "xx".
class AmbiguousLibrary : public Library
{
public:
    explicit AmbiguousLibrary(const StructureGovernor& governor) : Library(governor)
    {
        using namespace ClassAutomata;
        static constexpr ClassAutomaton letter = One(kLetter);
        static constexpr ClassAutomaton letters = Run(kLetter);
        for (const TestDomainTraits& traits :
            {TestDomainTraits{u"x", &letter, 1, 1, 0, 52.0, {}}, TestDomainTraits{u"xx", &letters, 2, 2, 0, 52.0, {}}})
            m_catalogue.push_back(
                DomainPtr(MakeRefCnt<TestDomain>(traits, Domain::Hints{traits.automaton, 52.0, true})));
    }
};

// Takes samples by its own rule.
class OddLibrary : public TestLibrary
{
public:
    using TestLibrary::TestLibrary;
    void EnumerateSamples(StructureCounts& counts, const Value* first, const Value* last) const override
    {
        for (; first != last; ++first)
            if (first->text[0] != u'#')
                counts.Add(MakeRefCnt<Structure>(std::vector<DomainPtr>{m_catalogue[0]}), *first);
    }
};
}   // namespace

TEST(StructureCounts, AnIdentifierIsOneCandidate)
{
    const StructureGovernor governor;
    const AmbiguousLibrary library(governor);
    const std::vector<std::u16string> texts = {u"ab", u"cd", u"efg"};
    const std::vector<Value> samples = ValuesOf(texts);
    StructureCounts counts;
    library.EnumerateSamples(counts, samples.data(), samples.data() + samples.size());
    const auto expanded = counts.Expand();
    ASSERT_EQ(expanded.size(), 2U);
    EXPECT_EQ(expanded.at(u"xx").count, 2.0);
    EXPECT_EQ(expanded.at(u"xx").structure->domains().size(), 2U);   // the first one enumerated
    EXPECT_EQ(expanded.at(u"xxx").count, 1.0);
    EXPECT_EQ(library.RankSamples(samples).size(), 1U);
}

TEST(StructureRanking, TakesWhatASubclassCounts)
{
    const StructureGovernor governor;
    const OddLibrary library(governor, SplitCatalogue(), Hinting::All);
    const std::vector<std::u16string> texts = {u"ab", u"cd", u"#1"};
    const auto ranked = library.RankSamples(ValuesOf(texts));
    ASSERT_EQ(ranked.size(), 1U);
    EXPECT_EQ(ranked[0].second->id(), u"<word>");
}

namespace
{
class CancellingGovernor : public StructureGovernor
{
public:
    CancellingGovernor(long calls) : m_calls(calls) {}
    void ThrowIfCancelled() const override
    {
        if (m_calls.fetch_sub(1) <= 0)
            throw std::domain_error("cancelled");
    }

private:
    mutable std::atomic<long> m_calls;
};
}   // namespace

TEST(StructureRanking, ThrowsWhatTheGovernorThrows)
{
    std::mt19937 random(10);
    std::vector<std::u16string> texts;
    for (int i = 0; i < 2000; ++i)
        texts.push_back(RandomText(random, 20) + u"-1");
    const std::vector<Value> samples = ValuesOf(texts);
    for (const Hinting hinting : {Hinting::None, Hinting::All})
        for (const long calls : {0L, 1L, 100L, 1999L, 2000L})   // at least one per sample, and one behind the samples
        {
            const CancellingGovernor governor(calls);
            const TestLibrary library(governor, SplitCatalogue(), hinting);
            EXPECT_THROW(library.RankSamples(samples), std::domain_error) << calls;
        }
}

// Runs of one kind, and changes at every unit: neither time nor memory may depend on more than the length.
TEST(StructureRanking, EndsOnLongSamples)
{
    const StructureGovernor governor;
    for (const std::u16string_view unit : {u"a", u"7", u"-", u" ", u".", u".1", u"-.", u"a1", u"1.-+", u"\xD800"})
    {
        SCOPED_TRACE(TString(unit).ToUTF8());
        std::u16string text;
        while (text.size() < 50000)
            text += unit;
        const TestLibrary library(governor, SplitCatalogue(), Hinting::All);
        const std::vector<std::u16string> texts = {text, text + u"x9"};
        for (const auto& [score, structure] : library.RankSamples(ValuesOf(texts)))
        {
            EXPECT_TRUE(std::isfinite(score));
            EXPECT_LE(structure->domains().size(), 20U);
        }
    }
}

TEST(DomainPlacement, FollowsTheChain)
{
    const StructureGovernor governor;
    const TestLibrary library(governor, TangledCatalogue(), Hinting::None);
    const std::vector<DomainPtr>& domains = library.GetCatalogue();
    enum
    {
        kPair,
        kAlnum,
        kAny,
        kMark,
        kDecimal
    };
    struct Row
    {
        std::vector<int> chain;
        int domain;
        bool isRedundant;
        const char* why;
    };
    const std::vector<Row> rows = {
        {{}, kAny, false, "nothing before"},
        {{}, kPair, true, "needs a mark before it"},
        {{kMark}, kPair, false, "has it"},
        {{kMark, kPair}, kPair, true, "directly after itself"},
        {{kMark, kPair, kMark}, kPair, false, "not directly"},
        {{kMark, kAlnum, kMark}, kDecimal, true, "somewhere after alphanumerics"},
        {{kMark}, kDecimal, false, "one of two that it needs"},
    };
    for (const Row& row : rows)
    {
        std::vector<DomainChain> links;
        links.reserve(row.chain.size());
        for (const int domain : row.chain)
            links.push_back({links.empty() ? nullptr : &links.back(), domains[static_cast<std::size_t>(domain)]});
        EXPECT_EQ(
            domains[static_cast<std::size_t>(row.domain)]->isRedundantAfter(links.empty() ? nullptr : &links.back()),
            row.isRedundant)
            << row.why;
    }
}
