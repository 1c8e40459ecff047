#include "PackCommand.h"

#include "Console.h"
#include "InputFile.h"
#include "OrderedParallel.h"
#include "OutputFile.h"
#include "Text.h"
#include "WarningKeeper.h"
#include "brvcore/foundation/FileSystem.h"
#include "brvcore/runtime/FastCompression.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <unistd.h>

using namespace brevion::compress;

namespace
{

constexpr std::string_view kSuffix = ".brvz";
constexpr std::uint64_t kMostBytes = 3'700'000'000;   // of a container's data

// Where the result goes.
struct Output
{
    std::string path;   // "-": the standard output
    ExistingFile existing = ExistingFile::Replace;
};

// `name` is the one to take when the user gave none; such a file must not exist.
Output ChooseOutput(const std::string& input, const std::string& given, const std::string& name)
{
    if (given.empty() && input != "-" && FileSystem::GetFileKind(TPath(std::filesystem::path(name))))
        throw UsageError(name + " exists already; -o " + name + " replaces it");
    if (given.empty())
        return input == "-" ? Output{"-"} : Output{name, ExistingFile::Refuse};
    std::error_code ignored;
    if (given != "-" && input != "-" && std::filesystem::equivalent(input, given, ignored))
        throw UsageError("-o names the input " + input);
    return {given};
}

const unsigned char* DataOf(const std::string& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

// "unexpected size after uncompress (size-actual 3, size-expected 5, zlib-error-code -3)"
std::string FailureText(const LogFields& fields)
{
    std::string reason = "the work failed";
    std::vector<std::string> facts;
    for (const auto& [key, value] : fields)   // NOLINT(performance-inefficient-vector-operation): few
    {
        if (key == u"reason")
            reason = value.ToUTF8();
        else if (key != u"outcome")
            facts.push_back(key.ToUTF8() + " " + value.ToUTF8());
    }
    return facts.empty() ? reason : reason + " (" + Join(facts, ", ") + ")";
}

// A deflate stream yields at most 258 bytes for each two bits. A header that claims more is wrong, and would have the
// library allocate up to 4 GiB for a few bytes before it finds that out.
void CheckClaim(const std::string& container)
{
    constexpr std::size_t kHeaderSize = 8;
    constexpr std::uint64_t kMostExpansion = 258 * 8 / 2;
    if (container.size() < kHeaderSize || container[0] != 1)
        return;   // the library tells
    std::uint64_t claimed = 0;
    for (std::size_t i = 4; i > 0; --i)
        claimed = claimed << 8 | DataOf(container)[i];
    const std::size_t streamSize = container.size() - kHeaderSize;
    if (claimed > kMostExpansion * streamSize)
        throw DataError(0, "unexpected size after uncompress (size-expected " + std::to_string(claimed) +
                               ", more than a stream of " + Counted(streamSize, "byte") + " can hold)");
}

// Runs one of the library's functions, which return null for a failure and tell the reason in the log alone.
OwnedBytes Transform(
    const std::string& label, const std::string& bytes, OwnedBytes (&function)(const unsigned char*, std::size_t))
{
    const WarningKeeper keeper;
    OwnedBytes result;
    RunWatched(label, [&] { result = function(DataOf(bytes), bytes.size()); });
    if (result == nullptr)
        throw DataError(0, FailureText(keeper.GetFields()));
    return result;
}

void Write(const Output& output, const std::vector<unsigned char>& bytes)
{
    const std::string_view content(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (output.path == "-")
        Console::Print(content);
    else
        ReplaceOutputFile(output.path, content, output.existing);
}

ExitCode Run(const std::string& input, const Output& output, std::uint64_t mostBytes,
    const std::function<OwnedBytes(const std::string& bytes)>& work)
{
    if (output.path != "-")
        CheckOutputFile(output.path);
    OwnedBytes result = work(ReadInput(input, mostBytes));
    Write(output, *result);
    return ExitCode::Success;
}

}   // namespace

ExitCode RunCommand(const PackOptions& options)
{
    const Output output = ChooseOutput(options.file, options.output, options.file + std::string(kSuffix));
    if (output.path == "-" && ::isatty(STDOUT_FILENO) == 1)
        throw UsageError("a container is not for a terminal; -o names a file");
    return Run(options.file, output, kMostBytes,
        [&](const std::string& bytes)
        { return Transform("packing " + InputName(options.file), bytes, ZlibCompressFastest); });
}

ExitCode RunCommand(const UnpackOptions& options)
{
    const std::string& file = options.file;
    if (options.output.empty() && file != "-" && (!file.ends_with(kSuffix) || file.size() == kSuffix.size()))
        throw UsageError(file + " does not end in " + std::string(kSuffix) + "; -o names the output");
    const std::string name = file.substr(0, file.size() - std::min(file.size(), kSuffix.size()));
    const Output output = ChooseOutput(file, options.output, name);
    return Run(file, output, std::numeric_limits<std::uint64_t>::max(),
        [&](const std::string& bytes)
        {
            CheckClaim(bytes);
            return Transform("unpacking " + InputName(file), bytes, ZlibUncompressFastest);
        });
}
