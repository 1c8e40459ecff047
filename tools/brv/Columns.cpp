#include "Columns.h"

#include "Failure.h"
#include "brvcore/foundation/TString.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace
{

using CellTest = std::function<bool(const std::string&)>;

bool IsNumber(const std::string& cell)
{
    return ParseNumber(cell).has_value();
}

bool IsDate(const std::string& cell)
{
    return ParseDate(cell).has_value();
}

bool IsInteger(const std::string& cell)
{
    return TString::FromUTF8(cell).ToInt().has_value();
}

// More than half of the cells that are not empty, and at least one.
bool HoldsMostly(const CsvTable& table, std::size_t column, const CellTest& test)
{
    std::size_t present = 0;
    std::size_t passed = 0;
    for (const CsvTable::Row& row : table.rows)
    {
        if (IsMissing(row.cells[column]))
            continue;
        ++present;
        passed += test(row.cells[column]) ? 1 : 0;
    }
    return 2 * passed > present;
}

std::optional<std::size_t> FirstColumn(const CsvTable& table, const std::vector<bool>& isTaken, const CellTest& test)
{
    for (std::size_t column = 0; column < table.header.size(); ++column)
        if (!isTaken[column] && HoldsMostly(table, column, test))
            return column;
    return std::nullopt;
}

// Whole numbers that grow from row to row within each partition: positions, not measurements.
bool CountsUp(const CsvTable& table, std::size_t column, const std::vector<std::size_t>& by)
{
    std::map<std::vector<std::string>, std::int64_t> lastOf;
    for (const CsvTable::Row& row : table.rows)
    {
        const std::optional<std::int64_t> position = TString::FromUTF8(row.cells[column]).ToInt();
        if (!position)
            return false;
        std::vector<std::string> partition;
        partition.reserve(by.size());
        for (const std::size_t name : by)
            partition.push_back(row.cells[name]);
        const auto [last, isNew] = lastOf.try_emplace(std::move(partition), *position);
        if (!isNew && *position <= last->second)
            return false;
        last->second = *position;
    }
    return true;
}

std::optional<std::size_t> FindTimeColumn(
    const CsvTable& table, const std::vector<bool>& isTaken, const std::vector<std::size_t>& by)
{
    if (const auto dates =
            FirstColumn(table, isTaken, [](const auto& cell) { return IsDate(cell) && !IsInteger(cell); }))
        return dates;
    if (const auto years = FirstColumn(table, isTaken, IsDate))
        return years;
    // Positions stand first or nowhere: behind dates that cannot be read, or behind measurements, a column that happens to
    // grow is another thing.
    const auto first = std::find(isTaken.begin(), isTaken.end(), false);
    const auto column = static_cast<std::size_t>(first - isTaken.begin());
    if (first == isTaken.end() || CountsUp(table, column, by))
        return first == isTaken.end() ? std::nullopt : std::optional(column);
    if (!HoldsMostly(table, column, IsNumber))
        throw DataError(table.rows.front().line,
            Quoted(table.rows.front().cells[column]) + " in column " + Quoted(table.header[column]) +
                " is not a date; name the dates with --time, or take the rows in their order with --level none");
    return std::nullopt;
}

// The column to forecast: the first with numbers, but neither dates nor positions where there is a choice.
std::optional<std::size_t> FindValueColumn(
    const CsvTable& table, const std::vector<bool>& isTaken, const std::vector<std::size_t>& by)
{
    for (std::size_t column = 0; column < table.header.size(); ++column)
        if (!isTaken[column] && HoldsMostly(table, column, IsNumber) && !HoldsMostly(table, column, IsDate) &&
            !CountsUp(table, column, by))
            return column;
    return FirstColumn(table, isTaken, IsNumber);
}

}   // namespace

Columns ChooseColumns(const CsvTable& table, const ForecastOptions& options)
{
    Columns columns;
    std::vector<bool> isTaken(table.header.size(), false);
    const auto take = [&](std::size_t column)
    {
        isTaken[column] = true;
        return column;
    };
    for (const std::string& name : options.byColumns)
        columns.by.push_back(take(table.FindColumn(name)));
    if (!options.valueColumn.empty())
        columns.value = take(table.FindColumn(options.valueColumn));
    if (!options.timeColumn.empty())
        columns.time = take(table.FindColumn(options.timeColumn));
    if (table.rows.empty())
        throw DataError(table.headerLine, "there are no rows below the header");

    if (!columns.time && options.level != AggType::None)
    {
        columns.time = FindTimeColumn(table, isTaken, columns.by);
        if (!columns.time)
            throw DataError(table.headerLine,
                "no column holds dates; name one with --time, or take the rows in their order with --level none");
        take(*columns.time);
    }
    if (!columns.value && options.aggregation != RowAggregation::Count)
    {
        columns.value =
            columns.time ? FirstColumn(table, isTaken, IsNumber) : FindValueColumn(table, isTaken, columns.by);
        if (!columns.value)
            throw DataError(table.headerLine, "no column holds numbers to forecast; name one with --value");
    }
    return columns;
}

Times ReadTimes(const CsvTable& table, const Columns& columns, std::optional<AggType> level)
{
    if (!columns.time)
        return {TimeAxis(AggType::None), {}};
    const auto all = [&](const CellTest& test)
    {
        return std::all_of(
            table.rows.begin(), table.rows.end(), [&](const auto& row) { return test(row.cells[*columns.time]); });
    };
    const bool isPositions =
        level            ? *level == AggType::None
        : all(IsInteger) ? !all(IsDate)
                         : HoldsMostly(table, *columns.time, IsInteger) && !HoldsMostly(table, *columns.time, IsDate);

    Times times{TimeAxis(AggType::None), {}};
    std::vector<DateTime> dates;
    for (const CsvTable::Row& row : table.rows)
    {
        const std::string& cell = row.cells[*columns.time];
        DataValue time;
        if (isPositions)
        {
            if (const auto position = TString::FromUTF8(cell).ToInt())
                time = DataValue::Integer(*position);
        }
        else if (const auto date = ParseDate(cell))
        {
            dates.push_back(*date);
            time = DataValue::FromDateTime(*date);
        }
        times.ofRow.push_back(time);
    }
    if (!isPositions && !dates.empty())
        times.axis = TimeAxis::OfDates(std::move(dates), level);
    return times;
}
