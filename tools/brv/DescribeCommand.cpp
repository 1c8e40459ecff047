#include "DescribeCommand.h"

#include "ColumnStatistics.h"
#include "Console.h"
#include "CsvTable.h"
#include "CsvText.h"
#include "JsonText.h"
#include "OrderedParallel.h"
#include "OutputForm.h"
#include "Text.h"
#include "TextTable.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace
{

struct NumericColumn
{
    std::string name;
    std::vector<double> values;
    std::size_t missing = 0;
    ColumnStatistics statistics;
};

// The columns of numbers; complaints are lines for the standard error.
std::vector<NumericColumn> FindNumericColumns(const CsvTable& table, std::vector<std::string>& complaints)
{
    std::vector<NumericColumn> columns;
    for (std::size_t i = 0; i < table.header.size(); ++i)
    {
        NumericColumn column;
        column.name = table.header[i];
        const CsvTable::Row* firstBad = nullptr;
        std::size_t bad = 0;
        for (const CsvTable::Row& row : table.rows)
        {
            if (IsMissing(row.cells[i]))
                ++column.missing;
            else if (const auto number = ParseNumber(row.cells[i]))
                column.values.push_back(*number);
            else if (++bad == 1)
                firstBad = &row;
        }
        if (bad == 0 && !column.values.empty())
            columns.push_back(std::move(column));
        else if (column.values.size() > bad)
            complaints.push_back(Located(table.file, firstBad->line,
                Quoted(firstBad->cells[i]) + " in column " + Quoted(column.name) +
                    " is not a number; the column is left out"));
    }
    return columns;
}

// Each statistic by name, in the order of the output.
std::vector<std::pair<std::string, double>> Named(const ColumnStatistics& s)
{
    return {{"count", static_cast<double>(s.count)}, {"missing", static_cast<double>(s.missing)}, {"mean", s.mean},
        {"standard_deviation", s.standardDeviation}, {"skewness", s.skewness}, {"kurtosis", s.kurtosis},
        {"minimum", s.quantiles[0]}, {"percentile_5", s.quantiles[1]}, {"percentile_25", s.quantiles[2]},
        {"median", s.quantiles[3]}, {"percentile_75", s.quantiles[4]}, {"percentile_95", s.quantiles[5]},
        {"maximum", s.quantiles[6]}, {"mean_precision_95", s.meanPrecision},
        {"median_precision_95", s.medianPrecision}};
}

// The names as people read them, in the same order.
const std::vector<std::string>& Titles()
{
    static const std::vector<std::string> kTitles = {"count", "missing", "mean", "standard deviation", "skewness",
        "excess kurtosis", "minimum", "5 %", "25 %", "median", "75 %", "95 %", "maximum", "mean +- (95 %)",
        "median +- (95 %)"};
    return kTitles;
}

std::string ToTable(const std::vector<NumericColumn>& columns)
{
    std::vector<std::string> header = {""};
    for (const NumericColumn& column : columns)
        header.push_back(column.name);
    TextTable table(std::move(header));
    for (std::size_t k = 0; k < Titles().size(); ++k)
    {
        std::vector<std::string> row = {Titles()[k]};
        for (const NumericColumn& column : columns)
        {
            const double number = Named(column.statistics)[k].second;
            const double largest =
                std::max(std::abs(column.statistics.quantiles.front()), std::abs(column.statistics.quantiles.back()));
            const bool isPure = k == 4 || k == 5;   // skewness and kurtosis have no unit
            row.push_back(k < 2    ? FixedNumber(number, 0)
                          : isPure ? FixedNumber(number, 4)
                                   : CellNumber(number, largest, 6));
        }
        table.Add(std::move(row));
    }
    return table.ToText();
}

std::string ToCsv(const std::vector<NumericColumn>& columns)
{
    std::string text;
    for (const NumericColumn& column : columns)
    {
        std::vector<std::string> names = {"column"};
        std::vector<std::string> cells = {column.name};
        for (const auto& [name, number] : Named(column.statistics))
        {
            names.push_back(name);
            cells.push_back(ExactNumber(number));
        }
        text += (text.empty() ? CsvLine(names) : "") + CsvLine(cells);
    }
    return text;
}

std::string ToJson(const CsvTable& table, const std::vector<NumericColumn>& columns)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const NumericColumn& column : columns)
    {
        nlohmann::ordered_json json = {{"column", JsonText(column.name)}};
        for (const auto& [name, number] : Named(column.statistics))
            json[name] = JsonNumber(number);
        json["count"] = column.statistics.count;
        json["missing"] = column.statistics.missing;
        list.push_back(std::move(json));
    }
    return DumpJson({{"file", JsonText(table.file)}, {"columns", std::move(list)}}) + "\n";
}

}   // namespace

ExitCode RunCommand(const DescribeOptions& options)
{
    const CsvTable table = ParseCsv(ReadInput(options.file), InputName(options.file));
    if (table.rows.empty())
        throw DataError(table.headerLine, "there are no rows below the header");
    std::vector<std::string> complaints;
    std::vector<NumericColumn> columns = FindNumericColumns(table, complaints);
    if (columns.empty() && complaints.empty())
        throw DataError(table.headerLine, "no column holds numbers");

    const auto describe = [&](std::size_t i)
    { columns[i].statistics = ComputeColumnStatistics(std::move(columns[i].values), columns[i].missing); };
    const auto nothing = [](std::size_t) {};
    if (!RunInOrder(columns.size(), describe, nothing, nothing, [] {}))
        throw CancelledException();

    if (!columns.empty())
        Console::Print(InForm(
            options.output, [&] { return ToTable(columns); }, [&] { return ToCsv(columns); },
            [&] { return ToJson(table, columns); }));
    for (const std::string& complaint : complaints)
        Console::Complain(complaint);
    return complaints.empty() ? ExitCode::Success : ExitCode::Data;
}
