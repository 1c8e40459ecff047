#pragma once

#include "brvcore/network/TNetworkRequest.h"

#include <memory>
#include <string>

#include <curl/curl.h>

// What a session adds to each of its requests. A plain value.
struct TransportSettings
{
    enum class ProxyKind
    {
        None,
        Http,
        Socks5,                     // names are resolved here
        Socks5WithRemoteResolving   // and here by the proxy
    };

    ProxyKind proxyKind = ProxyKind::None;
    std::string proxyHost;
    long proxyPort = 0;   // 0: libcurl's choice for the kind
    std::string proxyUser;
    std::string proxyPassword;
    std::string noProxyHosts;        // separated by commas
    std::string clientCertificate;   // a file in PEM form; empty for none
};

struct CurlListDeleter
{
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using CurlList = std::unique_ptr<curl_slist, CurlListDeleter>;

// The request's headers as libcurl wants them: an empty value is written "Name;". Headers that libcurl would add on its own
// are switched off:
// - "Expect: 100-continue" holds a large upload back for a second when the server does not know it. Without it a server
//   that refuses early is still heard, since the reply is read while the body is sent. A caller's own Expect header stays.
// - The content type of a form, which libcurl gives to a POST that has none.
// Throws LogicException 0x71C8E04B for a header with control characters: libcurl would send them; 0xF88FDB66 for one that
// does not begin with a name and a colon; 0xDF5F08CE for Content-Length and Transfer-Encoding: where a body ends is the
// transport's own business, and a server that is told otherwise waits, or takes the rest for another request.
CurlList MakeHeaderList(const TNetworkRequest& request);

// Puts everything but the callbacks onto a handle that has just been reset. The list has to live as long as the transfer.
// Throws CurlException when libcurl refuses one, LogicException 0x2E95D3B6 for a verb that is none, 0x406FD4C8 for HEAD
// with a body, and for control characters 0xD3064AB9 (user agent) and 0x93B3583A (URL, users and passwords).
void SetOptions(
    CURL* handle, const TNetworkRequest& request, const TransportSettings& settings, const CurlList& headers);

// A 303 reply asks for a GET of another place. libcurl sees to it, except for a verb that it was given by name: this
// takes the name away. DELETE stays DELETE.
void ForgetVerb(CURL* handle, const TNetworkRequest& request);

// curl_easy_setopt takes whatever it is given. These take what the option is made for, and throw when it is refused.
template <CURLoption Option> void SetLong(CURL* handle, long value);
template <CURLoption Option> void SetOffset(CURL* handle, curl_off_t value);
template <CURLoption Option, class T> void SetPointer(CURL* handle, T* value);

// --- Implementation --------------------------------------------------------------------------------------------------

[[noreturn]] void ThrowOptionFailed(CURLcode code, CURLoption option);

inline void CheckOption(CURLcode code, CURLoption option)
{
    if (code != CURLE_OK) [[unlikely]]
        ThrowOptionFailed(code, option);
}

template <CURLoption Option> void SetLong(CURL* handle, long value)
{
    static_assert(Option < CURLOPTTYPE_OBJECTPOINT);
    CheckOption(curl_easy_setopt(handle, Option, value), Option);
}

template <CURLoption Option> void SetOffset(CURL* handle, curl_off_t value)
{
    static_assert(Option >= CURLOPTTYPE_OFF_T && Option < CURLOPTTYPE_BLOB);
    CheckOption(curl_easy_setopt(handle, Option, value), Option);
}

// Strings (libcurl copies them, except POSTFIELDS), lists, callbacks and what the callbacks are given.
template <CURLoption Option, class T> void SetPointer(CURL* handle, T* value)
{
    static_assert(Option >= CURLOPTTYPE_OBJECTPOINT && Option < CURLOPTTYPE_OFF_T);
    CheckOption(curl_easy_setopt(handle, Option, value), Option);
}
