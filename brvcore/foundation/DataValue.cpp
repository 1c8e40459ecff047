#include "brvcore/foundation/DataValue.h"

#include "brvcore/foundation/HashCombine.h"
#include "brvcore/foundation/LogicException.h"

namespace
{

// The one place where a getter meets the wrong type.
void RequireType(DataType type, DataType expected)
{
    BRV_LOGIC_ASSERT(0xE8043D51, type == expected);
}

}   // namespace

DataValue DataValue::Date(DateTime value)
{
    return {DataType::Date, value.GetDate()};
}

std::int64_t DataValue::GetInteger() const
{
    RequireType(m_type, DataType::Integer);
    return std::get<std::int64_t>(m_content);
}

double DataValue::GetReal() const
{
    RequireType(m_type, DataType::Real);
    return std::get<double>(m_content);
}

const TString& DataValue::GetString() const
{
    RequireType(m_type, DataType::String);
    return std::get<TString>(m_content);
}

bool DataValue::GetBoolean() const
{
    RequireType(m_type, DataType::Boolean);
    return std::get<bool>(m_content);
}

DateTime DataValue::GetDateTime() const
{
    if (m_type != DataType::Date)
        RequireType(m_type, DataType::DateTime);
    return std::get<DateTime>(m_content);
}

TString DataValue::ToText() const
{
    switch (m_type)
    {
    case DataType::Integer:
        return TString::FromInt(std::get<std::int64_t>(m_content));
    case DataType::Real:
        return TString::FromDouble(std::get<double>(m_content));
    case DataType::String:
        return std::get<TString>(m_content);
    case DataType::Boolean:
        return std::get<bool>(m_content) ? u"true" : u"false";
    case DataType::Date:
        return std::get<DateTime>(m_content).ToISODate();
    case DataType::DateTime:
        return std::get<DateTime>(m_content).ToISO();
    default:
        return {};
    }
}

std::uint32_t DataValue::Hash() const noexcept
{
    THashCombine32 hash(static_cast<std::uint32_t>(m_type));
    if (const auto* const integer = std::get_if<std::int64_t>(&m_content))
        hash.Add(*integer);
    else if (const auto* const real = std::get_if<double>(&m_content))
        hash.Add(*real);
    else if (const auto* const text = std::get_if<TString>(&m_content))
        hash.Add(text->Hash());
    else if (const auto* const boolean = std::get_if<bool>(&m_content))
        hash.Add(*boolean);
    else if (const auto* const moment = std::get_if<DateTime>(&m_content))
        hash.Add(moment->GetTicks());
    return hash.Get();
}
