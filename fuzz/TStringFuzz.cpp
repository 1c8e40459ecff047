// Text from outside: bytes -> text -> bytes is exact, numbers that are written read back, templates end.

#include "brvcore/foundation/TFormatString.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/foundation/TextFile.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const TString text = TString::FromUTF8(bytes);
    if (text.ToUTF8() != bytes)
        std::abort();

    if (const std::optional<double> value = text.ToDouble(); value && !std::isnan(*value))
        if (TString::FromDouble(*value).ToDouble() != value)
            std::abort();
    if (const std::optional<std::int64_t> value = text.ToInt())
        if (TString::FromInt(*value).ToInt() != value)
            std::abort();

    if (text.ToUpper().ToLower().ToUpper().IsEmpty() != text.IsEmpty())
        std::abort();
    TString joined;
    for (const TString& piece : text.Split(u","))
        joined.Append(piece).Append(u",");
    if (joined != text + u",")
        std::abort();

    TFormatString(text).arg(text).arg(1.5).result();
    TextFile::Decode(bytes);
    return 0;
}
