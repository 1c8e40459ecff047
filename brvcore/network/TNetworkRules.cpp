#include "brvcore/network/TNetworkRules.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/CurlUrl.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace TNetworkRules
{

namespace
{

const TNetworkRule* FindRule(
    const std::vector<TNetworkRule>& rules, NetworkRuleMode mode, const TNetworkAddress& address) noexcept
{
    const bool isWantedAllowed = mode == NetworkRuleMode::Allow;
    const auto rule = std::find_if(rules.begin(), rules.end(),   // unrolled by the library, unlike a loop
        [&](const TNetworkRule& each) { return each.InRange(address) && each.IsAllowed() == isWantedAllowed; });
    return rule == rules.end() ? nullptr : &*rule;
}

void LogMatch(std::u16string_view format, const TNetworkAddress& address, const TNetworkRule& rule)
{
    if (IsLogging())
        LogMessage(LogSeverity::Info, TFormatString(format).arg(address.to_string()).arg(rule.to_string()).result());
}

void LogVerdict(std::u16string_view text)
{
    if (IsLogging())
        LogMessage(LogSeverity::Info, TString(text));
}

// Of a URL that a "," in its password has cut only the scheme is shown; the "@" is in another entry then.
void LogBadEntry(std::u16string_view function, const TString& list, const TString& entry)
{
    if (!IsLogging())
        return;
    const std::size_t scheme = entry.Find(u"://");
    const bool isCut = scheme != TString::npos && list.Contains(u"@") && !entry.Contains(u"@");
    LogMessage(LogSeverity::Warning, TString(u"TNetworkRuleEvaluator::") + function + u": InValid range " +
                                         (isCut ? entry.Mid(0, scheme + 3) : WithoutUserInfo(entry)));
}

// The trimmed entries of a list; none for a blank text.
std::vector<TString> SplitList(const TString& text)
{
    if (text.Trimmed().IsEmpty())
        return {};
    std::vector<TString> entries = text.Split(u",");
    for (TString& entry : entries)
        entry = entry.Trimmed();
    return entries;
}

// A range with a bad syntax is as bad as one with a bad address.
TNetworkAddressRange ReadRange(const TString& entry)
{
    if (entry.Contains(u"://"))   // a misplaced URL, which may hold a password or a piece of one
        return {};
    try
    {
        return TNetworkAddressRange::fromString(entry);
    }
    catch (const std::invalid_argument&)
    {
        return {};
    }
}

// "::1", which as a URL would be a host and a port.
bool IsBareIPv6(std::u16string_view text)
{
    return std::ranges::count(text, u':') > 1 && text.find_first_of(u"/[@") == std::u16string_view::npos;
}

}   // namespace

TString to_string(NetworkRuleMode mode)
{
    return mode == NetworkRuleMode::Allow ? u"ALLOW" : u"DENY";
}

TNetworkAddressRange TNetworkAddressRange::fromAddresses(
    const TNetworkAddress& start, const TNetworkAddress& end) noexcept
{
    TNetworkAddressRange range;
    range.m_start = start;
    range.m_end = end;
    return range;
}

TNetworkAddressRange TNetworkAddressRange::fromString(const TString& text)
{
    const std::vector<TString> ends = text.Split(u"-");
    if (ends.size() > 2)
    {
        const TString message = TFormatString(u"'%1' is not one address, nor two with '-' between them.")
                                    .arg(WithoutUserInfo(text))
                                    .result();
        LogMessage(LogErrorSeverity::Error, TString(u"TNetworkAddressRange::fromString: ") + message);
        throw std::invalid_argument(message.ToUTF8());
    }
    // A misplaced URL stays whole: cut at the "-" of a password, half of that would be logged.
    if (ends.size() == 1 || text.Contains(u"@"))
    {
        const TNetworkAddress address = TNetworkAddress::fromString(text.Trimmed());
        return fromAddresses(address, address);
    }
    const TNetworkAddress start = TNetworkAddress::fromString(ends.front().Trimmed());
    return fromAddresses(start, TNetworkAddress::fromString(ends.back().Trimmed()));
}

TString TNetworkRule::to_string() const
{
    return TFormatString(u"%1 [%2 - %3]")
        .arg(TNetworkRules::to_string(m_mode))
        .arg(m_range.GetStart().to_string())
        .arg(m_range.GetEnd().to_string())
        .result();
}

void TNetworkRuleEvaluator::fromIPString(NetworkRuleMode mode, const TString& text, std::vector<TNetworkRule>& rules)
{
    for (const TString& entry : SplitList(text))
    {
        const TNetworkAddressRange range = ReadRange(entry);
        if (range.IsValid())
            rules.emplace_back(mode, range);
        else
            LogBadEntry(u"fromIPString", text, entry);
    }
}

void TNetworkRuleEvaluator::fromHostString(NetworkRuleMode mode, const TString& text, std::vector<TNetworkRule>& rules)
{
    for (const TString& entry : SplitList(text))
    {
        const TString host = parseHost(entry);
        const std::vector<TNetworkAddress> addresses =
            host.IsEmpty() ? std::vector<TNetworkAddress>() : TNetworkAddress::fromHostname(host);
        if (addresses.empty())
            LogBadEntry(u"fromHostString", text, entry);
        std::ranges::transform(addresses, std::back_inserter(rules),
            [mode](const TNetworkAddress& address)
            { return TNetworkRule(mode, TNetworkAddressRange::fromAddresses(address, address)); });
    }
}

TString TNetworkRuleEvaluator::parseHost(const TString& text)
{
    const TString trimmed = text.Trimmed();
    const std::optional<UrlParts> url =
        ParseUrl(IsBareIPv6(trimmed) ? TString(u"[") + trimmed + u"]" : trimmed, true /*isSchemeOptional*/);
    if (!url)
        return {};
    return url->zoneId.IsEmpty() ? url->host : url->host + u"%" + url->zoneId;
}

bool TNetworkRuleEvaluator::isPassed(const TNetworkAddress& address, const std::vector<TNetworkRule>& blackList,
    const std::vector<TNetworkRule>& whiteList, const std::vector<TNetworkRule>& bypassList)
{
    if (!address.IsValid())
    {
        LogMessage(LogErrorSeverity::Error, u"TNetworkRuleEvaluator::isPassed: false, addr is invalid");
        return false;
    }
    if (FindRule(bypassList, NetworkRuleMode::Allow, address) != nullptr)
        return true;
    if (const TNetworkRule* rule = FindRule(blackList, NetworkRuleMode::Deny, address))
    {
        LogMatch(u"TNetworkRuleEvaluator::isPassed: false, address %1 is in BlackList %2", address, *rule);
        return false;
    }
    if (whiteList.empty())
    {
        LogVerdict(u"TNetworkRuleEvaluator::isPassed: true, whitelist is empty");
        return true;
    }
    if (const TNetworkRule* rule = FindRule(whiteList, NetworkRuleMode::Allow, address))
    {
        LogMatch(u"TNetworkRuleEvaluator::isPassed: true, address %1 is in WhiteList %2", address, *rule);
        return true;
    }
    LogVerdict(u"TNetworkRuleEvaluator::isPassed: false, address is denied");
    return false;
}

}   // namespace TNetworkRules
