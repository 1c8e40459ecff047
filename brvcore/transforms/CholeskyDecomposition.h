#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace LinearAlgebra
{

// Rank-revealing Cholesky decomposition L D L^T of a symmetric, positive semi-definite matrix, for normal equations.
//
// Columns are taken in order; one whose pivot is not at least n * epsilon (absolute) depends on those before it and is left
// out of every solution. A NaN pivot is not, so a NaN on the diagonal costs its own column alone. Construction throws nothing for
// bad input: ask IsValidDecomposition(). An invalid decomposition has rank 0 and answers zeros. Invalid are: an empty matrix, one
// that is not square, one with no diagonal element of at least epsilon, and one whose independent columns are not equal to
// their rows bit for bit (0 differs from -0, a NaN from everything); what faces a dependent column is not read. An
// infinite pivot makes its unknown 0, as if the column were dependent.
//
// O(n^3), as are n right-hand sides. Objects are immutable and may be shared by threads.
// G. H. Golub and C. F. Van Loan, "Matrix Computations", 4th edition (2013), sections 4.1 and 4.2.
class BRV_EXPORT CholeskyDecomposition
{
public:
    explicit CholeskyDecomposition(const Matrix& a);

    bool IsValidDecomposition() const noexcept { return m_isValid; }
    // The number of independent columns.
    std::uint64_t GetRank() const noexcept { return m_rank; }
    // The independent columns in order, then the dependent ones from the last position backwards. Empty when invalid.
    const std::vector<std::uint32_t>& GetPermutation() const noexcept { return m_index; }

    // n x n, zero outside its leading rank x rank block; L L^T is the block of `a` at the independent columns.
    Matrix GetL() const;

    // The basic solution of a x = b: unknowns of dependent columns are 0. Throws LogicException 0x5D8C1E07
    // "n == B.GetNumRows()" or 0x91B3A46E "n == b.size()", also when the decomposition is invalid.
    Matrix Solve(const Matrix& B) const;
    std::vector<double> Solve(const std::vector<double>& b) const;
    std::vector<double> Solve(std::initializer_list<double> b) const { return Solve(std::vector<double>(b)); }

    // Solve() of the identity: the inverse of `a`, or with dependent columns that of the independent block among zeros.
    Matrix Inverse() const;

private:
    bool Factor(const Matrix& a);

    bool m_isValid = true;
    std::uint64_t m_size = 0;             // n
    Matrix m_factor;                      // F[m][i], m < i: unit-triangular entries; F[i][i]: the reciprocal pivot
    std::vector<std::uint32_t> m_index;   // independent columns from the front, dependent ones from the back
    std::uint64_t m_rank = 0;
};

}   // namespace LinearAlgebra
