#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

// The compiled form of a number format, one byte stream:
//
//     offsets of sections 2, 3 and 4 (0: absent) | header | tokens | separator, header, tokens | ... | separator
//
// A token is an opcode and its operands, one byte each. Offsets point to headers. The separator behind the last section
// ends the stream and has no header.
enum class Opcode : std::uint8_t
{
    Literal = 0,     // start and length in the format string
    Separator = 2,   // the next section's header follows
    Zeros = 52,      // run length
    Hashes = 53,     // run length
    DecimalPoint = 54,
    ExponentPlus = 55,         // "E+": number of `0`
    ExponentMinus = 56,        // "E-"
    LowerExponentPlus = 57,    // "e+"
    LowerExponentMinus = 58,   // "e-"
    Currency = 59,
    Percent = 65,
    PerMill = 66,
    Scale = 67,
};

constexpr int kMaxOperand = std::numeric_limits<std::uint8_t>::max();

struct SectionHeader
{
    enum Flags : std::uint8_t
    {
        kPercent = 1,
        kExponent = 2,
        kGrouping = 4,
        kScale = 8,
        kPerMill = 16,
    };

    std::uint8_t flags = 0;
    std::uint8_t shift = 0;            // added to the exponent
    std::uint8_t thousands = 0;        // divisions by 1000
    std::uint8_t integerDigits = 0;    // placeholders in front of the point
    std::uint8_t fractionDigits = 0;   // and behind it

    bool Has(Flags flag) const noexcept { return (flags & flag) != 0; }
};
static_assert(sizeof(SectionHeader) == 5);

namespace NumberStream
{

constexpr std::size_t kMaxSections = 4;
constexpr std::size_t kFirstHeader = kMaxSections - 1;
constexpr std::size_t kTokens = kFirstHeader + sizeof(SectionHeader);
constexpr std::size_t kTokenBudget = 243;   // separators and headers between sections included
constexpr std::size_t kSize = kTokens + kTokenBudget + 1;
static_assert(kSize - 1 <= kMaxOperand, "an offset is one byte");

constexpr int kThousandPower = 3;
constexpr int kPercentPower = 2;
constexpr int kPerMillPower = 3;

// Offset of a section's header; 0 when the section is absent.
inline std::size_t SectionOffset(std::span<const std::uint8_t> stream, std::size_t section) noexcept
{
    return section == 0 ? kFirstHeader : stream[section - 1];
}

inline SectionHeader ReadHeader(std::span<const std::uint8_t> stream, std::size_t offset) noexcept
{
    SectionHeader header;
    std::memcpy(&header, stream.data() + offset, sizeof header);
    return header;
}

inline void WriteHeader(std::span<std::uint8_t> stream, std::size_t offset, const SectionHeader& header) noexcept
{
    std::memcpy(stream.data() + offset, &header, sizeof header);
}

}   // namespace NumberStream

// Appends tokens within the budget. What does not fit, an operand included, is not written and remembered.
class TokenWriter
{
public:
    explicit TokenWriter(std::span<std::uint8_t, NumberStream::kSize> stream) : m_stream(stream) {}

    void BeginSection(std::size_t section)
    {
        if (section == 0)
            return;   // its place is fixed
        if (!Reserve(1 + sizeof(SectionHeader)))
            return;
        m_stream[m_end] = static_cast<std::uint8_t>(Opcode::Separator);
        m_stream[section - 1] = static_cast<std::uint8_t>(m_end + 1);
        m_end += 1 + sizeof(SectionHeader);
    }
    // The header of the section that was begun as this one.
    void EndSection(std::size_t section, const SectionHeader& header)
    {
        if (!m_hasOverflowed)
            NumberStream::WriteHeader(m_stream, NumberStream::SectionOffset(m_stream, section), header);
    }
    void EndStream() { m_stream[m_end] = static_cast<std::uint8_t>(Opcode::Separator); }

    template <class... Operands> void Write(Opcode opcode, Operands... operands)
    {
        if (((operands > static_cast<Operands>(kMaxOperand)) || ...))
            m_hasOverflowed = true;
        if (!Reserve(1 + sizeof...(operands)))
            return;
        m_stream[m_end++] = static_cast<std::uint8_t>(opcode);
        ((m_stream[m_end++] = static_cast<std::uint8_t>(operands)), ...);
    }
    // The last operand that was written, for a token that grows.
    std::uint8_t& LastOperand() { return m_stream[m_end - 1]; }

    bool HasOverflowed() const noexcept { return m_hasOverflowed; }

private:
    bool Reserve(std::size_t bytes)
    {
        if (m_end + bytes > NumberStream::kTokens + NumberStream::kTokenBudget)
            m_hasOverflowed = true;
        return !m_hasOverflowed;
    }

    std::span<std::uint8_t, NumberStream::kSize> m_stream;
    std::size_t m_end = NumberStream::kTokens;
    bool m_hasOverflowed = false;
};
