#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataType.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <variant>

// A typed value of a data set: null, integer, real, string, boolean, date or date-time. A plain value.
//
// Equality compares type and content: integer 1 is not real 1.0, a NaN equals no value, itself included, and null equals
// null. Getters throw LogicException 0xE8043D51 "type == expected" when the value is of another type.
class BRV_EXPORT DataValue
{
public:
    DataValue() = default;   // null

    static DataValue Integer(std::int64_t value) { return {DataType::Integer, value}; }
    static DataValue Real(double value) { return {DataType::Real, value}; }
    static DataValue String(TString value) { return {DataType::String, std::move(value)}; }
    static DataValue Boolean(bool value) { return {DataType::Boolean, value}; }
    // A day: the time of the date is dropped.
    static DataValue Date(DateTime value);
    static DataValue FromDateTime(DateTime value) { return {DataType::DateTime, value}; }

    DataType GetType() const noexcept { return m_type; }
    bool IsNull() const noexcept { return m_type == DataType::Null; }

    std::int64_t GetInteger() const;
    double GetReal() const;
    const TString& GetString() const;
    bool GetBoolean() const;
    DateTime GetDateTime() const;   // of a date or a date-time

    // For messages and tables: numbers in the shortest exact form, dates "2024-01-31", date-times
    // "2024-01-31 12:00:00" (at midnight just the date), booleans "true" and "false", null "".
    TString ToText() const;
    // Equal values hash equally, in every process.
    std::uint32_t Hash() const noexcept;

    friend bool operator==(const DataValue&, const DataValue&) = default;

private:
    using Content = std::variant<std::monostate, std::int64_t, double, TString, bool, DateTime>;
    DataValue(DataType type, Content content) : m_type(type), m_content(std::move(content)) {}

    DataType m_type = DataType::Null;
    Content m_content;
};
