#include "brvcore/transforms/StatDistributions.h"

#include <cmath>
#include <limits>

#include <boost/math/distributions/fisher_f.hpp>

double StatDistributions::ComputePF(double f, int df1, int df2)
{
    constexpr double kRefused = -1.0;
    if (df1 < 1 || df2 < 1 || !std::isfinite(f))
        return kRefused;
    const double denominator = df1 * f + df2;
    if (denominator == 0.0)
        return kRefused;
    const double share = df2 / denominator;   // the argument of the incomplete beta function
    if (!(0.0 <= share && share <= 1.0))
        return kRefused;
    return 1.0 - boost::math::cdf(boost::math::fisher_f(df1, df2), f);
}

double StatDistributions::ComputeQF(double p, int df1, int df2)
{
    if (!(0.0 <= p && p <= 1.0) || df1 < 1 || df2 < 1)
        return std::numeric_limits<double>::quiet_NaN();
    return boost::math::quantile(boost::math::fisher_f(df1, df2), p);
}
