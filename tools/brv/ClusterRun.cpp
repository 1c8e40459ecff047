#include "ClusterRun.h"

#include "Failure.h"
#include "NumericColumns.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/SummaryStats.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace
{

void ChooseColumns(const CsvTable& table, const ClusterOptions& options, ClusterInput& input)
{
    for (const std::string& name : options.columns)
        input.columns.push_back(table.FindColumn(name));
    if (!options.columns.empty())
        return;
    const std::vector<bool> isNumeric = FindNumericColumns(table);
    for (std::size_t column = 0; column < isNumeric.size(); ++column)
    {
        if (!options.weightColumn.empty() && table.header[column] == options.weightColumn)
            continue;
        (isNumeric[column] ? input.columns : input.leftOut).push_back(column);
    }
    if (input.columns.empty())
        throw DataError(table.headerLine, "no column holds numbers to cluster by");
}

// Whether a row takes part; the lines of the others are kept.
bool TakesPart(const CsvTable& table, ClusterInput& input, std::size_t row)
{
    bool isMissing = !input.weights.empty() && std::isnan(input.weights[row]);
    for (std::size_t c = 0; c < input.columns.size(); ++c)
        isMissing = isMissing || std::isnan(input.values(row, c));
    if (isMissing)
        input.missingLines.push_back(table.rows[row].line);
    else if (!input.weights.empty() && !(input.weights[row] > 0.0))
        input.weightlessLines.push_back(table.rows[row].line);
    else
        return true;
    return false;
}

}   // namespace

ClusterInput ReadClusterInput(const CsvTable& table, const ClusterOptions& options)
{
    if (table.rows.empty())
        throw DataError(table.headerLine, "there are no rows below the header");
    ClusterInput input;
    ChooseColumns(table, options, input);
    input.values.SetSize(table.rows.size(), input.columns.size());
    for (std::size_t c = 0; c < input.columns.size(); ++c)
    {
        const std::vector<double> numbers = ReadNumbers(table, input.columns[c]);
        std::copy(numbers.begin(), numbers.end(), input.values.GetColumnData(c));
    }
    if (!options.weightColumn.empty())
        input.weights = ReadNumbers(table, table.FindColumn(options.weightColumn));

    input.takesPart.reserve(table.rows.size());
    for (std::size_t row = 0; row < table.rows.size(); ++row)
        input.takesPart.push_back(TakesPart(table, input, row));
    if (std::find(input.takesPart.begin(), input.takesPart.end(), true) == input.takesPart.end())
        throw DataError(
            table.rows.front().line, "no row can be clustered: each has a missing cell" +
                                         std::string(input.weights.empty() ? "" : " or a weight that is not above 0"));
    return input;
}

Clustering::Clustering(const CsvTable& table, const ClusterInput& input, const ClusterOptions& options)
    : m_table(table), m_input(input), m_scales(input.columns.size()),
      m_model(MakeRefCnt<ClusterKMeans>(options.maxClusters, kMaxPasses, 0.0, options.outlierAlpha))
{
    m_model->Compute(ScaledRows(options.scaling), input.weights, options.clusters);
    if (!std::isfinite(m_model->m_totalSS))
        throw DataError(table.headerLine, "the numbers are too large for squared distances; --scale minmax helps");
    m_members.resize(ClusterCount());
    for (std::size_t row = 0; row < table.rows.size(); ++row)
        if (IsClustered(row))
            (IsOutlier(row) ? m_members[ClusterOf(row)].outliers : m_members[ClusterOf(row)].rows).push_back(row);
}

std::vector<std::vector<double>> Clustering::ScaledRows(Scaling scaling)
{
    std::vector<std::vector<double>> rows;
    LinearAlgebra::ColMMatrixToRowMVector(m_input.values, rows);
    if (scaling == Scaling::None)
        return rows;

    CancellationChecker checker;
    SummaryStatsMat summary;   // of the rows that take part
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        checker.ThrowIfCancelled();
        if (m_input.takesPart[i])
            summary.AddRow(rows[i]);
    }
    const auto ranges = summary.GetRanges();
    const std::vector<double> means = summary.GetMeans();
    const std::vector<double> variances = summary.GetVariances();
    for (std::size_t c = 0; c < m_scales.size(); ++c)
    {
        if (scaling == Scaling::MinMax)
            SetScale(c, ranges[c].first, ranges[c].second - ranges[c].first);
        else
            SetScale(c, means[c], std::sqrt(variances[c]));
    }
    LinearAlgebra::Matrix scaled = m_input.values;
    if (scaling == Scaling::MinMax)
        ClusteringUtils::Normalize(ranges, scaled);
    else
        ClusteringUtils::Standardize(means, variances, scaled);
    LinearAlgebra::ColMMatrixToRowMVector(scaled, rows);
    return rows;
}

void Clustering::SetScale(std::size_t column, double offset, double width)
{
    // A constant column is only shifted: it tells no rows apart.
    m_scales[column] = {offset, width > 0.0 ? width : 1.0};
    if (!std::isfinite(offset) || !std::isfinite(m_scales[column].factor))
        throw DataError(m_table.headerLine,
            "the numbers in column " + Quoted(ColumnName(column)) + " are too far apart to be scaled");
}

double Clustering::Centre(std::size_t cluster, std::size_t column) const
{
    return m_scales[column].offset + m_scales[column].factor * m_model->m_centroids[cluster][column];
}

double Clustering::Spread(std::size_t cluster, std::size_t column) const
{
    return m_scales[column].factor * m_model->m_clusterStdDevs[cluster][column];
}

std::size_t Clustering::OutlierCount() const
{
    std::size_t count = 0;
    for (const Members& members : m_members)
        count += members.outliers.size();
    return count;
}

std::vector<std::size_t> Clustering::ColumnsBySeparation() const
{
    std::vector<std::size_t> columns(ColumnCount());
    std::iota(columns.begin(), columns.end(), std::size_t{0});
    const auto separation = [this](std::size_t column)
    {
        const double f = m_model->m_fStatistics[column];
        return std::isnan(f) ? -1.0 : f;   // not known: last
    };
    std::stable_sort(
        columns.begin(), columns.end(), [&](std::size_t a, std::size_t b) { return separation(a) > separation(b); });
    return columns;
}
