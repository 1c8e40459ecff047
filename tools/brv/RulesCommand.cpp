#include "RulesCommand.h"

#include "Console.h"
#include "CsvText.h"
#include "JsonText.h"
#include "OrderedParallel.h"
#include "OutputForm.h"
#include "RuleLists.h"
#include "TextTable.h"

#include <algorithm>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;
using TNetworkRules::NetworkRuleMode;

namespace
{

struct Line
{
    std::string argument;
    Verdict verdict;
};

std::vector<Line> JudgeAll(const std::vector<std::string>& arguments, const RuleLists& lists)
{
    std::vector<Line> lines;
    lines.reserve(arguments.size());
    for (const std::string& argument : arguments)
    {
        const auto addresses = FindAddresses(argument);
        if (addresses.empty())
        {
            lines.push_back({argument, {}});
            lines.back().verdict.reason = "no address, and no host with one";
        }
        for (const auto& address : addresses)
            lines.push_back({argument, Judge(address, lists)});
    }
    return lines;
}

std::string AddressText(const Verdict& verdict)
{
    return verdict.address.IsValid() ? verdict.address.to_string().ToUTF8() : std::string();
}

std::string RuleText(const Verdict& verdict)
{
    return verdict.rule != nullptr ? verdict.rule->to_string().ToUTF8() : std::string();
}

std::string ToTable(const std::vector<Line>& lines)
{
    TextTable table({"argument", "address", "verdict", "reason", "rule"});
    for (const std::size_t column : {1U, 2U, 3U, 4U})
        table.AlignLeft(column);
    for (const auto& [argument, verdict] : lines)
        table.Add({argument, AddressText(verdict), verdict.isPassed ? "passes" : "refused", verdict.reason,
            RuleText(verdict)});
    return table.ToText();
}

std::string ToCsv(const std::vector<Line>& lines)
{
    std::string text = CsvLine({"argument", "address", "passes", "reason", "rule"});
    for (const auto& [argument, verdict] : lines)
        text += CsvLine(
            {argument, AddressText(verdict), verdict.isPassed ? "true" : "false", verdict.reason, RuleText(verdict)});
    return text;
}

std::string ToJson(const std::vector<Line>& lines, const RuleLists& lists)
{
    const auto textOrNull = [](const std::string& text) { return text.empty() ? Json() : JsonText(text); };
    Json addresses = Json::array();
    for (const auto& [argument, verdict] : lines)
        addresses.push_back({{"argument", JsonText(argument)}, {"address", textOrNull(AddressText(verdict))},
            {"passes", verdict.isPassed}, {"reason", verdict.reason}, {"rule", textOrNull(RuleText(verdict))}});
    const Json counts = {{"deny", lists.deny.size()}, {"allow", lists.allow.size()}, {"bypass", lists.bypass.size()}};
    return DumpJson({{"rules", counts}, {"addresses", std::move(addresses)}}) + "\n";
}

}   // namespace

ExitCode RunCommand(const RulesOptions& options)
{
    RuleLists lists;
    std::vector<Line> lines;
    RunWatched("resolving names",
        [&]
        {
            if (!options.deny.empty())
                lists.deny = ParseRules(NetworkRuleMode::Deny, options.deny, "--deny");
            if (!options.allow.empty())
                lists.allow = ParseRules(NetworkRuleMode::Allow, options.allow, "--allow");
            if (!options.bypass.empty())
                lists.bypass = ParseRules(NetworkRuleMode::Allow, options.bypass, "--bypass");
            lines = JudgeAll(options.addresses, lists);
        });
    Console::Print(InForm(
        options.output, [&] { return ToTable(lines); }, [&] { return ToCsv(lines); },
        [&] { return ToJson(lines, lists); }));
    const bool isAllPassed =
        std::all_of(lines.begin(), lines.end(), [](const Line& line) { return line.verdict.isPassed; });
    return isAllPassed ? ExitCode::Success : ExitCode::Refused;
}
