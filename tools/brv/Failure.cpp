#include "Failure.h"

#include "Text.h"

#include <cstddef>

std::string Quoted(std::string_view value)
{
    constexpr std::size_t kMaxCharacters = 60;
    std::string text(1, '\'');
    return text.append(Printable(Shortened(value, kMaxCharacters))).append(1, '\'');
}

std::string Located(std::string_view file, int line, std::string_view message)
{
    std::string text(file);
    if (line > 0)
        text.append(":").append(std::to_string(line));
    return text.append(": ").append(message);
}
