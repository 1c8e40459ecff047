#include "brvcore/network/TNetworkRules.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

using namespace TNetworkRules;

constexpr std::size_t kAddresses = 1024;

// Half of the rules and of the addresses are IPv6, or all are and of one network, a /56. No range holds an address below,
// so that every list is read to its end.
TNetworkAddress Address(std::mt19937_64& generator, bool isOneNetwork, std::uint8_t lowBit)
{
    const std::uint64_t bits = generator();
    const auto byte = [bits](int i) { return static_cast<std::uint8_t>(bits >> (8 * i)); };
    const auto last = static_cast<std::uint8_t>((byte(3) & 0xFE) | lowBit);
    if (isOneNetwork)
        return TNetworkAddress::fromIPv6({0x20, 0x01, 0x0D, 0xB8, 0, 1, 0, byte(0), byte(1), byte(2), byte(3), byte(4),
            byte(5), byte(6), byte(7), last});
    if ((bits >> 63) != 0)
        return TNetworkAddress::fromIPv4({byte(0), byte(1), byte(2), last});
    return TNetworkAddress::fromIPv6(
        {0x20, 0x01, byte(0), byte(1), byte(2), byte(4), byte(5), byte(6), 0, 0, 0, 0, 0, 0, byte(2), last});
}

std::vector<TNetworkRule> Rules(std::size_t count, bool isOneNetwork, NetworkRuleMode mode, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<TNetworkRule> rules;
    rules.reserve(count);
    std::generate_n(std::back_inserter(rules), count,
        [&]
        {
            const TNetworkAddress address = Address(generator, isOneNetwork, 0);
            return TNetworkRule(mode, TNetworkAddressRange::fromAddresses(address, address));
        });
    return rules;
}

// One verdict over lists of `rules` rules in random order, none of which matches: the black list alone, or all three.
void BM_NetworkRules(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::size_t otherCount = state.range(1) == 3 ? count : 0;
    const bool isOneNetwork = state.range(2) != 0;
    const std::vector<TNetworkRule> black = Rules(count, isOneNetwork, NetworkRuleMode::Deny, 1);
    const std::vector<TNetworkRule> white = Rules(otherCount, isOneNetwork, NetworkRuleMode::Allow, 2);
    const std::vector<TNetworkRule> bypass = Rules(otherCount, isOneNetwork, NetworkRuleMode::Allow, 3);
    std::mt19937_64 generator(4);
    std::vector<TNetworkAddress> addresses(kAddresses);
    std::ranges::generate(addresses, [&] { return Address(generator, isOneNetwork, 1); });
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(TNetworkRuleEvaluator::isPassed(addresses[next++ % kAddresses], black, white, bypass));
    state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));   // rules
}
// Three lists of 10000 take 1.7 MB, more than the second-level cache of most machines.
BENCHMARK(BM_NetworkRules)->ArgNames({"rules", "lists", "oneNetwork"})->ArgsProduct({{100, 10000}, {1, 3}, {0, 1}});

}   // namespace
