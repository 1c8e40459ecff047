#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/ClusterAnalysis.h"

#include <cmath>
#include <cstddef>

void ClusteringUtils::Normalize(
    const std::vector<std::pair<double, double>>& colMinsMaxs, LinearAlgebra::Matrix& analysisMatrix)
{
    BRV_LOGIC_ASSERT(0x1D42F1C2, static_cast<int>(colMinsMaxs.size()) == static_cast<int>(analysisMatrix.GetNumCols()));
    std::vector<LinearAlgebra::MeanStddev> scales(colMinsMaxs);
    for (auto& [min, scale] : scales)
        scale = min < scale ? scale - min : 1.0;
    analysisMatrix.Standardize(scales);
}

void ClusteringUtils::Standardize(
    const std::vector<double>& colMeans, const std::vector<double>& colVars, LinearAlgebra::Matrix& analysisMatrix)
{
    const int numCols = static_cast<int>(colMeans.size());
    BRV_LOGIC_ASSERT(0x0522E88B, numCols == static_cast<int>(colVars.size()));
    BRV_LOGIC_ASSERT(0x4415C848, numCols == static_cast<int>(analysisMatrix.GetNumCols()));
    std::vector<LinearAlgebra::MeanStddev> scales(colMeans.size());
    for (std::size_t c = 0; c < scales.size(); ++c)
        scales[c] = {colMeans[c], colVars[c] > 0.0 ? std::sqrt(colVars[c]) : 1.0};
    analysisMatrix.Standardize(scales);
}
