#include "brvcore/string/CustomFormatCompiler.h"

#include <algorithm>
#include <cstddef>

namespace
{

constexpr std::u16string_view kScale = u"[scale]";
constexpr char16_t kPerMillSign = u'\u2030';

bool IsDigitPlaceholder(char16_t c)
{
    return c == u'0' || c == u'#';
}

// Position behind the closing character, which is looked for from `from` on; the end of the text when it is missing.
std::size_t PastClosing(std::u16string_view text, char16_t closing, std::size_t from)
{
    const std::size_t found = text.find(closing, from);
    return found == std::u16string_view::npos ? text.size() : found + 1;
}

// Code units of the character at a position: 2 for a surrogate pair, 0 at the end.
std::size_t CharacterLength(std::u16string_view text, std::size_t position)
{
    if (position >= text.size())
        return 0;
    const bool isPair =
        (text[position] & 0xFC00) == 0xD800 && position + 1 < text.size() && (text[position + 1] & 0xFC00) == 0xDC00;
    return isPair ? 2 : 1;
}

class NumberTokenizer
{
public:
    NumberTokenizer(std::u16string_view format, std::span<std::uint8_t, NumberStream::kSize> stream)
        : m_text(format), m_writer(stream)
    {
    }

    bool Run()
    {
        for (std::size_t section = 0; section < NumberStream::kMaxSections; ++section)
        {
            // A section of no text at all is absent, unless it is the first or the text ends here.
            if (section != 0 && m_position < m_text.size() && m_text[m_position] == u';')
            {
                ++m_position;
                continue;
            }
            m_writer.BeginSection(section);
            const bool hasNext = Section();
            m_writer.EndSection(section, m_header);
            if (HasOverflowed())
                return false;
            if (!hasNext)
                break;
        }
        m_writer.EndStream();
        return true;
    }

private:
    // Reads one section; true when a ';' ended it, which is then behind us.
    bool Section()
    {
        m_header = {};
        m_integerDigits = m_fractionDigits = m_thousands = m_pendingCommas = 0;
        m_isBehindPoint = false;
        m_literalEnd = std::u16string_view::npos;
        bool hasNext = false;
        while (m_position < m_text.size() && !hasNext)
        {
            if (m_text[m_position] == u';')
            {
                ++m_position;
                hasNext = true;
            }
            else
            {
                Token(m_text[m_position]);
            }
            if (HasOverflowed())
                return false;
        }
        m_thousands += m_pendingCommas;
        m_header.thousands = Operand(m_thousands);
        m_header.integerDigits = Operand(m_integerDigits);
        m_header.fractionDigits = Operand(m_fractionDigits);
        return hasNext;
    }

    void Token(char16_t c)
    {
        switch (c)
        {
        case u'"':
            Quoted();
            break;
        case u'\\':
            if (m_position + 1 < m_text.size())
                Literal(m_position + 1, 1);
            m_position = std::min(m_position + 2, m_text.size());
            break;
        case u'*':
        case u'_':
            m_position += 1 + CharacterLength(m_text, m_position + 1);
            break;
        case u'@':
            ++m_position;
            break;
        case u'[':
            Bracketed();
            break;
        case u'0':
        case u'#':
            Digits(c);
            break;
        case u',':
            Commas();
            break;
        case u'.':
            DecimalPoint();
            break;
        case u'E':
        case u'e':
            Exponent(c);
            break;
        case u'$':
            Symbol(Opcode::Currency);
            break;
        case u'%':
            SetFlag(SectionHeader::kPercent);
            Symbol(Opcode::Percent);
            break;
        case kPerMillSign:
            SetFlag(SectionHeader::kPerMill);
            Symbol(Opcode::PerMill);
            break;
        default:
            Other();
            break;
        }
    }

    void Quoted()
    {
        const std::size_t start = m_position + 1;
        const std::size_t end = std::min(m_text.find(u'"', start), m_text.size());
        Literal(start, end - start);
        m_position = std::min(end + 1, m_text.size());
    }

    void Bracketed()
    {
        if (m_text.substr(m_position).starts_with(kScale))
        {
            SetFlag(SectionHeader::kScale);
            m_writer.Write(Opcode::Scale);
        }
        m_position = PastClosing(m_text, u']', m_position);
    }

    void Digits(char16_t c)
    {
        const std::size_t start = m_position;
        m_position = std::min(m_text.find_first_not_of(c, start), m_text.size());
        m_digitsEnd = m_position;
        const std::size_t length = m_position - start;
        if (m_pendingCommas != 0)   // they stood between placeholders after all
            SetFlag(SectionHeader::kGrouping);
        m_pendingCommas = 0;
        (m_isBehindPoint ? m_fractionDigits : m_integerDigits) += length;
        m_writer.Write(c == u'0' ? Opcode::Zeros : Opcode::Hashes, length);
    }

    // Directly behind a placeholder, commas scale if no placeholder of the same side of the point follows, and group if one
    // does. Elsewhere the last comma in front of a placeholder groups and any other is text.
    void Commas()
    {
        const bool followsDigit = m_digitsEnd == m_position;
        const std::size_t start = m_position;
        m_position = std::min(m_text.find_first_not_of(u',', start), m_text.size());
        if (followsDigit)
        {
            m_pendingCommas += m_position - start;
            return;
        }
        std::size_t end = m_position;
        if (m_position < m_text.size() && IsDigitPlaceholder(m_text[m_position]))
        {
            SetFlag(SectionHeader::kGrouping);
            --end;
        }
        for (std::size_t i = start; i < end; ++i)
            OtherAt(i);
    }

    void DecimalPoint()
    {
        if (m_isBehindPoint)
            return Other();
        m_thousands += m_pendingCommas;
        m_pendingCommas = 0;
        m_isBehindPoint = true;
        m_writer.Write(Opcode::DecimalPoint);
        ++m_position;
    }

    void Exponent(char16_t c)
    {
        const bool hasDigits = m_integerDigits + m_fractionDigits != 0;
        const char16_t sign = m_position + 1 < m_text.size() ? m_text[m_position + 1] : u'\0';
        if (!hasDigits || (sign != u'+' && sign != u'-'))
            return Other();
        const std::size_t start = m_position + 2;
        m_position = std::min(m_text.find_first_not_of(u"0#", start), m_text.size());
        const auto zeros = static_cast<std::size_t>(std::ranges::count(m_text.substr(start, m_position - start), u'0'));
        SetFlag(SectionHeader::kExponent);
        if (c == u'E')
            m_writer.Write(sign == u'+' ? Opcode::ExponentPlus : Opcode::ExponentMinus, zeros);
        else
            m_writer.Write(sign == u'+' ? Opcode::LowerExponentPlus : Opcode::LowerExponentMinus, zeros);
    }

    void Symbol(Opcode opcode)
    {
        m_writer.Write(opcode);
        ++m_position;
    }

    void SetFlag(SectionHeader::Flags flag) { m_header.flags = static_cast<std::uint8_t>(m_header.flags | flag); }

    void Other() { OtherAt(m_position++); }

    // A character that stands for itself; adjacent ones become one token.
    void OtherAt(std::size_t position)
    {
        if (m_literalEnd == position && position < kMaxOperand)
            ++m_writer.LastOperand();
        else
            Literal(position, 1);
        m_literalEnd = position + 1;
    }

    void Literal(std::size_t start, std::size_t length)
    {
        if (length == 0)
            return;
        if (start + length > kMaxOperand)
            m_hasOverflowed = true;
        m_writer.Write(Opcode::Literal, start, length);
        m_literalEnd = std::u16string_view::npos;
    }

    bool HasOverflowed() const { return m_hasOverflowed || m_writer.HasOverflowed(); }

    std::uint8_t Operand(std::size_t count)
    {
        if (count > kMaxOperand)
            m_hasOverflowed = true;
        return static_cast<std::uint8_t>(count);
    }

    std::u16string_view m_text;
    std::size_t m_position = 0;
    TokenWriter m_writer;
    bool m_hasOverflowed = false;

    // Of the section that is read.
    SectionHeader m_header;
    std::size_t m_integerDigits = 0;
    std::size_t m_fractionDigits = 0;
    std::size_t m_thousands = 0;
    std::size_t m_pendingCommas = 0;   // directly behind the placeholders so far; what follows says what they mean
    bool m_isBehindPoint = false;
    std::size_t m_digitsEnd = std::u16string_view::npos;    // behind the last placeholder
    std::size_t m_literalEnd = std::u16string_view::npos;   // behind the last token, when that is text that may grow
};

}   // namespace

std::optional<DataType> FindFormatKind(std::u16string_view format) noexcept
{
    // A token of the "AM/PM" kind needs no look: 'M' or '/' tells in its place.
    constexpr std::u16string_view kDateCharacters = u"/:CDHMQSWYcdhmnqswy";
    for (std::size_t i = 0; i < format.size();)
    {
        const char16_t c = format[i];
        if (c == u'"')
            i = PastClosing(format, u'"', i + 1);
        else if (c == u'[')
            i = PastClosing(format, u']', i);
        else if (c == u'\\')
            i += 2;
        else if (c == u'#' || c == u'.' || c == u'0')
            return DataType::Real;
        else if (kDateCharacters.find(c) != std::u16string_view::npos || format.substr(i).starts_with(u"ttttt"))
            return DataType::DateTime;
        else
            ++i;
    }
    return std::nullopt;
}

bool CompileNumberFormat(std::u16string_view format, std::span<std::uint8_t, NumberStream::kSize> stream)
{
    std::ranges::fill(stream, std::uint8_t{0});
    return NumberTokenizer(format, stream).Run();
}
