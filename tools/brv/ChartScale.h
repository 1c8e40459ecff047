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

// Round numbers (steps of 1, 2 or 5 times a power of ten), about `count` of them: the first at or below the lowest value,
// the last at or below the highest, but always two.
std::vector<Tick> ValueTicks(double lowest, double highest, int count);

// Round dates, or round numbers of positions, among `length` periods from `first` on; so many that their labels fit into
// `room` characters.
std::vector<Tick> PeriodTicks(const TimeAxis& axis, const DataValue& first, int length, int room);
