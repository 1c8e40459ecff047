#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <vector>

// Statistics of plain vectors: quantiles, moments, running variance and covariance, a small symmetric solver, a bound for
// outliers, distances and random projection. The chief header of the family: it also brings StatDistributions and
// StatsComputer.
//
// A missing value is NaN. Most functions skip missing values and answer NaN when nothing is left. Everything is static,
// keeps no state and may run on any thread. Each sum is taken in the order of the data with one rounding per operation,
// so its bits are the same on every machine; skewness and the outlier bound also use pow and log, whose last bit is the C
// library's.
class BRV_EXPORT BasicStatistics
{
public:
    BasicStatistics() = delete;

    // Comparison -------------------------------------------------------------------------------------------------

    // True when the difference is at most `tol` of the larger magnitude. False when either is NaN, or both are the same
    // infinity.
    static bool FuzzyEquals(double a, double b, double tol);

    // True when x is an integer, or within a relative `tol` of the nearest one, which then goes to `out`. False, with
    // `out` untouched, otherwise and for a value that is not finite or does not fit an int.
    static bool IsInteger(double x, int& out, double tol);

    // Quantiles --------------------------------------------------------------------------------------------------

    // Type 7 of R. J. Hyndman and Y. Fan, "Sample Quantiles in Statistical Packages", The American Statistician 50
    // (1996): linear between the values around position (n - 1) p + 1; a position within a relative 1e-8 of an integer
    // counts as that integer. `sorted` is ascending without NaN; an empty one gives NaN. O(1).
    // Throws LogicException 0xFDD4CCAB unless 0 <= probability <= 1, also for an empty vector and a NaN probability.
    static double GetQuantile(const std::vector<double>& sorted, double probability);

    // The quantile at numerator / denominator.
    static double GetQuantile(const std::vector<double>& sorted, double numerator, double denominator);

    // The quantile at percent / 100.
    static double GetPercentile(const std::vector<double>& sorted, double percent);

    // Moments ----------------------------------------------------------------------------------------------------

    // Mean, sample variance, skewness and excess kurtosis in two passes. A missing value is skipped in the sums but
    // counts in the number of values. An output that cannot be computed is NaN: all of them for no value or when the sum
    // reaches the largest double; all but the mean for one value; skewness and kurtosis when nothing varies.
    static void GetMomentsTwoPass(
        const std::vector<double>& values, double& mean, double& variance, double& skewness, double& kurtosis);

    // Variance of the present values from index `start` on (a negative one counts as 0), by B. P. Welford, "Note on a
    // Method for Calculating Corrected Sums of Squares and Products", Technometrics 4 (1962). `sample` divides by
    // count - 1 and gives 0 for one value, otherwise by count. NaN without a value.
    static double variance(const std::vector<double>& values, int start, bool sample);

    // One step of Welford's recurrence: n values so far with their mean and the sum m2 of squared deviations. All three
    // start at 0. A missing x changes nothing.
    static void VarianceIterative(double x, int& n, double& mean, double& m2);

    // One step of the running population covariance of the pairs seen so far. All four start at 0. A pair with a missing
    // half changes nothing.
    static void CovarianceIterative(double x, double y, int& n, double& meanX, double& meanY, double& cov);

    // sqrt(sample variance of the present values from `start` on / length), where length is that of the whole vector,
    // missing and skipped values included. NaN without a value.
    static double StandardErrorOfMean(const std::vector<double>& values, int start);

    // Symmetric systems ------------------------------------------------------------------------------------------

    // Factorises the symmetric matrix `a` (a vector of rows, all as long as there are rows) in place into L D L^T, after
    // R. S. Martin, G. Peters and J. H. Wilkinson, "Symmetric decomposition of a positive definite matrix", Numerische
    // Mathematik 7 (1965). Only the diagonal and the upper triangle are read. Afterwards the strict lower triangle holds
    // the unit lower factor and the diagonal the reciprocals of the pivots. Returns -1, or the row whose pivot fell below
    // 1e-15: the matrix is not positive definite. O(n^3).
    static int symdet(std::vector<std::vector<double>>& a);

    // Solves a x = b with the factor that symdet left in `a`. `x` is resized. O(n^2).
    static void symsol(const std::vector<std::vector<double>>& a, const std::vector<double>& b, std::vector<double>& x);

    // Distances and outliers -------------------------------------------------------------------------------------

    // The value above which the upper half of `values` counts as outlying: the lower end of the first gap in the upper
    // half, above the third quartile and wider than a twentieth of the range, that exceeds ln(1 / alpha) / (m - 1) times
    // the sum of the m - 1 gaps below it, the w-th nearest with weight w, m = n / 4. Below eight values there is nothing to
    // compare with: below four the first gap above the quartile is enough, from four to seven none is. NaN: no such gap,
    // or no finite value. Values that are not finite are left out. Polls cancellation.
    static double OutlierUpperBound(const std::vector<double>& values, double alpha);

    // weight * sum of (a_i - b_i)^2; NaN when the lengths differ.
    static double SquaredEuclideanDistance(const std::vector<double>& a, const std::vector<double>& b, double weight);

    // The same over the coordinates present in both, scaled up by length / number present. NaN when there is none, or when
    // the lengths differ.
    static double SquaredAdjustedPartialEuclideanDistance(
        const std::vector<double>& a, const std::vector<double>& b, double weight);

    // Projects each row on `dims` random directions with the coefficients +s, 0 and -s, s the square root of the row
    // length: D. Achlioptas, "Database-friendly random projections", PODS (2001). One row of `dims` values per input row;
    // rows are as long as the first. The directions are drawn anew in every call. A missing value makes its row missing.
    static std::vector<std::vector<double>> ComputeRandomProjection(
        const std::vector<std::vector<double>>& rows, int dims);
};

#include "brvcore/transforms/StatDistributions.h"
#include "brvcore/transforms/StatsComputer.h"
