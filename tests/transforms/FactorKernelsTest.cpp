#include "brvcore/transforms/FactorKernels.h"

#include "tests/transforms/FactorTestTools.h"

#include <cstddef>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using LinearAlgebra::Matrix;

std::vector<const double*> Columns(const Matrix& m)
{
    std::vector<const double*> columns;
    for (std::size_t j = 0; j < m.GetNumCols(); ++j)
        columns.push_back(m.GetColumnData(j));
    return columns;
}

class FactorKernels : public testing::TestWithParam<int>
{
protected:
    void SetUp() override
    {
        kernel = FactorKernelOfLevel(GetParam());
        if (kernel == nullptr)
            GTEST_SKIP() << "this processor has no such instructions";
    }

    // The lanes as columns of a matrix, and such a matrix as a panel.
    Matrix Unpack(const std::vector<double>& panel) const
    {
        Matrix m(panel.size() / kernel->lanes, kernel->lanes);
        for (std::size_t i = 0; i < panel.size(); ++i)
            m(i / kernel->lanes, i % kernel->lanes) = panel[i];
        return m;
    }
    std::vector<double> Pack(const Matrix& m) const
    {
        std::vector<double> panel(m.GetNumRows() * kernel->lanes);
        for (std::size_t i = 0; i < panel.size(); ++i)
            panel[i] = m(i / kernel->lanes, i % kernel->lanes);
        return panel;
    }

    const FactorKernel* kernel = nullptr;
};

constexpr std::size_t kSizes[] = {0, 1, 2, 3, 4, 7, 16, 33};

// One lane after the other, in the order of the sums in the header, to the last bit.
TEST_P(FactorKernels, SubstituteForwardAsASingleColumn)
{
    for (const std::size_t size : kSizes)
        for (std::size_t begin = 0; begin <= size; ++begin)
        {
            const Matrix factor = RandomMatrix(size, size, 1);
            Matrix expected = RandomMatrix(size, kernel->lanes, 2);
            std::vector<double> panel = Pack(expected);
            kernel->forwardSubstitute(Columns(factor).data(), begin, size, panel.data());
            for (std::size_t k = 0; k < kernel->lanes; ++k)
                for (std::size_t i = begin; i < size; ++i)
                    for (std::size_t m = 0; m < i; ++m)
                        expected(i, k) -= factor(m, i) * expected(m, k);
            ExpectSameBits(Unpack(panel), expected, "forward");
        }
}

TEST_P(FactorKernels, SubstituteBackAsASingleColumn)
{
    for (const std::size_t size : kSizes)
        for (const bool hasDiagonal : {false, true})
        {
            const Matrix factor = RandomMatrix(size, size, 3);
            std::vector<double> diagonal(size);
            std::iota(diagonal.begin(), diagonal.end(), 0.3);
            Matrix expected = RandomMatrix(size, kernel->lanes, 4);
            std::vector<double> panel = Pack(expected);
            kernel->backSubstitute(Columns(factor).data(), hasDiagonal ? diagonal.data() : nullptr, size, panel.data());
            for (std::size_t k = 0; k < kernel->lanes; ++k)
                for (std::size_t i = size; i-- > 0;)
                {
                    for (std::size_t m = size; m-- > i + 1;)
                        expected(i, k) -= factor(i, m) * expected(m, k);
                    if (hasDiagonal)
                        expected(i, k) /= diagonal[i];
                }
            ExpectSameBits(Unpack(panel), expected, "back");
        }
}

TEST_P(FactorKernels, ReflectAsASingleColumn)
{
    for (const std::size_t size : kSizes)
        for (const std::size_t rows : {size, size + 5})
            for (std::size_t begin = 0; begin <= size; begin += 3)
            {
                Matrix vectors = RandomMatrix(rows, size, 5);
                for (std::size_t k = 0; k < size; ++k)
                    vectors(k, k) = 1.0 + std::abs(vectors(k, k));
                Matrix expected = RandomMatrix(rows, kernel->lanes, 6);
                std::vector<double> panel = Pack(expected);
                kernel->reflect(Columns(vectors).data(), begin, size, rows, panel.data());
                for (std::size_t k = 0; k < kernel->lanes; ++k)
                    for (std::size_t v = begin; v < size; ++v)
                    {
                        double sum = 0.0;
                        for (std::size_t i = v; i < rows; ++i)
                            sum += vectors(i, v) * expected(i, k);
                        const double factor = -sum / vectors(v, v);
                        for (std::size_t i = v; i < rows; ++i)
                            expected(i, k) += factor * vectors(i, v);
                    }
                ExpectSameBits(Unpack(panel), expected, "reflect");
            }
}

INSTANTIATE_TEST_SUITE_P(Levels, FactorKernels, testing::Values(0, 1));

}   // namespace
