#include "Text.h"

#include "brvcore/foundation/TString.h"

#include <algorithm>
#include <cmath>

std::string FixedNumber(double value, int decimals)
{
    if (std::isnan(value))
        return "n/a";
    const std::string text = TString::FromDouble(value, 'f', decimals).ToUTF8();
    // A negative number that rounds to zero loses its sign.
    return text.find_first_not_of("-0.") == std::string::npos && text.front() == '-' ? text.substr(1) : text;
}

std::string SignificantNumber(double value, int digits)
{
    return std::isnan(value) ? "n/a" : TString::FromDouble(value, 'g', digits).ToUTF8();
}

std::string ProbabilityText(double p)
{
    return p < 1e-4 ? "< 0.0001" : FixedNumber(p, 4);
}

std::string CellNumber(double value, double largestMagnitude, int digits)
{
    constexpr double kLeast = 1e-4;
    constexpr double kMost = 1e9;
    const bool isReadable = largestMagnitude == 0.0 || (largestMagnitude >= kLeast && largestMagnitude < kMost);
    return isReadable ? FixedNumber(value, DecimalsFor(largestMagnitude, digits)) : SignificantNumber(value, digits);
}

std::string Counted(std::size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string ExactNumber(double value)
{
    return std::isnan(value) ? std::string() : TString::FromDouble(value).ToUTF8();
}

int DecimalsFor(double largestMagnitude, int digits)
{
    if (!(largestMagnitude > 0.0) || std::isinf(largestMagnitude))
        return 2;
    const int leading = static_cast<int>(std::floor(std::log10(largestMagnitude))) + 1;
    return std::clamp(digits - leading, 0, 9);
}

std::size_t CharacterCount(std::string_view utf8)
{
    return utf8.size() - static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), IsContinuationByte));
}

std::string ValidUtf8(std::string_view bytes)
{
    std::u16string units(TString::FromUTF8(bytes).View());
    for (std::size_t i = 0; i < units.size(); ++i)
    {
        const bool isHigh = units[i] >= 0xD800 && units[i] < 0xDC00;
        const bool isLow = units[i] >= 0xDC00 && units[i] < 0xE000;
        if (isHigh && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000)
            ++i;
        else if (isHigh || isLow)
            units[i] = 0xFFFD;
    }
    return TString(units).ToUTF8();
}

std::string Printable(std::string_view text)
{
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        const bool isPair = byte == 0xC2 && next >= 0x80 && next < 0xA0;
        if (byte < 0x20 || byte == 0x7F || isPair)
            out += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
        else
            out += text[i];
        if (isPair)
        {
            out += {'\\', 'x', kHex[next >> 4], kHex[next & 15]};
            ++i;
        }
    }
    return out;
}

std::string Shortened(std::string_view utf8, std::size_t most)
{
    std::size_t characters = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i)
        if (!IsContinuationByte(utf8[i]) && ++characters > most)
            return std::string(utf8.substr(0, i)) + "...";
    return std::string(utf8);
}

std::string Join(const std::vector<std::string>& pieces, std::string_view separator)
{
    std::string text;
    for (std::size_t i = 0; i < pieces.size(); ++i)
        text.append(i == 0 ? std::string_view() : separator).append(pieces[i]);
    return text;
}
