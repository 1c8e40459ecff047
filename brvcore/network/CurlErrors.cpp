#include "brvcore/network/CurlErrors.h"

#include "brvcore/network/CurlUrl.h"

namespace
{

// What the host's log shows for a failure of each interface.
constexpr std::uint32_t kEasyFailed = 0x9D40B6E3;
constexpr std::uint32_t kShareFailed = 0x41E7C05A;
constexpr std::uint32_t kMultiFailed = 0xB8235F7E;
constexpr std::uint32_t kTlsFailed = 0x6C19D2F8;
constexpr std::uint32_t kReplyFailed = 0xE5307A91;

TError::ErrorInfo MakeInfo(std::uint32_t site, const TString& text, int status)
{
    return TError::ErrorInfo(BrevionError::MakeError(site, text.Contains(u"@") ? WithoutUserInfo(text) : text),
        TError::ErrorSource::Remote, status);
}

TString Join(const TString& info, const char* text)
{
    const TString message = TString::FromUTF8(text);
    return info.IsEmpty() ? message : info + u": " + message;
}

template <class Code> void ThrowUnless(Code success, Code code, const TString& info)
{
    if (code != success) [[unlikely]]
        throw MakeCurlException(code, info);
}

}   // namespace

CurlException MakeCurlException(CURLcode code, const TString& info)
{
    return {CurlException::Interface::Easy, code, MakeInfo(kEasyFailed, Join(info, curl_easy_strerror(code)), code)};
}

CurlException MakeCurlException(CURLSHcode code, const TString& info)
{
    return {CurlException::Interface::Share, code, MakeInfo(kShareFailed, Join(info, curl_share_strerror(code)), code)};
}

CurlException MakeCurlException(CURLMcode code, const TString& info)
{
    return {CurlException::Interface::Multi, code, MakeInfo(kMultiFailed, Join(info, curl_multi_strerror(code)), code)};
}

CurlException MakeCurlException(CURLsslset code, const TString& info)
{
    return {CurlException::Interface::Tls, code, MakeInfo(kTlsFailed, info, code)};
}

CurlException MakeTransferException(CURLcode code, std::string_view errorBuffer)
{
    if (errorBuffer.empty())
        return MakeCurlException(code, {});
    return {CurlException::Interface::Easy, code, MakeInfo(kEasyFailed, TString::FromUTF8(errorBuffer), code)};
}

NetworkException MakeNetworkException(const TString& text)
{
    return NetworkException(MakeInfo(kReplyFailed, text, 0));
}

void ThrowIfCurlFailed(CURLcode code, const TString& info)
{
    ThrowUnless(CURLE_OK, code, info);
}

void ThrowIfCurlFailed(CURLSHcode code, const TString& info)
{
    ThrowUnless(CURLSHE_OK, code, info);
}

void ThrowIfCurlFailed(CURLMcode code, const TString& info)
{
    ThrowUnless(CURLM_OK, code, info);
}

void ThrowIfCurlFailed(CURLsslset code, const TString& info)
{
    ThrowUnless(CURLSSLSET_OK, code, info);
}
