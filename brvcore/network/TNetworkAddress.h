#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <array>
#include <compare>
#include <cstdint>
#include <vector>

namespace TNetworkRules
{

enum class AddressFamily : std::uint8_t
{
    IPv4 = 0,
    IPv6 = 1,
};

// An IP address: family, bytes in network order, and for IPv6 the scope identifier (the index of an interface, 0 for none).
// A default-constructed address is all zero and invalid; "0.0.0.0" and "::" are valid ones.
//
// Order: every IPv4 address before every IPv6 address, then the bytes as a big-endian number, then the scope. An invalid
// address is equal to invalid ones alone, and less than all others.
//
// WARNING: an IPv4-mapped IPv6 address ("::ffff:10.0.0.1") stays an IPv6 address, so that rules on 10.0.0.1 do not see it.
// A host that connects through IPv6 sockets has to unmap the peer's address before it asks for a verdict.
//
// An immutable value of 24 bytes, free to share between threads; the functions are re-entrant.
class BRV_EXPORT TNetworkAddress
{
public:
    TNetworkAddress() noexcept = default;

    static TNetworkAddress fromIPv4(const std::array<std::uint8_t, 4>& bytes) noexcept;
    static TNetworkAddress fromIPv6(const std::array<std::uint8_t, 16>& bytes, std::uint32_t scopeId = 0) noexcept;

    // A literal without surrounding blanks: "10.0.0.1", "2001:db8::1", "fe80::1%eth0", "fe80::1%2". An IPv4 literal has
    // four decimal numbers; a zone is a decimal number below 2^32 or, of a link-local address, an interface of this
    // machine. Logs what is none, and returns the invalid address.
    static TNetworkAddress fromString(const TString& text);

    // The addresses of a host name or of a literal, each once, in the resolver's order. Logs a failure, and returns nothing.
    // Blocks for as long as the system's resolver takes, seconds when a name server does not answer.
    static std::vector<TNetworkAddress> fromHostname(const TString& name);

    bool IsValid() const noexcept { return (m_key[2] & kValid) != 0; }
    AddressFamily GetFamily() const noexcept { return static_cast<AddressFamily>(GetKeyByte(0)); }
    std::array<std::uint8_t, 4> GetIPv4() const noexcept;    // zero for an IPv6 address
    std::array<std::uint8_t, 16> GetIPv6() const noexcept;   // zero for an IPv4 address
    std::uint32_t GetScopeId() const noexcept { return static_cast<std::uint32_t>(m_key[2] >> 24); }

    // "10.0.0.1", "2001:db8::1", "fe80::1%eth0" (the number where no interface has that index). "0.0.0.0" when invalid.
    TString to_string() const;

    friend bool operator==(const TNetworkAddress&, const TNetworkAddress&) noexcept = default;
    friend std::strong_ordering operator<=>(const TNetworkAddress&, const TNetworkAddress&) noexcept = default;

private:
    friend class TNetworkAddressRange;

    static constexpr std::uint64_t kValid = 1;
    static constexpr std::size_t kAddressAt = 1;
    static constexpr std::size_t kScopeAt = 17;
    static constexpr std::size_t kValidAt = 23;

    using KeyBytes = std::array<std::uint8_t, 24>;
    explicit TNetworkAddress(const KeyBytes& bytes) noexcept;
    std::uint8_t GetKeyByte(std::size_t at) const noexcept
    {
        return static_cast<std::uint8_t>(m_key[at / 8] >> (56 - 8 * (at % 8)));
    }

    // The address as one number of 24 bytes, most significant first, so that its order is the documented one: family (1),
    // address (16, IPv4 in the first four), scope (4), unused (2), 1 for valid (1).
    std::array<std::uint64_t, 3> m_key = {};
};

}   // namespace TNetworkRules
