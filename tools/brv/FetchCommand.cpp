#include "FetchCommand.h"

#include "Console.h"
#include "FetchRequest.h"
#include "OrderedParallel.h"
#include "OutputFile.h"
#include "PartFiles.h"
#include "RuleLists.h"
#include "Text.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/network/BulkHTTPRequestor.h"
#include "brvcore/network/FileHTTPRequestor.h"
#include "brvcore/network/TClientContext.h"
#include "brvcore/network/TNetworkMultipartReply.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

using TNetworkRules::NetworkRuleMode;

namespace
{

// A transfer notices Ctrl-C within a quarter of a second, and then removes what it has written.
constexpr auto kStopPatience = std::chrono::seconds(2);

// The bar, or a count of bytes where the server does not say how many will come.
class TransferProgress : public IProgressReporter
{
public:
    explicit TransferProgress(std::atomic<bool>& hasBegun) : m_hasBegun(hasBegun) {}

    void ReportProgress(double fraction, const TString& step) override
    {
        m_hasBegun = true;
        if (fraction > 0.0)
            Console::ShowBar(fraction, step.ToUTF8());
        else
            Console::ShowActivity(step.ToUTF8());
    }

private:
    std::atomic<bool>& m_hasBegun;
};

// The session of one request.
class FetchContext : public TClientContext
{
public:
    explicit FetchContext(bool showsProgress) : m_showsProgress(showsProgress) {}

    std::unique_ptr<IProgressReporter> CreateProgressReporter(const TString&, std::uint64_t) override
    {
        return m_showsProgress ? std::make_unique<TransferProgress>(m_hasBegun) : nullptr;
    }
    bool IsWaiting() const noexcept { return m_showsProgress && !m_hasBegun; }

private:
    bool m_showsProgress;
    std::atomic<bool> m_hasBegun = false;
};

bool GoesToOutput(const FetchOptions& options)
{
    return options.partsFolder.empty() && (options.target.empty() || options.target == "-");
}

// A request's URL, verb and contents, for whichever requestor.
struct Request
{
    TString url;
    TString verb;
    HTTPRequest::RequestInfo info;
};

void Configure(HTTPRequestor& requestor, const FetchOptions& options)
{
    if (requestor.GetHost().IsEmpty())
        throw UsageError("URL is not an http or https address of a host");   // it is not shown: it may hold a password
    requestor.SetAllowInvalidSSLCerts(options.isInsecure);
}

void StreamBody(const Request& request, const FetchOptions& options, const std::function<void(std::string_view)>& write)
{
    BulkHTTPRequestor requestor(request.url, request.verb, request.info);
    Configure(requestor, options);
    requestor.Start(true);
    for (std::string buffer; requestor.GetNextBuffer(buffer);)
        write(buffer);
}

// Into what exists and is no file, such as /dev/null or a named pipe: that is written to, not replaced.
void StreamToDevice(const Request& request, const FetchOptions& options)
{
    const auto check = [&](const std::ostream& stream)
    {
        if (!stream)
            throw std::runtime_error(options.target + ": cannot be written: " + std::strerror(errno));
    };
    std::ofstream device(options.target, std::ios::binary);
    check(device);
    StreamBody(request, options,
        [&](std::string_view bytes) { check(device.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))); });
    device.close();
    check(device);
}

void SaveBody(const Request& request, const FetchOptions& options)
{
    std::error_code ignored;
    const bool isThere = std::filesystem::exists(options.target, ignored);
    if (isThere && !std::filesystem::is_regular_file(options.target, ignored))
    {
        StreamToDevice(request, options);
        return;
    }
    CheckOutputFile(options.target);
    // What a link points at is replaced, and the link stays.
    const std::filesystem::path target =
        isThere ? std::filesystem::canonical(options.target) : std::filesystem::absolute(options.target);
    using std::filesystem::perms;
    const perms before = isThere ? std::filesystem::status(target).permissions() : perms::none;
    if (isThere)   // what replaces a private file is at no time open to others
        ::umask(static_cast<mode_t>(~before & perms::all));
    FileHTTPRequestor requestor(request.url, request.verb, TPath(target), request.info);
    Configure(requestor, options);
    requestor.ProcessFile(true);
    if (isThere)
        std::filesystem::permissions(target, before);
}

std::vector<PartFile> FetchParts(const Request& request, const FetchOptions& options)
{
    BulkHTTPRequestor requestor(request.url, request.verb, request.info);
    Configure(requestor, options);
    requestor.Start(true);
    return SaveParts(requestor, options.partsFolder);
}

// The rules' answer for the host's addresses as they are now: what is wrong, or nothing.
std::optional<std::string> FindRefusal(const FetchOptions& options)
{
    RuleLists lists;
    if (!options.deny.empty())
        lists.deny = ParseRules(NetworkRuleMode::Deny, options.deny, "--rules-deny");
    if (!options.allow.empty())
        lists.allow = ParseRules(NetworkRuleMode::Allow, options.allow, "--rules-allow");
    const auto addresses = FindAddressesOfUrl(options.url);
    if (addresses.empty())
        return "the host of the URL has no address that rules could judge";
    for (const auto& address : addresses)
        if (const Verdict verdict = Judge(address, lists); !verdict.isPassed)
            return "the rules refuse " + verdict.address.to_string().ToUTF8() + ", " + verdict.reason +
                   (verdict.rule != nullptr ? ": " + verdict.rule->to_string().ToUTF8() : "");
    return std::nullopt;
}

// What the server said of its refusal, line by line.
void ShowErrorBody(const std::string& body)
{
    constexpr std::size_t kMostBytes = 4096;
    const std::string text = ValidUtf8(std::string_view(body).substr(0, kMostBytes));
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string_view line = std::string_view(text).substr(begin, end - begin);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        Console::Complain(line);
        begin = end + 1;
    }
    if (body.size() > kMostBytes)
        Console::Complain("... and " + Counted(body.size() - kMostBytes, "byte") + " more");
}

void RunFetch(const FetchOptions& options)
{
    FetchContext context(!GoesToOutput(options) || ::isatty(STDOUT_FILENO) == 0);
    Request request{TString::FromUTF8(options.url), TString::FromUTF8(MethodOf(options)), MakeRequestInfo(options)};
    request.info.SetClientContext(&context);
    const auto showWaiting = [&](const std::string& seconds)
    {
        if (context.IsWaiting())
            Console::ShowActivity("waiting for the server, " + seconds);
    };
    std::vector<PartFile> parts;
    RunWatched(showWaiting, kStopPatience,
        [&]
        {
            if (!options.partsFolder.empty())
                parts = FetchParts(request, options);
            else if (GoesToOutput(options))
                StreamBody(request, options, [](std::string_view bytes) { Console::Print(bytes); });
            else
                SaveBody(request, options);
        });
    if (!options.partsFolder.empty())
        Console::Print(ListParts(parts, options));
}

}   // namespace

ExitCode RunCommand(const FetchOptions& options)
{
    try
    {
        if (!options.deny.empty() || !options.allow.empty())
        {
            std::optional<std::string> refusal;
            RunWatched("resolving names", [&] { refusal = FindRefusal(options); });
            if (refusal)
            {
                Console::Complain(*refusal);
                return ExitCode::Refused;
            }
        }
        RunFetch(options);
        return ExitCode::Success;
    }
    catch (const HTTPException& error)
    {
        Console::Complain(error.what());
        ShowErrorBody(error.GetResult().ToUTF8());
        return ExitCode::HttpStatus;
    }
    catch (const NetworkException& error)
    {
        Console::Complain(error.what());
        return ExitCode::Transport;
    }
    catch (const TNetworkMultipartException& error)
    {
        Console::Complain(error.what());
        return ExitCode::Transport;
    }
}
