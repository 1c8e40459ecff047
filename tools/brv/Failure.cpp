#include "Failure.h"

#include "Text.h"

#include <cstddef>

std::string Quoted(std::string_view value)
{
    constexpr std::size_t kMaxCharacters = 60;
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string text = "'";
    std::size_t characters = 0;
    for (const char c : value)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (!IsContinuationByte(c) && ++characters > kMaxCharacters)
        {
            text += "...";
            break;
        }
        if (byte < 0x20 || byte == 0x7F)
            text += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
        else
            text += c;
    }
    return text + "'";
}

std::string Located(std::string_view file, int line, std::string_view message)
{
    std::string text(file);
    if (line > 0)
        text.append(":").append(std::to_string(line));
    return text.append(": ").append(message);
}
