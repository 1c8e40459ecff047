#pragma once

#include "brvcore/transforms/LinearAlgebra.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

// What the tests of the dense matrix share: matrices from rows and from files, and their comparison.

using LinearAlgebra::Matrix;
using Rows = std::vector<std::vector<double>>;
using Values = std::vector<double>;

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();

inline Matrix Make(const Rows& rows)
{
    Matrix m;
    LinearAlgebra::RowMVectorToColMMatrix(rows, m);
    return m;
}

// Two values are the same when they are equal, with their signs, or both missing.
inline void ExpectSame(double actual, double expected)
{
    if (std::isnan(expected))
        EXPECT_TRUE(std::isnan(actual)) << actual;
    else
    {
        EXPECT_EQ(actual, expected);
        EXPECT_EQ(std::signbit(actual), std::signbit(expected)) << "of " << expected;
    }
}

inline void ExpectMatrix(const Matrix& m, const Rows& expected)
{
    Rows rows;
    LinearAlgebra::ColMMatrixToRowMVector(m, rows);
    ASSERT_EQ(rows.size(), expected.size());
    ASSERT_EQ(m.GetNumCols(), expected.empty() ? 0 : expected.front().size());
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
    explicit CsvFile(const std::string& bytes) { Write(bytes); }
    ~CsvFile() { unlink(m_path.c_str()); }
    CsvFile(const CsvFile&) = delete;
    CsvFile& operator=(const CsvFile&) = delete;

    TString GetPath() const { return TString::FromUTF8(m_path); }

private:
    void Write(const std::string& bytes)
    {
        std::string name = (std::filesystem::temp_directory_path() / "brvcore_matrix_XXXXXX").native();
        const int handle = mkstemp(name.data());
        ASSERT_GE(handle, 0) << name;
        close(handle);
        m_path = name;
        std::ofstream file(m_path, std::ios::binary);
        file << bytes;
        ASSERT_TRUE(file.flush()) << name;
    }

    std::string m_path;
};

inline Matrix FromCsv(const std::string& bytes)
{
    const CsvFile file(bytes);
    return Matrix(file.GetPath(), true);
}
