#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// UTF-16 text with shared storage: the size of one pointer, cheap to copy and to move. Copies share one counted block; a
// change copies the block first when others hold it. Lengths and positions count 16-bit code units. A block is never
// changed while shared, so copies may be used on different threads; one object is no more thread-safe than an int.
//
// Text may hold lone surrogates. Bytes that are not UTF-8 are kept: byte 0xNN becomes the lone surrogate U+DCNN and turns
// back into that byte, so that bytes -> text -> bytes is always exact. Any other lone surrogate is written as its
// three-byte pattern, which is no UTF-8 and reads back as three escaped bytes. Text that is cut inside a surrogate pair, or
// joined so that two lone halves meet, is new text: a pair is a character.
class BRV_EXPORT TString
{
public:
    static constexpr std::size_t npos = std::u16string_view::npos;

    TString() noexcept = default;
    TString(std::u16string_view text);
    TString(const char16_t* text) : TString(std::u16string_view(text)) {}
    TString(const std::u16string& text) : TString(std::u16string_view(text)) {}
    TString(std::size_t count, char16_t unit);
    TString(const TString& other) noexcept : m_block(other.m_block) { AddRef(); }
    TString(TString&& other) noexcept : m_block(std::exchange(other.m_block, nullptr)) {}
    ~TString() { Release(); }
    TString& operator=(TString other) noexcept
    {
        std::swap(m_block, other.m_block);
        return *this;
    }

    static TString FromUTF8(std::string_view bytes);
    std::string ToUTF8() const;

    // Numbers never depend on the C locale. Doubles are written in the shortest form that reads back as the same value,
    // or like printf with format 'e', 'f' or 'g' and a precision; NaN is "nan", infinity "inf". Throws LogicException
    // 0x3FA08D16 "2 <= base && base <= 36".
    static TString FromInt(std::int64_t value, int base = 10);
    static TString FromUInt(std::uint64_t value, int base = 10);
    static TString FromDouble(double value);
    static TString FromDouble(double value, char format, int precision);

    // The whole text as a number, without surrounding ASCII white space, an optional "+" allowed; nothing when it is none
    // or is out of range (1e400, and 1e-400 too). A double may be "nan", "inf", "infinity" or have an exponent; hexadecimal is
    // not read. Throws LogicException 0xB46E92D7 "2 <= base && base <= 36".
    std::optional<std::int64_t> ToInt(int base = 10) const { return ParseInt(View(), base); }
    std::optional<double> ToDouble() const { return ParseDouble(View()); }
    static std::optional<std::int64_t> ParseInt(std::u16string_view text, int base = 10);
    static std::optional<double> ParseDouble(std::u16string_view text);

    bool IsEmpty() const noexcept { return m_block == nullptr; }
    std::size_t Length() const noexcept { return m_block == nullptr ? 0 : m_block->length; }
    std::u16string_view View() const noexcept
    {
        return m_block == nullptr ? std::u16string_view() : std::u16string_view(m_block->Text(), m_block->length);
    }
    operator std::u16string_view() const noexcept { return View(); }

    // The code unit at a position. Throws LogicException 0x91D0A6F3 "position < length" outside the text.
    char16_t operator[](std::size_t position) const;

    TString& Append(std::u16string_view text);
    TString& operator+=(std::u16string_view text) { return Append(text); }
    TString& operator+=(char16_t unit) { return Append(std::u16string_view(&unit, 1)); }
    friend TString operator+(TString left, std::u16string_view right) { return std::move(left.Append(right)); }

    std::size_t Find(std::u16string_view text, std::size_t from = 0) const noexcept { return View().find(text, from); }
    bool Contains(std::u16string_view text) const noexcept { return Find(text) != npos; }
    bool StartsWith(std::u16string_view text) const noexcept { return View().starts_with(text); }
    bool EndsWith(std::u16string_view text) const noexcept { return View().ends_with(text); }

    // At most count code units from a position on; empty beyond the end.
    TString Mid(std::size_t position, std::size_t count = npos) const;
    // Without white space (Unicode White_Space in the BMP) at both ends.
    TString Trimmed() const;
    // Every occurrence, left to right, without looking at what was put in. An empty `what` changes nothing.
    TString Replaced(std::u16string_view what, std::u16string_view with) const;
    // The pieces between separators, empty ones included; one piece (the text) when the separator is empty or absent.
    std::vector<TString> Split(std::u16string_view separator) const;

    // Letter case of the root locale, which is the same under every user's language.
    TString ToUpper() const;
    TString ToLower() const;

    // The same value in every process and on every machine.
    std::uint32_t Hash() const noexcept;

    friend bool operator==(const TString& a, const TString& b) noexcept
    {
        return a.m_block == b.m_block || a.View() == b.View();
    }
    friend std::strong_ordering operator<=>(const TString& a, const TString& b) noexcept
    {
        return a.View() <=> b.View();
    }
    template <class Text>
    requires(std::is_convertible_v<const Text&, std::u16string_view> && !std::is_same_v<Text, TString>) friend bool
    operator==(const TString& a, const Text& b) noexcept
    {
        return a.View() == std::u16string_view(b);
    }

private:
    // The code units follow the block in the same allocation. No block stands for the empty text.
    struct Block
    {
        std::uint32_t refs;   // changed atomically
        std::size_t length;
        std::size_t capacity;
        char16_t* Text() noexcept { return reinterpret_cast<char16_t*>(this + 1); }
        const char16_t* Text() const noexcept { return reinterpret_cast<const char16_t*>(this + 1); }
    };

    static Block* Allocate(std::size_t length, std::size_t capacity);
    void AddRef() const noexcept;
    void Release() noexcept;

    Block* m_block = nullptr;
};

template <> struct std::hash<TString>
{
    std::size_t operator()(const TString& text) const noexcept { return text.Hash(); }
};
