#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"

#include <string>
#include <string_view>

// Whole files. A file that cannot be read throws LogicException 0x2C7F48BA with the path and the system's reason.
namespace TextFile
{

BRV_EXPORT std::string LoadBytes(const TPath& path);

// The text of a file: UTF-16 when it begins with a byte order mark of either order, else UTF-8, whose mark is dropped too.
// Bytes that are not UTF-8 are kept, see TString; an odd last byte of a UTF-16 file becomes U+FFFD.
BRV_EXPORT TString Load(const TPath& path);
BRV_EXPORT TString Decode(std::string_view bytes);

}   // namespace TextFile
