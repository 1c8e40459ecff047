#include "RuntimeOptions.h"

#include "Failure.h"
#include "OptionParts.h"
#include "brvcore/foundation/TString.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <string_view>

namespace
{

const std::map<std::string, FolderSweepOrder> kOrders = {
    {"oldest", FolderSweepOrder::OldestFirst}, {"largest", FolderSweepOrder::LargestFirst}};

constexpr std::uint64_t kMaxEntries = 64'999;   // see FolderSweeper
constexpr const char* kByteUnits = "k, M and G are 1024, 1024^2 and 1024^3 bytes.";

// Decimal digits, also after a zero; nothing for anything else and for more than `most`.
std::optional<std::uint64_t> NumberFromText(std::string_view text, std::uint64_t most)
{
    if (text.empty())
        return std::nullopt;
    std::uint64_t number = 0;
    for (const char c : text)
    {
        const auto digit = static_cast<std::uint64_t>(c - '0');
        if (c < '0' || c > '9' || digit > most || number > (most - digit) / 10)
            return std::nullopt;
        number = 10 * number + digit;
    }
    return number;
}

// "500", "20k", "3M", "1G"; nothing for anything else and for what 64 bits do not hold.
std::optional<std::uint64_t> BytesFromText(std::string_view text)
{
    constexpr std::string_view kUnits = "kMG";
    unsigned shift = 0;
    if (const std::size_t unit = text.empty() ? kUnits.npos : kUnits.find(text.back()); unit != kUnits.npos)
    {
        shift = 10 * (static_cast<unsigned>(unit) + 1);
        text.remove_suffix(1);
    }
    const auto number = NumberFromText(text, std::numeric_limits<std::uint64_t>::max() >> shift);
    return number ? std::optional(*number << shift) : std::nullopt;
}

template <typename Number>
CLI::Option* AddCount(CLI::App& app, const std::string& name, Number& target, std::uint64_t least, std::uint64_t most,
    const std::string& description)
{
    const auto apply = [&target, name, least, most](const std::string& text)
    {
        const std::optional<std::uint64_t> number = NumberFromText(text, most);
        if (!number || *number < least)
            throw CLI::ValidationError(
                name, Quoted(text) + " is no number from " + std::to_string(least) + " to " + std::to_string(most));
        target = static_cast<Number>(*number);
    };
    return app.add_option_function<std::string>(name, apply, description)->type_name("N");
}

CLI::Option* AddBytes(
    CLI::App& app, const std::string& name, std::uint64_t& target, std::uint64_t least, const std::string& description)
{
    const auto apply = [&target, name, least](const std::string& text)
    {
        const std::optional<std::uint64_t> bytes = BytesFromText(text);
        if (!bytes || *bytes < least)
            throw CLI::ValidationError(
                name, Quoted(text) + " is no number of bytes such as 500, 20k, 3M or 1G" +
                          (least > 0 ? " from " + std::to_string(least) + " on" : std::string()));
        target = *bytes;
    };
    return app.add_option_function<std::string>(name, apply, description)->type_name("N[k|M|G]");
}

}   // namespace

void AddPack(CLI::App& app, PackOptions& options)
{
    app.add_option("FILE", options.file, "What to pack, up to 3700000000 bytes; - is the standard input")
        ->required()
        ->type_name("");
    app.add_option("-o", options.output,
           "Write the container here, - for the standard output (default: FILE.brvz, which must not exist; of the "
           "standard input the standard output)")
        ->type_name("OUT");
    app.footer(
        "A container is eight bytes, 1 and the size of the data, before a zlib stream (RFC 1950). The file is read\n"
        "whole. OUT appears at once when it is complete; what was there before stays until then.");
}

void AddUnpack(CLI::App& app, UnpackOptions& options)
{
    app.add_option("FILE", options.file, "The container; - is the standard input")->required()->type_name("");
    app.add_option("-o", options.output,
           "Write the data here, - for the standard output (default: FILE without its .brvz, which must not exist; of "
           "the standard input the standard output)")
        ->type_name("OUT");
    app.footer("OUT appears at once when the container has proved whole; a malformed one writes nothing.");
}

void AddSweep(CLI::App& app, SweepOptions& options)
{
    app.add_option("FOLDER", options.file, "The folder; its direct entries are removed whole, links as links")
        ->required()
        ->type_name("");
    AddBytes(app, "--max-bytes", options.mostBytes, 1, "Most bytes of all files in it, at any depth")->required();
    AddCount(app, "--max-entries", options.mostEntries, 1, kMaxEntries, "Most direct entries")->required();
    AddChoice(app, "--order", options.order, kOrders,
        "Which entries go first: those with most bytes, or those whose newest file is oldest")
        ->required();
    AddBytes(app, "--reserve", options.reserveB, 0,
        "Room to leave below the limits for a new entry: these bytes, and one entry unless they are 0");
    app.add_flag("--dry-run", options.isDryRun, "Only list what would be removed");
    app.footer(std::string(kByteUnits) + " The exit code is 7 when the limits cannot be met.");
}

void AddLog(CLI::App& app, LogOptions& options)
{
    app.add_option("FILE", options.file, "The log, DIR/NAME.log; lines of the standard input are appended to it")
        ->required()
        ->type_name("");
    AddBytes(app, "--rotate-size", options.rotateBytes, 0,
        "Begin a new file when this one has as many bytes (0: never); the old one gets the time in its name")
        ->required();
    AddCount(app, "--keep", options.filesToKeep, 0, std::numeric_limits<std::uint64_t>::max(),
        "Files to keep, with the one being written (0: all)")
        ->required();
    app.footer(
        std::string(kByteUnits) +
        "\nTo the log belong, and are removed when they are the oldest, all files of DIR whose names begin with\n"
        "NAME and end in the same extension: app.log takes app_http.log and apple.log too. Each removal adds a\n"
        "line of its own to the log, TIME Info delete-log. A line above 16 MiB is broken up. At Ctrl-C a pipe is read\n"
        "to its end first, so that the last words of the program before it are kept; a second Ctrl-C stops at once.");
}

void CheckLog(const LogOptions& options)
{
    const std::filesystem::path path(options.file);
    const std::string extension = path.extension().native();
    if (extension.size() < 2)
        throw UsageError(Quoted(options.file) + " needs a name and an extension, such as app.log");
    const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    if (options.filesToKeep > 0 && std::any_of(extension.begin(), extension.end(), isUpper))
        throw UsageError(Quoted(options.file) + ": --keep finds files by an extension in lower case, such as .log");
}
