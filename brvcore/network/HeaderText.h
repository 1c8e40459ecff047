#pragma once

#include <string_view>

// What may stand in the head of a message. libcurl sends lines as they are given: a line end inside a value would begin
// another header, or another request.

// Throws LogicException 0x8B31E5F6 "has no control characters" for a text with one (U+0000 to U+001F, U+007F to U+009F).
void CheckHasNoControlCharacters(std::u16string_view text);

// Throws LogicException 0xC0E75BA7 "is a token" unless the text is a name as RFC 9110 has it (5.6.2), letters, digits and
// some signs, as names of headers and verbs have to be; 0x8B31E5F6 as above.
void CheckIsToken(std::u16string_view text);

bool EqualIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) noexcept;
