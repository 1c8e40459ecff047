#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/runtime/FolderSweeper.h"
#include "brvcore/transforms/ForecastTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

enum class OutputFormat
{
    Table,
    Csv,
    Json,
};

// How rows of the same period become one value; None refuses them.
enum class RowAggregation
{
    None,
    Sum,
    Avg,
    Count,
};

struct ForecastOptions
{
    std::string file;
    std::string timeColumn;    // empty: look for it
    std::string valueColumn;   // empty: look for it
    std::vector<std::string> byColumns;
    std::optional<AggType> level;   // nothing: find it
    int periods = 0;                // 0: two seasons of the level
    int rangeCount = 0;             // 0: no range
    AggType rangeUnit = AggType::None;
    double confidence = 0.95;   // a fraction
    ForecastComponentType trend = ForecastComponentType::Additive;
    ForecastComponentType season = ForecastComponentType::Multiplicative;
    int fixedSeason = 0;   // 0: search
    int ignoreLast = 0;
    RowAggregation aggregation = RowAggregation::None;
    OutputFormat output = OutputFormat::Table;
    std::string chart;   // empty: none
};

struct DescribeOptions
{
    std::string file;
    OutputFormat output = OutputFormat::Table;
};

// What brings columns of different units to a common size before distances are taken.
enum class Scaling
{
    MinMax,   // the range becomes 0 to 1
    ZScore,   // mean 0, standard deviation 1
    None,
};

struct ClusterOptions
{
    std::string file;
    std::vector<std::string> columns;   // empty: every column of numbers
    int clusters = 0;                   // 0: choose
    int maxClusters = 10;               // when chosen
    Scaling scaling = Scaling::MinMax;
    std::string weightColumn;   // empty: every row weighs 1
    double outlierAlpha = 0.05;
    std::vector<std::string> axes;   // of the chart, two; empty: the columns with the highest F
    OutputFormat output = OutputFormat::Table;
    std::string chart;   // empty: none
};

struct AnovaOptions
{
    std::string file;
    std::string valueColumn;
    std::string groupColumn;
    OutputFormat output = OutputFormat::Table;
};

enum class HeaderLine
{
    Detect,   // a first line of nothing but numbers is no header
    Present,
    Absent,
};

struct SolveOptions
{
    std::string file;             // the matrix
    std::string rightHandSides;   // the file of these
    HeaderLine header = HeaderLine::Detect;
    OutputFormat output = OutputFormat::Table;
};

struct FormatOptions
{
    std::string format;
    std::vector<std::string> values;   // at least one; none with a column
    std::string column;                // empty: the values
    std::string file;                  // of the column
    unsigned locale = 0;               // an identifier; 0: the user's
    OutputFormat output = OutputFormat::Table;
};

struct SplitOptions
{
    std::string file = "-";
    std::string column;      // empty: the file is one value per line
    std::string separator;   // with `count`
    int count = 0;           // 0: infer the fields
    bool isFromEnd = false;
    std::string pattern;   // empty: split, otherwise count what matches
    OutputFormat output = OutputFormat::Table;
};

struct PackOptions
{
    std::string file;     // "-": the standard input
    std::string output;   // "-": the standard output; empty: named after the file
};

struct UnpackOptions
{
    std::string file;
    std::string output;
};

struct SweepOptions
{
    std::string file;   // the folder
    std::uint64_t mostBytes = 0;
    std::uint32_t mostEntries = 0;
    FolderSweepOrder order = FolderSweepOrder::OldestFirst;
    std::uint64_t reserveB = 0;
    bool isDryRun = false;
};

struct LogOptions
{
    std::string file;
    std::uint64_t rotateBytes = 0;   // 0: never
    std::uint64_t filesToKeep = 0;   // 0: all
};

struct FetchOptions
{
    using Pairs = std::vector<std::pair<std::string, std::string>>;   // each name once

    std::string url;
    std::string target;        // a file; empty or "-": the standard output
    std::string partsFolder;   // empty: the reply as it comes
    std::string method;        // empty: what the rest asks for
    Pairs headers;
    Pairs data;
    Pairs files;   // field and path
    std::string deny;
    std::string allow;
    std::optional<double> timeoutSeconds;
    std::string caFile;
    bool isRetrying = false;
    bool isInsecure = false;
    bool isCompressed = false;
    OutputFormat output = OutputFormat::Table;   // of the list of parts
};

struct RulesOptions
{
    std::vector<std::string> addresses;
    std::string deny;   // lists, with commas; empty: none
    std::string allow;
    std::string bypass;
    OutputFormat output = OutputFormat::Table;
};

struct Options
{
    // Nothing for --help and --version.
    std::variant<std::monostate, ForecastOptions, DescribeOptions, ClusterOptions, AnovaOptions, SolveOptions,
        FormatOptions, SplitOptions, FetchOptions, RulesOptions, PackOptions, UnpackOptions, SweepOptions, LogOptions>
        command;
    std::string help;   // of --help and --version: print it and stop
    bool isVerbose = false;
};

// Throws UsageError for a command line that it cannot read.
Options ParseOptions(int argc, const char* const* argv);
