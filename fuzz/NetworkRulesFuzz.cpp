// Rule lists from outside: a bad entry never stops a list, a rule's text reads back, a verdict is the plain reading of
// the lists. The first line is the address that is asked about, the others are lists by turns.

#include "brvcore/network/TNetworkRules.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <tuple>

namespace
{

using namespace TNetworkRules;

void Require(bool condition)
{
    if (!condition)
        std::abort();
}

auto Fields(const TNetworkAddress& address)
{
    return std::tuple(address.GetFamily(), address.GetIPv4(), address.GetIPv6(), address.GetScopeId());
}

bool Contains(const std::vector<TNetworkAddressRange>& ranges, const TNetworkAddress& address)
{
    return std::ranges::any_of(ranges,
        [&](const TNetworkAddressRange& range)
        {
            const bool isIn = Fields(range.GetStart()) <= Fields(address) && Fields(address) <= Fields(range.GetEnd());
            Require(range.InRange(address) == isIn && range.InRange(range.GetStart()) == range.InRange(range.GetEnd()));
            return isIn;
        });
}

// What the entries say, read one by one.
std::vector<TNetworkAddressRange> Ranges(const TString& list)
{
    std::vector<TNetworkAddressRange> ranges;
    for (const TString& entry : list.Split(u","))
    {
        try
        {
            const TNetworkAddressRange range = TNetworkAddressRange::fromString(entry);
            if (range.IsValid())
                ranges.push_back(range);
        }
        catch (const std::invalid_argument&)
        {
            Require(std::ranges::count(entry.View(), u'-') > 1);
        }
    }
    return ranges;
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const TString text = TString::FromUTF8(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::vector<TString> lines = text.Split(u"\n");
    const TNetworkAddress address = TNetworkAddress::fromString(lines[0]);
    if (address.IsValid())
        Require(TNetworkAddress::fromString(address.to_string()) == address);
    TNetworkRuleEvaluator::parseHost(lines[0]);

    TString lists[3];   // bypass, black, white
    for (std::size_t i = 1; i < lines.size(); ++i)
        lists[i % 3].Append(lists[i % 3].IsEmpty() ? u"" : u",").Append(lines[i]);
    std::vector<TNetworkRule> bypass;
    std::vector<TNetworkRule> black;
    std::vector<TNetworkRule> white;
    TNetworkRuleEvaluator::fromIPString(NetworkRuleMode::Allow, lists[0], bypass);
    TNetworkRuleEvaluator::fromIPString(NetworkRuleMode::Deny, lists[1], black);
    TNetworkRuleEvaluator::fromIPString(NetworkRuleMode::Allow, lists[2], white);
    Require(white.size() == Ranges(lists[2]).size());

    const bool isExpected =
        address.IsValid() &&
        (Contains(Ranges(lists[0]), address) ||
            (!Contains(Ranges(lists[1]), address) && (white.empty() || Contains(Ranges(lists[2]), address))));
    Require(TNetworkRuleEvaluator::isPassed(address, black, white, bypass) == isExpected);
    return 0;
}
