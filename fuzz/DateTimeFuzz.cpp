#include "brvcore/foundation/DateTime.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// A text that is a date is the same date after it has been written and read again; no text is anything but a date or
// nothing. Inputs are UTF-8.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const TString text = TString::FromUTF8(std::string_view(reinterpret_cast<const char*>(data), size));
    const std::optional<DateTime> moment = DateTime::FromISO(text);
    if (moment && DateTime::FromISO(moment->ToISO()) != moment)
        std::abort();
    return 0;
}
