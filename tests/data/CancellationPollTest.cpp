#include "brvcore/data/CancellationPoll.h"

#include "brvcore/data/SequenceTally.h"
#include "tests/data/TestDomains.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// How promptly the inference notices that it is cancelled, measured in work rather than in time: how much is done between
// two questions to the governor.

namespace
{
// On the calling thread: every thread asks on its own behalf.
thread_local std::size_t unitsSinceQuestion = 0;

class AskedGovernor : public StructureGovernor
{
public:
    void ThrowIfCancelled() const override
    {
        ++m_questions;
        std::size_t most = m_mostUnits.load();
        while (most < unitsSinceQuestion && !m_mostUnits.compare_exchange_weak(most, unitsSinceQuestion))
        {
        }
        unitsSinceQuestion = 0;
    }
    std::size_t GetQuestions() const { return m_questions; }
    std::size_t GetMostUnits() const { return m_mostUnits; }

private:
    mutable std::atomic<std::size_t> m_questions = 0;
    mutable std::atomic<std::size_t> m_mostUnits = 0;
};

// Counts the units that it is asked to match, and hides its automaton.
class CountedDomain : public TestDomain
{
public:
    explicit CountedDomain(const TestDomainTraits& traits)
        : TestDomain(traits, Domain::Hints{nullptr, traits.base, false})
    {
    }
    bool match(const Value& value) const override
    {
        unitsSinceQuestion += value.length;
        return TestDomain::match(value);
    }
};

class CountedLibrary : public Library
{
public:
    explicit CountedLibrary(const StructureGovernor& governor) : Library(governor)
    {
        for (const TestDomainTraits& traits : SplitCatalogue())
            m_catalogue.push_back(DomainPtr(MakeRefCnt<CountedDomain>(traits)));
    }
};

// Most samples have readings that no other one has.
std::vector<std::u16string> DistinctShapes(std::size_t count, std::size_t length)
{
    std::mt19937 random(12);
    std::vector<std::u16string> texts(count, std::u16string(length, u'a'));
    for (std::u16string& text : texts)
        std::generate(text.begin(), text.end(), [&] { return u"a7- "[random() % 4]; });
    return texts;
}

std::vector<Value> ValuesOf(const std::vector<std::u16string>& texts)
{
    std::vector<Value> values;
    values.reserve(texts.size());
    for (const std::u16string& text : texts)
        values.emplace_back(text);
    return values;
}
}   // namespace

TEST(CancellationPoll, AsksOncePerAmountOfWork)
{
    const AskedGovernor governor;
    CancellationPoll poll(governor);
    poll.Spend(0);
    EXPECT_EQ(governor.GetQuestions(), 1U);
    for (std::size_t i = 0; i < 10 * CancellationPoll::kSteps; ++i)
        poll.Spend(1);
    EXPECT_EQ(governor.GetQuestions(), 11U);
    poll.Spend(100 * CancellationPoll::kSteps);
    EXPECT_EQ(governor.GetQuestions(), 12U);
}

TEST(CancellationPoll, IsAskedOverTheUnitsOfLongSamples)
{
    constexpr std::size_t kLength = 1500;
    std::vector<std::u16string> texts;
    for (const char16_t digit : std::u16string_view(u"0123456789"))
        texts.push_back(std::u16string(kLength, u'a') + u"-" + digit);
    const AskedGovernor governor;
    unitsSinceQuestion = 0;
    EXPECT_FALSE(CountedLibrary(governor).RankSamples(ValuesOf(texts)).empty());
    EXPECT_GT(governor.GetMostUnits(), 0U);
    EXPECT_LE(governor.GetMostUnits(), 2 * (CancellationPoll::kSteps + kLength));
}

namespace
{
// Counts the questions that were asked when the last sample was enumerated and when the first candidate was built.
class MarkedLibrary : public TestLibrary
{
public:
    explicit MarkedLibrary(const AskedGovernor& governor)
        : TestLibrary(governor, SplitCatalogue(), Hinting::All), m_asked(governor)
    {
    }
    void EnumerateSamples(StructureCounts& counts, const Value* first, const Value* last) const override
    {
        TestLibrary::EnumerateSamples(counts, first, last);
        m_enumerated = m_asked.GetQuestions();
    }
    StructurePtr PruneStructure(const StructurePtr& structure) const override
    {
        std::size_t none = 0;
        m_pruned.compare_exchange_strong(none, m_asked.GetQuestions());
        return TestLibrary::PruneStructure(structure);
    }
    std::size_t GetQuestionsBetween() const { return m_pruned - m_enumerated; }

private:
    const AskedGovernor& m_asked;
    mutable std::atomic<std::size_t> m_enumerated = 0;
    mutable std::atomic<std::size_t> m_pruned = 0;
};
}   // namespace

// Counting and choosing candidates are the long steps between the two loops.
TEST(CancellationPoll, IsAskedOverTheSequencesOfAllSamples)
{
    for (const std::size_t count : {1000U, 2000U})
    {
        const std::vector<std::u16string> texts = DistinctShapes(count, 20);
        const std::vector<Value> samples = ValuesOf(texts);
        const AskedGovernor governor;
        const MarkedLibrary library(governor);
        SampleGroups groups(library.GetCatalogue(), governor);
        for (const Value& sample : samples)
            groups.Add(sample);
        const std::size_t before = governor.GetQuestions();
        const SequenceTally tally(groups.GetGroups(), governor);
        const std::size_t tallied = governor.GetQuestions() - before;
        ASSERT_GT(tally.GetSize(), 20 * count);
        EXPECT_GE(tallied, tally.GetSize() / CancellationPoll::kSteps);

        library.RankSamples(samples);
        EXPECT_GE(library.GetQuestionsBetween(), tallied + tally.GetSize() / CancellationPoll::kSteps);
    }
}
