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

// Headers whose values hold no secrets, in lower case. All others may: callers choose names such as "X-Api-Key".
constexpr std::array<std::string_view, 22> kPlainHeaders = {"accept", "accept-encoding", "accept-ranges", "age",
    "allow", "cache-control", "connection", "content-encoding", "content-length", "content-range", "content-type",
    "date", "expect", "expires", "host", "keep-alive", "last-modified", "location", "retry-after", "server",
    "transfer-encoding", "user-agent"};
// What libcurl's own remarks tell secrets behind: "Added cookie id=...", "Server auth using Basic with user '...'".
constexpr std::array<std::string_view, 4> kSecrets = {"authorization", "authenticat", "auth using", "cookie"};

std::string ToLower(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(
        lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return lower;
}

// The part of a line that holds no secrets; a query may hold one ("?access_token=...").
std::string_view PublicPart(curl_infotype type, std::string_view line)
{
    line = line.substr(0, line.find('?'));
    if (type == CURLINFO_TEXT)
    {
        const std::string lower = ToLower(line);
        std::size_t end = line.size();
        for (const std::string_view secret : kSecrets)
            if (const std::size_t found = lower.find(secret); found != std::string::npos)
                end = std::min(end, found + secret.size());
        return line.substr(0, end);
    }
    const std::size_t colon = line.find(':');
    const bool isHeader =   // else a request or status line
        colon != std::string_view::npos &&
        (type == CURLINFO_HEADER_OUT ? line.find(' ') > colon : !line.starts_with("HTTP/"));
    return isHeader && std::ranges::find(kPlainHeaders, ToLower(line.substr(0, colon))) == kPlainHeaders.end()
               ? line.substr(0, colon)
               : line;
}

void LogLine(curl_infotype type, const char16_t* direction, std::string_view line)
{
    if (type == CURLINFO_HEADER_IN && line.find_first_of(" \t") == 0)
        return;   // a folded header goes on, and its name is not at hand
    const std::string_view shown = PublicPart(type, line);
    const TString text =
        TString::FromUTF8(shown.size() == line.size() ? std::string(line) : std::string(shown) + "[redacted]");
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
