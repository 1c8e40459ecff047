#include "brvcore/network/CurlUrl.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <curl/curl.h>

namespace
{

struct UrlDeleter
{
    void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
using UrlHandle = std::unique_ptr<CURLU, UrlDeleter>;

UrlHandle MakeUrl()
{
    UrlHandle url(curl_url());
    if (!url)
        throw std::bad_alloc();
    return url;
}

struct TextDeleter
{
    void operator()(char* text) const noexcept { curl_free(text); }
};

// A NUL inside would end the URL early for libcurl, but not for whoever checked it.
bool HasControlCharacterOrBlank(std::u16string_view text)
{
    return std::ranges::any_of(text, [](char16_t unit) { return unit <= u' ' || (unit >= 0x7F && unit <= 0xA0); });
}

bool IsAscii(std::u16string_view text)
{
    return std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
}

std::optional<std::string> GetPart(const UrlHandle& url, CURLUPart part, unsigned flags = 0)
{
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK || text == nullptr)
        return std::nullopt;
    const std::unique_ptr<char, TextDeleter> owner(text);
    return std::string(text);
}

TString GetText(const UrlHandle& url, CURLUPart part)
{
    return TString::FromUTF8(GetPart(url, part).value_or(std::string()));
}

// False for what libcurl does not decode: a name or password with control characters in it. True for one that is not there.
bool ReadUserInfo(const UrlHandle& url, CURLUPart part, TString& text, bool& isThere)
{
    if (!GetPart(url, part))
        return true;
    const std::optional<std::string> decoded = GetPart(url, part, CURLU_URLDECODE);
    if (!decoded)
        return false;
    text = TString::FromUTF8(*decoded);
    isThere = true;
    return true;
}

std::uint16_t ReadPort(const UrlHandle& url, unsigned flags)
{
    const std::string digits = GetPart(url, CURLUPART_PORT, flags).value_or(std::string());
    std::uint16_t port = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), port);
    return port;
}

std::string WithoutBrackets(const std::string& host)
{
    return host.starts_with('[') && host.ends_with(']') ? host.substr(1, host.size() - 2) : host;
}

// libcurl recognises a numeric host before it decodes one: "%30x7f.1" comes out as "0x7f.1", which read again is
// 127.0.0.1. So the decoded host is read once more; empty for one that is still encoded, as "%4%37" is.
TString ReadHost(const UrlHandle& url)
{
    const std::string host = GetPart(url, CURLUPART_HOST).value_or(std::string());
    const UrlHandle again = MakeUrl();
    const bool isRead = host.find('%') == std::string::npos &&
                        curl_url_set(again.get(), CURLUPART_URL, ("http://" + host).c_str(), 0) == CURLUE_OK;
    return isRead ? TString::FromUTF8(WithoutBrackets(GetPart(again, CURLUPART_HOST).value_or(std::string())))
                  : TString();
}

std::uint16_t DefaultPort(const TString& scheme)
{
    if (scheme == u"http")
        return 80;
    return scheme == u"https" ? 443 : 0;
}

}   // namespace

std::optional<UrlParts> ParseUrl(const TString& text, bool isSchemeOptional)
{
    if (HasControlCharacterOrBlank(text))
        return std::nullopt;
    const UrlHandle url = MakeUrl();
    const unsigned schemes = isSchemeOptional ? CURLU_DEFAULT_SCHEME | CURLU_NON_SUPPORT_SCHEME : 0;
    if (curl_url_set(url.get(), CURLUPART_URL, text.ToUTF8().c_str(), schemes | CURLU_URLENCODE) != CURLUE_OK)
        return std::nullopt;

    UrlParts parts;
    parts.scheme = GetText(url, CURLUPART_SCHEME).ToLower();
    if (!isSchemeOptional && parts.scheme != TString(u"http") && parts.scheme != TString(u"https"))
        return std::nullopt;
    parts.host = ReadHost(url);
    parts.zoneId = GetText(url, CURLUPART_ZONEID);
    parts.port = ReadPort(url, CURLU_DEFAULT_PORT);
    const bool isPortZero = parts.port == 0 && GetPart(url, CURLUPART_PORT);
    if (parts.host.IsEmpty() || HasControlCharacterOrBlank(parts.host) || !IsAscii(parts.host) || isPortZero)
        return std::nullopt;
    if (parts.zoneId.Contains(u"@"))   // joined without user info, what stands before it would be some
        return std::nullopt;
    parts.path = GetText(url, CURLUPART_PATH);
    parts.query = GetText(url, CURLUPART_QUERY);
    if (!ReadUserInfo(url, CURLUPART_USER, parts.user, parts.hasUserInfo) ||
        !ReadUserInfo(url, CURLUPART_PASSWORD, parts.password, parts.hasUserInfo))
        return std::nullopt;
    return parts;
}

TString JoinUrl(const UrlParts& parts)
{
    TString url = parts.scheme + u"://";
    const bool isIPv6 = parts.host.Contains(u":");
    if (isIPv6)
        url += u'[';
    url.Append(parts.host);
    if (!parts.zoneId.IsEmpty())
        url.Append(u"%25").Append(parts.zoneId);
    if (isIPv6)
        url += u']';
    if (parts.port != DefaultPort(parts.scheme))
        url.Append(u":").Append(TString::FromUInt(parts.port));
    url.Append(parts.path);
    if (!parts.query.IsEmpty())
        url.Append(u"?").Append(parts.query);
    return url;
}

TString WithoutUserInfo(const TString& text)
{
    const std::u16string_view view = text;
    const std::size_t at = view.rfind(u'@');
    if (at == std::u16string_view::npos)
        return text;
    const std::size_t colon = view.find_first_of(u":@/");   // the first of a URL ends its scheme
    const std::size_t begin = view.substr(colon, 3) == u"://" ? colon + 3 : 0;
    return TString(view.substr(0, begin)) + view.substr(at + 1);
}
