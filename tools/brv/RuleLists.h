#pragma once

#include "brvcore/network/TNetworkRules.h"

#include <optional>
#include <string>
#include <vector>

// The rules of a command line, and what they say of an address.
struct RuleLists
{
    std::vector<TNetworkRules::TNetworkRule> deny;
    std::vector<TNetworkRules::TNetworkRule> allow;
    std::vector<TNetworkRules::TNetworkRule> bypass;
};

// Reads a list of addresses, ranges and hosts between commas. A list that lost an entry might protect nothing, so a bad one
// throws UsageError with the option's name and the entry. So does a range that holds nothing or is of two families, and what
// looks like a mask. Asks the resolver for the hosts. IPv6 addresses that are IPv4 ones in another notation count as those.
std::vector<TNetworkRules::TNetworkRule> ParseRules(
    TNetworkRules::NetworkRuleMode mode, const std::string& text, const std::string& option);

// The addresses of a literal, a host or a URL; none for what is none of these.
std::vector<TNetworkRules::TNetworkAddress> FindAddresses(const std::string& text);
// Those of a URL's host.
std::vector<TNetworkRules::TNetworkAddress> FindAddressesOfUrl(const std::string& url);

struct Verdict
{
    TNetworkRules::TNetworkAddress address;
    bool isPassed = false;
    const char* reason = "";
    const TNetworkRules::TNetworkRule* rule = nullptr;   // of the lists; null when none matched
};

// An IPv6 address that is an IPv4 one in another notation ("::ffff:10.0.0.1") counts as that.
Verdict Judge(const TNetworkRules::TNetworkAddress& address, const RuleLists& lists);
