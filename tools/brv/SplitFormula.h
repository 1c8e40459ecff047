#pragma once

#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

// What a calculation yields: nothing, a text, or a number.
using FieldValue = std::variant<std::monostate, TString, std::int64_t, double>;

// Whether there is something in it: a number, or a text that is not empty.
bool HasContent(const FieldValue& value);

// A calculation that cuts one field out of a text, in the part of the formula language that the library writes:
//
//     formula = text | "INT" "(" text ")" | "FLOAT" "(" text ")"
//     text    = "[" name "]" | "TRIM" "(" text ")" | "SPLIT" "(" text "," quoted "," number ")"
//
// A "]" within the name and a quotation mark within the quotes are doubled; blanks may stand between the parts.
// SPLIT(text, separator, n) is the n-th piece of the text between separators, counted from 1, or from the end, -1 the last,
// when n is negative; it is empty where there is no such piece. TRIM takes white space off both ends. INT and FLOAT read
// the text as a number, INT without its fraction, and yield nothing where it is none or, for INT, beyond 64 bits.
class SplitFormula
{
public:
    // Throws std::invalid_argument for a text that is no such formula.
    explicit SplitFormula(const TString& text);

    // For one text in the place of [name]; O(its length) for each SPLIT and TRIM.
    FieldValue Evaluate(const TString& text) const;
    bool IsNumber() const { return m_type != Type::Text; }

private:
    class Parser;

    enum class Type
    {
        Text,
        Int,
        Float,
    };
    // TRIM, or with an index SPLIT.
    struct Step
    {
        TString separator;
        std::int64_t index = 0;   // 0: TRIM
    };

    std::vector<Step> m_steps;   // in the order in which they are taken, the innermost first
    Type m_type = Type::Text;
};

// The expression that names a field, for the calculations: "[name]".
TString FieldExpression(const TString& name);
