#include "brvcore/transforms/GeneralizedInverse.h"

#include "tests/support/LogicAssert.h"
#include "tests/transforms/FactorTestTools.h"

#include <cstddef>
#include <limits>
#include <utility>

#include <gtest/gtest.h>

using LinearAlgebra::GeneralizedInverse;
using LinearAlgebra::Matrix;

// The four conditions of R. Penrose, "A Generalized Inverse for Matrices", Proc. Cambridge Phil. Soc. 51 (1955), which only
// the pseudo-inverse meets.
TEST(GeneralizedInverse, MeetsThePenroseConditions)
{
    for (const auto& [rows, cols] : {std::pair{1, 1}, {1, 4}, {4, 1}, {6, 6}, {7, 4}, {4, 7}, {20, 13}})
        for (const bool isDeficient : {false, true})
        {
            SCOPED_TRACE(testing::Message() << rows << " x " << cols << (isDeficient ? ", deficient" : ""));
            Matrix a = RandomMatrix(static_cast<std::size_t>(rows), static_cast<std::size_t>(cols), 3);
            if (isDeficient)
                MakeDependent(a);
            const Matrix x = GeneralizedInverse(a, 1e-10).GetInverse();
            const Matrix ax = Product(a, x);
            const Matrix xa = Product(x, a);
            ExpectNear(Product(ax, a), a, 1e-11, "A X A");
            ExpectNear(Product(xa, x), x, 1e-11, "X A X");
            ExpectNear(Transposed(ax), ax, 1e-12, "A X is symmetric");
            ExpectNear(Transposed(xa), xa, 1e-12, "X A is symmetric");
        }
}

TEST(GeneralizedInverse, InvertsOnlyAboveTheTolerance)
{
    struct Case
    {
        const char* why;
        double tolerance;
        Matrix inverse;
    };
    const Matrix a = FromRows({{4, 0}, {0, 0.5}, {0, 0}});
    for (const Case& c : {
             Case{"below both", 0.25, FromRows({{0.25, 0, 0}, {0, 2, 0}})},
             Case{"equal is not above", 0.5, FromRows({{0.25, 0, 0}, {0, 0, 0}})},
             Case{"absolute, not relative to the largest", 0.4, FromRows({{0.25, 0, 0}, {0, 2, 0}})},
             Case{"above both", 4.5, Matrix(2, 3)},
             Case{"no number is above NaN", std::numeric_limits<double>::quiet_NaN(), Matrix(2, 3)},
         })
        ExpectNear(GeneralizedInverse(a, c.tolerance).GetInverse(), c.inverse, 0.0, c.why);
}

// A symmetric matrix of rank one has one singular value, its trace t, and the pseudo-inverse A / t^2.
TEST(GeneralizedInverse, RankOneByHand)
{
    const Matrix a = FromRows({{0.8, 1.6}, {1.6, 3.2}});
    ExpectNear(GeneralizedInverse(a, 1e-12).GetInverse(), FromRows({{0.05, 0.1}, {0.1, 0.2}}), 1e-15, "t = 4");
}

TEST(GeneralizedInverse, ResultMayBeTheInput)
{
    Matrix a = RandomMatrix(3, 5, 8);
    const Matrix expected = GeneralizedInverse(a, 1e-10).GetInverse();
    Matrix other(9, 9);
    GeneralizedInverse::Construct(a, 1e-10, other);
    ExpectSameBits(other, expected, "another matrix");
    GeneralizedInverse::Construct(a, 1e-10, a);
    ExpectSameBits(a, expected, "the input");
}

TEST(GeneralizedInverse, MissingAndEmpty)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Matrix inverse = GeneralizedInverse(FromRows({{1, 2, 3}, {4, nan, 6}}), 1e-10).GetInverse();
    ExpectSameBits(inverse, FromRows({{nan, nan}, {nan, nan}, {nan, nan}}), "missing");
    EXPECT_LOGIC_ASSERT(GeneralizedInverse(Matrix(), 0.0), 0x8B74FB10, "inMatrix.GetNumRows() > 0");
}
