#pragma once

#include "brvcore/foundation/BrvExport.h"

// Fisher's F distribution with df1 and df2 degrees of freedom. Stateless; any thread may call.
class BRV_EXPORT StatDistributions
{
public:
    StatDistributions() = delete;

    // The upper tail P(F > f), as 1 minus the lower tail. -1.0 when a degree of freedom is below 1, f is not finite, or
    // df2 / (df1 f + df2) lies outside [0, 1], as it does for f below 0. A negative f too small to change that quotient
    // raises Boost.Math's domain error (std::domain_error).
    static double ComputePF(double f, int df1, int df2);

    // The f whose lower tail is p; infinite for p = 1. NaN when p is outside [0, 1] or a degree of freedom is below 1.
    static double ComputeQF(double p, int df1, int df2);
};
