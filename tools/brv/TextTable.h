#pragma once

#include <string>
#include <vector>

// Text in columns of equal width: the first one aligned left, the others, which hold numbers, right.
class TextTable
{
public:
    explicit TextTable(std::vector<std::string> header) : m_rows{std::move(header)} {}

    void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
    // The header, a rule, and the rows, each with a line end.
    std::string ToText() const;

private:
    std::vector<std::vector<std::string>> m_rows;
};
