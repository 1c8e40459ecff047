#include "brvcore/string/DateTimeTokens.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace
{

using Kind = DateTimeToken::Kind;

// What a run of a letter means, by its length; the last row of a letter serves longer runs too.
struct Run
{
    char16_t letter;
    std::uint8_t length;
    Kind kind;
};

// clang-format off
constexpr std::array kRuns = {
Run{u'c', 1, Kind::GeneralDate},
Run{u'd', 1, Kind::Day},       Run{u'd', 2, Kind::Day},      Run{u'd', 3, Kind::DayName},   Run{u'd', 4, Kind::DayName},
Run{u'd', 5, Kind::ShortDate}, Run{u'd', 6, Kind::LongDate},
Run{u'h', 1, Kind::Hour},      Run{u'h', 2, Kind::Hour},
Run{u'm', 1, Kind::Month},     Run{u'm', 2, Kind::Month},    Run{u'm', 3, Kind::MonthName}, Run{u'm', 4, Kind::MonthName},
Run{u'n', 1, Kind::Minute},    Run{u'n', 2, Kind::Minute},
Run{u'q', 1, Kind::Quarter},
Run{u's', 1, Kind::Second},    Run{u's', 2, Kind::Second},
Run{u't', 5, Kind::LongTime},
Run{u'w', 1, Kind::DayOfWeek}, Run{u'w', 2, Kind::WeekOfYear},
Run{u'y', 1, Kind::DayOfYear}, Run{u'y', 2, Kind::Year},     Run{u'y', 4, Kind::Year},
};
// clang-format on

constexpr std::size_t kMostFractionDigits = 7;   // down to the tick
constexpr std::array<std::u16string_view, 2> kDayHalves = {u"am/pm", u"a/p"};
constexpr std::u16string_view kLocaleDayHalf = u"ampm";

constexpr char16_t ToLowerAscii(char16_t c)
{
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

bool StartsWithLower(std::u16string_view text, std::u16string_view lower)
{
    return text.size() >= lower.size() &&
           std::ranges::equal(text.substr(0, lower.size()), lower, {}, [](char16_t c) { return ToLowerAscii(c); });
}

// The row of a run of a lower-case letter: the shortest that is long enough, else the letter's longest. Nothing for a letter
// without tokens, and for less than five t.
std::optional<Run> FindRun(char16_t letter, std::size_t length)
{
    std::optional<Run> found;
    for (const Run& run : kRuns)
    {
        const bool isCandidate = run.letter == letter && (letter != u't' || run.length <= length);
        if (isCandidate && (!found || found->length < length))
            found = run;
    }
    return found;
}

class DateTimeTokenizer
{
public:
    explicit DateTimeTokenizer(std::u16string_view format) : m_text(format) {}

    std::vector<DateTimeToken> Tokens()
    {
        while (m_position < m_text.size())
            Token(m_text[m_position]);
        TurnMonthsToMinutes();
        return std::move(m_tokens);
    }

private:
    void Token(char16_t c)
    {
        switch (c)
        {
        case u'"':
            AppendText(TakeUntil(u'"'));
            break;
        case u'[':
            Bracketed();
            break;
        case u';':
            m_position = m_text.size();
            break;
        case u'@':
            ++m_position;
            break;
        case u'_':
        case u'*':
            m_position = std::min(m_position + 1 + CharacterLength(m_position + 1), m_text.size());
            break;
        case u'.':
            Point();
            break;
        case u'\\':
            AppendText(m_text.substr(m_position + 1, 1));
            m_position += 2;
            break;
        case u'/':
            Append(Kind::DateSeparator, 1, 1);
            break;
        case u':':
            Append(Kind::TimeSeparator, 1, 1);
            break;
        case u'A':
        case u'a':
            DayHalf();
            break;
        default:
            Letters(ToLowerAscii(c));
            break;
        }
    }

    // The text between the character at the position and a closing one, which is then behind us.
    std::u16string_view TakeUntil(char16_t closing)
    {
        const std::size_t start = m_position + 1;
        const std::size_t end = std::min(m_text.find(closing, start), m_text.size());
        m_position = std::min(end + 1, m_text.size());
        return m_text.substr(start, end - start);
    }

    // Code units of the character at a position.
    std::size_t CharacterLength(std::size_t position) const
    {
        const std::u16string_view rest = m_text.substr(std::min(position, m_text.size()));
        const bool isPair = rest.size() > 1 && (rest[0] & 0xFC00) == 0xD800 && (rest[1] & 0xFC00) == 0xDC00;
        return isPair ? 2 : 1;
    }

    // [h], [mm] and their like, elapsed time elsewhere: here a moment has no more than a day's hours. Never months.
    void Bracketed()
    {
        const std::u16string_view inner = TakeUntil(u']');
        const char16_t letter = inner.empty() ? u'\0' : ToLowerAscii(inner.front());
        if (letter == u'\0' || std::u16string_view(u"hmns").find(letter) == std::u16string_view::npos ||
            !std::ranges::all_of(inner, [&](char16_t c) { return ToLowerAscii(c) == letter; }))
            return;
        const Run run = FindRun(letter == u'm' ? u'n' : letter, inner.size()).value();
        Append(run.kind, run.length, 0);
    }

    void Point()
    {
        const std::size_t end = std::min(m_text.find_first_not_of(u'0', m_position + 1), m_text.size());
        const std::size_t digits = end - m_position - 1;
        const bool isFraction = digits > 0 && !m_tokens.empty() && m_tokens.back().kind == Kind::Second;
        if (isFraction)
            Append(Kind::Fraction, static_cast<std::uint8_t>(std::min(digits, kMostFractionDigits)), digits + 1);
        else
            Letters(u'.');
    }

    void DayHalf()
    {
        const std::u16string_view rest = m_text.substr(m_position);
        for (const std::u16string_view name : kDayHalves)
        {
            if (!StartsWithLower(rest, name))
                continue;
            const std::size_t slash = name.find(u'/');
            Append(Kind::DayHalf, 0, name.size());
            m_tokens.back().text = rest.substr(0, slash);
            m_tokens.back().afternoon = rest.substr(slash + 1, slash);
            return;
        }
        if (StartsWithLower(rest, kLocaleDayHalf))
            Append(Kind::LocaleDayHalf, 0, kLocaleDayHalf.size());
        else
            Letters(u'a');
    }

    void Letters(char16_t letter)
    {
        std::size_t end = m_position + 1;
        while (end < m_text.size() && ToLowerAscii(m_text[end]) == letter)
            ++end;
        const std::size_t length = end - m_position;
        if (const std::optional<Run> run = FindRun(letter, length))
        {
            Append(run->kind, run->length, length);
            return;
        }
        const std::size_t taken = letter == u'a' ? 1 : length;   // the last of several may begin AM/PM
        AppendText(m_text.substr(m_position, taken));
        m_position += taken;
    }

    void Append(Kind kind, std::uint8_t length, std::size_t codeUnits)
    {
        m_tokens.push_back({kind, length, {}, {}});
        m_position += codeUnits;
    }

    void AppendText(std::u16string_view text)
    {
        if (m_tokens.empty() || m_tokens.back().kind != Kind::Text)
            m_tokens.emplace_back();
        m_tokens.back().text += text;
    }

    // Minutes follow hours or stand in front of seconds, with nothing but text, separators or the half of the day between.
    void TurnMonthsToMinutes()
    {
        constexpr std::array kBetween = {
            Kind::Text, Kind::DateSeparator, Kind::TimeSeparator, Kind::DayHalf, Kind::LocaleDayHalf};
        DateTimeToken* last = nullptr;   // but for those
        for (DateTimeToken& token : m_tokens)
        {
            if (std::ranges::count(kBetween, token.kind) != 0)
                continue;
            const bool followsHour = last != nullptr && last->kind == Kind::Hour;
            if (token.kind == Kind::Month && followsHour)
                token.kind = Kind::Minute;
            if (token.kind == Kind::Second && last != nullptr && last->kind == Kind::Month)
                last->kind = Kind::Minute;
            last = &token;
        }
    }

    std::u16string_view m_text;
    std::size_t m_position = 0;
    std::vector<DateTimeToken> m_tokens;
};

}   // namespace

std::vector<DateTimeToken> TokenizeDateTime(std::u16string_view format)
{
    return DateTimeTokenizer(format).Tokens();
}
