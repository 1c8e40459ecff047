#pragma once

#include <vector>

// Residual sums of squares of the periods first .. last, in that order: to the last bit what
// ForecastSeasonSearch::computeSSE gives with the coefficients of fitPeriodicModel. NaN where the fit is singular.
// Empty when last < first. The series holds at least one value, and 1 <= first. Polls cancellation.
std::vector<double> ScorePeriods(const std::vector<double>& series, int start, int first, int last);

// Sine and cosine of one angle, the values of std::sin and std::cos.
void SineAndCosine(double angle, double& sine, double& cosine);

// The angle of a row, in radians: 2 pi (row - start) / period.
double AngleOfRow(int row, int start, int period);
