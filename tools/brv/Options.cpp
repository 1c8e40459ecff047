#include "Options.h"

#include "Failure.h"
#include "TimeAxis.h"
#include "brvcore/Version.h"

#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

namespace
{

const std::map<std::string, ForecastComponentType> kComponents = {{"none", ForecastComponentType::None},
    {"additive", ForecastComponentType::Additive}, {"multiplicative", ForecastComponentType::Multiplicative}};
const std::map<std::string, RowAggregation> kAggregations = {
    {"sum", RowAggregation::Sum}, {"avg", RowAggregation::Avg}, {"count", RowAggregation::Count}};
const std::map<std::string, OutputFormat> kFormats = {
    {"table", OutputFormat::Table}, {"csv", OutputFormat::Csv}, {"json", OutputFormat::Json}};

constexpr int kMaxPeriods = 100'000;

// Adds an option whose text is a key of the map.
template <class Value>
CLI::Option* AddChoice(CLI::App& app, const char* name, Value& target, const std::map<std::string, Value>& choices,
    const std::string& description)
{
    std::vector<std::string> names;
    names.reserve(choices.size());
    for (const auto& [key, value] : choices)
        names.push_back(key);
    return app
        .add_option_function<std::string>(
            name, [&target, &choices](const std::string& text) { target = choices.at(text); }, description)
        ->check(CLI::IsMember(names))
        ->type_name(CLI::detail::join(names, "|"));
}

void AddRange(CLI::App& app, ForecastOptions& options, CLI::Option& periods)
{
    const auto apply = [&options](const std::vector<std::string>& words)
    {
        const std::string unit = words.at(1).ends_with('s') ? words[1].substr(0, words[1].size() - 1) : words.at(1);
        int count = 0;
        if (!CLI::detail::lexical_cast(words[0], count) || count < 1 || count > kMaxPeriods)
            throw CLI::ValidationError(
                "--range", words[0] + " is not a number from 1 to " + std::to_string(kMaxPeriods));
        const auto& names = LevelNames();
        if (unit == "none" || std::find(names.begin(), names.end(), unit) == names.end())
            throw CLI::ValidationError("--range", words[1] + " is not a unit of time, such as month or year");
        options.rangeCount = count;
        options.rangeUnit = LevelFromName(unit);
    };
    app.add_option_function<std::vector<std::string>>("--range", apply, "How far to forecast, such as 2 year")
        ->expected(2)
        ->type_name("N UNIT")
        ->excludes(&periods);
}

void AddForecast(CLI::App& app, ForecastOptions& options)
{
    app.add_option("FILE", options.file, "Comma-separated values with a header; - is the standard input")->required();
    app.add_option("--time", options.timeColumn, "Column of the dates or integers (default: the first with dates)")
        ->type_name("COL");
    app.add_option("--value", options.valueColumn, "Column of the numbers (default: the first other with numbers)")
        ->type_name("COL");
    app.add_option("--by", options.byColumns, "One forecast for each combination of values of these columns")
        ->type_name("COL")
        ->expected(1, 64);
    app.add_option_function<std::string>(
           "--level",
           [&options](const std::string& name)
           {
               if (name != "auto")
                   options.level = LevelFromName(name);
           },
           "Level of the time axis; auto takes the coarsest that keeps the dates apart, none counts positions")
        ->check(CLI::IsMember(
            []
            {
                std::vector<std::string> names = LevelNames();
                names.insert(names.begin(), "auto");
                return names;
            }()))
        ->type_name("auto|" + CLI::detail::join(LevelNames(), "|"));
    CLI::Option* periods = app.add_option("--periods", options.periods,
                                  "How many periods to forecast (default: two "
                                  "seasons of the level, 5 years, 10 positions)")
                               ->check(CLI::Range(1, kMaxPeriods))
                               ->type_name("N");
    AddRange(app, options, *periods);
    app.add_option(
           "--confidence", options.confidence, "Share that the prediction intervals are to cover (default: 0.95)")
        ->check(
            [](const std::string& text)
            {
                double p = 0.0;
                return CLI::detail::lexical_cast(text, p) && p > 0.0 && 0.5 + 0.5 * p < 1.0
                           ? std::string()
                           : text + " is not between 0 and 1";
            })
        ->type_name("P");
    AddChoice(app, "--trend", options.trend, kComponents, "Highest kind of trend to try (default: additive)");
    AddChoice(app, "--season", options.season, kComponents, "Highest kind of season to try (default: multiplicative)");
    app.add_option("--fixed-season", options.fixedSeason,
           "Fit exactly the trend and season given (or their defaults) with seasons of M periods, instead of searching")
        ->check(CLI::Range(2, kMaxPeriods))
        ->type_name("M");
    app.add_option("--ignore-last", options.ignoreLast, "Leave out the last N periods, which may be incomplete")
        ->check(CLI::Range(0, kMaxPeriods))
        ->type_name("N");
    AddChoice(app, "--aggregate", options.aggregation, kAggregations, "Combine rows of the same period");
    AddChoice(app, "--output", options.output, kFormats, "Form of the result (default: table)");
    app.add_option("--chart", options.chart, "Write a chart to this file")->type_name("FILE.svg");
}

void AddDescribe(CLI::App& app, DescribeOptions& options)
{
    app.add_option("FILE", options.file, "Comma-separated values with a header; - is the standard input")->required();
    AddChoice(app, "--output", options.output, kFormats, "Form of the result (default: table)");
}

}   // namespace

Options ParseOptions(int argc, const char* const* argv)
{
    Options options;
    ForecastOptions forecast;
    DescribeOptions describe;
    CLI::App app("Forecasts and describes series in comma-separated files.", "brv");
    app.set_version_flag("--version", std::string("brv ") + BrvcoreLibraryVersion());
    app.add_flag("--verbose", options.isVerbose, "Show log lines and timings on the standard error");
    app.require_subcommand(1);
    app.fallthrough();
    CLI::App* forecastApp = app.add_subcommand("forecast", "Forecast a series, or one series per partition");
    CLI::App* describeApp = app.add_subcommand("describe", "Statistics of every numeric column");
    AddForecast(*forecastApp, forecast);
    AddDescribe(*describeApp, describe);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        std::ostringstream help;
        std::ostringstream ignored;
        if (error.get_exit_code() != 0)
            throw UsageError(error.what());
        app.exit(error, help, ignored);
        options.help = help.str();
        return options;
    }
    if (forecastApp->parsed())
        options.forecast = std::move(forecast);
    if (describeApp->parsed())
        options.describe = std::move(describe);
    return options;
}
