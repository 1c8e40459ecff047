#pragma once

#include <cstddef>
#include <string_view>

// A sample, or a part of one: a view of UTF-16 text that outlives it.
struct Value
{
    const char16_t* text = nullptr;
    std::size_t length = 0;   // in code units

    constexpr Value() = default;
    constexpr Value(const char16_t* text_, std::size_t length_) : text(text_), length(length_) {}
    constexpr explicit Value(std::u16string_view view) : text(view.data()), length(view.size()) {}

    constexpr std::u16string_view View() const { return {text, length}; }
    constexpr Value Part(std::size_t start, std::size_t partLength) const { return {text + start, partLength}; }
};

// One link of the chain of items chosen so far; lives on the stack of the recursion that chooses.
template <class T> struct BackLink
{
    const BackLink* previous;   // null at the start of a sample
    const T& item;
};
