#include "brvcore/network/CurlLog.h"

#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/network/CurlOptions.h"
#include "brvcore/network/CurlUrl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace
{

// Of names in lower case. "authorization" is part of "proxy-authorization", "cookie" of "set-cookie".
constexpr std::array<std::string_view, 3> kSecrets = {"authorization", "authenticat", "cookie"};

// What follows a secret's name is left out, in headers as in libcurl's own remarks ("Added cookie id=...").
std::string Redact(std::string_view line)
{
    std::string lower(line);
    std::ranges::transform(
        lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    for (const std::string_view secret : kSecrets)
        if (const std::size_t found = lower.find(secret); found != std::string::npos)
            return std::string(line.substr(0, found + secret.size())) + "[redacted]";
    return std::string(line);
}

void LogLine(curl_infotype type, const char16_t* direction, std::string_view line)
{
    if (type == CURLINFO_HEADER_IN && line.find_first_of(" \t") == 0)
        return;   // a folded header goes on, and its name is not at hand
    const TString text = TString::FromUTF8(Redact(line));
    LogMessage(
        LogSeverity::Debug, TString(u"libcurl ") + direction + (text.Contains(u"@") ? WithoutUserInfo(text) : text));
}

int OnDebug(CURL*, curl_infotype type, char* bytes, std::size_t size, void*) noexcept
{
    const char16_t* direction = nullptr;
    switch (type)
    {
    case CURLINFO_TEXT:
        direction = u"* ";
        break;
    case CURLINFO_HEADER_IN:
        direction = u"< ";
        break;
    case CURLINFO_HEADER_OUT:
        direction = u"> ";
        break;
    default:
        return 0;
    }
    try
    {
        std::string_view rest(bytes, size);
        while (!rest.empty())
        {
            const std::size_t end = std::min(rest.find('\n'), rest.size());
            const std::string_view line = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (const std::size_t last = line.find_last_not_of('\r'); last != std::string_view::npos)
                LogLine(type, direction, line.substr(0, last + 1));
        }
    }
    catch (...)   // a line that cannot be made is no reason to fail
    {
    }
    return 0;
}

}   // namespace

void SetVerboseLogging(CURL* handle)
{
    static const TString kFeature = u"VerboseNetworkLogging";
    if (!AppConfig::IsFeatureEnabled(kFeature))
        return;
    SetPointer<CURLOPT_DEBUGFUNCTION>(handle, &OnDebug);
    SetLong<CURLOPT_VERBOSE>(handle, 1);
    SetLong<CURLOPT_CERTINFO>(handle, 1);
}
