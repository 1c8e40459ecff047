#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/transforms/LinearAlgebra.h"

namespace LinearAlgebra
{

// The pseudo-inverse of E. H. Moore and R. Penrose by singular values: V diag(s+) U^T, where a singular value that is
// not above the absolute tolerance counts as 0. All NaN when an element is not finite. Throws as
// SingularValueDecomposition does. O(rows * cols * min(rows, cols)).
//
// The tolerance should be at least 0, and above the rounding errors of the singular values, about 1e-15 of the largest.
// It is taken as it is: a negative one inverts zeros too, and NaN inverts nothing, which leaves zeros. A reciprocal that
// overflows (of a zero, or of a singular value below 2^-1024) gives elements that are infinite or NaN.
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
