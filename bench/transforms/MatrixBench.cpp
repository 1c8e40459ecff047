#include "brvcore/transforms/LinearAlgebra.h"
#include "brvcore/transforms/MatrixKernels.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

namespace
{

using LinearAlgebra::Matrix;

// A slow and a fast wave: no two values alike, the same on every run. bench/compare_peers.py makes the same values.
Matrix Waves(std::int64_t rows, std::int64_t cols)
{
    Matrix m(static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(cols));
    double i = 0.0;
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        for (std::uint64_t r = 0; r < m.GetNumRows(); ++r, i += 1.0)
            m(r, c) = 100.0 + 10.0 * std::sin(0.7 * i) + std::sin(12.9898 * i);
    return m;
}

// Two square matrices. The counter is operations per second: a multiplication and an addition each.
void BM_MatrixProduct(benchmark::State& state)
{
    const Matrix a = Waves(state.range(0), state.range(0));
    const Matrix b = Waves(state.range(0), state.range(0));
    Matrix product;
    for (auto _ : state)
    {
        Matrix::Multiply(product, a, b);
        benchmark::DoNotOptimize(product.GetColumnData(0));
    }
    const auto n = static_cast<double>(state.range(0));
    state.counters["FLOP/s"] = benchmark::Counter(2.0 * n * n * n, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_MatrixProduct)->Arg(5)->Arg(20)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

// The same by instruction level.
void BM_MatrixProductLevel(benchmark::State& state)
{
    const MatrixKernels* const kernels = MatrixKernelsOfLevel(static_cast<int>(state.range(0)));
    if (kernels == nullptr)
        return state.SkipWithError("this processor has no such instructions");
    constexpr std::size_t kSize = 480;
    Matrix a = Waves(kSize, kSize);
    Matrix product(kSize, kSize);
    std::vector<double*> in(kSize);
    std::vector<double*> out(kSize);
    for (std::size_t c = 0; c < kSize; ++c)
    {
        in[c] = a.GetColumnData(c);
        out[c] = product.GetColumnData(c);
    }
    for (auto _ : state)
        MultiplyMatrices(*kernels, in.data(), kSize, kSize, in.data(), kSize, out.data());
    state.counters["FLOP/s"] =
        benchmark::Counter(2.0 * kSize * kSize * kSize, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_MatrixProductLevel)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

// Bytes are those of the input of a summary, and of inputs and output of an operation on elements.
void SetBytes(benchmark::State& state, const Matrix& m, int matrices)
{
    const auto bytes = static_cast<std::int64_t>(m.GetNumRows() * m.GetNumCols() * sizeof(double));
    state.SetBytesProcessed(state.iterations() * bytes * matrices);
}

void BM_MatrixAdd(benchmark::State& state)
{
    const Matrix a = Waves(state.range(0), state.range(1));
    const Matrix b = a;
    Matrix sum;
    for (auto _ : state)
    {
        Matrix::Add(sum, a, b);
        benchmark::DoNotOptimize(sum.GetColumnData(0));
    }
    SetBytes(state, a, 3);
}
BENCHMARK(BM_MatrixAdd)->Args({1000, 20})->Args({1000000, 20})->Unit(benchmark::kMicrosecond);

void BM_MatrixStandardize(benchmark::State& state)
{
    const Matrix a = Waves(state.range(0), state.range(1));
    const std::vector<LinearAlgebra::MeanStddev> ms(a.GetNumCols(), {100.0, 7.0});
    Matrix result;
    for (auto _ : state)
    {
        Matrix::Standardize(result, a, ms);
        benchmark::DoNotOptimize(result.GetColumnData(0));
    }
    SetBytes(state, a, 2);
}
BENCHMARK(BM_MatrixStandardize)->Args({1000, 20})->Args({1000000, 20})->Unit(benchmark::kMicrosecond);

template <class Result, void (*kSummary)(std::vector<Result>&, const Matrix&)> void BM_Matrix(benchmark::State& state)
{
    const Matrix m = Waves(state.range(0), state.range(1));
    std::vector<Result> result;
    for (auto _ : state)
    {
        kSummary(result, m);
        benchmark::DoNotOptimize(result.data());
    }
    SetBytes(state, m, 1);
}
#define BENCHMARK_SUMMARY(Result, Function)                                                                            \
    BENCHMARK_TEMPLATE(BM_Matrix, Result, Matrix::Function)                                                            \
        ->Name("BM_" #Function)                                                                                        \
        ->Args({1000, 100})                                                                                            \
        ->Args({100000, 1})                                                                                            \
        ->Args({100000, 10})                                                                                           \
        ->Args({100000, 100})                                                                                          \
        ->Unit(benchmark::kMicrosecond)
BENCHMARK_SUMMARY(double, RowSums);
BENCHMARK_SUMMARY(double, RowMeans);
BENCHMARK_SUMMARY(double, ColSums);
BENCHMARK_SUMMARY(double, ColMeans);
BENCHMARK_SUMMARY(LinearAlgebra::Range, ColRanges);
BENCHMARK_SUMMARY(LinearAlgebra::MeanStddev, ColMeanStddevs);

// 20 columns with as many digits as the argument says, 20 to 40 MB. The file lies in the system's cache.
void BM_MatrixReadCsv(benchmark::State& state)
{
    std::string path = (std::filesystem::temp_directory_path() / "brvcore_matrix_bench_XXXXXX").native();
    const int handle = mkstemp(path.data());
    if (handle < 0)
        return state.SkipWithError("cannot make a temporary file");
    close(handle);
    const Matrix m = Waves(100000, 20);
    bool isWritten = false;
    {
        std::ofstream file(path, std::ios::binary);
        char cell[32];
        for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
            for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
            {
                std::snprintf(cell, sizeof cell, "%.*g", static_cast<int>(state.range(0)), m(r, c));
                file << cell << (c + 1 < m.GetNumCols() ? ',' : '\n');
            }
        isWritten = static_cast<bool>(file.flush());
    }
    if (!isWritten)
    {
        std::filesystem::remove(path);
        return state.SkipWithError("cannot write the temporary file");
    }
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path));
    const TString name = TString::FromUTF8(path);
    for (auto _ : state)
        benchmark::DoNotOptimize(Matrix(name).GetNumRows());
    state.SetBytesProcessed(state.iterations() * size);
    std::filesystem::remove(path);
}
BENCHMARK(BM_MatrixReadCsv)->Arg(8)->Arg(17)->Unit(benchmark::kMillisecond);

}   // namespace
