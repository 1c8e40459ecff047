#include "SolveCommand.h"

#include "Console.h"
#include "CsvTable.h"
#include "CsvText.h"
#include "JsonText.h"
#include "NumericColumns.h"
#include "OrderedParallel.h"
#include "OutputForm.h"
#include "Text.h"
#include "TextTable.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <algorithm>
#include <cmath>

using LinearAlgebra::Matrix;

namespace
{

// A file of numbers.
struct NumberTable
{
    std::string file;
    std::vector<std::string> names;   // by column
    std::vector<int> lines;           // by row
    Matrix values;                    // NaN: missing
};

struct Equations
{
    NumberTable a;
    NumberTable b;
    std::vector<int> missingLines;   // of A; rows that either file makes incomplete, left out of both
};

struct Solution
{
    std::uint64_t rank = 0;
    std::vector<bool> isDependent;   // by column of A
    Matrix unknowns;                 // columns of A x columns of B
    std::vector<double> residualNorms;
};

bool IsNumbersOnly(const std::vector<std::string>& cells)
{
    const auto isNumber = [](const std::string& cell) { return ParseNumber(cell).has_value(); };
    return std::any_of(cells.begin(), cells.end(), isNumber) &&
           std::all_of(cells.begin(), cells.end(), [&](const auto& cell) { return IsMissing(cell) || isNumber(cell); });
}

// The first line as a row like the others, and names by number in its place.
void DemoteHeader(CsvTable& table, const std::string& prefix)
{
    table.rows.insert(table.rows.begin(), {table.headerLine, table.header});
    for (std::size_t c = 0; c < table.header.size(); ++c)
        table.header[c] = prefix + std::to_string(c + 1);
}

NumberTable ReadNumberTable(
    const std::string& bytes, const std::string& file, HeaderLine header, const std::string& prefix)
{
    try
    {
        CsvTable table = ParseCsv(bytes, file);
        if (header == HeaderLine::Absent || (header == HeaderLine::Detect && IsNumbersOnly(table.header)))
            DemoteHeader(table, prefix);
        if (table.rows.empty())
            throw DataError(table.headerLine, "there are no rows below the header");
        NumberTable result{file, table.header, {}, Matrix(table.rows.size(), table.header.size())};
        for (const CsvTable::Row& row : table.rows)
            result.lines.push_back(row.line);
        for (std::size_t c = 0; c < table.header.size(); ++c)
        {
            const std::vector<double> numbers = ReadNumbers(table, c);
            std::copy(numbers.begin(), numbers.end(), result.values.GetColumnData(c));
        }
        return result;
    }
    catch (const DataError& error)
    {
        throw DataError(error.GetLine(), error.what(), file);
    }
}

bool IsComplete(const NumberTable& table, std::size_t row)
{
    for (std::size_t c = 0; c < table.names.size(); ++c)
        if (std::isnan(table.values(row, c)))
            return false;
    return true;
}

// Moves the rows without missing cells together at the top.
void KeepRows(NumberTable& table, const std::vector<std::size_t>& rows)
{
    for (std::size_t c = 0; c < table.names.size(); ++c)
        for (std::size_t i = 0; i < rows.size(); ++i)
            table.values(i, c) = table.values(rows[i], c);
    table.values.SetSize(rows.size(), table.names.size());
}

void DropIncompleteRows(Equations& equations)
{
    const std::size_t rows = equations.a.lines.size();
    if (equations.b.lines.size() != rows)
        throw DataError(0, std::to_string(rows) + " rows, but " + equations.b.file + " has " +
                               std::to_string(equations.b.lines.size()) + "; a right-hand side needs a row for each");
    std::vector<std::size_t> complete;
    for (std::size_t row = 0; row < rows; ++row)
        if (IsComplete(equations.a, row) && IsComplete(equations.b, row))
            complete.push_back(row);
        else
            equations.missingLines.push_back(equations.a.lines[row]);
    if (complete.empty())
        throw DataError(0, "each row has a missing cell here or in " + equations.b.file);
    KeepRows(equations.a, complete);
    KeepRows(equations.b, complete);
}

double Norm(const double* values, std::size_t count)
{
    double norm = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        norm = std::hypot(norm, values[i]);
    return norm;
}

// The power of two at or below the norm; 0 of a column of zeros. No square over- or underflows.
int NormExponent(const double* values, std::size_t count)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        largest = std::max(largest, std::abs(values[i]));
    if (largest == 0.0)
        return 0;
    const int exponent = std::ilogb(largest);
    double norm = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        norm = std::hypot(norm, std::ldexp(values[i], -exponent));
    return exponent + std::ilogb(norm);
}

Solution Solve(const Equations& equations)
{
    // The decomposition takes what is below an absolute bound for nothing, so the unit of a column must not matter. Powers
    // of two keep the bits.
    Matrix scaled = equations.a.values;
    std::vector<int> exponents(scaled.GetNumCols());
    for (std::size_t c = 0; c < exponents.size(); ++c)
    {
        double* const column = scaled.GetColumnData(c);
        exponents[c] = NormExponent(column, scaled.GetNumRows());
        std::transform(column, column + scaled.GetNumRows(), column,
            [exponent = exponents[c]](double x) { return std::ldexp(x, -exponent); });
    }
    const LinearAlgebra::QRDecomposition qr(scaled);
    Solution solution;
    solution.rank = qr.GetRank();
    solution.isDependent.assign(equations.a.names.size(), false);
    for (std::size_t i = solution.rank; i < qr.GetPermutation().size(); ++i)
        solution.isDependent[qr.GetPermutation()[i]] = true;
    solution.unknowns = qr.Solve(equations.b.values);
    for (std::size_t r = 0; r < exponents.size(); ++r)
        for (std::size_t c = 0; c < equations.b.names.size(); ++c)
            solution.unknowns(r, c) = std::ldexp(solution.unknowns(r, c), -exponents[r]);

    Matrix residuals;
    Matrix::Multiply(residuals, equations.a.values, solution.unknowns);
    residuals.Subtract(equations.b.values);
    for (std::size_t c = 0; c < equations.b.names.size(); ++c)
    {
        solution.residualNorms.push_back(Norm(residuals.GetColumnData(c), residuals.GetNumRows()));
        if (!std::isfinite(solution.residualNorms.back()))
            throw DataError(0, "the numbers are too large to solve for");
    }
    return solution;
}

std::string ToTable(const Equations& equations, const Solution& solution)
{
    constexpr int kDigits = 8;
    std::string text = LabelledLine("Equations", std::to_string(equations.a.values.GetNumRows()));
    text += LabelledLine("Unknowns", std::to_string(equations.a.names.size()));
    text += LabelledLine("Rank", std::to_string(solution.rank));
    std::vector<std::string> header = {""};
    header.insert(header.end(), equations.b.names.begin(), equations.b.names.end());
    TextTable table(std::move(header));
    for (std::size_t r = 0; r < equations.a.names.size(); ++r)
    {
        std::vector<std::string> row = {equations.a.names[r] + (solution.isDependent[r] ? " (dependent)" : "")};
        for (std::size_t c = 0; c < equations.b.names.size(); ++c)
            row.push_back(SignificantNumber(solution.unknowns(r, c), kDigits));
        table.Add(std::move(row));
    }
    TextTable norms({"right-hand side", "residual norm"});   // an unknown may bear any name
    for (std::size_t c = 0; c < equations.b.names.size(); ++c)
        norms.Add({equations.b.names[c], SignificantNumber(solution.residualNorms[c], kDigits)});
    return text + "\n" + table.ToText() + "\n" + norms.ToText();
}

// The rank and the norm repeat on the line of every unknown.
std::string ToCsv(const Equations& equations, const Solution& solution)
{
    std::string text = CsvLine({"right_hand_side", "unknown", "dependent", "value", "rank", "residual_norm"});
    for (std::size_t c = 0; c < equations.b.names.size(); ++c)
        for (std::size_t r = 0; r < equations.a.names.size(); ++r)
            text += CsvLine({equations.b.names[c], equations.a.names[r], solution.isDependent[r] ? "yes" : "no",
                ExactNumber(solution.unknowns(r, c)), std::to_string(solution.rank),
                ExactNumber(solution.residualNorms[c])});
    return text;
}

std::string ToJson(const Equations& equations, const Solution& solution)
{
    using Json = nlohmann::ordered_json;
    Json unknowns = Json::array();
    for (std::size_t r = 0; r < equations.a.names.size(); ++r)
        unknowns.push_back(
            {{"unknown", JsonText(equations.a.names[r])}, {"dependent", static_cast<bool>(solution.isDependent[r])}});
    Json solutions = Json::array();
    for (std::size_t c = 0; c < equations.b.names.size(); ++c)
    {
        Json values = Json::array();
        for (std::size_t r = 0; r < equations.a.names.size(); ++r)
            values.push_back(JsonNumber(solution.unknowns(r, c)));
        solutions.push_back({{"right_hand_side", JsonText(equations.b.names[c])}, {"values", std::move(values)},
            {"residual_norm", JsonNumber(solution.residualNorms[c])}});
    }
    const Json json = {{"a", JsonText(equations.a.file)}, {"b", JsonText(equations.b.file)},
        {"equations", equations.a.values.GetNumRows()}, {"missing_lines", equations.missingLines},
        {"rank", solution.rank}, {"unknowns", std::move(unknowns)}, {"solutions", std::move(solutions)}};
    return DumpJson(json) + "\n";
}

void PrintNotes(const Equations& equations, const Solution& solution)
{
    const std::string& file = equations.a.file;
    if (!equations.missingLines.empty())
        Console::ComplainAbout(file, LeftOutNote(equations.missingLines, "a missing cell", "left out of both files"));
    std::vector<std::string> dependent;
    for (std::size_t c = 0; c < equations.a.names.size(); ++c)
        if (solution.isDependent[c])
            dependent.push_back(Quoted(equations.a.names[c]));
    if (!dependent.empty())
        Console::ComplainAbout(
            file, "the rank is " + std::to_string(solution.rank) + " of " + std::to_string(equations.a.names.size()) +
                      (dependent.size() == 1
                              ? "; less than 1e-7 of this column remains beside the others, and it gets 0: "
                              : "; less than 1e-7 of these columns remains beside the others, and they get 0: ") +
                      Join(dependent, ", "));
}

}   // namespace

ExitCode RunCommand(const SolveOptions& options)
{
    if (options.file == "-" && options.rightHandSides == "-")
        throw UsageError("only one of the two files can be the standard input");
    const std::string aBytes = ReadInput(options.file);
    const std::string bName = InputName(options.rightHandSides);
    std::string bBytes;
    try
    {
        bBytes = ReadInput(options.rightHandSides);
    }
    catch (const DataError& error)
    {
        throw DataError(error.GetLine(), error.what(), bName);
    }

    Equations equations;
    Solution solution;
    RunWatched("reading",
        [&]
        {
            equations.a = ReadNumberTable(aBytes, InputName(options.file), options.header, "x");
            equations.b = ReadNumberTable(bBytes, bName, options.header, "b");
            DropIncompleteRows(equations);
        });
    RunWatched("solving for " + Counted(equations.a.names.size(), "unknown"), [&] { solution = Solve(equations); });
    Console::Print(InForm(
        options.output, [&] { return ToTable(equations, solution); }, [&] { return ToCsv(equations, solution); },
        [&] { return ToJson(equations, solution); }));
    PrintNotes(equations, solution);
    return ExitCode::Success;
}
