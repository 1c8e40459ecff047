#include "RuleLists.h"

#include "Failure.h"

#include <algorithm>
#include <array>
#include <string_view>

using TNetworkRules::AddressFamily;
using TNetworkRules::NetworkRuleMode;
using TNetworkRules::TNetworkAddress;
using TNetworkRules::TNetworkAddressRange;
using TNetworkRules::TNetworkRule;
using TNetworkRules::TNetworkRuleEvaluator;

namespace
{

// A mask, or an address with a typing error, must not pass for the host that a URL parser makes of it.
bool LooksLikeHost(std::string_view text)
{
    const auto isOfName = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c & 0x80) != 0; };
    const bool isUrl = text.find("://") != std::string_view::npos || text.starts_with('[');
    return isUrl || (std::any_of(text.begin(), text.end(), isOfName) && text.find('/') == std::string_view::npos);
}

TNetworkAddress Unmapped(const TNetworkAddress& address)
{
    constexpr std::array<std::uint8_t, 12> kPrefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    const std::array<std::uint8_t, 16> bytes = address.GetIPv6();
    if (address.GetFamily() != AddressFamily::IPv6 || !std::equal(kPrefix.begin(), kPrefix.end(), bytes.begin()))
        return address;
    return TNetworkAddress::fromIPv4({bytes[12], bytes[13], bytes[14], bytes[15]});
}

// The addresses of an entry "ADDRESS" or "START-END"; invalid when it is none of these, or holds nothing, or spans families.
TNetworkAddressRange ReadRange(const TString& entry)
{
    if (entry.ToUTF8().find('-') != entry.ToUTF8().rfind('-'))   // a range refuses that, but a host may have it
        return {};
    const TNetworkAddressRange range = TNetworkAddressRange::fromString(entry);
    const TNetworkAddress start = Unmapped(range.GetStart());
    const TNetworkAddress end = Unmapped(range.GetEnd());
    if (!range.IsValid() || start.GetFamily() != end.GetFamily() || end < start)
        return {};
    return TNetworkAddressRange::fromAddresses(start, end);
}

// "http://10.0.0.0/8" and "[2001:db8::]/32": what looks like a mask is none for a URL parser, which sees the one address.
bool HasMask(const std::string& entry, const TString& host)
{
    const std::size_t scheme = entry.find("://");
    const std::size_t path = entry.find('/', scheme == std::string::npos ? 0 : scheme + 3);
    return path != std::string::npos && path + 1 < entry.size() && TNetworkAddress::fromString(host).IsValid();
}

// The addresses of an entry that is a host or a URL.
std::vector<TNetworkAddress> ReadHost(const std::string& entry)
{
    if (!LooksLikeHost(entry))
        return {};
    const TString host = TNetworkRuleEvaluator::parseHost(TString::FromUTF8(entry));
    return HasMask(entry, host) ? std::vector<TNetworkAddress>() : TNetworkAddress::fromHostname(host);
}

const TNetworkRule* FindRule(const std::vector<TNetworkRule>& rules, const TNetworkAddress& address)
{
    const auto rule =
        std::find_if(rules.begin(), rules.end(), [&](const TNetworkRule& each) { return each.InRange(address); });
    return rule == rules.end() ? nullptr : &*rule;
}

}   // namespace

std::vector<TNetworkRule> ParseRules(NetworkRuleMode mode, const std::string& text, const std::string& option)
{
    std::vector<TNetworkRule> rules;
    for (const TString& part : TString::FromUTF8(text).Split(u","))
    {
        const TString entry = part.Trimmed();
        const std::size_t before = rules.size();
        if (const TNetworkAddressRange range = ReadRange(entry); range.IsValid())
            rules.emplace_back(mode, range);
        else
            for (const TNetworkAddress& each : ReadHost(entry.ToUTF8()))
                rules.emplace_back(mode, TNetworkAddressRange::fromAddresses(Unmapped(each), Unmapped(each)));
        if (rules.size() == before)
            throw UsageError(option + ": " + Quoted(entry.ToUTF8()) +
                             " is no address, no range such as 10.0.0.1-10.0.0.9, and no known host");
    }
    return rules;
}

std::vector<TNetworkAddress> FindAddresses(const std::string& text)
{
    const TNetworkAddress literal = TNetworkAddress::fromString(TString::FromUTF8(text));
    if (literal.IsValid())
        return {literal};
    return LooksLikeHost(text) ? FindAddressesOfUrl(text) : std::vector<TNetworkAddress>();
}

std::vector<TNetworkAddress> FindAddressesOfUrl(const std::string& url)
{
    return TNetworkAddress::fromHostname(TNetworkRuleEvaluator::parseHost(TString::FromUTF8(url)));
}

Verdict Judge(const TNetworkAddress& address, const RuleLists& lists)
{
    Verdict verdict;
    verdict.address = Unmapped(address);
    verdict.isPassed = TNetworkRuleEvaluator::isPassed(verdict.address, lists.deny, lists.allow, lists.bypass);
    if ((verdict.rule = FindRule(lists.bypass, verdict.address)) != nullptr)
        verdict.reason = "in the bypass list";
    else if ((verdict.rule = FindRule(lists.deny, verdict.address)) != nullptr)
        verdict.reason = "in the deny list";
    else if (lists.allow.empty())
        verdict.reason = lists.deny.empty() ? "no rules" : "not in the deny list";
    else if ((verdict.rule = FindRule(lists.allow, verdict.address)) != nullptr)
        verdict.reason = "in the allow list";
    else
        verdict.reason = "not in the allow list";
    return verdict;
}
