#include "brvcore/transforms/MatrixKernels.h"

#include "brvcore/transforms/RunningVariance.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Values = std::vector<double>;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();

// Numbers of many sizes and both signs; one in `rarity` is special: missing, infinite, a zero, tiny or huge.
Values Numbers(std::size_t n, unsigned seed, unsigned rarity)
{
    constexpr double kSpecial[] = {kNaN, kInf, -kInf, 0.0, -0.0, kTiny, -3.0 * kTiny, 1.7e308, -1.7e308};
    std::mt19937 random(seed);
    Values values(n);
    for (double& x : values)
    {
        x = std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(random() % 40) - 50);
        if (random() % rarity == 0)
            x = kSpecial[random() % std::size(kSpecial)];
    }
    return values;
}

// Equal to the last bit; which NaN it is does not matter.
void ExpectSame(const Values& actual, const Values& expected)
{
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i)
    {
        if (std::isnan(actual[i]) && std::isnan(expected[i]))
            continue;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(actual[i]), std::bit_cast<std::uint64_t>(expected[i]))
            << "at " << i << ": " << actual[i] << " instead of " << expected[i];
    }
}

template <class Vector> auto Pointers(std::vector<Vector>& columns)
{
    std::vector<decltype(columns.front().data())> pointers;
    pointers.reserve(columns.size());
    for (Vector& column : columns)
        pointers.push_back(column.data());
    return pointers;
}

std::vector<Values> Columns(std::size_t rows, std::size_t cols, unsigned seed, unsigned rarity)
{
    std::vector<Values> columns(cols);
    for (std::size_t c = 0; c < cols; ++c)
        columns[c] = Numbers(rows, seed + static_cast<unsigned>(c), rarity);
    return columns;
}

class MatrixKernelsTest : public testing::TestWithParam<int>
{
protected:
    void SetUp() override
    {
        m_kernels = MatrixKernelsOfLevel(GetParam());
        if (m_kernels == nullptr)
            GTEST_SKIP() << "this processor has no such instructions";
    }

    const MatrixKernels* m_kernels = nullptr;
};

TEST_P(MatrixKernelsTest, ElementsEqualPlainLoops)
{
    const double value = -2.7;
    const auto check = [&](const Values& a, const Values& b, auto run, auto plain)
    {
        Values expected(a.size());
        for (std::size_t i = 0; i < a.size(); ++i)
            expected[i] = plain(a[i], b[i]);
        Values apart(a.size());
        run(apart.data(), a.data(), b.data());
        ExpectSame(apart, expected);
        Values inPlace = a;
        run(inPlace.data(), inPlace.data(), b.data());
        ExpectSame(inPlace, expected);
    };
    for (const std::size_t n : {0U, 1U, 2U, 3U, 7U, 8U, 9U, 31U, 100U})
    {
        SCOPED_TRACE(n);
        const Values a = Numbers(n, 1, 4);
        const Values b = Numbers(n, 2, 4);
        const MatrixKernels& k = *m_kernels;
        using Out = double*;
        using In = const double*;
        check(
            a, b, [&](Out o, In x, In y) { k.add(o, x, y, n); }, [](double x, double y) { return x + y; });
        check(
            a, b, [&](Out o, In x, In y) { k.subtract(o, x, y, n); }, [](double x, double y) { return x - y; });
        check(
            a, b, [&](Out o, In x, In y) { k.multiply(o, x, y, n); }, [](double x, double y) { return x * y; });
        check(
            a, b, [&](Out o, In x, In y) { k.divide(o, x, y, n); }, [](double x, double y) { return x / y; });
        check(
            a, b, [&](Out o, In x, In) { k.subtractValue(o, x, value, n); },
            [&](double x, double) { return x - value; });
        check(
            a, b, [&](Out o, In x, In) { k.multiplyValue(o, x, value, n); },
            [&](double x, double) { return x * value; });
        check(
            a, b, [&](Out o, In x, In) { k.divideValue(o, x, value, n); }, [&](double x, double) { return x / value; });
        check(
            a, b, [&](Out o, In x, In) { k.standardize(o, x, value, 0.3, n); },
            [&](double x, double) { return (x - value) / 0.3; });

        Values sum = a;
        Values mean = a;
        k.addProduct(sum.data(), b.data(), value, n);
        k.updateMeans(mean.data(), b.data(), 3.0, n);
        Values plainSum = a;
        Values plainMean = a;
        for (std::size_t i = 0; i < n; ++i)
        {
            plainSum[i] += b[i] * value;
            plainMean[i] += (b[i] - a[i]) / 3.0;
        }
        ExpectSame(sum, plainSum);
        ExpectSame(mean, plainMean);
    }
}

// Every number of columns that fits into the lanes, around the length of a block, without, with some and only with
// special values.
TEST_P(MatrixKernelsTest, ColumnsEqualPlainLoops)
{
    for (const unsigned rarity : {1000000U, 50U, 1U})
        for (const std::size_t rows : {0U, 1U, 2U, 63U, 64U, 65U, 200U})
            for (std::size_t cols = 1; cols <= m_kernels->columnLanes; ++cols)
            {
                SCOPED_TRACE(testing::Message() << rows << " x " << cols << ", one special in " << rarity);
                std::vector<Values> columns = Columns(rows, cols, 10, rarity);
                columns.back().assign(rows, 0.1);   // its deviations become exactly zero
                const Values factors = Numbers(rows, 3, rarity);
                Values sums(cols), products(cols), means(cols), runningMeans(cols), m2(cols);
                for (std::size_t c = 0; c < cols; ++c)
                {
                    RunningVariance variance;
                    for (std::size_t r = 0; r < rows; ++r)
                    {
                        sums[c] += columns[c][r];
                        products[c] += factors[r] * columns[c][r];
                        means[c] += (columns[c][r] - means[c]) / static_cast<double>(r + 1);
                        variance.Add(columns[c][r]);
                    }
                    runningMeans[c] = variance.mean;
                    m2[c] = variance.m2;
                }
                const std::vector<double*> in = Pointers(columns);
                Values result(cols), second(cols);
                m_kernels->sums(in.data(), cols, rows, result.data());
                ExpectSame(result, sums);
                m_kernels->sumsOfProducts(in.data(), cols, factors.data(), rows, result.data());
                ExpectSame(result, products);
                m_kernels->means(in.data(), cols, rows, result.data());
                ExpectSame(result, means);
                m_kernels->variances(in.data(), cols, rows, result.data(), second.data());
                ExpectSame(result, runningMeans);
                ExpectSame(second, m2);
            }
}

// Sizes below, at and above a tile and a block in each dimension. What lay in the output does not show.
TEST_P(MatrixKernelsTest, ProductEqualsPlainLoops)
{
    struct Size
    {
        std::size_t rows, depth, cols;
    };
    for (const auto& [rows, depth, cols] : {Size{0, 3, 2}, Size{3, 0, 2}, Size{100, 0, 100}, Size{1, 1, 1},
             Size{3, 4, 2}, Size{21, 21, 21}, Size{24, 256, 8}, Size{25, 257, 9}, Size{47, 600, 17}, Size{192, 20, 480},
             Size{193, 11, 481}, Size{1, 9000, 1}, Size{5, 2, 2000}, Size{2000, 3, 2}})
    {
        SCOPED_TRACE(testing::Message() << rows << " x " << depth << " x " << cols);
        std::vector<Values> lhs = Columns(rows, depth, 100, 500);
        std::vector<Values> rhs = Columns(depth, cols, 5000, 500);
        std::vector<Values> out(cols, Values(rows, kNaN));
        MultiplyMatrices(
            *m_kernels, Pointers(lhs).data(), rows, depth, Pointers(rhs).data(), cols, Pointers(out).data());
        for (std::size_t c = 0; c < cols; ++c)
        {
            Values expected(rows);
            for (std::size_t r = 0; r < rows; ++r)
                for (std::size_t k = 0; k < depth; ++k)
                    expected[r] += lhs[k][r] * rhs[c][k];
            ASSERT_NO_FATAL_FAILURE(ExpectSame(out[c], expected)) << "column " << c;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Level, MatrixKernelsTest, testing::Values(0, 1, 2));

}   // namespace
