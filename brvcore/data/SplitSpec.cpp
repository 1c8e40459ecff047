#include "brvcore/data/ICUDateFormatInspector.h"
#include "brvcore/data/RegularExpression.h"
#include "brvcore/data/SplitLibrary.h"
#include "brvcore/data/TextDomains.h"

#include <algorithm>
#include <utility>

namespace
{
bool IsLead(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsTrail(char16_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

// Matching is by code unit, so a literal may be half of a character: such halves are shared by many emoji.
bool CutsCharacter(std::u16string_view literal)
{
    return !literal.empty() && (IsTrail(literal.front()) || IsLead(literal.back()));
}

// Something to cut at, something to keep, and whole characters to cut at.
bool CanSplit(const Structure& structure)
{
    const std::vector<DomainPtr>& domains = structure.domains();
    const auto isConstant = [](const DomainPtr& domain) { return domain->constant(); };
    return std::any_of(domains.begin(), domains.end(), isConstant) &&
           !std::all_of(domains.begin(), domains.end(), isConstant) &&
           std::none_of(domains.begin(), domains.end(),
               [](const DomainPtr& domain) { return domain->constant() && CutsCharacter(domain->id()); });
}

// By the identifiers of a field's domains.
DataType TypeOf(const std::set<TString>& field)
{
    if (field.empty())
        return DataType::Unknown;
    if (field.size() == 1 && *field.begin() == DigitsDomain::kId)
        return DataType::Integer;
    if (field.size() == 1 && *field.begin() == DecimalDomain::kId)
        return DataType::Real;
    return DataType::String;
}

std::vector<SplitSpec> SpecsOf(const Structure& structure)
{
    std::vector<SplitSpec> specs;
    std::set<TString> field;
    for (const DomainPtr& domain : structure.domains())
    {
        if (!domain->constant())
        {
            field.insert(domain->id());
            continue;
        }
        specs.push_back({domain->id(), TypeOf(field)});   // few
        field.clear();
    }
    if (!field.empty() && !specs.empty())
        specs.push_back({TString(), TypeOf(field)});
    return specs;
}
}   // namespace

std::vector<SplitSpec> GenerateSplitSpec(
    const std::set<TString>& samples, const StructureGovernor& governor, bool withOnePunc)
{
    std::vector<Value> values;
    values.reserve(samples.size());
    for (const TString& sample : samples)
        values.emplace_back(sample.View());

    const std::vector<RankedStructure> ranked = SplitLibrary(governor, withOnePunc).RankSamples(values);
    const auto best = std::find_if(
        ranked.begin(), ranked.end(), [](const RankedStructure& candidate) { return CanSplit(*candidate.second); });
    return best == ranked.end() ? std::vector<SplitSpec>() : SpecsOf(*best->second);
}

std::size_t CountSplitRegExpMatches(const TString& pattern, const std::set<TString>& samples)
{
    RegularExpression expression(pattern);
    return static_cast<std::size_t>(std::count_if(samples.begin(), samples.end(),
        [&expression](const TString& sample) { return expression.MatchesWhole(sample.View()); }));
}
