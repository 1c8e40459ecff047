#include "SplitRun.h"

#include "Failure.h"
#include "Interrupt.h"
#include "brvcore/data/StructureGovernor.h"
#include "brvcore/foundation/BrvErrors.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <set>

namespace
{

void ThrowIfInterrupted()
{
    if (IsInterrupted())
        throw CancelledException();
}

// Ctrl-C ends the inference.
class InterruptGovernor : public StructureGovernor
{
public:
    void ThrowIfCancelled() const override { ThrowIfInterrupted(); }
};

CsvTable ReadLines(std::string_view bytes, const std::string& file)
{
    CsvTable table;
    table.file = file;
    table.headerLine = 0;   // there is none
    table.header = {"value"};
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    for (int line = 1; !bytes.empty(); ++line)
    {
        ThrowIfInterrupted();
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        std::string_view text = bytes.substr(0, end);
        if (text.ends_with('\r'))
            text.remove_suffix(1);
        table.rows.push_back({line, {std::string(text)}});
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
    return table;
}

std::set<TString> DistinctValues(const TextColumn& column)
{
    std::set<TString> values;
    for (const auto& [value, count] : column.counts)
        values.insert(values.end(), value);
    return values;
}

// `used` is what the library kept of the inferred fields: it removes separators and never changes one. Of the fields with
// data, each has the next calculation, as far as there are any.
std::vector<SplitField> FollowFields(
    const std::vector<SplitSpec>& inferred, const std::vector<SplitSpec>& used, std::size_t calculations)
{
    std::vector<SplitField> fields;
    fields.reserve(inferred.size());
    auto next = used.begin();
    std::size_t count = 0;
    for (const SplitSpec& spec : inferred)
    {
        if (next == used.end() || next->separator != spec.separator)
        {
            fields.push_back({spec, /*isUsed*/ false, 0});
            continue;
        }
        const bool isCalculated = next->type != DataType::Unknown && count < calculations;
        fields.push_back({*next++, /*isUsed*/ true, isCalculated ? ++count : 0});
    }
    return fields;
}

}   // namespace

TextColumn ReadTextColumn(const std::string& bytes, const SplitOptions& options)
{
    TextColumn column;
    const std::string file = InputName(options.file);
    column.table = options.column.empty() ? ReadLines(bytes, file) : ParseCsv(bytes, file);
    column.column = options.column.empty() ? 0 : column.table.FindColumn(options.column);
    column.values.reserve(column.table.rows.size());
    for (const CsvTable::Row& row : column.table.rows)
    {
        ThrowIfInterrupted();
        const std::string& cell = row.cells[column.column];
        const bool isMissing = IsMissing(cell);
        column.values.push_back(isMissing ? TString() : TString::FromUTF8(cell));
        if (isMissing)
            column.missingLines.push_back(row.line);
        else
            ++column.counts[column.values.back()];
    }
    if (column.counts.empty())
        throw options.column.empty() ? DataError(0, "there are no values") : NoValues(column.table, column.column);
    return column;
}

std::vector<FieldValue> ColumnSplit::Cut(const TString& value) const
{
    std::vector<FieldValue> pieces;
    pieces.reserve(calculations.size());
    for (const SplitCalculation& calculation : calculations)
        pieces.push_back(calculation.formula.Evaluate(value));
    return pieces;
}

ColumnSplit SplitColumn(const TextColumn& column, const SplitOptions& options)
{
    ColumnSplit split;
    const TString expression = FieldExpression(TString::FromUTF8(column.Name()));
    std::vector<TString> texts;
    if (options.count > 0)
    {
        texts = GenerateCustomSplitCalcs(
            expression, TString::FromUTF8(options.separator), options.count, options.isFromEnd);
    }
    else
    {
        const std::vector<SplitSpec> inferred =
            GenerateSplitSpec(DistinctValues(column), InterruptGovernor(), /*withOnePunc*/ true);
        std::vector<SplitSpec> used = inferred;
        GenerateSplitCalcsUsingSplitFunc(expression, used, texts, /*fromEnd*/ false);
        split.fields = FollowFields(inferred, used, texts.size());
    }
    split.calculations.reserve(texts.size());
    for (const TString& text : texts)
        split.calculations.push_back({text, SplitFormula(text)});

    for (const auto& [value, count] : column.counts)
    {
        ThrowIfInterrupted();
        bool fits = !split.calculations.empty();
        for (SplitCalculation& calculation : split.calculations)
        {
            const bool yields = HasContent(calculation.formula.Evaluate(value));
            calculation.rows += yields ? count : 0;
            fits = fits && yields;
        }
        split.fittingRows += fits ? count : 0;
    }
    return split;
}

MatchCounts CountMatches(const TextColumn& column, const std::string& pattern)
{
    // The library counts values; values with the same number of rows are counted together.
    std::map<std::size_t, std::set<TString>> valuesByCount;
    for (const auto& [value, count] : column.counts)
        valuesByCount[count].insert(value);
    MatchCounts matches;
    try
    {
        for (const auto& [count, values] : valuesByCount)
        {
            ThrowIfInterrupted();
            const std::size_t matching = CountSplitRegExpMatches(TString::FromUTF8(pattern), values);
            matches.values += matching;
            matches.rows += matching * count;
        }
    }
    catch (const LogicException& error)
    {
        const std::uint32_t code = error.GetError().GetCode();
        const std::string reason = error.what();
        if (code != BrvErrorsError::Site_0xB21FCE6B::kCode && code != BrvErrorsError::Site_0x33E53DA5::kCode)
            throw;
        const bool isMemory = reason.ends_with("U_REGEX_STACK_OVERFLOW");
        throw UsageError("--match " + Quoted(pattern) + ": " +
                         (isMemory ? "it needs too much memory for a value: U_REGEX_STACK_OVERFLOW" : reason));
    }
    return matches;
}
