#include "brvcore/network/CurlOptions.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/network/CurlErrors.h"

#include <algorithm>
#include <array>
#include <climits>
#include <new>
#include <string_view>

namespace
{

constexpr long kMaxRedirects = 30;
// libcurl reads this much at a time. With its default, 16 KiB, a large body costs a fifth to a third more CPU time.
constexpr long kReceiveBuffer = 100 * 1024;
constexpr unsigned kAllAuthKinds = 15;   // basic, digest, negotiate, NTLM
static_assert((CURLAUTH_BASIC | CURLAUTH_DIGEST | CURLAUTH_NEGOTIATE | CURLAUTH_NTLM) == kAllAuthKinds);

struct LongOption
{
    CURLoption option;
    long value;
};

struct TextOption
{
    CURLoption option;
    const char* value;
};

// The same for every request.
// clang-format off
constexpr std::array kLongOptions = {
    LongOption{CURLOPT_HTTP_VERSION,             CURL_HTTP_VERSION_1_1},   // see TNetworkAccessManager
    LongOption{CURLOPT_FOLLOWLOCATION,           1},
    LongOption{CURLOPT_MAXREDIRS,                kMaxRedirects},
    LongOption{CURLOPT_UNRESTRICTED_AUTH,        0},   // credentials stay with the first host
    LongOption{CURLOPT_SUPPRESS_CONNECT_HEADERS, 1},   // a proxy's headers are none of the reply
    LongOption{CURLOPT_HTTP_CONTENT_DECODING,    0},   // see ContentUnpacker: libcurl takes half a gzip body for a whole
    LongOption{CURLOPT_SSLVERSION,               CURL_SSLVERSION_DEFAULT},
    LongOption{CURLOPT_BUFFERSIZE,               kReceiveBuffer},
    LongOption{CURLOPT_QUICK_EXIT,               1},   // a cancel does not wait for a name that is being resolved
    LongOption{CURLOPT_NOPROGRESS,               0},
    LongOption{CURLOPT_PROXYAUTH,                kAllAuthKinds},
};
constexpr std::array kTextOptions = {
    TextOption{CURLOPT_PROTOCOLS_STR,            "http,https"},
    TextOption{CURLOPT_REDIR_PROTOCOLS_STR,      "http,https"},
    TextOption{CURLOPT_COOKIEFILE,               ""},   // no file: switches the cookies of the share on for this handle
};
// clang-format on
static_assert(std::ranges::all_of(kLongOptions, [](LongOption row) { return row.option < CURLOPTTYPE_OBJECTPOINT; }));
static_assert(std::ranges::all_of(kTextOptions,
    [](TextOption row) { return row.option > CURLOPTTYPE_OBJECTPOINT && row.option < CURLOPTTYPE_FUNCTIONPOINT; }));

bool HasControlCharacter(std::string_view text) noexcept
{
    return std::ranges::any_of(
        text, [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; });
}

// RFC 9110, 5.6.2: the names of headers and verbs.
bool IsToken(std::string_view text) noexcept
{
    const auto isTokenCharacter = [](char c)
    {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               (c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos);
    };
    return !text.empty() && std::ranges::all_of(text, isTokenCharacter);
}

bool EqualsNoCase(std::string_view text, std::string_view lowerCase) noexcept
{
    return std::ranges::equal(
        text, lowerCase, {}, [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
}

void Append(CurlList& list, const char* line)
{
    curl_slist* const longer = curl_slist_append(list.get(), line);
    if (longer == nullptr)
        throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
}

// libcurl reads 0 as "no limit" for a transfer, but as five minutes for a connection.
constexpr long kNoConnectTimeout = INT_MAX;

long ToMilliseconds(std::int64_t timeout)
{
    return static_cast<long>(std::clamp<std::int64_t>(timeout, 0, INT_MAX));
}

void SetBody(CURL* handle, const TNetworkRequest& request)
{
    const bool isHead = request.verb == "HEAD";
    BRV_LOGIC_ASSERT(0x406FD4C8, !(isHead && request.body != nullptr));   // libcurl would wait for a reply's body
    const auto length = static_cast<curl_off_t>(request.body != nullptr ? request.body->GetLength() : 0);
    if (request.verb == "POST")
    {
        SetLong<CURLOPT_POST>(handle, 1);
        if (request.body == nullptr)
            SetPointer<CURLOPT_POSTFIELDS>(handle, "");
        SetOffset<CURLOPT_POSTFIELDSIZE_LARGE>(handle, length);
    }
    else if (request.verb == "PUT" || request.body != nullptr)
    {
        SetLong<CURLOPT_UPLOAD>(handle, 1);   // a PUT, until it is given another name
        SetOffset<CURLOPT_INFILESIZE_LARGE>(handle, length);
        if (request.verb != "PUT")
            SetPointer<CURLOPT_CUSTOMREQUEST>(handle, request.verb.c_str());
    }
    else if (isHead)
    {
        SetLong<CURLOPT_NOBODY>(handle, 1);
    }
    else
    {
        SetLong<CURLOPT_HTTPGET>(handle, 1);
        if (request.verb != "GET")
            SetPointer<CURLOPT_CUSTOMREQUEST>(handle, request.verb.c_str());
    }
}

void SetCredentials(CURL* handle, const TNetworkRequest& request)
{
    SetLong<CURLOPT_HTTPAUTH>(handle, static_cast<long>(request.authKinds != 0 ? request.authKinds : kAllAuthKinds));
    if (request.user.empty() && request.password.empty())
        return;
    SetPointer<CURLOPT_USERNAME>(handle, request.user.c_str());
    SetPointer<CURLOPT_PASSWORD>(handle, request.password.c_str());
}

void SetTls(CURL* handle, const TNetworkRequest& request, const TransportSettings& settings)
{
    if (!request.caFile.IsEmpty() || !request.caPath.IsEmpty())   // what is not given does not stay the system's
    {
        SetPointer<CURLOPT_CAINFO>(handle, request.caFile.IsEmpty() ? nullptr : request.caFile.GetNative().c_str());
        SetPointer<CURLOPT_CAPATH>(handle, request.caPath.IsEmpty() ? nullptr : request.caPath.GetNative().c_str());
    }
    if (!settings.clientCertificate.empty())
        SetPointer<CURLOPT_SSLCERT>(handle, settings.clientCertificate.c_str());
    if (!request.allowsInvalidCertificates)
        return;
    SetLong<CURLOPT_SSL_VERIFYPEER>(handle, 0);
    SetLong<CURLOPT_SSL_VERIFYHOST>(handle, 0);
}

long ToCurlProxyType(TransportSettings::ProxyKind kind)
{
    switch (kind)
    {
    case TransportSettings::ProxyKind::Socks5:
        return CURLPROXY_SOCKS5;
    case TransportSettings::ProxyKind::Socks5WithRemoteResolving:
        return CURLPROXY_SOCKS5_HOSTNAME;
    default:
        return CURLPROXY_HTTP;
    }
}

// Both are always set: libcurl would look for a missing one in the environment.
void SetProxy(CURL* handle, const TNetworkRequest& request, const TransportSettings& settings)
{
    SetPointer<CURLOPT_NOPROXY>(handle, settings.noProxyHosts.c_str());
    if (settings.proxyKind == TransportSettings::ProxyKind::None || settings.proxyHost.empty())
    {
        SetPointer<CURLOPT_PROXY>(handle, "");
        return;
    }
    SetPointer<CURLOPT_PROXY>(handle, settings.proxyHost.c_str());
    SetLong<CURLOPT_PROXYTYPE>(handle, ToCurlProxyType(settings.proxyKind));
    if (settings.proxyPort > 0)
        SetLong<CURLOPT_PROXYPORT>(handle, settings.proxyPort);
    const bool hasOwn = !request.proxyUser.empty() || !request.proxyPassword.empty();
    const std::string& user = hasOwn ? request.proxyUser : settings.proxyUser;
    const std::string& password = hasOwn ? request.proxyPassword : settings.proxyPassword;
    if (user.empty() && password.empty())
        return;
    SetPointer<CURLOPT_PROXYUSERNAME>(handle, user.c_str());
    SetPointer<CURLOPT_PROXYPASSWORD>(handle, password.c_str());
}

}   // namespace

void ThrowOptionFailed(CURLcode code, CURLoption option)
{
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    throw MakeCurlException(
        code, TString(u"CURLOPT_") + (known != nullptr ? TString::FromUTF8(known->name) : TString::FromInt(option)));
}

CurlList MakeHeaderList(const TNetworkRequest& request)
{
    CurlList list;
    bool hasContentType = false;
    bool hasExpect = false;
    for (const std::string& header : request.headers)
    {
        BRV_LOGIC_ASSERT(0x71C8E04B, !HasControlCharacter(header));
        const std::size_t colon = header.find(':');
        const std::string_view name = std::string_view(header).substr(0, colon);
        BRV_LOGIC_ASSERT(0xF88FDB66, colon != std::string::npos && IsToken(name));
        const bool isFraming = EqualsNoCase(name, "content-length") || EqualsNoCase(name, "transfer-encoding");
        BRV_LOGIC_ASSERT(0xDF5F08CE, !isFraming);
        if (!request.userAgent.empty() && EqualsNoCase(name, "user-agent"))
            continue;   // libcurl writes it, as an option of its own, and a proxy's tunnel has it too
        hasContentType = hasContentType || EqualsNoCase(name, "content-type");
        hasExpect = hasExpect || EqualsNoCase(name, "expect");
        const std::size_t lastOfText = header.find_last_not_of(" \t");
        if (colon == lastOfText)
            Append(list, (header.substr(0, lastOfText) + ';').c_str());
        else
            Append(list, header.c_str());
    }
    if (request.verb == "POST" && !hasContentType)
        Append(list, "Content-Type:");
    if (request.body != nullptr && !hasExpect)
        Append(list, "Expect:");
    return list;
}

void SetOptions(
    CURL* handle, const TNetworkRequest& request, const TransportSettings& settings, const CurlList& headers)
{
    BRV_LOGIC_ASSERT(0x2E95D3B6, IsToken(request.verb));
    BRV_LOGIC_ASSERT(0xD3064AB9, !HasControlCharacter(request.userAgent));
    const std::string url = request.url.ToUTF8();
    const std::array<std::string_view, 5> texts = {
        url, request.user, request.password, request.proxyUser, request.proxyPassword};
    const bool hasControlCharacters = std::ranges::any_of(texts, HasControlCharacter);   // libcurl ends them at a NUL
    BRV_LOGIC_ASSERT(0x93B3583A, !hasControlCharacters);
    for (const LongOption& row : kLongOptions)
        CheckOption(curl_easy_setopt(handle, row.option, row.value), row.option);
    for (const TextOption& row : kTextOptions)
        CheckOption(curl_easy_setopt(handle, row.option, row.value), row.option);

    SetPointer<CURLOPT_URL>(handle, url.c_str());
    SetPointer<CURLOPT_HTTPHEADER>(handle, headers.get());
    if (!request.userAgent.empty())
        SetPointer<CURLOPT_USERAGENT>(handle, request.userAgent.c_str());
    if (request.acceptsCompressedReply)
        SetPointer<CURLOPT_ACCEPT_ENCODING>(handle, "gzip, deflate");
    SetLong<CURLOPT_CONNECTTIMEOUT_MS>(
        handle, request.connectTimeout == 0 ? kNoConnectTimeout : ToMilliseconds(request.connectTimeout));
    SetLong<CURLOPT_TIMEOUT_MS>(handle, ToMilliseconds(request.operationTimeout));
    SetOffset<CURLOPT_MAX_SEND_SPEED_LARGE>(handle, request.maxUploadBytesPerSecond);
    SetLong<CURLOPT_TCP_KEEPALIVE>(handle, request.keepAlive ? 1 : 0);
    if (request.usesOwnConnection)
    {
        SetLong<CURLOPT_FRESH_CONNECT>(handle, 1);
        SetLong<CURLOPT_FORBID_REUSE>(handle, 1);
    }
    SetCredentials(handle, request);
    SetTls(handle, request, settings);
    SetProxy(handle, request, settings);
    SetBody(handle, request);
}

void ForgetVerb(CURL* handle, const TNetworkRequest& request)
{
    if (request.verb != "DELETE")
        SetPointer<CURLOPT_CUSTOMREQUEST, const char>(handle, nullptr);
}
