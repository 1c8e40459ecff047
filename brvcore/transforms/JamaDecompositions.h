#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <vector>

// Eigen and singular values by the JAMA/TNT library, made safe for every input. An element that is not finite gives
// factors of NaN. Magnitudes beyond 2^400 or below 2^-400 are scaled by a power of two, which changes no digit; results
// that leave the range of double become infinite or lose digits. Every call ends: an iteration that does not converge
// is broken off and tried on orthogonally similar matrices. All other matrices have the results of the library, to the
// last bit.
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
    // kMaxElements" (the library counts elements by int), and 0x26A5D7AD when nothing converges, which no known matrix
    // does.
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
    // "inMatrix.GetNumRows() * inMatrix.GetNumCols() <= kMaxElements", and 0xDD0CA699 when nothing converges.
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
