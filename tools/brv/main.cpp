// brv: a command-line host of the library. It lends it a log sink, a progress bar and Ctrl-C, and calls public headers
// alone.

#include "Console.h"
#include "CsvTable.h"
#include "DescribeCommand.h"
#include "Failure.h"
#include "ForecastCommand.h"
#include "Interrupt.h"
#include "Options.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <exception>

namespace
{

ExitCode Run(const Options& options)
{
    if (!options.help.empty())
    {
        Console::Print(options.help);
        return ExitCode::Success;
    }
    const std::string& file = options.forecast ? options.forecast->file : options.describe->file;
    try
    {
        return options.forecast ? RunForecastCommand(*options.forecast) : RunDescribeCommand(*options.describe);
    }
    catch (const DataError& error)
    {
        Console::Complain(Located(InputName(file), error.GetLine(), error.what()));
        return ExitCode::Data;
    }
}

}   // namespace

int main(int argc, char** argv)
{
    ExitCode code = ExitCode::Other;
    try
    {
        InstallInterruptHandler();
        const Options options = ParseOptions(argc, argv);
        InstallSinks(options.isVerbose);
        code = Run(options);
    }
    catch (const CancelledException&)
    {
        code = ExitCode::Interrupted;
    }
    catch (const UsageError& error)
    {
        Console::Complain(std::string(error.what()) + " (brv --help lists the options)");
        code = ExitCode::Usage;
    }
    catch (const std::exception& error)
    {
        Console::Complain(error.what());
    }
    return static_cast<int>(code);
}
