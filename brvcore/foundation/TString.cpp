#include "brvcore/foundation/TString.h"

#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace
{

// ICU counts in 32 bits, and the lengths of the library stay within it.
constexpr std::size_t kMaxLength = std::numeric_limits<std::int32_t>::max() - 1;

constexpr char16_t kEscapeBase = 0xDC00;   // byte 0xNN that is not UTF-8 <-> lone surrogate 0xDCNN
constexpr char16_t kFirstEscape = 0xDC80;
constexpr char16_t kLastEscape = 0xDCFF;

bool IsAsciiSpace(char16_t c)
{
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

bool IsAscii(std::u16string_view text)
{
    char16_t all = 0;
    for (const char16_t c : text)
        all = static_cast<char16_t>(all | c);
    return all < 0x80;
}

// Length of the ASCII start of a text, found in steps of eight bytes; what follows may still begin with ASCII.
template <class Unit> std::size_t AsciiPrefix(const Unit* text, std::size_t length)
{
    constexpr std::size_t kUnits = sizeof(std::uint64_t) / sizeof(Unit);
    constexpr std::uint64_t kNotAscii = sizeof(Unit) == 1 ? 0x8080808080808080U : 0xFF80FF80FF80FF80U;
    std::size_t i = 0;
    for (; i + kUnits <= length; i += kUnits)
    {
        std::uint64_t chunk;
        std::memcpy(&chunk, text + i, sizeof chunk);
        if ((chunk & kNotAscii) != 0)
            break;
    }
    return i;
}

// Reads one code point from UTF-8 and moves i behind it; negative when the bytes are none. ICU's macro narrows on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
UChar32 NextCodePoint(const std::uint8_t* in, std::int32_t& i, std::int32_t size)
{
    UChar32 c = 0;
    U8_NEXT(in, i, size, c);
    return c;
}
#pragma GCC diagnostic pop

// The UTF-8 pattern of a code point, surrogates included.
void AppendPattern(UChar32 c, std::string& result)
{
    std::array<char, U8_MAX_LENGTH> unit;
    std::size_t length = 0;
    U8_APPEND_UNSAFE(unit.data(), length, c);
    result.append(unit.data(), length);
}

// Writes the run of escaped bytes that begins at `start` and returns where it ends. Bytes that came from outside are no
// UTF-8, so they go back as they were; a run that would read as other characters cannot have come from there, and its
// surrogates are written as patterns.
std::size_t AppendEscapedBytes(std::u16string_view text, std::size_t start, std::string& result)
{
    std::size_t end = start;
    std::string bytes;
    for (; end < text.size() && text[end] >= kFirstEscape && text[end] <= kLastEscape; ++end)
        bytes.push_back(static_cast<char>(text[end] - kEscapeBase));
    const auto* const in = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto size = static_cast<std::int32_t>(bytes.size());
    for (std::int32_t i = 0; i < size;)
    {
        const std::int32_t byteStart = i;
        if (NextCodePoint(in, i, size) >= 0)
        {
            for (std::size_t k = start; k < end; ++k)
                AppendPattern(text[k], result);
            return end;
        }
        i = byteStart + 1;
    }
    result += bytes;
    return end;
}

// The text of a number in single bytes, without surrounding white space and one leading "+"; empty when it cannot be one.
// Numbers of any length are read: beyond the fixed buffer the text moves to `spill`.
std::string_view NumberText(std::u16string_view text, std::array<char, 64>& buffer, std::string& spill)
{
    while (!text.empty() && IsAsciiSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsAsciiSpace(text.back()))
        text.remove_suffix(1);
    if (!text.empty() && text.front() == u'+')
    {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == u'-')
            return {};
    }
    char* out = buffer.data();
    if (text.size() > buffer.size())
    {
        spill.resize(text.size());
        out = spill.data();
    }
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] >= 0x80)
            return {};
        out[i] = static_cast<char>(text[i]);
    }
    return {out, text.size()};
}

template <class Integer> TString IntegerText(Integer value, int base)
{
    BRV_LOGIC_ASSERT(0x3FA08D16, 2 <= base && base <= 36);
    std::array<char, 65> buffer;   // 64 binary digits and a sign
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, base);
    return TString::FromUTF8({buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data())});
}

template <class AsciiMap, class IcuMap> TString MapCase(std::u16string_view text, AsciiMap asciiMap, IcuMap icuMap)
{
    std::u16string result(text);
    if (IsAscii(text))
    {
        std::ranges::transform(result, result.begin(), asciiMap);
        return result;
    }
    for (int round = 0; round < 2; ++round)   // the second time with the length that the first asked for
    {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length = icuMap(result.data(), static_cast<std::int32_t>(result.size()), text.data(),
            static_cast<std::int32_t>(text.size()), "", &status);
        const bool isTooShort = status == U_BUFFER_OVERFLOW_ERROR;
        if (!isTooShort && U_FAILURE(status))
            throw std::runtime_error(u_errorName(status));
        result.resize(static_cast<std::size_t>(length));
        if (!isTooShort)
            break;
    }
    return result;
}

}   // namespace

TString::Block* TString::Allocate(std::size_t length, std::size_t capacity)
{
    if (capacity > kMaxLength)
        throw std::length_error("TString");
    void* const memory = ::operator new(sizeof(Block) + capacity * sizeof(char16_t));
    return new (memory) Block{1, length, capacity};
}

void TString::AddRef() const noexcept
{
    if (m_block != nullptr)
        std::atomic_ref(m_block->refs).fetch_add(1, std::memory_order_relaxed);
}

void TString::Release() noexcept
{
    if (m_block != nullptr && std::atomic_ref(m_block->refs).fetch_sub(1, std::memory_order_acq_rel) == 1)
        ::operator delete(m_block);
    m_block = nullptr;
}

TString::TString(std::u16string_view text)
{
    if (text.empty())
        return;
    m_block = Allocate(text.size(), text.size());
    std::ranges::copy(text, m_block->Text());
}

TString::TString(std::size_t count, char16_t unit)
{
    if (count == 0)
        return;
    m_block = Allocate(count, count);
    std::fill_n(m_block->Text(), count, unit);
}

TString& TString::Append(std::u16string_view text)
{
    if (text.empty())
        return *this;
    const std::size_t oldLength = Length();
    if (text.size() > kMaxLength - oldLength)
        throw std::length_error("TString");
    const std::size_t newLength = oldLength + text.size();
    const bool isOwned = m_block != nullptr && std::atomic_ref(m_block->refs).load(std::memory_order_acquire) == 1;
    if (isOwned && newLength <= m_block->capacity)
    {
        std::ranges::copy(text, m_block->Text() + oldLength);   // text may lie in this block: the ranges do not overlap
        m_block->length = newLength;
        return *this;
    }
    // Room for as much again when text grows, so that appending piece by piece is linear.
    Block* const grown = Allocate(newLength, m_block == nullptr ? newLength : std::min(2 * newLength, kMaxLength));
    std::ranges::copy(View(), grown->Text());
    std::ranges::copy(text, grown->Text() + oldLength);
    Release();
    m_block = grown;
    return *this;
}

TString TString::FromUTF8(std::string_view bytes)
{
    if (bytes.empty())
        return {};
    if (bytes.size() > kMaxLength)
        throw std::length_error("TString");
    TString result;
    result.m_block = Allocate(0, bytes.size());   // a byte never becomes more than one code unit
    char16_t* const out = result.m_block->Text();
    const auto* const in = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto size = static_cast<std::int32_t>(bytes.size());
    std::size_t length = AsciiPrefix(in, bytes.size());
    std::copy_n(in, length, out);
    auto i = static_cast<std::int32_t>(length);
    while (i < size)
    {
        const std::int32_t start = i;
        if (in[i] < 0x80)
        {
            out[length++] = in[i++];
            continue;
        }
        const UChar32 c = NextCodePoint(in, i, size);
        if (c < 0)   // one byte at a time, so that each comes back as it was
        {
            out[length++] = static_cast<char16_t>(kEscapeBase | in[start]);
            i = start + 1;
        }
        else
            U16_APPEND_UNSAFE(out, length, c);
    }
    result.m_block->length = length;
    return result;
}

std::string TString::ToUTF8() const
{
    const std::u16string_view text = View();
    std::size_t i = AsciiPrefix(text.data(), text.size());
    std::string result(i, '\0');
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(i), result.begin(),
        [](char16_t c) { return static_cast<char>(c); });
    result.reserve(text.size());
    while (i < text.size())
    {
        UChar32 c = text[i];
        if (c < 0x80)
        {
            result.push_back(static_cast<char>(c));
            ++i;
            continue;
        }
        U16_NEXT(text.data(), i, text.size(), c);
        if (c >= kFirstEscape && c <= kLastEscape)
        {
            i = AppendEscapedBytes(text, i - 1, result);
            continue;
        }
        AppendPattern(c, result);
    }
    return result;
}

TString TString::FromInt(std::int64_t value, int base)
{
    return IntegerText(value, base);
}

TString TString::FromUInt(std::uint64_t value, int base)
{
    return IntegerText(value, base);
}

TString TString::FromDouble(double value)
{
    if (std::isnan(value))
        return u"nan";             // without a sign, which differs between processors
    std::array<char, 32> buffer;   // the longest shortest form has 24 characters
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return FromUTF8({buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data())});
}

TString TString::FromDouble(double value, char format, int precision)
{
    if (std::isnan(value))
        return u"nan";
    const std::chars_format style = format == 'e'   ? std::chars_format::scientific
                                    : format == 'f' ? std::chars_format::fixed
                                                    : std::chars_format::general;
    std::string buffer(128, '\0');
    for (;;)
    {
        const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, style, precision);
        if (result.ec == std::errc())
            return FromUTF8({buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data())});
        buffer.resize(2 * buffer.size());
    }
}

std::optional<std::int64_t> TString::ParseInt(std::u16string_view text, int base)
{
    BRV_LOGIC_ASSERT(0xB46E92D7, 2 <= base && base <= 36);
    std::array<char, 64> buffer{};
    std::string spill;
    const std::string_view digits = NumberText(text, buffer, spill);
    std::int64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size())
        return std::nullopt;
    return value;
}

std::optional<double> TString::ParseDouble(std::u16string_view text)
{
    std::array<char, 64> buffer{};
    std::string spill;
    const std::string_view digits = NumberText(text, buffer, spill);
    double value = 0.0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size())
        return std::nullopt;
    return value;
}

char16_t TString::operator[](std::size_t position) const
{
    const std::size_t length = Length();
    BRV_LOGIC_ASSERT(0x91D0A6F3, position < length);
    return m_block->Text()[position];
}

TString TString::Mid(std::size_t position, std::size_t count) const
{
    if (position == 0 && count >= Length())
        return *this;
    return position >= Length() ? TString() : TString(View().substr(position, count));
}

TString TString::Trimmed() const
{
    std::u16string_view text = View();
    while (!text.empty() && u_isUWhiteSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && u_isUWhiteSpace(text.back()))
        text.remove_suffix(1);
    return text.size() == Length() ? *this : TString(text);
}

TString TString::Replaced(std::u16string_view what, std::u16string_view with) const
{
    const std::u16string_view text = View();
    std::size_t found = what.empty() ? npos : text.find(what);
    if (found == npos)
        return *this;
    TString result;
    std::size_t done = 0;
    for (; found != npos; found = text.find(what, done))
    {
        result.Append(text.substr(done, found - done)).Append(with);
        done = found + what.size();
    }
    return std::move(result.Append(text.substr(done)));
}

std::vector<TString> TString::Split(std::u16string_view separator) const
{
    if (separator.empty())
        return {*this};
    const std::u16string_view text = View();
    std::vector<TString> pieces;
    std::size_t start = 0;
    for (std::size_t found = text.find(separator); found != npos; found = text.find(separator, start))
    {
        pieces.emplace_back(text.substr(start, found - start));
        start = found + separator.size();
    }
    pieces.emplace_back(text.substr(start));
    return pieces;
}

TString TString::ToUpper() const
{
    const auto upper = [](char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 0x20) : c; };
    return MapCase(View(), upper, u_strToUpper);
}

TString TString::ToLower() const
{
    const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 0x20) : c; };
    return MapCase(View(), lower, u_strToLower);
}

// FNV-1a of the code units (G. Fowler, L. C. Noll, K.-P. Vo).
std::uint32_t TString::Hash() const noexcept
{
    std::uint32_t hash = 0x811C9DC5U;
    for (const char16_t c : View())
        hash = (hash ^ c) * 0x01000193U;
    return hash;
}
