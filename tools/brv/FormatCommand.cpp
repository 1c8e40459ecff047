#include "FormatCommand.h"

#include "Console.h"
#include "CsvTable.h"
#include "CsvText.h"
#include "Interrupt.h"
#include "JsonText.h"
#include "NumericColumns.h"
#include "OrderedParallel.h"
#include "OutputForm.h"
#include "Text.h"
#include "TimeAxis.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/string/CustomFormat.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

using Json = nlohmann::ordered_json;

namespace
{

std::optional<bool> ParseBoolean(std::string_view text)
{
    const TString lower = TString::FromUTF8(text).ToLower();
    if (lower == u"true")
        return true;
    return lower == u"false" ? std::optional(false) : std::nullopt;
}

// What a value looks like: the data type of a format that says nothing itself.
DataType TypeOf(std::string_view value)
{
    if (TString::FromUTF8(value).ToDouble())
        return DataType::Real;
    if (ParseBoolean(value))
        return DataType::Boolean;
    return ParseDate(value) ? DataType::DateTime : DataType::Real;
}

// What formats render, by the type that CustomFormat::GetKind() tells.
struct Kind
{
    DataType type;
    const char* name;
    const char* refusal;   // "'abc' ..."
};

constexpr std::array kKinds = {
    Kind{DataType::Real, "number", "is not a number"},
    Kind{DataType::Boolean, "boolean", "is neither true nor false"},
    Kind{DataType::DateTime, "date", "is not a date"},
};

// A compiled format, and how values of its kind are written on a command line and in a file.
class ValueFormat
{
public:
    // `firstValue` decides for a format that fits every kind, such as an empty one.
    ValueFormat(const FormatOptions& options, std::string_view firstValue) : m_format(TypeOf(firstValue))
    {
        if (m_format.Parse(TString::FromUTF8(options.format), options.locale) != 0)
            throw UsageError("the format " + Quoted(options.format) + " is too long or has too many parts");
    }

    // The value as the format shows it; nothing for a text that is no value of its kind.
    std::optional<std::string> Render(std::string_view value) const
    {
        if (m_format.GetKind() == DataType::Boolean)
            return Formatted(ParseBoolean(value));
        if (m_format.GetKind() == DataType::DateTime)
            return Formatted(ParseDate(value));
        const TString text = TString::FromUTF8(value);
        const std::optional<std::int64_t> whole = text.ToInt();
        if (whole && *whole != 0)   // a zero may have a sign
            return m_format.Format(static_cast<long long>(*whole)).ToUTF8();
        return Formatted(text.ToDouble());
    }

    const Kind& GetKind() const
    {
        const auto isOurs = [this](const Kind& kind) { return kind.type == m_format.GetKind(); };
        return *std::find_if(kKinds.begin(), kKinds.end(), isOurs);   // a compiled format has one of them
    }

private:
    template <class Value> std::optional<std::string> Formatted(const std::optional<Value>& value) const
    {
        return value ? std::optional(m_format.Format(*value).ToUTF8()) : std::nullopt;
    }

    CustomFormat m_format;
};

Json JsonHead(const FormatOptions& options, const ValueFormat& format)
{
    const TString tag = TagFromLocaleIdentifier(options.locale);
    return {{"format", JsonText(options.format)}, {"locale", tag.IsEmpty() ? Json() : JsonText(tag.ToUTF8())},
        {"kind", format.GetKind().name}};
}

std::string ValuesAsCsv(const std::vector<std::string>& values, const std::vector<std::string>& texts)
{
    std::string csv = CsvLine({"value", "text"});
    for (std::size_t i = 0; i < values.size(); ++i)
        csv += CsvLine({values[i], texts[i]});
    return csv;
}

Json ValuesAsJson(const std::vector<std::string>& values, const std::vector<std::string>& texts)
{
    Json json = Json::array();
    for (std::size_t i = 0; i < values.size(); ++i)
        json.push_back({{"value", JsonText(values[i])}, {"text", JsonText(texts[i])}});
    return json;
}

std::string FormatValues(const FormatOptions& options)
{
    const ValueFormat format(options, options.values.front());
    std::vector<std::string> texts;
    texts.reserve(options.values.size());
    for (const std::string& value : options.values)
    {
        std::optional<std::string> text = format.Render(value);
        if (!text)
            throw UsageError(Quoted(value) + " " + format.GetKind().refusal);
        texts.push_back(std::move(*text));
    }
    return InForm(
        options.output, [&] { return Join(texts, "\n") + "\n"; }, [&] { return ValuesAsCsv(options.values, texts); },
        [&]
        {
            Json json = JsonHead(options, format);
            json["values"] = ValuesAsJson(options.values, texts);
            return DumpJson(json) + "\n";
        });
}

// A column of a file, row by row.
class ColumnFormatter
{
public:
    ColumnFormatter(CsvTable table, const FormatOptions& options)
        : m_options(options), m_table(std::move(table)), m_column(m_table.FindColumn(options.column)),
          m_format(options, FirstValue())
    {
        m_texts.reserve(m_table.rows.size());
        for (const CsvTable::Row& row : m_table.rows)
        {
            if (IsInterrupted())
                throw CancelledException();
            m_texts.push_back(Text(row));
        }
    }

    std::string Write() const
    {
        return InForm(
            m_options.output, [&] { return Join(m_texts, "\n") + "\n"; }, [&] { return ToCsv(); },
            [&] { return ToJson(); });
    }
    const std::vector<int>& MissingLines() const { return m_missingLines; }

private:
    std::string_view FirstValue() const
    {
        if (m_table.rows.empty())
            throw DataError(m_table.headerLine, "there are no rows below the header");
        for (const CsvTable::Row& row : m_table.rows)
            if (!IsMissing(row.cells[m_column]))
                return row.cells[m_column];
        throw NoValues(m_table, m_column);
    }

    std::string Text(const CsvTable::Row& row)
    {
        const std::string& cell = row.cells[m_column];
        if (IsMissing(cell))
        {
            m_missingLines.push_back(row.line);
            return {};
        }
        std::optional<std::string> text = m_format.Render(cell);
        if (!text)
            throw DataError(row.line,
                Quoted(cell) + " in column " + Quoted(m_table.header[m_column]) + " " + m_format.GetKind().refusal);
        return std::move(*text);
    }

    std::string ToCsv() const
    {
        std::vector<std::string> header = m_table.header;
        header.push_back(UniqueName(header, header[m_column] + "_text"));
        std::string text = CsvLine(header);
        for (std::size_t i = 0; i < m_texts.size(); ++i)
        {
            std::vector<std::string> cells = m_table.rows[i].cells;
            cells.push_back(m_texts[i]);
            text += CsvLine(cells);
        }
        return text;
    }

    std::string ToJson() const
    {
        Json json = JsonHead(m_options, m_format);
        json["file"] = JsonText(m_table.file);
        json["column"] = JsonText(m_table.header[m_column]);
        json["missing_lines"] = m_missingLines;
        Json rows = Json::array();
        for (std::size_t i = 0; i < m_texts.size(); ++i)
            if (const CsvTable::Row& row = m_table.rows[i]; !IsMissing(row.cells[m_column]))
                rows.push_back(
                    {{"line", row.line}, {"value", JsonText(row.cells[m_column])}, {"text", JsonText(m_texts[i])}});
        json["rows"] = std::move(rows);
        return DumpJson(json) + "\n";
    }

    const FormatOptions& m_options;
    CsvTable m_table;
    std::size_t m_column;
    ValueFormat m_format;
    std::vector<std::string> m_texts;   // by row; empty: missing
    std::vector<int> m_missingLines;
};

}   // namespace

ExitCode RunCommand(const FormatOptions& options)
{
    if (options.column.empty())
    {
        Console::Print(FormatValues(options));
        return ExitCode::Success;
    }
    const std::string bytes = ReadInput(options.file);
    const std::string name = InputName(options.file);
    std::string text;
    std::vector<int> missingLines;
    RunWatched("formatting " + name,
        [&]
        {
            const ColumnFormatter formatter(ParseCsv(bytes, name), options);
            text = formatter.Write();
            missingLines = formatter.MissingLines();
        });
    Console::Print(text);
    if (!missingLines.empty())
        Console::ComplainAbout(name, LeftOutNote(missingLines, "a missing cell", "left empty"));
    return ExitCode::Success;
}
