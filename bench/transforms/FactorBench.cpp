#include "brvcore/transforms/CholeskyDecomposition.h"
#include "brvcore/transforms/QRDecomposition.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

using namespace LinearAlgebra;

// Full rank, the same on every run. bench/compare_peers.py makes the same values.
Matrix Square(std::uint64_t n)
{
    Matrix a(n, n);
    for (std::uint64_t j = 0; j < n; ++j)
        for (std::uint64_t i = 0; i < n; ++i)
            a(i, j) = std::sin(static_cast<double>(i * i + 3 * j * j + i * j)) + (i == j ? 2.0 : 0.0);
    return a;
}

// Symmetric, diagonally dominant.
Matrix Symmetric(std::uint64_t n)
{
    Matrix a(n, n);
    for (std::uint64_t j = 0; j < n; ++j)
        for (std::uint64_t i = 0; i < n; ++i)
            a(i, j) = std::sin(static_cast<double>(i * j + i + j)) + (i == j ? static_cast<double>(n) : 0.0);
    return a;
}

void BM_QR(benchmark::State& state)
{
    const Matrix a = Square(static_cast<std::uint64_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(QRDecomposition(a).GetRank());
}
BENCHMARK(BM_QR)->Arg(50)->Arg(500)->Unit(benchmark::kMillisecond);

// A regression: many rows, ten variables.
void BM_LeastSquares(benchmark::State& state)
{
    const auto rows = static_cast<std::uint64_t>(state.range(0));
    Matrix a(rows, 10);
    for (std::uint64_t j = 0; j < 10; ++j)
        for (std::uint64_t i = 0; i < rows; ++i)
            a(i, j) = std::sin(static_cast<double>(i * (j + 1)));
    const std::vector<double> b(rows, 1.0);
    for (auto _ : state)
        benchmark::DoNotOptimize(QRDecomposition(a).Solve(b));
}
BENCHMARK(BM_LeastSquares)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Every column but the first depends on it.
void BM_QRRankOne(benchmark::State& state)
{
    const auto n = static_cast<std::uint64_t>(state.range(0));
    Matrix a(n, n);
    for (std::uint64_t j = 0; j < n; ++j)
        for (std::uint64_t i = 0; i < n; ++i)
            a(i, j) = static_cast<double>((i + 1) * (j + 1));
    for (auto _ : state)
        benchmark::DoNotOptimize(QRDecomposition(a).GetRank());
}
BENCHMARK(BM_QRRankOne)->Arg(500)->Unit(benchmark::kMillisecond);

void BM_QRFactorQ(benchmark::State& state)
{
    const QRDecomposition qr(Square(static_cast<std::uint64_t>(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(qr.GetQ());
}
BENCHMARK(BM_QRFactorQ)->Arg(500)->Unit(benchmark::kMillisecond);

// Factorisation and one right-hand side.
void BM_CholeskySolve(benchmark::State& state)
{
    const Matrix a = Symmetric(static_cast<std::uint64_t>(state.range(0)));
    const std::vector<double> b(a.GetNumRows(), 1.0);
    for (auto _ : state)
        benchmark::DoNotOptimize(CholeskyDecomposition(a).Solve(b));
}
BENCHMARK(BM_CholeskySolve)->Arg(50)->Arg(500)->Unit(benchmark::kMillisecond);

void BM_CholeskyInverse(benchmark::State& state)
{
    const Matrix a = Symmetric(static_cast<std::uint64_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(CholeskyDecomposition(a).Inverse());
}
BENCHMARK(BM_CholeskyInverse)->Arg(500)->Unit(benchmark::kMillisecond);

}   // namespace
