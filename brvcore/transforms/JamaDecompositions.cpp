#include "brvcore/transforms/JamaDecompositions.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/BoundedReal.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include <jama/jama_eig.h>
#include <jama/jama_svd.h>

#if defined(__GNUC__) && !defined(__clang__)
// False: the compiler does not follow the reference counts of TNT's arrays.
#pragma GCC diagnostic ignored "-Wuse-after-free"
#endif

// The installed templates loop for ever on some finite matrices, on NaN and on infinity, leave their arrays when a
// matrix has fewer rows than columns, and overflow near the largest doubles. Hence: what is not finite is answered at
// once, a wide matrix is transposed, extreme magnitudes are scaled by a power of two, and an iteration that does not
// end is broken off (BoundedReal.h) and tried again on a similar (or, for singular values, equivalent) matrix.
//
// Two kinds of matrices make the general eigenvalue iteration repeat itself: patterns of exact zeros, which a
// reflection in a general direction fills, and orthogonal or skew-symmetric matrices, which every reflection leaves of
// their kind. Scaling rows up and columns down by powers of two takes them out of it. A shift of the diagonal helps
// against neither.
namespace LinearAlgebra
{
namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::uint64_t kMaxElements = std::numeric_limits<int>::max() - 1;   // the library indexes by int
constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();
constexpr int kRetries = 6;
constexpr int kUnscaledExponent = 100;   // largest elements from 2^-100 to 2^100 are left as they are
constexpr int kNarrowRange = 100;        // elements within 2^100 of each other are ordinary
constexpr double kGoodError = 1e-14;     // rounding alone stays below it
constexpr double kBearableError = 1e-11;

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

struct Magnitudes
{
    double largest = 0.0;                                        // NaN when any element is NaN or infinite
    double smallest = std::numeric_limits<double>::infinity();   // of the elements other than 0

    // Elements so far apart can leave wrong vectors: products underflow, and small eigenvalues drown.
    bool AreFarApart() const { return smallest < std::ldexp(largest, -kNarrowRange); }
};

// Magnitudes are compared by their bits, whose order is the same and takes half the time.
Magnitudes GetMagnitudes(const Matrix& m)
{
    constexpr std::uint64_t kNoSign = ~(std::uint64_t{1} << 63);
    std::uint64_t largest = 0;
    std::uint64_t beforeSmallest = std::bit_cast<std::uint64_t>(kInfinity) - 1;   // a 0 wraps round, and is no minimum
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
    {
        const double* column = m.GetColumnData(c);
        for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
        {
            const std::uint64_t bits = std::bit_cast<std::uint64_t>(column[r]) & kNoSign;
            largest = std::max(largest, bits);
            beforeSmallest = std::min(beforeSmallest, bits - 1);
        }
    }
    if (!std::isfinite(std::bit_cast<double>(largest)))
        return {kNaN, kNaN};
    return {std::bit_cast<double>(largest), std::bit_cast<double>(beforeSmallest + 1)};
}

bool IsFinite(const std::vector<double>& v)
{
    return std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
}

// The largest deviation of a column's squared length from 1, over the root of the dimensions, as rounding errors grow;
// infinite for what is not finite.
double LengthError(const Matrix& m)
{
    double error = 0.0;
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
    {
        const double* column = m.GetColumnData(c);
        const double deviation = std::fabs(std::inner_product(column, column + m.GetNumRows(), column, 0.0) - 1.0);
        error = std::isfinite(deviation) ? std::max(error, deviation) : kInfinity;
    }
    return error / std::sqrt(static_cast<double>(m.GetNumRows() + m.GetNumCols()));
}

// The power of two that brings the largest magnitude near 1: 0 for every matrix not far from there.
int ScalingExponent(double largest)
{
    if (largest == 0.0)
        return 0;
    const int exponent = std::ilogb(largest);
    return std::abs(exponent) <= kUnscaledExponent ? 0 : -exponent;
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

// The first factors of a good quality, else the best, from the matrix itself (attempt 0) and its substitutes. Empty when
// all fail.
template <typename Factors, typename Function> std::optional<Factors> BestFactors(const Function& tryFactors)
{
    std::optional<Factors> best;
    for (int attempt = 0; attempt <= kRetries; ++attempt)
    {
        std::optional<Factors> factors = tryFactors(attempt);
        if (factors && factors->error <= kGoodError)
            return factors;
        if (factors && factors->error <= (best ? best->error : kBearableError))
            best = std::move(factors);
    }
    return best;
}

struct EigenFactors
{
    std::vector<double> real;
    std::vector<double> imag;
    Matrix vectors;
    double error = 0.0;
};

// The largest |A v - lambda v| relative to |A| and |v|, over the dimension; infinite for what is not finite.
// A complex pair shares the two columns that hold the real and the imaginary part.
double EigenResidual(const Matrix& a, const EigenFactors& factors)
{
    const std::uint64_t n = a.GetNumRows();
    Matrix product;
    Matrix::Multiply(product, a, factors.vectors);
    const double size = GetMagnitudes(a).largest;
    double error = 0.0;
    for (std::uint64_t c = 0; c < n; ++c)
    {
        const double p = factors.real[c];
        const double q = factors.imag[c];
        const double* column = factors.vectors.GetColumnData(c);
        const double* partner = factors.vectors.GetColumnData(q > 0.0 ? c + 1 : q < 0.0 ? c - 1 : c);
        double length = 0.0;
        double difference = 0.0;
        for (std::uint64_t r = 0; r < n; ++r)
        {
            length = std::max({length, std::fabs(column[r]), std::fabs(partner[r])});
            difference = std::max(difference, std::fabs(product(r, c) - p * column[r] + q * partner[r]));
        }
        const double relative = difference / (size * length);
        error = std::isfinite(relative) ? std::max(error, relative) : kInfinity;
    }
    return error / static_cast<double>(n);
}

// Empty when the iteration fails.
std::optional<EigenFactors> TryEigen(const Matrix& a, bool isSymmetric)
{
    // A symmetric step is one test, a general one looks through the active rows twice. Few matrices take more than
    // three steps for each eigenvalue; the limit allows thirty, with short steps many more, and bounds the time of an
    // attempt to a few times that of an ordinary call.
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
        if (isSymmetric)
            factors.error = LengthError(factors.vectors);
        else if (!std::isfinite(GetMagnitudes(factors.vectors).largest))
            factors.error = kInfinity;
        if (IsFinite(factors.real) && IsFinite(factors.imag))
            return factors;
    }
    catch (const NotConverged&)
    {
    }
    return std::nullopt;
}

// 0 and 1 in turn, beginning with another one each attempt.
int BalancingExponent(std::uint64_t index, int attempt)
{
    return static_cast<int>((index + static_cast<std::uint64_t>(attempt)) % 2);
}

// By the eigenvectors x of D R A R D^-1, with a reflection R and a diagonal D of powers of two, those of A are R D^-1 x.
std::optional<EigenFactors> TrySimilarEigen(const Matrix& a, bool isSymmetric, int attempt)
{
    const Reflection reflection(a.GetNumRows(), attempt);
    Matrix similar = a;
    reflection.ApplyFromLeft(similar);
    reflection.ApplyFromRight(similar);
    for (std::uint64_t c = 0; c < similar.GetNumCols(); ++c)
        if (isSymmetric)   // rounding must not change the kind of the matrix
            for (std::uint64_t r = 0; r < c; ++r)
                similar(c, r) = similar(r, c);
        else
            for (std::uint64_t r = 0; r < similar.GetNumRows(); ++r)
                similar(r, c) =
                    std::ldexp(similar(r, c), BalancingExponent(r, attempt) - BalancingExponent(c, attempt));

    std::optional<EigenFactors> factors = TryEigen(similar, IsSymmetric(similar));
    if (factors)
    {
        Matrix& vectors = factors->vectors;
        if (!isSymmetric)
            for (std::uint64_t c = 0; c < vectors.GetNumCols(); ++c)
                for (std::uint64_t r = 0; r < vectors.GetNumRows(); ++r)
                    vectors(r, c) = std::ldexp(vectors(r, c), -BalancingExponent(r, attempt));
        reflection.ApplyFromLeft(vectors);
    }
    return factors;
}

std::optional<EigenFactors> ConvergedEigen(const Matrix& a, bool areFarApart)
{
    const bool isSymmetric = IsSymmetric(a);
    return BestFactors<EigenFactors>(
        [&](int attempt)
        {
            std::optional<EigenFactors> factors =
                attempt == 0 ? TryEigen(a, isSymmetric) : TrySimilarEigen(a, isSymmetric, attempt);
            if (factors && (attempt > 0 || areFarApart))   // where all is ordinary, the product would cost a tenth
                factors->error = std::max(factors->error, EigenResidual(a, *factors));
            return factors;
        });
}

struct SingularFactors
{
    Matrix u;
    std::vector<double> values;
    Matrix v;
    double error = 0.0;
};

// For at least as many rows as columns. Empty when the iteration fails.
std::optional<SingularFactors> TrySingular(const Matrix& a)
{
    // A step takes six absolute values for every active column, and seven. The limit allows thirty steps for each
    // singular value, and more of short ones.
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
        factors.error = std::max(LengthError(factors.u), LengthError(factors.v));
        if (IsFinite(factors.values))
            return factors;
    }
    catch (const NotConverged&)
    {
    }
    return std::nullopt;
}

std::optional<SingularFactors> TryEquivalentSingular(const Matrix& a, int attempt)
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
    return BestFactors<SingularFactors>(
        [&a](int attempt) { return attempt == 0 ? TrySingular(a) : TryEquivalentSingular(a, attempt); });
}

}   // namespace

EigenDecomposition::EigenDecomposition(const Matrix& inMatrix)
{
    const std::uint64_t n = inMatrix.GetNumRows();
    BRV_LOGIC_ASSERT(0x3DC82DCD, n > 0);
    BRV_LOGIC_ASSERT(0x8B7E8E2D, n == inMatrix.GetNumCols());
    BRV_LOGIC_ASSERT(0xE99DFB15, n * n <= kMaxElements);

    const Magnitudes magnitudes = GetMagnitudes(inMatrix);
    if (std::isnan(magnitudes.largest))
    {
        m_realEigenvalues = MissingVector(n);
        m_imagEigenvalues = MissingVector(n);
        m_eigenvectors = MissingMatrix(n, n);
        return;
    }
    const int exponent = ScalingExponent(magnitudes.largest);
    std::optional<EigenFactors> factors =
        ConvergedEigen(exponent == 0 ? inMatrix : Scaled(inMatrix, exponent), magnitudes.AreFarApart());
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
    const Magnitudes magnitudes = GetMagnitudes(inMatrix);
    if (std::isnan(magnitudes.largest))
    {
        m_u = MissingMatrix(inMatrix.GetNumRows(), rank);
        m_singularValues = MissingVector(rank);
        m_v = MissingMatrix(inMatrix.GetNumCols(), rank);
        return;
    }
    const bool isWide = inMatrix.GetNumRows() < inMatrix.GetNumCols();
    const int exponent = ScalingExponent(magnitudes.largest);
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
