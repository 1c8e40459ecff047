// Forecast accuracy over the M3 competition's series: `m3_accuracy FILE [threads]`.
//
// FILE has one series per line, after comment lines that start with "#":
//     id|yearly, quarterly, monthly or other|m|horizon|training values|test values
// with values separated by blanks and "NA" for a missing one. The series: S. Makridakis and M. Hibon, "The M3-Competition:
// results, conclusions and implications", International Journal of Forecasting 16 (2000).
//
// sMAPE is 200 |y - f| / (|y| + |f|), averaged per series. MASE divides the mean absolute error of the test part by that of
// the seasonal naive method, of lag m, in the training part. Coverage is the share of test values within the 95 %
// intervals. Every figure is the mean over the series, whatever their lengths.

#include "brvcore/transforms/ForecastModel.h"
#include "brvcore/transforms/ForecastUtils.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

struct CompetitionSeries
{
    std::string group;
    int frequency = 1;
    std::vector<double> training;
    std::vector<double> test;
};

struct Accuracy
{
    double smape = 0.0;
    double mase = 0.0;
    double coverage = 0.0;
    int series = 0;
    int failed = 0;    // Forecast() returned anything but 0
    int refused = 0;   // Forecast() threw

    void Add(const Accuracy& other)
    {
        smape += other.smape;
        mase += other.mase;
        coverage += other.coverage;
        series += other.series;
        failed += other.failed;
        refused += other.refused;
    }
};

struct Limits
{
    const char* title;
    ForecastComponentType trend;
    ForecastComponentType season;
};

std::vector<double> ParseValues(const std::string& text)
{
    std::vector<double> values;
    std::istringstream in(text);
    for (std::string word; in >> word;)
        values.push_back(word == "NA" ? std::numeric_limits<double>::quiet_NaN() : std::stod(word));
    return values;
}

std::vector<CompetitionSeries> ReadSeries(std::istream& in)
{
    std::vector<CompetitionSeries> all;
    for (std::string line; std::getline(in, line);)
    {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        std::string id, group, frequency, horizon, training, test;
        std::getline(fields, id, '|');
        std::getline(fields, group, '|');
        std::getline(fields, frequency, '|');
        std::getline(fields, horizon, '|');
        std::getline(fields, training, '|');
        std::getline(fields, test, '|');
        all.push_back({group, std::stoi(frequency), ParseValues(training), ParseValues(test)});
    }
    return all;
}

AggType LevelOf(const CompetitionSeries& series)
{
    static const std::map<std::string, AggType> kLevels = {
        {"yearly", AggType::YearTrunc}, {"quarterly", AggType::QuarterTrunc}, {"monthly", AggType::MonthTrunc}};
    const auto level = kLevels.find(series.group);
    return level == kLevels.end() ? AggType::None : level->second;
}

double NaiveError(const std::vector<double>& training, int lag)
{
    double sum = 0.0;
    int count = 0;
    for (std::size_t t = static_cast<std::size_t>(lag); t < training.size(); ++t)
    {
        sum += std::abs(training[t] - training[t - static_cast<std::size_t>(lag)]);
        ++count;
    }
    return sum / count;
}

Accuracy Score(const CompetitionSeries& series, const Limits& limits)
{
    const int n = static_cast<int>(series.training.size());
    const int horizon = static_cast<int>(series.test.size());
    const AggType level = LevelOf(series);
    const bool mayHaveSeason = ForecastUtils::EnoughDataForSeasonalSearch(n, series.frequency);
    Accuracy accuracy;
    accuracy.series = 1;
    try
    {
        const auto model = MakeRefCnt<ForecastModel>(ForecastStatus::Success, FieldName(), MakeRefCnt<Tuple>(),
            RefCntPtr<ForecastModel>(), level, level, AggType::Sum, series.training, DateOptions::Default(), n, n, 0,
            horizon, series.frequency, 0, 0, 0, DataValue(), DataValue(), DataValue(), 0.95,
            ForecastComponentType::Additive, ForecastComponentType::None, ForecastComponentType::None, limits.trend,
            mayHaveSeason ? limits.season : ForecastComponentType::None, ForecastModelType::Search);
        if (model->Forecast() != 0)
            accuracy.failed = 1;
        double absoluteError = 0.0;
        for (int h = 0; h < horizon; ++h)
        {
            const double actual = series.test[static_cast<std::size_t>(h)];
            const double forecast = model->GetForecast(h);
            const double error = std::abs(actual - forecast);
            accuracy.smape += 200.0 * error / (std::abs(actual) + std::abs(forecast)) / horizon;
            absoluteError += error / horizon;
            if (accuracy.failed == 0 && actual >= model->GetLowerPredictionInterval(h) &&
                actual <= model->GetUpperPredictionInterval(h))
                accuracy.coverage += 1.0 / horizon;
        }
        accuracy.mase = absoluteError / NaiveError(series.training, series.frequency);
    }
    catch (const std::exception& error)
    {
        std::cerr << error.what() << '\n';
        accuracy = Accuracy();
        accuracy.refused = 1;
    }
    return accuracy;
}

void Report(const std::vector<CompetitionSeries>& all, const Limits& limits, unsigned threads)
{
    const auto begin = std::chrono::steady_clock::now();
    std::vector<Accuracy> scores(all.size());
    std::atomic<std::size_t> next = 0;
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < threads; ++i)
        workers.emplace_back(
            [&]
            {
                for (std::size_t s = next++; s < all.size(); s = next++)
                    scores[s] = Score(all[s], limits);
            });
    for (std::thread& worker : workers)
        worker.join();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();

    std::map<std::string, Accuracy> groups;
    for (std::size_t s = 0; s < all.size(); ++s)
    {
        groups[all[s].group].Add(scores[s]);
        groups["total"].Add(scores[s]);
    }
    std::printf("%s\n%-10s %7s %8s %7s %9s %7s %8s\n", limits.title, "group", "series", "sMAPE", "MASE", "coverage",
        "failed", "refused");
    for (const auto& [name, group] : groups)
        std::printf("%-10s %7d %8.3f %7.3f %8.1f%% %7d %8d\n", name.c_str(), group.series, group.smape / group.series,
            group.mase / group.series, 100.0 * group.coverage / group.series, group.failed, group.refused);
    std::printf("%.1f s, %.0f series per second on %u threads\n\n", seconds, static_cast<double>(all.size()) / seconds,
        threads);
}

}   // namespace

int main(int argc, char** argv)
{
    std::ifstream file(argc > 1 ? argv[1] : "");
    if (!file)
    {
        std::cerr << "usage: m3_accuracy FILE [threads]\n";
        return 2;
    }
    const unsigned threads = argc > 2 ? static_cast<unsigned>(std::max(1, std::atoi(argv[2])))
                                      : std::max(1U, std::thread::hardware_concurrency());
    const std::vector<CompetitionSeries> all = ReadSeries(file);
    for (const Limits& limits : {Limits{"both limits multiplicative", ForecastComponentType::Multiplicative,
                                     ForecastComponentType::Multiplicative},
             Limits{"trend limit additive, season limit multiplicative", ForecastComponentType::Additive,
                 ForecastComponentType::Multiplicative}})
        Report(all, limits, threads);
    return 0;
}
