#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <vector>

// Eigen and singular values by the JAMA/TNT library, made safe for every input. An element that is not finite gives
// factors of NaN. A matrix whose largest element is beyond 2^100 or below 2^-100 is scaled by the power of two that
// brings it near 1. Scaling up changes no digit; scaling down takes digits from elements below about 2^-1022 of the
// largest, and those below 2^-1074 of it vanish. Results that leave the range of double become infinite or lose digits; of a
// complex pair whose imaginary part vanishes so, the vectors are still those of a pair.
//
// Every call ends: an iteration that does not converge, or whose factors elements far apart have spoilt, is tried again on up to
// six similar (or equivalent) matrices. An attempt takes a few times as long as an ordinary call at most, and one retry
// is nearly always enough. All other matrices have the results of the library, to the last bit.
//
// Errors are relative to the largest element. Values far below it need not have a correct digit: (0, 1; -e, 0) has the
// eigenvalues 0, not +-i sqrt(e), for an e below 2^-52.
//
// Objects are plain values. Different threads may decompose at the same time.
namespace LinearAlgebra
{

// Eigenvalues and eigenvectors of a square matrix, in the library's order. A V = V D, where D has the real eigenvalues
// on the diagonal and a complex pair p +- iq as the block (p, q; -q, p): the columns of its vectors are the real and
// the imaginary part of one of them. A matrix that is symmetric to the last bit has real eigenvalues in ascending order
// and orthonormal vectors; otherwise the lengths are as the library leaves them, and a defective matrix has vectors
// that are (nearly) parallel. O(n^3).
class BRV_EXPORT EigenDecomposition
{
public:
    // Throws LogicException 0x3DC82DCD "n > 0", 0x8B7E8E2D "n == inMatrix.GetNumCols()", 0xE99DFB15 "n * n <=
    // kMaxElements" (2^31 - 2, as the library counts elements by int), and 0x26A5D7AD when no attempt converges, for
    // which no matrix is known.
    explicit EigenDecomposition(const Matrix& inMatrix);

    const std::vector<double>& GetRealEigenvalues() const noexcept { return m_realEigenvalues; }
    // 0 for a real eigenvalue; a complex pair is adjacent, the positive part first.
    const std::vector<double>& GetImagEigenvalues() const noexcept { return m_imagEigenvalues; }
    const Matrix& GetEigenvectors() const noexcept { return m_eigenvectors; }   // as columns

private:
    std::vector<double> m_realEigenvalues;
    std::vector<double> m_imagEigenvalues;
    Matrix m_eigenvectors;
};

// A = U diag(s) V^T with min(rows, cols) singular values, in descending order. O(rows * cols * min(rows, cols)).
class BRV_EXPORT SingularValueDecomposition
{
public:
    // Throws LogicException 0x8B74FB10 "inMatrix.GetNumRows() > 0", 0xE0D95012 "inMatrix.GetNumCols() > 0", 0xB6B2C3C7
    // "inMatrix.GetNumRows() * inMatrix.GetNumCols() <= kMaxElements" (2^31 - 2), and 0xDD0CA699 when no attempt
    // converges, for which no matrix is known.
    explicit SingularValueDecomposition(const Matrix& inMatrix);

    const Matrix& GetU() const noexcept { return m_u; }   // rows x min(rows, cols), orthonormal columns
    const std::vector<double>& GetSingularValues() const noexcept { return m_singularValues; }
    const Matrix& GetV() const noexcept { return m_v; }   // cols x min(rows, cols), orthonormal columns

private:
    Matrix m_u;
    std::vector<double> m_singularValues;
    Matrix m_v;
};

}   // namespace LinearAlgebra
