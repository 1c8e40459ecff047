#pragma once

#include <fstream>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// A row of a file under tests/data: a name and numbers. "NA" is a missing number.
struct ReferenceRow
{
    std::string name;
    std::vector<double> numbers;
};

// Reads the rows below the first line, which says where they come from. Numbers are read in the C locale.
inline std::vector<ReferenceRow> ReadReference(const std::string& file)
{
    std::ifstream in(std::string(BRV_TEST_DATA_DIR "/") + file);
    std::string line;
    if (!std::getline(in, line))
        throw std::runtime_error("cannot read tests/data/" + file);
    std::vector<ReferenceRow> rows;
    while (std::getline(in, line))
    {
        std::istringstream fields(line);
        ReferenceRow row;
        std::getline(fields, row.name, ',');
        for (std::string field; std::getline(fields, field, ',');)
        {
            double number = std::numeric_limits<double>::quiet_NaN();
            std::istringstream text(field);
            text.imbue(std::locale::classic());
            if (field != "NA" && !(text >> number))
                throw std::runtime_error("not a number in tests/data/" + file + ": " + line);
            row.numbers.push_back(number);
        }
        rows.push_back(row);
    }
    return rows;
}

// The first number of every row with this name.
inline std::vector<double> ReferenceColumn(const std::vector<ReferenceRow>& rows, const std::string& name)
{
    std::vector<double> values;
    for (const ReferenceRow& row : rows)
        if (row.name == name)
            values.push_back(row.numbers.at(0));
    return values;
}
