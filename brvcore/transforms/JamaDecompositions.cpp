#include "brvcore/transforms/JamaDecompositions.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/CountingDouble.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include <jama/jama_eig.h>
#include <jama/jama_svd.h>

#if defined(__GNUC__) && !defined(__clang__)
// False: the compiler does not follow the reference counts of TNT's arrays.
#pragma GCC diagnostic ignored "-Wuse-after-free"
#endif

// The installed templates loop for ever on some finite matrices, on NaN and on infinity, leave their arrays when a
// matrix has fewer rows than columns, and overflow near the largest doubles. Hence: what is not finite is answered at
// once, a wide matrix is transposed, extreme magnitudes are scaled by a power of two, and an iteration that does not
// end is broken off (CountingDouble.h) and tried again on an orthogonally similar (or equivalent) matrix, since the
// failures hang on exact zeros and coincidences that a reflection in a general direction removes. A shift of the
// diagonal does not.
namespace LinearAlgebra
{
namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t kMaxElements = std::numeric_limits<int>::max() - 1;   // the library indexes by int
constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();
constexpr int kReflections = 6;          // two have been enough for every matrix met so far
constexpr int kUnscaledExponent = 400;   // from 2^-400 to 2^400, products and squares of elements keep their precision

std::vector<double> MissingVector(std::uint64_t size)
{
    return std::vector<double>(size, kNaN);
}

Matrix MissingMatrix(std::uint64_t rows, std::uint64_t cols)
{
    Matrix m(rows, cols);
    for (std::uint64_t c = 0; c < cols; ++c)
        std::fill_n(m.GetColumnData(c), rows, kNaN);
    return m;
}

// NaN when any element is NaN or infinite.
double LargestMagnitude(const Matrix& m)
{
    double largest = 0.0;
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
    {
        const double* column = m.GetColumnData(c);
        for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
        {
            if (!std::isfinite(column[r]))
                return kNaN;
            largest = std::max(largest, std::fabs(column[r]));
        }
    }
    return largest;
}

bool IsFinite(const std::vector<double>& v)
{
    return std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
}

// Arithmetic on the smallest doubles, beside large ones, can leave reflections that are not orthogonal. It shows in the
// length of some column, where rounding alone leaves a few units of 1e-16.
bool HasUnitColumns(const Matrix& m)
{
    const double tolerance = 1e-13 * static_cast<double>(m.GetNumRows() + m.GetNumCols());
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
    {
        const double* column = m.GetColumnData(c);
        const double squares = std::inner_product(column, column + m.GetNumRows(), column, 0.0);
        if (!(std::fabs(squares - 1.0) <= tolerance))
            return false;
    }
    return true;
}

// The power of two that brings the largest magnitude into the safe range: 0 for every matrix already there. Small
// matrices are scaled without loss; of large ones, elements vanish that are 2^-1400 of the largest.
int ScalingExponent(double largest)
{
    if (largest == 0.0)
        return 0;
    const int exponent = std::ilogb(largest);
    return std::clamp(exponent, -kUnscaledExponent, kUnscaledExponent) - exponent;
}

void Scale(std::vector<double>& v, int exponent)
{
    if (exponent != 0)
        for (double& x : v)
            x = std::ldexp(x, exponent);
}

Matrix Scaled(const Matrix& m, int exponent)
{
    Matrix scaled = m;
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        std::transform(m.GetColumnData(c), m.GetColumnData(c) + m.GetNumRows(), scaled.GetColumnData(c),
            [exponent](double x) { return std::ldexp(x, exponent); });
    return scaled;
}

// I - 2 u u^T / (u^T u), a reflection in a direction that is the same on every machine and has no zero and no pattern.
class Reflection
{
public:
    Reflection(std::uint64_t size, int attempt) : m_u(size)
    {
        double squares = 0.0;
        for (std::uint64_t i = 0; i < size; ++i)
        {
            const double turns =
                static_cast<double>(i + 1) * attempt * 0.6180339887498949;   // equidistributed fractions
            m_u[i] = 0.5 + (turns - std::floor(turns));
            squares += m_u[i] * m_u[i];
        }
        m_factor = 2.0 / squares;
    }

    void ApplyFromLeft(Matrix& m) const
    {
        for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        {
            double* column = m.GetColumnData(c);
            double product = 0.0;
            for (std::size_t r = 0; r < m_u.size(); ++r)
                product += m_u[r] * column[r];
            for (std::size_t r = 0; r < m_u.size(); ++r)
                column[r] -= m_factor * product * m_u[r];
        }
    }

    void ApplyFromRight(Matrix& m) const
    {
        std::vector<double> product(m.GetNumRows());
        for (std::size_t c = 0; c < m_u.size(); ++c)
            for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
                product[r] += m_u[c] * m.GetColumnData(c)[r];
        for (std::size_t c = 0; c < m_u.size(); ++c)
            for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
                m.GetColumnData(c)[r] -= m_factor * m_u[c] * product[r];
    }

private:
    std::vector<double> m_u;
    double m_factor = 0.0;
};

template <typename Real> TNT::Array2D<Real> ToArray(const Matrix& m)
{
    TNT::Array2D<Real> array(static_cast<int>(m.GetNumRows()), static_cast<int>(m.GetNumCols()));
    for (int r = 0; r < array.dim1(); ++r)
        for (int c = 0; c < array.dim2(); ++c)
            array[r][c] = m(static_cast<std::uint64_t>(r), static_cast<std::uint64_t>(c));
    return array;
}

double ToDouble(EigenReal x)
{
    return x.Get();
}

double ToDouble(SingularReal x)
{
    return x;
}

template <typename Real> Matrix ToMatrix(const TNT::Array2D<Real>& array)
{
    Matrix m(static_cast<std::uint64_t>(array.dim1()), static_cast<std::uint64_t>(array.dim2()));
    for (int r = 0; r < array.dim1(); ++r)
        for (int c = 0; c < array.dim2(); ++c)
            m(static_cast<std::uint64_t>(r), static_cast<std::uint64_t>(c)) = ToDouble(array[r][c]);
    return m;
}

template <typename Real> std::vector<double> ToVector(const TNT::Array1D<Real>& array)
{
    std::vector<double> v(static_cast<std::size_t>(array.dim()));
    for (int i = 0; i < array.dim(); ++i)
        v[static_cast<std::size_t>(i)] = ToDouble(array[i]);
    return v;
}

bool IsSymmetric(const Matrix& m)
{
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        for (std::uint64_t r = 0; r < c; ++r)
            if (m(r, c) != m(c, r))
                return false;
    return true;
}

struct EigenFactors
{
    std::vector<double> real;
    std::vector<double> imag;
    Matrix vectors;
};

// Empty when the iteration fails.
std::optional<EigenFactors> TryEigen(const Matrix& a, bool isSymmetric)
{
    // 30 steps per eigenvalue, as EISPACK and LAPACK allow. A symmetric step is one test, a general one looks through
    // the active rows twice.
    const auto n = static_cast<std::int64_t>(a.GetNumRows());
    const std::int64_t steps = 30 * std::max<std::int64_t>(n, 10);
    t_remainingTests = isSymmetric ? kUnlimited : steps * 2 * n;
    t_remainingSymmetricTests = isSymmetric ? steps : kUnlimited;
    try
    {
        JAMA::Eigenvalue<EigenReal> eigen(ToArray<EigenReal>(a));
        TNT::Array1D<EigenReal> real;
        TNT::Array1D<EigenReal> imag;
        TNT::Array2D<EigenReal> vectors;
        eigen.getRealEigenvalues(real);
        eigen.getImagEigenvalues(imag);
        eigen.getV(vectors);
        EigenFactors factors{ToVector(real), ToVector(imag), ToMatrix(vectors)};
        const bool areVectorsGood =
            isSymmetric ? HasUnitColumns(factors.vectors) : std::isfinite(LargestMagnitude(factors.vectors));
        if (IsFinite(factors.real) && IsFinite(factors.imag) && areVectorsGood)
            return factors;
    }
    catch (const NotConverged&)
    {
    }
    return std::nullopt;
}

std::optional<EigenFactors> TryEigenReflected(const Matrix& a, bool isSymmetric, int attempt)
{
    const Reflection reflection(a.GetNumRows(), attempt);
    Matrix similar = a;
    reflection.ApplyFromLeft(similar);
    reflection.ApplyFromRight(similar);
    if (isSymmetric)   // rounding must not change the kind of the matrix
        for (std::uint64_t c = 0; c < similar.GetNumCols(); ++c)
            for (std::uint64_t r = 0; r < c; ++r)
                similar(c, r) = similar(r, c);
    std::optional<EigenFactors> factors = TryEigen(similar, isSymmetric);
    if (factors)
        reflection.ApplyFromLeft(factors->vectors);
    return factors;
}

std::optional<EigenFactors> ConvergedEigen(const Matrix& a)
{
    const bool isSymmetric = IsSymmetric(a);
    std::optional<EigenFactors> factors = TryEigen(a, isSymmetric);
    for (int attempt = 1; !factors && attempt <= kReflections; ++attempt)
        factors = TryEigenReflected(a, isSymmetric, attempt);
    return factors;
}

struct SingularFactors
{
    Matrix u;
    std::vector<double> values;
    Matrix v;
};

// For at least as many rows as columns. Empty when the iteration fails.
std::optional<SingularFactors> TrySingular(const Matrix& a)
{
    // 30 steps per singular value, as LINPACK allows; a step takes six absolute values for every active column, and
    // seven.
    const auto n = static_cast<std::int64_t>(a.GetNumCols());
    t_remainingTests = 30 * std::max<std::int64_t>(n, 10) * (6 * n + 7);
    try
    {
        JAMA::SVD<SingularReal> svd(ToArray<SingularReal>(a));
        TNT::Array2D<SingularReal> u;
        TNT::Array1D<SingularReal> values;
        TNT::Array2D<SingularReal> v;
        svd.getU(u);
        svd.getSingularValues(values);
        svd.getV(v);
        SingularFactors factors{ToMatrix(u), ToVector(values), ToMatrix(v)};
        if (IsFinite(factors.values) && HasUnitColumns(factors.u) && HasUnitColumns(factors.v))
            return factors;
    }
    catch (const NotConverged&)
    {
    }
    return std::nullopt;
}

std::optional<SingularFactors> TrySingularReflected(const Matrix& a, int attempt)
{
    const Reflection left(a.GetNumRows(), attempt);
    const Reflection right(a.GetNumCols(), attempt);
    Matrix equivalent = a;
    left.ApplyFromLeft(equivalent);
    right.ApplyFromRight(equivalent);
    std::optional<SingularFactors> factors = TrySingular(equivalent);
    if (factors)
    {
        left.ApplyFromLeft(factors->u);
        right.ApplyFromLeft(factors->v);
    }
    return factors;
}

std::optional<SingularFactors> ConvergedSingular(const Matrix& a)
{
    std::optional<SingularFactors> factors = TrySingular(a);
    for (int attempt = 1; !factors && attempt <= kReflections; ++attempt)
        factors = TrySingularReflected(a, attempt);
    return factors;
}

}   // namespace

EigenDecomposition::EigenDecomposition(const Matrix& inMatrix)
{
    const std::uint64_t n = inMatrix.GetNumRows();
    BRV_LOGIC_ASSERT(0x3DC82DCD, n > 0);
    BRV_LOGIC_ASSERT(0x8B7E8E2D, n == inMatrix.GetNumCols());
    BRV_LOGIC_ASSERT(0xE99DFB15, n * n <= kMaxElements);

    const double largest = LargestMagnitude(inMatrix);
    if (std::isnan(largest))
    {
        m_realEigenvalues = MissingVector(n);
        m_imagEigenvalues = MissingVector(n);
        m_eigenvectors = MissingMatrix(n, n);
        return;
    }
    const int exponent = ScalingExponent(largest);
    std::optional<EigenFactors> factors = ConvergedEigen(exponent == 0 ? inMatrix : Scaled(inMatrix, exponent));
    if (!factors)
        BRV_LOGIC_ERROR(0x26A5D7AD, u"The eigenvalues of the matrix did not converge");
    Scale(factors->real, -exponent);
    Scale(factors->imag, -exponent);
    m_realEigenvalues = std::move(factors->real);
    m_imagEigenvalues = std::move(factors->imag);
    m_eigenvectors = std::move(factors->vectors);
}

SingularValueDecomposition::SingularValueDecomposition(const Matrix& inMatrix)
{
    BRV_LOGIC_ASSERT(0x8B74FB10, inMatrix.GetNumRows() > 0);
    BRV_LOGIC_ASSERT(0xE0D95012, inMatrix.GetNumCols() > 0);
    BRV_LOGIC_ASSERT(0xB6B2C3C7, inMatrix.GetNumRows() * inMatrix.GetNumCols() <= kMaxElements);

    const std::uint64_t rank = std::min(inMatrix.GetNumRows(), inMatrix.GetNumCols());
    const double largest = LargestMagnitude(inMatrix);
    if (std::isnan(largest))
    {
        m_u = MissingMatrix(inMatrix.GetNumRows(), rank);
        m_singularValues = MissingVector(rank);
        m_v = MissingMatrix(inMatrix.GetNumCols(), rank);
        return;
    }
    const bool isWide = inMatrix.GetNumRows() < inMatrix.GetNumCols();
    const int exponent = ScalingExponent(largest);
    Matrix changed;
    if (isWide)
        Matrix::Transpose(changed, inMatrix);
    if (exponent != 0)
        changed = Scaled(isWide ? changed : inMatrix, exponent);
    std::optional<SingularFactors> factors = ConvergedSingular(isWide || exponent != 0 ? changed : inMatrix);
    if (!factors)
        BRV_LOGIC_ERROR(0xDD0CA699, u"The singular values of the matrix did not converge");
    if (isWide)
        std::swap(factors->u, factors->v);
    Scale(factors->values, -exponent);
    m_u = std::move(factors->u);
    m_singularValues = std::move(factors->values);
    m_v = std::move(factors->v);
}

}   // namespace LinearAlgebra
