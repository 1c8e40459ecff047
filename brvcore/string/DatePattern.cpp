#include "brvcore/string/DatePattern.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace
{

using Field = DateTimeField;

constexpr int kWideLetters = 4;   // of a name that is not abbreviated

constexpr bool IsAsciiLetter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

// Enough for what stands between the parts of a date: everything but ASCII signs, punctuation and marks of direction.
constexpr bool IsLetter(char16_t c)
{
    constexpr char16_t kFirstLetterOfLatin1 = 0xC0;
    constexpr char16_t kFirstPunctuation = 0x2000;
    constexpr char16_t kFirstIdeograph = 0x2E80;
    return IsAsciiLetter(c) || (c >= kFirstLetterOfLatin1 && c < kFirstPunctuation) || c >= kFirstIdeograph;
}

// A field or a text of a pattern in the notation of Unicode's locale data.
struct PatternItem
{
    char16_t letter = 0;   // 0: a text
    int width = 0;
    std::u16string text;   // without its quotation marks
};

std::vector<PatternItem> ItemsOfPattern(std::u16string_view pattern)
{
    std::vector<PatternItem> items;
    bool isQuoted = false;
    for (std::size_t i = 0; i < pattern.size(); ++i)
    {
        const char16_t c = pattern[i];
        const bool isApostrophe = c == u'\'' && pattern.substr(i + 1).starts_with(u'\'');
        if (c == u'\'' && !isApostrophe)
        {
            isQuoted = !isQuoted;
            continue;
        }
        const char16_t letter = !isQuoted && IsAsciiLetter(c) ? c : u'\0';
        if (items.empty() || items.back().letter != letter)
            items.push_back({letter, 0, {}});
        ++items.back().width;
        if (letter == 0)
            items.back().text += c;
        i += isApostrophe ? 1 : 0;
    }
    return items;
}

// The part of a pattern's field; nothing for an uncommon one.
std::optional<DateTimePart> PartOfItem(PatternItem item)
{
    const bool isNumber = item.width <= 2;
    const bool isName = item.width == 3 || item.width == kWideLetters;
    Field field;
    switch (item.letter)
    {
    case u'\0':
        return DateTimePart{Field::Text, 1, std::move(item.text), {}};
    case u'G':
        field = Field::Era;
        break;
    case u'y':
        field = Field::Year;
        break;
    case u'M':
        field = isNumber ? Field::Month : Field::MonthInDate;
        break;
    case u'L':
        field = isNumber ? Field::Month : Field::MonthAlone;
        break;
    case u'd':
        field = Field::Day;
        break;
    case u'E':
        field = Field::DayNameInDate;
        break;
    case u'H':
        field = Field::Hour24;
        break;
    case u'h':
        field = Field::Hour12;
        break;
    case u'm':
        field = Field::Minute;
        break;
    case u's':
        field = Field::Second;
        break;
    case u'a':
        field = Field::DayHalf;
        break;
    case u'B':
        field = Field::DayPeriod;
        break;
    default:
        return std::nullopt;
    }
    const bool mayBeName = item.letter == u'M' || item.letter == u'L' || item.letter == u'E';
    const bool mayBeLong = item.letter == u'y' || (mayBeName && isName);
    if (!isNumber && !mayBeLong)
        return std::nullopt;
    return DateTimePart{field, item.width, {}, {}};
}

}   // namespace

DateTimeParts PartsOfPattern(std::u16string_view pattern)
{
    DateTimeParts parts;
    std::vector<PatternItem> items = ItemsOfPattern(pattern);
    parts.reserve(items.size());
    for (PatternItem& item : items)
    {
        std::optional<DateTimePart> part = PartOfItem(std::move(item));
        if (!part)
            return {};
        parts.push_back(std::move(*part));
    }
    return parts;
}

std::u16string SeparatorInPattern(
    const DateTimeParts& parts, std::initializer_list<DateTimeField> fields, std::u16string_view otherwise)
{
    constexpr std::u16string_view kBlanks = u" \u00A0\u202F";
    const auto isField = [&](const DateTimePart& part) { return std::ranges::count(fields, part.field) != 0; };
    for (std::size_t i = 2; i < parts.size(); ++i)
    {
        if (!isField(parts[i - 2]) || parts[i - 1].field != Field::Text || !isField(parts[i]))
            continue;
        std::u16string_view text = parts[i - 1].text;
        text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
        text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
        const bool isWord = std::ranges::any_of(text, IsLetter);
        return std::u16string(text.empty() || isWord ? otherwise : text);
    }
    return std::u16string(otherwise);
}
