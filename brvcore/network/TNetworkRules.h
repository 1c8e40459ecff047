#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/network/TNetworkAddress.h"

#include <cstdint>
#include <vector>

// Rules that decide whether an IP address may be contacted, and their text form, in which an administrator writes them.
// Nothing here connects; fromHostString alone asks the system's resolver, and blocks for as long as that takes.
//
// WARNING to hosts: an empty white list lets every address pass that no other list names, and bad entries are logged and
// left out. So a white list whose every entry was bad counts as empty, and protects nothing: compare the number of rules
// with what you expect. See TNetworkAddress for IPv4-mapped IPv6 addresses, which IPv4 rules do not see.
//
// WARNING: lists of hosts are read as URLs are, addresses too: "10.0.0.0/24" is the host 10.0.0.0 with a path, "010.0.0.1"
// is octal and means 8.0.0.1, and neither is logged. Lists of addresses refuse both. A "," in the user name or password of
// a URL has to be "%2C": as it stands it ends the entry, and the pieces are logged, and looked up as names, like any other.
//
// All types are immutable values and the functions are re-entrant.
namespace TNetworkRules
{

enum class NetworkRuleMode : std::uint8_t
{
    Allow = 0,
    Deny = 1,
};

// "ALLOW" or "DENY".
BRV_EXPORT TString to_string(NetworkRuleMode mode);

// The addresses from start to end, both inclusive, in the order of TNetworkAddress. A start above the end makes a valid
// range that contains nothing; an IPv4 start with an IPv6 end spans all IPv4 addresses above and all IPv6 ones below.
class BRV_EXPORT TNetworkAddressRange
{
public:
    TNetworkAddressRange() noexcept = default;   // invalid

    static TNetworkAddressRange fromAddresses(const TNetworkAddress& start, const TNetworkAddress& end) noexcept;

    // "ADDRESS" or "START-END", with blanks anywhere but inside an address; no masks ("10.0.0.0/24"), and no interface names
    // with a "-", nor in a range with an "@". An address that is none makes the range invalid, and is logged. More than one
    // "-" is logged as an error and throws std::invalid_argument.
    static TNetworkAddressRange fromString(const TString& text);

    const TNetworkAddress& GetStart() const noexcept { return m_start; }
    const TNetworkAddress& GetEnd() const noexcept { return m_end; }
    bool IsValid() const noexcept { return m_start.IsValid() && m_end.IsValid(); }

    // False for an invalid address and for an invalid range. O(1): one branch turns most addresses away.
    bool InRange(const TNetworkAddress& address) const noexcept
    {
        // The leading two words hold family and 120 bits of the address. Their distances from the start make a single
        // branch, where comparisons one by one would be mispredicted half the time; the second word's counts where the
        // first word is the same at both ends. This may let too much through, never too little.
        const auto& key = address.m_key;
        const auto& start = m_start.m_key;
        const auto& end = m_end.m_key;
        const bool isFirstIn = key[0] - start[0] <= end[0] - start[0];
        const bool isSecondIn = key[1] - start[1] <= end[1] - start[1];
        const bool isWide = start[0] != end[0];
        if (!(isFirstIn & (isWide | isSecondIn)))
            return false;
        return IsValid() && address.IsValid() && m_start <= address && address <= m_end;
    }

    friend bool operator==(const TNetworkAddressRange&, const TNetworkAddressRange&) noexcept = default;

private:
    TNetworkAddress m_start;
    TNetworkAddress m_end;
};

class BRV_EXPORT TNetworkRule
{
public:
    TNetworkRule(NetworkRuleMode mode, const TNetworkAddressRange& range) noexcept : m_range(range), m_mode(mode) {}

    bool IsAllowed() const noexcept { return m_mode == NetworkRuleMode::Allow; }
    bool IsDenied() const noexcept { return m_mode == NetworkRuleMode::Deny; }
    bool IsValid() const noexcept { return m_range.IsValid(); }
    bool InRange(const TNetworkAddress& address) const noexcept { return m_range.InRange(address); }

    // "DENY [10.0.0.1 - 10.0.0.255]".
    TString to_string() const;

    friend bool operator==(const TNetworkRule&, const TNetworkRule&) noexcept = default;

private:
    TNetworkAddressRange m_range;
    NetworkRuleMode m_mode;
};

class BRV_EXPORT TNetworkRuleEvaluator
{
public:
    TNetworkRuleEvaluator() = delete;

    // Append the rules of a list, in the order of its entries, which commas separate; blanks around an entry do not count.
    // A bad entry, an empty one too, is logged and left out. A blank text adds nothing, silently.
    static void fromIPString(NetworkRuleMode mode, const TString& text, std::vector<TNetworkRule>& rules);
    // The entries are host names, literals or URLs, of which parseHost takes the host; one rule for each address of each.
    // A name beyond ASCII is a bad entry: write its "xn--" form. Blocks on the resolver. The rules know the addresses of
    // now: a name that moves needs a new list.
    static void fromHostString(NetworkRuleMode mode, const TString& text, std::vector<TNetworkRule>& rules);

    // The host of a URL, whose scheme may be any or absent: "https://user@example.com:8443/x" and "example.com/x" give
    // "example.com". IPv6 literals lose their brackets, and a text that is one without brackets stays as it is. Empty for an
    // empty text and for what is no URL.
    static TString parseHost(const TString& text);

    // True when the address may be contacted. An invalid one may not; one that the bypass list allows may, one that the
    // black list denies may not, one that the white list allows or an empty white list may, any other may not. Rules of the
    // other mode in a list are ignored. Logs the reason, except for the bypass list; with the first rule that matched.
    // O(rules), nothing is allocated unless a sink listens.
    static bool isPassed(const TNetworkAddress& address, const std::vector<TNetworkRule>& blackList,
        const std::vector<TNetworkRule>& whiteList, const std::vector<TNetworkRule>& bypassList);
};

}   // namespace TNetworkRules
