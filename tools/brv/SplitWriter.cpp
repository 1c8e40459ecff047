#include "SplitWriter.h"

#include "CsvText.h"
#include "Failure.h"
#include "JsonText.h"
#include "OutputForm.h"
#include "Text.h"
#include "TextTable.h"

#include <algorithm>
#include <iterator>

using Json = nlohmann::ordered_json;

namespace
{

constexpr std::size_t kPreviewRows = 10;

// Null for a field without data.
const char* TypeName(DataType type)
{
    switch (type)
    {
    case DataType::Integer:
        return "integer";
    case DataType::Real:
        return "real";
    case DataType::String:
        return "string";
    default:
        return nullptr;   // no data before the separator
    }
}

std::string FieldText(const FieldValue& value)
{
    if (const auto* text = std::get_if<TString>(&value))
        return text->ToUTF8();
    if (const auto* whole = std::get_if<std::int64_t>(&value))
        return std::to_string(*whole);
    const auto* number = std::get_if<double>(&value);
    return number != nullptr ? ExactNumber(*number) : "";
}

Json FieldJson(const FieldValue& value)
{
    if (const auto* text = std::get_if<TString>(&value))
        return JsonText(text->ToUTF8());
    if (const auto* whole = std::get_if<std::int64_t>(&value))
        return *whole;
    const auto* number = std::get_if<double>(&value);
    return number != nullptr ? JsonNumber(*number) : Json();
}

// Of bounded length and without control characters, whatever it holds.
std::string CellText(const std::string& text)
{
    const std::string quoted = Quoted(text);
    return quoted.substr(1, quoted.size() - 2);
}

std::string Heading(const TextColumn& column)
{
    return LabelledLine("Column", CellText(column.Name()) + " of " + column.table.file) +
           LabelledLine("Rows", std::to_string(column.values.size()) + ": " + std::to_string(column.PresentRows()) +
                                    " with a value, " + std::to_string(column.missingLines.size()) + " missing") +
           LabelledLine("Distinct", std::to_string(column.counts.size()));
}

std::string OrDash(const char* text)
{
    return text != nullptr ? text : "-";
}

std::string Fields(const std::vector<SplitField>& fields)
{
    TextTable table({"field", "type", "ends with", "calculation"});
    table.AlignLeft(1);
    table.AlignLeft(2);
    table.AlignLeft(3);
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        const SplitField& field = fields[i];
        const std::string number = field.calculation > 0 ? std::to_string(field.calculation) : "-";
        table.Add({std::to_string(i + 1), OrDash(TypeName(field.spec.type)),
            field.spec.separator.IsEmpty() ? "the text" : Quoted(field.spec.separator.ToUTF8()),
            field.isUsed ? number : "white space, not used"});
    }
    return table.ToText();
}

// Unused fields in front of that of a calculation are part of what it takes: white space stands inside.
std::size_t UnusedBefore(const std::vector<SplitField>& fields, std::size_t calculation)
{
    const auto isIts = [calculation](const SplitField& field) { return field.calculation == calculation; };
    const auto its = std::make_reverse_iterator(std::find_if(fields.begin(), fields.end(), isIts));
    const auto used = std::find_if(its, fields.rend(), [](const SplitField& field) { return field.isUsed; });
    return static_cast<std::size_t>(used - its);
}

Json FieldAsJson(const SplitField& field)
{
    const char* type = TypeName(field.spec.type);
    return {{"separator", JsonText(field.spec.separator.ToUTF8())}, {"type", type != nullptr ? Json(type) : Json()},
        {"used", field.isUsed}, {"calculation", field.calculation > 0 ? Json(field.calculation) : Json()}};
}

std::string Preview(const TextColumn& column, const ColumnSplit& split)
{
    std::vector<std::string> header = {CellText(column.Name())};
    for (std::size_t i = 0; i < split.calculations.size(); ++i)
        header.push_back(std::to_string(i + 1));
    TextTable table(std::move(header));
    for (std::size_t i = 0; i < split.calculations.size(); ++i)
        if (!split.calculations[i].formula.IsNumber())
            table.AlignLeft(i + 1);
    std::size_t shown = 0;
    for (std::size_t row = 0; row < column.values.size() && shown < kPreviewRows; ++row)
    {
        if (column.values[row].IsEmpty())
            continue;
        std::vector<std::string> cells = {CellText(column.values[row].ToUTF8())};
        for (const FieldValue& field : split.Cut(column.values[row]))
            cells.push_back(CellText(FieldText(field)));
        table.Add(std::move(cells));
        ++shown;
    }
    return table.ToText();
}

}   // namespace

std::string SplitAsTable(const TextColumn& column, const ColumnSplit& split, const SplitOptions& options)
{
    std::string text = Heading(column);
    const char* alone = column.counts.size() == 1 ? "; one distinct value shows none" : "";
    if (split.calculations.empty())
        return text + LabelledLine("Fields", std::string("none: no common structure was found") + alone);
    if (options.count > 0)
        text += LabelledLine("Separator", Quoted(options.separator) + (options.isFromEnd ? ", from the end" : ""));
    else
        text.append("\n").append(Fields(split.fields));
    text += "\n";
    for (std::size_t i = 0; i < split.calculations.size(); ++i)
        text += LabelledLine("Calculation " + std::to_string(i + 1), split.calculations[i].text.ToUTF8());
    text.append("\n").append(Preview(column, split)).append("\n");
    return text + LabelledLine("Fit", std::to_string(split.fittingRows) + " of " +
                                          Counted(column.PresentRows(), "row") + ": every calculation yields a value");
}

std::string SplitAsCsv(const TextColumn& column, const ColumnSplit& split)
{
    std::vector<std::string> header = column.table.header;
    for (std::size_t i = 0; i < split.calculations.size(); ++i)
        header.push_back(UniqueName(header, column.Name() + "_" + std::to_string(i + 1)));
    std::string text = CsvLine(header);
    for (std::size_t row = 0; row < column.values.size(); ++row)
    {
        std::vector<std::string> cells = column.table.rows[row].cells;
        if (column.values[row].IsEmpty())
            cells.resize(header.size());
        else
            for (const FieldValue& field : split.Cut(column.values[row]))
                cells.push_back(FieldText(field));
        text += CsvLine(cells);
    }
    return text;
}

std::string SplitAsJson(const TextColumn& column, const ColumnSplit& split, const SplitOptions& options)
{
    Json json = {{"file", JsonText(column.table.file)}, {"column", JsonText(column.Name())},
        {"missing_lines", column.missingLines}, {"distinct", column.counts.size()}};
    if (options.count > 0)
    {
        json["separator"] = JsonText(options.separator);
        json["from_end"] = options.isFromEnd;
    }
    else
    {
        Json fields = Json::array();
        for (const SplitField& field : split.fields)
            fields.push_back(FieldAsJson(field));
        json["fields"] = std::move(fields);
    }
    Json calculations = Json::array();
    for (const SplitCalculation& calculation : split.calculations)
        calculations.push_back(JsonText(calculation.text.ToUTF8()));
    json["calculations"] = std::move(calculations);
    json["fitting_rows"] = split.fittingRows;
    Json rows = Json::array();
    for (std::size_t row = 0; row < column.values.size(); ++row)
    {
        if (column.values[row].IsEmpty())
            continue;
        Json fields = Json::array();
        for (const FieldValue& field : split.Cut(column.values[row]))
            fields.push_back(FieldJson(field));
        rows.push_back({{"line", column.table.rows[row].line}, {"value", JsonText(column.values[row].ToUTF8())},
            {"fields", std::move(fields)}});
    }
    json["rows"] = std::move(rows);
    return DumpJson(json) + "\n";
}

std::vector<std::string> MisfitNotes(const TextColumn& column, const ColumnSplit& split)
{
    std::vector<std::string> notes;
    const std::size_t rows = column.PresentRows();
    if (split.calculations.empty() || 2 * split.fittingRows >= rows)
        return notes;
    for (std::size_t i = 0; i < split.calculations.size(); ++i)
    {
        const SplitCalculation& calculation = split.calculations[i];
        if (calculation.rows == rows)
            continue;
        const bool hasSpaces = calculation.formula.IsNumber() && UnusedBefore(split.fields, i + 1) > 0;
        notes.push_back("calculation " + std::to_string(i + 1) + " yields nothing for " +
                        std::to_string(rows - calculation.rows) + " of " + Counted(rows, "row") +
                        (hasSpaces ? ": beside other separators white space is not split at, so that what it takes is "
                                     "no number"
                                   : ""));
    }
    return notes;
}

std::string WriteMatches(const TextColumn& column, const MatchCounts& matches, const SplitOptions& options)
{
    const std::size_t distinct = column.counts.size();
    const std::size_t rows = column.PresentRows();
    const auto asTable = [&]
    {
        return Heading(column) + LabelledLine("Pattern", CellText(options.pattern)) +
               LabelledLine("Matching", std::to_string(matches.values) + " of " + Counted(distinct, "distinct value") +
                                            ", " + std::to_string(matches.rows) + " of " + Counted(rows, "row"));
    };
    const auto asCsv = [&]
    {
        return CsvLine({"column", "pattern", "distinct", "matching_distinct", "rows", "matching_rows"}) +
               CsvLine({column.Name(), options.pattern, std::to_string(distinct), std::to_string(matches.values),
                   std::to_string(rows), std::to_string(matches.rows)});
    };
    const auto asJson = [&]
    {
        return DumpJson({{"file", JsonText(column.table.file)}, {"column", JsonText(column.Name())},
                   {"pattern", JsonText(options.pattern)}, {"missing_lines", column.missingLines},
                   {"distinct", distinct}, {"matching_distinct", matches.values}, {"rows", rows},
                   {"matching_rows", matches.rows}}) +
               "\n";
    };
    return InForm(options.output, asTable, asCsv, asJson);
}
