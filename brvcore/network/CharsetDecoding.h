#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <string_view>

// Body bytes to text. A byte order mark is dropped. Bytes that the character set has no meaning for become U+FFFD, except
// in UTF-8, where they are kept as TString keeps them. Safe from any thread.

// By the named character set (any name of IANA's registry that the Unicode library knows, letter case does not count); UTF-8
// for an empty or unknown name.
BRV_EXPORT TString DecodeHttpStringResponse(std::string_view bytes, const TString& charset);

// By its byte order mark, else by the name when that is a UTF, else as UTF-8.
BRV_EXPORT TString DecodeHttpUTFStringResponse(std::string_view bytes, const TString& charset);
