#pragma once

#include "brvcore/data/Domain.h"
#include "brvcore/data/RegularExpression.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

// Domains of plain text: literals, sets of words, runs of characters, numbers. Letters and digits are the ASCII ones. All
// match by code unit: a character beyond the BMP is two units that belong to no class of letters, digits or spaces.

constexpr unsigned kUnboundedLength = std::numeric_limits<unsigned>::max();

// A number of digits alone, with leading zeros or without; nothing for other text. Numbers above 2^64 - 1 count as that.
std::optional<std::uint64_t> ParseUnsigned(std::u16string_view text);

// One literal text.
class ConstantDomain : public Domain
{
public:
    explicit ConstantDomain(const TString& text);

    bool match(const Value& value) const override;
    double cardinality(unsigned length) const override;   // 1 for its length
    DomainPtr makeStatsDomain() const override;
    DomainPtr parameterise() override;
};

// Domains of a catalogue: unchanged when no statistics were gathered.
class TextDomain : public Domain
{
public:
    // A HistogramDomain.
    DomainPtr makeStatsDomain() const override;
    DomainPtr parameterise() override;

protected:
    using Domain::Domain;
};

// A fixed set of words.
class EnumeratedDomain : public TextDomain
{
public:
    EnumeratedDomain(TString id, TString original, const std::vector<TString>& words, Placement placement = {});

    // From now on words match in any letter case, as long as they keep their length. Before the domain is used.
    void MakeCaseInsensitive();

    bool match(const Value& value) const override;
    double cardinality(unsigned length) const override;   // its words of that length

private:
    using Word = std::pair<std::size_t, TString>;   // length, and the text or what case makes of it

    Word MakeWord(const TString& text) const;

    bool m_isCaseInsensitive = false;
    std::set<Word> m_words;
};

// Digits whose number v is minimum <= v < maximum; leading zeros are allowed.
class UnsignedDomain : public TextDomain
{
public:
    struct Limits
    {
        std::uint64_t minimum;
        std::uint64_t maximum;
        unsigned shortest;
        unsigned longest;
    };

    UnsignedDomain(TString id, TString original, const Limits& limits, Placement placement = {});

    bool match(const Value& value) const override;
    double cardinality(unsigned length) const override;   // the numbers that fit into so many digits
    // Keeps the range of the numbers.
    DomainPtr makeStatsDomain() const override;

private:
    Limits m_limits;
    std::vector<double> m_counts;   // by length; beyond the table the last one
};

// What a regular expression matches from end to end. Within the bounds of its length a domain decides by its automaton where
// it has one, with the same verdict as the expression; otherwise by the expression, at the price of a copy per part.
class RegExpDomain : public TextDomain
{
public:
    struct Shape
    {
        unsigned shortest = 1;
        unsigned longest = kUnboundedLength;
        unsigned uniformFrom = 0;   // the length from which on no longer part matches where one did not; 0: none
        const ClassAutomaton* automaton = nullptr;   // static data
        double growth = 2.0;
    };

    // The original text is the pattern itself, or letters that stand for it elsewhere.
    RegExpDomain(TString id, const TString& pattern, const Shape& shape, Placement placement = {});
    RegExpDomain(TString id, TString original, TString pattern, const Shape& shape, Placement placement);

    bool uniform(unsigned length) const override;
    // Without an automaton: throws what RegularExpression throws.
    bool match(const Value& value) const override;
    double cardinality(unsigned length) const override;   // growth^length
    virtual const TString& pattern() const;

private:
    TString m_pattern;
    unsigned m_uniformFrom;
    std::optional<RegularExpression> m_expression;   // not with an automaton
};

class WordDomain : public RegExpDomain
{
public:
    static constexpr const char16_t* kId = u"<word>";
    explicit WordDomain(Placement placement = {});   // cardinality 52^n
};

class DigitsDomain : public RegExpDomain
{
public:
    static constexpr const char16_t* kId = u"<digits>";
    explicit DigitsDomain(Placement placement = {});   // 10^n
};

// One code unit that is no letter, digit or space.
class OnePuncDomain : public RegExpDomain
{
public:
    static constexpr const char16_t* kId = u"<onepunc>";
    explicit OnePuncDomain(Placement placement = {});   // 193
};

class PuncDomain : public RegExpDomain
{
public:
    static constexpr const char16_t* kId = u"<punc>";
    explicit PuncDomain(Placement placement = {});   // 193^n
};

// A number with an optional sign and an optional point.
class DecimalDomain : public RegExpDomain
{
public:
    static constexpr const char16_t* kId = u"<decimal>";
    explicit DecimalDomain(Placement placement = {});

    double cardinality(unsigned length) const override;   // digits only; a point or sign in one place; both
};

// Four numbers of up to three digits with points between them.
class IPDomain : public RegExpDomain
{
public:
    static constexpr const char16_t* kId = u"<ip>";
    explicit IPDomain(Placement placement = {});

    double cardinality(unsigned length) const override;   // 10^(n-3)
};

// A run of U+0020.
class SpacesDomain : public TextDomain
{
public:
    static constexpr const char16_t* kId = u"<spaces>";
    explicit SpacesDomain(unsigned minimum = 1, unsigned maximum = kUnboundedLength, Placement placement = {});

    bool uniform(unsigned length) const override;
    bool match(const Value& value) const override;
    double cardinality(unsigned length) const override;   // 1
};
