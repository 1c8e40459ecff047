#pragma once

#include "TimeAxis.h"

#include "brvcore/foundation/DataValue.h"

#include <string>
#include <vector>

// A place on an axis with its label: a value, or the index of a period.
struct Tick
{
    double position;
    std::string label;
};

// Round numbers (1, 2 or 5 times a power of ten) from at or below the lowest value to at or above the highest, about
// `count` of them. The axis goes from the first to the last.
std::vector<Tick> ValueTicks(double lowest, double highest, int count);

// Round dates, or round numbers of positions, among `length` periods from `first` on; at most `count` of them.
std::vector<Tick> PeriodTicks(const TimeAxis& axis, const DataValue& first, int length, int count);
