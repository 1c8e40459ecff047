#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace LinearAlgebra
{

// Rank-revealing Householder decomposition A P = Q R of an m x n matrix, for least squares.
//
// Columns are taken in order; one whose remaining norm is not above 1e-7 (absolute) depends on those before it and moves to
// the end, so A P = Q R holds up to that remainder. Any shape and any values are accepted. A norm of NaN is not above 1e-7
// either: a column with a NaN and no infinity is dependent, and only its own column of R shows it, down to the rank. A norm
// that is infinite, as it also becomes when finite values overflow it, leaves factors and solutions without meaning, which
// are not always NaN: scale such values first.
//
// O(m n min(m, n)), with work space of up to 16 columns beside the factors. Objects are immutable and may be shared by
// threads.
// G. H. Golub and C. F. Van Loan, "Matrix Computations", 4th edition (2013), sections 5.2 and 5.4.
class BRV_EXPORT QRDecomposition
{
public:
    explicit QRDecomposition(const Matrix& a);

    // The number of independent columns.
    std::uint64_t GetRank() const noexcept { return m_rank; }
    // P: position c of the factors holds column GetPermutation()[c] of A. The independent columns, then the dependent ones,
    // both in order; but a dependent last column of A is the first of them, because the last one visited does not move.
    const std::vector<std::uint32_t>& GetPermutation() const noexcept { return m_permutation; }

    // m x n: the Householder vectors as columns, zero above their start and in dependent columns. Vector v, which starts at
    // row k, stands for the reflection x - v (v^T x) / v[k].
    Matrix GetH() const;
    // min(m, n) x n, upper triangular, with zero rows from the rank on; the diagonal is minus the signed norm of the
    // reflected column.
    Matrix GetR() const;
    // m x min(m, n) with orthonormal columns.
    Matrix GetQ() const;

    // Least squares: minimises |A x - b| with the unknowns of dependent columns at 0; the rows of the result are the columns
    // of A in their own order. Throws LogicException 0x6F2A90D4 "B.GetNumRows() == m" or 0xC04E7B18 "b.size() == m".
    Matrix Solve(const Matrix& B) const;
    std::vector<double> Solve(const std::vector<double>& b) const;
    std::vector<double> Solve(std::initializer_list<double> b) const { return Solve(std::vector<double>(b)); }

private:
    Matrix m_qr;   // m x n in positions; R above the diagonal, Householder vectors from the diagonal on
    std::vector<std::uint32_t> m_permutation;   // of the columns
    std::vector<double> m_rDiagonal;            // one per independent column
    std::uint64_t m_rank = 0;
};

}   // namespace LinearAlgebra
