#include "brvcore/network/CurlErrors.h"

#include <string>
#include <string_view>

namespace
{

// What the host's log shows for a failure of each interface.
constexpr std::uint32_t kEasyFailed = 0x9D40B6E3;
constexpr std::uint32_t kShareFailed = 0x41E7C05A;
constexpr std::uint32_t kMultiFailed = 0xB8235F7E;
constexpr std::uint32_t kTlsFailed = 0x6C19D2F8;
constexpr std::uint32_t kReplyFailed = 0xE5307A91;

// Without the user info of the URLs in it. An "@" elsewhere stays: certificates name their owners by mail addresses.
TString WithoutUserInfoOfUrls(const TString& text)
{
    std::u16string kept;
    std::u16string_view rest = text;
    for (std::size_t scheme = rest.find(u"://"); scheme != std::u16string_view::npos; scheme = rest.find(u"://"))
    {
        kept += rest.substr(0, scheme + 3);
        rest.remove_prefix(scheme + 3);
        const std::u16string_view authority = rest.substr(0, rest.find_first_of(u"/?# '\""));
        if (const std::size_t at = authority.rfind(u'@'); at != std::u16string_view::npos)
            rest.remove_prefix(at + 1);
    }
    return TString(kept += rest);
}

TError::ErrorInfo MakeInfo(std::uint32_t site, const TString& text)
{
    return TError::ErrorInfo(BrevionError::MakeError(site, text.Contains(u"@") ? WithoutUserInfoOfUrls(text) : text),
        TError::ErrorSource::Remote);
}

TString Join(const TString& info, const char* text)
{
    const TString message = TString::FromUTF8(text);
    return info.IsEmpty() ? message : info + u": " + message;
}

template <class Code> void ThrowUnless(Code success, Code code, std::u16string_view info)
{
    if (code != success) [[unlikely]]
        throw MakeCurlException(code, TString(info));
}

}   // namespace

CurlException MakeCurlException(CURLcode code, const TString& info)
{
    return {CurlException::Interface::Easy, code, MakeInfo(kEasyFailed, Join(info, curl_easy_strerror(code)))};
}

CurlException MakeCurlException(CURLSHcode code, const TString& info)
{
    return {CurlException::Interface::Share, code, MakeInfo(kShareFailed, Join(info, curl_share_strerror(code)))};
}

CurlException MakeCurlException(CURLMcode code, const TString& info)
{
    return {CurlException::Interface::Multi, code, MakeInfo(kMultiFailed, Join(info, curl_multi_strerror(code)))};
}

CurlException MakeCurlException(CURLsslset code, const TString& info)
{
    return {CurlException::Interface::Tls, code, MakeInfo(kTlsFailed, info)};
}

CurlException MakeTransferException(CURLcode code, std::string_view errorBuffer)
{
    if (errorBuffer.empty())
        return MakeCurlException(code, {});
    return {CurlException::Interface::Easy, code, MakeInfo(kEasyFailed, TString::FromUTF8(errorBuffer))};
}

NetworkException MakeNetworkException(const TString& text)
{
    return NetworkException(MakeInfo(kReplyFailed, text));
}

void ThrowIfCurlFailed(CURLcode code, std::u16string_view info)
{
    ThrowUnless(CURLE_OK, code, info);
}

void ThrowIfCurlFailed(CURLSHcode code, std::u16string_view info)
{
    ThrowUnless(CURLSHE_OK, code, info);
}

void ThrowIfCurlFailed(CURLMcode code, std::u16string_view info)
{
    ThrowUnless(CURLM_OK, code, info);
}

void ThrowIfCurlFailed(CURLsslset code, std::u16string_view info)
{
    ThrowUnless(CURLSSLSET_OK, code, info);
}
