#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A line of a report: the label, padded to a common width, and what it stands for. Control characters come out as \xNN.
std::string LabelledLine(std::string_view label, std::string_view content);

// Text in columns of equal width: the first one aligned left, the others, which hold numbers, right. Control characters
// come out as \xNN.
class TextTable
{
public:
    explicit TextTable(std::vector<std::string> header) : m_isLeft(header.size(), false), m_rows{std::move(header)}
    {
        m_isLeft.front() = true;
    }

    // For another column of text.
    void AlignLeft(std::size_t column) { m_isLeft.at(column) = true; }

    void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
    // The header, a rule, and the rows, each with a line end.
    std::string ToText() const;

private:
    std::vector<bool> m_isLeft;   // by column
    std::vector<std::vector<std::string>> m_rows;
};
