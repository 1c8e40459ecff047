#include "tests/support/LogicAssert.h"
#include "tests/transforms/MatrixTestTools.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <new>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace
{

using LinearAlgebra::MeanStddev;
using LinearAlgebra::Range;

// Numbers of several sizes and both signs, in whose sums the order of the additions shows.
Values Numbers(std::uint64_t n, std::mt19937& random)
{
    Values values(n);
    for (double& x : values)
        x = std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(random() % 40) - 50);
    return values;
}

TEST(Matrix, KeepsTheCommonBlockWhenItsSizeChanges)
{
    Matrix m = Make({{1, 2}, {3, 4}});
    m.SetSize(3, 1);
    ExpectMatrix(m, {{1}, {3}, {0}});
    m.SetSize(1, 3);
    ExpectMatrix(m, {{1, 0, 0}});
    EXPECT_LOGIC_ASSERT(m.SetSize(1ULL << 32U, 1), 0x2F20F2B5, "rows <= maxDimension && cols <= maxDimension");
    EXPECT_LOGIC_ASSERT(Matrix(1, 1ULL << 32U), 0x2F20F2B5, "rows <= maxDimension && cols <= maxDimension");
    ExpectMatrix(m, {{1, 0, 0}});

    const Matrix moved = std::move(m);
    ExpectMatrix(moved, {{1, 0, 0}});
    ExpectMatrix(m, {});   // NOLINT(bugprone-use-after-move): documented to be empty

    Matrix kept = moved;
    Matrix& same = kept;
    kept = std::move(same);
    ExpectMatrix(kept, {{1, 0, 0}});
}

TEST(Matrix, IsEmptyWhenMemoryRunsOut)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the allocator of the sanitizer ends the program";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
    GTEST_SKIP() << "the allocator of the sanitizer ends the program";
#endif
#endif
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit below = before;
    below.rlim_cur = std::min<rlim_t>(before.rlim_cur, 16ULL << 30U);   // 16 GB; a column of 2^32 - 1 rows needs 32
    ASSERT_EQ(setrlimit(RLIMIT_AS, &below), 0);
    for (const auto& [rows, cols] : {std::pair{0xFFFFFFFFULL, 2ULL}, {2ULL, 0xFFFFFFFFULL}})
    {
        SCOPED_TRACE(testing::Message() << rows << " x " << cols);
        Matrix m = FromCsv("a,b\n1,2\n3,4\n");
        EXPECT_THROW(m.SetSize(rows, cols), std::bad_alloc);
        ExpectMatrix(m, {});
        EXPECT_EQ(m.Sum(), 0.0);
        EXPECT_TRUE(m.GetColNames().empty());
        m.SetSize(2, 2);
        ExpectMatrix(m, {{0, 0}, {0, 0}});
    }
    ASSERT_EQ(setrlimit(RLIMIT_AS, &before), 0);
}

// Every operation in place and into an output that holds something else, by hand.
TEST(Matrix, ComputesInPlaceAndIntoAnOutput)
{
    const Matrix a = Make({{1, -2, 3}, {4, 0, 8}});
    const Matrix b = Make({{2, 4, 0}, {8, 0, -1}});
    const Matrix column = Make({{2}, {0}});
    const Values row = {2, 0, -1};
    const Values pair = {2, 4};
    const std::vector<MeanStddev> ms = {{2, 2}, {1, 0}, {3, kNaN}};

    struct Case
    {
        const char* what;
        std::function<void(Matrix&)> inPlace;
        std::function<void(Matrix&)> intoOutput;
        Rows expected;
    };
    const Case cases[] = {
        {"sum", [&](Matrix& m) { m.Add(b); }, [&](Matrix& out) { Matrix::Add(out, a, b); }, {{3, 2, 3}, {12, 0, 7}}},
        {"difference", [&](Matrix& m) { m.Subtract(b); }, [&](Matrix& out) { Matrix::Subtract(out, a, b); },
            {{-1, -6, 3}, {-4, 0, 9}}},
        {"times a number", [&](Matrix& m) { m.ScalarMultiply(-2.0); },
            [&](Matrix& out) { Matrix::ScalarMultiply(out, a, -2.0); }, {{-2, 4, -6}, {-8, -0.0, -16}}},
        {"times a matrix", [&](Matrix& m) { m.ScalarMultiply(b); },
            [&](Matrix& out) { Matrix::ScalarMultiply(out, a, b); }, {{2, -8, 0}, {32, 0, -8}}},
        {"times a column", [&](Matrix& m) { m.ScalarMultiply(column); },
            [&](Matrix& out) { Matrix::ScalarMultiply(out, a, column); }, {{2, -4, 6}, {0, 0, 0}}},
        {"times a row vector", [&](Matrix& m) { m.ScalarMultiplyRowVector(row); },
            [&](Matrix& out) { Matrix::ScalarMultiplyRowVector(out, a, row); }, {{2, -0.0, -3}, {8, 0, -8}}},
        {"times a column vector", [&](Matrix& m) { m.ScalarMultiplyColumnVector(pair); },
            [&](Matrix& out) { Matrix::ScalarMultiplyColumnVector(out, a, pair); }, {{2, -4, 6}, {16, 0, 32}}},
        {"by zero", [&](Matrix& m) { m.ScalarDivide(0.0); }, [&](Matrix& out) { Matrix::ScalarDivide(out, a, 0.0); },
            {{kInf, -kInf, kInf}, {kInf, kNaN, kInf}}},
        {"by a matrix", [&](Matrix& m) { m.ScalarDivide(b); }, [&](Matrix& out) { Matrix::ScalarDivide(out, a, b); },
            {{0.5, -0.5, kInf}, {0.5, kNaN, -8}}},
        {"by a column", [&](Matrix& m) { m.ScalarDivide(column); },
            [&](Matrix& out) { Matrix::ScalarDivide(out, a, column); }, {{0.5, -1, 1.5}, {kInf, kNaN, kInf}}},
        {"by a row vector", [&](Matrix& m) { m.ScalarDivideRowVector(row); },
            [&](Matrix& out) { Matrix::ScalarDivideRowVector(out, a, row); }, {{0.5, -kInf, -3}, {2, kNaN, -8}}},
        {"by a column vector", [&](Matrix& m) { m.ScalarDivideColumnVector(pair); },
            [&](Matrix& out) { Matrix::ScalarDivideColumnVector(out, a, pair); }, {{0.5, -1, 1.5}, {1, 0, 2}}},
        {"power", [&](Matrix& m) { m.ScalarPower(2.0); }, [&](Matrix& out) { Matrix::ScalarPower(out, a, 2.0); },
            {{1, 4, 9}, {16, 0, 64}}},
        {"root of negatives", [&](Matrix& m) { m.ScalarPower(0.5); },
            [&](Matrix& out) { Matrix::ScalarPower(out, a, 0.5); },
            {{1, kNaN, std::sqrt(3.0)}, {2, 0, std::sqrt(8.0)}}},
        {"function", [&](Matrix& m) { m.ScalarMath(std::fabs); },
            [&](Matrix& out) { Matrix::ScalarMath(out, a, std::fabs); }, {{1, 2, 3}, {4, 0, 8}}},
        {"centred", [&](Matrix& m) { m.Center(ms); }, [&](Matrix& out) { Matrix::Center(out, a, ms); },
            {{-1, -3, 0}, {2, -1, 5}}},
        {"a deviation of 0 or NaN leaves the column", [&](Matrix& m) { m.Standardize(ms); },
            [&](Matrix& out) { Matrix::Standardize(out, a, ms); }, {{-0.5, -2, 3}, {1, 0, 8}}},
    };
    const Matrix named = FromCsv("a,b,c\n1,-2,3\n4,0,8\n");
    for (const Case& test : cases)
    {
        SCOPED_TRACE(test.what);
        Matrix inPlace = named;
        test.inPlace(inPlace);
        ExpectMatrix(inPlace, test.expected);
        EXPECT_EQ(inPlace.GetColNames(), named.GetColNames());
        Matrix out = Make({{9, 9}, {9, 9}, {9, 9}});
        test.intoOutput(out);
        ExpectMatrix(out, test.expected);
        out = named;
        test.intoOutput(out);
        ExpectMatrix(out, test.expected);
        EXPECT_TRUE(out.GetColNames().empty()) << "an output has other columns than the file";
    }
}

// A column of the object changes on the way.
TEST(Matrix, TakesItsOwnColumnAsVector)
{
    const Matrix named = FromCsv("a,b\n2,4\n8,16\n");
    Matrix m = named;
    m.ScalarMultiplyRowVector(m.GetColumn(u"a"));
    ExpectMatrix(m, {{4, 32}, {16, 128}});
    m = named;
    m.ScalarMultiplyColumnVector(m.GetColumn(u"a"));
    ExpectMatrix(m, {{4, 8}, {64, 128}});
    m = named;
    m.ScalarDivideRowVector(m.GetColumn(u"a"));
    ExpectMatrix(m, {{1, 0.5}, {4, 2}});
    m = named;
    m.ScalarDivideColumnVector(m.GetColumn(u"a"));
    ExpectMatrix(m, {{1, 2}, {1, 2}});
}

TEST(Matrix, MultipliesAndRearranges)
{
    const Matrix a = Make({{1, 2, 3}, {4, 5, 6}});
    const Matrix b = Make({{1, 0}, {0, -1}, {2, 2}});
    Matrix out = Make({{9, 9, 9}, {9, 9, 9}, {9, 9, 9}, {9, 9, 9}});
    Values vector = {9};
    Matrix::Multiply(out, a, b);
    ExpectMatrix(out, {{7, 4}, {16, 7}});
    Matrix::Multiply(out, a, Values{1, 0, -1});
    ExpectMatrix(out, {{-2}, {-2}});
    Matrix::MultiplyColumnVector(vector, a, {1, 0, -1});
    EXPECT_EQ(vector, (Values{-2, -2}));
    Matrix::MultiplyRowVector(vector, {2, -1}, a);
    EXPECT_EQ(vector, (Values{-2, -1, 0}));
    Matrix::Transpose(out, a);
    ExpectMatrix(out, {{1, 4}, {2, 5}, {3, 6}});
    Matrix::Diagonal(out, a);
    ExpectMatrix(out, {{1}, {5}});
    Matrix::Diagonal(out, Values{3, kNaN});
    ExpectMatrix(out, {{3, 0}, {0, kNaN}});
    Matrix::Multiply(out, Make({{0, 1}}), Make({{kInf}, {1}}));
    ExpectMatrix(out, {{kNaN}});   // zeros are not skipped

    const Matrix oneName = FromCsv("a\n1\n");
    const Matrix twoNames = FromCsv("a,b\n1,2\n");
    const std::pair<const Matrix&, std::function<void(Matrix&)>> drops[] = {
        {twoNames, [&](Matrix& o) { Matrix::Multiply(o, a, b); }},
        {oneName,
            [&](Matrix& o) {
                Matrix::Multiply(o, b, Values{1, 2});
            }},
        {twoNames, [&](Matrix& o) { Matrix::Transpose(o, a); }},
        {oneName, [&](Matrix& o) { Matrix::Diagonal(o, a); }},
        {twoNames,
            [&](Matrix& o) {
                Matrix::Diagonal(o, Values{1, 2});
            }},
    };
    for (const auto& [named, run] : drops)
    {
        out = named;
        run(out);
        EXPECT_EQ(out.GetNumCols(), named.GetNumCols());
        EXPECT_TRUE(out.GetColNames().empty());
    }
    out = twoNames;
    Matrix::Copy(out, a);
    EXPECT_EQ(out.GetColNames(), twoNames.GetColNames());
    out = oneName;
    Matrix::Copy(out, Values{1});
    EXPECT_EQ(out.GetColNames(), oneName.GetColNames());

    Matrix twoByTwo(2, 2);
    Matrix::Copy(twoByTwo, a);
    ExpectMatrix(twoByTwo, {{1, 2}, {4, 5}});
    Matrix oneColumn(2, 1);
    Matrix::Copy(oneColumn, Values{7, 8, 9});
    ExpectMatrix(oneColumn, {{7}, {8}});
    Matrix::Copy(vector, oneColumn);
    EXPECT_EQ(vector, (Values{7, 8}));

    // 70 columns: more than a tile of the transposition or the lanes of a sum.
    Matrix wide(3, 70);
    for (std::uint64_t c = 0; c < 70; ++c)
        wide(1, c) = static_cast<double>(c);
    Matrix::Transpose(out, wide);
    EXPECT_EQ(out.GetNumRows(), 70U);
    EXPECT_EQ(out(69, 1), 69.0);
    Matrix::ColSums(vector, wide);
    EXPECT_EQ(vector[69], 69.0);
    Matrix::RowSums(vector, wide);
    EXPECT_EQ(vector, (Values{0, 2415, 0}));
}

TEST(Matrix, SummarisesRowsAndColumns)
{
    const Matrix m = Make({{1, kNaN, 5}, {2, 4, 5}, {6, 8, 5}});
    EXPECT_TRUE(std::isnan(m.Sum()));
    EXPECT_EQ(Make({{1, 2}, {3, 4}}).Sum(), 10.0);
    Values sums;
    Matrix::ColSums(sums, m);
    ExpectSame(sums[0], 9);
    ExpectSame(sums[1], kNaN);
    Matrix::RowSums(sums, m);
    ExpectSame(sums[0], kNaN);
    ExpectSame(sums[1], 11);
    Matrix::ColMeans(sums, m);
    ExpectSame(sums[0], 3);
    ExpectSame(sums[1], kNaN);
    Matrix::RowMeans(sums, Make({{1, 2, 6}, {-0.0, -0.0, -0.0}}));
    EXPECT_EQ(sums, (Values{3, 0}));
    std::vector<Range> ranges;
    Matrix::ColRanges(ranges, m);
    EXPECT_EQ(ranges, (std::vector<Range>{{1, 6}, {4, 8}, {5, 5}}));
    std::vector<MeanStddev> ms;
    Matrix::ColMeanStddevs(ms, m);
    // Squared deviations 14, 8 and 0, divided by 3 - 1 although a value is missing.
    EXPECT_EQ(ms, (std::vector<MeanStddev>{{3, std::sqrt(7.0)}, {6, 2}, {5, 0}}));
}

// More rows than stay in the cache at once and more columns than the lanes: every sum runs in index order.
TEST(Matrix, SumsOfManyRowsAndColumnsEqualPlainLoops)
{
    std::mt19937 random(7);
    for (const std::uint64_t rows : {1023U, 1024U, 1025U, 2050U})
        for (const std::uint64_t cols : {3U, 70U})
        {
            SCOPED_TRACE(testing::Message() << rows << " x " << cols);
            Matrix m(rows, cols);
            for (std::uint64_t c = 0; c < cols; ++c)
                std::ranges::copy(Numbers(rows, random), m.GetColumnData(c));
            const Values perRow = Numbers(rows, random);
            const Values perColumn = Numbers(cols, random);
            Values rowSums(rows), rowMeans(rows), rowProducts(rows);
            Values colSums(cols), colMeans(cols), colProducts(cols);
            std::vector<MeanStddev> ms(cols);
            for (std::uint64_t c = 0; c < cols; ++c)
            {
                double squares = 0.0;
                for (std::uint64_t r = 0; r < rows; ++r)
                {
                    const double x = m(r, c);
                    rowSums[r] += x;
                    rowMeans[r] += (x - rowMeans[r]) / static_cast<double>(c + 1);
                    rowProducts[r] += x * perColumn[c];
                    colSums[c] += x;
                    colProducts[c] += perRow[r] * x;
                    const double before = x - colMeans[c];
                    colMeans[c] += before / static_cast<double>(r + 1);
                    squares += (x - colMeans[c]) * before;
                }
                ms[c] = {colMeans[c], std::sqrt(squares / static_cast<double>(rows - 1))};
            }
            Values v = {9};
            Matrix::RowSums(v, m);
            EXPECT_EQ(v, rowSums);
            Matrix::RowMeans(v, m);
            EXPECT_EQ(v, rowMeans);
            Matrix::MultiplyColumnVector(v, m, perColumn);
            EXPECT_EQ(v, rowProducts);
            Matrix product(1, 2);
            Matrix::Multiply(product, m, perColumn);
            EXPECT_EQ(Values(product.GetColumnData(0), product.GetColumnData(0) + rows), rowProducts);
            Matrix::ColSums(v, m);
            EXPECT_EQ(v, colSums);
            Matrix::ColMeans(v, m);
            EXPECT_EQ(v, colMeans);
            Matrix::MultiplyRowVector(v, perRow, m);
            EXPECT_EQ(v, colProducts);
            std::vector<MeanStddev> actual;
            Matrix::ColMeanStddevs(actual, m);
            EXPECT_EQ(actual, ms);
        }
}

TEST(Matrix, EmptyMatricesPassThroughEverything)
{
    for (const auto& [rows, cols] : {std::pair{0U, 3U}, {3U, 0U}, {0U, 0U}})
    {
        SCOPED_TRACE(testing::Message() << rows << " x " << cols);
        Matrix m(rows, cols);
        const Matrix other(rows, cols);
        const Matrix column(rows, 1);
        const Values perRow(rows);
        const Values perColumn(cols);
        const std::vector<MeanStddev> ms(cols);
        const auto absolute = static_cast<double (*)(double)>(std::fabs);
        m.Add(other);
        m.Subtract(other);
        m.ScalarMultiply(2.0);
        m.ScalarMultiply(other);
        m.ScalarMultiply(column);
        m.ScalarMultiplyRowVector(perColumn);
        m.ScalarMultiplyColumnVector(perRow);
        m.ScalarDivide(2.0);
        m.ScalarDivide(other);
        m.ScalarDivide(column);
        m.ScalarDivideRowVector(perColumn);
        m.ScalarDivideColumnVector(perRow);
        m.ScalarPower(2.0);
        m.ScalarMath(absolute);
        m.Center(ms);
        m.Standardize(ms);
        EXPECT_TRUE(Matrix::FuzzyEqual(m, other, 0.0)) << "shapes are kept";
        EXPECT_EQ(m.Sum(), 0.0);
        EXPECT_EQ(m.ToCsvString(), TString(rows == 0 ? u"" : u"\n\n\n"));

        const std::function<void(Matrix&)> outputs[] = {
            [&](Matrix& out) { Matrix::Add(out, m, other); },
            [&](Matrix& out) { Matrix::Subtract(out, m, other); },
            [&](Matrix& out) { Matrix::ScalarMultiply(out, m, 2.0); },
            [&](Matrix& out) { Matrix::ScalarMultiply(out, m, other); },
            [&](Matrix& out) { Matrix::ScalarMultiply(out, m, column); },
            [&](Matrix& out) { Matrix::ScalarMultiplyRowVector(out, m, perColumn); },
            [&](Matrix& out) { Matrix::ScalarMultiplyColumnVector(out, m, perRow); },
            [&](Matrix& out) { Matrix::ScalarDivide(out, m, 2.0); },
            [&](Matrix& out) { Matrix::ScalarDivide(out, m, other); },
            [&](Matrix& out) { Matrix::ScalarDivide(out, m, column); },
            [&](Matrix& out) { Matrix::ScalarDivideRowVector(out, m, perColumn); },
            [&](Matrix& out) { Matrix::ScalarDivideColumnVector(out, m, perRow); },
            [&](Matrix& out) { Matrix::ScalarPower(out, m, 2.0); },
            [&](Matrix& out) { Matrix::ScalarMath(out, m, absolute); },
            [&](Matrix& out) { Matrix::Center(out, m, ms); },
            [&](Matrix& out) { Matrix::Standardize(out, m, ms); },
        };
        for (std::size_t i = 0; i < std::size(outputs); ++i)
        {
            Matrix out(9, 9);
            outputs[i](out);
            EXPECT_TRUE(Matrix::FuzzyEqual(out, other, 0.0)) << "output " << i;
        }

        Matrix out;
        Matrix::Transpose(out, m);
        EXPECT_TRUE(Matrix::FuzzyEqual(out, Matrix(cols, rows), 0.0));
        Matrix product(9, 9);
        Matrix::Multiply(product, m, out);
        ExpectMatrix(product, Rows(rows, Values(rows, 0.0)));
        Matrix::Multiply(product, m, perColumn);
        EXPECT_EQ(product.GetNumCols(), 1U);
        EXPECT_EQ(product.GetNumRows(), rows);
        EXPECT_EQ(product.Sum(), 0.0);
        Matrix::Diagonal(out, m);
        EXPECT_TRUE(Matrix::FuzzyEqual(out, Matrix(0, 1), 0.0));
        Matrix::Diagonal(out, Values());
        ExpectMatrix(out, {});
        Matrix same(rows, cols);
        Matrix::Copy(same, m);
        EXPECT_TRUE(Matrix::FuzzyEqual(same, m, 0.0));

        Values vector = {9};
        Matrix::MultiplyColumnVector(vector, m, perColumn);
        EXPECT_EQ(vector, perRow);
        Matrix::MultiplyRowVector(vector, perRow, m);
        EXPECT_EQ(vector, perColumn);
        Matrix::RowSums(vector, m);
        EXPECT_EQ(vector, perRow);
        Matrix::ColSums(vector, m);
        EXPECT_EQ(vector, perColumn);
        Matrix::RowMeans(vector, m);
        EXPECT_EQ(vector, perRow);
        Matrix::ColMeans(vector, m);
        EXPECT_EQ(vector, perColumn);
        std::vector<MeanStddev> pairs;
        Matrix::ColMeanStddevs(pairs, m);
        EXPECT_EQ(pairs, ms);
        Matrix::ColRanges(pairs, m);
        EXPECT_EQ(pairs, ms);
    }
    Matrix noRows(0, 1);
    Matrix::Copy(noRows, Values());
    Values vector = {9};
    Matrix::Copy(vector, noRows);
    EXPECT_EQ(vector, Values());
}

// A case violates the later conditions of its operation too, so that the order of the checks shows.
TEST(Matrix, RefusesWhatDoesNotFit)
{
    const Matrix m(2, 3);
    const Matrix others(5, 5);      // neither rows nor columns fit
    const Matrix otherCols(2, 2);   // only the columns do not
    const Values two(2);
    const Values three(3);
    const std::vector<MeanStddev> ms2(2);
    Matrix x;
    Values v;
    const auto absolute = static_cast<double (*)(double)>(std::fabs);

    struct Case
    {
        std::uint32_t code;
        const char* text;
        std::function<void()> call;
    };
    const Case cases[] = {
        {0x740534A0, "numRows == rhs.GetNumRows()", [&] { x.Add(others); }},
        {0xAC2B73E9, "numCols == rhs.GetNumCols()", [&] { x.Add(otherCols); }},
        {0xCD5F5307, "&out != &lhs", [&] { Matrix::Add(x, x, others); }},
        {0xCD5F5307, "&out != &lhs", [&] { Matrix::Add(x, x, x); }},
        {0x3EDA6095, "&out != &rhs", [&] { Matrix::Add(x, others, x); }},
        {0x6D037690, "numRows == rhs.GetNumRows()", [&] { Matrix::Add(x, m, others); }},
        {0xE929EC42, "numCols == rhs.GetNumCols()", [&] { Matrix::Add(x, m, otherCols); }},
        {0x914B7DFA, "numRows == rhs.GetNumRows()", [&] { x.Subtract(others); }},
        {0xC30676F8, "numCols == rhs.GetNumCols()", [&] { x.Subtract(otherCols); }},
        {0x0EAACF87, "&out != &lhs", [&] { Matrix::Subtract(x, x, others); }},
        {0x0EAACF87, "&out != &lhs", [&] { Matrix::Subtract(x, x, x); }},
        {0x4651B2C1, "&out != &rhs", [&] { Matrix::Subtract(x, others, x); }},
        {0x2EA5E381, "numRows == rhs.GetNumRows()", [&] { Matrix::Subtract(x, m, others); }},
        {0xFF681D31, "numCols == rhs.GetNumCols()", [&] { Matrix::Subtract(x, m, otherCols); }},
        {0x14D27EE8, "&out != &lhs", [&] { Matrix::ScalarMultiply(x, x, 2.0); }},
        {0x2959EC60, "numRows == factor.GetNumRows()", [&] { x.ScalarMultiply(others); }},
        {0xD2D73951, "numCols == factorNumCols || 1 == factorNumCols", [&] { x.ScalarMultiply(otherCols); }},
        {0xCE0A3A58, "&out != &lhs", [&] { Matrix::ScalarMultiply(x, x, others); }},
        {0xCE0A3A58, "&out != &lhs", [&] { Matrix::ScalarMultiply(x, x, x); }},
        {0x1197489B, "&out != &factor", [&] { Matrix::ScalarMultiply(x, others, x); }},
        {0x472B4DB2, "numRows == factor.GetNumRows()", [&] { Matrix::ScalarMultiply(x, m, others); }},
        {0x4E8D157A, "numCols == factorNumCols || 1 == factorNumCols",
            [&] { Matrix::ScalarMultiply(x, m, otherCols); }},
        {0x531E36CF, "numCols == tsize(factor)", [&] { x.ScalarMultiplyRowVector(two); }},
        {0x48904298, "&out != &lhs", [&] { Matrix::ScalarMultiplyRowVector(x, x, two); }},
        {0xF307DC81, "numCols == tsize(factor)", [&] { Matrix::ScalarMultiplyRowVector(x, m, two); }},
        {0x5E8CD2A8, "numRows == tsize(factor)", [&] { x.ScalarMultiplyColumnVector(three); }},
        {0x734CE906, "&out != &lhs", [&] { Matrix::ScalarMultiplyColumnVector(x, x, three); }},
        {0xA589527C, "numRows == tsize(factor)", [&] { Matrix::ScalarMultiplyColumnVector(x, m, three); }},
        {0xFC463FF8, "&out != &lhs", [&] { Matrix::ScalarDivide(x, x, 2.0); }},
        {0x02DAE678, "numRows == divisor.GetNumRows()", [&] { x.ScalarDivide(others); }},
        {0xB0FD6FB3, "numCols == divisorNumCols || 1 == divisorNumCols", [&] { x.ScalarDivide(otherCols); }},
        {0x71CA54B4, "&out != &lhs", [&] { Matrix::ScalarDivide(x, x, others); }},
        {0x71CA54B4, "&out != &lhs", [&] { Matrix::ScalarDivide(x, x, x); }},
        {0x3CA687D5, "&out != &divisor", [&] { Matrix::ScalarDivide(x, others, x); }},
        {0x58DA57A5, "numRows == divisor.GetNumRows()", [&] { Matrix::ScalarDivide(x, m, others); }},
        {0xDCA2DEC7, "numCols == divisorNumCols || 1 == divisorNumCols",
            [&] { Matrix::ScalarDivide(x, m, otherCols); }},
        {0x3FF56599, "numCols == tsize(divisor)", [&] { x.ScalarDivideRowVector(two); }},
        {0xC7C059CC, "&out != &lhs", [&] { Matrix::ScalarDivideRowVector(x, x, two); }},
        {0xAA9997DF, "numCols == tsize(divisor)", [&] { Matrix::ScalarDivideRowVector(x, m, two); }},
        {0x731475DE, "numRows == tsize(divisor)", [&] { x.ScalarDivideColumnVector(three); }},
        {0x39CD48C1, "&out != &lhs", [&] { Matrix::ScalarDivideColumnVector(x, x, three); }},
        {0x2DFF140B, "numRows == tsize(divisor)", [&] { Matrix::ScalarDivideColumnVector(x, m, three); }},
        {0x3FB31A65, "&out != &lhs", [&] { Matrix::ScalarPower(x, x, 2.0); }},
        {0x6B1FC12F, "&out != &in", [&] { Matrix::ScalarMath(x, x, absolute); }},
        {0xC9FD0331, "numCols == ms.size()", [&] { x.Center(ms2); }},
        {0x3B3960CF, "&out != &in", [&] { Matrix::Center(x, x, ms2); }},
        {0x7E51DBE4, "numCols == ms.size()", [&] { Matrix::Center(x, m, ms2); }},
        {0xE200D0B3, "numCols == ms.size()", [&] { x.Standardize(ms2); }},
        {0x53E1043E, "&out != &in", [&] { Matrix::Standardize(x, x, ms2); }},
        {0xA1CC6AE7, "numCols == ms.size()", [&] { Matrix::Standardize(x, m, ms2); }},
        {0xADBE0E03, "&out != &in", [&] { Matrix::Transpose(x, x); }},
        {0x91DD729C, "&out != &in", [&] { Matrix::Diagonal(x, x); }},
        {0xCFA8171C, "&out != &lhs", [&] { Matrix::Multiply(x, x, x); }},
        {0xA7191F8F, "&out != &rhs", [&] { Matrix::Multiply(x, others, x); }},
        {0x646F794D, "lhs.GetNumCols() == rhs.GetNumRows()", [&] { Matrix::Multiply(x, m, otherCols); }},
        {0xE2E05D0F, "&out != &lhs", [&] { Matrix::Multiply(x, x, two); }},
        {0xA3398B55, "numCols == rhs.size()", [&] { Matrix::Multiply(x, m, two); }},
        {0x8AFEC6DF, "&out != &in", [&] { Matrix::MultiplyColumnVector(v, others, v); }},
        {0x464F52F5, "numCols == in.size()", [&] { Matrix::MultiplyColumnVector(v, m, two); }},
        {0xA11B1A3F, "&out != &in", [&] { Matrix::MultiplyRowVector(v, v, others); }},
        {0xB74BED0B, "numRows == in.size()", [&] { Matrix::MultiplyRowVector(v, three, m); }},
        {0xFDFABD49, "outRows <= tsize(in)", [&] { Matrix::Copy(x, Values{1}); }},
        {0xE4322860, "outCols == 1", [&] { Matrix::Copy(x, two); }},
        {0x831DD12B, "&out != &in", [&] { Matrix::Copy(x, x); }},
        {0x6615999A, "outRows <= in.GetNumRows()", [&] { Matrix::Copy(x, Matrix(1, 1)); }},
        {0x1E3A2C63, "outCols <= in.GetNumCols()", [&] { Matrix::Copy(x, otherCols); }},
        {0x70321C41, "in.GetNumCols() == 1", [&] { Matrix::Copy(v, m); }},
        {0x5E7CB85A, "a.size() == b.size()", [&] { LinearAlgebra::ScalarMultiply(v, two, three); }},
    };
    for (const Case& test : cases)
    {
        SCOPED_TRACE(testing::Message() << std::hex << test.code);
        x = Make({{1, 2, 3}, {4, 5, 6}});
        v = {1, 2, 3};
        EXPECT_LOGIC_ASSERT(test.call(), test.code, test.text);
        ExpectMatrix(x, {{1, 2, 3}, {4, 5, 6}});   // nothing is written in front of a check
        EXPECT_EQ(v, (Values{1, 2, 3}));
    }
}

// The vector goes when the output takes the shape of the result.
TEST(Matrix, RefusesAColumnOfTheOutput)
{
    const Matrix others(5, 5);
    Matrix x = FromCsv("a,b\n1,2\n3,4\n");
    const Values& own = x.GetColumn(u"b");
    const std::tuple<std::uint32_t, const char*, std::function<void()>> cases[] = {
        {0xB18870CD, "!out.IsOwnColumn(factor)", [&] { Matrix::ScalarMultiplyRowVector(x, others, own); }},
        {0x7158820F, "!out.IsOwnColumn(factor)", [&] { Matrix::ScalarMultiplyColumnVector(x, others, own); }},
        {0x7B8E7631, "!out.IsOwnColumn(divisor)", [&] { Matrix::ScalarDivideRowVector(x, others, own); }},
        {0xD913EAA8, "!out.IsOwnColumn(divisor)", [&] { Matrix::ScalarDivideColumnVector(x, others, own); }},
        {0xED912EF3, "!out.IsOwnColumn(rhs)", [&] { Matrix::Multiply(x, others, own); }},
        {0x165ED66D, "!out.IsOwnColumn(diagonal)", [&] { Matrix::Diagonal(x, own); }},
    };
    for (const auto& [code, text, call] : cases)
    {
        SCOPED_TRACE(testing::Message() << std::hex << code);
        EXPECT_LOGIC_ASSERT(call(), code, text);
        ExpectMatrix(x, {{1, 2}, {3, 4}});
        EXPECT_EQ(x.GetColNames().size(), 2U);
    }
}

TEST(Matrix, FuzzyEqualIsRelativeWithAFloor)
{
    struct Case
    {
        double a, b;
        bool expected;
        const char* why;
    };
    for (const Case& test : {
             Case{100.0, 125.0, true, "on the upper bound, 100 * 0.25"},
             Case{100.0, 75.0, true, "on the lower bound"},
             Case{100.0, 125.1, false, "above it"},
             Case{-100.0, -125.1, false, "below it"},
             Case{80.0, 100.1, false, "measured on the first value"},
             Case{0.0, 0.0002, true, "the floor is 0.001"},
             Case{0.0, 0.0003, false, "above the floor"},
             Case{kNaN, 5.0, true, "NaN equals everything"},
             Case{5.0, kNaN, true, "on both sides"},
             Case{kInf, kInf, true, "the same infinity"},
             Case{1.0, kInf, false, "infinity"},
         })
    {
        SCOPED_TRACE(test.why);
        EXPECT_EQ(Matrix::FuzzyEqual(Make({{1, test.a}}), Make({{1, test.b}}), 0.25), test.expected);
    }
    EXPECT_FALSE(Matrix::FuzzyEqual(Matrix(1, 2), Matrix(2, 1), 1.0));
    EXPECT_FALSE(Matrix::FuzzyEqual(Matrix(0, 2), Matrix(0, 3), 1.0));
}

TEST(LinearAlgebraVectors, RangesAndDeviations)
{
    struct Case
    {
        Values v;
        Range range;
        Range expRange;
        MeanStddev ms;
    };
    const Case cases[] = {
        {{}, {0, 0}, {0, 0}, {0, 0}},
        {{kNaN, kNaN}, {DBL_MAX, -DBL_MAX}, {kInf, 0}, {0, 0}},
        {{kInf, kInf}, {DBL_MAX, kInf}, {kInf, kInf}, {kNaN, kNaN}},
        {{-kInf, -kInf}, {-kInf, -DBL_MAX}, {0, 0}, {kNaN, kNaN}},
        {{3}, {3, 3}, {std::exp(3.0), std::exp(3.0)}, {3, 0}},
        {{2, kNaN, 4}, {2, 4}, {std::exp(2.0), std::exp(4.0)}, {3, 1}},   // squares 2, divided by 3 - 1
        {{-1, 0, 1, 4}, {-1, 4}, {std::exp(-1.0), std::exp(4.0)}, {1, std::sqrt(14.0 / 3.0)}},
    };
    for (const Case& test : cases)
    {
        SCOPED_TRACE(testing::PrintToString(test.v));
        EXPECT_EQ(LinearAlgebra::CalculateRange(test.v, false), test.range);
        EXPECT_EQ(LinearAlgebra::CalculateRange(test.v, true), test.expRange);
        const MeanStddev ms = LinearAlgebra::ComputeMeanStddev(test.v);
        ExpectSame(ms.first, test.ms.first);
        ExpectSame(ms.second, test.ms.second);
    }
}

TEST(LinearAlgebraVectors, ComputeInPlaceAndInto)
{
    Values v = {1, 3, kNaN};
    LinearAlgebra::Center(v, {1, 5});
    EXPECT_EQ(Values(v.begin(), v.begin() + 2), (Values{0, 2}));
    EXPECT_TRUE(std::isnan(v[2]));
    v = {1, 3};
    for (const double deviation : {0.0, -1.0, kNaN})
    {
        LinearAlgebra::Standardize(v, {1, deviation});
        LinearAlgebra::Scale(v, deviation);
        EXPECT_EQ(v, (Values{1, 3}));
    }
    LinearAlgebra::Standardize(v, {2, 0.5});
    EXPECT_EQ(v, (Values{-2, 2}));
    LinearAlgebra::Scale(v, 3);
    EXPECT_EQ(v, (Values{-6, 6}));
    LinearAlgebra::ScalarMultiply(v, v, {2, -1});
    EXPECT_EQ(v, (Values{-12, -6}));
    Values out = {9, 9, 9};
    LinearAlgebra::ScalarMath(out, v, std::fabs);
    EXPECT_EQ(out, (Values{12, 6}));

    Matrix m = Make({{9}});
    EXPECT_LOGIC_ASSERT(LinearAlgebra::RowMVectorToColMMatrix({{1, 2}, {3}}, m), 0x7A0C4F31, "row.size() == numCols");
    ExpectMatrix(m, {{9}});
}

}   // namespace
