#pragma once

#include "brvcore/data/StructureLibrary.h"

#include <climits>
#include <cmath>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Domains and catalogues for tests of the inference. Matching is by an automaton, which a domain shows to the inference or
// hides from it: results must not depend on that.

struct TestDomainTraits
{
    const char16_t* id;
    const ClassAutomaton* automaton;
    unsigned shortest;
    unsigned longest;
    unsigned uniformFrom;   // the shortest length whose failure proves that longer parts fail; 0: none does
    double base;            // cardinality(n) is base^n
    Domain::Placement placement;
};

class TestLiteral : public Domain
{
public:
    explicit TestLiteral(const TString& text)
        : Domain(text, text, true, static_cast<unsigned>(text.Length()), static_cast<unsigned>(text.Length()))
    {
    }
    bool match(const Value& value) const override { return value.View() == id().View(); }
    double cardinality(unsigned length) const override { return length == shortest() ? 1.0 : 0.0; }
    DomainPtr makeStatsDomain() const override { return DomainPtr(MakeRefCnt<TestLiteral>(id())); }
    DomainPtr parameterise() override { return DomainPtr(this); }
};

class TestDomain : public Domain
{
public:
    TestDomain(const TestDomainTraits& traits, Hints hints)
        : Domain(traits.id, traits.id, false, traits.shortest, traits.longest, traits.placement, hints),
          m_traits(traits)
    {
    }
    bool uniform(unsigned length) const override { return m_traits.uniformFrom > 0 && length >= m_traits.uniformFrom; }
    bool match(const Value& value) const override { return m_traits.automaton->Accepts(value.View()); }
    double cardinality(unsigned length) const override { return std::pow(m_traits.base, length); }
    // Statistics are told by distinct texts in any case; only the hint may be missing.
    DomainPtr makeStatsDomain() const override { return DomainPtr(MakeRefCnt<TestDomain>(m_traits, GetHints())); }
    void updateStats(const Value& value) override { m_seen.insert(std::u16string(value.View())); }
    DomainPtr parameterise() override
    {
        return m_seen.size() == 1 ? DomainPtr(MakeRefCnt<TestLiteral>(*m_seen.begin())) : DomainPtr(this);
    }

private:
    TestDomainTraits m_traits;
    std::set<std::u16string> m_seen;
};

class TestLibrary : public Library
{
public:
    enum class Hinting
    {
        None,
        Automata,
        All
    };

    TestLibrary(const StructureGovernor& governor, const std::vector<TestDomainTraits>& catalogue, Hinting hinting)
        : Library(governor)
    {
        for (const TestDomainTraits& traits : catalogue)
            m_catalogue.push_back(DomainPtr(
                MakeRefCnt<TestDomain>(traits, Domain::Hints{hinting == Hinting::None ? nullptr : traits.automaton,
                                                   traits.base, hinting == Hinting::All})));
    }

    // A point or a sign beside a decimal part, as in columns that are split.
    StructurePtr PruneStructure(const StructurePtr& structure) const override
    {
        bool hasDecimal = false;
        bool hasMark = false;
        for (const DomainPtr& domain : structure->domains())
        {
            hasDecimal = hasDecimal || domain->id() == u"<decimal>";
            hasMark = hasMark || domain->id() == u"." || domain->id() == u"+" || domain->id() == u"-";
        }
        return hasDecimal && hasMark ? StructurePtr() : structure;
    }
};

// The catalogue of columns that are split.
inline std::vector<TestDomainTraits> SplitCatalogue()
{
    using namespace ClassAutomata;
    static constexpr ClassAutomaton word = Run(kLetter);
    static constexpr ClassAutomaton digits = Run(kDigit);
    static constexpr ClassAutomaton onePunctuation = One(kPunctuation);
    static constexpr ClassAutomaton punctuation = Run(kPunctuation);
    static constexpr ClassAutomaton spaces = Run(kSpace);
    static constexpr ClassAutomaton decimal = Decimal();
    static constexpr ClassAutomaton dottedQuad = DottedQuad();
    const std::set<TString> numbers{u"<digits>", u"<decimal>", u"<ip>"};
    const auto notAfter = [](std::set<TString> ids) { return Domain::Placement{std::move(ids), {}, {}, false}; };
    return {
        {u"<word>", &word, 1, UINT_MAX, 1, 52.0, notAfter({u"<word>"})},
        {u"<digits>", &digits, 1, UINT_MAX, 1, 10.0, notAfter(numbers)},
        {u"<onepunc>", &onePunctuation, 1, 1, 0, 193.0, notAfter({u"<punc>"})},
        {u"<punc>", &punctuation, 1, UINT_MAX, 1, 193.0, notAfter({u"<punc>", u"<onepunc>"})},
        {u"<spaces>", &spaces, 1, UINT_MAX, 1, 1.0, notAfter({u"<spaces>"})},
        {u"<decimal>", &decimal, 1, UINT_MAX, 3, 12.0, notAfter(numbers)},
        {u"<ip>", &dottedQuad, 7, 15, 0, 9.0, notAfter(numbers)},
    };
}

// A catalogue without order in what it takes: parts overlap, and all three kinds of placement occur.
inline std::vector<TestDomainTraits> TangledCatalogue()
{
    using namespace ClassAutomata;
    static constexpr ClassAutomaton any = Run(0x7F);
    static constexpr ClassAutomaton alphanumeric = Run(kLetter | kDigit);
    static constexpr ClassAutomaton pair = ClassAutomaton().On(0, 0x7F, 1).On(1, 0x7F, 2).Accept(2);
    static constexpr ClassAutomaton decimal = Decimal();
    static constexpr ClassAutomaton mark = One(kPunctuation | kSpace);
    return {
        {u"<pair>", &pair, 2, 2, 0, 3.0, {{u"<pair>", u"<any>"}, {}, {u"<mark>"}, false}},
        {u"<alnum>", &alphanumeric, 1, 3, 1, 62.0, {{u"<any>"}, {}, {}, false}},
        {u"<any>", &any, 1, UINT_MAX, 0, 256.0, {{u"<any>"}, {u"<decimal>"}, {}, false}},
        {u"<mark>", &mark, 1, 1, 0, 5.0, {}},
        {u"<decimal>", &decimal, 1, UINT_MAX, 3, 12.0, {{u"<decimal>"}, {u"<alnum>"}, {u"<mark>", u"<any>"}, false}},
    };
}
