#include "brvcore/transforms/LinearAlgebra.h"

#include "tests/support/LogicAssert.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace
{

using LinearAlgebra::Matrix;
using LinearAlgebra::MeanStddev;
using LinearAlgebra::Range;
using Rows = std::vector<std::vector<double>>;
using Values = std::vector<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

Matrix Make(const Rows& rows)
{
    Matrix m;
    LinearAlgebra::RowMVectorToColMMatrix(rows, m);
    return m;
}

// Two values are the same when they are equal, with their signs, or both missing.
void ExpectSame(double actual, double expected)
{
    if (std::isnan(expected))
        EXPECT_TRUE(std::isnan(actual)) << actual;
    else
    {
        EXPECT_EQ(actual, expected);
        EXPECT_EQ(std::signbit(actual), std::signbit(expected)) << "of " << expected;
    }
}

void ExpectMatrix(const Matrix& m, const Rows& expected)
{
    Rows rows;
    LinearAlgebra::ColMMatrixToRowMVector(m, rows);
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t r = 0; r < rows.size(); ++r)
    {
        ASSERT_EQ(rows[r].size(), expected[r].size()) << "row " << r;
        for (std::size_t c = 0; c < rows[r].size(); ++c)
        {
            SCOPED_TRACE(testing::Message() << "row " << r << ", column " << c);
            ExpectSame(rows[r][c], expected[r][c]);
        }
    }
}

// A file with these bytes in the system's temporary folder, as long as the object lives.
class CsvFile
{
public:
    explicit CsvFile(const std::string& bytes)
    {
        std::string name = (std::filesystem::temp_directory_path() / "brvcore_matrix_XXXXXX").native();
        const int file = mkstemp(name.data());
        if (file >= 0)
            close(file);
        m_path = name;
        std::ofstream(m_path, std::ios::binary) << bytes;
    }
    ~CsvFile() { std::filesystem::remove(m_path); }
    CsvFile(const CsvFile&) = delete;
    CsvFile& operator=(const CsvFile&) = delete;

    TString GetPath() const { return TString::FromUTF8(m_path.native()); }

private:
    std::filesystem::path m_path;
};

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
    EXPECT_EQ(m.GetNumCols(), 0U);
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
    for (const Case& test : cases)
    {
        SCOPED_TRACE(test.what);
        Matrix inPlace = a;
        test.inPlace(inPlace);
        ExpectMatrix(inPlace, test.expected);
        Matrix out = Make({{9, 9}, {9, 9}, {9, 9}});
        test.intoOutput(out);
        ExpectMatrix(out, test.expected);
    }
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

TEST(Matrix, EmptyMatricesPassThroughEverything)
{
    for (const auto& [rows, cols] : {std::pair{0, 3}, {3, 0}, {0, 0}})
    {
        SCOPED_TRACE(testing::Message() << rows << " x " << cols);
        Matrix m(static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(cols));
        const Values perRow(m.GetNumRows());
        const Values perColumn(m.GetNumCols());
        Matrix out;
        Values vector;
        m.Add(Matrix(m));
        m.ScalarMultiply(2.0);
        m.ScalarDivideRowVector(perColumn);
        m.ScalarDivideColumnVector(perRow);
        m.Standardize(std::vector<MeanStddev>(m.GetNumCols()));
        EXPECT_EQ(m.Sum(), 0.0);
        EXPECT_TRUE(Matrix::FuzzyEqual(m, Matrix(m), 0.0));
        Matrix::Transpose(out, m);
        EXPECT_EQ(out.GetNumRows(), m.GetNumCols());
        EXPECT_EQ(out.GetNumCols(), m.GetNumRows());
        Matrix product(9, 9);
        Matrix::Multiply(product, m, out);
        ExpectMatrix(product, Rows(m.GetNumRows(), Values(m.GetNumRows(), 0.0)));
        Matrix::Diagonal(out, m);
        EXPECT_EQ(out.GetNumCols(), 1U);
        Matrix::MultiplyColumnVector(vector, m, perColumn);
        EXPECT_EQ(vector, perRow);
        Matrix::MultiplyRowVector(vector, perRow, m);
        EXPECT_EQ(vector, perColumn);
        Matrix::RowMeans(vector, m);
        EXPECT_EQ(vector, perRow);
        Matrix::ColMeans(vector, m);
        EXPECT_EQ(vector, perColumn);
        std::vector<MeanStddev> ms;
        Matrix::ColMeanStddevs(ms, m);
        EXPECT_EQ(ms, std::vector<MeanStddev>(m.GetNumCols()));
    }
}

TEST(Matrix, RefusesWhatDoesNotFit)
{
    const Matrix m(2, 3);
    const Matrix otherRows(3, 3);
    const Matrix otherCols(2, 2);
    const Values two(2);
    const Values three(3);
    const std::vector<MeanStddev> ms2(2);
    const std::vector<MeanStddev> ms3(3);
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
        {0x740534A0, "numRows == rhs.GetNumRows()", [&] { x.Add(otherRows); }},
        {0xAC2B73E9, "numCols == rhs.GetNumCols()", [&] { x.Add(otherCols); }},
        {0xCD5F5307, "&out != &lhs", [&] { Matrix::Add(x, x, m); }},
        {0x3EDA6095, "&out != &rhs", [&] { Matrix::Add(x, m, x); }},
        {0x6D037690, "numRows == rhs.GetNumRows()", [&] { Matrix::Add(x, m, otherRows); }},
        {0xE929EC42, "numCols == rhs.GetNumCols()", [&] { Matrix::Add(x, m, otherCols); }},
        {0x914B7DFA, "numRows == rhs.GetNumRows()", [&] { x.Subtract(otherRows); }},
        {0xC30676F8, "numCols == rhs.GetNumCols()", [&] { x.Subtract(otherCols); }},
        {0x0EAACF87, "&out != &lhs", [&] { Matrix::Subtract(x, x, m); }},
        {0x4651B2C1, "&out != &rhs", [&] { Matrix::Subtract(x, m, x); }},
        {0x2EA5E381, "numRows == rhs.GetNumRows()", [&] { Matrix::Subtract(x, m, otherRows); }},
        {0xFF681D31, "numCols == rhs.GetNumCols()", [&] { Matrix::Subtract(x, m, otherCols); }},
        {0x14D27EE8, "&out != &lhs", [&] { Matrix::ScalarMultiply(x, x, 2.0); }},
        {0x2959EC60, "numRows == factor.GetNumRows()", [&] { x.ScalarMultiply(otherRows); }},
        {0xD2D73951, "numCols == factorNumCols || 1 == factorNumCols", [&] { x.ScalarMultiply(otherCols); }},
        {0xCE0A3A58, "&out != &lhs", [&] { Matrix::ScalarMultiply(x, x, m); }},
        {0x1197489B, "&out != &factor", [&] { Matrix::ScalarMultiply(x, m, x); }},
        {0x472B4DB2, "numRows == factor.GetNumRows()", [&] { Matrix::ScalarMultiply(x, m, otherRows); }},
        {0x4E8D157A, "numCols == factorNumCols || 1 == factorNumCols",
            [&] { Matrix::ScalarMultiply(x, m, otherCols); }},
        {0x531E36CF, "numCols == tsize(factor)", [&] { x.ScalarMultiplyRowVector(two); }},
        {0x48904298, "&out != &lhs", [&] { Matrix::ScalarMultiplyRowVector(x, x, three); }},
        {0xF307DC81, "numCols == tsize(factor)", [&] { Matrix::ScalarMultiplyRowVector(x, m, two); }},
        {0x5E8CD2A8, "numRows == tsize(factor)", [&] { x.ScalarMultiplyColumnVector(three); }},
        {0x734CE906, "&out != &lhs", [&] { Matrix::ScalarMultiplyColumnVector(x, x, two); }},
        {0xA589527C, "numRows == tsize(factor)", [&] { Matrix::ScalarMultiplyColumnVector(x, m, three); }},
        {0xFC463FF8, "&out != &lhs", [&] { Matrix::ScalarDivide(x, x, 2.0); }},
        {0x02DAE678, "numRows == divisor.GetNumRows()", [&] { x.ScalarDivide(otherRows); }},
        {0xB0FD6FB3, "numCols == divisorNumCols || 1 == divisorNumCols", [&] { x.ScalarDivide(otherCols); }},
        {0x71CA54B4, "&out != &lhs", [&] { Matrix::ScalarDivide(x, x, m); }},
        {0x3CA687D5, "&out != &divisor", [&] { Matrix::ScalarDivide(x, m, x); }},
        {0x58DA57A5, "numRows == divisor.GetNumRows()", [&] { Matrix::ScalarDivide(x, m, otherRows); }},
        {0xDCA2DEC7, "numCols == divisorNumCols || 1 == divisorNumCols",
            [&] { Matrix::ScalarDivide(x, m, otherCols); }},
        {0x3FF56599, "numCols == tsize(divisor)", [&] { x.ScalarDivideRowVector(two); }},
        {0xC7C059CC, "&out != &lhs", [&] { Matrix::ScalarDivideRowVector(x, x, three); }},
        {0xAA9997DF, "numCols == tsize(divisor)", [&] { Matrix::ScalarDivideRowVector(x, m, two); }},
        {0x731475DE, "numRows == tsize(divisor)", [&] { x.ScalarDivideColumnVector(three); }},
        {0x39CD48C1, "&out != &lhs", [&] { Matrix::ScalarDivideColumnVector(x, x, two); }},
        {0x2DFF140B, "numRows == tsize(divisor)", [&] { Matrix::ScalarDivideColumnVector(x, m, three); }},
        {0x3FB31A65, "&out != &lhs", [&] { Matrix::ScalarPower(x, x, 2.0); }},
        {0x6B1FC12F, "&out != &in", [&] { Matrix::ScalarMath(x, x, absolute); }},
        {0xC9FD0331, "numCols == ms.size()", [&] { x.Center(ms2); }},
        {0x3B3960CF, "&out != &in", [&] { Matrix::Center(x, x, ms3); }},
        {0x7E51DBE4, "numCols == ms.size()", [&] { Matrix::Center(x, m, ms2); }},
        {0xE200D0B3, "numCols == ms.size()", [&] { x.Standardize(ms2); }},
        {0x53E1043E, "&out != &in", [&] { Matrix::Standardize(x, x, ms3); }},
        {0xA1CC6AE7, "numCols == ms.size()", [&] { Matrix::Standardize(x, m, ms2); }},
        {0xADBE0E03, "&out != &in", [&] { Matrix::Transpose(x, x); }},
        {0x91DD729C, "&out != &in", [&] { Matrix::Diagonal(x, x); }},
        {0xCFA8171C, "&out != &lhs", [&] { Matrix::Multiply(x, x, x); }},
        {0xA7191F8F, "&out != &rhs", [&] { Matrix::Multiply(x, otherCols, x); }},
        {0x646F794D, "lhs.GetNumCols() == rhs.GetNumRows()", [&] { Matrix::Multiply(x, m, otherCols); }},
        {0xE2E05D0F, "&out != &lhs", [&] { Matrix::Multiply(x, x, three); }},
        {0xA3398B55, "numCols == rhs.size()", [&] { Matrix::Multiply(x, m, two); }},
        {0x8AFEC6DF, "&out != &in", [&] { Matrix::MultiplyColumnVector(v, m, v); }},
        {0x464F52F5, "numCols == in.size()", [&] { Matrix::MultiplyColumnVector(v, m, two); }},
        {0xA11B1A3F, "&out != &in", [&] { Matrix::MultiplyRowVector(v, v, otherRows); }},
        {0xB74BED0B, "numRows == in.size()", [&] { Matrix::MultiplyRowVector(v, three, m); }},
        {0xFDFABD49, "outRows <= tsize(in)", [&] { Matrix::Copy(x, Values{1}); }},
        {0xE4322860, "outCols == 1", [&] { Matrix::Copy(x, two); }},
        {0x831DD12B, "&out != &in", [&] { Matrix::Copy(x, x); }},
        {0x6615999A, "outRows <= in.GetNumRows()", [&] { Matrix::Copy(x, Matrix(1, 3)); }},
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

TEST(MatrixCsv, ReadsFiles)
{
    using namespace std::string_literals;
    struct Case
    {
        const char* why;
        std::string bytes;
        bool hasHeader;
        std::vector<TString> names;
        Rows expected;
    };
    const Case cases[] = {
        {"a plain file", "1,2.5\n-3,4e2\n", false, {}, {{1, 2.5}, {-3, 400}}},
        {"no last line feed", "1,2\n3,4", false, {}, {{1, 2}, {3, 4}}},
        {"empty lines", "\n\n1\n\n2\n\n", false, {}, {{1}, {2}}},
        {"carriage returns", "a,b\r\n1,2\r\n\r\n3,4\r\n", true, {u"a", u"b"}, {{1, 2}, {3, 4}}},
        {"a line of spaces is a row", "1\n \n", false, {}, {{1}, {kNaN}}},
        {"names as they stand", " a ,\"b\",,\xC3\xA4\n1,2,3,4\n", true, {u" a ", u"\"b\"", u"", u"\u00E4"},
            {{1, 2, 3, 4}}},
        {"short and long rows", "1,2,3\n4\n5,6,7,8\n,,\n", false, {},
            {{1, 2, 3}, {4, kNaN, kNaN}, {5, 6, 7}, {kNaN, kNaN, kNaN}}},
        {"what is no number", "NaN,x,1x,1 2,\"1\",0x10,1.2.3,--1,+-1,-,.,e5\n", false, {}, {Values(12, kNaN)}},
        {"white space around", " 1 ,\t2\t,\v3\f\n", false, {}, {{1, 2, 3}}},
        {"no-break space is none",
            "\xC2\xA0"
            "1,2\n",
            false, {}, {{kNaN, 2}}},
        {"forms of numbers", "+1,.5,5.,-0,007,1E+2,inf,-Infinity,nan,-0.0e5\n", false, {},
            {{1, 0.5, 5, -0.0, 7, 100, kInf, -kInf, kNaN, -0.0}}},
        {"beyond the range",
            "1e400,-1e400,1e-400,-1e-400,0.1e310,0.001e311,1e99999999999999999999,1e-99999999999999999999\n", false, {},
            {{kInf, -kInf, 0, -0.0, kInf, 1e308, kInf, 0}}},
        {"at the edge", "4.9406564584124654e-324,2.2250738585072011e-308,1.7976931348623157e308,0e999\n", false, {},
            {{4.9406564584124654e-324, 2.2250738585072011e-308, DBL_MAX, 0}}},
        {"many digits", "9007199254740993,0.1000000000000000055511151231257827,123456789012345678901234567890\n", false,
            {}, {{9007199254740992.0, 0.1, 123456789012345678901234567890.0}}},
        {"zeros in front and behind", std::string(100, '0') + "1." + std::string(400, '0') + "1\n", false, {}, {{1}}},
        {"400 zeros behind the point", "0." + std::string(400, '0') + "1e401\n", false, {}, {{1}}},
        {"a header alone", "a,b\n", true, {}, {}},
        {"a header and empty lines", "a,b\n\n", true, {}, {}},
        {"an empty file", "", true, {}, {}},
        {"line feeds alone", "\n\r\n\n", false, {}, {}},
        {"UTF-8 mark",
            "\xEF\xBB\xBF"
            "1,2\n",
            false, {}, {{1, 2}}},
        {"UTF-16, small end first",
            "\xFF\xFE"
            "\xE4\0\n\0"
            "1\0.\0"
            "5\0\r\0\n\0"s,
            true, {u"\u00E4"}, {{1.5}}},
        {"UTF-16, big end first",
            "\xFE\xFF"
            "\0"
            "7\0,\0"
            "8"s,
            false, {}, {{7, 8}}},
        {"a zero byte is no digit", "1\0,2\n"s, false, {}, {{kNaN, 2}}},
    };
    for (const Case& test : cases)
    {
        SCOPED_TRACE(test.why);
        const CsvFile file(test.bytes);
        const Matrix m(file.GetPath(), test.hasHeader);
        ExpectMatrix(m, test.expected);
        EXPECT_EQ(m.GetColNames(), test.names);
    }
}

TEST(MatrixCsv, FindsColumnsByName)
{
    const CsvFile file("a,b,a\n1,2,3\n4,5,6\n");
    Matrix m(file.GetPath(), true);
    EXPECT_EQ(m.GetColumn(u"b"), (Values{2, 5}));
    EXPECT_EQ(m.GetColumn(u"a"), (Values{1, 4})) << "the first of two";
    EXPECT_EQ(m.GetColumn(u"A"), Values());

    m.ScalarDivideColumnVector(m.GetColumn(u"a"));   // an own column, which changes on the way
    ExpectMatrix(m, {{1, 2, 3}, {1, 1.25, 1.5}});
    EXPECT_EQ(m.GetColNames().size(), 3U);
    Matrix copy = m;
    Matrix::Add(copy, m, m);
    EXPECT_TRUE(copy.GetColNames().empty()) << "an output has other columns than the file";
    m.SetSize(2, 2);
    EXPECT_EQ(m.GetColumn(u"a"), Values()) << "names go with the number of columns";
}

TEST(MatrixCsv, NamesTheFileThatCannotBeRead)
{
    EXPECT_LOGIC_ASSERT(Matrix(u"/no/such/f\u00EFle.csv"), 0x2C7F48BA,
        "Cannot read \"/no/such/f\u00EFle.csv\": No such file or directory");
}

TEST(MatrixCsv, WritesSixDigits)
{
    EXPECT_EQ(Matrix().ToCsvString(), TString());
    EXPECT_EQ(Make({{1.0 / 3.0, -2e-7, 1234567}, {kNaN, -kInf, -0.0}}).ToCsvString(),
        TString(u"0.333333,-2e-07,1.23457e+06\nnan,-inf,-0\n"));
    const CsvFile file("a, b\n1,x\n");
    const TString text = Matrix(file.GetPath(), true).ToCsvString();
    EXPECT_EQ(text, TString(u"a, b\n1,nan\n"));
    const CsvFile again(text.ToUTF8());
    EXPECT_EQ(Matrix(again.GetPath(), true).ToCsvString(), text);
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
        {{3}, {3, 3}, {std::exp(3.0), std::exp(3.0)}, {3, 0}},
        {{2, kNaN, 4}, {2, 4}, {std::exp(2.0), std::exp(4.0)}, {3, 1}},   // squares 2, divided by 3 - 1
        {{-1, 0, 1, 4}, {-1, 4}, {std::exp(-1.0), std::exp(4.0)}, {1, std::sqrt(14.0 / 3.0)}},
    };
    for (const Case& test : cases)
    {
        SCOPED_TRACE(testing::PrintToString(test.v));
        EXPECT_EQ(LinearAlgebra::CalculateRange(test.v, false), test.range);
        EXPECT_EQ(LinearAlgebra::CalculateRange(test.v, true), test.expRange);
        EXPECT_EQ(LinearAlgebra::ComputeMeanStddev(test.v), test.ms);
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
