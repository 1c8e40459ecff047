#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// Columns of distinct values as they occur in tables, made up from a fixed seed.
namespace SplitColumns
{
using Random = std::mt19937;

inline std::string Word(Random& random, std::size_t shortest, std::size_t longest)
{
    std::string word(shortest + random() % (longest - shortest + 1), ' ');
    for (char& c : word)
        c = static_cast<char>('a' + random() % 26);
    return word;
}

inline std::string Digits(Random& random, std::size_t count)
{
    std::string digits(count, ' ');
    for (char& c : digits)
        c = static_cast<char>('0' + random() % 10);
    return digits;
}

inline std::string Hex(Random& random, std::size_t count)
{
    std::string digits(count, ' ');
    for (char& c : digits)
        c = "0123456789abcdef"[random() % 16];
    return digits;
}

// Pieces are made from left to right.
inline std::string Join(std::initializer_list<std::string> pieces)
{
    std::string text;
    for (const std::string& piece : pieces)
        text += piece;
    return text;
}

inline std::string Phone(Random& r)
{
    return Join({"(", Digits(r, 3), ") ", Digits(r, 3), "-", Digits(r, 4)});
}

inline std::string Code(Random& r)
{
    return Join({Word(r, 2, 2), "-", Digits(r, 4), "-", Digits(r, 3), Word(r, 1, 1)});
}

inline std::string Email(Random& r)
{
    return Join({Word(r, 3, 9), ".", Word(r, 3, 10), r() % 2 == 0 ? Digits(r, 1 + r() % 4) : std::string(), "@",
        Word(r, 4, 10), r() % 2 == 0 ? ".com" : ".org"});
}

inline std::string Price(Random& r)
{
    return Join({"$", std::to_string(1 + r() % 999), ",", Digits(r, 3), ".", Digits(r, 2)});
}

inline std::string Address4(Random& r)
{
    const auto byte = [&r] { return std::to_string(r() % 256); };
    return Join({byte(), ".", byte(), ".", byte(), ".", byte()});
}

inline std::string Url(Random& r)
{
    return Join({"https://www.", Word(r, 4, 12), r() % 2 == 0 ? ".com/" : ".org/", Word(r, 3, 10), "/", Word(r, 3, 10),
        "-", Word(r, 3, 8), "?id=", std::to_string(r() % 100000)});
}

inline std::string DateTime(Random& r)
{
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", static_cast<int>(1990 + r() % 40),
        static_cast<int>(1 + r() % 12), static_cast<int>(1 + r() % 28), static_cast<int>(r() % 24),
        static_cast<int>(r() % 60), static_cast<int>(r() % 60));
    return text;
}

inline std::string Mac(Random& r)
{
    std::string text = Hex(r, 2);
    for (int i = 0; i < 5; ++i)
        text.append(":").append(Hex(r, 2));
    return text;
}

inline std::string Uuid(Random& r)
{
    return Join({Hex(r, 8), "-", Hex(r, 4), "-4", Hex(r, 3), "-", Hex(r, 4), "-", Hex(r, 12)});
}

inline std::string LongRow(Random& r)
{
    std::string text = Word(r, 2, 8);
    for (int i = 0; i < 14; ++i)
        text.append(", ").append(r() % 2 == 0 ? Word(r, 2, 8) : Digits(r, 1 + r() % 5));
    return text;
}

// Ten numbers with commas: every number and every comma has two readings.
inline std::string Numbers(Random& r)
{
    std::string text = Digits(r, 1 + r() % 3);
    for (int i = 0; i < 9; ++i)
        text.append(",").append(Digits(r, 1 + r() % 3));
    return text;
}

inline std::set<std::u16string> Column(const std::function<std::string(Random&)>& make, std::size_t count)
{
    Random random(1);
    std::set<std::u16string> values;
    while (values.size() < count)
    {
        const std::string text = make(random);
        values.emplace(text.begin(), text.end());
    }
    return values;
}
}   // namespace SplitColumns
