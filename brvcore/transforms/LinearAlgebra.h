#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <utility>
#include <vector>

// The dense matrix of doubles in which the analytic modules exchange data, and functions on plain vectors. The chief
// header of the family: it also brings the decompositions.
//
// A missing value is NaN. Arithmetic propagates it, the range functions skip it; division by zero and powers of
// negative numbers give IEEE results. Every sum runs in index order with one rounding per operation, so a result has
// the same bits on every machine, except which of the many NaN a missing one is; pow, exp and functions of the caller
// are as exact as their library. A violated precondition throws LogicException with the condition as its text, before anything is written. Objects are plain
// values without locks.
namespace LinearAlgebra
{

// (mean, standard deviation), or any other centre and scale, of one column.
using MeanStddev = std::pair<double, double>;
// (minimum, maximum) of one column.
using Range = std::pair<double, double>;

// Rows x columns, stored by column: one contiguous vector per column. A dimension is below 2^32.
//
// Most operations come as a pair: a member that changes the object, and a static one that writes into `out`, which it
// first gives the shape of the result and which must be none of the inputs ("&out != &lhs", "&out != &rhs", "&out !=
// &factor", "&out != &divisor", "&out != &in"), nor hold a vector among them as one of its columns
// ("!out.IsOwnColumn(factor)" with the name of the vector); a member may be given a column of its object. An output
// loses the column names that it had, except that of Copy, which keeps its shape and its names. Element-wise operations
// cost O(rows * cols) and do not allocate when `out` has the shape already.
class BRV_EXPORT Matrix
{
public:
    // Shape and access -------------------------------------------------------------------------------------------

    Matrix() = default;   // 0 x 0
    // All elements 0.0. Throws as SetSize does.
    Matrix(std::uint64_t rows, std::uint64_t cols);
    // Reads comma-separated values, one line per row, in UTF-8, or in UTF-16 with a byte order mark; lines end with a
    // line feed or the end of the file, and a carriage return in front of either is no part of the line, nor of the
    // last name in a header; empty lines are skipped. The first line fixes the number of
    // columns and, with hasHeader, their names, which are kept as they stand. A cell is the number between ASCII white
    // space, as TString::ToDouble reads it; beyond the range of doubles it is infinity or zero. A cell that is no
    // number or is not there is NaN, and what exceeds the first line is ignored. A file of one line that is a header
    // gives a 0 x 0 matrix without names. Needs the memory of the file, which for a UTF-16 file is three times its
    // size, 8 bytes a cell, missing ones included, and some 50 bytes a column beside its name. Throws LogicException 0x2C7F48BA with the path when the file cannot be read.
    explicit Matrix(const TString& path, bool hasHeader = false);

    Matrix(const Matrix&) = default;
    Matrix& operator=(const Matrix&) = default;
    Matrix(Matrix&& other) noexcept;   // leaves `other` 0 x 0
    Matrix& operator=(Matrix&& other) noexcept;
    ~Matrix() = default;

    // Keeps the values of the common block, and the names while the number of columns stays; new elements are 0.0.
    // Throws LogicException 0x2F20F2B5 for a dimension of 2^32 or above, and changes nothing. When memory runs out
    // (std::bad_alloc) the matrix is 0 x 0 without names.
    void SetSize(std::uint64_t rows, std::uint64_t cols);

    std::uint64_t GetNumRows() const noexcept { return m_rows; }
    std::uint64_t GetNumCols() const noexcept { return m_cols; }

    // Element access; the caller answers for row < rows and column < cols.
    double operator()(std::uint64_t row, std::uint64_t column) const { return m_columns[column][row]; }
    double& operator()(std::uint64_t row, std::uint64_t column) { return m_columns[column][row]; }

    // The contiguous values of one column, as many as there are rows; valid until the shape changes.
    const double* GetColumnData(std::uint64_t column) const { return m_columns[column].data(); }
    double* GetColumnData(std::uint64_t column) { return m_columns[column].data(); }

    // The names of a header that was read from a file; empty otherwise.
    const std::vector<TString>& GetColNames() const noexcept { return m_colNames; }
    // The first column with this name, which follows its values and is valid until the shape changes or the matrix is
    // assigned to, moved from or destroyed. Empty, and valid for ever, when there is none.
    const std::vector<double>& GetColumn(const TString& name) const;

    // The header, if any, and the rows; cells by commas with six significant digits, each line ended by a line feed.
    // NaN is "nan", which reads back.
    TString ToCsvString() const;

    // True when shapes agree and each |b - a| <= max(|a|, 0.001) * tolerance. NaN equals everything.
    static bool FuzzyEqual(const Matrix& a, const Matrix& b, double tolerance);

    // Element-wise -----------------------------------------------------------------------------------------------

    // Shapes must agree: "numRows == rhs.GetNumRows()", "numCols == rhs.GetNumCols()".
    void Add(const Matrix& rhs);
    static void Add(Matrix& out, const Matrix& lhs, const Matrix& rhs);
    void Subtract(const Matrix& rhs);
    static void Subtract(Matrix& out, const Matrix& lhs, const Matrix& rhs);

    // Column by column; 0.0 for an empty matrix.
    double Sum() const;

    void ScalarMultiply(double factor);
    static void ScalarMultiply(Matrix& out, const Matrix& lhs, double factor);
    // Element by element; a factor of one column serves every column. "numRows == factor.GetNumRows()",
    // "numCols == factorNumCols || 1 == factorNumCols".
    void ScalarMultiply(const Matrix& factor);
    static void ScalarMultiply(Matrix& out, const Matrix& lhs, const Matrix& factor);
    // Column c times factor[c]. "numCols == tsize(factor)".
    void ScalarMultiplyRowVector(const std::vector<double>& factor);
    static void ScalarMultiplyRowVector(Matrix& out, const Matrix& lhs, const std::vector<double>& factor);
    // Row r times factor[r]. "numRows == tsize(factor)".
    void ScalarMultiplyColumnVector(const std::vector<double>& factor);
    static void ScalarMultiplyColumnVector(Matrix& out, const Matrix& lhs, const std::vector<double>& factor);

    void ScalarDivide(double divisor);
    static void ScalarDivide(Matrix& out, const Matrix& lhs, double divisor);
    // As for the factors: "numRows == divisor.GetNumRows()", "numCols == divisorNumCols || 1 == divisorNumCols".
    void ScalarDivide(const Matrix& divisor);
    static void ScalarDivide(Matrix& out, const Matrix& lhs, const Matrix& divisor);
    void ScalarDivideRowVector(const std::vector<double>& divisor);   // "numCols == tsize(divisor)"
    static void ScalarDivideRowVector(Matrix& out, const Matrix& lhs, const std::vector<double>& divisor);
    void ScalarDivideColumnVector(const std::vector<double>& divisor);   // "numRows == tsize(divisor)"
    static void ScalarDivideColumnVector(Matrix& out, const Matrix& lhs, const std::vector<double>& divisor);

    // pow(x, power) of every element.
    void ScalarPower(double power);
    static void ScalarPower(Matrix& out, const Matrix& lhs, double power);
    // function(x) of every element.
    void ScalarMath(double (*function)(double));
    static void ScalarMath(Matrix& out, const Matrix& in, double (*function)(double));

    // Column c minus ms[c].first. "numCols == ms.size()".
    void Center(const std::vector<MeanStddev>& ms);
    static void Center(Matrix& out, const Matrix& in, const std::vector<MeanStddev>& ms);
    // Column c as (x - mean) / deviation; a column whose deviation is not above 0 stays as it is. "numCols ==
    // ms.size()".
    void Standardize(const std::vector<MeanStddev>& ms);
    static void Standardize(Matrix& out, const Matrix& in, const std::vector<MeanStddev>& ms);

    // Products and rearrangements --------------------------------------------------------------------------------

    static void Transpose(Matrix& out, const Matrix& in);
    // The main diagonal as one column.
    static void Diagonal(Matrix& out, const Matrix& in);
    // The square matrix with this diagonal and zeros elsewhere.
    static void Diagonal(Matrix& out, const std::vector<double>& diagonal);

    // lhs * rhs. "lhs.GetNumCols() == rhs.GetNumRows()".
    static void Multiply(Matrix& out, const Matrix& lhs, const Matrix& rhs);
    // lhs * rhs as one column. "numCols == rhs.size()".
    static void Multiply(Matrix& out, const Matrix& lhs, const std::vector<double>& rhs);
    // m * in. "numCols == in.size()".
    static void MultiplyColumnVector(std::vector<double>& out, const Matrix& m, const std::vector<double>& in);
    // in transposed * m. "numRows == in.size()".
    static void MultiplyRowVector(std::vector<double>& out, const std::vector<double>& in, const Matrix& m);

    // Copies keep the shape and the names of a matrix that is written to.
    // The first rows of `in` to the one column of out. "outRows <= tsize(in)", "outCols == 1".
    static void Copy(Matrix& out, const std::vector<double>& in);
    // The top-left block of `in`. "outRows <= in.GetNumRows()", "outCols <= in.GetNumCols()".
    static void Copy(Matrix& out, const Matrix& in);
    // The one column of `in`. "in.GetNumCols() == 1".
    static void Copy(std::vector<double>& out, const Matrix& in);

    // Per row and per column -------------------------------------------------------------------------------------

    static void RowSums(std::vector<double>& out, const Matrix& m);
    static void ColSums(std::vector<double>& out, const Matrix& m);
    // By the running update mean += (x - mean) / k; zeros over an empty dimension. NaN propagates.
    static void RowMeans(std::vector<double>& out, const Matrix& m);
    static void ColMeans(std::vector<double>& out, const Matrix& m);
    // CalculateRange and ComputeMeanStddev of each column.
    static void ColRanges(std::vector<Range>& out, const Matrix& m);
    static void ColMeanStddevs(std::vector<MeanStddev>& out, const Matrix& m);

private:
    // SetSize, where new elements are `fill`.
    void Resize(std::uint64_t rows, std::uint64_t cols, double fill);
    // SetSize for an output: the names of what it held before go.
    void Reset(std::uint64_t rows, std::uint64_t cols);
    bool IsOwnColumn(const std::vector<double>& v) const noexcept;

    std::vector<std::vector<double>> m_columns;
    std::uint64_t m_rows = 0;
    std::uint64_t m_cols = 0;
    std::vector<TString> m_colNames;   // of a file with a header; empty otherwise
};

// A vector of rows to a matrix; each row is as long as the first, or LogicException 0x7A0C4F31.
BRV_EXPORT void RowMVectorToColMMatrix(const std::vector<std::vector<double>>& rows, Matrix& out);
// A matrix to a vector of its rows.
BRV_EXPORT void ColMMatrixToRowMVector(const Matrix& m, std::vector<std::vector<double>>& out);

// (minimum, maximum) of the present values, or exp of both, and (0, 0) for an empty vector. The search starts from the
// largest double as minimum and its negative as maximum, which remain when all values are missing. Nor does a value
// beyond the finite doubles replace the start on its side: {inf, inf} gives (largest double, inf).
BRV_EXPORT Range CalculateRange(const std::vector<double>& v, bool exponentiate);

// Mean of the present values, and sqrt(sum of squared deviations / (n - 1)) by Welford's recurrence, where n is the
// length of the vector, missing values included, and the divisor is 1 for n = 1. (0, 0) for an empty vector.
BRV_EXPORT MeanStddev ComputeMeanStddev(const std::vector<double>& v);

// v - mean.
BRV_EXPORT void Center(std::vector<double>& v, const MeanStddev& ms);
// (v - mean) / deviation; left as it is unless the deviation is above 0.
BRV_EXPORT void Standardize(std::vector<double>& v, const MeanStddev& ms);
// v * factor; left as it is unless the factor is above 0.
BRV_EXPORT void Scale(std::vector<double>& v, double factor);

// The product element by element of vectors of one length, or LogicException with "a.size() == b.size()"; out may be
// one of them.
BRV_EXPORT void ScalarMultiply(std::vector<double>& out, const std::vector<double>& a, const std::vector<double>& b);
// function(x) of every value; out may be in.
BRV_EXPORT void ScalarMath(std::vector<double>& out, const std::vector<double>& in, double (*function)(double));

}   // namespace LinearAlgebra

#include "brvcore/transforms/CholeskyDecomposition.h"
#include "brvcore/transforms/GeneralizedInverse.h"
#include "brvcore/transforms/JamaDecompositions.h"
#include "brvcore/transforms/QRDecomposition.h"
