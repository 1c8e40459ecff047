#include "TextTable.h"

#include "Text.h"

#include <algorithm>

std::string LabelledLine(std::string_view label, std::string_view content)
{
    constexpr std::size_t kLabelWidth = 16;
    std::string line = Printable(label);
    line.append(kLabelWidth - std::min(kLabelWidth, CharacterCount(line)), ' ');
    return line.append(Printable(content)).append("\n");
}

std::string TextTable::ToText() const
{
    constexpr std::size_t kGap = 2;
    std::vector<std::vector<std::string>> rows = m_rows;   // names come from the input, whatever that holds
    for (auto& row : rows)
        std::transform(row.begin(), row.end(), row.begin(), [](const std::string& cell) { return Printable(cell); });
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], CharacterCount(row[i]));

    std::string text;
    const auto addRow = [&](const std::vector<std::string>& row)
    {
        for (std::size_t i = 0; i < row.size(); ++i)
        {
            const std::string blanks(widths[i] - CharacterCount(row[i]), ' ');
            text += i == 0 ? "" : std::string(kGap, ' ');
            text += m_isLeft[i] ? row[i] + (row.size() > 1 ? blanks : "") : blanks + row[i];
        }
        text.erase(text.find_last_not_of(' ') + 1);   // behind a last cell that is empty
        text += '\n';
    };
    addRow(rows.front());
    std::size_t total = 0;
    for (std::size_t i = 0; i < widths.size(); ++i)
        total += widths[i] + (i == 0 ? 0 : kGap);
    text += std::string(total, '-') + '\n';
    std::for_each(rows.begin() + 1, rows.end(), addRow);
    return text;
}
