#include "brvcore/string/CustomFormatNumber.h"

#include "brvcore/foundation/TFormatString.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace
{

constexpr int kExtremeFrom = 16;      // digits in front of the point: from 1e15
constexpr int kExtremeBelow = -14;    // zeros behind it: below 1e-15
constexpr int kMaxScaleDigits = 24;   // yotta
constexpr int kMinScaleDigits = -23;
constexpr int kGroupSize = 3;
constexpr std::size_t kMaxDigitUnits = 2;   // a digit is one code point

constexpr std::u16string_view kLargeUnits = u"kMGTPEZY";
constexpr std::u16string_view kSmallUnits = u"m\u00B5npfazy";

bool IsDigitRun(Opcode opcode)
{
    return opcode == Opcode::Zeros || opcode == Opcode::Hashes;
}

}   // namespace

void RenderedText::Erase(std::size_t position, std::size_t length)
{
    std::copy(m_text + position + length, m_text + m_length, m_text + position);
    m_length -= length;
}

void RenderedText::Grow(std::size_t length)
{
    const std::size_t capacity = std::max(length, 2 * m_capacity);
    if (m_spill.empty())
        m_spill.assign(m_text, m_text + m_length);
    m_spill.resize(capacity);
    m_text = m_spill.data();
    m_capacity = capacity;
}

CustomFormatNumber::CustomFormatNumber(const CustomFormat& format)
    : m_format(format), m_resources(*format.m_resources), m_zeroUnit(m_resources.GetZeroUnit())
{
}

TString CustomFormatNumber::Format(long long value)
{
    m_digits.SetInteger(value);
    return Render();
}

TString CustomFormatNumber::Format(double value)
{
    if (std::isnan(value))
        return u"nan";
    if (std::isinf(value))
        return value < 0 ? u"-inf" : u"inf";
    m_digits.SetDouble(value);
    return Render();
}

TString CustomFormatNumber::Render()
{
    Prepare();
    if (!m_digits.IsZero())
    {
        ProcessAdjustExponent();
        RoundDigits();
    }
    if (m_digits.IsNegative() && m_section != kNegative && m_section != kZero)
        WriteSymbol(Symbol::Minus);
    WalkTokens();
    if (m_format.m_dropsTrailingSeparator && m_separatorPosition != kNoSeparator)
        m_output.Erase(m_separatorPosition, m_resources.GetSymbol(Symbol::Decimal).Length());
    return m_output.View();
}

// The section of the value's sign.
void CustomFormatNumber::Prepare()
{
    if (m_digits.IsZero())
    {
        m_digits.SetNegative(m_digits.IsNegative() && m_format.m_keepsSignOfZero);
        SelectSection(kZero);
    }
    else
    {
        SelectSection(m_digits.IsNegative() ? kNegative : kFirst);
    }
}

// What the section multiplies and divides by, and which power of ten it takes out of the number.
void CustomFormatNumber::ProcessAdjustExponent()
{
    int point = m_digits.GetPoint();
    if (m_header.Has(SectionHeader::kPercent))
        point += NumberStream::kPercentPower;
    if (m_header.Has(SectionHeader::kPerMill))
        point += NumberStream::kPerMillPower;
    point += m_header.shift;
    point -= NumberStream::kThousandPower * m_header.thousands;

    if (m_format.m_hasExtremeSection && (point >= kExtremeFrom || point < kExtremeBelow))
        SelectSection(GetSectionNull());
    if (m_header.Has(SectionHeader::kScale))
    {
        const int excess = point - m_header.integerDigits;
        if (excess > 0)
            m_scalePower = std::min(excess, kMaxScaleDigits) / NumberStream::kThousandPower;
        else if (excess < 0)
            m_scalePower = -((2 - std::max(excess, kMinScaleDigits)) / NumberStream::kThousandPower);
        point -= NumberStream::kThousandPower * m_scalePower;
    }
    if (m_header.Has(SectionHeader::kExponent))
    {
        m_exponent = point - m_header.integerDigits;
        point = m_header.integerDigits;
    }
    m_digits.SetPoint(point);
}

void CustomFormatNumber::RoundDigits()
{
    const int point = m_digits.GetPoint();
    m_digits.RoundFraction(m_header.fractionDigits);
    if (m_digits.IsZero())
    {
        m_exponent = m_scalePower = 0;
        Prepare();
    }
    else if (m_header.Has(SectionHeader::kExponent) && m_digits.GetPoint() != point)
    {
        m_digits.SetPoint(point);   // 9.99 became 10.0, which is 1.00 and the next exponent
        ++m_exponent;
    }
}

// An absent section is the first.
void CustomFormatNumber::SelectSection(Section section)
{
    std::size_t offset = NumberStream::SectionOffset(m_format.m_stream, section);
    m_section = section;
    if (offset == 0)
    {
        offset = NumberStream::kFirstHeader;
        m_section = kFirst;
    }
    m_header = NumberStream::ReadHeader(m_format.m_stream, offset);
    m_token = offset + sizeof(SectionHeader);
    m_integerPlaceholdersLeft = m_header.integerDigits;
}

void CustomFormatNumber::WalkTokens()
{
    const std::uint8_t* token = m_format.m_stream.data() + m_token;
    for (;;)
    {
        const auto opcode = static_cast<Opcode>(*token++);
        switch (opcode)
        {
        case Opcode::Separator:
            return;
        case Opcode::Literal:
            m_output.Append(m_format.m_format.View().substr(token[0], token[1]));
            token += 2;
            break;
        case Opcode::Zeros:
        case Opcode::Hashes:
            if (m_isBehindPoint)
                WriteFractionDigits(*token++, opcode == Opcode::Zeros);
            else
                token = WriteIntegerDigits(token, opcode == Opcode::Zeros);
            break;
        case Opcode::DecimalPoint:
            WriteDecimalPoint();
            break;
        case Opcode::ExponentPlus:
        case Opcode::ExponentMinus:
        case Opcode::LowerExponentPlus:
        case Opcode::LowerExponentMinus:
            WriteExponent(opcode, *token++);
            break;
        case Opcode::Currency:
            WriteSymbol(Symbol::Currency);
            break;
        case Opcode::Percent:
            WriteSymbol(Symbol::Percent);
            break;
        case Opcode::PerMill:
            WriteSymbol(Symbol::PerMill);
            break;
        case Opcode::Scale:
            WriteScaleUnit();
            break;
        }
    }
}

// The placeholders of one run, from the left; the first run begins with the digits that no placeholder stands for. Where
// every placeholder has a digit, runs that follow each other are one. Returns where the next token stands.
const std::uint8_t* CustomFormatNumber::WriteIntegerDigits(const std::uint8_t* operand, bool writesZeros)
{
    const int firstDigit = m_digits.GetPoint() - 1;
    int high = m_integerPlaceholdersLeft - 1;
    const bool isFull = firstDigit >= high;
    m_integerPlaceholdersLeft -= *operand++;
    while (isFull && IsDigitRun(static_cast<Opcode>(*operand)))
    {
        m_integerPlaceholdersLeft -= operand[1];
        operand += 2;
    }
    if (!writesZeros)
        high = std::min(high, firstDigit);
    if (!m_hasReachedInteger)
        high = std::max(high, firstDigit);
    m_hasReachedInteger = true;
    WriteIntegerRun(high, m_integerPlaceholdersLeft);
    return operand;
}

// Digits of neighbouring powers of ten, with a separator in front of the third, sixth, ... from the point unless the number
// begins there.
void CustomFormatNumber::WriteIntegerRun(int highPower, int lowPower)
{
    const int length = highPower - lowPower + 1;
    if (length <= 0)
        return;
    const std::u16string_view separator =
        m_header.Has(SectionHeader::kGrouping) ? m_resources.GetSymbol(Symbol::Grouping).View() : std::u16string_view();
    int untilSeparator = m_hasWrittenDigit ? (highPower + 1) % kGroupSize : (highPower % kGroupSize) + 1;
    m_hasWrittenDigit = true;
    char16_t* out = m_output.Reserve(static_cast<std::size_t>(length) * (separator.size() + kMaxDigitUnits));
    for (int place = m_digits.GetPoint() - 1 - highPower; place < m_digits.GetPoint() - lowPower; ++place)
    {
        if (untilSeparator-- == 0)
        {
            out = std::ranges::copy(separator, out).out;
            untilSeparator = kGroupSize - 1;
        }
        out = PutDigit(m_digits.GetDigit(place), out);
    }
    m_output.Commit(out);
}

void CustomFormatNumber::WriteFractionDigits(int runLength, bool writesZeros)
{
    const int begin = m_digits.GetPoint() + m_fractionPlace;
    const int end = writesZeros ? begin + runLength : std::min(begin + runLength, m_digits.GetCount());
    m_fractionPlace += runLength;
    if (end <= begin)
        return;
    char16_t* out = m_output.Reserve(static_cast<std::size_t>(end - begin) * kMaxDigitUnits);
    for (int place = begin; place < end; ++place)
        out = PutDigit(m_digits.GetDigit(place), out);
    m_output.Commit(out);
    m_separatorPosition = kNoSeparator;
}

void CustomFormatNumber::WriteDecimalPoint()
{
    if (!m_hasReachedInteger)   // no placeholder stood before the point
        WriteIntegerRun(m_digits.GetPoint() - 1, 0);
    m_isBehindPoint = true;
    m_separatorPosition = m_output.Length();
    WriteSymbol(Symbol::Decimal);
}

void CustomFormatNumber::WriteExponent(Opcode opcode, int minimumDigits)
{
    const bool isLower = opcode == Opcode::LowerExponentPlus || opcode == Opcode::LowerExponentMinus;
    const bool writesPlus = opcode == Opcode::ExponentPlus || opcode == Opcode::LowerExponentPlus;
    m_output.Append((isLower ? m_resources.GetLowerCaseExponent() : m_resources.GetSymbol(Symbol::Exponent)).View());
    if (m_exponent < 0)
        WriteSymbol(Symbol::Minus);
    else if (writesPlus)
        WriteSymbol(Symbol::Plus);

    DecimalDigits exponent;
    exponent.SetInteger(std::abs(m_exponent));
    const int length = std::max({minimumDigits, exponent.GetPoint(), 1});
    char16_t* out = m_output.Reserve(static_cast<std::size_t>(length) * kMaxDigitUnits);
    for (int place = exponent.GetPoint() - length; place < exponent.GetPoint(); ++place)
        out = PutDigit(exponent.GetDigit(place), out);
    m_output.Commit(out);
}

void CustomFormatNumber::WriteScaleUnit()
{
    if (m_scalePower == 0)
        return;
    const std::u16string_view units = m_scalePower > 0 ? kLargeUnits : kSmallUnits;
    const auto index = static_cast<std::size_t>(std::abs(m_scalePower)) - 1;
    if (index < units.size())
        m_output.Append(units[index]);
    else   // beyond the named units; kMaxScaleDigits and kMinScaleDigits keep the power among them
        m_output.Append(TFormatString(u"[%1]").arg(m_scalePower).result().View());
}
