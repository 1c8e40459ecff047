#pragma once

#include "brvcore/transforms/LinearAlgebra.h"
#include "tests/transforms/ReferenceData.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

inline LinearAlgebra::Matrix FromRows(const std::vector<std::vector<double>>& rows)
{
    LinearAlgebra::Matrix m(rows.size(), rows.empty() ? 0 : rows[0].size());
    for (std::size_t i = 0; i < m.GetNumRows(); ++i)
        for (std::size_t j = 0; j < m.GetNumCols(); ++j)
            m(i, j) = rows[i].at(j);
    return m;
}

// Uniform on [-1, 1), the same on every machine.
inline LinearAlgebra::Matrix RandomMatrix(std::size_t rows, std::size_t cols, unsigned seed)
{
    std::mt19937 random(seed);
    LinearAlgebra::Matrix m(rows, cols);
    for (std::size_t j = 0; j < cols; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            m(i, j) = static_cast<double>(random()) / 2147483648.0 - 1.0;
    return m;
}

// Columns 2, 5, 8, ... become integer combinations of the two columns before them: about two thirds of the rank.
inline void MakeDependent(LinearAlgebra::Matrix& m)
{
    for (std::size_t j = 2; j < m.GetNumCols(); j += 3)
        for (std::size_t i = 0; i < m.GetNumRows(); ++i)
            m(i, j) = 2.0 * m(i, j - 1) - m(i, j - 2);
}

inline LinearAlgebra::Matrix Transposed(const LinearAlgebra::Matrix& m)
{
    LinearAlgebra::Matrix t(m.GetNumCols(), m.GetNumRows());
    for (std::size_t i = 0; i < m.GetNumRows(); ++i)
        for (std::size_t j = 0; j < m.GetNumCols(); ++j)
            t(j, i) = m(i, j);
    return t;
}

inline LinearAlgebra::Matrix Product(const LinearAlgebra::Matrix& a, const LinearAlgebra::Matrix& b)
{
    LinearAlgebra::Matrix product(a.GetNumRows(), b.GetNumCols());
    for (std::size_t i = 0; i < a.GetNumRows(); ++i)
        for (std::size_t j = 0; j < b.GetNumCols(); ++j)
            for (std::size_t k = 0; k < a.GetNumCols(); ++k)
                product(i, j) += a(i, k) * b(k, j);
    return product;
}

inline void ExpectNear(
    const LinearAlgebra::Matrix& actual, const LinearAlgebra::Matrix& expected, double tolerance, const char* what)
{
    ASSERT_EQ(actual.GetNumRows(), expected.GetNumRows()) << what;
    ASSERT_EQ(actual.GetNumCols(), expected.GetNumCols()) << what;
    for (std::size_t i = 0; i < actual.GetNumRows(); ++i)
        for (std::size_t j = 0; j < actual.GetNumCols(); ++j)
            ASSERT_NEAR(actual(i, j), expected(i, j), tolerance) << what << " (" << i << ", " << j << ")";
}

// NaN equals NaN, whatever its payload; 0 differs from -0.
inline bool HasSameBits(double a, double b)
{
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

inline void ExpectSameBits(const LinearAlgebra::Matrix& actual, const LinearAlgebra::Matrix& expected, const char* what)
{
    ASSERT_EQ(actual.GetNumRows(), expected.GetNumRows()) << what;
    ASSERT_EQ(actual.GetNumCols(), expected.GetNumCols()) << what;
    for (std::size_t i = 0; i < actual.GetNumRows(); ++i)
        for (std::size_t j = 0; j < actual.GetNumCols(); ++j)
            ASSERT_TRUE(HasSameBits(actual(i, j), expected(i, j)))
                << what << " (" << i << ", " << j << "): " << actual(i, j) << " for " << expected(i, j);
}

// A system of tests/data/factorisations.csv: rows of the matrix with the right-hand side behind them, then the solution.
struct ReferenceSystem
{
    LinearAlgebra::Matrix a;
    std::vector<double> b;
    std::vector<double> solution;
};

inline ReferenceSystem ReadSystem(const std::string& name)
{
    ReferenceSystem system;
    std::vector<std::vector<double>> rows;
    for (const ReferenceRow& row : ReadReference("factorisations.csv"))
    {
        if (row.name == name)
        {
            rows.emplace_back(row.numbers.begin(), row.numbers.end() - 1);
            system.b.push_back(row.numbers.back());
        }
        else if (row.name == name + "_solution")
            system.solution = row.numbers;
    }
    system.a = FromRows(rows);
    return system;
}
