#pragma once

#include "TimeAxis.h"
#include "brvcore/foundation/DataValue.h"

#include <algorithm>
#include <string>
#include <vector>

// A place on an axis with its label: a value, or the index of a period.
struct Tick
{
    double position;
    std::string label;
};

// Round numbers (steps of 1, 2 or 5 times a power of ten), about `count` of them: the first at or below the lowest value,
// the last at or below the highest, but always two. The step is at least the given one.
std::vector<Tick> ValueTicks(double lowest, double highest, int count, double leastStep = 0.0);

// An axis of values from its first tick to a little above the highest value, so that thick lines do not touch the edge.
class ValueScale
{
public:
    ValueScale(double lowest, double highest, int tickCount, double leastStep = 0.0)
        : m_ticks(ValueTicks(lowest, highest, tickCount, leastStep)),
          m_high(std::max(m_ticks.back().position, highest + 0.03 * (highest - lowest)))
    {
    }
    const std::vector<Tick>& GetTicks() const { return m_ticks; }
    // Where the value lies: 0 at the first tick, 1 at the end of the axis.
    double ShareOf(double value) const
    {
        const double low = m_ticks.front().position;
        return (value - low) / (m_high - low);
    }

private:
    std::vector<Tick> m_ticks;
    double m_high;
};

// Round dates, or round numbers of positions, among `length` periods from `first` on; so many that their labels fit into
// `room` characters.
std::vector<Tick> PeriodTicks(const TimeAxis& axis, const DataValue& first, int length, int room);
