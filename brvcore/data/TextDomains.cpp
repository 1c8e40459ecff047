#include "brvcore/data/TextDomains.h"

#include "brvcore/data/StatsDomains.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr ClassAutomaton kWordAutomaton = ClassAutomata::Run(ClassAutomata::kLetter);
constexpr ClassAutomaton kDigitsAutomaton = ClassAutomata::Run(ClassAutomata::kDigit);
constexpr ClassAutomaton kOnePuncAutomaton = ClassAutomata::One(ClassAutomata::kPunctuation);
constexpr ClassAutomaton kPuncAutomaton = ClassAutomata::Run(ClassAutomata::kPunctuation);
constexpr ClassAutomaton kSpacesAutomaton = ClassAutomata::Run(ClassAutomata::kSpace);
constexpr ClassAutomaton kDecimalAutomaton = ClassAutomata::Decimal();
constexpr ClassAutomaton kIPAutomaton = ClassAutomata::DottedQuad();

constexpr double kLetters = 52.0;
constexpr double kDigits = 10.0;
constexpr double kPunctuationMarks = 193.0;   // what is left of 256 after letters, digits and the space

constexpr unsigned kShortestIP = 7;
constexpr unsigned kLongestIP = 15;
constexpr unsigned kPointsInIP = 3;

// From this length on a number that is none stays so: "-." may still become "-.5".
constexpr unsigned kDecimalUniformFrom = 3;

unsigned BoundedLength(std::size_t length)
{
    return static_cast<unsigned>(std::min<std::size_t>(length, kUnboundedLength));
}

unsigned ShortestOf(const std::vector<TString>& words)
{
    std::size_t shortest = kUnboundedLength;
    for (const TString& word : words)
        shortest = std::min(shortest, word.Length());
    return BoundedLength(shortest);
}

unsigned LongestOf(const std::vector<TString>& words)
{
    std::size_t longest = 0;
    for (const TString& word : words)
        longest = std::max(longest, word.Length());
    return BoundedLength(longest);
}
}   // namespace

std::optional<std::uint64_t> ParseUnsigned(std::u16string_view text)
{
    constexpr std::uint64_t kMaximum = std::numeric_limits<std::uint64_t>::max();
    if (text.empty())
        return std::nullopt;
    std::uint64_t number = 0;
    for (const char16_t unit : text)
    {
        if (unit < u'0' || unit > u'9')
            return std::nullopt;
        const auto digit = static_cast<std::uint64_t>(unit - u'0');
        number = number > (kMaximum - digit) / 10 ? kMaximum : number * 10 + digit;
    }
    return number;
}

ConstantDomain::ConstantDomain(const TString& text)
    : Domain(text, text, true, BoundedLength(text.Length()), BoundedLength(text.Length()))
{
}

bool ConstantDomain::match(const Value& value) const
{
    return value.View() == id().View();
}

double ConstantDomain::cardinality(unsigned length) const
{
    return length == shortest() ? 1.0 : 0.0;
}

DomainPtr ConstantDomain::makeStatsDomain() const
{
    return MakeRefCnt<HistogramDomain>(ShareDomain(*this));
}

DomainPtr ConstantDomain::parameterise()
{
    return DomainPtr(this);
}

DomainPtr TextDomain::makeStatsDomain() const
{
    return MakeRefCnt<HistogramDomain>(ShareDomain(*this));
}

DomainPtr TextDomain::parameterise()
{
    return DomainPtr(this);
}

EnumeratedDomain::EnumeratedDomain(TString id, TString original, const std::vector<TString>& words, Placement placement)
    : TextDomain(
          std::move(id), std::move(original), false, ShortestOf(words), LongestOf(words), std::move(placement), Hints{})
{
    for (const TString& word : words)
        m_words.insert(MakeWord(word));
}

void EnumeratedDomain::MakeCaseInsensitive()
{
    m_isCaseInsensitive = true;
    std::set<Word> words;
    for (const auto& [length, text] : m_words)
        words.emplace(length, text.ToLower());
    m_words = std::move(words);
}

bool EnumeratedDomain::match(const Value& value) const
{
    return value.length >= shortest() && value.length <= longest() && m_words.contains(MakeWord(TString(value.View())));
}

double EnumeratedDomain::cardinality(unsigned length) const
{
    return static_cast<double>(
        std::count_if(m_words.begin(), m_words.end(), [length](const Word& word) { return word.first == length; }));
}

EnumeratedDomain::Word EnumeratedDomain::MakeWord(const TString& text) const
{
    return {text.Length(), m_isCaseInsensitive ? text.ToLower() : text};
}

UnsignedDomain::UnsignedDomain(TString id, TString original, const Limits& limits, Placement placement)
    : TextDomain(
          std::move(id), std::move(original), false, limits.shortest, limits.longest, std::move(placement), Hints{}),
      m_limits(limits)
{
    constexpr unsigned kMostDigits = std::numeric_limits<std::uint64_t>::digits10 + 1;
    std::uint64_t below = 1;   // the numbers of so many digits are below this
    for (unsigned length = 0; length <= kMostDigits; ++length)
    {
        const std::uint64_t end = length < kMostDigits ? std::min(below, limits.maximum) : limits.maximum;
        m_counts.push_back(end > limits.minimum ? static_cast<double>(end - limits.minimum) : 0.0);   // few
        below *= 10;
    }
}

bool UnsignedDomain::match(const Value& value) const
{
    if (value.length < shortest() || value.length > longest())
        return false;
    const std::optional<std::uint64_t> number = ParseUnsigned(value.View());
    return number && m_limits.minimum <= *number && *number < m_limits.maximum;
}

double UnsignedDomain::cardinality(unsigned length) const
{
    if (length < shortest() || length > longest())
        return 0.0;
    return m_counts[std::min<std::size_t>(length, m_counts.size() - 1)];
}

DomainPtr UnsignedDomain::makeStatsDomain() const
{
    return MakeRefCnt<NumericDomain<std::uint64_t>>(ShareDomain(*this));
}

RegExpDomain::RegExpDomain(TString id, const TString& pattern, const Shape& shape, Placement placement)
    : RegExpDomain(std::move(id), pattern, pattern, shape, std::move(placement))
{
}

RegExpDomain::RegExpDomain(TString id, TString original, TString pattern, const Shape& shape, Placement placement)
    : TextDomain(std::move(id), std::move(original), false, shape.shortest, shape.longest, std::move(placement),
          Hints{shape.automaton, shape.growth, false}),
      m_pattern(std::move(pattern)), m_uniformFrom(shape.uniformFrom)
{
    if (shape.automaton == nullptr)
        m_expression.emplace(m_pattern);
}

bool RegExpDomain::uniform(unsigned length) const
{
    return m_uniformFrom != 0 && length >= m_uniformFrom;
}

bool RegExpDomain::match(const Value& value) const
{
    if (value.length < shortest() || value.length > longest())
        return false;
    if (const ClassAutomaton* const automaton = GetHints().automaton)
        return automaton->Accepts(value.View());
    return RegularExpression(*m_expression).MatchesWhole(value.View());
}

double RegExpDomain::cardinality(unsigned length) const
{
    return length < shortest() || length > longest() ? 0.0 : std::pow(GetHints().growth, length);
}

const TString& RegExpDomain::pattern() const
{
    return m_pattern;
}

WordDomain::WordDomain(Placement placement)
    : RegExpDomain(kId, u"[A-Za-z]+", {1, kUnboundedLength, 1, &kWordAutomaton, kLetters}, std::move(placement))
{
}

DigitsDomain::DigitsDomain(Placement placement)
    : RegExpDomain(kId, u"[0-9]+", {1, kUnboundedLength, 1, &kDigitsAutomaton, kDigits}, std::move(placement))
{
}

OnePuncDomain::OnePuncDomain(Placement placement)
    : RegExpDomain(kId, u"[^A-Za-z0-9 ]", {1, 1, 0, &kOnePuncAutomaton, kPunctuationMarks}, std::move(placement))
{
}

PuncDomain::PuncDomain(Placement placement)
    : RegExpDomain(
          kId, u"[^A-Za-z0-9 ]+", {1, kUnboundedLength, 1, &kPuncAutomaton, kPunctuationMarks}, std::move(placement))
{
}

DecimalDomain::DecimalDomain(Placement placement)
    : RegExpDomain(kId, uR"([-+]?(([0-9]+\.?[0-9]*)|(\.[0-9]+)))",
          {1, kUnboundedLength, kDecimalUniformFrom, &kDecimalAutomaton, kDigits}, std::move(placement))
{
}

double DecimalDomain::cardinality(unsigned length) const
{
    if (length < shortest())
        return 0.0;
    double count = std::pow(kDigits, length);
    if (length >= 2)
        count += 3.0 * std::pow(kDigits, length - 1);
    if (length >= 3)
        count += 2.0 * std::pow(kDigits, length - 2);
    return count;
}

IPDomain::IPDomain(Placement placement)
    : RegExpDomain(kId, uR"([0-9]{1,3}(\.[0-9]{1,3}){3})", {kShortestIP, kLongestIP, 0, &kIPAutomaton, kDigits},
          std::move(placement))
{
}

double IPDomain::cardinality(unsigned length) const
{
    return length < shortest() || length > longest() ? 0.0 : std::pow(kDigits, length - kPointsInIP);
}

SpacesDomain::SpacesDomain(unsigned minimum, unsigned maximum, Placement placement)
    : TextDomain(kId, u" +", false, minimum, maximum, std::move(placement), Hints{&kSpacesAutomaton, 1.0, false})
{
}

bool SpacesDomain::uniform(unsigned /*length*/) const
{
    return true;
}

bool SpacesDomain::match(const Value& value) const
{
    return value.length >= shortest() && value.length <= longest() && kSpacesAutomaton.Accepts(value.View());
}

double SpacesDomain::cardinality(unsigned length) const
{
    return length < shortest() || length > longest() ? 0.0 : 1.0;
}
