#include "brvcore/transforms/GeneralizedInverse.h"
#include "brvcore/transforms/JamaDecompositions.h"

#include <cmath>
#include <cstdint>

#include <benchmark/benchmark.h>
#include <jama/jama_eig.h>
#include <jama/jama_svd.h>

// Eigen and singular values of the wrapper beside the bare templates, which the wrapper must follow within a tenth.
namespace
{

using LinearAlgebra::Matrix;

// Numbers without a pattern, the same on every run. bench/compare_peers.py makes the same values.
Matrix Noise(std::int64_t rows, std::int64_t cols)
{
    Matrix m(static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(cols));
    double index = 0.0;
    for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
        for (std::uint64_t c = 0; c < m.GetNumCols(); ++c, ++index)
            m(r, c) = std::sin(12.9898 * index * index);
    return m;
}

Matrix SymmetricNoise(std::int64_t n)
{
    Matrix m = Noise(n, n);
    for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
        for (std::uint64_t c = 0; c < r; ++c)
            m(c, r) = m(r, c);
    return m;
}

TNT::Array2D<double> ToArray(const Matrix& m)
{
    TNT::Array2D<double> array(static_cast<int>(m.GetNumRows()), static_cast<int>(m.GetNumCols()));
    for (int r = 0; r < array.dim1(); ++r)
        for (int c = 0; c < array.dim2(); ++c)
            array[r][c] = m(static_cast<std::uint64_t>(r), static_cast<std::uint64_t>(c));
    return array;
}

template <typename Decomposition, typename Input> void Run(benchmark::State& state, const Input& input)
{
    for (auto _ : state)
    {
        Decomposition decomposition(input);
        benchmark::DoNotOptimize(decomposition);
    }
}

void BM_EigenGeneral(benchmark::State& state)
{
    Run<LinearAlgebra::EigenDecomposition>(state, Noise(state.range(0), state.range(0)));
}

void BM_EigenGeneralBare(benchmark::State& state)
{
    Run<JAMA::Eigenvalue<double>>(state, ToArray(Noise(state.range(0), state.range(0))));
}

void BM_EigenSymmetric(benchmark::State& state)
{
    Run<LinearAlgebra::EigenDecomposition>(state, SymmetricNoise(state.range(0)));
}

void BM_EigenSymmetricBare(benchmark::State& state)
{
    Run<JAMA::Eigenvalue<double>>(state, ToArray(SymmetricNoise(state.range(0))));
}

void BM_SingularValues(benchmark::State& state)
{
    Run<LinearAlgebra::SingularValueDecomposition>(state, Noise(state.range(0), state.range(0)));
}

void BM_SingularValuesBare(benchmark::State& state)
{
    Run<JAMA::SVD<double>>(state, ToArray(Noise(state.range(0), state.range(0))));
}

void BM_GeneralizedInverse(benchmark::State& state)
{
    const Matrix a = Noise(2 * state.range(0), state.range(0));
    for (auto _ : state)
    {
        LinearAlgebra::GeneralizedInverse inverse(a, 1e-9);
        benchmark::DoNotOptimize(inverse);
    }
}

BENCHMARK(BM_EigenGeneral)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EigenGeneralBare)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EigenSymmetric)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EigenSymmetricBare)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingularValues)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SingularValuesBare)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GeneralizedInverse)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);

}   // namespace
