#include "brvcore/string/CustomFormat.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <string>

// Eight bytes of a value, one that picks the locale, and a format in UTF-16. Any format compiles or is refused, and a
// refused one renders nothing; any value renders, and infinities look the same under every format.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr unsigned kLocales[] = {1033, 1031, 3073, 1053, 7177, 4108, 1028, 1054, 99999, 0};
    double value = 0;
    if (size < sizeof value + 1)
        return 0;
    std::memcpy(&value, data, sizeof value);
    const unsigned locale = kLocales[data[sizeof value] % std::size(kLocales)];
    std::u16string text((size - sizeof value - 1) / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), data + sizeof value + 1, text.size() * sizeof(char16_t));

    for (const DataType type : {DataType::Real, DataType::DateTime, DataType::Boolean})
    {
        CustomFormat format(type);
        const bool isValid = format.Parse(text, locale) == 0;
        long long integer = 0;
        std::memcpy(&integer, &value, sizeof integer);
        const TString rendered[] = {format.Format(value), format.Format(integer), format.Format(true),
            format.Format(DateTime::FromTicks(integer % (DateTimeSpan::kTicksPerDay * 365'000)))};
        for (const TString& one : rendered)
            if (!isValid && !one.IsEmpty())
                std::abort();
        const bool isNumber = isValid && format.GetKind() == DataType::Real;
        if (format.Format(std::numeric_limits<double>::infinity()) != (isNumber ? u"inf" : u""))
            std::abort();
        static_cast<void>(format.GetSmallestVisiblePowerOfTen());
    }
    return 0;
}
