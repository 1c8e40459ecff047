#include "brvcore/data/SplitCalculations.h"

#include "brvcore/data/ICUDateFormatInspector.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr std::size_t kMaxCalculations = 10;

// A text of the formula language.
TString Quote(const TString& text)
{
    return TString(u"\"").Append(text.Replaced(u"\"", u"\"\"")).Append(u"\"");
}

// Unicode White_Space; all of it is in the BMP.
bool BeginsWithWhiteSpace(const TString& text)
{
    return !text.IsEmpty() && text.Mid(0, 1).Trimmed().IsEmpty();
}

// Spaces around other separators are decoration: where others exist, white space separates nothing. A field that has data in
// front of such a space but none behind it keeps the type of what is in front.
void DropWhiteSpaceSeparators(std::vector<SplitSpec>& specs)
{
    const bool hasOther = std::any_of(specs.begin(), specs.end(),
        [](const SplitSpec& spec) { return !spec.separator.IsEmpty() && !BeginsWithWhiteSpace(spec.separator); });
    if (!hasOther)
        return;
    for (std::size_t i = 0; i + 1 < specs.size(); ++i)
        if (BeginsWithWhiteSpace(specs[i].separator) && specs[i + 1].type == DataType::Unknown)
            specs[i + 1].type = specs[i].type;
    std::erase_if(specs, [](const SplitSpec& spec) { return BeginsWithWhiteSpace(spec.separator); });
}

// The fields of one SPLIT. Its separator is the first that it meets.
struct SplitLevel
{
    TString expression;
    TString separator{};
    int fieldNumber = 1;

    bool Owns(const SplitSpec& spec) const { return separator.IsEmpty() || spec.separator == separator; }
    TString Calculate(DataType type, bool trim, bool fromEnd) const
    {
        return GenerateOneSplitCalc(expression, separator, type, fieldNumber, trim, fromEnd);
    }
};

// An empty separator marks the value's last field. The host learns which walk met it early.
void CheckEndOfValue(std::size_t separatorIndex, const std::vector<SplitSpec>& splitSpecs)
{
    BRV_LOGIC_ASSERT(0x524FBD5D, separatorIndex == splitSpecs.size() - 1);
}
void CheckEndOfNestedField(std::size_t separatorIndex, const std::vector<SplitSpec>& specs)
{
    BRV_LOGIC_ASSERT(0x2828EABB, separatorIndex == specs.size() - 1);
}

// Appends the fields of one level. One SPLIT knows one separator, so a field with another one inside is split again, by a
// level of its own with this level's separator in use. All levels share the index of the current field.
//
// A level returns at the end of the fields, at the limit of the result, or at a field of an enclosing level. That field ends
// the innermost level's, and its calculation is made there; the levels between return at once, and the owner consumes it.
// So every field has one calculation at most and is consumed once.
void GenerateSplitCalcsUsingSplitFuncHelper(std::vector<TString>& result, std::size_t& separatorIndex,
    std::set<TString>& separatorsInUse, const TString& fieldExpression, const std::vector<SplitSpec>& specs,
    bool fromEnd)
{
    SplitLevel level{fieldExpression};
    for (; separatorIndex < specs.size() && result.size() < kMaxCalculations; ++separatorIndex, ++level.fieldNumber)
    {
        const SplitSpec& spec = specs[separatorIndex];
        const bool isLast = spec.separator.IsEmpty();
        const bool isOfEnclosing = separatorsInUse.contains(spec.separator);
        if (isLast)
            separatorsInUse.empty() ? CheckEndOfValue(separatorIndex, specs)
                                    : CheckEndOfNestedField(separatorIndex, specs);

        if (!isLast && !isOfEnclosing && !level.Owns(spec))
        {
            separatorsInUse.insert(level.separator);
            GenerateSplitCalcsUsingSplitFuncHelper(result, separatorIndex, separatorsInUse,
                level.Calculate(DataType::String, false, fromEnd), specs, fromEnd);
            separatorsInUse.erase(level.separator);
            if (separatorIndex == specs.size() || !level.Owns(specs[separatorIndex]))
                return;
            continue;
        }
        if (level.separator.IsEmpty())
            level.separator = spec.separator;
        if (spec.type != DataType::Unknown)
            result.push_back(level.Calculate(spec.type, true, fromEnd));   // few
        if (isOfEnclosing)
            return;
    }
}
}   // namespace

TString GenerateOneSplitCalc(
    const TString& fieldExpression, const TString& separator, DataType type, int index, bool trim, bool fromEnd)
{
    const bool isNumber = type == DataType::Integer || type == DataType::Real;
    TString call = TFormatString(trim && !isNumber ? u"TRIM( SPLIT( %1, %2, %3 ) )" : u"SPLIT( %1, %2, %3 )")
                       .arg(fieldExpression)
                       .arg(Quote(separator))
                       .arg(fromEnd ? -index : index)
                       .result();
    if (!isNumber)
        return call;
    return TString(type == DataType::Integer ? u"INT( " : u"FLOAT( ").Append(call).Append(u" )");
}

void GenerateSplitCalcsUsingSplitFunc(
    const TString& fieldExpression, std::vector<SplitSpec>& specs, std::vector<TString>& result, bool fromEnd)
{
    DropWhiteSpaceSeparators(specs);
    std::size_t separatorIndex = 0;
    std::set<TString> separatorsInUse;
    GenerateSplitCalcsUsingSplitFuncHelper(result, separatorIndex, separatorsInUse, fieldExpression, specs, fromEnd);
}

std::vector<TString> GenerateSplitCalcs(const TString& fieldExpression, const std::set<TString>& samples, bool /*flag*/)
{
    std::vector<SplitSpec> specs = GenerateSplitSpec(samples, StructureGovernor(), true);
    std::vector<TString> result;
    GenerateSplitCalcsUsingSplitFunc(fieldExpression, specs, result, false);
    return result;
}

std::vector<TString> GenerateCustomSplitCalcs(
    const TString& fieldExpression, const TString& separator, int count, bool fromEnd)
{
    // Specs beyond the limit change nothing, and the count may be any number.
    const auto size = static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(kMaxCalculations)));
    std::vector<SplitSpec> specs(size, SplitSpec{separator, DataType::String});
    std::vector<TString> result;
    GenerateSplitCalcsUsingSplitFunc(fieldExpression, specs, result, fromEnd);
    return result;
}
