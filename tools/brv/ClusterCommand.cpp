#include "ClusterCommand.h"

#include "ClusterRun.h"
#include "ClusterWriter.h"
#include "Console.h"
#include "LineRanges.h"
#include "NumericColumns.h"
#include "OrderedParallel.h"
#include "OutputFile.h"
#include "ScatterChart.h"
#include "Text.h"

#include <memory>

namespace
{

std::string Write(const Clustering& clustering, const ClusterOptions& options)
{
    switch (options.output)
    {
    case OutputFormat::Csv:
        return ClustersAsCsv(clustering);
    case OutputFormat::Json:
        return ClustersAsJson(clustering, options);
    case OutputFormat::Table:
        break;
    }
    return ClustersAsTable(clustering, options);
}

// What the reader would otherwise take for granted.
void PrintNotes(const Clustering& clustering, const ClusterOptions& options)
{
    constexpr std::size_t kMostRanges = 8;
    const ClusterInput& input = clustering.GetInput();
    const std::string& file = clustering.GetTable().file;
    const auto note = [&](const std::string& text) { Console::Complain(Located(file, 0, text)); };
    if (!input.leftOut.empty())
    {
        std::vector<std::string> names;
        for (const std::size_t column : input.leftOut)
            names.push_back(Quoted(clustering.GetTable().header[column]));
        note("not clustered by " + Join(names, ", ") + ": no column of numbers");
    }
    if (!input.missingLines.empty())
        note(MissingRowsNote(input.missingLines, "not clustered"));
    if (!input.weightlessLines.empty())
        note(Counted(input.weightlessLines.size(), "row") + (input.weightlessLines.size() == 1 ? " is" : " are") +
             " not clustered for a weight that is not above 0: " + LineRanges(input.weightlessLines, kMostRanges));
    if (options.clusters > 0 && clustering.ClusterCount() < static_cast<std::size_t>(options.clusters))
        note("only " + std::to_string(clustering.ClusterCount()) + " of " + std::to_string(options.clusters) +
             " clusters have rows");
}

}   // namespace

ExitCode RunClusterCommand(const ClusterOptions& options)
{
    const std::string bytes = ReadInput(options.file);
    CsvTable table;
    ClusterInput input;
    std::unique_ptr<const Clustering> clustering;
    std::string text;
    std::string chart;
    RunWatched("reading " + InputName(options.file),
        [&]
        {
            table = ParseCsv(bytes, InputName(options.file));
            input = ReadClusterInput(table, options);
        });
    const std::optional<ScatterAxes> axes = FindAxes(table, input, options.axes);
    RunWatched("clustering " + Counted(table.rows.size(), "row"),
        [&] { clustering = std::make_unique<const Clustering>(table, input, options); });
    RunWatched("writing",
        [&]
        {
            text = Write(*clustering, options);
            if (!options.chart.empty())
                chart = DrawScatterChart(*clustering, axes);
        });

    Console::Print(text);
    PrintNotes(*clustering, options);
    if (!options.chart.empty())
        WriteOutputFile(options.chart, chart);
    return ExitCode::Success;
}
