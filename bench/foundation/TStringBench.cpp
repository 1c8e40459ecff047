#include "brvcore/foundation/TFormatString.h"
#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

// Cells of a table: numbers with up to 8 significant digits, as bytes of a file.
std::vector<std::string> NumberCells()
{
    std::mt19937 generator(1);
    std::vector<std::string> cells(1024);
    for (std::string& cell : cells)
        cell = std::to_string(generator() % 100'000'000) + "." + std::to_string(generator() % 100);
    return cells;
}

// One cell of a file to a double: bytes to text, text to number.
void BM_CellToDouble(benchmark::State& state)
{
    const std::vector<std::string> cells = NumberCells();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(TString::FromUTF8(cells[i++ % 1024]).ToDouble());
}
BENCHMARK(BM_CellToDouble);

// The same of text that is already there.
void BM_TextToDouble(benchmark::State& state)
{
    std::vector<TString> texts;
    for (const std::string& cell : NumberCells())
        texts.push_back(TString::FromUTF8(cell));
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(texts[i++ % 1024].ToDouble());
}
BENCHMARK(BM_TextToDouble);

void BM_DoubleToText(benchmark::State& state)
{
    double value = 0.1;
    for (auto _ : state)
        benchmark::DoNotOptimize(TString::FromDouble(value += 0.7));
}
BENCHMARK(BM_DoubleToText);

void BM_Copy(benchmark::State& state)
{
    const TString text = u"a text longer than any small buffer";
    for (auto _ : state)
    {
        TString copy = text;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_Copy);

// A kilobyte of names, ASCII or not, to text and back.
void BM_UTF8RoundTrip(benchmark::State& state)
{
    std::string bytes;
    while (bytes.size() < 1024)
        bytes += state.range(0) == 0 ? "plain words, "
                                     : "Stra\xC3\x9F"
                                       "e caf\xC3\xA9 ";
    for (auto _ : state)
        benchmark::DoNotOptimize(TString::FromUTF8(bytes).ToUTF8());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_UTF8RoundTrip)->Arg(0)->Arg(1);

void BM_FormatString(benchmark::State& state)
{
    const TString name = u"passengers";
    for (auto _ : state)
        benchmark::DoNotOptimize(TFormatString(u"%1: %2 of %3 rows").arg(name).arg(3).arg(144).result());
}
BENCHMARK(BM_FormatString);

}   // namespace
