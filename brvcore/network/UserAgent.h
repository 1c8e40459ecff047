#pragma once

#include "brvcore/foundation/TString.h"

// The product's bare name: the user agent when nothing better can be said.
inline constexpr char16_t kBareUserAgent[] = u"Brevion";

// What servers are told of the program that asks: its name and version; operating system; HTTP client; word size; language
// (the configured default for an empty one); edition. "Brevion Server 2.1.0; Linux 6.1.0; libcurl-client; 64-bit; de; standard;"
// Throws std::system_error when the operating system cannot be asked for its name. Safe from any thread.
TString MakeUserAgent(const TString& language);
