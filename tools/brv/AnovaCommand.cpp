#include "AnovaCommand.h"

#include "Console.h"
#include "CsvTable.h"
#include "CsvText.h"
#include "JsonText.h"
#include "NumericColumns.h"
#include "OrderedParallel.h"
#include "OutputForm.h"
#include "Text.h"
#include "TextTable.h"
#include "brvcore/transforms/OneWayANOVA.h"
#include "brvcore/transforms/StatDistributions.h"
#include "brvcore/transforms/SummaryStats.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>

namespace
{

constexpr std::size_t kMaxGroups = 100;   // of OneWayANOVA
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The rows without missing cells; groups in the order in which the rows meet them.
struct GroupedValues
{
    std::vector<double> values;
    std::vector<int> groups;   // by value
    std::vector<std::string> names;
    std::vector<int> missingLines;
};

struct Variance
{
    int degreesOfFreedom = 0;
    double sumOfSquares = 0.0;

    double MeanSquare() const { return sumOfSquares / degreesOfFreedom; }
};

struct Anova
{
    std::vector<SummaryStats> groups;
    Variance between;
    Variance within;
    double f = kNaN;   // NaN without variation within the groups
    double p = kNaN;
};

GroupedValues ReadGroups(const CsvTable& table, const AnovaOptions& options)
{
    const std::size_t groupColumn = table.FindColumn(options.groupColumn);
    const std::vector<double> numbers = ReadNumbers(table, table.FindColumn(options.valueColumn));
    GroupedValues grouped;
    std::unordered_map<std::string, int> indexOf;
    for (std::size_t i = 0; i < numbers.size(); ++i)
    {
        const CsvTable::Row& row = table.rows[i];
        const std::string& name = row.cells[groupColumn];
        if (std::isnan(numbers[i]) || IsMissing(name))
        {
            grouped.missingLines.push_back(row.line);
            continue;
        }
        const auto [entry, isNew] = indexOf.try_emplace(name, static_cast<int>(grouped.names.size()));
        if (isNew && grouped.names.size() == kMaxGroups)
            throw DataError(row.line, Quoted(name) + " in column " + Quoted(options.groupColumn) +
                                          " is one group more than the " + std::to_string(kMaxGroups) +
                                          " that can be compared");
        if (isNew)
            grouped.names.push_back(name);
        grouped.values.push_back(numbers[i]);
        grouped.groups.push_back(entry->second);
    }
    return grouped;
}

std::string MissingNote(const GroupedValues& grouped)
{
    return LeftOutNote(grouped.missingLines, "a missing cell", "left out");
}

void CheckComparable(const CsvTable& table, const AnovaOptions& options, const GroupedValues& grouped)
{
    if (grouped.names.empty())
        throw DataError(table.headerLine, "no row has both a value and a group");
    // A row that is left out may be the one that its author counts on.
    const std::string leftOut = grouped.missingLines.empty() ? "" : " (" + MissingNote(grouped) + ")";
    if (grouped.names.size() == 1)
        throw DataError(table.headerLine, Quoted(grouped.names.front()) + " is the only group in column " +
                                              Quoted(options.groupColumn) + "; a comparison needs two" + leftOut);
    if (grouped.values.size() == grouped.names.size())
        throw DataError(
            table.headerLine, "each group has a single value; a comparison needs a group with two" + leftOut);
}

Anova Analyse(const CsvTable& table, GroupedValues& grouped)
{
    Anova anova;
    anova.groups.resize(grouped.names.size());
    for (std::size_t i = 0; i < grouped.values.size(); ++i)
        anova.groups[static_cast<std::size_t>(grouped.groups[i])].AddValue(grouped.values[i]);
    double mean = 0.0;
    for (const SummaryStats& group : anova.groups)
        mean += group.GetMean() * (group.GetCount() / static_cast<double>(grouped.values.size()));
    for (const SummaryStats& group : anova.groups)
    {
        const double distance = group.GetMean() - mean;
        anova.between.sumOfSquares += group.GetCount() * distance * distance;
        if (group.GetCount() > 1)
            anova.within.sumOfSquares += (group.GetCount() - 1) * group.GetVariance();
    }
    if (!std::isfinite(anova.between.sumOfSquares) || !std::isfinite(anova.within.sumOfSquares))
        throw DataError(table.headerLine, "the numbers are too large for sums of their squares");
    const int groups = static_cast<int>(anova.groups.size());
    anova.between.degreesOfFreedom = groups - 1;
    anova.within.degreesOfFreedom = static_cast<int>(grouped.values.size()) - groups;
    if (anova.within.sumOfSquares == 0.0)
        return anova;

    for (double& value : grouped.values)
        value -= mean;   // the same F, and no digits lost to a common offset
    const OneWayANOVA result(grouped.values, grouped.groups, groups);
    anova.f = result.GetFStatistic();
    anova.p = result.GetPValue();
    if (std::isnan(anova.f))   // of a group with one value, which has no variance, but adds nothing to the sum within
    {
        anova.f = anova.between.MeanSquare() / anova.within.MeanSquare();
        anova.p = StatDistributions::ComputePF(anova.f, anova.between.degreesOfFreedom, anova.within.degreesOfFreedom);
    }
    anova.p = anova.p < 0.0 ? kNaN : anova.p;
    return anova;
}

std::string RatioText(double f)
{
    constexpr double kMost = 1e9;
    return f < kMost ? FixedNumber(f, 4) : SignificantNumber(f, 6);
}

std::string ToTable(const AnovaOptions& options, const GroupedValues& grouped, const Anova& anova)
{
    double largest = 0.0;
    for (const SummaryStats& group : anova.groups)
        largest = std::max({largest, std::abs(group.GetMin()), std::abs(group.GetMax())});
    TextTable groups({options.groupColumn, "count", "mean", "standard deviation", "minimum", "maximum"});
    for (std::size_t g = 0; g < anova.groups.size(); ++g)
    {
        const SummaryStats& group = anova.groups[g];
        std::vector<std::string> row = {grouped.names[g], std::to_string(group.GetCount())};
        for (const double number : {group.GetMean(), group.GetStdDev(), group.GetMin(), group.GetMax()})
            row.push_back(CellNumber(number, largest, 6));
        groups.Add(std::move(row));
    }

    TextTable sources({options.valueColumn, "df", "sum of squares", "mean square", "F", "p"});
    const auto add = [&](const char* name, const Variance& source, const std::string& f, const std::string& p)
    {
        sources.Add({name, std::to_string(source.degreesOfFreedom), SignificantNumber(source.sumOfSquares, 6),
            SignificantNumber(source.MeanSquare(), 6), f, p});
    };
    add("between groups", anova.between, RatioText(anova.f), ProbabilityText(anova.p));
    add("within groups", anova.within, "", "");
    return groups.ToText() + "\n" + sources.ToText();
}

// The analysis repeats on the line of every group.
std::string ToCsv(const GroupedValues& grouped, const Anova& anova)
{
    std::string text = CsvLine({"group", "count", "mean", "standard_deviation", "minimum", "maximum", "between_df",
        "between_ss", "within_df", "within_ss", "f", "p"});
    for (std::size_t g = 0; g < anova.groups.size(); ++g)
    {
        const SummaryStats& group = anova.groups[g];
        std::vector<std::string> row = {grouped.names[g], std::to_string(group.GetCount())};
        for (const double number : {group.GetMean(), group.GetStdDev(), group.GetMin(), group.GetMax()})
            row.push_back(ExactNumber(number));
        for (const Variance& source : {anova.between, anova.within})
        {
            row.push_back(std::to_string(source.degreesOfFreedom));
            row.push_back(ExactNumber(source.sumOfSquares));
        }
        row.push_back(ExactNumber(anova.f));
        row.push_back(ExactNumber(anova.p));
        text += CsvLine(row);
    }
    return text;
}

nlohmann::ordered_json VarianceJson(const Variance& source)
{
    return {{"df", source.degreesOfFreedom}, {"sum_of_squares", JsonNumber(source.sumOfSquares)},
        {"mean_square", JsonNumber(source.MeanSquare())}};
}

std::string ToJson(const CsvTable& table, const AnovaOptions& options, const GroupedValues& grouped, const Anova& anova)
{
    nlohmann::ordered_json groups = nlohmann::ordered_json::array();
    for (std::size_t g = 0; g < anova.groups.size(); ++g)
    {
        const SummaryStats& group = anova.groups[g];
        groups.push_back({{"group", JsonText(grouped.names[g])}, {"count", group.GetCount()},
            {"mean", JsonNumber(group.GetMean())}, {"standard_deviation", JsonNumber(group.GetStdDev())},
            {"minimum", JsonNumber(group.GetMin())}, {"maximum", JsonNumber(group.GetMax())}});
    }
    const nlohmann::ordered_json json = {{"file", JsonText(table.file)}, {"value", JsonText(options.valueColumn)},
        {"group", JsonText(options.groupColumn)}, {"missing_lines", grouped.missingLines},
        {"groups", std::move(groups)}, {"between", VarianceJson(anova.between)}, {"within", VarianceJson(anova.within)},
        {"f", JsonNumber(anova.f)}, {"p", JsonNumber(anova.p)}};
    return DumpJson(json) + "\n";
}

}   // namespace

ExitCode RunCommand(const AnovaOptions& options)
{
    const std::string bytes = ReadInput(options.file);
    CsvTable table;
    GroupedValues grouped;
    Anova anova;
    RunWatched("reading " + InputName(options.file),
        [&]
        {
            table = ParseCsv(bytes, InputName(options.file));
            grouped = ReadGroups(table, options);
            CheckComparable(table, options, grouped);
            anova = Analyse(table, grouped);
        });
    Console::Print(InForm(
        options.output, [&] { return ToTable(options, grouped, anova); }, [&] { return ToCsv(grouped, anova); },
        [&] { return ToJson(table, options, grouped, anova); }));
    if (!grouped.missingLines.empty())
        Console::ComplainAbout(table.file, MissingNote(grouped));
    if (anova.within.sumOfSquares == 0.0)
        Console::ComplainAbout(table.file, "the values do not vary within the groups, so there is no F");
    return ExitCode::Success;
}
