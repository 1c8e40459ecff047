#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

// Streaming count, mean, variance and extremes of one series, by B. P. Welford, "Note on a Method for Calculating Corrected
// Sums of Squares and Products", Technometrics 4 (1962). A missing value (NaN) changes nothing. An infinite one counts: the
// variance is NaN from then on, and the mean from the next value on; differences beyond the largest double make both
// infinite or NaN. A plain value, O(1) a value.
//
// The count stops at 2^31 - 1. Later values still reach the extremes, and the other moments with the weight of the last
// one counted.
class BRV_EXPORT SummaryStats
{
public:
    SummaryStats() = default;
    explicit SummaryStats(double x);   // also SummaryStats({}), which is the value 0
    explicit SummaryStats(const std::vector<double>& values);

    void AddValue(double x);
    void AddValue(const std::vector<double>& values);

    std::int32_t GetCount() const noexcept { return m_count; }
    double GetMean() const noexcept { return m_mean; }   // 0 without a value
    double GetVariance() const;                          // sample variance; NaN below two values
    double GetStdDev() const;                            // its square root; NaN below two values
    double GetMin() const noexcept { return m_min; }     // the largest finite double without a value
    double GetMax() const noexcept { return m_max; }     // minus the largest finite double without a value
    std::pair<double, double> GetRange() const;          // (minimum, maximum)
    std::pair<double, double> GetMeanStdDev() const;

private:
    std::int32_t m_count = 0;
    double m_mean = 0.0;
    double m_m2 = 0.0;   // sum of squared deviations from the mean
    double m_min = std::numeric_limits<double>::max();
    double m_max = -std::numeric_limits<double>::max();
};

// The same for each column of a table. The first row or set of columns with any fixes their number; another number later,
// none included, throws LogicException 0x1EC2E00D "m_nCols == size", as 2^32 columns do, and changes nothing. A table of
// zero columns ignores what it is given.
class BRV_EXPORT SummaryStatsMat
{
public:
    SummaryStatsMat() = default;
    explicit SummaryStatsMat(const std::vector<double>& row);
    explicit SummaryStatsMat(const std::vector<std::vector<double>>& columns);

    // One value per column.
    void AddRow(const std::vector<double>& row);
    // One vector per column, of any lengths. The result is that of adding the values one by one, to the last bit.
    void AddColMajorRows(const std::vector<std::vector<double>>& columns);

    std::vector<std::int32_t> GetCounts() const { return m_counts; }
    std::vector<double> GetMeans() const { return m_means; }
    std::vector<double> GetVariances() const;   // NaN below two values
    std::vector<std::pair<double, double>> GetRanges() const { return m_ranges; }

private:
    void ValidateOrInitialize(std::size_t size);

    std::uint32_t m_nCols = 0;
    std::vector<std::int32_t> m_counts;
    std::vector<double> m_means;
    std::vector<double> m_m2;
    std::vector<std::pair<double, double>> m_ranges;   // (minimum, maximum)
};
