#include "brvcore/data/Aggregation.h"

#include "brvcore/data/AggregationTable.h"
#include "brvcore/foundation/LogicException.h"

#include <stdexcept>
#include <string_view>
#include <unordered_map>

namespace
{

using namespace AggregationTable;

bool IsAny(AggType aggType, unsigned categories) noexcept
{
    const Row* const row = Find(aggType);
    return row != nullptr && row->Is(categories);
}

// Values by one of their names; only of the rows that belong to a category when one is given.
class NameMap
{
public:
    explicit NameMap(std::u16string_view Row::*name, unsigned categories = 0)
    {
        for (const Row& row : kRows)
            if (!(row.*name).empty() && (categories == 0 || row.Is(categories)))
                m_types.emplace(row.*name, row.type);
    }

    // Null for an unknown name.
    const AggType* Find(std::u16string_view name) const
    {
        const auto entry = m_types.find(name);
        return entry == m_types.end() ? nullptr : &entry->second;
    }

    AggType FindOrNone(std::u16string_view name) const
    {
        const AggType* const type = Find(name);
        return type == nullptr ? AggType::None : *type;
    }

private:
    std::unordered_map<std::u16string_view, AggType> m_types;
};

bool IsNumeric(DataType type)
{
    return type == DataType::Integer || type == DataType::Real;
}

bool IsTemporal(DataType type)
{
    return type == DataType::Date || type == DataType::DateTime;
}

}   // namespace

TString XMLFromAggType(AggType aggType)
{
    const Row* const row = Find(aggType);
    if (row == nullptr || row->xmlName.empty())
        BRV_LOGIC_ERROR(0x61D5A2FA, u"Unknown AggType");
    return row->xmlName;
}

AggType AggTypeFromXML(const TString& name)
{
    static const NameMap types(&Row::xmlName);
    const AggType* const type = types.Find(name);
    if (type == nullptr)
        throw std::out_of_range("map::at:  key not found");
    return *type;
}

AggType AggTypeFromAggFunctionName(TString& name)
{
    static const NameMap types(&Row::function, kFold);
    name = name.ToUpper();
    return types.FindOrNone(name);
}

AggType DerivationTypeFromFunctionName(TString& functionName, const TString& datePart)
{
    static const NameMap functions(&Row::function);
    static const NameMap truncations(&Row::datePart, kTrunc);
    static const NameMap parts(&Row::datePart, kBin);
    functionName = functionName.ToUpper();
    if (datePart.IsEmpty())
        return functions.FindOrNone(functionName);
    if (functionName == u"DATETRUNC")
        return truncations.FindOrNone(datePart);
    if (functionName == u"DATEPART")
        return parts.FindOrNone(datePart);
    return AggType::None;
}

bool AggFuncIsLocal(AggType aggType) noexcept
{
    return IsAny(aggType, kLocal);
}

bool AggFuncIsAggregation(AggType aggType) noexcept
{
    return IsAny(aggType, kFold);
}

bool AggFuncIsDateBin(AggType aggType) noexcept
{
    return IsAny(aggType, kBin);
}

bool AggFuncIsDateTrunc(AggType aggType) noexcept
{
    return IsAny(aggType, kTrunc);
}

bool AggFuncIsTopOfDateTimeHierarchy(AggType aggType) noexcept
{
    return IsAny(aggType, kTop);
}

bool IsLinearDateTimeDomain(AggType aggType) noexcept
{
    return IsAny(aggType, kBin) && !IsAny(aggType, kCombined);
}

bool IsDateAggregation(AggType aggType) noexcept
{
    return IsAny(aggType, kBin | kTrunc) && !IsAny(aggType, kClock);
}

bool IsISODateAgg(AggType aggType) noexcept
{
    return IsAny(aggType, kISO);
}

bool IsDateBinContinuous(AggType aggType)
{
    if (!IsAny(aggType, kBin | kTrunc))
        BRV_LOGIC_ERROR(0x24F51ACF, u"Invalid aggregation type");
    return !IsAny(aggType, kCombined);
}

AggType SwapDateAggMethod(AggType aggType) noexcept
{
    const Row* const row = Find(aggType);
    return row == nullptr ? AggType::None : row->swap;
}

AggType RollupDateAgg(AggType aggType) noexcept
{
    const Row* const row = Find(aggType);
    return row == nullptr ? AggType::None : row->rollup;
}

DataType DataTypeFromAggType(AggType aggType, DataType inputType)
{
    const Row* const row = Find(aggType);
    switch (row == nullptr ? ResultType::Invalid : row->result)
    {
    case ResultType::Input:
        return inputType;
    case ResultType::RealIfNumeric:
        return IsNumeric(inputType) ? DataType::Real : DataType::Unknown;
    case ResultType::Integer:
        return DataType::Integer;
    case ResultType::IntegerIfTemporal:
        return IsTemporal(inputType) ? DataType::Integer : DataType::Unknown;
    case ResultType::DateIfTemporal:
        return IsTemporal(inputType) ? DataType::Date : DataType::Unknown;
    case ResultType::DateTimeIfTemporal:
        return IsTemporal(inputType) ? DataType::DateTime : DataType::Unknown;
    case ResultType::Boolean:
        return DataType::Boolean;
    case ResultType::Spatial:
        return DataType::Spatial;
    case ResultType::Invalid:
        break;
    }
    BRV_LOGIC_ERROR(0xAEC37B10, u"Invalid aggregation type");
}
