#include "brvcore/transforms/ClusterAnalysis.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/MetricsScope.h"
#include "brvcore/transforms/ClusterTables.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kMaxSize =
    std::numeric_limits<std::int32_t>::max() - kBlockRows;   // so that the block after the last one has a number, too

void CheckInput(const std::vector<std::vector<double>>& data, const std::vector<double>& weights)
{
    CancellationChecker checker(1000);
    // Before anything of the table's size is allocated, as the first row alone says how much that is.
    const bool isRagged = std::any_of(data.begin(), data.end(),
        [&, nCols = data.front().size()](const auto& row)
        {
            checker.ThrowIfCancelled();
            return row.size() != nCols;
        });
    BRV_LOGIC_ASSERT(0x5E0B7C92, !isRagged);
    if (weights.empty())
        return;
    if (weights.size() != data.size())   // the text is what hosts have always seen
        BRV_LOGIC_ERROR(0xB4900DE6, u"(const int)weights.size() == m_nRows");
    const bool isAllZero = std::all_of(weights.begin(), weights.end(),
        [&](double w)
        {
            checker.ThrowIfCancelled();
            return w == 0.0;
        });
    BRV_LOGIC_ASSERT(0x39E13854, !isAllZero);
}

TString JoinNumbers(const std::vector<std::int32_t>& numbers)
{
    std::string text;
    for (const std::int32_t number : numbers)
    {
        if (!text.empty())
            text += ',';
        text += std::to_string(number);
    }
    return TString::FromUTF8(text);
}

}   // namespace

ClusterKMeans::ClusterKMeans(int maxClusters, int maxIterations, double reservedParam, double outlierAlpha)
    : m_maxClusters(maxClusters), m_maxIterations(maxIterations), m_reservedParam(reservedParam),
      m_outlierAlpha(outlierAlpha)
{
}

ClusterKMeans::~ClusterKMeans() = default;

void ClusterKMeans::Compute(
    const std::vector<std::vector<double>>& data, const std::vector<double>& weights, int numClusters)
{
    MetricsScope scope(u"CreateCluster_ComputeKmeans");
    const std::size_t nRows = data.size();
    const std::size_t nCols = data.empty() ? 0 : data.front().size();
    BRV_LOGIC_ASSERT(0xE3C9A27D, nRows <= kMaxSize && nCols <= kMaxSize);
    if (nCols == 0)
    {
        reset();
        m_nRows = static_cast<std::int32_t>(nRows);
        return;
    }
    CheckInput(data, weights);
    // Both are copied before the results go, as they may be among them.
    ClusterTables tables(data);
    std::vector<double> ownWeights = weights.empty() ? std::vector<double>(nRows, 1.0) : weights;
    reset();
    m_nRows = tables.rows.nRows;
    m_nCols = tables.rows.nCols;
    m_weights.swap(ownWeights);
    m_assignments.assign(nRows, -1);
    m_distances.assign(nRows, 0.0);
    m_excluded.assign(nRows, false);
    m_outlierBounds.assign(1, kNaN);
    const std::int32_t presentRows = dropMissing(tables);
    computeTotalSS(tables);

    const bool isAutomatic = numClusters < 1;
    const int maxK = isAutomatic ? std::max(0, std::min(m_maxClusters, m_nRows)) : numClusters;

    int keptK = maxK;
    for (int k = 1; k <= maxK; ++k)
    {
        refine(k, tables);
        if (isAutomatic)
        {
            m_chIndex.push_back(k == 1 ? 0.0 : computeCalinskiHarabasz(k, presentRows, tables));
            computeClusterStatistics(tables.rows, false);   // for a host that looks on while it is asked to go on
            const auto latest = m_chIndex.rbegin();
            if (k >= 3 &&
                latest[1] > latest[0])   // a fall from one cluster to two says nothing: the first index is no index
            {
                restorePartition(tables);
                keptK = k - 1;
                break;
            }
        }
        if (k == maxK)   // which may be the largest number there is
            break;
        split(k, tables);
        if (isAutomatic)   // nothing else goes back
            keepPartition(tables);
    }
    m_outlierBounds.resize(static_cast<std::size_t>(keptK));   // in the order of creation
    if (scope.IsActive())
        scope.Emit(u"iterations", JoinNumbers(tables.iterations));
    computeClusterStatistics(tables.rows, true);
    computeANOVA(tables.rows);
}

void ClusterKMeans::reset()
{
    ClusterKMeans fresh(m_maxClusters, m_maxIterations, m_reservedParam, m_outlierAlpha);
    *this = fresh;
}

// Takes the weight from each row with a missing value and returns the number of the others, those of weight 0 included.
std::int32_t ClusterKMeans::dropMissing(ClusterTables& tables)
{
    std::int32_t presentRows = m_nRows;
    CancellationChecker checker(1000);
    for (std::int32_t i = 0; i < m_nRows; ++i)
    {
        checker.ThrowIfCancelled();
        const double* row = tables.rows.GetRow(i);
        if (std::none_of(row, row + m_nCols, [](double x) { return std::isnan(x); }))
            continue;
        m_hasMissing = true;
        m_weights[static_cast<std::size_t>(i)] = 0.0;
        --presentRows;
    }
    std::copy(m_weights.begin(), m_weights.end(), tables.weights.begin());
    return presentRows;
}

// Passes until nothing changes any more, or the limit. Some tables never settle: an outlier's flag moves the centre by which
// it is judged, back and forth.
void ClusterKMeans::refine(int k, ClusterTables& tables)
{
    const int limit = k == 1 ? std::min(m_maxIterations, 1) : m_maxIterations;
    const auto end = tables.states.begin() + k;
    std::int32_t passes = 0;
    while (passes < limit &&
           std::any_of(tables.states.begin(), end, [](EstimationState s) { return s != EstimationState::Unchanged; }))
    {
        ++passes;
        assign(k, tables);
    }
    tables.iterations.push_back(passes);
}

double ClusterKMeans::computeCalinskiHarabasz(int k, std::int32_t presentRows, const ClusterTables& tables) const
{
    double withinSS = 0.0;
    for (int c = 0; c < k; ++c)
        for (int v = 0; v < m_nCols; ++v)
            withinSS += tables.members.GetM2(static_cast<std::size_t>(c))[v];
    return (m_totalSS - withinSS) / (k - 1) * ((presentRows - k) / withinSS);
}

void ClusterKMeans::keepPartition(ClusterTables& tables) const
{
    tables.previous.assignments = m_assignments;
    tables.previous.distances = m_distances;
    tables.previous.excluded = m_excluded;
    tables.previous.outlierBounds = m_outlierBounds;
}

void ClusterKMeans::restorePartition(ClusterTables& tables)
{
    m_assignments.swap(tables.previous.assignments);
    m_distances.swap(tables.previous.distances);
    m_excluded.swap(tables.previous.excluded);
    m_outlierBounds.swap(tables.previous.outlierBounds);
}
