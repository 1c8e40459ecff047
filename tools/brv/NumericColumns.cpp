#include "NumericColumns.h"

#include "Failure.h"
#include "LineRanges.h"
#include "Text.h"

#include <limits>

std::vector<double> ReadNumbers(const CsvTable& table, std::size_t column)
{
    std::vector<double> numbers;
    numbers.reserve(table.rows.size());
    for (const CsvTable::Row& row : table.rows)
    {
        const std::string& cell = row.cells[column];
        const std::optional<double> number =
            IsMissing(cell) ? std::numeric_limits<double>::quiet_NaN() : ParseNumber(cell);
        if (!number)
            throw DataError(row.line, Quoted(cell) + " in column " + Quoted(table.header[column]) + " is not a number");
        numbers.push_back(*number);
    }
    return numbers;
}

std::vector<bool> FindNumericColumns(const CsvTable& table)
{
    std::vector<bool> isNumeric(table.header.size(), false);
    for (std::size_t column = 0; column < isNumeric.size(); ++column)
    {
        std::size_t numbers = 0;
        std::size_t others = 0;
        for (const CsvTable::Row& row : table.rows)
            if (!IsMissing(row.cells[column]))
                ++(ParseNumber(row.cells[column]) ? numbers : others);
        isNumeric[column] = numbers > others;
    }
    return isNumeric;
}

std::string LeftOutNote(const std::vector<int>& lines, const std::string& reason, const std::string& verdict)
{
    constexpr std::size_t kMostRanges = 8;
    const bool isOne = lines.size() == 1;
    return Counted(lines.size(), "row") + (isOne ? " has " : " have ") + reason + (isOne ? " and is " : " and are ") +
           verdict + ": " + LineRanges(lines, kMostRanges);
}
