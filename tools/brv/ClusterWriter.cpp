#include "ClusterWriter.h"

#include "CsvText.h"
#include "JsonText.h"
#include "LineRanges.h"
#include "Text.h"
#include "TextTable.h"

#include <algorithm>
#include <cmath>

namespace
{

using Json = nlohmann::ordered_json;

std::string Label(std::size_t cluster)
{
    return "cluster " + std::to_string(cluster + 1);
}

std::vector<int> LinesOf(const CsvTable& table, const std::vector<std::size_t>& rows)
{
    std::vector<int> lines;
    lines.reserve(rows.size());
    for (const std::size_t row : rows)
        lines.push_back(table.rows[row].line);
    return lines;
}

std::size_t UnclusteredCount(const Clustering& clustering)
{
    return clustering.GetInput().missingLines.size() + clustering.GetInput().weightlessLines.size();
}

// Whether the search ended with a fall of the index, which is the last one kept.
bool HasFallen(const std::vector<double>& index)
{
    return index.size() > 2 && index[index.size() - 1] < index[index.size() - 2];
}

// Why the search took the number that it took. Fewer clusters than it tried last are left where some got no rows.
const char* ChoiceText(const Clustering& clustering)
{
    const std::vector<double>& index = clustering.GetModel().m_chIndex;
    const std::size_t last = index.size() - (HasFallen(index) ? 1 : 0);
    if (clustering.ClusterCount() < last)
        return "as many as get rows: the further ones tried stay empty";
    if (HasFallen(index))
        return "the last number before the index below falls";
    return std::isfinite(index.back()) ? "the highest number tried: the index below has not fallen yet"
                                       : "the highest number tried: there are no more distinct rows to part";
}

const char* ScalingName(Scaling scaling)
{
    return scaling == Scaling::MinMax ? "minmax" : scaling == Scaling::ZScore ? "zscore" : "none";
}

// The table ---------------------------------------------------------------------------------------------------------

std::string Heading(const Clustering& clustering, const ClusterOptions& options)
{
    const std::size_t rows = clustering.GetTable().rows.size();
    const std::size_t outliers = clustering.OutlierCount();
    const std::size_t unclustered = UnclusteredCount(clustering);
    const std::string title = Printable(clustering.GetTable().file);
    std::string text = title + "\n" + std::string(CharacterCount(title), '=') + "\n";
    text +=
        LabelledLine("Rows", std::to_string(rows) + ": " + std::to_string(rows - outliers - unclustered) + " in " +
                                 Counted(clustering.ClusterCount(), "cluster") + ", " + Counted(outliers, "outlier") +
                                 ", " + std::to_string(unclustered) + " not clustered");
    text +=
        LabelledLine("Scaling", options.scaling == Scaling::MinMax   ? "each column to the range 0 to 1"
                                : options.scaling == Scaling::ZScore ? "each column to mean 0 and standard deviation 1"
                                                                     : "none");
    if (clustering.GetModel().m_chIndex.size() > 1)
        text += LabelledLine("Choice", ChoiceText(clustering));
    return text;
}

// A ratio of sums of squares; two decimals tell small ones apart well enough.
std::string Ratio(double value)
{
    constexpr double kMost = 1e9;
    return std::abs(value) < kMost ? FixedNumber(value, 2) : SignificantNumber(value, 6);
}

// A line per column of the input: centre and spread in each cluster, and what separates the clusters.
std::string Centres(const Clustering& clustering)
{
    const ClusterKMeans& model = clustering.GetModel();
    std::vector<std::string> header = {""};
    std::vector<std::string> sizes = {"rows"};
    std::vector<std::string> outliers = {"outliers"};
    for (std::size_t k = 0; k < clustering.ClusterCount(); ++k)
    {
        header.push_back(Label(k));
        sizes.push_back(std::to_string(clustering.MembersOf(k).rows.size()));
        outliers.push_back(std::to_string(clustering.MembersOf(k).outliers.size()));
    }
    for (auto* row : {&header, &sizes, &outliers})
        row->insert(row->end(), {row == &header ? "F" : "", row == &header ? "p" : ""});
    TextTable table(std::move(header));
    table.Add(std::move(sizes));
    table.Add(std::move(outliers));
    for (std::size_t c = 0; c < clustering.ColumnCount(); ++c)
    {
        double largest = 0.0;
        for (std::size_t k = 0; k < clustering.ClusterCount(); ++k)
            largest = std::max(largest, std::abs(clustering.Centre(k, c)));
        std::vector<std::string> row = {clustering.ColumnName(c)};
        for (std::size_t k = 0; k < clustering.ClusterCount(); ++k)
            row.push_back(CellNumber(clustering.Centre(k, c), largest, 4) + " +- " +
                          CellNumber(clustering.Spread(k, c), largest, 4));
        row.push_back(Ratio(model.m_fStatistics[c]));
        row.push_back(ProbabilityText(model.m_pValues[c]));
        table.Add(std::move(row));
    }
    return table.ToText();
}

std::string TriedNumbers(const Clustering& clustering)
{
    const std::vector<double>& index = clustering.GetModel().m_chIndex;
    if (index.size() < 2)
        return {};   // there is no index of one cluster
    TextTable table({"clusters", "Calinski-Harabasz", ""});
    for (std::size_t k = 1; k < index.size(); ++k)
        table.Add({std::to_string(k + 1), Ratio(index[k]), k + 1 == clustering.ClusterCount() ? "taken" : ""});
    return table.ToText() + "\n";
}

std::string Lines(const Clustering& clustering)
{
    constexpr std::size_t kMostRanges = 12;   // --output csv has them all
    std::string text;
    for (std::size_t k = 0; k < clustering.ClusterCount(); ++k)
    {
        const Clustering::Members& members = clustering.MembersOf(k);
        text += LabelledLine(Label(k), LineRanges(LinesOf(clustering.GetTable(), members.rows), kMostRanges));
        if (!members.outliers.empty())
            text +=
                LabelledLine("  outliers", LineRanges(LinesOf(clustering.GetTable(), members.outliers), kMostRanges));
    }
    return text;
}

// JSON --------------------------------------------------------------------------------------------------------------

Json ClusterJson(const Clustering& clustering, std::size_t k)
{
    Json json = {{"cluster", k + 1}, {"rows", clustering.MembersOf(k).rows.size()},
        {"outliers", clustering.MembersOf(k).outliers.size()}, {"centre", Json::array()},
        {"standard_deviation", Json::array()}};
    for (std::size_t c = 0; c < clustering.ColumnCount(); ++c)
    {
        json["centre"].push_back(JsonNumber(clustering.Centre(k, c)));
        json["standard_deviation"].push_back(JsonNumber(clustering.Spread(k, c)));
    }
    return json;
}

Json VariableJson(const Clustering& clustering, std::size_t c)
{
    const ClusterKMeans& model = clustering.GetModel();
    return {{"column", JsonText(clustering.ColumnName(c))}, {"between_df", model.m_betweenDF[c]},
        {"between_ss", JsonNumber(model.m_betweenSS[c])}, {"between_ms", JsonNumber(model.m_betweenMS[c])},
        {"residual_df", model.m_residualDF[c]}, {"residual_ss", JsonNumber(model.m_residualSS[c])},
        {"residual_ms", JsonNumber(model.m_residualMS[c])}, {"ranking_f", JsonNumber(model.m_fStatistics[c])},
        {"ranking_p", JsonNumber(model.m_pValues[c])}};
}

Json RowsJson(const Clustering& clustering)
{
    Json rows = Json::array();
    for (std::size_t row = 0; row < clustering.GetTable().rows.size(); ++row)
    {
        const bool isClustered = clustering.IsClustered(row);
        rows.push_back({{"line", clustering.GetTable().rows[row].line},
            {"cluster", isClustered ? Json(clustering.ClusterOf(row) + 1) : Json()},
            {"outlier", clustering.IsOutlier(row)},
            {"squared_distance", isClustered ? JsonNumber(clustering.GetModel().m_distances[row]) : Json()}});
    }
    return rows;
}

}   // namespace

std::string ClustersAsTable(const Clustering& clustering, const ClusterOptions& options)
{
    std::string text = Heading(clustering, options) + "\n";
    text += Centres(clustering);
    text += "F ranks the columns and is no test: its residual is taken about the overall mean.\n\n";
    return text + TriedNumbers(clustering) + Lines(clustering);
}

std::string ClustersAsCsv(const Clustering& clustering)
{
    const CsvTable& table = clustering.GetTable();
    std::vector<std::string> header = {UniqueName(table.header, "line")};
    header.insert(header.end(), table.header.begin(), table.header.end());
    for (const char* name : {"cluster", "outlier", "squared_distance"})
        header.push_back(UniqueName(table.header, name));
    std::string text = CsvLine(header);
    for (std::size_t row = 0; row < table.rows.size(); ++row)
    {
        const bool isClustered = clustering.IsClustered(row);
        std::vector<std::string> cells = {std::to_string(table.rows[row].line)};
        cells.insert(cells.end(), table.rows[row].cells.begin(), table.rows[row].cells.end());
        cells.push_back(isClustered ? std::to_string(clustering.ClusterOf(row) + 1) : "");
        cells.push_back(!isClustered ? "" : clustering.IsOutlier(row) ? "yes" : "no");
        cells.push_back(isClustered ? ExactNumber(clustering.GetModel().m_distances[row]) : "");
        text += CsvLine(cells);
    }
    return text;
}

std::string ClustersAsJson(const Clustering& clustering, const ClusterOptions& options)
{
    const ClusterKMeans& model = clustering.GetModel();
    Json columns = Json::array();
    Json clusters = Json::array();
    Json variables = Json::array();
    Json tried = Json::array();
    for (std::size_t c = 0; c < clustering.ColumnCount(); ++c)
    {
        columns.push_back(JsonText(clustering.ColumnName(c)));
        variables.push_back(VariableJson(clustering, c));
    }
    for (std::size_t k = 0; k < clustering.ClusterCount(); ++k)
        clusters.push_back(ClusterJson(clustering, k));
    for (std::size_t k = 1; k < model.m_chIndex.size(); ++k)
        tried.push_back({{"clusters", k + 1}, {"calinski_harabasz", JsonNumber(model.m_chIndex[k])}});
    Json json = {{"file", JsonText(clustering.GetTable().file)}, {"columns", std::move(columns)},
        {"weights", options.weightColumn.empty() ? Json() : JsonText(options.weightColumn)},
        {"scale", ScalingName(options.scaling)}, {"outlier_alpha", options.outlierAlpha},
        {"outliers", clustering.OutlierCount()}, {"missing_lines", clustering.GetInput().missingLines},
        {"weightless_lines", clustering.GetInput().weightlessLines}, {"tried", std::move(tried)},
        {"chosen", options.clusters > 0 ? Json() : Json(clustering.ClusterCount())}, {"clusters", std::move(clusters)},
        {"total_ss", JsonNumber(model.m_totalSS)}, {"between_ss", JsonNumber(model.m_totalBetweenSS)},
        {"within_ss", JsonNumber(model.m_totalWithinSS)}, {"variables", std::move(variables)},
        {"rows", RowsJson(clustering)}};
    return DumpJson(json) + "\n";
}
