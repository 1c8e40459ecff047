#include "SplitCommand.h"

#include "Console.h"
#include "NumericColumns.h"
#include "OrderedParallel.h"
#include "OutputForm.h"
#include "SplitRun.h"
#include "SplitWriter.h"
#include "Text.h"

ExitCode RunCommand(const SplitOptions& options)
{
    const std::string bytes = ReadInput(options.file);
    TextColumn column;
    ColumnSplit split;
    std::string text;
    RunWatched("reading " + InputName(options.file), [&] { column = ReadTextColumn(bytes, options); });
    const std::string values = Counted(column.counts.size(), "distinct value");
    const bool isMatch = !options.pattern.empty();
    if (isMatch)
    {
        RunWatched(
            "matching " + values, [&] { text = WriteMatches(column, CountMatches(column, options.pattern), options); });
    }
    else
    {
        RunWatched("splitting " + values, [&] { split = SplitColumn(column, options); });
        RunWatched("writing",
            [&]
            {
                text = InForm(
                    options.output, [&] { return SplitAsTable(column, split, options); },
                    [&] { return SplitAsCsv(column, split); }, [&] { return SplitAsJson(column, split, options); });
            });
    }

    Console::Print(text);
    const std::string& file = column.table.file;
    if (!column.missingLines.empty())
        Console::ComplainAbout(
            file, LeftOutNote(column.missingLines, "a missing cell", isMatch ? "not counted" : "not split"));
    for (const std::string& note : MisfitNotes(column, split))
        Console::ComplainAbout(file, note);
    return ExitCode::Success;
}
