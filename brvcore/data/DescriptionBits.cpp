#include "brvcore/data/DescriptionBits.h"

#include <algorithm>
#include <cmath>

float SingleLog2(double x) noexcept
{
    return static_cast<float>(std::log2(x));
}

const DescriptionBits::Entry& DescriptionBits::Compute(std::size_t length)
{
    if (length >= m_entries.size())
        m_entries.resize(std::max(length + 1, 2 * m_entries.size()));
    const double n = static_cast<double>(length);
    const double cardinality = m_domain->cardinality(static_cast<unsigned>(length));
    const double bits = std::isfinite(cardinality)
                            ? SingleLog2(std::max(cardinality, 1.0))
                            : static_cast<float>(n * std::log2(std::max(m_domain->GetHints().growth, 1.0)));
    Entry& entry = m_entries[length];
    entry.bits = bits - 8.0 * n;
    const double units = entry.bits / kUnit;
    const bool isExact = std::abs(units) <= static_cast<double>(kExactSum) && std::trunc(units) == units;
    entry.units = isExact ? static_cast<std::int64_t>(units) : kInexact;
    entry.isKnown = true;
    return entry;
}
