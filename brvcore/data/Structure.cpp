#include "brvcore/data/Structure.h"

#include <algorithm>
#include <utility>

namespace
{
std::vector<DomainPtr> Prepend(const DomainPtr& first, const std::vector<DomainPtr>& rest)
{
    std::vector<DomainPtr> domains(1 + rest.size());
    domains.front() = first;
    std::copy(rest.begin(), rest.end(), domains.begin() + 1);
    return domains;
}
}   // namespace

Structure::Structure(std::vector<DomainPtr> domains) : m_domains(std::move(domains))
{
    for (const DomainPtr& domain : m_domains)
    {
        m_id.Append(domain->id());
        m_original.Append(domain->original());
    }
}

Structure::Structure(const DomainPtr& first, const std::vector<DomainPtr>& rest) : Structure(Prepend(first, rest)) {}

Structure::~Structure() = default;

const TString& Structure::id() const
{
    return m_id;
}

const TString& Structure::original() const
{
    return m_original;
}

const std::vector<DomainPtr>& Structure::domains() const
{
    return m_domains;
}
