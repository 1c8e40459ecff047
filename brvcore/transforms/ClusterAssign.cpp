#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/BasicStatistics.h"
#include "brvcore/transforms/ClusterAnalysis.h"
#include "brvcore/transforms/ClusterTables.h"
#include "brvcore/transforms/OutlierBound.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace
{

EstimationState Age(EstimationState state)
{
    switch (state)
    {
    case EstimationState::New:
        return EstimationState::Changed;
    case EstimationState::Unchanged:
    case EstimationState::Changed:
        break;
    }
    return EstimationState::Unchanged;
}

}   // namespace

// Before the loop over k: the sums of squares about the overall mean, and that mean as the first centre.
void ClusterKMeans::computeTotalSS(ClusterTables& tables)
{
    GroupTable all(1, tables.rows.stride);
    std::array<std::int32_t, kBlockRows> groups;
    CancellationChecker checker(1000);
    for (std::int32_t begin = 0; begin < m_nRows; begin += kBlockRows)
    {
        const std::int32_t n = std::min(kBlockRows, m_nRows - begin);
        for (std::int32_t i = 0; i < n; ++i)
        {
            checker.ThrowIfCancelled();
            groups[static_cast<std::size_t>(i)] =
                m_weights[static_cast<std::size_t>(begin) + static_cast<std::size_t>(i)] > 0.0 ? 0 : -1;
        }
        BestDistanceKernel().addRows(tables.rows.GetRow(begin), n, groups.data(), all.GetMoments());
    }
    for (int v = 0; v < m_nCols; ++v)
        m_totalSS += all.GetM2(0)[v];
    tables.kept.counts[0] = all.counts[0];
    std::copy(all.means.begin(), all.means.end(), tables.kept.means.begin());
}

// One pass: every row to its nearest centre, then the outlier bounds and the tables of the clusters that changed. A pass
// that moves no row and changes no distance leaves every state Unchanged, and that is what ends the passes: centres are
// never compared.
void ClusterKMeans::assign(int k, ClusterTables& tables)
{
    const auto states = tables.states.begin();
    std::transform(states, states + k, states, Age);
    std::fill_n(tables.sizes.begin(), k, 0);

    const DistanceKernel& kernel = BestDistanceKernel();
    const CentreTable centres{tables.kept.means.data(), tables.kept.stride, static_cast<std::size_t>(m_nCols), k};
    std::array<double, kBlockRows> distances;
    std::array<double, kBlockRows> nearest;
    CancellationChecker checker(1000);
    for (std::int32_t begin = 0; begin < m_nRows; begin += kBlockRows)
    {
        const std::int32_t tile = begin / kTileRows;
        kernel.findNearest(tables.rows.GetTile(tile), std::min(kBlockTiles, tables.rows.GetNumTiles() - tile), centres,
            tables.weights.data() + begin, distances.data(), nearest.data());
        const auto n = static_cast<std::size_t>(std::min(kBlockRows, m_nRows - begin));
        for (std::size_t i = 0; i < n; ++i)
        {
            checker.ThrowIfCancelled();
            const std::size_t row = static_cast<std::size_t>(begin) + i;
            if (!(m_weights[row] > 0.0))
            {
                m_assignments[row] = -1;
                m_distances[row] = std::numeric_limits<double>::max();
                m_excluded[row] = true;
                continue;
            }
            const auto cluster = static_cast<std::int32_t>(nearest[i]);
            const std::int32_t before = m_assignments[row];
            ++tables.sizes[static_cast<std::size_t>(cluster)];
            if (cluster == before && distances[i] == m_distances[row])
                continue;
            states[cluster] = EstimationState::Changed;
            if (before >= 0)
                states[before] = EstimationState::Changed;
            m_assignments[row] = cluster;
            m_distances[row] = distances[i];
        }
    }
    findOutliers(k, tables);
    estimateClusters(k, tables);
}

// The outlier bound of each cluster that changed, from the distances of all its members.
void ClusterKMeans::findOutliers(int k, ClusterTables& tables)
{
    std::size_t total = 0;
    for (int c = 0; c < k; ++c)
    {
        const auto cluster = static_cast<std::size_t>(c);
        tables.offsets[cluster] = total;
        if (tables.states[cluster] != EstimationState::Unchanged)
            total += static_cast<std::size_t>(tables.sizes[cluster]);
    }
    CancellationChecker checker(1000);
    for (std::size_t row = 0; row < m_assignments.size(); ++row)
    {
        checker.ThrowIfCancelled();
        const std::int32_t c = m_assignments[row];
        if (c >= 0 && tables.states[static_cast<std::size_t>(c)] != EstimationState::Unchanged)
            tables.memberDistances[tables.offsets[static_cast<std::size_t>(c)]++] = m_distances[row];
    }
    for (int c = 0; c < k; ++c)
    {
        const auto cluster = static_cast<std::size_t>(c);
        if (tables.states[cluster] == EstimationState::Unchanged)
            continue;
        const auto n = static_cast<std::size_t>(tables.sizes[cluster]);
        const double* first = tables.memberDistances.data() + tables.offsets[cluster] - n;
        m_outlierBounds[cluster] = FindOutlierBound({first, n}, m_outlierAlpha, tables.scratch);
    }
}

// The flags, centres and spreads of the clusters that changed.
void ClusterKMeans::estimateClusters(int k, ClusterTables& tables)
{
    for (int c = 0; c < k; ++c)
        if (tables.states[static_cast<std::size_t>(c)] != EstimationState::Unchanged)
        {
            tables.members.Clear(static_cast<std::size_t>(c));
            tables.kept.Clear(static_cast<std::size_t>(c));
        }

    const DistanceKernel& kernel = BestDistanceKernel();
    std::array<std::int32_t, kBlockRows> memberOf;   // all members of a changed cluster
    std::array<std::int32_t, kBlockRows> keptBy;     // those within the bound, where there is one
    CancellationChecker checker(1000);
    for (std::int32_t begin = 0; begin < m_nRows; begin += kBlockRows)
    {
        bool anyMember = false;
        bool anyKept = false;
        const auto n = static_cast<std::size_t>(std::min(kBlockRows, m_nRows - begin));
        for (std::size_t i = 0; i < n; ++i)
        {
            checker.ThrowIfCancelled();
            const std::size_t row = static_cast<std::size_t>(begin) + i;
            const std::int32_t c = m_assignments[row];
            memberOf[i] = keptBy[i] = -1;
            if (c < 0 || tables.states[static_cast<std::size_t>(c)] == EstimationState::Unchanged)
                continue;
            memberOf[i] = c;
            anyMember = true;
            const double bound = m_outlierBounds[static_cast<std::size_t>(c)];
            const bool isOutlier = m_distances[row] > bound;   // never of a NaN
            if (m_excluded[row] != isOutlier)
                m_excluded[row] = isOutlier;
            if (!isOutlier && !std::isnan(bound))
            {
                keptBy[i] = c;
                anyKept = true;
            }
        }
        if (anyMember)
            kernel.addRows(
                tables.rows.GetRow(begin), static_cast<int>(n), memberOf.data(), tables.members.GetMoments());
        if (anyKept)
            kernel.addRows(tables.rows.GetRow(begin), static_cast<int>(n), keptBy.data(), tables.kept.GetMoments());
    }

    // Without a bound all members are kept, and their mean is the result of the very same operations.
    for (int c = 0; c < k; ++c)
    {
        const auto cluster = static_cast<std::size_t>(c);
        if (tables.states[cluster] == EstimationState::Unchanged || !std::isnan(m_outlierBounds[cluster]))
            continue;
        tables.kept.counts[cluster] = tables.members.counts[cluster];
        std::copy_n(tables.members.GetMeans(cluster), tables.members.stride, tables.kept.GetMeans(cluster));
    }
}
