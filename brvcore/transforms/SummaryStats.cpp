#include "brvcore/transforms/SummaryStats.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/VectorSize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace
{

// The five running numbers of a series, wherever they are kept.
struct Accumulator
{
    std::int32_t count;
    double mean;
    double m2;
    double min;
    double max;

    void Add(double x)
    {
        if (!std::isnan(x))
        {
            count += static_cast<std::int32_t>(count < std::numeric_limits<std::int32_t>::max());
            const double deviation = x - mean;
            mean += deviation / count;
            m2 += (x - mean) * deviation;
        }
        min = x < min ? x : min;   // a missing value compares false
        max = x > max ? x : max;
    }
};

double SampleVariance(std::int32_t count, double m2)
{
    return count < 2 ? std::numeric_limits<double>::quiet_NaN() : m2 / (count - 1);
}

// The vectors of a table, seen by column.
struct Columns
{
    std::int32_t* counts;
    double* means;
    double* m2;
    std::pair<double, double>* ranges;

    Accumulator Load(std::size_t j) const { return {counts[j], means[j], m2[j], ranges[j].first, ranges[j].second}; }

    void Save(std::size_t j, const Accumulator& a) const
    {
        counts[j] = a.count;
        means[j] = a.mean;
        m2[j] = a.m2;
        ranges[j] = {a.min, a.max};
    }
};

// Columns first to first + width - 1 side by side, as far as all of them reach, then the rest of each: one recurrence waits
// on its own division, several do not.
template <std::size_t width>
void AddColumns(const std::vector<std::vector<double>>& values, std::size_t first, const Columns& columns)
{
    std::array<Accumulator, width> a;
    std::array<const double*, width> x;
    std::size_t common = values[first].size();
    for (std::size_t k = 0; k < width; ++k)
    {
        a[k] = columns.Load(first + k);
        x[k] = values[first + k].data();
        common = std::min(common, values[first + k].size());
    }
    for (std::size_t i = 0; i < common; ++i)
        for (std::size_t k = 0; k < width; ++k)
            a[k].Add(x[k][i]);
    for (std::size_t k = 0; k < width; ++k)
    {
        for (std::size_t i = common; i < values[first + k].size(); ++i)
            a[k].Add(x[k][i]);
        columns.Save(first + k, a[k]);
    }
}

}   // namespace

SummaryStats::SummaryStats(double x)
{
    AddValue(x);
}

SummaryStats::SummaryStats(const std::vector<double>& values)
{
    AddValue(values);
}

void SummaryStats::AddValue(double x)
{
    Accumulator a{m_count, m_mean, m_m2, m_min, m_max};
    a.Add(x);
    m_count = a.count, m_mean = a.mean, m_m2 = a.m2, m_min = a.min, m_max = a.max;
}

void SummaryStats::AddValue(const std::vector<double>& values)
{
    Accumulator a{m_count, m_mean, m_m2, m_min, m_max};
    for (const double x : values)
        a.Add(x);
    m_count = a.count, m_mean = a.mean, m_m2 = a.m2, m_min = a.min, m_max = a.max;
}

double SummaryStats::GetVariance() const
{
    return SampleVariance(m_count, m_m2);
}

double SummaryStats::GetStdDev() const
{
    return std::sqrt(GetVariance());
}

std::pair<double, double> SummaryStats::GetRange() const
{
    return {m_min, m_max};
}

std::pair<double, double> SummaryStats::GetMeanStdDev() const
{
    return {m_mean, GetStdDev()};
}

SummaryStatsMat::SummaryStatsMat(const std::vector<double>& row)
{
    AddRow(row);
}

SummaryStatsMat::SummaryStatsMat(const std::vector<std::vector<double>>& columns)
{
    AddColMajorRows(columns);
}

void SummaryStatsMat::ValidateOrInitialize(std::size_t size)
{
    if (m_nCols == 0 && size <= std::numeric_limits<std::uint32_t>::max())
    {
        const SummaryStats empty;
        SummaryStatsMat fresh;   // a failed allocation leaves this table without columns
        fresh.m_nCols = static_cast<std::uint32_t>(size);
        fresh.m_counts.assign(size, empty.GetCount());
        fresh.m_means.assign(size, empty.GetMean());
        fresh.m_m2.assign(size, 0.0);
        fresh.m_ranges.assign(size, empty.GetRange());
        *this = std::move(fresh);
    }
    BRV_LOGIC_ASSERT(0x1EC2E00D, m_nCols == size);
}

void SummaryStatsMat::AddRow(const std::vector<double>& row)
{
    ValidateOrInitialize(tsize(row));
    const Columns columns{m_counts.data(), m_means.data(), m_m2.data(), m_ranges.data()};
    for (std::size_t j = 0; j < m_nCols; ++j)
    {
        Accumulator a = columns.Load(j);
        a.Add(row[j]);
        columns.Save(j, a);
    }
}

void SummaryStatsMat::AddColMajorRows(const std::vector<std::vector<double>>& columns)
{
    ValidateOrInitialize(tsize(columns));
    const Columns state{m_counts.data(), m_means.data(), m_m2.data(), m_ranges.data()};
    constexpr std::size_t kTogether = 4;
    std::size_t j = 0;
    for (; j + kTogether <= m_nCols; j += kTogether)
        AddColumns<kTogether>(columns, j, state);
    for (; j < m_nCols; ++j)
        AddColumns<1>(columns, j, state);
}

std::vector<double> SummaryStatsMat::GetVariances() const
{
    std::vector<double> variances(m_nCols);
    for (std::size_t j = 0; j < m_nCols; ++j)
        variances[j] = SampleVariance(m_counts[j], m_m2[j]);
    return variances;
}
