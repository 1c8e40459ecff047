#include "brvcore/string/CustomFormat.h"

#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

namespace
{

constexpr unsigned kGermanGermany = 1031;
constexpr unsigned kChineseTaiwan = 1028;
constexpr std::size_t kValues = 4096;

// Seconds since 1970 in the hundred years from 1950.
const std::vector<int>& Seconds()
{
    static const std::vector<int> values = []
    {
        std::mt19937 generator(1);
        std::vector<int> result(kValues);
        for (int& value : result)
            value = static_cast<int>(generator() % 2'000'000'000U) - 600'000'000;
        return result;
    }();
    return values;
}

void RenderDates(benchmark::State& state, const char16_t* pattern, unsigned locale = kGermanGermany)
{
    const auto format = CustomFormat::CreateDateTimeFormatter(pattern, locale);
    std::vector<DateTime> moments;
    moments.reserve(kValues);
    for (const int seconds : Seconds())
        moments.push_back(DateTime(1970, 1, 1) + DateTimeSpan::FromSeconds(seconds));
    std::size_t i = 0;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(format->Format(moments[i]));
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_DateFormat(benchmark::State& state)
{
    RenderDates(state, u"ddd dd/mm/yyyy hh:nn:ss");
}
BENCHMARK(BM_DateFormat)->Threads(1)->Threads(2);

void BM_DateFormatWeek(benchmark::State& state)
{
    RenderDates(state, u"yyyy ww");
}
BENCHMARK(BM_DateFormatWeek);

// Whose day has seven parts.
void BM_DateFormatOfTaiwan(benchmark::State& state)
{
    RenderDates(state, u"c", kChineseTaiwan);
}
BENCHMARK(BM_DateFormatOfTaiwan)->Threads(1)->Threads(2);

// The peer, with one formatter and one calendar for all renderings.
void BM_DateFormatOfIcu(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale("de_DE");
    const icu::SimpleDateFormat format(icu::UnicodeString(u"EEE dd.MM.yyyy HH:mm:ss"), locale, status);
    icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), locale, status);
    std::size_t i = 0;
    for (auto _ : state)
    {
        icu::UnicodeString text;
        icu::FieldPosition nowhere(icu::FieldPosition::DONT_CARE);
        calendar.setTime(Seconds()[i] * 1000.0, status);
        format.format(calendar, text, nowhere);
        benchmark::DoNotOptimize(text);
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DateFormatOfIcu);

void BM_CompileDateFormat(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(CustomFormat::CreateDateTimeFormatter(u"dd/mm/yyyy hh:nn:ss", kGermanGermany));
}
BENCHMARK(BM_CompileDateFormat);

}   // namespace
