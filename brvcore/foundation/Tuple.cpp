#include "brvcore/foundation/Tuple.h"

#include "brvcore/foundation/HashCombine.h"

std::uint32_t Tuple::Hash() const noexcept
{
    THashCombine32 hash;
    for (const DataValue& value : m_values)
        hash.Add(value.Hash());
    return hash.Get();
}
