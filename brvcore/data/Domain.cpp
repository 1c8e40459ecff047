#include "brvcore/data/Domain.h"

#include <utility>

Domain::Domain(TString id, TString original, bool isConstant, unsigned shortest, unsigned longest, Placement placement,
    Hints hints)
    : m_id(std::move(id)), m_original(std::move(original)), m_isConstant(isConstant), m_shortest(shortest),
      m_longest(longest), m_placement(std::move(placement)), m_hints(hints)
{
}

Domain::Domain(TString id, TString original, bool isConstant, unsigned shortest, unsigned longest)
    : Domain(std::move(id), std::move(original), isConstant, shortest, longest, Placement{}, Hints{})
{
}

Domain::~Domain() = default;

const TString& Domain::id() const
{
    return m_id;
}

bool Domain::constant() const
{
    return m_isConstant;
}

const TString& Domain::original() const
{
    return m_original;
}

unsigned Domain::shortest() const
{
    return m_shortest;
}

unsigned Domain::longest() const
{
    return m_longest;
}

bool Domain::uniform(unsigned /*length*/) const
{
    return false;
}

bool Domain::isRedundantAfter(const DomainChain* chain) const
{
    if (chain != nullptr && m_placement.notAfter.contains(chain->item->id()))
        return true;
    bool isAfterOne = m_placement.onlyAfter.empty();
    for (; chain != nullptr; chain = chain->previous)
    {
        const TString& before = chain->item->id();
        if (m_placement.notAnywhereAfter.contains(before))
            return true;
        isAfterOne = isAfterOne || m_placement.onlyAfter.contains(before);
    }
    return !isAfterOne;
}

bool Domain::sameDomain(const Domain& other) const
{
    return id() == other.id();
}

void Domain::updateStats(const Value& /*value*/) {}

double Domain::matchWithConfidence(const Value& value, unsigned /*n*/) const
{
    return match(value) ? 1.0 : 0.0;
}
