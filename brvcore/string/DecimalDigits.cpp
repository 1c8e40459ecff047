#include "brvcore/string/DecimalDigits.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace
{

__extension__ using UInt128 = unsigned __int128;

constexpr int kDigitsOfDouble = 15;
constexpr int kDigitsOfLargeDouble = 18;   // for magnitudes from 1e7 to below 1e16
constexpr double kLargeFrom = 1e7;
constexpr double kLargeBelow = 1e16;
constexpr double kSmallestDirect = 1e-4;   // below it the power of ten of SetDirect needs more than 64 bits

constexpr auto kPowersOfTen = []
{
    std::array<std::uint64_t, 20> powers{};
    std::uint64_t power = 1;
    for (std::uint64_t& entry : powers)
    {
        entry = power;
        power *= 10;
    }
    return powers;
}();

std::uint64_t PowerOfTen(int exponent)
{
    return kPowersOfTen[static_cast<std::size_t>(exponent)];
}

// Eight digits of a value below 10^8 as eight bytes, the first digit in the lowest: pairs of four, of two and of one digits
// are split side by side in one word. The quotients are exact: x 10486 >> 20 is x / 100 below 10^4, x 103 >> 10 is x / 10
// below 100.
std::uint64_t EightDigits(std::uint32_t value)
{
    const std::uint64_t fours = value / 10'000 | static_cast<std::uint64_t>(value % 10'000) << 32U;
    const std::uint64_t hundreds = (fours * 10'486 >> 20U) & 0x0000'007F'0000'007FU;
    const std::uint64_t twos = hundreds | (fours - 100 * hundreds) << 16U;
    const std::uint64_t tens = (twos * 103 >> 10U) & 0x000F'000F'000F'000FU;
    return tens | (twos - 10 * tens) << 8U;
}

void PutBytes(std::uint8_t* target, std::uint64_t word)
{
    if constexpr (std::endian::native == std::endian::little)
        std::memcpy(target, &word, sizeof word);
    else
        for (std::size_t i = 0; i < sizeof word; ++i)
            target[i] = static_cast<std::uint8_t>(word >> 8 * i);
}

int LengthOf(std::uint64_t value)
{
    int length = 1;
    while (length < 20 && value >= PowerOfTen(length))
        ++length;
    return length;
}

}   // namespace

// Digits of a positive integer of known length, without its trailing zeros.
void DecimalDigits::Store(std::uint64_t value, int length) noexcept
{
    constexpr std::uint64_t kEight = 100'000'000;
    const std::uint64_t head = value / kEight;
    const bool hasHigh = head >= kEight;
    const std::uint64_t high = hasHigh ? EightDigits(static_cast<std::uint32_t>(head / kEight)) : 0;
    const std::uint64_t middle = EightDigits(static_cast<std::uint32_t>(hasHigh ? head % kEight : head));
    const std::uint64_t low = EightDigits(static_cast<std::uint32_t>(value % kEight));
    PutBytes(m_digits.data(), high);
    PutBytes(m_digits.data() + 8, middle);
    PutBytes(m_digits.data() + 16, low);
    m_first = static_cast<std::size_t>(kCapacity - length);

    int trailingZeros = std::countl_zero(low) / 8;   // the last digit lies in the highest byte
    if (low == 0)
        trailingZeros += middle != 0 ? std::countl_zero(middle) / 8 : 8 + std::countl_zero(high) / 8;
    m_count = length - trailingZeros;
}

// The first digits of a magnitude from 1e-4 to below 1e16, in exact integer arithmetic. With magnitude = m 2^-s the wanted
// integer is m 10^k / 2^s, k such that it has the wanted length. The product has at most 53 + 64 bits, the quotient is its
// high part, and the low part says exactly on which side of a half the rest lies.
void DecimalDigits::SetDirect(double magnitude, int length) noexcept
{
    const auto bits = std::bit_cast<std::uint64_t>(magnitude);
    const int exponent = static_cast<int>(bits >> 52U) - 1075;   // of the last bit of m
    std::uint64_t m = (bits & ((1ULL << 52U) - 1)) | (1ULL << 52U);
    if (exponent > 0)   // at most 1, since 2^55 lies above 1e16
        m <<= static_cast<unsigned>(exponent);
    const auto s = static_cast<unsigned>(std::max(0, -exponent));

    // floor(log10(2^b)) by a ratio that is good to four digits; it is floor(log10(magnitude)) or one less.
    const int magnitudeOfTen = ((exponent + 52) * 1233) >> 12;
    int k = length - 1 - magnitudeOfTen;
    UInt128 product = static_cast<UInt128>(m) * PowerOfTen(k);
    auto quotient = static_cast<std::uint64_t>(product >> s);
    if (quotient >= PowerOfTen(length))
    {
        --k;
        product = static_cast<UInt128>(m) * PowerOfTen(k);
        quotient = static_cast<std::uint64_t>(product >> s);
    }
    if (s != 0)
    {
        const UInt128 half = static_cast<UInt128>(1) << (s - 1);
        const UInt128 rest = product & (2 * half - 1);
        if (rest > half || (rest == half && quotient % 2 != 0))
            ++quotient;
    }
    const int written = quotient == PowerOfTen(length) ? length + 1 : length;
    m_point = written - k;
    Store(quotient, written);
}

// The first digits of any positive magnitude.
void DecimalDigits::SetPrinted(double magnitude, int length) noexcept
{
    std::array<char, 32> buffer;   // d.ddde-308
    const auto written = std::to_chars(
        buffer.data(), buffer.data() + buffer.size(), magnitude, std::chars_format::scientific, length - 1);
    const std::string_view text(buffer.data(), static_cast<std::size_t>(written.ptr - buffer.data()));
    const std::size_t exponentMark = text.find('e');
    for (const char c : text.substr(0, exponentMark))
        if (c != '.')
            Digit(m_count++) = static_cast<std::uint8_t>(c - '0');
    while (m_count > 0 && Digit(m_count - 1) == 0)
        --m_count;
    int exponent = 0;
    const std::size_t digits = exponentMark + (text[exponentMark + 1] == '+' ? 2 : 1);   // from_chars reads no plus
    std::from_chars(text.data() + digits, text.data() + text.size(), exponent);
    m_point = exponent + 1;
}

void DecimalDigits::SetInteger(long long value) noexcept
{
    m_isNegative = value < 0;
    m_count = m_point = 0;
    m_first = 0;
    const auto bits = static_cast<std::uint64_t>(value);
    const std::uint64_t magnitude = value < 0 ? 0 - bits : bits;
    if (magnitude == 0)
        return;
    m_point = LengthOf(magnitude);
    Store(magnitude, m_point);
}

void DecimalDigits::SetDouble(double value) noexcept
{
    m_isNegative = std::signbit(value);
    m_count = m_point = 0;
    m_first = 0;
    const double magnitude = std::fabs(value);
    if (magnitude == 0)
        return;
    const int length = magnitude >= kLargeFrom && magnitude < kLargeBelow ? kDigitsOfLargeDouble : kDigitsOfDouble;
    if (magnitude >= kSmallestDirect && magnitude < kLargeBelow)
        SetDirect(magnitude, length);
    else
        SetPrinted(magnitude, length);
}

void DecimalDigits::RoundFraction(int fractionDigits) noexcept
{
    const int kept = m_point + fractionDigits;
    if (kept >= m_count)
        return;
    const bool roundsUp = kept >= 0 && GetDigit(kept) >= 5;
    m_count = std::max(kept, 0);
    if (roundsUp)
    {
        while (m_count > 0 && Digit(m_count - 1) == 9)
            --m_count;
        if (m_count == 0)
        {
            Digit(m_count++) = 1;
            ++m_point;
        }
        else
        {
            ++Digit(m_count - 1);
        }
    }
    while (m_count > 0 && Digit(m_count - 1) == 0)
        --m_count;
    if (m_count == 0)
        m_point = 0;
}
