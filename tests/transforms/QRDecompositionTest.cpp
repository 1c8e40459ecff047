#include "brvcore/transforms/QRDecomposition.h"

#include "tests/support/LogicAssert.h"
#include "tests/transforms/FactorTestTools.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using LinearAlgebra::Matrix;
using LinearAlgebra::QRDecomposition;
using Permutation = std::vector<std::uint32_t>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// The decomposition that reflects all columns to the right at once and moves dependent ones, data and all.
struct PlainQR
{
    explicit PlainQR(const Matrix& a) : qr(a), permutation(a.GetNumCols())
    {
        const std::size_t m = a.GetNumRows();
        const std::size_t n = a.GetNumCols();
        std::iota(permutation.begin(), permutation.end(), 0U);
        for (std::size_t visit = 0; visit < n; ++visit)
        {
            double norm = 0.0;
            for (std::size_t i = rank; i < m; ++i)
                norm = std::hypot(norm, qr(i, rank));
            if (!(norm > 1e-7))
            {
                if (visit + 1 == n)
                    break;
                std::rotate(permutation.begin() + static_cast<std::ptrdiff_t>(rank),
                    permutation.begin() + static_cast<std::ptrdiff_t>(rank) + 1, permutation.end());
                for (std::size_t i = 0; i < m; ++i)
                    for (std::size_t j = rank; j + 1 < n; ++j)
                        std::swap(qr(i, j), qr(i, j + 1));
                continue;
            }
            norm = qr(rank, rank) < 0 ? -norm : norm;
            for (std::size_t i = rank; i < m; ++i)
                qr(i, rank) /= norm;
            qr(rank, rank) += 1.0;
            for (std::size_t j = rank + 1; j < n; ++j)
                Reflect(rank, qr.GetColumnData(j));
            diagonal.push_back(-norm);
            ++rank;
        }
    }

    void Reflect(std::size_t k, double* x) const
    {
        double sum = 0.0;
        for (std::size_t i = k; i < qr.GetNumRows(); ++i)
            sum += qr(i, k) * x[i];
        sum = -sum / qr(k, k);
        for (std::size_t i = k; i < qr.GetNumRows(); ++i)
            x[i] += sum * qr(i, k);
    }

    std::vector<double> Solve(std::vector<double> b) const
    {
        std::vector<double> x(qr.GetNumCols());
        for (std::size_t k = 0; k < rank; ++k)
            Reflect(k, b.data());
        for (std::size_t k = rank; k-- > 0;)
        {
            b[k] /= diagonal[k];
            x[permutation[k]] = b[k];
            for (std::size_t i = 0; i < k; ++i)
                b[i] -= qr(i, k) * b[k];
        }
        return x;
    }

    Matrix qr;
    Permutation permutation;
    std::vector<double> diagonal;
    std::size_t rank = 0;
};

struct Shape
{
    std::size_t rows;
    std::size_t cols;
};

constexpr Shape kShapes[] = {{0, 0}, {0, 3}, {3, 0}, {1, 1}, {1, 5}, {5, 1}, {4, 4}, {7, 3}, {3, 7}, {15, 16}, {16, 16},
    {17, 16}, {20, 17}, {33, 33}, {60, 35}, {35, 60}};

std::vector<double> Column(const Matrix& m, std::size_t c)
{
    return {m.GetColumnData(c), m.GetColumnData(c) + m.GetNumRows()};
}

TEST(QRDecomposition, EqualsTheSingleColumnsToTheLastBit)
{
    for (const Shape& shape : kShapes)
        for (const bool isDependent : {false, true})
        {
            SCOPED_TRACE(testing::Message() << shape.rows << " x " << shape.cols << (isDependent ? ", dependent" : ""));
            Matrix a = RandomMatrix(shape.rows, shape.cols, 7);
            if (isDependent)
                MakeDependent(a);
            const PlainQR plain(a);
            QRDecomposition qr(a);
            ASSERT_EQ(qr.GetRank(), plain.rank);
            EXPECT_EQ(qr.GetPermutation(), plain.permutation);

            Matrix h(shape.rows, shape.cols);
            Matrix r(std::min(shape.rows, shape.cols), shape.cols);
            for (std::size_t j = 0; j < shape.cols; ++j)
                for (std::size_t i = 0; i < shape.rows; ++i)
                    if (i >= j && j < plain.rank)
                        h(i, j) = plain.qr(i, j);
                    else if (i < plain.rank)
                        r(i, j) = plain.qr(i, j);
            for (std::size_t k = 0; k < plain.rank; ++k)
                r(k, k) = plain.diagonal[k];
            ExpectSameBits(qr.GetH(), h, "H");
            ExpectSameBits(qr.GetR(), r, "R");
            Matrix q(shape.rows, r.GetNumRows());
            for (std::size_t j = 0; j < q.GetNumCols(); ++j)
            {
                q(j, j) = 1.0;
                for (std::size_t k = plain.rank; k-- > 0;)
                    plain.Reflect(k, q.GetColumnData(j));
            }
            ExpectSameBits(qr.GetQ(), q, "Q");

            const Matrix b = RandomMatrix(shape.rows, 21, 8);
            const Matrix x = qr.Solve(b);
            for (std::size_t k = 0; k < b.GetNumCols(); ++k)
            {
                EXPECT_EQ(Column(x, k), plain.Solve(Column(b, k)));
                EXPECT_EQ(qr.Solve(Column(b, k)), Column(x, k));
            }
        }
}

TEST(QRDecomposition, MultipliesBack)
{
    for (const Shape& shape : kShapes)
        for (const bool isDependent : {false, true})
        {
            SCOPED_TRACE(testing::Message() << shape.rows << " x " << shape.cols << (isDependent ? ", dependent" : ""));
            Matrix a = RandomMatrix(shape.rows, shape.cols, 9);
            if (isDependent)
                MakeDependent(a);
            const QRDecomposition qr(a);
            const Matrix q = qr.GetQ();
            Matrix permuted(shape.rows, shape.cols);
            for (std::size_t j = 0; j < shape.cols; ++j)
                for (std::size_t i = 0; i < shape.rows; ++i)
                    permuted(i, j) = a(i, qr.GetPermutation()[j]);
            ExpectNear(Product(q, qr.GetR()), permuted, 1e-13, "Q R");
            Matrix unit(q.GetNumCols(), q.GetNumCols());
            for (std::size_t k = 0; k < q.GetNumCols(); ++k)
                unit(k, k) = 1.0;
            ExpectNear(Product(Transposed(q), q), unit, 1e-14, "Q^T Q");
        }
}

TEST(QRDecomposition, AgreesWithTheReference)
{
    for (const char* name : {"tall", "dependent", "wide"})
    {
        SCOPED_TRACE(name);
        const ReferenceSystem system = ReadSystem(name);
        const std::vector<double> x = QRDecomposition(system.a).Solve(system.b);
        ASSERT_EQ(x.size(), system.solution.size());
        for (std::size_t i = 0; i < x.size(); ++i)
            EXPECT_NEAR(x[i], system.solution[i], 2e-14);
    }
}

// Longley's predictors are nearly collinear; ten of fifteen digits are what a sound least-squares solver keeps.
TEST(QRDecomposition, SolvesCertifiedRegressions)
{
    for (const std::string name : {"norris", "longley"})
    {
        std::vector<std::vector<double>> rows;
        std::vector<double> y;
        std::vector<double> certified;
        for (const ReferenceRow& row : ReadReference("linear_regression.csv"))
        {
            if (row.name == name)
            {
                y.push_back(row.numbers[0]);
                rows.emplace_back(row.numbers.begin() + 1, row.numbers.end());
            }
            else if (row.name == name + "_certified")
                certified = row.numbers;
        }
        const std::vector<double> x = QRDecomposition(FromRows(rows)).Solve(y);
        ASSERT_EQ(x.size(), certified.size());
        ASSERT_FALSE(x.empty());
        for (std::size_t i = 0; i < x.size(); ++i)
            EXPECT_NEAR(x[i], certified[i], 1e-10 * std::abs(certified[i])) << name << ", coefficient " << i;
    }
}

// The first of the certified polynomials, y = 1 + x + ... + x^5 at x = 0 ... 20: all coefficients are 1.
TEST(QRDecomposition, SolvesThePolynomialOfWampler)
{
    Matrix powers(21, 6);
    std::vector<double> y(21);
    for (std::size_t i = 0; i < 21; ++i)
        for (std::size_t j = 0; j < 6; ++j)
        {
            powers(i, j) = std::pow(static_cast<double>(i), static_cast<double>(j));
            y[i] += powers(i, j);
        }
    for (const double coefficient : QRDecomposition(powers).Solve(y))
        EXPECT_NEAR(coefficient, 1.0, 1e-8);
}

TEST(QRDecomposition, OrdersAndRejectsColumns)
{
    struct Case
    {
        std::vector<std::vector<double>> rows;
        std::uint64_t rank;
        Permutation permutation;
        const char* why;
    };
    const double above = std::nextafter(1e-7, 1.0);
    for (const Case& c : {
             Case{{{0, 1, 2}, {0, 3, 5}, {0, 1, 1}}, 2, {1, 2, 0}, "a zero column moves last"},
             Case{{{0, 0, 1}, {0, 0, 1}}, 1, {2, 0, 1}, "dependent columns keep their order"},
             Case{{{0, 1, 1}, {0, 1, 1}}, 1, {1, 2, 0}, "the last visit moves nothing"},
             Case{{{1, 2}, {1, 2}}, 1, {0, 1}, "nor in place"},
             Case{{{0, 0}, {0, 0}}, 0, {1, 0}, "rank 0"},
             Case{{{1, 0, 4}, {0, 1, 4}}, 2, {0, 1, 2}, "no rows are left"},
             Case{{{1e-7, 1}, {0, 1}}, 1, {1, 0}, "a norm of 1e-7 is not above it"},
             Case{{{above, 1}, {0, 1}}, 2, {0, 1}, "the next one is"},
             Case{{{1e20, 0}, {0, 1e-6}}, 2, {0, 1}, "the threshold does not scale"},
             Case{{{kNaN, 1}, {2, 1}}, 1, {1, 0}, "a column with a missing value is dependent"},
         })
    {
        SCOPED_TRACE(c.why);
        const QRDecomposition qr(FromRows(c.rows));
        EXPECT_EQ(qr.GetRank(), c.rank);
        EXPECT_EQ(qr.GetPermutation(), c.permutation);
        const std::vector<double> x = qr.Solve(std::vector<double>(c.rows.size(), 1.0));
        for (std::size_t k = 0; k < x.size(); ++k)
            EXPECT_TRUE(k < c.rank ? std::isfinite(x[c.permutation[k]]) : x[c.permutation[k]] == 0.0) << k;
    }
}

// By hand: the column (0, 3, 4) has norm 5.
TEST(QRDecomposition, GivesTheNormTheSignOfTheDiagonal)
{
    struct Case
    {
        std::vector<double> column;
        double r;
        std::vector<double> h;
    };
    for (const Case& c : {
             Case{{0, 3, 4}, -5, {1, 0.6, 0.8}},
             Case{{-0.0, 3, 4}, -5, {1, 0.6, 0.8}},
             Case{{3, 0, 4}, -5, {1.6, 0, 0.8}},
             Case{{-3, 0, 4}, 5, {1.6, 0, -0.8}},
             Case{{-2}, 2, {2}},
         })
    {
        Matrix a(c.column.size(), 1);
        std::copy(c.column.begin(), c.column.end(), a.GetColumnData(0));
        const QRDecomposition qr(a);
        EXPECT_DOUBLE_EQ(qr.GetR()(0, 0), c.r);
        for (std::size_t i = 0; i < c.h.size(); ++i)
            EXPECT_DOUBLE_EQ(qr.GetH()(i, 0), c.h[i]);
    }
}

TEST(QRDecomposition, CarriesNaNIntoTheSolution)
{
    const QRDecomposition qr(FromRows({{1, 2}, {3, 4}, {5, 7}}));
    for (const double x : qr.Solve({1, kNaN, 3}))
        EXPECT_TRUE(std::isnan(x));
    const std::vector<double> infinite = QRDecomposition(FromRows({{kInf, 1}, {1, 2}})).Solve({1, 1});
    EXPECT_TRUE(std::isnan(infinite[0]));
    EXPECT_EQ(infinite[1], 0.0);   // the norm of a column of NaN is not above the threshold
}

// A norm beyond the doubles is infinite: its column divides to zeros, and nothing is NaN.
TEST(QRDecomposition, AnOverflowingNormIsInfinite)
{
    const QRDecomposition qr(FromRows({{1.5e308}, {1.5e308}}));
    EXPECT_EQ(qr.GetRank(), 1U);
    EXPECT_EQ(qr.GetR()(0, 0), -kInf);
    EXPECT_EQ(qr.Solve({1.5e308, 1.5e308})[0], 0.0);
    const QRDecomposition both(FromRows({{kInf, 1}, {kNaN, 2}}));   // hypot(inf, NaN) is inf
    EXPECT_EQ(both.GetPermutation(), (Permutation{0, 1}));
    EXPECT_EQ(both.GetRank(), 1U);
}

TEST(QRDecomposition, RefusesOtherSizes)
{
    const QRDecomposition qr(Matrix(3, 2));
    EXPECT_LOGIC_ASSERT(qr.Solve(Matrix(2, 1)), 0x6F2A90D4, "B.GetNumRows() == m");
    EXPECT_LOGIC_ASSERT(qr.Solve(std::vector<double>(2)), 0xC04E7B18, "b.size() == m");
    EXPECT_EQ(qr.Solve(Matrix(3, 4)).GetNumCols(), 4U);
}

}   // namespace
