#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/foundation/DataValue.h"
#include "brvcore/foundation/DateArithmetic.h"
#include "brvcore/foundation/DateTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The names of the levels on the command line, coarse to fine, and last "none": plain positions.
const std::vector<std::string>& LevelNames();
// The level of a name; LevelNames() must hold it.
AggType LevelFromName(std::string_view name);
std::string LevelName(AggType level);

// A date or a moment in one of ISO 8601's common forms: what DateTime::FromISO reads, weeks ("2024-W05", "2024-W05-3") and
// an offset of zero ("+00:00"). Nothing for anything else.
std::optional<DateTime> ParseDate(std::string_view text);

// The time axis of a series: its level, its calendar, and how its periods are counted and shown. At the level None a time
// is an integer, otherwise a date-time. The forecast models refer to the calendar, so the axis must outlive them.
class TimeAxis
{
public:
    explicit TimeAxis(AggType level, int startOfWeek = 1) : m_level(level), m_options(startOfWeek) {}

    // The axis on which the given dates (at least one) fall into periods. Without a level it is the coarsest one that
    // keeps different dates apart: dates of several month ends are months. Weeks start on the day that all dates have in
    // common, otherwise on Monday.
    static TimeAxis OfDates(std::vector<DateTime> dates, std::optional<AggType> level);

    AggType GetLevel() const { return m_level; }
    const IDateOptions& GetOptions() const { return m_options; }
    bool HasDates() const { return m_level != AggType::None; }

    DataValue StartOfPeriod(const DataValue& time) const;
    // Both at the start of a period.
    std::int64_t Distance(const DataValue& first, const DataValue& second) const;
    DataValue Advance(const DataValue& start, int periods) const;
    // "2024", "2024-Q1", "2024-01", "2024-01-31" for weeks and days, "2024-01-31 12:00", "2024-01-31 12:00:00".
    std::string Label(const DataValue& start) const;

private:
    AggType m_level;
    DateOptions m_options;
};
