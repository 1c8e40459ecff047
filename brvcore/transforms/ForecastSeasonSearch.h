#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <array>
#include <set>
#include <vector>

// Plausible season lengths of a series, before smoothing is fitted.
//
// Each period is scored by the residual sum of squares of a least-squares fit with a quadratic trend and one sine and
// cosine of that period, both of which may grow or shrink with time (harmonic regression: P. Bloomfield, "Fourier Analysis
// of Time Series", 2000). Common calendar cycles get a small bonus. A missing observation is NaN and leaves the fit.
//
// Throws nothing of its own; a series that says nothing gives an empty answer. An object serves one thread, the static
// functions any.
class BRV_EXPORT ForecastSeasonSearch
{
public:
    static constexpr int kRegressors = 7;

    // Periods 2 to 60, with the favoured lengths 4, 7, 12, 13, 24, 52 and 60.
    explicit ForecastSeasonSearch(std::vector<double> series);

    // Mind the order: the maximum comes first. Periods below 1 cannot be fitted and are never returned.
    ForecastSeasonSearch(std::vector<double> series, int maxPeriod, int minPeriod, std::set<int> favouredLengths);

    // At most ten periods, best first: those whose score is within a factor 0.9 of the best. Equal scores go by period.
    // No period is longer than half the series, or a third of fewer than 19 values. Polls cancellation.
    // O(periods * length); per period and value one sine and cosine and about a hundred additions and multiplications.
    std::vector<int> Compute() const;

    // The coefficients of the regressors, the intercept first; empty when the fit is singular. Rows are 0-based and
    // angles count from row `start`.
    static std::vector<double> fitPeriodicModel(const std::vector<double>& series, int start, int period);

    // Residual sum of squares over the present rows. NaN for empty coefficients, 0 for an empty series.
    static double computeSSE(
        const std::vector<double>& coefficients, const std::vector<double>& series, int start, int period);

    // The regressors of one row of n, with u = row / n and a = 2 pi (row - start) / period:
    // 0 (the intercept is carried apart), u, sin a, cos a, u^2, u sin a, u cos a.
    static std::array<double, kRegressors> codePeriodicModelOnRow(int row, int start, int period, int n);

private:
    std::vector<double> m_series;
    int m_maxPeriod;
    int m_minPeriod;
    std::set<int> m_favouredLengths;
};
