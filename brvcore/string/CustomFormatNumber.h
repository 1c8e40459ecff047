#pragma once

#include "brvcore/foundation/TString.h"
#include "brvcore/string/CustomFormat.h"
#include "brvcore/string/CustomFormatNumberResources.h"
#include "brvcore/string/CustomFormatTokens.h"
#include "brvcore/string/DecimalDigits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// Text of unknown length that is usually short: it grows on the stack and moves to the heap beyond that.
class RenderedText
{
public:
    RenderedText() = default;
    RenderedText(const RenderedText&) = delete;
    RenderedText& operator=(const RenderedText&) = delete;

    std::size_t Length() const noexcept { return m_length; }
    std::u16string_view View() const noexcept { return {m_text, m_length}; }

    void Append(char16_t unit)
    {
        if (m_length == m_capacity) [[unlikely]]
            Grow(m_length + 1);
        m_text[m_length++] = unit;
    }
    void Append(std::u16string_view text)
    {
        if (text.size() > m_capacity - m_length) [[unlikely]]
            Grow(m_length + text.size());
        for (const char16_t unit : text)   // symbols have one or two units
            m_text[m_length++] = unit;
    }
    // Room for as many units, of which Commit() says where their text ends. Appending invalidates it.
    char16_t* Reserve(std::size_t units)
    {
        if (units > m_capacity - m_length) [[unlikely]]
            Grow(m_length + units);
        return m_text + m_length;
    }
    void Commit(const char16_t* end) noexcept { m_length = static_cast<std::size_t>(end - m_text); }
    void Erase(std::size_t position, std::size_t length);

private:
    void Grow(std::size_t length);

    std::array<char16_t, 256> m_inline;   // twice the usual reserve of a rendering
    std::vector<char16_t> m_spill;
    char16_t* m_text = m_inline.data();
    std::size_t m_length = 0;
    std::size_t m_capacity = m_inline.size();
};

// Renders one number: the tokens of the section that suits the value, walked over its decimal digits. Lives for one
// rendering; the format must be a valid number format.
class CustomFormatNumber
{
public:
    explicit CustomFormatNumber(const CustomFormat& format);

    TString Format(long long value);
    TString Format(double value);

private:
    using Symbol = CustomFormatNumberResources::Symbol;

    enum Section : std::size_t
    {
        kFirst = 0,
        kNegative = 1,
        kZero = 2,
        kNull = 3,   // serves extreme magnitudes
    };

    TString Render();
    void Prepare();
    void ProcessAdjustExponent();
    void RoundDigits();
    void SelectSection(Section section);
    Section GetSectionNull() const { return kNull; }

    void WalkTokens();
    const std::uint8_t* WriteIntegerDigits(const std::uint8_t* operand, bool writesZeros);
    void WriteIntegerRun(int highPower, int lowPower);
    void WriteFractionDigits(int runLength, bool writesZeros);
    void WriteDecimalPoint();
    void WriteExponent(Opcode opcode, int minimumDigits);
    void WriteScaleUnit();
    char16_t* PutDigit(int digit, char16_t* out) const
    {
        if (m_zeroUnit != 0) [[likely]]
        {
            *out = static_cast<char16_t>(m_zeroUnit + digit);
            return out + 1;
        }
        const std::u16string_view text = m_resources.GetDigit(digit).View();
        return out + text.copy(out, text.size());
    }
    void WriteSymbol(Symbol symbol) { m_output.Append(m_resources.GetSymbol(symbol).View()); }

    const CustomFormat& m_format;
    const CustomFormatNumberResources& m_resources;
    const char16_t m_zeroUnit;
    DecimalDigits m_digits;
    Section m_section = kFirst;
    SectionHeader m_header;
    std::size_t m_token = 0;   // offset in the stream
    int m_exponent = 0;        // the written one
    int m_scalePower = 0;      // thousands that [scale] took out
    int m_integerPlaceholdersLeft = 0;
    int m_fractionPlace = 0;          // digits behind the point that were passed
    bool m_hasWrittenDigit = false;   // of the integer part
    bool m_isBehindPoint = false;
    bool m_hasReachedInteger = false;   // the first integer token, which writes the digits beyond the placeholders
    static constexpr std::size_t kNoSeparator = static_cast<std::size_t>(-1);
    std::size_t m_separatorPosition = kNoSeparator;   // of a separator that no fraction digit has followed
    RenderedText m_output;
};
