#pragma once

#include <cstddef>

// The inner loops of the factorisations and of their solves, over a panel of columns side by side.
//
// A panel holds `lanes` columns stored by row: element (row, lane) is at row * lanes + lane. A lane is one column. Lanes
// never mix, so each performs the operations of a single column in the same order, one rounding a step, and is equal to
// the last bit, whatever the width of the vectors. Unused lanes may hold anything.
//
// Columns of a factor come as pointers to their first row; the diagonal of a triangle is never read.
struct FactorKernel
{
    std::size_t lanes;

    // Rows [begin, end) of the solution of U^T x = panel, U unit upper triangular; the rows before are solved already:
    //     x[i] = ((x[i] - U[0][i] x[0]) - U[1][i] x[1]) - ... - U[i-1][i] x[i-1]
    void (*forwardSubstitute)(const double* const* columns, std::size_t begin, std::size_t end, double* panel);

    // The solution of U x = panel of `size` rows, U upper triangular with the diagonal given (null: ones):
    //     x[i] = ((x[i] - U[i][size-1] x[size-1]) - ... - U[i][i+1] x[i+1]) / diagonal[i]
    void (*backSubstitute)(const double* const* columns, const double* diagonal, std::size_t size, double* panel);

    // Householder reflections [begin, end) in order. Vector v[k] starts at row k, and with t = sum over i >= k, in order, of
    // v[k][i] x[i], starting from 0:
    //     x[i] = x[i] + (-t / v[k][k]) v[k][i]
    void (*reflect)(const double* const* vectors, std::size_t begin, std::size_t end, std::size_t rows, double* panel);
};

// The widest kernel that this processor runs. All give the same bits.
const FactorKernel& BestFactorKernel();

// The kernel of one instruction level, or null when the processor or the build has none: 0 the baseline of the target,
// 1 AVX2. For tests and benchmarks.
const FactorKernel* FactorKernelOfLevel(int level);
