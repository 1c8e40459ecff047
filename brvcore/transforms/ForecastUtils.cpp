#include "brvcore/transforms/ForecastUtils.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/ForecastUtilsTables.h"

#include <algorithm>
#include <array>
#include <limits>

namespace
{

using namespace ForecastUtilsTables;

// The row whose member has the given value, or null.
template <class Table, class Row, class Value> const Row* FindRow(const Table& table, Value Row::*member, Value value)
{
    const auto row = std::ranges::find(table, value, member);
    return row == table.end() ? nullptr : &*row;
}

// MDY and the levels below the week hold a full day that their own rows leave out; every way to name one has to be tried.
bool ImpliesDay(AggType agg)
{
    return agg == MDY || agg > WeekTrunc;
}

// The first multiple of the estimation period after the last date that is not before the given date.
DateTime EndOfEstimate(DateTime lastDate, DateTime date, DatePeriodType period)
{
    const std::int64_t elapsed = std::max<std::int64_t>(1, DatePeriodDifference(lastDate, date, period));
    const DateTime end = AdjustByDatePeriod(lastDate, period, elapsed);
    return end < date ? AdjustByDatePeriod(lastDate, period, elapsed + 1) : end;
}

// The fewest periods after the last date that reach the given date.
std::int64_t PeriodsToReach(DateTime lastDate, DateTime date, DatePeriodType period)
{
    const std::int64_t elapsed = DatePeriodDifference(lastDate, date, period);
    return AdjustByDatePeriod(lastDate, period, elapsed) < date ? elapsed + 1 : elapsed;
}

}   // namespace

std::optional<AggType> ForecastUtils::GetExplanatoryAgg(const std::set<AggType>& aggs)
{
    std::array<DateParts, kDaySpecifications.size()> candidates{};
    for (const AggType agg : aggs)
    {
        const ComponentsRow* const components = FindRow(kComponents, &ComponentsRow::agg, agg);
        if (components == nullptr)
            return std::nullopt;
        for (std::size_t i = 0; i < candidates.size(); ++i)
            candidates[i] |= components->parts | (ImpliesDay(agg) ? kDaySpecifications[i] : 0);
    }
    for (const DateParts parts : candidates)
        if (const ValidSetRow* const set = FindRow(kValidSets, &ValidSetRow::parts, parts))
            return set->agg;
    return std::nullopt;
}

bool ForecastUtils::IsValidDateSet(const std::set<AggType>& aggs)
{
    return GetExplanatoryAgg(aggs).has_value();
}

ForecastUtils::TimeSeriesConfig ForecastUtils::AggTypeToTimeSeriesConfig(AggType agg)
{
    const ConfigRow* const row = FindRow(kConfigs, &ConfigRow::agg, agg);
    return row != nullptr ? row->config : FindRow(kConfigs, &ConfigRow::agg, None)->config;
}

int ForecastUtils::DeriveSeasonLength(AggType agg)
{
    const ConfigRow* const row = FindRow(kConfigs, &ConfigRow::agg, agg);
    return row != nullptr ? row->config.seasonLength : -1;
}

int ForecastUtils::AggTypePairToMultiple(AggType coarse, AggType fine)
{
    for (const MultipleRow& row : kMultiples)
        if (row.coarse == coarse && row.fine == fine)
            return row.multiple;
    return 0;
}

std::vector<AggType> ForecastUtils::GetSupportedAggTypeChanges(AggType agg)
{
    std::vector<AggType> finerLevels;
    for (const MultipleRow& row : kMultiples)
        if (row.coarse == agg)
            finerLevels.push_back(row.fine);
    return finerLevels;
}

bool ForecastUtils::CanAggWithEstFinerThanViz(AggType agg)
{
    return std::ranges::find(kFinerEstimates, agg) != kFinerEstimates.end();
}

DatePeriodType ForecastUtils::AggTypeToDatePeriod(AggType agg)
{
    if (const DatePeriodRow* const row = FindRow(kDatePeriods, &DatePeriodRow::agg, agg))
        return row->period;
    LogMessage(LogSeverity::Warning, TString(u"Invalid aggregation type ") + TString::FromInt(static_cast<int>(agg)));
    return DatePeriodType::Month;
}

ForecastComponentType ForecastUtils::DeriveErrorType(ForecastComponentType trend, ForecastComponentType season)
{
    return SmoothingComponents{trend, season, 1}.ErrorType();
}

bool ForecastUtils::EnoughDataForSeasonalSearch(int n, int m)
{
    if (m == 0 || std::int64_t{m} + 5 > n)
        return false;
    return n / m >= 2;
}

DataValue ForecastUtils::IncrementExplanatory(const DataValue& value, AggType agg, int k)
{
    if (agg == None)
    {
        std::int64_t sum = 0;
        const bool overflows = __builtin_add_overflow(value.GetInteger(), std::int64_t{k}, &sum);
        BRV_LOGIC_ASSERT(0xC8473AF0, !overflows);
        return DataValue::Integer(sum);
    }
    return DataValue::FromDateTime(AdjustByDatePeriod(value.GetDateTime(), AggTypeToDatePeriod(agg), k));
}

int ForecastUtils::GetUserForecastLength(ForecastRangeType rangeType, DateTime lastDate, AggType unitAgg,
    AggType viewAgg, AggType estAgg, int count, const IDateOptions& dateOptions)
{
    const DatePeriodType viewPeriod = AggTypeToDatePeriod(viewAgg);
    const DatePeriodType unitPeriod = AggTypeToDatePeriod(unitAgg);

    // The range runs from the next period to the last second before its end; only the end is sought from a whole unit.
    const DateTime start = AdjustByDatePeriod(lastDate, viewPeriod, 1);
    const DateTime endAnchor =
        rangeType == ForecastRangeType::ToEndOfUnit ? FindStartOfPeriod(start, unitPeriod, dateOptions) : start;
    const DateTime end = AdjustByDatePeriod(endAnchor, unitPeriod, count) - DateTimeSpan::FromSeconds(1);
    std::int64_t length = std::max<std::int64_t>(0, DatePeriodDifference(start, end, viewPeriod)) + 1;

    if (viewAgg > estAgg)
    {
        const DateTime viewEnd = AdjustByDatePeriod(lastDate, viewPeriod, length);
        const DateTime estimateEnd = EndOfEstimate(lastDate, viewEnd, AggTypeToDatePeriod(estAgg));
        length = std::max(length, PeriodsToReach(lastDate, estimateEnd, viewPeriod));
    }
    BRV_LOGIC_ASSERT(0x86524F38, length <= std::numeric_limits<int>::max());
    return static_cast<int>(length);
}
