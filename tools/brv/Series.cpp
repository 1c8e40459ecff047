#include "Series.h"

#include "Failure.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <unordered_map>

namespace
{

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kMaxLength = 1'000'000;   // periods; more are a level that is too fine

// The rows of one partition, as they become a series.
class SeriesBuilder
{
public:
    SeriesBuilder(const CsvTable& table, const Columns& columns, const Times& times, const ForecastOptions& options)
        : m_table(table), m_columns(columns), m_times(times), m_options(options)
    {
    }

    // Throws DataError.
    void Build(const std::vector<std::size_t>& rows, Series& series) const
    {
        const std::vector<DataValue> starts = PeriodStarts(rows);
        const auto isEarlier = [&](const DataValue& a, const DataValue& b) { return m_times.axis.Distance(a, b) > 0; };
        const auto [first, last] = std::minmax_element(starts.begin(), starts.end(), isEarlier);
        series.first = *first;
        const std::int64_t length = m_times.axis.Distance(*first, *last) + 1;
        if (length > kMaxLength || length < 1)
            throw DataError(series.line, "from " + m_times.axis.Label(*first) + " to " + m_times.axis.Label(*last) +
                                             " there are more than " + std::to_string(kMaxLength) +
                                             " periods at the level " + LevelName(m_times.axis.GetLevel()) +
                                             "; a coarser one can be given with --level");

        std::vector<Cell> cells(static_cast<std::size_t>(length));
        for (std::size_t i = 0; i < rows.size(); ++i)
            Put(m_table.rows[rows[i]], cells[static_cast<std::size_t>(m_times.axis.Distance(*first, starts[i]))],
                starts[i]);
        for (const Cell& cell : cells)
            series.values.push_back(Value(cell));
        TakeIgnored(series);
        CheckUsable(series);
    }

private:
    // What the rows of one period add up to.
    struct Cell
    {
        int line = 0;    // of its first row
        int count = 0;   // values that are not missing
        double sum = 0.0;
    };

    std::vector<DataValue> PeriodStarts(const std::vector<std::size_t>& rows) const
    {
        std::vector<DataValue> starts;
        for (std::size_t i = 0; i < rows.size(); ++i)
        {
            if (!m_columns.time)
            {
                starts.push_back(DataValue::Integer(static_cast<std::int64_t>(i) + 1));
                continue;
            }
            const DataValue& time = m_times.ofRow[rows[i]];
            if (time.IsNull() || (time.GetType() == DataType::Integer &&
                                     (time.GetInteger() > kMaxPosition || time.GetInteger() < -kMaxPosition)))
                throw DataError(m_table.rows[rows[i]].line, BadTime(m_table.rows[rows[i]].cells[*m_columns.time]));
            starts.push_back(m_times.axis.StartOfPeriod(time));
        }
        return starts;
    }

    std::string BadTime(const std::string& cell) const
    {
        return Quoted(cell) + " in column " + Quoted(m_table.header[*m_columns.time]) +
               (m_times.axis.HasDates()               ? " is not a date"
                   : m_options.level == AggType::None ? " is not a whole number that can be a position"
                                                      : " is neither a date nor a whole number that can be a position");
    }

    void Put(const CsvTable::Row& row, Cell& cell, const DataValue& start) const
    {
        if (cell.line != 0 && m_options.aggregation == RowAggregation::None)
            throw DataError(row.line, "the period " + m_times.axis.Label(start) + " stands in line " +
                                          std::to_string(cell.line) + " and in line " + std::to_string(row.line) +
                                          "; --aggregate sum, avg or count combines such rows");
        if (cell.line == 0)
            cell.line = row.line;
        if (!m_columns.value)
        {
            ++cell.count;
            return;
        }
        const std::string& text = row.cells[*m_columns.value];
        if (IsMissing(text))
            return;
        ++cell.count;
        if (m_options.aggregation == RowAggregation::Count)
            return;
        const std::optional<double> number = ParseNumber(text);
        if (!number)
            throw DataError(
                row.line, Quoted(text) + " in column " + Quoted(m_table.header[*m_columns.value]) + " is not a number");
        cell.sum += *number;
    }

    double Value(const Cell& cell) const
    {
        if (m_options.aggregation == RowAggregation::Count)
            return cell.line == 0 ? kMissing : cell.count;
        if (cell.count == 0)
            return kMissing;
        if (!std::isfinite(cell.sum))
            throw DataError(cell.line, "the values of this row's period add up to more than a number can hold");
        return m_options.aggregation == RowAggregation::Avg ? cell.sum / cell.count : cell.sum;
    }

    void TakeIgnored(Series& series) const
    {
        const auto ignored = static_cast<std::size_t>(m_options.ignoreLast);
        if (ignored >= series.values.size())
        {
            if (ignored > 0)
                throw DataError(series.line, "--ignore-last " + std::to_string(ignored) + " leaves nothing of " +
                                                 std::to_string(series.values.size()) + " periods");
            return;
        }
        const auto begin = series.values.end() - m_options.ignoreLast;
        series.ignored.assign(begin, series.values.end());
        series.values.erase(begin, series.values.end());
    }

    void CheckUsable(const Series& series) const
    {
        const auto present =
            std::count_if(series.values.begin(), series.values.end(), [](double value) { return !std::isnan(value); });
        if (present < 2)
            throw DataError(series.line, "the series has " + std::string(present == 0 ? "no value" : "only one value") +
                                             "; a forecast needs at least two");
    }

    static constexpr std::int64_t kMaxPosition = 1'000'000'000'000'000;   // far from the ends of 64 bits

    const CsvTable& m_table;
    const Columns& m_columns;
    const Times& m_times;
    const ForecastOptions& m_options;
};

// The length in front keeps ("a", "bc") and ("ab", "c") apart.
std::string PartitionKey(const CsvTable::Row& row, const std::vector<std::size_t>& columns)
{
    std::string key;
    for (const std::size_t column : columns)
        key += std::to_string(row.cells[column].size()) + ":" + row.cells[column];
    return key;
}

}   // namespace

std::vector<Series> BuildSeries(
    const CsvTable& table, const Columns& columns, const Times& times, const ForecastOptions& options)
{
    std::vector<Series> all;
    std::vector<std::vector<std::size_t>> rowsOf;
    std::unordered_map<std::string, std::size_t> indexOf;
    for (std::size_t i = 0; i < table.rows.size(); ++i)
    {
        const CsvTable::Row& row = table.rows[i];
        const auto [entry, isNew] = indexOf.try_emplace(PartitionKey(row, columns.by), all.size());
        if (isNew)
        {
            Series series;
            series.line = row.line;
            for (const std::size_t column : columns.by)
                series.partition.push_back(row.cells[column]);
            all.push_back(std::move(series));
            rowsOf.emplace_back();
        }
        rowsOf[entry->second].push_back(i);
    }

    const SeriesBuilder builder(table, columns, times, options);
    for (std::size_t i = 0; i < all.size(); ++i)
    {
        try
        {
            builder.Build(rowsOf[i], all[i]);
        }
        catch (const DataError& error)
        {
            const std::string name = PartitionName(table, columns, all[i].partition);
            all[i].failure =
                Located(table.file, error.GetLine(), name.empty() ? error.what() : name + ": " + error.what());
        }
    }
    return all;
}

std::string PartitionName(const CsvTable& table, const Columns& columns, const std::vector<std::string>& partition)
{
    std::string name;
    for (std::size_t i = 0; i < columns.by.size(); ++i)
        name.append(i == 0 ? "" : ", ").append(table.header[columns.by[i]]).append(" = ").append(partition[i]);
    return name;
}
