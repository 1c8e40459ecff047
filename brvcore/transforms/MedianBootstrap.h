#pragma once

#include <vector>

// Population standard deviation of the medians of samples drawn with replacement from at least three ascending values,
// missing ones last; NaN when every median is missing. Fixed seed. Polls cancellation once per sample.
double MedianBootstrapDeviation(const std::vector<double>& sorted);
