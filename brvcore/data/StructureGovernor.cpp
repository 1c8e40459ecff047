#include "brvcore/data/StructureGovernor.h"

StructureGovernor::~StructureGovernor() = default;

std::uint64_t StructureGovernor::GetMaxEnumerate() const
{
    return m_maxEnumerate;
}

std::uint64_t StructureGovernor::GetMaxDomains() const
{
    return m_maxDomains;
}

std::uint64_t StructureGovernor::GetMaxDuplicates() const
{
    return m_maxDuplicates;
}

void StructureGovernor::ThrowIfCancelled() const {}
