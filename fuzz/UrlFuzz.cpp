// URLs from outside: the parts hold nothing that could end a line or name another host, and a joined URL says the same.

#include "brvcore/network/CurlUrl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace
{

void Require(bool condition)
{
    if (!condition)
        std::abort();
}

bool IsPlain(const TString& text)
{
    return std::ranges::none_of(text.View(), [](char16_t unit) { return unit <= u' ' || unit == 0x7F; });
}

void Check(const TString& text, bool isSchemeOptional)
{
    const std::optional<UrlParts> parts = ParseUrl(text, isSchemeOptional);
    if (!parts)
        return;
    Require(isSchemeOptional || parts->scheme == u"http" || parts->scheme == u"https");
    Require(!parts->host.IsEmpty() && parts->path.StartsWith(u"/"));
    Require(std::ranges::all_of(parts->host.View(), [](char16_t unit) { return unit < 0x80; }));
    Require(parts->host.View().find_first_of(u"/?#@[]\\") == std::u16string_view::npos);
    Require(IsPlain(parts->scheme) && IsPlain(parts->host) && IsPlain(parts->path) && IsPlain(parts->query));
    Require(parts->hasUserInfo || (parts->user.IsEmpty() && parts->password.IsEmpty()));

    const TString joined = JoinUrl(*parts);
    const std::optional<UrlParts> again = ParseUrl(joined, isSchemeOptional);
    Require(again && !again->hasUserInfo);
    Require(again->scheme == parts->scheme && again->host == parts->host && again->zoneId == parts->zoneId);
    Require(again->port == parts->port && again->path == parts->path && again->query == parts->query);
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const TString text = TString::FromUTF8(std::string_view(reinterpret_cast<const char*>(data), size));
    Check(text, false);
    Check(text, true);
    Require(!WithoutUserInfo(text).Contains(u"@"));
    return 0;
}
