#include "brvcore/foundation/TextFile.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

// The text form of Matrix. A file is scanned twice: the lines are counted, so that every column is allocated once in
// its final size, then the cells are read from the bytes. At its peak the memory is the file and the matrix.
namespace LinearAlgebra
{

namespace
{

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

// The bytes of a file in UTF-8, without a byte order mark.
std::string LoadUTF8(const TString& path)
{
    std::string bytes = TextFile::LoadBytes(TPath(path));
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
    {
        const TString text = TextFile::Decode(bytes);
        bytes = {};   // gone before the next copy
        bytes.shrink_to_fit();
        return text.ToUTF8();
    }
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.erase(0, 3);
    return bytes;
}

// Cuts the next line that is not empty off the text; empty at the end. A carriage return in front of the line feed is
// part of the end of the line.
std::string_view NextLine(std::string_view& text)
{
    while (!text.empty())
    {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (!line.empty())
            return line;
    }
    return {};
}

std::uint64_t CountLines(std::string_view text)
{
    std::uint64_t count = 0;
    while (!NextLine(text).empty())
        ++count;
    return count;
}

// Cuts the field in front of the next comma off the line, and the comma.
std::string_view NextField(std::string_view& line)
{
    const std::size_t end = std::min(line.find(','), line.size());
    const std::string_view field = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return field;
}

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// A number whose size no double has: infinity or zero with its sign.
double BeyondRange(std::string_view number)
{
    const std::size_t end = std::min(number.find_first_of("eE"), number.size());
    std::string_view exponentText = number.substr(std::min(end + 1, number.size()));
    if (exponentText.starts_with('+'))
        exponentText.remove_prefix(1);
    std::int64_t exponent = 0;
    if (!exponentText.empty())
    {
        const auto result = std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
        if (result.ec == std::errc::result_out_of_range)
            exponent = exponentText.front() == '-' ? INT32_MIN : INT32_MAX;
    }
    exponent = std::clamp<std::int64_t>(exponent, INT32_MIN, INT32_MAX);
    const std::string_view digits = number.substr(0, end);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<std::int64_t>(digits.find_first_of("123456789"));
    const double size = exponent + point - first > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    return number.front() == '-' ? -size : size;
}

// As TString::ToDouble reads it, except that a number beyond the range of doubles is infinity or zero.
double ParseField(std::string_view field)
{
    while (!field.empty() && IsSpace(field.front()))
        field.remove_prefix(1);
    while (!field.empty() && IsSpace(field.back()))
        field.remove_suffix(1);
    if (field.starts_with('+') && !field.starts_with("+-"))
        field.remove_prefix(1);
    double value = 0.0;
    const auto result = std::from_chars(field.data(), field.data() + field.size(), value);
    if (result.ec == std::errc::invalid_argument || result.ptr != field.data() + field.size())
        return kMissing;
    return result.ec == std::errc::result_out_of_range ? BeyondRange(field) : value;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Cuts the next field off the line. Most fields are a few digits with a point: an integer and a power of ten that are
// both doubles, so that their quotient is rounded once and is the nearest double (W. D. Clinger, "How to Read Floating
// Point Numbers Accurately", PLDI 1990). All others take the general way. The text goes on behind the line or ends with
// a zero byte, so that a digit always has a successor.
double NextCell(std::string_view& line)
{
    constexpr std::uint64_t kMaxExact = 1ULL << 53U;
    constexpr std::array kPowersOfTen = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14,
        1e15, 1e16, 1e17, 1e18, 1e19};   // as many decimals as 64 bits hold digits

    const char* at = line.data();
    const char* const end = at + line.size();
    const bool isNegative = *at == '-';
    at += isNegative ? 1 : 0;
    const char* const first = at;
    std::uint64_t digits = 0;
    for (; IsDigit(*at); ++at)
        digits = 10 * digits + static_cast<std::uint64_t>(*at - '0');
    auto digitCount = static_cast<std::size_t>(at - first);
    std::size_t decimals = 0;
    if (*at == '.')
    {
        const char* const point = ++at;
        for (; IsDigit(*at); ++at)
            digits = 10 * digits + static_cast<std::uint64_t>(*at - '0');
        decimals = static_cast<std::size_t>(at - point);
        digitCount += decimals;
    }
    if ((at != end && *at != ',') || digitCount == 0 || digitCount >= kPowersOfTen.size() || digits > kMaxExact)
        return ParseField(NextField(line));
    line.remove_prefix(std::min(static_cast<std::size_t>(at - line.data()) + 1, line.size()));
    const double value = static_cast<double>(digits) / kPowersOfTen[decimals];
    return isNegative ? -value : value;
}

}   // namespace

Matrix::Matrix(const TString& path, bool hasHeader)
{
    const std::string bytes = LoadUTF8(path);
    std::string_view text = bytes;
    const std::uint64_t lineCount = CountLines(text);
    if (lineCount == 0 || (lineCount == 1 && hasHeader))
        return;

    std::string_view remaining = text;
    std::string_view firstLine = NextLine(remaining);
    const auto cols = static_cast<std::uint64_t>(std::count(firstLine.begin(), firstLine.end(), ',') + 1);
    Resize(hasHeader ? lineCount - 1 : lineCount, cols, kMissing);
    if (hasHeader)
    {
        text = remaining;
        m_colNames.reserve(cols);
        for (std::uint64_t c = 0; c < cols; ++c)
            m_colNames.push_back(TString::FromUTF8(NextField(firstLine)));
    }

    std::vector<double*> columns(cols);
    for (std::uint64_t c = 0; c < cols; ++c)
        columns[c] = m_columns[c].data();
    for (std::uint64_t r = 0; r < m_rows; ++r)
    {
        std::string_view line = NextLine(text);
        for (double* const column : columns)
        {
            if (line.empty())
                break;   // cells that the line does not reach, and an empty last one, stay missing
            column[r] = NextCell(line);
        }
    }
}

TString Matrix::ToCsvString() const
{
    TString text;
    for (std::size_t c = 0; c < m_colNames.size(); ++c)
        text.Append(m_colNames[c]).Append(c + 1 < m_colNames.size() ? u"," : u"\n");
    for (std::uint64_t r = 0; r < m_rows; ++r)
    {
        for (std::uint64_t c = 0; c < m_cols; ++c)
        {
            if (c != 0)
                text += u',';
            text += TString::FromDouble(m_columns[c][r], 'g', 6);
        }
        text += u'\n';
    }
    return text;
}

}   // namespace LinearAlgebra
