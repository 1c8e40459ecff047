#include "brvcore/transforms/CholeskyDecomposition.h"

#include "tests/support/LogicAssert.h"
#include "tests/transforms/FactorTestTools.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using LinearAlgebra::CholeskyDecomposition;
using LinearAlgebra::Matrix;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// Products of small integers over 64 are exact, and a dependent column is one: what rounding leaves of its pivot is far below
// the absolute threshold. Symmetric to the last bit.
Matrix Gram(std::size_t n, bool isDependent)
{
    Matrix x = RandomMatrix(n + 3, n, static_cast<unsigned>(n));
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t i = 0; i < n + 3; ++i)
            x(i, j) = std::floor(8.0 * x(i, j)) / 64.0;
    if (isDependent)
        MakeDependent(x);
    return Product(Transposed(x), x);
}

// The decomposition with one column at a time.
struct PlainCholesky
{
    explicit PlainCholesky(const Matrix& a) : f(a.GetNumRows(), a.GetNumRows()), index(a.GetNumRows()), n(index.size())
    {
        std::size_t rejected = 0;
        for (std::size_t j = 0; j < n; ++j)
        {
            for (std::size_t i = 0; i < rank; ++i)
            {
                double u = a(index[i], j);
                for (std::size_t m = 0; m < i; ++m)
                    u -= f(m, rank) * f(m, i);
                f(i, rank) = u;
            }
            double d = a(j, j);
            for (std::size_t m = 0; m < rank; ++m)
            {
                const double u = f(m, rank);
                f(m, rank) = u * f(m, m);
                d -= f(m, rank) * u;
            }
            if (d >= static_cast<double>(n) * kEpsilon)
            {
                f(rank, rank) = 1.0 / d;
                index[rank++] = static_cast<std::uint32_t>(j);
            }
            else
                index[n - 1 - rejected++] = static_cast<std::uint32_t>(j);
        }
    }

    std::vector<double> Solve(const std::vector<double>& b) const
    {
        std::vector<double> x(n, 0.0);
        for (std::size_t i = 0; i < rank; ++i)
        {
            x[index[i]] = b[index[i]];
            for (std::size_t m = 0; m < i; ++m)
                x[index[i]] -= f(m, i) * x[index[m]];
        }
        for (std::size_t i = rank; i-- > 0;)
        {
            x[index[i]] *= f(i, i);
            for (std::size_t m = rank; m-- > i + 1;)
                x[index[i]] -= f(i, m) * x[index[m]];
        }
        return x;
    }

    Matrix f;
    std::vector<std::uint32_t> index;
    std::size_t n;
    std::size_t rank = 0;
};

// Around one, two and three panels of columns.
TEST(CholeskyDecomposition, EqualsTheSingleColumnsToTheLastBit)
{
    for (const std::size_t n : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 50})
        for (const bool isDependent : {false, true})
        {
            SCOPED_TRACE(testing::Message() << n << (isDependent ? ", dependent columns" : ""));
            const Matrix a = Gram(n, isDependent);
            const PlainCholesky plain(a);
            CholeskyDecomposition cholesky(a);
            ASSERT_TRUE(cholesky.IsValidDecomposition());
            EXPECT_EQ(cholesky.GetRank(), isDependent ? n - (n / 3) : n);
            EXPECT_EQ(cholesky.GetPermutation(), plain.index);

            Matrix l(n, n);
            for (std::size_t i = 0; i < plain.rank; ++i)
                for (std::size_t row = i; row < plain.rank; ++row)
                    l(row, i) = (row == i ? 1.0 : plain.f(i, row)) * (1.0 / std::sqrt(plain.f(i, i)));
            ExpectSameBits(cholesky.GetL(), l, "L");

            const Matrix b = RandomMatrix(n, 21, 3);
            const Matrix x = cholesky.Solve(b);
            for (std::size_t k = 0; k < b.GetNumCols(); ++k)
            {
                const std::vector<double> column(b.GetColumnData(k), b.GetColumnData(k) + n);
                const std::vector<double> expected = plain.Solve(column);
                EXPECT_EQ(cholesky.Solve(column), expected);
                EXPECT_EQ(std::vector<double>(x.GetColumnData(k), x.GetColumnData(k) + n), expected);
            }
        }
}

TEST(CholeskyDecomposition, MultipliesBack)
{
    for (const std::size_t n : {1, 5, 20, 40})
        for (const bool isDependent : {false, true})
        {
            const Matrix a = Gram(n, isDependent);
            const CholeskyDecomposition cholesky(a);
            const Matrix l = cholesky.GetL();
            Matrix block(n, n);   // of the independent columns
            Matrix basic(n, n);   // a, with dependent columns and rows blanked
            Matrix unit(n, n);
            for (std::size_t i = 0; i < cholesky.GetRank(); ++i)
                for (std::size_t j = 0; j < cholesky.GetRank(); ++j)
                {
                    const auto row = cholesky.GetPermutation()[i];
                    const auto column = cholesky.GetPermutation()[j];
                    block(i, j) = a(row, column);
                    basic(row, column) = a(row, column);
                    unit(row, column) = i == j ? 1.0 : 0.0;
                }
            ExpectNear(Product(l, Transposed(l)), block, 1e-12 * static_cast<double>(n) * a(0, 0), "L L^T");
            ExpectNear(Product(basic, cholesky.Inverse()), unit, 1e-8, "a times its inverse");
        }
}

TEST(CholeskyDecomposition, AgreesWithTheReference)
{
    const ReferenceSystem system = ReadSystem("symmetric");
    const std::vector<double> x = CholeskyDecomposition(system.a).Solve(system.b);
    ASSERT_EQ(x.size(), system.solution.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(x[i], system.solution[i], 1e-13);
}

TEST(CholeskyDecomposition, LeavesDependentColumnsOut)
{
    const CholeskyDecomposition ones(FromRows({{1, 1}, {1, 1}}));
    EXPECT_TRUE(ones.IsValidDecomposition());
    EXPECT_EQ(ones.GetRank(), 1U);
    EXPECT_EQ(ones.Solve({2, 2}), (std::vector<double>{2, 0}));
    ExpectSameBits(ones.GetL(), FromRows({{1, 0}, {0, 0}}), "L");
    ExpectSameBits(ones.Inverse(), FromRows({{1, 0}, {0, 0}}), "inverse");

    // The first three columns are dependent; the last one of them comes first at the back.
    const CholeskyDecomposition last(FromRows({{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, -1, 0}, {0, 0, 0, 4}}));
    EXPECT_EQ(last.GetPermutation(), (std::vector<std::uint32_t>{3, 2, 1, 0}));
    EXPECT_EQ(last.Solve({1, 1, 1, 1}), (std::vector<double>{0, 0, 0, 0.25}));
}

TEST(CholeskyDecomposition, TellsValidFromInvalid)
{
    struct Case
    {
        std::vector<std::vector<double>> rows;
        bool isValid;
        std::uint64_t rank;
        const char* why;
    };
    const double tiny = std::nextafter(kEpsilon, 0.0);
    for (const Case& c : {
             Case{{}, false, 0, "empty"},
             Case{{{1, 0}}, false, 0, "wide"},
             Case{{{1}, {0}}, false, 0, "tall"},
             Case{{{0, 0}, {0, 0}}, false, 0, "zero"},
             Case{{{-1}}, false, 0, "negative"},
             Case{{{kNaN}}, false, 0, "no number on the diagonal"},
             Case{{{tiny}}, false, 0, "below epsilon"},
             Case{{{kEpsilon}}, true, 1, "epsilon, and 1 * epsilon as the pivot"},
             Case{{{kEpsilon, 0}, {0, kEpsilon}}, true, 0, "pivots below 2 * epsilon"},
             Case{{{1, 0}, {0, 2 * kEpsilon}}, true, 2, "a pivot of 2 * epsilon"},
             Case{{{1, 0}, {0, 2 * tiny}}, true, 1, "a pivot just below"},
             Case{{{1e20, 0}, {0, 1}}, true, 2, "thresholds do not scale"},
             Case{{{2, 1}, {std::nextafter(1.0, 2.0), 2}}, false, 0, "the last bit differs"},
             Case{{{2, 0.0}, {-0.0, 2}}, false, 0, "the sign of zero differs"},
             Case{{{2, kNaN}, {kNaN, 2}}, false, 0, "missing"},
             Case{{{1, 0, 0}, {0, kNaN, 0}, {0, 0, 1}}, true, 2, "a missing diagonal element"},
             Case{{{0, 7}, {5, 1}}, true, 1, "asymmetric against a dependent column"},
             Case{{{0, kNaN}, {kNaN, 1}}, true, 1, "missing against a dependent column"},
         })
    {
        SCOPED_TRACE(c.why);
        CholeskyDecomposition cholesky(FromRows(c.rows));
        const std::size_t n = c.rows.size();
        EXPECT_EQ(cholesky.IsValidDecomposition(), c.isValid);
        EXPECT_EQ(cholesky.GetRank(), c.rank);
        EXPECT_EQ(cholesky.GetPermutation().size(), c.isValid ? n : 0);
        if (c.rank == 0)
        {
            ExpectSameBits(cholesky.GetL(), Matrix(n, n), "L");
            ExpectSameBits(cholesky.Inverse(), Matrix(n, n), "inverse");
            EXPECT_EQ(cholesky.Solve(std::vector<double>(n, 1.0)), std::vector<double>(n, 0.0));
        }
    }
}

// A single wrong bit anywhere above or below the diagonal, in a panel and across panels.
TEST(CholeskyDecomposition, FindsEveryAsymmetry)
{
    const Matrix a = Gram(20, false);
    for (std::size_t i = 0; i < 20; ++i)
        for (std::size_t j = 0; j < 20; ++j)
        {
            Matrix changed = a;
            changed(i, j) = std::nextafter(a(i, j), 1e9);
            EXPECT_EQ(CholeskyDecomposition(changed).IsValidDecomposition(), i == j) << i << ", " << j;
        }
}

TEST(CholeskyDecomposition, RefusesOtherSizes)
{
    for (const Matrix& a : {FromRows({{1, 0}, {0, 1}}), Matrix(2, 3)})   // valid and invalid
    {
        const CholeskyDecomposition cholesky(a);
        EXPECT_LOGIC_ASSERT(cholesky.Solve(Matrix(3, 1)), 0x5D8C1E07, "n == B.GetNumRows()");
        EXPECT_LOGIC_ASSERT(cholesky.Solve(std::vector<double>(1)), 0x91B3A46E, "n == b.size()");
        const Matrix none = cholesky.Solve(Matrix(2, 0));
        EXPECT_EQ(std::pair(none.GetNumRows(), none.GetNumCols()), (std::pair<std::uint64_t, std::uint64_t>(2, 0)));
    }
}

}   // namespace
