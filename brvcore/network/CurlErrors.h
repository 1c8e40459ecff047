#pragma once

#include "brvcore/foundation/TString.h"
#include "brvcore/network/HTTPExceptions.h"

#include <string_view>

#include <curl/curl.h>

// Failures that libcurl reports by a code, as exceptions. The message is libcurl's own text for the code, behind `info` and
// ": " where the caller has something to say; user names and passwords of URLs are taken out of it.

CurlException MakeCurlException(CURLcode code, const TString& info);
CurlException MakeCurlException(CURLSHcode code, const TString& info);
CurlException MakeCurlException(CURLMcode code, const TString& info);
CurlException MakeCurlException(CURLsslset code, const TString& info);   // libcurl has no texts for these: info alone

// A transfer's failure: the text of its error buffer, or the one for the code when that is empty.
CurlException MakeTransferException(CURLcode code, std::string_view errorBuffer);

// A failure that is seen here and not by libcurl.
NetworkException MakeNetworkException(const TString& text);

// Throw CurlException for every code but success.
void ThrowIfCurlFailed(CURLcode code, std::u16string_view info);
void ThrowIfCurlFailed(CURLSHcode code, std::u16string_view info);
void ThrowIfCurlFailed(CURLMcode code, std::u16string_view info);
void ThrowIfCurlFailed(CURLsslset code, std::u16string_view info);
