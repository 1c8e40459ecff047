#pragma once

#include <curl/curl.h>

// With the feature "VerboseNetworkLogging" (AppConfig), makes libcurl's account of a transfer lines of the log: what it does,
// and all headers, by their names only unless their values are known to hold no secrets (Host, Content-Type, ...). URLs
// are cut at their queries. Bodies are not logged.
void SetVerboseLogging(CURL* handle);
