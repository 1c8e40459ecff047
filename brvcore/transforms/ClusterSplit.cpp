#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/ClusterAnalysis.h"
#include "brvcore/transforms/ClusterTables.h"

#include <cstddef>
#include <limits>
#include <vector>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();

// Sum of squares per kept member. The sum is over all members and the count without the outliers: a cluster with far
// outliers so looks more spread out and is split the sooner, which hosts rely on. 0 / 0 of an empty cluster is NaN, which
// no comparison prefers.
double Variance(const ClusterTables& tables, int cluster, int v)
{
    const auto c = static_cast<std::size_t>(cluster);
    return tables.members.GetM2(c)[v] / tables.kept.counts[c];
}

// The two smallest and the two largest values of one variable.
struct Extremes
{
    double smallest = kLargest;
    double secondSmallest = kLargest;
    double largest = -kLargest;
    double secondLargest = -kLargest;

    void Add(double x)
    {
        if (x < smallest)
        {
            secondSmallest = smallest;
            smallest = x;
        }
        else if (x < secondSmallest)
            secondSmallest = x;
        if (x > largest)
        {
            secondLargest = largest;
            largest = x;
        }
        else if (x > secondLargest)
            secondLargest = x;
    }
};

// How far the values of a variable lie apart, most telling measure first.
struct Spread
{
    double variance = 0.0;
    double range = 0.0;
    double innerRange = 0.0;   // without the smallest and the largest value

    bool Exceeds(const Spread& other) const
    {
        if (variance != other.variance)
            return variance > other.variance;
        if (range != other.range)
            return range > other.range;
        return innerRange > other.innerRange;
    }
};

int FindWidestCluster(const ClusterTables& tables, int k, int nCols)
{
    int widest = 0;
    double best = 0.0;
    for (int c = 0; c < k; ++c)
    {
        double sum = 0.0;
        for (int v = 0; v < nCols; ++v)
            sum += Variance(tables, c, v);
        if (sum > best)
        {
            best = sum;
            widest = c;
        }
    }
    return widest;
}

}   // namespace

// Divides the most spread-out of the k clusters at its centre on its most spread-out variable. Only counts and centres
// move: the next pass assigns the rows.
void ClusterKMeans::split(int k, ClusterTables& tables)
{
    tables.AddCluster();
    m_outlierBounds.push_back(kNaN);
    const int widest = FindWidestCluster(tables, k, m_nCols);
    const auto from = static_cast<std::size_t>(widest);
    const auto to = static_cast<std::size_t>(k);
    const auto isKeptMember = [&](std::size_t row)
    { return m_assignments[row] == widest && !m_excluded[row] && m_weights[row] > 0.0; };

    // The ranges only decide between equal variances, so they wait until there are such.
    std::vector<Extremes> extremes;
    const auto rangeOf = [&](int v) -> const Extremes&
    {
        if (extremes.empty())
        {
            extremes.resize(static_cast<std::size_t>(m_nCols));
            CancellationChecker checker(1000);
            for (std::int32_t row = 0; row < m_nRows; ++row)
            {
                checker.ThrowIfCancelled();
                if (!isKeptMember(static_cast<std::size_t>(row)))
                    continue;
                for (std::size_t u = 0; u < extremes.size(); ++u)
                    extremes[u].Add(tables.rows.GetRow(row)[u]);
            }
        }
        return extremes[static_cast<std::size_t>(v)];
    };
    const auto spreadOf = [&](int v)
    {
        const Extremes& e = rangeOf(v);
        return Spread{Variance(tables, widest, v), e.largest - e.smallest, e.secondLargest - e.secondSmallest};
    };

    // Where no variable spreads, the first one is cut at 0.0, not at its centre: hosts rely on the clusters that follow.
    int variable = 0;
    double cut = 0.0;
    int best = -1;
    for (int v = 0; v < m_nCols; ++v)
    {
        const double bestVariance = best < 0 ? 0.0 : Variance(tables, widest, best);
        const double variance = Variance(tables, widest, v);
        if (variance > bestVariance ||
            (variance == bestVariance && spreadOf(v).Exceeds(best < 0 ? Spread{} : spreadOf(best))))
        {
            best = variable = v;
            cut = tables.GetCentre(widest)[v];   // a copy: the centre moves below
        }
    }

    double* oldMeans = tables.kept.GetMeans(from);
    double* newMeans = tables.kept.GetMeans(to);
    CancellationChecker checker(1000);
    for (std::int32_t row = 0; row < m_nRows; ++row)
    {
        checker.ThrowIfCancelled();
        const double* x = tables.rows.GetRow(row);
        if (!isKeptMember(static_cast<std::size_t>(row)) || !(x[variable] > cut))
            continue;
        const double oldCount =
            --tables.kept.counts[from];   // the last row divides by 0: an empty cluster has no centre
        const double newCount = ++tables.kept.counts[to];
        for (int v = 0; v < m_nCols; ++v)
        {
            oldMeans[v] -= (x[v] - oldMeans[v]) / oldCount;
            newMeans[v] += (x[v] - newMeans[v]) / newCount;
        }
    }
    tables.states[from] = EstimationState::New;
    tables.states[to] = EstimationState::New;
}
