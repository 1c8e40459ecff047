#include "brvcore/transforms/OneWayANOVA.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/StatDistributions.h"
#include "brvcore/transforms/VectorSize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace
{

constexpr int maxGroups = 100;

// Raw sums of one group. The alignment lets both doubles share one load, one addition and one store.
struct alignas(32) GroupSums
{
    double sum = 0.0;
    double squares = 0.0;
    std::int64_t count = 0;

    void Add(double x)
    {
        sum += x;
        squares += x * x;
    }
};

using AllSums = std::array<GroupSums, maxGroups>;

// What a block's labels look like, found before the block is summed, while it is on its way into the cache.
struct LabelSurvey
{
    bool isInside = true;      // every label has a group
    std::size_t repeats = 0;   // labels equal to the one before
};

// At least one label.
LabelSurvey Survey(const int* label, std::size_t n, int numGroups)
{
    int outside = static_cast<int>(label[0] < 0) | static_cast<int>(label[0] >= numGroups);
    int repeats = 0;
    for (std::size_t i = 1; i < n; ++i)
    {
        outside |= static_cast<int>(label[i] < 0) | static_cast<int>(label[i] >= numGroups);
        repeats += static_cast<int>(label[i] == label[i - 1]);
    }
    return {outside == 0, static_cast<std::size_t>(repeats)};
}

// Labels that change often: each value goes to its group's sums in memory.
void AddScattered(const double* x, const int* label, std::size_t n, AllSums& groups)
{
    for (std::size_t i = 0; i < n; ++i)
    {
        GroupSums& group = groups[static_cast<std::size_t>(label[i])];
        group.Add(x[i]);
        group.count += 1;
    }
}

// Long runs of one label, as in sorted data: sums in memory would make each value wait for the store of the one before, so
// a run keeps them in registers.
void AddRuns(const double* x, const int* label, std::size_t n, AllSums& groups)
{
    for (std::size_t i = 0; i < n;)
    {
        const std::size_t start = i;
        const int runLabel = label[start];
        GroupSums group = groups[static_cast<std::size_t>(runLabel)];
        for (; i < n && label[i] == runLabel; ++i)
            group.Add(x[i]);
        group.count += static_cast<std::int64_t>(i - start);
        groups[static_cast<std::size_t>(runLabel)] = group;
    }
}

// Either way a group's sums grow value by value in the order of the data, so the choice shows in no bit of the result.
AllSums SumByGroup(const std::vector<double>& values, const std::vector<int>& group, int numGroups)
{
    constexpr std::size_t kBlock = 2048;   // labels and values of a block fit the first-level cache
    AllSums groups{};
    for (std::size_t start = 0; start < tsize(values); start += kBlock)
    {
        const std::size_t n = std::min(kBlock, tsize(values) - start);
        const double* x = values.data() + start;
        const int* label = group.data() + start;
        const LabelSurvey survey = Survey(label, n, numGroups);
        if (!survey.isInside)
            for (std::size_t i = start; i < start + n; ++i)
                BRV_LOGIC_ASSERT(0x8C61D3F9, 0 <= group[i] && group[i] < numGroups);
        if (survey.repeats >= n - n / 4)   // runs of four or more; shorter ones cost more in mispredicted ends
            AddRuns(x, label, n, groups);
        else
            AddScattered(x, label, n, groups);
    }
    return groups;
}

// Rounding can leave the sum within the groups, and so F, a little below 0. The distribution has nothing there, which
// Boost.Math answers with an exception; where the conditions of the tail hold all the same, it is all of 1.
double UpperTail(double f, int df1, int df2)
{
    if (!(f < 0.0))
        return StatDistributions::ComputePF(f, df1, df2);
    const double share = df2 / (df1 * f + df2);
    const bool isTail = df1 >= 1 && df2 >= 1 && std::isfinite(f) && 0.0 <= share && share <= 1.0;
    return isTail ? 1.0 : -1.0;
}

}   // namespace

OneWayANOVA::OneWayANOVA(const std::vector<double>& values, const std::vector<int>& group, int numGroups)
{
    const std::size_t totalLength = tsize(values);
    BRV_LOGIC_ASSERT(0x47EDE8B8, static_cast<unsigned int>(totalLength) == tsize(group));
    BRV_LOGIC_ASSERT(0x5B39CDBB, numGroups <= maxGroups);
    numGroups = std::max(numGroups, 0);

    const AllSums groups = SumByGroup(values, group, numGroups);
    double total = 0.0;
    for (int g = 0; g < numGroups; ++g)
        total += groups[static_cast<std::size_t>(g)].sum;
    const double grandMean = total / static_cast<double>(totalLength);

    double between = 0.0;
    double within = 0.0;
    for (int g = 0; g < numGroups; ++g)
    {
        const auto& [sum, squares, count] = groups[static_cast<std::size_t>(g)];
        const double n = static_cast<double>(count);
        const double variance = (squares - sum * sum / n) / (n - 1.0);
        const double deviation = sum / n - grandMean;
        between += n * (deviation * deviation);
        within +=
            (n - 1.0) * variance;   // not squares - sum * sum / n, which would give a single value a variance of 0
    }

    const int dfBetween = numGroups - 1;
    const std::int64_t dfWithin = static_cast<std::int64_t>(totalLength) - numGroups;
    m_fStatistic = (between / dfBetween) / (within / static_cast<double>(dfWithin));
    // From 2^31 on one degree of freedom more moves no digit that 1 minus the lower tail keeps.
    constexpr std::int64_t kMaxDf = std::numeric_limits<int>::max();
    m_pValue = UpperTail(m_fStatistic, dfBetween, static_cast<int>(std::min(dfWithin, kMaxDf)));
}
