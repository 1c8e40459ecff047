#include "brvcore/string/CustomFormat.h"

#include <cstdint>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace
{

constexpr unsigned kEnglishUS = 1033;
constexpr std::size_t kValues = 4096;

// Amounts of money to a million, in cents.
const std::vector<double>& Amounts()
{
    static const std::vector<double> values = []
    {
        std::mt19937_64 generator(1);
        std::vector<double> result(kValues);
        for (double& value : result)
            value = static_cast<double>(generator() % 100'000'000) / 100;
        return result;
    }();
    return values;
}

// Every digit of the mantissa in use, as after a division.
const std::vector<double>& Ratios()
{
    static const std::vector<double> values = []
    {
        std::vector<double> result = Amounts();
        for (double& value : result)
            value /= 7;
        return result;
    }();
    return values;
}

template <class Render> void RenderAll(benchmark::State& state, const std::vector<double>& values, Render render)
{
    std::size_t i = 0;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(render(values[i]));
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void RenderFormat(benchmark::State& state, const std::vector<double>& values, const char16_t* pattern)
{
    const auto format = CustomFormat::CreateNumberFormatter(pattern, kEnglishUS);
    RenderAll(state, values, [&](double value) { return format->Format(value); });
}

void BM_NumberFormat(benchmark::State& state)
{
    RenderFormat(state, Amounts(), u"#,##0.00");
}
BENCHMARK(BM_NumberFormat)->Threads(1)->Threads(2);

void BM_NumberFormatRatios(benchmark::State& state)
{
    RenderFormat(state, Ratios(), u"#,##0.00");
}
BENCHMARK(BM_NumberFormatRatios);

void BM_NumberFormatGeneral(benchmark::State& state)
{
    RenderFormat(state, Ratios(), u"general number");
}
BENCHMARK(BM_NumberFormatGeneral);

// The classic decimal formatter of the locale library, with the same pattern and symbols.
void BM_NumberFormatPeerIcu(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::DecimalFormat format(
        u"#,##0.00", new icu::DecimalFormatSymbols(icu::Locale("en_US"), status), status);   // takes the symbols over
    RenderAll(state, Amounts(),
        [&](double value)
        {
            icu::UnicodeString text;
            format.format(value, text);
            return text;
        });
}
BENCHMARK(BM_NumberFormatPeerIcu);

struct Grouping : std::numpunct<char>
{
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

void BM_NumberFormatPeerFmt(benchmark::State& state)
{
    const std::locale grouped(std::locale::classic(), new Grouping);   // takes the facet over
    RenderAll(state, Amounts(), [&](double value) { return fmt::format(grouped, "{:.2Lf}", value); });
}
BENCHMARK(BM_NumberFormatPeerFmt);

// Compiling takes pooled symbols and gives them back; threads must not wait for each other.
void BM_NumberFormatCompile(benchmark::State& state)
{
    const TString pattern = u"#,##0.00;(#,##0.00);\"none\"";
    CustomFormat format(DataType::Real);
    for (auto _ : state)
        benchmark::DoNotOptimize(format.Parse(pattern, kEnglishUS));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NumberFormatCompile)->Threads(1)->Threads(2)->UseRealTime();

}   // namespace
