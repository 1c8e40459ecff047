#include "brvcore/transforms/GeneralizedInverse.h"

#include "brvcore/transforms/JamaDecompositions.h"

#include <utility>
#include <vector>

namespace LinearAlgebra
{

GeneralizedInverse::GeneralizedInverse(const Matrix& a, double tolerance)
{
    const SingularValueDecomposition svd(a);
    std::vector<double> reciprocals = svd.GetSingularValues();
    for (double& s : reciprocals)
        s = s > tolerance ? 1.0 / s : 0.0;

    Matrix scaledV;
    Matrix::ScalarMultiplyRowVector(scaledV, svd.GetV(), reciprocals);
    Matrix transposedU;
    Matrix::Transpose(transposedU, svd.GetU());
    Matrix::Multiply(m_inverse, scaledV, transposedU);
}

void GeneralizedInverse::Construct(const Matrix& a, double tolerance, Matrix& result)
{
    GeneralizedInverse inverse(a, tolerance);
    result = std::move(inverse.m_inverse);
}

}   // namespace LinearAlgebra
