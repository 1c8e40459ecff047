#pragma once

#include <vector>

// Finer periods summed into the periods of a view. Value i lies at position firstPosition + i, counted in finer periods
// from the start of the first view period, so a first view period that begins late is simply short, and so is the last. The
// quotient is cut towards zero: less than a view period in front of the first one still counts into it, more is left out. periodsPerViewPeriod is at least 1.

std::vector<double> SumIntoViewPeriods(const std::vector<double>& values, int firstPosition, int periodsPerViewPeriod);

// Half-widths combine as the root of their summed squares: the errors of the periods are taken for independent.
std::vector<double> CombineHalfWidths(
    const std::vector<double>& halfWidths, int firstPosition, int periodsPerViewPeriod);
