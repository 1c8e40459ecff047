#pragma once

#include <span>
#include <vector>

// Work space of FindOutlierBound, reused from call to call.
struct OutlierScratch
{
    std::vector<double> values;
    std::vector<double> gaps;
};

// BasicStatistics::OutlierUpperBound without an allocation once the work space has grown.
//
// Linear: a gap that matters is at least a twentieth of the range wide, so a histogram shows where one can be, and how much
// the values below it spread to within the width of a column. Only when that does not decide are the values sorted.
double FindOutlierBound(std::span<const double> values, double alpha, OutlierScratch& scratch);

// The same by sorting, always. For tests and benchmarks.
double FindOutlierBoundBySorting(std::span<const double> values, double alpha, OutlierScratch& scratch);
