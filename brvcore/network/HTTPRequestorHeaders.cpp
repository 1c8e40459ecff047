#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/SecureRandom.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/HTTPRequestBody.h"
#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/HeaderText.h"
#include "brvcore/network/TNetworkRequest.h"
#include "brvcore/network/UserAgent.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string_view>

// What a requestor sends: header lines and body.

namespace
{

using Headers = std::unordered_map<TString, TString>;

constexpr char16_t kUserAgent[] = u"User-Agent";
constexpr char16_t kAcceptEncoding[] = u"Accept-Encoding";
constexpr char16_t kContentType[] = u"Content-Type";
constexpr char16_t kAuthorization[] = u"Authorization";
// Their lines have places of their own.
constexpr std::array kPlacedHeaders = {kUserAgent, kAcceptEncoding, kContentType, kAuthorization};

constexpr char16_t kServerDebugLogging[] = u"ServerDebugLogging";

bool HasOwnPlace(const TString& name)
{
    return std::any_of(kPlacedHeaders.begin(), kPlacedHeaders.end(),
        [&name](const char16_t* placed) { return EqualIgnoringAsciiCase(name, placed); });
}

// Nothing when the header was not set, which is not the same as an empty value.
std::optional<TString> Find(const Headers& headers, std::u16string_view name)
{
    const auto found = std::find_if(headers.begin(), headers.end(),
        [name](const auto& header) { return EqualIgnoringAsciiCase(header.first, name); });
    return found == headers.end() ? std::nullopt : std::optional(found->second);
}

// The text without blanks at its ends, which are no part of a value: "Name:" stands for an empty one.
std::string CheckedValue(const TString& value)
{
    CheckHasNoControlCharacters(value);
    std::string bytes = value.ToUTF8();
    bytes.erase(bytes.find_last_not_of(' ') + 1);
    bytes.erase(0, bytes.find_first_not_of(' '));
    return bytes;
}

// A length that is not the body's would make the server take the rest of the body for a request, or wait for more.
void CheckIsNoFraming(const TString& name)
{
    if (EqualIgnoringAsciiCase(name, u"Content-Length") || EqualIgnoringAsciiCase(name, u"Transfer-Encoding"))
        BRV_LOGIC_ERROR(0x6A1F0D93, u"frames no message");
}

std::string HeaderLine(const TString& name, const TString& value)
{
    CheckIsToken(name);
    CheckIsNoFraming(name);
    const std::string bytes = CheckedValue(value);
    return name.ToUTF8() + (bytes.empty() ? ":" : ": ") + bytes;
}

// A digit behind the name tells that the server has sent its viewer identifier.
bool HasServerViewerId(std::u16string_view parameterText)
{
    constexpr std::u16string_view kName = u"server-viewerid=";
    for (std::size_t at = parameterText.find(kName); at != std::u16string_view::npos;
         at = parameterText.find(kName, at + 1))
    {
        const std::size_t digit = at + kName.size();
        if (digit < parameterText.size() && u'0' <= parameterText[digit] && parameterText[digit] <= u'9')
            return true;
    }
    return false;
}

// In the order of precedence: one type alone is sent, and none without a body.
std::optional<TString> ContentTypeOf(const HTTPRequest::RequestInfo& info, const TString& verb, const TString& boundary)
{
    if (!IsBodyVerb(verb))
        return std::nullopt;
    if (IsMultipartRequest(info))
        return TString(info.IsRelatedMultipart() ? u"multipart/related" : u"multipart/form-data") + u"; boundary=" +
               boundary;
    if (std::optional<TString> own = Find(info.GetHeaders(), kContentType))
        return own;
    if (!info.GetContentType().IsEmpty())
        return info.GetContentType();
    if (!info.GetParameters().empty())
        return u"application/x-www-form-urlencoded";
    if (info.GetRequestBytes() || info.GetRequestChunk())
        return u"application/octet-stream";
    return std::nullopt;
}

}   // namespace

TString HTTPRequestor::GenerateMultipartBoundary()
{
    constexpr int kRandomBytes = 6;
    const std::uint64_t random = SecureRandom::NextUInt64();
    TFormatString boundary(u"---------------------------%1%2%3%4%5%6");
    for (int i = 0; i < kRandomBytes; ++i)
        boundary.arg(TString::FromUInt(random >> (8U * static_cast<unsigned>(i)) & 0xFFU, 16).ToUpper(), 2, u'0');
    return boundary.result();
}

void HTTPRequestor::GenerateHeaders(const TString& boundary, TNetworkRequest& request)
{
    const Headers& headers = m_info.GetHeaders();
    const auto add = [&request](const TString& name, const TString& value)
    { request.headers.push_back(HeaderLine(name, value)); };

    const std::optional<TString> ownUserAgent = Find(headers, kUserAgent);
    TString userAgent = ownUserAgent ? *ownUserAgent : GetUserAgentString();
    if (m_info.AcceptsCompressedReply() && m_info.UserAgentSaysGzip())
        userAgent += u"; gzip";
    request.userAgent = CheckedValue(userAgent);
    request.headers.push_back((request.userAgent.empty() ? "User-Agent:" : "User-Agent: ") + request.userAgent);

    request.acceptsCompressedReply = m_info.AcceptsCompressedReply();
    if (const std::optional<TString> own = Find(headers, kAcceptEncoding))
        add(kAcceptEncoding, *own);
    else if (m_info.AcceptsCompressedReply())
        add(kAcceptEncoding, u"gzip, deflate");

    std::map<TString, TString> sorted;
    for (const auto& [name, value] : headers)
        if (!HasOwnPlace(name))
            sorted.emplace(name, value);
    if (m_isCacheDisabled)
        for (const char16_t* const name : {u"Cache-Control", u"Pragma"})
            if (!Find(headers, name))
                sorted.emplace(name, u"no-cache");
    for (const auto& [name, value] : sorted)
        add(name, value);

    if (const std::optional<TString> contentType = ContentTypeOf(m_info, m_verb, boundary))
        add(kContentType, *contentType);

    if (const std::optional<TString> own = Find(headers, kAuthorization))
        add(kAuthorization, *own);
    else if (!m_info.GetAuthenticationToken().IsEmpty())
        add(kAuthorization, TString(u"Bearer ") + m_info.GetAuthenticationToken());
}

TString HTTPRequestor::GetUserAgentString() const
{
    try
    {
        return MakeUserAgent(GetContext().GetLanguage());
    }
    catch (...)   // the session's language comes from the host
    {
        return kBareUserAgent;
    }
}

bool HTTPRequestor::IsMultipart() const
{
    return IsMultipartRequest(m_info);
}

std::unique_ptr<RequestBody> HTTPRequestor::MakeBody(const TString& boundary) const
{
    std::unique_ptr<RequestBody> body = MakeRequestBody(m_info, m_verb, boundary);
    if (IsBodyVerb(m_verb) && m_url.Contains(u"create.xml") &&
        !HasServerViewerId(HTTPRequest::URLFormatParams(m_info.GetParameters())))
        LogMessage(LogSeverity::Info, u"server-viewerid no match");
    if (IsBodyVerb(m_verb) && AppConfig::IsFeatureEnabled(kServerDebugLogging))
        LogMessage(
            LogSeverity::Debug, TString(u"GenerateRequest size: ") + TString::FromUInt(body ? body->GetLength() : 0));
    return body;
}

std::uint64_t HTTPRequestor::GenerateRequest(TIO* out, const TString& boundary, IProgressReporter* progress)
{
    const std::unique_ptr<RequestBody> body = MakeBody(boundary);
    return body ? body->WriteTo(*out, progress) : 0;
}
