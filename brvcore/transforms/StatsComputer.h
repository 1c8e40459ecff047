#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <vector>

// Quantiles and precision estimates of one set of values.
//
// Confidence is in percent (95.0, not 0.95), a probability lies in [0, 1], and a question that the values cannot answer
// gives NaN. A missing value is NaN and sorts last. The first quantile or median precision sorts the object's own copy, so
// one object serves one thread; the static function may run on any.
class BRV_EXPORT StatsComputer
{
public:
    StatsComputer() = default;

    // `isSorted` is the caller's word that the values ascend, missing ones last; it is not checked.
    StatsComputer(std::vector<double> values, bool isSorted);

    // The BasicStatistics functions of the same names over the sorted values: type-7 quantiles.
    // Throw LogicException 0xFDD4CCAB unless the probability lies in [0, 1]. O(n log n) at first, then O(1).
    double GetQuantile(double probability);
    double GetQuantile(double numerator, double denominator);
    double GetPercentile(double percent);

    // BasicStatistics::GetMomentsTwoPass over the values in their present order.
    void GetMomentsTwoPass(double& mean, double& variance, double& skewness, double& kurtosis) const;

    // Two-sided critical value of Student's t with n - 1 degrees of freedom.
    // Throws LogicException 0x90FCA73B for n below 2. A level above 100, below -100 or NaN raises Boost.Math's domain error
    // (std::domain_error), exactly 100 or -100 its overflow error (std::overflow_error).
    static double GetTCrit(double confidencePercent, int n);

    // Half-width of the two-sided interval of the median: the spread of the medians of samples drawn with replacement
    // (B. Efron, "Bootstrap Methods: Another Look at the Jackknife", Annals of Statistics 7, 1979) times the critical t.
    // NaN below three values. The seed is fixed, so equal values give equal results. 400000 samples up to 10 values,
    // 10000 up to 100, else 1000; polls cancellation once per sample. Throws as GetTCrit does.
    double GetMedianPrecision(double confidencePercent);

    // Half-width of the two-sided interval of the mean: critical t times sqrt(variance / n), with the sample variance of
    // the present values and n the number of all. NaN below two values. Throws as GetTCrit does. O(n), sorts nothing.
    double GetAveragePrecision(double confidencePercent) const;

private:
    void EnsureSorted();

    std::vector<double> m_values;
    bool m_isSorted = false;
};
