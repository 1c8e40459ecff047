#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataValue.h"
#include "brvcore/foundation/DateArithmetic.h"
#include "brvcore/transforms/ForecastTypes.h"

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

// How a host states a range to forecast. Hosts keep values of their own; every value but ToEndOfUnit counts from the next
// period.
enum class ForecastRangeType : std::int32_t
{
    FromNextPeriod = 0,
    ToEndOfUnit = 2,   // the unit that holds the next period is the first of the count, and the range ends with a unit
};

// The rules that tie a forecast to the date levels of a view: a level is one of the truncations YearTrunc to SecondTrunc,
// a finer one has the greater value, and None stands for an axis of plain integers. Stateless; any thread may call.
namespace ForecastUtils
{

// What a level means for a series of its periods.
struct TimeSeriesConfig
{
    AggType seasonLevel;   // the coarser level whose cycle is the season
    int seasonLength;      // periods in one cycle; 1 means no season
    int reserved;          // 9 or 0; no rule reads it
    AggType finerLevel;    // the next finer level, or None

    friend bool operator==(const TimeSeriesConfig&, const TimeSeriesConfig&) = default;
};

// The level of the continuous time axis that the date parts of a view form together: year and month give MonthTrunc, a
// year and a weekday none. Nothing for an empty set, or one that holds anything but dates or an ISO level.
BRV_EXPORT std::optional<AggType> GetExplanatoryAgg(const std::set<AggType>& aggs);
BRV_EXPORT bool IsValidDateSet(const std::set<AggType>& aggs);

// An aggregation that is no level has the configuration of None.
BRV_EXPORT TimeSeriesConfig AggTypeToTimeSeriesConfig(AggType agg);
// The season length of that configuration, but -1 for an aggregation that is neither a level nor None.
BRV_EXPORT int DeriveSeasonLength(AggType agg);

// The finer periods in one coarser period; 0 for a pair that no estimate uses: known are each level with the next finer
// one where the number is fixed, and the months of a year.
BRV_EXPORT int AggTypePairToMultiple(AggType coarse, AggType fine);
// The finer levels of those pairs for the given coarser one, from coarse to fine.
BRV_EXPORT std::vector<AggType> GetSupportedAggTypeChanges(AggType agg);
// True for sums and counts, which add up over finer periods.
BRV_EXPORT bool CanAggWithEstFinerThanViz(AggType agg);

// Logs a warning for an aggregation that is no level, and takes the month.
BRV_EXPORT DatePeriodType AggTypeToDatePeriod(AggType agg);

// Multiplicative as soon as one of the two is, otherwise additive.
BRV_EXPORT ForecastComponentType DeriveErrorType(ForecastComponentType trend, ForecastComponentType season);

// Whether n observations can tell a season of m periods: at least two whole seasons, and five more than one.
// False for m == 0.
BRV_EXPORT bool EnoughDataForSeasonalSearch(int n, int m);

// The value k periods further: for None an integer, of an integer value; otherwise a date-time, of a date or date-time.
// Throws LogicException 0xE8043D51 for a value of another type, 0xC8473AF0 when the integer would overflow, and as
// AdjustByDatePeriod does.
BRV_EXPORT DataValue IncrementExplanatory(const DataValue& value, AggType agg, int k);

// The periods of the view to forecast so that `count` units after the last date are covered, at least 1. When the view is
// finer than the estimate, as many more as the last period of the estimate needs to be whole.
// Throws LogicException as AdjustByDatePeriod and, for ToEndOfUnit, FindStartOfPeriod do, and 0x86524F38 for more periods than an int can count. O(1).
BRV_EXPORT int GetUserForecastLength(ForecastRangeType rangeType, DateTime lastDate, AggType unitAgg, AggType viewAgg,
    AggType estAgg, int count, const IDateOptions& dateOptions);

}   // namespace ForecastUtils
