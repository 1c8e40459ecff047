#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <vector>

// One-way analysis of variance of values in numbered groups: R. A. Fisher, "Statistical Methods for Research Workers"
// (1925). A plain value.
//
// The sums of squares come from raw sums, in the order of the data: of values with d equal leading digits about 2 d of
// their 16 digits are lost. A missing value (NaN), a group without a value and a group of one value each make F NaN.
class BRV_EXPORT OneWayANOVA
{
public:
    // group[i] in [0, numGroups) is the group of values[i]; a negative numGroups counts as 0. O(length), no allocation.
    // Throws LogicException, looked for in this order:
    //   0x47EDE8B8 "static_cast<unsigned int>(totalLength) == tsize(group)": another number of labels, or 2^32 values
    //   0x5B39CDBB "numGroups <= maxGroups": above 100 groups
    //   0x8C61D3F9 "0 <= group[i] && group[i] < numGroups": a label without a group
    OneWayANOVA(const std::vector<double>& values, const std::vector<int>& group, int numGroups);

    // Mean square between groups over mean square within; infinite or NaN where the divisions give that, and below 0 where
    // rounding leaves nothing of the sum within.
    double GetFStatistic() const noexcept { return m_fStatistic; }
    // P(F > f), as 1 minus the lower tail. -1.0 below two groups, without a degree of freedom within, for an F that is not
    // finite, and for one that rounding brought clearly below 0.
    double GetPValue() const noexcept { return m_pValue; }

private:
    double m_fStatistic;
    double m_pValue;
};
