#include "brvcore/network/TNetworkAddress.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/CurlUrl.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <net/if.h>

namespace TNetworkRules
{

namespace
{

namespace ip = boost::asio::ip;

// The messages of the system are in the encoding of its locale; text that is not UTF-8 survives as escaped bytes.
void LogFailure(std::u16string_view format, const TString& text, const std::string& reason)
{
    if (IsLogging())
        LogMessage(LogSeverity::Warning,
            TFormatString(format).arg(WithoutUserInfo(text)).arg(TString::FromUTF8(reason)).result());
}

// Parser and resolver take C strings, which would end at a NUL: "10.0.0.1\0" is no address.
bool HasNul(const TString& text)
{
    return text.Contains(std::u16string_view(u"\0", 1));
}

// The parser reads a zone that is no interface as a number as far as it goes: "2x" as 2. A rule on such an address would
// mean another interface.
bool IsZoneUnknown(const std::string& literal, const ip::address& address)
{
    const std::size_t percent = literal.find('%');
    if (percent == std::string::npos || !address.is_v6())
        return false;
    const std::string zone = literal.substr(percent + 1);
    const auto scope = static_cast<std::uint32_t>(address.to_v6().scope_id());
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(zone.data(), zone.data() + zone.size(), number);
    const bool isNumber = error == std::errc() && end == zone.data() + zone.size() && number == scope;
    return !isNumber && (scope == 0 || if_nametoindex(zone.c_str()) != scope);
}

TNetworkAddress FromAsio(const ip::address& address)
{
    if (address.is_v4())
        return TNetworkAddress::fromIPv4(address.to_v4().to_bytes());
    const ip::address_v6 v6 = address.to_v6();
    return TNetworkAddress::fromIPv6(v6.to_bytes(), static_cast<std::uint32_t>(v6.scope_id()));
}

ip::tcp::resolver::results_type Resolve(const std::string& name, boost::system::error_code& failure)
{
    boost::asio::io_context context;
    ip::tcp::resolver resolver(context);
    return resolver.resolve(name, "", failure);
}

}   // namespace

TNetworkAddress::TNetworkAddress(const KeyBytes& bytes) noexcept
{
    for (std::size_t at = 0; at < bytes.size(); ++at)
        m_key[at / 8] = (m_key[at / 8] << 8) | bytes[at];
}

TNetworkAddress TNetworkAddress::fromIPv4(const std::array<std::uint8_t, 4>& bytes) noexcept
{
    KeyBytes key = {};
    key[0] = static_cast<std::uint8_t>(AddressFamily::IPv4);
    std::ranges::copy(bytes, key.begin() + kAddressAt);
    key[kValidAt] = kValid;
    return TNetworkAddress(key);
}

TNetworkAddress TNetworkAddress::fromIPv6(const std::array<std::uint8_t, 16>& bytes, std::uint32_t scopeId) noexcept
{
    KeyBytes key = {};
    key[0] = static_cast<std::uint8_t>(AddressFamily::IPv6);
    std::ranges::copy(bytes, key.begin() + kAddressAt);
    for (std::size_t i = 0; i < 4; ++i)
        key[kScopeAt + i] = static_cast<std::uint8_t>(scopeId >> (24 - 8 * i));
    key[kValidAt] = kValid;
    return TNetworkAddress(key);
}

TNetworkAddress TNetworkAddress::fromString(const TString& text)
{
    const std::string literal = text.ToUTF8();
    boost::system::error_code failure;
    const ip::address address = ip::make_address(literal, failure);
    if (!failure && (HasNul(text) || IsZoneUnknown(literal, address)))
        failure = boost::asio::error::invalid_argument;
    if (!failure)
        return FromAsio(address);
    LogFailure(u"TNetworkAddress::fromString: %1 parse exception %2", text, failure.message());
    return {};
}

std::vector<TNetworkAddress> TNetworkAddress::fromHostname(const TString& name)
{
    std::vector<TNetworkAddress> addresses;
    try
    {
        boost::system::error_code failure = boost::asio::error::host_not_found;
        ip::tcp::resolver::results_type results;
        if (!name.IsEmpty() && !HasNul(name))   // without a name the resolver answers for this machine
            results = Resolve(name.ToUTF8(), failure);
        if (failure)
            LogFailure(u"TNetworkAddress::fromHostname: %1 %2", name, failure.message());
        addresses.reserve(results.size());
        for (const auto& result : results)
        {
            const TNetworkAddress address = FromAsio(result.endpoint().address());
            if (std::ranges::find(addresses, address) == addresses.end())
                addresses.push_back(address);
        }
    }
    catch (const std::exception& exception)
    {
        LogFailure(u"TNetworkAddress::fromHostname: %1 resolve exception %2", name, exception.what());
        addresses.clear();
    }
    return addresses;
}

std::array<std::uint8_t, 4> TNetworkAddress::GetIPv4() const noexcept
{
    std::array<std::uint8_t, 4> bytes = {};
    if (GetFamily() == AddressFamily::IPv4)
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = GetKeyByte(kAddressAt + i);
    return bytes;
}

std::array<std::uint8_t, 16> TNetworkAddress::GetIPv6() const noexcept
{
    std::array<std::uint8_t, 16> bytes = {};
    if (GetFamily() == AddressFamily::IPv6)
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = GetKeyByte(kAddressAt + i);
    return bytes;
}

TString TNetworkAddress::to_string() const
{
    if (GetFamily() == AddressFamily::IPv4)
        return TString::FromUTF8(ip::address_v4(GetIPv4()).to_string());
    return TString::FromUTF8(ip::address_v6(GetIPv6(), GetScopeId()).to_string());
}

}   // namespace TNetworkRules
