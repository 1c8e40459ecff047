#pragma once

#include <curl/curl.h>

// With the feature "VerboseNetworkLogging" (AppConfig), makes libcurl's account of a transfer lines of the log: what it does,
// and all headers, those that hold secrets (Authorization, Cookie, ...) by their names only. Bodies are not logged.
void SetVerboseLogging(CURL* handle);
