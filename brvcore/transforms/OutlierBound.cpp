#include "brvcore/transforms/OutlierBound.h"

#include "brvcore/foundation/CancellationChecker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

// Let x be the finite values in ascending order, n of them, and m = n / 4. The bound is x[i - 1] for the first i with
//
//     x[i] > x[3 n / 4],  gap[i] = x[i] - x[i - 1] > range / 20,  gap[i] > L S / (m - 1),  S = sum of w gap[i - w], w < m
//
// (L = ln(1 / alpha)). As S is a sum by parts, S / (m - 1) is the mean of the m - 1 values below the gap minus x[i - m].

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kMinGapShare = 0.05;   // of the range: a narrower gap separates nothing
constexpr std::size_t kFewest = 8;      // below, a quarter of the values holds no gap to compare with
constexpr int kBlock = 1000;            // values between two looks at the cancellation

struct Limits
{
    double min = kLargest;
    double max = -kLargest;
    bool isFinite = true;
};

// Calls visit(begin, end) for one block of n values after the other.
template <class Visit> void ForEachBlock(std::size_t n, Visit visit)
{
    CancellationChecker checker(1);
    for (std::size_t begin = 0; begin < n; begin += kBlock)
    {
        checker.ThrowIfCancelled();
        visit(begin, std::min(begin + kBlock, n));
    }
}

// Four lanes, as one comparison waits on the one before.
Limits FindLimits(std::span<const double> values)
{
    constexpr std::size_t kLanes = 4;
    Limits lanes[kLanes];
    const auto add = [](Limits& lane, double x)
    {
        lane.isFinite &= std::fabs(x) <= kLargest;
        lane.min = x < lane.min ? x : lane.min;
        lane.max = x > lane.max ? x : lane.max;
    };
    ForEachBlock(values.size(),
        [&](std::size_t i, std::size_t end)
        {
            for (; i + kLanes <= end; i += kLanes)
                for (std::size_t lane = 0; lane < kLanes; ++lane)
                    add(lanes[lane], values[i + lane]);
            for (; i < end; ++i)
                add(lanes[0], values[i]);
        });
    for (std::size_t lane = 1; lane < kLanes; ++lane)
    {
        lanes[0].isFinite &= lanes[lane].isFinite;
        lanes[0].min = std::min(lanes[0].min, lanes[lane].min);
        lanes[0].max = std::max(lanes[0].max, lanes[lane].max);
    }
    return lanes[0];
}

// Moves the values from `first` on to their places in ascending order. To ask in every comparison costs a few of them, so
// what is sorted within milliseconds asks nobody.
void SortFrom(std::vector<double>& x, std::vector<double>::iterator first)
{
    constexpr std::size_t kManyValues = 65536;
    const auto sort = [&](auto isLess)
    {
        std::nth_element(x.begin(), first, x.end(), isLess);
        std::sort(first, x.end(), isLess);
    };
    if (x.size() < kManyValues)
        return sort(std::less<>());
    CancellationChecker checker(kBlock);
    sort(
        [&](double a, double b)
        {
            checker.ThrowIfCancelled();
            return a < b;
        });
}

// The scan as it reads, over finite values: only their upper half is sorted, which is all that it looks at.
double ScanSorted(std::vector<double>& x, const Limits& limits, double factor, std::vector<double>& gap)
{
    const std::size_t n = x.size();
    const std::size_t start = std::max<std::size_t>(1, n / 2);
    if (start >= n)
        return kNaN;
    SortFrom(x, x.begin() + static_cast<std::ptrdiff_t>(start - 1));
    const double minGap = kMinGapShare * (limits.max - limits.min);
    const double q3 = x[3 * n / 4];
    const auto m = static_cast<std::ptrdiff_t>(n / 4);
    const auto weights = static_cast<double>(m - 1);

    // A gap before `start` stays unknown, so the first m - 1 positions can never be cut.
    gap.assign(n, kNaN);
    CancellationChecker checker(1000);
    for (std::size_t i = start; i < n; ++i)
    {
        checker.ThrowIfCancelled();
        gap[i] = x[i] - x[i - 1];
        if (!(x[i] > q3 && gap[i] > minGap))
            continue;
        double threshold = factor * (0.0 / weights);
        if (n >= kFewest)
        {
            double sum = 0.0;
            for (std::ptrdiff_t w = 1; w < m; ++w)
                sum += static_cast<double>(w) * gap[i - static_cast<std::size_t>(w)];
            threshold = factor * sum / weights;
        }
        if (gap[i] > threshold)
            return x[i - 1];
    }
    return kNaN;
}

// How many values fall into each of equally wide columns. The column of a value does not fall as the value grows, whatever
// the rounding, so ranks and neighbours across a column's edge are exact.
class Histogram
{
public:
    static constexpr int kColumns = 256;
    // Values whose columns differ by less lie closer than kMinGapShare of the range.
    static constexpr int kMinJump = static_cast<int>(kMinGapShare * kColumns) - 1;

    Histogram(std::span<const double> x, const Limits& limits)
        : m_x(x), m_min(limits.min), m_scale(kColumns / (limits.max - limits.min))
    {
        ForEachBlock(x.size(),
            [this](std::size_t i, std::size_t end)
            {
                for (; i < end; ++i)
                    ++m_counts[static_cast<std::size_t>(ColumnOf(m_x[i]))];
            });
    }

    int ColumnOf(double value) const { return std::min(static_cast<int>((value - m_min) * m_scale), kColumns - 1); }
    std::size_t GetCount(int column) const { return m_counts[static_cast<std::size_t>(column)]; }
    double InColumns(double distance) const { return distance * m_scale; }

    // The largest value up to a column, and the smallest beyond.
    std::pair<double, double> NeighboursOfEdge(int column) const
    {
        double lower = -kLargest;
        double upper = kLargest;
        ForEachBlock(m_x.size(),
            [&](std::size_t i, std::size_t end)
            {
                for (; i < end; ++i)
                    if (ColumnOf(m_x[i]) <= column)
                        lower = std::max(lower, m_x[i]);
                    else
                        upper = std::min(upper, m_x[i]);
            });
        return {lower, upper};
    }

    // The mean of the columns of the m - 1 values next below rank i minus the column of the m-th, where `column` holds rank
    // i - 1. The values' own distance, in columns, is less than 1 away.
    double SpreadBelow(int column, std::size_t m) const
    {
        double sum = 0.0;
        for (std::size_t left = m;; --column)
        {
            const std::size_t here = std::min(left, GetCount(column));
            left -= here;
            sum += static_cast<double>(here) * column;
            if (left == 0)
                break;
        }
        const auto others = static_cast<double>(m - 1);
        return (sum - column) / others - column;
    }

private:
    std::span<const double> m_x;
    double m_min;
    double m_scale;   // columns per unit
    std::array<std::uint32_t, kColumns> m_counts{};
};

// The bound, as far as the histogram decides it.
std::optional<double> ScanHistogram(std::span<const double> x, const Limits& limits, double factor)
{
    const std::size_t n = x.size();
    const std::size_t m = n / 4;
    const double minGap = kMinGapShare * (limits.max - limits.min);
    const Histogram histogram(x, limits);
    int below = 0;   // the last column that is not empty
    std::size_t rank = histogram.GetCount(0);
    for (int column = 1; column < Histogram::kColumns; ++column)
    {
        if (histogram.GetCount(column) == 0)
            continue;
        // A positive gap reaches above the upper quartile exactly when its rank does.
        if (column - below >= Histogram::kMinJump && rank > 3 * n / 4)
        {
            const auto [lower, upper] = histogram.NeighboursOfEdge(below);
            const double gap = upper - lower;
            if (gap > minGap)
            {
                constexpr double kSlack = 1.001;   // a column, and the rounding of n terms many times over
                const double spread = histogram.SpreadBelow(below, m);
                const double inColumns = histogram.InColumns(gap);
                if (inColumns > factor * (spread + kSlack) * kSlack)
                    return lower;
                if (inColumns * kSlack >= factor * std::max(spread - kSlack, 0.0))
                    return std::nullopt;
            }
        }
        below = column;
        rank += histogram.GetCount(column);
    }
    return kNaN;
}

// Whether the histogram's estimates hold: a sensible level, values worth the effort, no sum near either end of the numbers.
bool IsTame(std::size_t n, double range, double factor)
{
    constexpr std::size_t kWorthwhile = 256;
    constexpr double kTiny = 1e-280;
    constexpr double kHuge = 1e280;
    return n >= kWorthwhile && n <= std::numeric_limits<std::uint32_t>::max() && factor > 0.0 && factor < 1e6 &&
           range > kTiny && range < kHuge;
}

double FindBound(std::span<const double> values, double alpha, OutlierScratch& scratch, bool mayDecide)
{
    Limits limits = FindLimits(values);
    std::vector<double>& finite = scratch.values;
    if (!limits.isFinite)
    {
        finite.clear();
        ForEachBlock(values.size(),
            [&](std::size_t begin, std::size_t end)
            {
                const auto block = values.subspan(begin, end - begin);
                std::copy_if(
                    block.begin(), block.end(), std::back_inserter(finite), [](double x) { return std::isfinite(x); });
            });
        values = finite;
        limits = FindLimits(values);
    }
    const double factor = std::log(1.0 / alpha);
    if (mayDecide && IsTame(values.size(), limits.max - limits.min, factor))
        if (const std::optional<double> bound = ScanHistogram(values, limits, factor))
            return *bound;
    if (values.data() != finite.data())
        finite.assign(values.begin(), values.end());
    return ScanSorted(finite, limits, factor, scratch.gaps);
}

}   // namespace

double FindOutlierBound(std::span<const double> values, double alpha, OutlierScratch& scratch)
{
    return FindBound(values, alpha, scratch, true);
}

double FindOutlierBoundBySorting(std::span<const double> values, double alpha, OutlierScratch& scratch)
{
    return FindBound(values, alpha, scratch, false);
}
