#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/transforms/LinearAlgebra.h"

namespace LinearAlgebra
{

// The pseudo-inverse of E. H. Moore and R. Penrose by singular values: V diag(s+) U^T, where a singular value that is
// not above the absolute tolerance counts as 0. All NaN when an element is not finite. Throws as
// SingularValueDecomposition does. O(rows * cols * min(rows, cols)).
class BRV_EXPORT GeneralizedInverse
{
public:
    GeneralizedInverse(const Matrix& a, double tolerance);

    // cols x rows of the input.
    const Matrix& GetInverse() const noexcept { return m_inverse; }

    // Writes the pseudo-inverse of `a` to `result`, which may be `a`.
    static void Construct(const Matrix& a, double tolerance, Matrix& result);

private:
    Matrix m_inverse;
};

}   // namespace LinearAlgebra
