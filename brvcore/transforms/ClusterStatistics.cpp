#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/ClusterAnalysis.h"
#include "brvcore/transforms/ClusterTables.h"
#include "brvcore/transforms/StatDistributions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}   // namespace

struct ClusterKMeans::ColumnStatistics
{
    std::vector<double> means;
    std::vector<double> stdDevs;
    std::vector<double> weightSums;   // what the other two rest on; no result shows it so far
};

// Numbers the clusters in the order in which the rows meet them and describes each; a row outside every cluster meets
// none, but keeps the cluster that it lies nearest to. `final` writes the new numbers into the assignments.
void ClusterKMeans::computeClusterStatistics(const ClusterRows& rows, bool final)
{
    std::vector<std::int32_t> numberOf(m_outlierBounds.size(), -1);
    std::vector<std::int32_t> groups(m_assignments.size(), -1);
    m_nClusters = 0;
    m_nOutliers = 0;
    m_clusterSizes.clear();
    CancellationChecker checker(1000);
    for (std::size_t row = 0; row < groups.size(); ++row)
    {
        checker.ThrowIfCancelled();
        m_nOutliers += m_excluded[row] ? 1 : 0;
        if (m_excluded[row] || m_assignments[row] < 0)
            continue;
        std::int32_t& number = numberOf[static_cast<std::size_t>(m_assignments[row])];
        if (number < 0)
        {
            number = m_nClusters++;
            m_clusterSizes.push_back(0);
        }
        groups[row] = number;
        ++m_clusterSizes[static_cast<std::size_t>(number)];
    }
    if (final)
    {
        CancellationChecker relabelling(1000);
        for (std::int32_t& label : m_assignments)
        {
            relabelling.ThrowIfCancelled();
            label = label < 0 ? -1 : numberOf[static_cast<std::size_t>(label)];
        }
    }

    std::vector<ColumnStatistics> statistics = computeBasicStatistics(rows, m_weights, groups, m_nClusters);
    m_centroids.resize(statistics.size());
    m_clusterStdDevs.resize(statistics.size());
    for (std::size_t c = 0; c < statistics.size(); ++c)
    {
        m_centroids[c].swap(statistics[c].means);
        m_clusterStdDevs[c].swap(statistics[c].stdDevs);
    }
}

// One-way analysis of variance of each variable over the clusters.
void ClusterKMeans::computeANOVA(const ClusterRows& rows)
{
    std::vector<double> weights(m_weights.size());
    std::int32_t n = 0;
    CancellationChecker checker(1000);
    for (std::size_t row = 0; row < weights.size(); ++row)
    {
        checker.ThrowIfCancelled();
        weights[row] = m_excluded[row] ? 0.0 : m_weights[row];
        n += weights[row] > 0.0 ? 1 : 0;
    }
    const std::vector<std::int32_t> oneGroup(weights.size(), 0);
    const ColumnStatistics overall = computeBasicStatistics(rows, weights, oneGroup, 1).front();

    const std::int32_t betweenDF = m_nClusters - 1;
    const std::int32_t residualDF = n - m_nClusters;
    const auto nCols = static_cast<std::size_t>(m_nCols);
    m_betweenDF.assign(nCols, betweenDF);
    m_residualDF.assign(nCols, residualDF);
    for (std::vector<double>* column :
        {&m_betweenSS, &m_betweenMS, &m_residualSS, &m_residualMS, &m_fStatistics, &m_pValues})
        column->assign(nCols, kNaN);
    m_totalBetweenSS = 0.0;
    for (std::size_t v = 0; v < nCols; ++v)
    {
        double betweenSS = 0.0;
        for (std::size_t c = 0; c < m_centroids.size(); ++c)
        {
            const double d = m_centroids[c][v] - overall.means[v];
            betweenSS += m_clusterSizes[c] * (d * d);
        }
        m_totalBetweenSS += betweenSS;
        m_betweenSS[v] = betweenSS;
        m_betweenMS[v] = betweenSS / betweenDF;
        // About the overall mean, not pooled within the clusters: hosts compare F between tables, and a pooled sum would
        // change every value that they have shown.
        m_residualSS[v] = overall.stdDevs[v] * overall.stdDevs[v] * (n - 1);
        m_residualMS[v] = m_residualSS[v] / residualDF;
        if (m_residualMS[v] != 0.0 && residualDF != 0 && betweenDF != 0)
        {
            m_fStatistics[v] = m_betweenMS[v] / m_residualMS[v];
            m_pValues[v] = StatDistributions::ComputePF(m_fStatistics[v], betweenDF, residualDF);
        }
    }
    const double withinSS = m_totalSS - m_totalBetweenSS;
    m_totalWithinSS = withinSS > 0.0 ? withinSS : 0.0;
}

// Weighted mean, standard deviation and sum of weights per variable of each group of rows (groups[row], none when
// negative). The deviation takes the weights for relative ones: n counts the rows of positive weight.
std::vector<ClusterKMeans::ColumnStatistics> ClusterKMeans::computeBasicStatistics(const ClusterRows& rows,
    const std::vector<double>& weights, const std::vector<std::int32_t>& groups, std::int32_t nGroups) const
{
    GroupTable table(static_cast<std::size_t>(nGroups), rows.stride);
    std::vector<double> weightSums(table.counts.size(), 0.0);
    GroupMoments moments = table.GetMoments();
    moments.weightSums = weightSums.data();
    CancellationChecker checker(1000);
    for (std::int32_t begin = 0; begin < rows.nRows; begin += kBlockRows)
    {
        const std::int32_t n = std::min(kBlockRows, rows.nRows - begin);
        for (std::int32_t i = 0; i < n; ++i)
            checker.ThrowIfCancelled();
        BestDistanceKernel().addWeightedRows(
            rows.GetRow(begin), n, groups.data() + begin, weights.data() + begin, moments);
    }

    const auto nCols = static_cast<std::size_t>(rows.nCols);
    std::vector<ColumnStatistics> statistics(table.counts.size());
    for (std::size_t g = 0; g < statistics.size(); ++g)
    {
        ColumnStatistics& s = statistics[g];
        const double sum = weightSums[g];
        const double n = table.counts[g];
        s.means.assign(nCols, kNaN);
        s.stdDevs.assign(nCols, kNaN);
        s.weightSums.assign(nCols, sum);
        if (sum > 0.0)
            std::copy_n(table.GetMeans(g), nCols, s.means.begin());
        if (sum > 1.0)
            for (std::size_t v = 0; v < nCols; ++v)
                s.stdDevs[v] = std::sqrt(n / (n - 1.0) * table.GetM2(g)[v] / sum);
    }
    return statistics;
}
