#include "Options.h"

#include "CsvTable.h"
#include "Failure.h"
#include "NetworkOptions.h"
#include "OptionParts.h"
#include "RuntimeOptions.h"
#include "TimeAxis.h"
#include "brvcore/Version.h"
#include "brvcore/string/UserLocaleSettings.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <sstream>
#include <string_view>

#include <CLI/CLI.hpp>

namespace
{

const std::map<std::string, ForecastComponentType> kComponents = {{"none", ForecastComponentType::None},
    {"additive", ForecastComponentType::Additive}, {"multiplicative", ForecastComponentType::Multiplicative}};
const std::map<std::string, RowAggregation> kAggregations = {
    {"sum", RowAggregation::Sum}, {"avg", RowAggregation::Avg}, {"count", RowAggregation::Count}};
const std::map<std::string, Scaling> kScalings = {
    {"minmax", Scaling::MinMax}, {"zscore", Scaling::ZScore}, {"none", Scaling::None}};
const std::map<std::string, HeaderLine> kHeaderLines = {
    {"auto", HeaderLine::Detect}, {"yes", HeaderLine::Present}, {"no", HeaderLine::Absent}};

constexpr int kMaxPeriods = 100'000;
constexpr int kMaxClusters = 10'000;
constexpr int kMaxFields = 10;   // of a split, see GenerateCustomSplitCalcs()

// The file, and the form of the result.
void AddInputAndOutput(CLI::App& app, std::string& file, OutputFormat& output, const std::string& outputNote = "")
{
    app.add_option("FILE", file, "Comma-separated values with a header; - is the standard input")->required();
    AddChoice(app, "--output", output, kOutputFormats, "Form of the result (default: table)" + outputNote);
}

// Adds an option of names between commas; a name that holds a comma stands in quotes, as in the file.
CLI::Option* AddNames(
    CLI::App& app, const std::string& name, std::vector<std::string>& target, const std::string& description)
{
    const auto apply = [&target, name](const std::string& text)
    {
        bool isOneLine = false;
        try
        {
            const CsvTable list = ParseCsv(text, name);
            isOneLine = list.rows.empty();
            target = list.header;
        }
        catch (const DataError&)   // the message below tells
        {
        }
        if (!isOneLine)
            throw CLI::ValidationError(name, Quoted(text) + " is no list of columns");
        for (auto column = target.begin(); column != target.end(); ++column)
            if (std::find(target.begin(), column, *column) != column)
                throw CLI::ValidationError(name, Quoted(*column) + " stands there twice");
    };
    return app.add_option_function<std::string>(name, apply, description);
}

CLI::Option* AddChart(CLI::App& app, std::string& chart, const std::string& description)
{
    const auto isNamed = [](const std::string& path) { return std::string(path.empty() ? "the name is empty" : ""); };
    return app.add_option("--chart", chart, description)->check(isNamed)->type_name("FILE.svg");
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
    AddInputAndOutput(app, options.file, options.output);
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
                                  "How many periods to forecast (default: two seasons of the "
                                  "level, 5 years, 10 positions)")
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
    AddChart(app, options.chart, "Write a chart to this file");
}

void AddDescribe(CLI::App& app, DescribeOptions& options)
{
    AddInputAndOutput(app, options.file, options.output);
}

void AddCluster(CLI::App& app, ClusterOptions& options)
{
    AddInputAndOutput(
        app, options.file, options.output, "; csv is the input with the cluster of each row, json everything");
    AddNames(app, "--columns", options.columns, "Columns to cluster by (default: all that hold numbers)")
        ->type_name("A,B,...");
    const auto setCount = [&options](const std::string& text)
    {
        if (text != "auto" && (!CLI::detail::lexical_cast(text, options.clusters) || options.clusters < 1 ||
                                  options.clusters > kMaxClusters))
            throw CLI::ValidationError(
                "--k", text + " is neither auto nor a number from 1 to " + std::to_string(kMaxClusters));
    };
    app.add_option_function<std::string>("--k", setCount,
           "Number of clusters; auto (default) takes the last one before the Calinski-Harabasz index falls, "
           "after at most 100 passes over the rows for each number")
        ->type_name("N|auto");
    app.add_option("--max-k", options.maxClusters, "Highest number to try (default: 10)")
        ->check(CLI::Range(1, kMaxClusters))
        ->type_name("N");
    AddChoice(app, "--scale", options.scaling, kScalings,
        "Makes columns comparable: minmax (default) maps each range to 0..1, zscore to mean 0 and deviation 1");
    app.add_option(
           "--weights", options.weightColumn, "Column of row weights; a row whose weight is not above 0 is left out")
        ->type_name("COL");
    app.add_option("--outlier-alpha", options.outlierAlpha,
           "Level from 0 (none) to 1 at which a row far from its centre is an outlier (default: 0.05)")
        ->check(
            [](const std::string& text)
            {
                double p = 0.0;
                return CLI::detail::lexical_cast(text, p) && p >= 0.0 && p <= 1.0 ? std::string()
                                                                                  : text + " is not from 0 to 1";
            })
        ->type_name("P");
    CLI::Option* chart = AddChart(app, options.chart, "Write a scatter chart to this file");
    AddNames(app, "--axes", options.axes, "Columns of the chart (default: the two that separate the clusters most)")
        ->type_name("X,Y")
        ->needs(chart);
    app.footer(
        "One deterministic start: the same rows give the same clusters.\n"
        "F ranks the columns by how well they separate the clusters and is no test: its residual is taken about\n"
        "the overall mean, and the clusters were made from the same rows (json: ranking_f, ranking_p).\n"
        "Squared distances and sums of squares (total_ss, between_ss, ...) are in scaled units, times the weights;\n"
        "centres and deviations are in the units of the input.");
}

void AddAnova(CLI::App& app, AnovaOptions& options)
{
    AddInputAndOutput(app, options.file, options.output, "; csv is a line per group");
    app.add_option("--value", options.valueColumn, "Column of the numbers")->required()->type_name("COL");
    app.add_option("--group", options.groupColumn, "Column of the groups' names")->required()->type_name("COL");
    app.footer("p is 1 minus the lower tail of F: below about 2e-16 it is 0.");
}

void AddSolve(CLI::App& app, SolveOptions& options)
{
    app.add_option("A", options.file, "The matrix: comma-separated numbers; - is the standard input")
        ->required()
        ->type_name("A.csv");
    app.add_option("B", options.rightHandSides, "As many rows, a column for each right-hand side")
        ->required()
        ->type_name("B.csv");
    AddChoice(app, "--header", options.header, kHeaderLines,
        "Whether the files begin with names; auto (default) takes a first line of nothing but numbers as data");
    AddChoice(app, "--output", options.output, kOutputFormats,
        "Form of the result (default: table); csv is a line per right-hand side and unknown, json everything");
    app.footer(
        "Columns of any unit count alike: each is scaled by a power of two to a norm from 1 to 2 before, and the\n"
        "rank is that of the scaled matrix. A column of which less than 1e-7 remains beside those before it is\n"
        "dependent, and its unknown is 0.");
}

// An identifier, or a tag such as de-DE.
unsigned LocaleFromText(const std::string& text)
{
    const TString name = TString::FromUTF8(text);
    const std::optional<std::int64_t> number = name.ToInt();
    std::optional<unsigned> locale;
    if (!number)
        locale = LocaleIdentifierFromTag(name);
    else if (*number >= 0 && *number <= std::numeric_limits<unsigned>::max())
        locale = static_cast<unsigned>(*number);
    if (!locale || TagFromLocaleIdentifier(*locale).IsEmpty())
        throw CLI::ValidationError("--locale", Quoted(text) + " is neither a locale such as de-DE nor its number");
    return *locale;
}

constexpr const char* kMissingCells =
    "Missing cells are empty ones, NA, NaN and null, in any letter case. Blank lines of a file are no rows.";

void AddFormat(CLI::App& app, FormatOptions& options)
{
    app.add_option(
           "FORMAT", options.format, "Such as '#,##0.00', '0.0%', '0.0[scale]', 'yes/no', 'long date', 'yyyy-mm-dd'")
        ->required()
        ->type_name("");
    app.add_option("VALUE", options.values,
           "What the format renders: numbers, true and false, or dates such as 2024-01-31 or 2024-01-31T12:30; with "
           "--column a file of comma-separated values, - for the standard input")
        ->required()
        ->type_name("");
    app.add_option("--column", options.column, "Render this column of the file")->type_name("COL");
    app.add_option_function<std::string>(
           "--locale", [&options](const std::string& text) { options.locale = LocaleFromText(text); },
           "Language and country, such as de-DE, or the number of a locale, such as 1031 (default: the user's)")
        ->type_name("TAG|N");
    AddChoice(app, "--output", options.output, kOutputFormats,
        "Form of the result (default: table, which is a line for each value); csv of a column is the file with a "
        "column of texts added");
    app.footer(std::string(kMissingCells) +
               "\nNegative numbers may stand as they are. For anything else that begins with a minus put -- after the\n"
               "options and before the first argument that begins with one: brv format --output csv -- '- 0.0' 5");
}

void AddSplit(CLI::App& app, SplitOptions& options)
{
    app.add_option("FILE", options.file,
           "Comma-separated values with a header; without one, or with -, the standard input, which is one value per "
           "line when no column is named")
        ->type_name("");
    app.add_option("--column", options.column, "Column of the texts")->type_name("COL");
    CLI::Option* custom =
        app.add_option("--custom", options.separator, "Split at this text instead of looking for one");
    CLI::Option* count = app.add_option("--count", options.count, "How many fields");
    custom->type_name("SEP")->needs(count);
    count->check(CLI::Range(1, kMaxFields))->type_name("N")->needs(custom);
    app.add_flag("--from-end", options.isFromEnd, "Count the fields from the end")->needs(custom);
    app.add_option(
           "--match", options.pattern, "Do not split; count the values that this regular expression matches whole")
        ->type_name("REGEX")
        ->excludes(custom);
    AddChoice(app, "--output", options.output, kOutputFormats,
        "Form of the result (default: table); csv is the input with a column for each calculation, or with --match a "
        "line of counts; json everything");
    app.footer(std::string(kMissingCells) +
               "\nOf the standard input without a column every line is a row, and a blank one a missing value.\n"
               "White space separates fields only where nothing else does: of 2024-01-31 12:30, 31 12 is one field.");
}

// A number that the parser would take for options, such as -.5 and -inf; -5 it knows.
bool LooksLikeOptions(const std::string& argument)
{
    return argument.size() > 1 && argument[0] == '-' && TString::FromUTF8(argument).ToDouble().has_value();
}

constexpr char kValueMark = '\0';   // no argument of a process has one

// The arguments behind the program's name, last one first, as the parser wants them. Those of `format` that are numbers with
// a minus bear the mark in front, so that no option is looked for in them.
std::vector<std::string> Arguments(int argc, const char* const* argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const auto isWord = [](const std::string& argument) { return !argument.starts_with('-'); };
    const auto command = std::find_if(arguments.begin(), arguments.end(), isWord);
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    if (command < end && *command == "format")
        for (auto argument = command + 1; argument != end; ++argument)
        {
            const std::string& previous = *(argument - 1);
            const bool isOfOption = previous == "--column" || previous == "--locale" || previous == "--output";
            if (!isOfOption && LooksLikeOptions(*argument))
                argument->insert(argument->begin(), kValueMark);
        }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

void RemoveMark(std::string& argument)
{
    if (argument.starts_with(kValueMark))
        argument.erase(0, 1);
}

// What the parser cannot see by looking at one option.
void CheckFormat(FormatOptions& options, const CLI::App& app)
{
    RemoveMark(options.format);
    std::for_each(options.values.begin(), options.values.end(), RemoveMark);
    CheckNotEmpty(app, {"--column"});
    if (options.column.empty())
        return;
    if (options.values.size() != 1)
        throw UsageError("--column takes one file, not " + std::to_string(options.values.size()));
    options.file = options.values.front();
    options.values.clear();
}

void CheckSplit(const SplitOptions& options, const CLI::App& app)
{
    CheckNotEmpty(app, {"--column", "--custom", "--match"});
    if (options.column.empty() && options.file != "-")
        throw UsageError("--column names the column of " + options.file +
                         " to split; only the standard input can be one value per line");
}

void CheckCluster(const ClusterOptions& options, const CLI::App& app)
{
    if (options.clusters > 0 && app.count("--max-k") > 0)
        throw UsageError(
            "--max-k bounds the choice of --k auto; with --k " + std::to_string(options.clusters) + " there is none");
    if (!options.axes.empty() && options.axes.size() != 2)
        throw UsageError("--axes takes two columns, such as X,Y");
}

}   // namespace

Options ParseOptions(int argc, const char* const* argv)
{
    Options options;
    ForecastOptions forecast;
    DescribeOptions describe;
    ClusterOptions cluster;
    AnovaOptions anova;
    SolveOptions solve;
    FormatOptions format;
    SplitOptions split;
    PackOptions pack;
    UnpackOptions unpack;
    SweepOptions sweep;
    LogOptions log;
    FetchOptions fetch;
    RulesOptions rules;
    CLI::App app(
        "Forecasts series, describes, clusters, compares, fits and splits what stands in comma-separated "
        "files, formats values, fetches from HTTP servers, packs files, and keeps folders and logs within limits.",
        "brv");
    app.set_version_flag("--version", std::string("brv ") + BrvcoreLibraryVersion());
    app.add_flag("--verbose", options.isVerbose, "Show log lines and timings on the standard error");
    app.require_subcommand(1);
    app.fallthrough();
    CLI::App* forecastApp = app.add_subcommand("forecast", "Forecast a series, or one series per partition");
    CLI::App* describeApp = app.add_subcommand("describe", "Statistics of every numeric column");
    CLI::App* clusterApp = app.add_subcommand("cluster", "Put rows that are alike into clusters (k-means)");
    CLI::App* anovaApp = app.add_subcommand("anova", "Compare the means of groups (one-way analysis of variance)");
    CLI::App* solveApp = app.add_subcommand("solve", "Solve A x = b by least squares (QR decomposition)");
    CLI::App* formatApp = app.add_subcommand("format", "Write numbers, booleans and dates by a custom format");
    CLI::App* splitApp = app.add_subcommand("split", "Split texts into typed fields (structure inference)");
    CLI::App* packApp = app.add_subcommand("pack", "Put a file into a container (zlib, fastest)");
    CLI::App* unpackApp = app.add_subcommand("unpack", "Restore the file of a container");
    CLI::App* sweepApp = app.add_subcommand("sweep", "Bring a folder within limits by removing entries");
    CLI::App* logApp = app.add_subcommand("log", "Write lines into rotating files of which the newest stay");
    CLI::App* fetchApp = app.add_subcommand("fetch", "Send an HTTP request and write the reply");
    CLI::App* rulesApp = app.add_subcommand("rules", "Judge network addresses by lists of rules");
    AddForecast(*forecastApp, forecast);
    AddDescribe(*describeApp, describe);
    AddCluster(*clusterApp, cluster);
    AddAnova(*anovaApp, anova);
    AddSolve(*solveApp, solve);
    AddFormat(*formatApp, format);
    AddSplit(*splitApp, split);
    AddPack(*packApp, pack);
    AddUnpack(*unpackApp, unpack);
    AddSweep(*sweepApp, sweep);
    AddLog(*logApp, log);
    AddFetch(*fetchApp, fetch);
    AddRules(*rulesApp, rules);
    try
    {
        app.parse(Arguments(argc, argv));
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
        options.command = std::move(forecast);
    if (describeApp->parsed())
        options.command = std::move(describe);
    if (clusterApp->parsed())
    {
        CheckCluster(cluster, *clusterApp);
        options.command = std::move(cluster);
    }
    if (anovaApp->parsed())
        options.command = std::move(anova);
    if (solveApp->parsed())
        options.command = std::move(solve);
    if (formatApp->parsed())
    {
        CheckFormat(format, *formatApp);
        options.command = std::move(format);
    }
    if (splitApp->parsed())
    {
        CheckSplit(split, *splitApp);
        options.command = std::move(split);
    }
    if (packApp->parsed())
    {
        CheckNotEmpty(*packApp, {"-o"});
        options.command = std::move(pack);
    }
    if (unpackApp->parsed())
    {
        CheckNotEmpty(*unpackApp, {"-o"});
        options.command = std::move(unpack);
    }
    if (sweepApp->parsed())
        options.command = std::move(sweep);
    if (logApp->parsed())
    {
        CheckLog(log);
        options.command = std::move(log);
    }
    if (fetchApp->parsed())
    {
        CheckFetch(fetch, *fetchApp);
        options.command = std::move(fetch);
    }
    if (rulesApp->parsed())
    {
        CheckNotEmpty(*rulesApp, {"--deny", "--allow", "--bypass"});
        options.command = std::move(rules);
    }
    return options;
}
