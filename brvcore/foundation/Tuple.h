#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataValue.h"
#include "brvcore/foundation/RefCntObject.h"

#include <cstdint>
#include <utility>
#include <vector>

// A row of data values, shared between the objects that name the same partition. Read-only once made.
class BRV_EXPORT Tuple : public RefCntObject
{
public:
    Tuple() = default;
    explicit Tuple(std::vector<DataValue> values) : m_values(std::move(values)) {}

    const std::vector<DataValue>& GetValues() const noexcept { return m_values; }
    std::uint32_t Hash() const noexcept;

    friend bool operator==(const Tuple& a, const Tuple& b) { return a.m_values == b.m_values; }

private:
    std::vector<DataValue> m_values;
};
