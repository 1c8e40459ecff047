// brv: a command-line host of the library. It lends it a log sink, a progress bar and Ctrl-C, and calls public headers
// alone.

#include "AnovaCommand.h"
#include "ClusterCommand.h"
#include "Console.h"
#include "DescribeCommand.h"
#include "Failure.h"
#include "FetchCommand.h"
#include "ForecastCommand.h"
#include "FormatCommand.h"
#include "InputFile.h"
#include "Interrupt.h"
#include "LogCommand.h"
#include "Options.h"
#include "PackCommand.h"
#include "RulesCommand.h"
#include "SolveCommand.h"
#include "SplitCommand.h"
#include "SweepCommand.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <exception>
#include <new>
#include <string>
#include <variant>

namespace
{

// The file that is meant where a failure names none.
std::string InputFile(const auto& options)
{
    if constexpr (requires { options.file; })
        return options.file;
    else
        return {};
}

ExitCode RunLocated(const auto& options)
{
    try
    {
        return RunCommand(options);
    }
    catch (const DataError& error)
    {
        const std::string file = error.GetFile().empty() ? InputName(InputFile(options)) : error.GetFile();
        Console::Complain(Located(file, error.GetLine(), error.what()));
        return ExitCode::Data;
    }
}
ExitCode RunLocated(const std::monostate&)
{
    return ExitCode::Success;
}

// The network layer logs the failures that it throws too.
LogDetail LogDetailOf(const Options& options)
{
    const bool isOfNetwork =
        std::holds_alternative<FetchOptions>(options.command) || std::holds_alternative<RulesOptions>(options.command);
    return isOfNetwork ? LogDetail::Nothing : LogDetail::Problems;
}

ExitCode Run(const Options& options)
{
    if (!options.help.empty())
        Console::Print(options.help);
    return std::visit([](const auto& command) { return RunLocated(command); }, options.command);
}

}   // namespace

int main(int argc, char** argv)
{
    ExitCode code = ExitCode::Other;
    try
    {
        InstallInterruptHandler();
        const Options options = ParseOptions(argc, argv);
        InstallSinks(options.isVerbose ? LogDetail::Everything : LogDetailOf(options));
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
    catch (const std::bad_alloc&)
    {
        Console::Complain("there is not enough memory");
    }
    catch (const std::exception& error)
    {
        Console::Complain(error.what());
    }
    return static_cast<int>(code);
}
