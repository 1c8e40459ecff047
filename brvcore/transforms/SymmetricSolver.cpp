#include "brvcore/transforms/SymmetricSolver.h"

#include "brvcore/transforms/BasicStatistics.h"

int BasicStatistics::symdet(std::vector<std::vector<double>>& a)
{
    return FactoriseSymmetric(a, static_cast<int>(a.size()));
}

void BasicStatistics::symsol(
    const std::vector<std::vector<double>>& a, const std::vector<double>& b, std::vector<double>& x)
{
    x.resize(a.size());
    SolveSymmetric(a, b, x, static_cast<int>(a.size()));
}
