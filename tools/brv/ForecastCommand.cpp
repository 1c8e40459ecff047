#include "ForecastCommand.h"

#include "Console.h"
#include "ForecastWriter.h"
#include "OrderedParallel.h"
#include "OutputFile.h"
#include "SvgChart.h"

namespace
{

ForecastContext MakeContext(
    const CsvTable& table, const Columns& columns, const TimeAxis& axis, const ForecastOptions& options)
{
    ForecastContext context{table.file, columns.time ? table.header[*columns.time] : "",
        columns.value ? table.header[*columns.value] : "rows", {}, axis, options.confidence, options.aggregation};
    for (const std::size_t column : columns.by)
        context.byNames.push_back(table.header[column]);
    return context;
}

std::unique_ptr<IForecastWriter> MakeWriter(OutputFormat format, const ForecastContext& context)
{
    switch (format)
    {
    case OutputFormat::Csv:
        return MakeCsvWriter(context);
    case OutputFormat::Json:
        return MakeJsonWriter(context);
    case OutputFormat::Table:
        break;
    }
    return MakeTableWriter(context);
}

// All partitions, printed as they come.
class ForecastJob
{
public:
    ForecastJob(const ForecastContext& context, const ForecastOptions& options, const std::vector<Series>& series)
        : m_context(context), m_options(options), m_series(series), m_results(series.size()),
          m_writer(MakeWriter(options.output, context))
    {
    }

    ExitCode Run()
    {
        ConsoleProgress progress;
        const auto report = [&](std::size_t done)
        {
            if (m_series.size() > 1)
                progress.ReportProgress(static_cast<double>(done) / static_cast<double>(m_series.size()),
                    TString::FromUTF8(std::to_string(done) + " of " + std::to_string(m_series.size()) + " partitions"));
        };
        const bool isComplete = RunInOrder(
            m_series.size(), [this](std::size_t i) { m_results[i] = RunForecast(m_context, m_options, m_series[i]); },
            [this](std::size_t i) { Deliver(i); }, report, [this] { Finish(true); });
        Console::HideBar();
        Finish(!isComplete);
        if (!isComplete)
            return ExitCode::Interrupted;
        if (!m_options.chart.empty() && m_hasBegun)
            WriteOutputFile(m_options.chart, DrawChart(m_context, m_results));
        return m_failures.empty() ? ExitCode::Success : ExitCode::Data;
    }

private:
    void Deliver(std::size_t i)
    {
        const PartitionForecast& result = m_results[i];
        if (!result.failure.empty())
            m_failures.push_back(result.failure);
        if (!result.IsForecast())
            return;
        Begin();
        Print(m_writer->Partition(result));
    }

    // A document that has begun gets its end after Ctrl-C, too.
    static void Print(const std::string& text) { Console::Print(text, Console::AfterInterrupt::Finish); }

    void Begin()
    {
        if (!m_hasBegun)
            Print(m_writer->Begin());
        m_hasBegun = true;
    }

    void Finish(bool isInterrupted)
    {
        if (!m_context.byNames.empty() && !isInterrupted)
            Begin();   // an empty list is a result, too
        if (m_hasBegun)
            Print(m_writer->End(m_failures, isInterrupted));
        Console::HideBar();
        if (!m_context.byNames.empty() && !m_failures.empty())
            Console::Complain(std::to_string(m_failures.size()) + " of " + std::to_string(m_series.size()) +
                              (m_series.size() == 1 ? " partition" : " partitions") + " failed:");
        for (const std::string& failure : m_failures)
            Console::Complain(failure);
    }

    const ForecastContext& m_context;
    const ForecastOptions& m_options;
    const std::vector<Series>& m_series;
    std::vector<PartitionForecast> m_results;
    std::unique_ptr<IForecastWriter> m_writer;
    std::vector<std::string> m_failures;
    bool m_hasBegun = false;
};

}   // namespace

ExitCode RunCommand(const ForecastOptions& options)
{
    if (!options.chart.empty())
        CheckOutputFile(options.chart);
    const CsvTable table = ParseCsv(ReadInput(options.file), InputName(options.file));
    const Columns columns = ChooseColumns(table, options);
    const Times times = ReadTimes(table, columns, options.level);
    if (options.rangeCount > 0 && !times.axis.HasDates())
        throw UsageError("--range needs dates; positions are counted with --periods");
    const ForecastContext context = MakeContext(table, columns, times.axis, options);
    const std::vector<Series> series = BuildSeries(table, columns, times, options);
    return ForecastJob(context, options, series).Run();
}
