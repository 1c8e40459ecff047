#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// A number as a sign, decimal digits and the place of the decimal point:
//
//     0.d0 d1 d2 ... x 10^point
//
// The first and the last digit are not 0; zero has no digits, and its point is 0. Places outside the digits are zeros that
// nobody stores, so a shift by any distance costs nothing and overruns nothing.
class DecimalDigits
{
public:
    DecimalDigits() = default;   // zero

    // Exact.
    void SetInteger(long long value) noexcept;
    // The digits of printf's "%.15G", or of "%.18G" for magnitudes from 1e7 to below 1e16: correctly rounded, halves to
    // even, whatever the C locale. The value is finite.
    void SetDouble(double value) noexcept;

    bool IsZero() const noexcept { return m_count == 0; }
    bool IsNegative() const noexcept { return m_isNegative; }
    void SetNegative(bool isNegative) noexcept { m_isNegative = isNegative; }
    int GetCount() const noexcept { return m_count; }
    int GetPoint() const noexcept { return m_point; }
    void SetPoint(int point) noexcept { m_point = point; }

    // The digit at a place counted from the first digit; places outside are 0.
    int GetDigit(int place) const noexcept
    {
        return place < 0 || place >= m_count ? 0 : m_digits[m_first + static_cast<std::size_t>(place)];
    }

    // Rounds half up in magnitude at a number of digits behind the point. A carry through all nines adds a place in front.
    void RoundFraction(int fractionDigits) noexcept;

private:
    void SetDirect(double magnitude, int length) noexcept;
    void SetPrinted(double magnitude, int length) noexcept;
    void Store(std::uint64_t value, int length) noexcept;
    std::uint8_t& Digit(int place) noexcept { return m_digits[m_first + static_cast<std::size_t>(place)]; }

    static constexpr int kCapacity = 24;   // three words of eight; a 64-bit integer has 19 digits

    bool m_isNegative = false;
    int m_count = 0;
    int m_point = 0;
    std::size_t m_first = 0;   // where the first digit is stored
    std::array<std::uint8_t, kCapacity> m_digits;
};
