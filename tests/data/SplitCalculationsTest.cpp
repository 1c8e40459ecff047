#include "brvcore/data/SplitCalculations.h"

#include "brvcore/data/ICUDateFormatInspector.h"
#include "tests/support/LogicAssert.h"

#include <algorithm>
#include <array>
#include <climits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
constexpr auto I = DataType::Integer;
constexpr auto R = DataType::Real;
constexpr auto S = DataType::String;
constexpr auto U = DataType::Unknown;

constexpr std::size_t kLimit = 10;

using Specs = std::vector<SplitSpec>;

std::vector<std::string> ToUTF8(const std::vector<TString>& texts)
{
    std::vector<std::string> result;
    for (const TString& text : texts)
        result.push_back(text.ToUTF8());
    return result;
}

std::vector<std::string> Calculations(Specs specs, bool fromEnd = false, std::vector<TString> result = {})
{
    GenerateSplitCalcsUsingSplitFunc(u"[F]", specs, result, fromEnd);
    return ToUTF8(result);
}

std::string Text(const Specs& specs)
{
    std::string text;
    for (const SplitSpec& spec : specs)
        text.append("'")
            .append(spec.separator.ToUTF8())
            .append("'")
            .append(std::to_string(static_cast<int>(spec.type)))
            .append(" ");
    return text;
}

// The value of a calculation for one value of [F]: SPLIT counts pieces from 1, or from the end with -1.
class Evaluator
{
public:
    Evaluator(std::u16string calculation, TString field) : m_text(std::move(calculation)), m_field(std::move(field)) {}

    TString Evaluate()
    {
        const TString value = Expression();
        EXPECT_EQ(m_position, m_text.size());
        return value;
    }

private:
    TString Expression()
    {
        if (Take(u"[F]"))
            return m_field;
        for (const std::u16string_view wrapper : {u"TRIM( ", u"INT( ", u"FLOAT( "})
            if (Take(wrapper))
            {
                TString inner = Expression();
                EXPECT_TRUE(Take(u" )"));
                return inner.Trimmed();
            }
        EXPECT_TRUE(Take(u"SPLIT( "));
        const TString value = Expression();
        EXPECT_TRUE(Take(u", \""));
        const TString separator = Quoted();
        EXPECT_TRUE(Take(u", "));
        const std::size_t end = m_text.find(u" )", m_position);
        const auto index = TString(m_text.substr(m_position, end - m_position)).ToInt().value_or(0);
        m_position = end + 2;
        const std::vector<TString> pieces = value.Split(separator);
        const auto count = static_cast<std::int64_t>(pieces.size());
        const std::int64_t piece = index < 0 ? count + index : index - 1;
        return piece < 0 || piece >= count ? TString() : pieces[static_cast<std::size_t>(piece)];
    }

    // Behind the opening quote.
    TString Quoted()
    {
        TString text;
        while (m_position < m_text.size())
            if (Take(u"\"\""))
                text += u'"';
            else if (Take(u"\""))
                break;
            else
                text += m_text[m_position++];
        return text;
    }

    bool Take(std::u16string_view what)
    {
        if (std::u16string_view(m_text).substr(m_position, what.size()) != what)
            return false;
        m_position += what.size();
        return true;
    }

    std::u16string m_text;
    TString m_field;
    std::size_t m_position = 0;
};
}   // namespace

TEST(SplitCalculations, OneFieldIsQuotedNumberedTrimmedAndTyped)
{
    struct Row
    {
        const char16_t* separator;
        DataType type;
        int index;
        bool trim;
        bool fromEnd;
        const char* text;
    };
    for (const Row& row : {Row{u"-", I, 2, true, false, "INT( SPLIT( [F], \"-\", 2 ) )"},
             Row{u"-", I, 2, false, true, "INT( SPLIT( [F], \"-\", -2 ) )"},
             Row{u"-", R, 1, true, false, "FLOAT( SPLIT( [F], \"-\", 1 ) )"},
             Row{u"-", S, 1, true, false, "TRIM( SPLIT( [F], \"-\", 1 ) )"},
             Row{u"-", S, 1, false, true, "SPLIT( [F], \"-\", -1 )"},
             Row{u"-", DataType::Date, 1, true, false, "TRIM( SPLIT( [F], \"-\", 1 ) )"},
             Row{u"\"", S, 1, false, false, "SPLIT( [F], \"\"\"\", 1 )"},
             Row{u"a\"b\"\"c", S, 12345, false, false, "SPLIT( [F], \"a\"\"b\"\"\"\"c\", 12345 )"},
             Row{u"%1%3", S, 1, false, false, "SPLIT( [F], \"%1%3\", 1 )"},
             Row{u"'\\\n", S, 1, false, false, "SPLIT( [F], \"'\\\n\", 1 )"},
             Row{u"", S, 1, false, false, "SPLIT( [F], \"\", 1 )"}})
        EXPECT_EQ(
            GenerateOneSplitCalc(u"[F]", row.separator, row.type, row.index, row.trim, row.fromEnd).ToUTF8(), row.text);
    EXPECT_EQ(GenerateOneSplitCalc(u"IF [A %2] THEN \"%3\" END", u",", S, 1, false, false),
        u"SPLIT( IF [A %2] THEN \"%3\" END, \",\", 1 )");
}

TEST(SplitCalculations, OneSeparator)
{
    struct Row
    {
        Specs specs;
        std::vector<std::string> calculations;
        const char* why;
    };
    for (const Row& row : {
             Row{{}, {}, "nothing to split"},
             Row{{{u"-", I}, {u"", I}}, {"INT( SPLIT( [F], \"-\", 1 ) )", "INT( SPLIT( [F], \"-\", 2 ) )"},
                 "two numbers"},
             Row{{{u"-", R}}, {"FLOAT( SPLIT( [F], \"-\", 1 ) )"}, "nothing behind the last separator"},
             Row{{{u"(", U}, {u"(", I}, {u"(", U}, {u"", S}},
                 {"INT( SPLIT( [F], \"(\", 2 ) )", "TRIM( SPLIT( [F], \"(\", 4 ) )"},
                 "empty fields are counted and left out"},
             Row{{{u"ab", S}, {u"ab", U}}, {"TRIM( SPLIT( [F], \"ab\", 1 ) )"}, "an empty field ends the value"},
             Row{{{u"", S}}, {"TRIM( SPLIT( [F], \"\", 1 ) )"}, "no separator at all"},
         })
        EXPECT_EQ(Calculations(row.specs), row.calculations) << row.why;
}

TEST(SplitCalculations, OtherSeparatorsSplitAFieldAgain)
{
    const std::string first = "SPLIT( [F], \"/\", 1 )";
    const std::string second = "SPLIT( [F], \"/\", 2 )";
    const std::string third = "SPLIT( [F], \"/\", 3 )";
    const std::string second2 = "SPLIT( " + second + ", \"-\", 2 )";
    struct Row
    {
        Specs specs;
        std::vector<std::string> calculations;
        const char* why;
    };
    for (const Row& row : {
             Row{{{u"/", I}, {u"-", S}, {u"/", R}, {u"", I}},
                 {"INT( " + first + " )", "TRIM( SPLIT( " + second + ", \"-\", 1 ) )",
                     "FLOAT( SPLIT( " + second + ", \"-\", 2 ) )", "INT( " + third + " )"},
                 "the slash behind the dash ends the inner field and the outer one"},
             Row{{{u"/", I}, {u"-", I}, {u":", I}, {u"/", I}, {u"", I}},
                 {"INT( " + first + " )", "INT( SPLIT( " + second + ", \"-\", 1 ) )",
                     "INT( SPLIT( " + second2 + ", \":\", 1 ) )", "INT( SPLIT( " + second2 + ", \":\", 2 ) )",
                     "INT( " + third + " )"},
                 "two levels end at once"},
             Row{{{u"/", I}, {u"-", I}, {u":", I}, {u"-", I}, {u"/", I}, {u"", I}},
                 {"INT( " + first + " )", "INT( SPLIT( " + second + ", \"-\", 1 ) )",
                     "INT( SPLIT( " + second2 + ", \":\", 1 ) )", "INT( SPLIT( " + second2 + ", \":\", 2 ) )",
                     "INT( SPLIT( " + second + ", \"-\", 3 ) )", "INT( " + third + " )"},
                 "the middle level goes on"},
             Row{{{u"/", S}, {u"-", S}, {u"", S}},
                 {"TRIM( " + first + " )", "TRIM( SPLIT( " + second + ", \"-\", 1 ) )",
                     "TRIM( SPLIT( " + second + ", \"-\", 2 ) )"},
                 "the value ends within an inner field"},
             Row{{{u"/", S}, {u"-", S}}, {"TRIM( " + first + " )", "TRIM( SPLIT( " + second + ", \"-\", 1 ) )"},
                 "so do the separators"},
             Row{{{u"/", U}, {u"-", U}, {u"/", U}, {u"-", U}, {u"", I}}, {"INT( SPLIT( " + third + ", \"-\", 2 ) )"},
                 "a separator opens an inner level in every outer field"},
         })
        EXPECT_EQ(Calculations(row.specs), row.calculations) << row.why;
}

TEST(SplitCalculations, CountsFromTheEndAtEveryLevel)
{
    EXPECT_EQ(Calculations({{u"/", I}, {u"-", S}, {u"/", R}, {u"", S}}, true),
        (std::vector<std::string>{"INT( SPLIT( [F], \"/\", -1 ) )",
            "TRIM( SPLIT( SPLIT( [F], \"/\", -2 ), \"-\", -1 ) )",
            "FLOAT( SPLIT( SPLIT( [F], \"/\", -2 ), \"-\", -2 ) )", "TRIM( SPLIT( [F], \"/\", -3 ) )"}));
}

// Values are put together from fields and separators of any nesting, with white space around some; the calculations have to
// take the first ten fields out again, whichever end is counted from.
TEST(SplitCalculations, TakeEveryFieldOutOfItsValue)
{
    std::mt19937 random(20);
    constexpr std::array<const char16_t*, 5> kSeparators = {u"/", u"-", u":", u"\"", u"=>"};
    const std::array<TString, 4> kPaddings = {u"", u"", u" ", u"\t \u3000"};
    for (int round = 0; round < 3000; ++round)
    {
        const std::size_t fields = 1 + random() % 16;
        const bool fromEnd = random() % 2 == 0;
        const std::size_t kinds = 1 + random() % kSeparators.size();
        Specs specs;
        TString value;
        std::vector<TString> expected;
        for (std::size_t i = 0; i < fields; ++i)
        {
            const bool isEmpty = random() % 4 == 0;
            SplitSpec& spec = specs.emplace_back();
            spec.separator = i + 1 == fields && random() % 2 == 0 ? u"" : kSeparators[random() % kinds];
            if (!isEmpty)
            {
                spec.type = std::array{I, R, S}[random() % 3];
                expected.push_back(TString::FromInt(static_cast<std::int64_t>(100 + i)));
            }
            TString field = isEmpty ? TString() : kPaddings[random() % kPaddings.size()] + expected.back();
            field += kPaddings[random() % kPaddings.size()];
            value = fromEnd ? spec.separator + field + value : value + field + spec.separator;
        }
        expected.resize(std::min(expected.size(), kLimit));
        std::vector<TString> calculations;
        GenerateSplitCalcsUsingSplitFunc(u"[F]", specs, calculations, fromEnd);
        ASSERT_EQ(calculations.size(), expected.size()) << Text(specs);
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(
                Evaluator(std::u16string(calculations[i].View()), value).Evaluate().ToUTF8(), expected[i].ToUTF8())
                << Text(specs) << value.ToUTF8();
    }
}

TEST(SplitCalculations, StopAtTen)
{
    const Specs many(30, SplitSpec{u",", S});
    EXPECT_EQ(Calculations(many).size(), kLimit);
    EXPECT_EQ(Calculations(many).back(), "TRIM( SPLIT( [F], \",\", 10 ) )");
    EXPECT_EQ(Calculations(many, false, std::vector<TString>(8, u"x")).back(), "TRIM( SPLIT( [F], \",\", 2 ) )");
    EXPECT_EQ(Calculations(many, false, std::vector<TString>(kLimit + 1, u"x")).size(), kLimit + 1);

    Specs nested(12, SplitSpec{u";", S});
    nested.insert(nested.begin(), {u",", U});
    nested.push_back({u",", S});
    EXPECT_EQ(Calculations(nested).size(), kLimit);
    EXPECT_EQ(Calculations(nested).back(), "TRIM( SPLIT( SPLIT( [F], \",\", 2 ), \";\", 10 ) )");
    // Behind the limit nothing is looked at, an empty separator neither.
    nested.push_back({u"", S});
    nested.push_back({u",", S});
    EXPECT_EQ(Calculations(nested).size(), kLimit);

    Specs empty(20, SplitSpec{u",", U});
    empty.push_back({u"", I});
    EXPECT_EQ(Calculations(empty), std::vector<std::string>{"INT( SPLIT( [F], \",\", 21 ) )"})
        << "fields without data are free";
}

TEST(SplitCalculations, WhiteSpaceGivesWay)
{
    struct Row
    {
        Specs specs;
        Specs kept;
        const char* why;
    };
    for (const Row& row : {
             Row{{{u" ", I}, {u"\t", S}, {u"", S}}, {{u" ", I}, {u"\t", S}, {u"", S}}, "nothing but white space"},
             Row{{{u",", I}, {u" ", U}, {u"", S}}, {{u",", I}, {u"", S}}, "a space behind the comma"},
             Row{{{u" ", I}, {u",", U}, {u"", S}}, {{u",", I}, {u"", S}},
                 "in front of it: the field's type goes to the comma"},
             Row{{{u" ", I}, {u"\t", U}, {u",", U}, {u"", R}}, {{u",", I}, {u"", R}}, "through several"},
             Row{{{u",", I}, {u" ", R}, {u"", U}}, {{u",", I}, {u"", R}}, "to the last field too"},
             Row{{{u" ", I}, {u",", S}, {u"", R}}, {{u",", S}, {u"", R}}, "a known type stays"},
             Row{{{u",", I}, {u" ", S}}, {{u",", I}}, "at the end of the value"},
             Row{{{u" ", U}, {u",", U}, {u"", I}}, {{u",", U}, {u"", I}}, "nothing to give"},
             Row{{{u" - ", I}, {u",", U}, {u"", I}}, {{u",", I}, {u"", I}}, "how it begins counts"},
             Row{{{u", ", I}, {u" ", S}, {u"", I}}, {{u", ", I}, {u"", I}}, "a comma with a space is a comma"},
             Row{{{u"\u3000", I}, {u"\u00a0", S}, {u"\u2009", S}, {u"\u0085", S}, {u"\u2028", S}, {u",", S}},
                 {{u",", S}}, "white space of other scripts"},
             Row{{{u"\u200b", I}, {u" ", S}, {u"\u180e", S}}, {{u"\u200b", I}, {u"\u180e", S}},
                 "zero-width marks are no white space"},
         })
    {
        SCOPED_TRACE(row.why);
        Specs specs = row.specs;
        std::vector<TString> result;
        GenerateSplitCalcsUsingSplitFunc(u"[F]", specs, result, false);
        EXPECT_EQ(Text(specs), Text(row.kept));
        EXPECT_EQ(ToUTF8(result), Calculations(row.kept));
    }
}

TEST(SplitCalculations, RefuseAnEmptySeparatorBeforeTheEnd)
{
    EXPECT_LOGIC_ASSERT(Calculations({{u"", I}, {u",", I}}), 0x524FBD5D, "separatorIndex == splitSpecs.size() - 1");
    EXPECT_LOGIC_ASSERT(
        Calculations({{u",", I}, {u"", I}, {u"", I}}), 0x524FBD5D, "separatorIndex == splitSpecs.size() - 1");

    Specs specs = {{u",", I}, {u";", S}, {u"", I}, {u",", I}};
    std::vector<TString> result;
    EXPECT_LOGIC_ASSERT((GenerateSplitCalcsUsingSplitFunc(u"[F]", specs, result, false), 0), 0x2828EABB,
        "separatorIndex == specs.size() - 1");
    EXPECT_EQ(ToUTF8(result), (std::vector<std::string>{"INT( SPLIT( [F], \",\", 1 ) )",
                                  "TRIM( SPLIT( SPLIT( [F], \",\", 2 ), \";\", 1 ) )"}));
    try
    {
        Calculations({{u"", I}, {u",", I}});
    }
    catch (const LogicException& exception)
    {
        EXPECT_EQ(exception.GetFile(), "data/ICUDateFormatInspector");
    }
}

TEST(SplitCalculations, Custom)
{
    const auto custom = [](const char16_t* separator, int count, bool fromEnd)
    { return ToUTF8(GenerateCustomSplitCalcs(u"[F]", separator, count, fromEnd)); };
    EXPECT_EQ(custom(u",", 3, true), (std::vector<std::string>{"TRIM( SPLIT( [F], \",\", -1 ) )",
                                         "TRIM( SPLIT( [F], \",\", -2 ) )", "TRIM( SPLIT( [F], \",\", -3 ) )"}));
    EXPECT_EQ(custom(u" ", 2, false),
        (std::vector<std::string>{"TRIM( SPLIT( [F], \" \", 1 ) )", "TRIM( SPLIT( [F], \" \", 2 ) )"}));
    EXPECT_EQ(custom(u"", 1, false), std::vector<std::string>{"TRIM( SPLIT( [F], \"\", 1 ) )"});
    EXPECT_LOGIC_ASSERT(custom(u"", 2, false), 0x524FBD5D, "separatorIndex == splitSpecs.size() - 1");
    for (const int count : {0, -1, INT_MIN})
        EXPECT_EQ(custom(u",", count, false).size(), 0U) << count;
    for (const int count : {10, 11, INT_MAX})
        EXPECT_EQ(custom(u",", count, false).size(), kLimit) << count;
}
