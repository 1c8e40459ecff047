#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/transforms/ForecastTypes.h"

#include <optional>
#include <string>
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

struct Options
{
    std::optional<ForecastOptions> forecast;
    std::optional<DescribeOptions> describe;
    std::string help;   // of --help and --version: print it and stop
    bool isVerbose = false;
};

// Throws UsageError for a command line that it cannot read.
Options ParseOptions(int argc, const char* const* argv);
