#pragma once

#include "CsvTable.h"
#include "Options.h"
#include "TimeAxis.h"

#include <cstddef>
#include <optional>
#include <vector>

// Which columns of the table mean what.
struct Columns
{
    std::optional<std::size_t> time;    // nothing: the rows are positions, in their order
    std::optional<std::size_t> value;   // nothing: rows are counted
    std::vector<std::size_t> by;
};

// Takes the columns that the options name and looks for the others. The time is the first column in which most cells are
// dates; without one the first of bare years, then the first of whole numbers that count up. The value is the first other
// column in which most cells are numbers. Most, not all: a bad cell is to be reported, not to change the choice.
// Throws DataError when there is no such column.
Columns ChooseColumns(const CsvTable& table, const ForecastOptions& options);

// The time of every row, null where the cell does not parse, and the axis that they form. Without a time column, no times.
struct Times
{
    TimeAxis axis;
    std::vector<DataValue> ofRow;
};

// Whole numbers that are not all dates (a year is one) make an axis of positions; otherwise the cells are dates. A cell
// that is neither makes an error of its partition alone, later.
Times ReadTimes(const CsvTable& table, const Columns& columns, std::optional<AggType> level);
