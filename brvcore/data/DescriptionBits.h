#pragma once

#include "brvcore/data/Domain.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

// Base-2 logarithm rounded to single precision: the precision in which description lengths are measured.
float SingleLog2(double x) noexcept;

// What describing a part costs more than writing it: log2(max(cardinality(n), 1)) - 8 n bits for a part of n code units.
// Where the cardinality exceeds a double its logarithm is n log2(growth), so every cost is finite. One object serves one
// thread; it remembers the costs that it was asked for.
class DescriptionBits
{
public:
    // Costs are multiples of 2^-23 bit unless a logarithm lies between 0 and 1. A sum of multiples of a unit is exact as a
    // double while it is at most kExactSum units.
    static constexpr double kUnit = 0x1p-23;
    static constexpr std::int64_t kExactSum = std::int64_t(1) << 53;
    static constexpr std::int64_t kInexact = std::numeric_limits<std::int64_t>::min();

    explicit DescriptionBits(const Domain& domain) : m_domain(&domain) {}

    double Get(std::size_t length) { return Look(length).bits; }
    // In multiples of kUnit; kInexact when it is none.
    std::int64_t GetUnits(std::size_t length) { return Look(length).units; }

private:
    struct Entry
    {
        double bits = 0.0;
        std::int64_t units = 0;
        bool isKnown = false;
    };

    const Entry& Look(std::size_t length)
    {
        if (length < m_entries.size() && m_entries[length].isKnown)
            return m_entries[length];
        return Compute(length);
    }
    const Entry& Compute(std::size_t length);

    const Domain* m_domain;
    std::vector<Entry> m_entries;   // by length
};
