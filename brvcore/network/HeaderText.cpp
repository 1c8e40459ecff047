#include "brvcore/network/HeaderText.h"

#include "brvcore/foundation/LogicException.h"

#include <algorithm>

namespace
{

bool IsControlCharacter(char16_t c) noexcept
{
    return c < u' ' || (u'\x7F' <= c && c <= u'\x9F');
}

bool IsAsciiAlphanumeric(char16_t c) noexcept
{
    return (u'0' <= c && c <= u'9') || (u'A' <= c && c <= u'Z') || (u'a' <= c && c <= u'z');
}

bool IsTokenCharacter(char16_t c) noexcept
{
    return IsAsciiAlphanumeric(c) || std::u16string_view(u"!#$%&'*+-.^_`|~").find(c) != std::u16string_view::npos;
}

char16_t AsciiLower(char16_t c) noexcept
{
    return u'A' <= c && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

}   // namespace

void CheckHasNoControlCharacters(std::u16string_view text)
{
    if (std::any_of(text.begin(), text.end(), IsControlCharacter))
        BRV_LOGIC_ERROR(0x8B31E5F6, u"has no control characters");
}

void CheckIsToken(std::u16string_view text)
{
    CheckHasNoControlCharacters(text);
    if (text.empty() || !std::all_of(text.begin(), text.end(), IsTokenCharacter))
        BRV_LOGIC_ERROR(0xC0E75BA7, u"is a token");
}

bool EqualIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) noexcept
{
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(), [](char16_t x, char16_t y) { return AsciiLower(x) == AsciiLower(y); });
}
