#include "ClusterCommand.h"

#include "ClusterRun.h"
#include "ClusterWriter.h"
#include "Console.h"
#include "NumericColumns.h"
#include "OrderedParallel.h"
#include "OutputFile.h"
#include "OutputForm.h"
#include "ScatterChart.h"
#include "Text.h"

#include <memory>

namespace
{

// What the reader would otherwise take for granted.
void PrintNotes(const Clustering& clustering, const ClusterOptions& options)
{
    const ClusterInput& input = clustering.GetInput();
    const std::string& file = clustering.GetTable().file;
    if (!input.leftOut.empty())
    {
        std::vector<std::string> names;
        for (const std::size_t column : input.leftOut)
            names.push_back(Quoted(clustering.GetTable().header[column]));
        Console::ComplainAbout(file, "not clustered by " + Join(names, ", ") + ": no column of numbers");
    }
    if (!input.missingLines.empty())
        Console::ComplainAbout(file, LeftOutNote(input.missingLines, "a missing cell", "not clustered"));
    if (!input.weightlessLines.empty())
        Console::ComplainAbout(
            file, LeftOutNote(input.weightlessLines, "a weight that is not above 0", "not clustered"));
    if (options.clusters > 0 && clustering.ClusterCount() < static_cast<std::size_t>(options.clusters))
        Console::ComplainAbout(file, "only " + std::to_string(clustering.ClusterCount()) + " of " +
                                         std::to_string(options.clusters) + " clusters have rows");
}

}   // namespace

ExitCode RunCommand(const ClusterOptions& options)
{
    if (!options.chart.empty())
        CheckOutputFile(options.chart);
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
            text = InForm(
                options.output, [&] { return ClustersAsTable(*clustering, options); },
                [&] { return ClustersAsCsv(*clustering); }, [&] { return ClustersAsJson(*clustering, options); });
            if (!options.chart.empty())
                chart = DrawScatterChart(*clustering, axes);
        });

    Console::Print(text);
    PrintNotes(*clustering, options);
    if (!options.chart.empty())
        WriteOutputFile(options.chart, chart);
    return ExitCode::Success;
}
