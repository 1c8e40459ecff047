#include "brvcore/data/SplitLibrary.h"

#include "brvcore/data/TextDomains.h"

#include <algorithm>
#include <initializer_list>

namespace
{
Domain::Placement NotAfter(std::initializer_list<TString> ids)
{
    Domain::Placement placement;
    placement.notAfter = ids;
    return placement;
}
}   // namespace

// No run is cut in two by its own domain, and no number stands directly after a number. Two single marks may stand side by
// side: that is how a mark within a run becomes a separator.
SplitLibrary::SplitLibrary(const StructureGovernor& governor, bool withOnePunc) : Library(governor)
{
    const Domain::Placement notAfterNumber = NotAfter({DigitsDomain::kId, DecimalDomain::kId, IPDomain::kId});
    m_catalogue.push_back(MakeRefCnt<WordDomain>(NotAfter({WordDomain::kId})));
    m_catalogue.push_back(MakeRefCnt<DigitsDomain>(notAfterNumber));
    if (withOnePunc)
        m_catalogue.push_back(MakeRefCnt<OnePuncDomain>(NotAfter({PuncDomain::kId})));
    m_catalogue.push_back(MakeRefCnt<PuncDomain>(NotAfter({PuncDomain::kId, OnePuncDomain::kId})));
    m_catalogue.push_back(MakeRefCnt<SpacesDomain>(1U, kUnboundedLength, NotAfter({SpacesDomain::kId})));
    m_catalogue.push_back(MakeRefCnt<DecimalDomain>(notAfterNumber));
    m_catalogue.push_back(MakeRefCnt<IPDomain>(notAfterNumber));
}

StructurePtr SplitLibrary::PruneStructure(const StructurePtr& structure) const
{
    StructurePtr kept = structure;
    for (const std::u16string_view literal : {u".", u"+", u"-"})
        if (kept != nullptr)
            kept = PruneIncompatible(kept, literal, DecimalDomain::kId);
    return kept;
}

StructurePtr SplitLibrary::PruneIncompatible(
    const StructurePtr& structure, std::u16string_view literal, std::u16string_view domainId) const
{
    const auto has = [&structure](std::u16string_view id)
    {
        return std::any_of(structure->domains().begin(), structure->domains().end(),
            [id](const DomainPtr& domain) { return domain->id().View() == id; });
    };
    return has(literal) && has(domainId) ? StructurePtr() : structure;
}
