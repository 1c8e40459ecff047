#include "brvcore/string/DecimalDigits.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace
{

// "-0.12345e3": the digits as they are stored.
std::string Text(const DecimalDigits& number)
{
    std::string text = number.IsNegative() ? "-0." : "0.";
    for (int place = 0; place < number.GetCount(); ++place)
        text += static_cast<char>('0' + number.GetDigit(place));
    return text.append("e").append(std::to_string(number.GetPoint()));
}

std::string TextOfDouble(double value)
{
    DecimalDigits number;
    number.SetDouble(value);
    return Text(number);
}

std::string TextOfInteger(long long value)
{
    DecimalDigits number;
    number.SetInteger(value);
    return Text(number);
}

// The same notation from what printf writes with "%.*G", whatever separates the decimals in the locale of the test.
std::string TextOfPrintf(double value)
{
    const double magnitude = std::fabs(value);
    std::array<char, 64> buffer;
    std::snprintf(buffer.data(), buffer.size(), "%.*G", magnitude >= 1e7 && magnitude < 1e16 ? 18 : 15, value);
    std::string digits;
    int point = 0;
    int exponent = 0;
    bool isBehindPoint = false;
    for (const char* c = buffer.data(); *c != '\0'; ++c)
    {
        if (*c == 'E')
        {
            exponent = std::atoi(c + 1);
            break;
        }
        if (*c >= '0' && *c <= '9')
        {
            if (!digits.empty() || *c != '0')
                digits += *c;
            if (!isBehindPoint && !digits.empty())
                ++point;
            if (isBehindPoint && digits.empty())
                --point;
        }
        else if (*c != '-')
        {
            isBehindPoint = true;
        }
    }
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.empty())
        point = exponent = 0;
    std::string text = std::signbit(value) ? "-0." : "0.";
    return text.append(digits).append("e").append(std::to_string(point + exponent));
}

std::string RoundedText(double value, int fractionDigits)
{
    DecimalDigits number;
    number.SetDouble(value);
    number.RoundFraction(fractionDigits);
    return Text(number);
}

}   // namespace

TEST(DecimalDigits, IntegersAreExact)
{
    EXPECT_EQ(TextOfInteger(0), "0.e0");
    EXPECT_EQ(TextOfInteger(-7), "-0.7e1");
    EXPECT_EQ(TextOfInteger(1'000'000'000'000'000'000), "0.1e19");
    EXPECT_EQ(TextOfInteger(100'000'000'100'000'000), "0.1000000001e18");
    EXPECT_EQ(TextOfInteger(std::numeric_limits<long long>::max()), "0.9223372036854775807e19");
    EXPECT_EQ(TextOfInteger(std::numeric_limits<long long>::min()), "-0.9223372036854775808e19");
}

TEST(DecimalDigits, DoublesHaveTheDigitsOfPrintf)
{
    struct Case
    {
        double value;
        const char* text;
        const char* why;
    };
    for (const Case& c : {
             Case{-0.0, "-0.e0", "zero keeps its sign"},
             Case{0.1, "0.1e0", "15 digits hide the error of the binary form"},
             Case{9999999.0, "0.9999999e7", "the last magnitude with 15 digits"},
             Case{12345678.9, "0.123456789000000004e8", "18 digits show it"},
             Case{9999999.9999999981, "0.1e8", "just below 1e7: a carry through all 15 digits"},
             Case{9007199254740993.0, "0.9007199254740992e16", "2^53 + 1 does not exist"},
             Case{1e16, "0.1e17", "15 digits again"},
             Case{0.5e-4, "0.5e-4", "below the direct path"},
             Case{5e-324, "0.494065645841247e-323", "the smallest"},
             Case{std::numeric_limits<double>::max(), "0.179769313486232e309", "the largest"},
         })
    {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(TextOfDouble(c.value), TextOfPrintf(c.value));
        EXPECT_EQ(TextOfDouble(c.value), c.text);
    }
}

// Kinds of values that a shortcut would get wrong, each against the C library.
TEST(DecimalDigits, RandomDoublesHaveTheDigitsOfPrintf)
{
    std::mt19937_64 generator(20240131);
    const auto uniform = [&] { return std::ldexp(static_cast<double>(generator() >> 11), -53); };
    const auto check = [](double value)
    {
        if (std::isfinite(value))
        {
            ASSERT_EQ(TextOfDouble(value), TextOfPrintf(value)) << std::hexfloat << value;
        }
    };
    for (int i = 0; i < 60'000 && !testing::Test::HasFatalFailure(); ++i)
    {
        check(std::bit_cast<double>(generator()));                     // any bits
        check(std::pow(10, -5 + 22 * uniform()));                      // around the direct path and its edges
        check(static_cast<double>(generator() % 100'000'000) / 100);   // amounts in cents
        check(std::ldexp(static_cast<double>(generator() >> 40), -static_cast<int>(generator() % 30)));   // ties
        double nearPower = std::pow(10, static_cast<int>(generator() % 25) - 6);
        for (auto step = generator() % 4; step > 0; --step)
            nearPower = std::nextafter(nearPower, generator() % 2 == 0 ? 0.0 : HUGE_VAL);
        check(nearPower);
    }
}

TEST(DecimalDigits, RoundsHalfUpOnDecimalDigits)
{
    EXPECT_EQ(RoundedText(1.005, 2), "0.101e1");   // 1.00499999999999989 in binary
    EXPECT_EQ(RoundedText(-2.5, 0), "-0.3e1");     // away from zero
    EXPECT_EQ(RoundedText(0.994, 2), "0.99e0");
    EXPECT_EQ(RoundedText(999.995, 2), "0.1e4");   // through all nines
    EXPECT_EQ(RoundedText(0.5, 0), "0.1e1");       // no digit is left but the carry
    EXPECT_EQ(RoundedText(0.49, 0), "0.e0");
    EXPECT_EQ(RoundedText(0.0096, 1), "0.e0");   // the first digit lies behind the one that decides
    EXPECT_EQ(RoundedText(1.2, 300), "0.12e1");
    EXPECT_EQ(RoundedText(100.04, 1), "0.1e3");   // zeros at the end are not stored
}
