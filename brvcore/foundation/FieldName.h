#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <compare>
#include <cstdint>
#include <utility>

// Name of a field within its data source. Compared by code units; case matters.
class FieldName
{
public:
    FieldName() = default;
    explicit FieldName(TString name) : m_name(std::move(name)) {}

    const TString& GetName() const noexcept { return m_name; }
    std::uint32_t Hash() const noexcept { return m_name.Hash(); }

    friend bool operator==(const FieldName&, const FieldName&) = default;
    friend std::strong_ordering operator<=>(const FieldName&, const FieldName&) = default;

private:
    TString m_name;
};

// A field together with the data source that it belongs to.
class BRV_EXPORT QualifiedName
{
public:
    QualifiedName() = default;
    QualifiedName(TString source, FieldName field) : m_source(std::move(source)), m_field(std::move(field)) {}

    const TString& GetSource() const noexcept { return m_source; }
    const FieldName& GetField() const noexcept { return m_field; }

    // "[source].[field]"; a closing bracket inside a name is doubled. Without a source just "[field]".
    TString ToText() const;
    std::uint32_t Hash() const noexcept;

    friend bool operator==(const QualifiedName&, const QualifiedName&) = default;
    friend std::strong_ordering operator<=>(const QualifiedName&, const QualifiedName&) = default;

private:
    TString m_source;
    FieldName m_field;
};
