#include "SplitFormula.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

// The pieces are those that a reader from the left finds, whichever end they are counted from.
TString Piece(const TString& text, const TString& separator, std::int64_t index)
{
    if (index < 0)
    {
        const std::vector<TString> pieces = text.Split(separator);
        const auto count = static_cast<std::int64_t>(pieces.size());
        return index < -count ? TString() : pieces[static_cast<std::size_t>(count + index)];
    }
    if (separator.IsEmpty())
        return index == 1 ? text : TString();
    std::size_t start = 0;
    for (std::int64_t i = 1;; ++i)
    {
        const std::size_t end = text.Find(separator, start);
        if (i == index)
            return text.Mid(start, end == TString::npos ? end : end - start);
        if (end == TString::npos)
            return {};
        start = end + separator.Length();
    }
}

std::optional<double> FiniteNumber(const TString& text)
{
    const std::optional<double> number = text.ToDouble();
    return number && std::isfinite(*number) ? number : std::nullopt;
}

FieldValue WholeNumber(const TString& text)
{
    constexpr double kLimit = 9223372036854775808.0;   // 2^63
    if (const auto number = text.ToInt())
        return *number;
    const std::optional<double> number = FiniteNumber(text);
    if (!number || !(std::abs(*number) < kLimit))
        return {};
    return static_cast<std::int64_t>(*number);
}

}   // namespace

bool HasContent(const FieldValue& value)
{
    const auto* text = std::get_if<TString>(&value);
    return text != nullptr ? !text->IsEmpty() : !std::holds_alternative<std::monostate>(value);
}

TString FieldExpression(const TString& name)
{
    return TString(u"[") + name.Replaced(u"]", u"]]") + u"]";
}

// By recursive descent: one function for each rule of the grammar.
class SplitFormula::Parser
{
public:
    Parser(std::u16string_view rest, SplitFormula& formula) : m_rest(rest), m_formula(formula) {}

    void ReadFormula()
    {
        m_formula.m_type = Take(u"INT") ? Type::Int : Take(u"FLOAT") ? Type::Float : Type::Text;
        const bool isCall = m_formula.m_type != Type::Text;
        if (isCall)
            Expect(u"(");
        ReadText();
        if (isCall)
            Expect(u")");
        SkipBlanks();
        if (!m_rest.empty())
            Fail(u"the end");
    }

private:
    void ReadText()
    {
        if (Take(u"["))
        {
            ReadUntil(u']');
            return;
        }
        const bool isTrim = Take(u"TRIM");
        if (!isTrim)
            Expect(u"SPLIT");
        Expect(u"(");
        ReadText();
        Step step;
        if (!isTrim)
        {
            Expect(u",");
            Expect(u"\"");
            step.separator = ReadUntil(u'"');
            Expect(u",");
            step.index = ReadIndex();
        }
        Expect(u")");
        m_formula.m_steps.push_back(step);
    }

    // The text up to a closing mark, which stands doubled inside it.
    TString ReadUntil(char16_t mark)
    {
        std::u16string text;
        for (;;)
        {
            const std::size_t end = m_rest.find(mark);
            if (end == std::u16string_view::npos)
                Fail(TString(1, mark));
            text += m_rest.substr(0, end);
            m_rest.remove_prefix(end + 1);
            if (!m_rest.starts_with(mark))
                return text;
            text += mark;
            m_rest.remove_prefix(1);
        }
    }

    std::int64_t ReadIndex()
    {
        SkipBlanks();
        const std::u16string_view digits = m_rest.substr(0, m_rest.find_first_not_of(u"-0123456789"));
        const std::optional<std::int64_t> index = TString::ParseInt(digits);
        if (!index || *index == 0)
            Fail(u"a number of a piece");
        m_rest.remove_prefix(digits.size());
        return *index;
    }

    bool Take(std::u16string_view word)
    {
        SkipBlanks();
        const bool isThere = m_rest.starts_with(word);
        m_rest.remove_prefix(isThere ? word.size() : 0);
        return isThere;
    }
    void Expect(std::u16string_view word)
    {
        if (!Take(word))
            Fail(word);
    }
    void SkipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(u' '), m_rest.size())); }

    [[noreturn]] void Fail(const TString& expected) const
    {
        throw std::invalid_argument("no calculation: " + expected.ToUTF8() + " is expected, not '" +
                                    TString(m_rest.substr(0, 20)).ToUTF8() + "'");
    }

    std::u16string_view m_rest;
    SplitFormula& m_formula;
};

SplitFormula::SplitFormula(const TString& text)
{
    Parser(text, *this).ReadFormula();
}

FieldValue SplitFormula::Evaluate(const TString& text) const
{
    TString piece = text;
    for (const Step& step : m_steps)
        piece = step.index == 0 ? piece.Trimmed() : Piece(piece, step.separator, step.index);
    if (m_type == Type::Int)
        return WholeNumber(piece);
    if (m_type == Type::Text)
        return piece;
    const std::optional<double> number = FiniteNumber(piece);
    return number ? FieldValue(*number) : FieldValue();
}
