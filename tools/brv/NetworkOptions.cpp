#include "NetworkOptions.h"

#include "Failure.h"
#include "OptionParts.h"
#include "Text.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include <strings.h>

namespace
{

// Adds an option that may be repeated: two texts around a separator, the first of which comes once.
void AddPairs(CLI::App& app, const std::string& name, FetchOptions::Pairs& target, char separator, const char* form,
    const char* description)
{
    const auto apply = [&target, name, separator, form](const std::vector<std::string>& texts)
    {
        for (const std::string& text : texts)
        {
            const std::size_t end = text.find(separator);
            if (end == 0 || end == std::string::npos)   // the text may be a secret
                throw CLI::ValidationError(name, std::string("its form is ") + form);
            const std::string key = text.substr(0, end);
            const auto isSame = [&](const auto& pair)   // names of headers have no letter case
            { return separator == ':' ? strcasecmp(pair.first.c_str(), key.c_str()) == 0 : pair.first == key; };
            if (std::any_of(target.begin(), target.end(), isSame))
                throw CLI::ValidationError(name, Quoted(key) + " stands there twice");
            target.emplace_back(key, text.substr(end + 1));
        }
    };
    app.add_option_function<std::vector<std::string>>(name, apply, description)
        ->allow_extra_args(false)
        ->type_name(form);
}

constexpr const char* kRuleLists =
    "LIST holds addresses, ranges such as 10.0.0.0-10.0.0.255, and hosts, whose addresses of now count, between\n"
    "commas; an option may be repeated. No masks. Of several lists the first of these decides: what bypasses\n"
    "passes, what is denied does not, and with an allow list nothing else but what stands there passes.\n"
    "IPv6 notations of IPv4 addresses (::ffff:10.0.0.1) count as IPv4.";

void AddRuleList(CLI::App& app, const char* name, std::string& target, const char* description)
{
    app.add_option(name, target, description)->join(',')->type_name("LIST");
}

// The verb and the names of headers as RFC 9110 has them (5.6.2).
bool IsToken(const std::string& text)
{
    const auto isOfToken = [](char c)
    {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), isOfToken);
}

// Headers that say where a message ends.
bool FramesMessage(std::string name)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    std::transform(name.begin(), name.end(), name.begin(), lower);
    return name == "content-length" || name == "transfer-encoding";
}

}   // namespace

void AddFetch(CLI::App& app, FetchOptions& options)
{
    app.add_option("URL", options.url, "An http or https address")->required()->type_name("");
    CLI::Option* target =
        app.add_option("-o", options.target, "Write the body to this file, which appears when it is complete");
    CLI::Option* parts = app.add_option("--parts", options.partsFolder,
        "Write each part of a multipart reply to a file of this folder, part-001.bin and so on, and list them");
    target->type_name("FILE");
    parts->type_name("DIR")->excludes(target);
    AddPairs(app, "--header", options.headers, ':', "NAME:VALUE", "Send a header; goes along on redirects");
    AddPairs(app, "--data", options.data, '=', "KEY=VALUE",
        "Send a field of a form; with methods but POST and PUT in the URL's query");
    AddPairs(app, "--file", options.files, '=', "FIELD=PATH", "Send a file as a field of a form");
    app.add_option("--method", options.method, "Instead of GET, or of POST with --data or --file")->type_name("VERB");
    app.add_flag(
        "--retry", options.isRetrying, "Ask again on 429, 500, 502, 503, 504: after 1, 2, 4, 8, 16, 32 seconds");
    app.add_option("--timeout", options.timeoutSeconds, "For each try; 0 for none (default: 900)")
        ->check(CLI::Range(0.0, 2'000'000.0))
        ->type_name("SECONDS");
    app.add_option("--ca", options.caFile, "Trust the certificates of this file (PEM), and no others")
        ->type_name("FILE");
    app.add_flag("--insecure", options.isInsecure, "Do not check the server's certificate");
    app.add_flag("--compressed", options.isCompressed, "Accept a packed reply, and unpack it");
    AddRuleList(app, "--rules-deny", options.deny, "Do not connect when an address of the host is in this list");
    AddRuleList(app, "--rules-allow", options.allow, "Connect only when all addresses of the host are in this list");
    AddChoice(app, "--output", options.output, kOutputFormats, "Form of the list of parts (default: table)")
        ->needs(parts);
    app.footer(
        std::string(
            "Without -o and --parts the body goes to the standard output. Only a whole success (status 200 to 299)\n"
            "writes a file; what a server says with another status goes to the standard error.\n"
            "Exit codes: 4 another status, 5 no answer or a broken one, 6 refused by the rules.\n"
            "THE RULES ARE CHECKED ONCE, before the connection, for the addresses that the host has then. Redirects\n"
            "to other hosts, and addresses that the host gets until the connection is made, are not checked.\n") +
        kRuleLists);
}

void AddRules(CLI::App& app, RulesOptions& options)
{
    app.add_option("ADDRESS", options.addresses, "IP addresses, or hosts or URLs, of which each address is judged")
        ->required()
        ->type_name("");
    AddRuleList(app, "--deny", options.deny, "What does not pass");
    AddRuleList(app, "--allow", options.allow, "What passes; nothing else does");
    AddRuleList(app, "--bypass", options.bypass, "What passes whatever the other lists say");
    AddChoice(app, "--output", options.output, kOutputFormats, "Form of the result (default: table)");
    app.footer(std::string("Exit codes: 0 when every address passes, 6 when one does not.\n") + kRuleLists);
}

void CheckFetch(FetchOptions& options, const CLI::App& app)
{
    CheckNotEmpty(app, {"-o", "--parts", "--method", "--ca", "--rules-deny", "--rules-allow"});
    if (!options.method.empty() && !IsToken(options.method))
        throw UsageError("--method: " + Quoted(options.method) + " is no name of a method");
    if (!options.files.empty() && !options.method.empty() && options.method != "POST" && options.method != "PUT")
        throw UsageError("--file goes with POST and PUT only");
    if (options.timeoutSeconds && std::isnan(*options.timeoutSeconds))   // which no range refuses
        throw UsageError("--timeout: 'nan' is no number of seconds");
    for (auto& [name, value] : options.headers)
    {
        if (!IsToken(name))
            throw UsageError("--header: " + Quoted(name) + " is no name of a header");
        if (FramesMessage(name))
            throw UsageError("--header: " + name + " is set by the program");
        value.erase(0, value.find_first_not_of(" \t"));
        if (Printable(value) != value)
            throw UsageError("--header: the value of " + name + " has control characters");
    }
    if (Printable(options.url) != options.url)
        throw UsageError("URL has control characters");
}
