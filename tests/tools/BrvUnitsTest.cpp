#include "tools/brv/ChartScale.h"
#include "tools/brv/CsvTable.h"
#include "tools/brv/CsvText.h"
#include "tools/brv/Failure.h"
#include "tools/brv/LineRanges.h"
#include "tools/brv/SplitFormula.h"
#include "tools/brv/Text.h"
#include "tools/brv/TimeAxis.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

TEST(BrvDates, CommonIsoForms)
{
    struct Row
    {
        const char* text;
        const char* day;   // null: not a date
        const char* why;
    };
    for (const Row& row : {
             Row{"2024-W01", "2024-01-01", "a week is its Monday"},
             Row{"2021-W01-1", "2021-01-04", "1 January 2021 lies in week 53 of 2020"},
             Row{"2020-W53-7", "2021-01-03", "2020 has 53 weeks"},
             Row{"2021-W53", nullptr, "2021 has 52"},
             Row{"2024-W00", nullptr, "weeks count from 1"},
             Row{"2024-W01-8", nullptr, "a week has seven days"},
             Row{"2024-02-29T00:00:00+00:00", "2024-02-29", "an offset of zero"},
             Row{"2024-02-29T00:00:00+02:00", nullptr, "other offsets would move the day"},
             Row{"2023-02-29", nullptr, "no leap year"},
             Row{"", nullptr, "empty"},
         })
    {
        SCOPED_TRACE(row.why);
        const std::optional<DateTime> date = ParseDate(row.text);
        ASSERT_EQ(date.has_value(), row.day != nullptr);
        if (date)
        {
            EXPECT_EQ(date->ToISODate().ToUTF8(), row.day);
        }
    }
}

TEST(BrvCsv, LinesAndCells)
{
    const CsvTable table = ParseCsv("a,b\r\"x\ny\",\"say \"\"hi\"\"\"\r\n \n  1 ,\xFF\n", "f");
    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(table.rows[0].line, 2);
    EXPECT_EQ(table.rows[0].cells, (std::vector<std::string>{"x\ny", "say \"hi\""}));
    EXPECT_EQ(table.rows[1].line, 5);
    EXPECT_EQ(table.rows[1].cells, (std::vector<std::string>{"1", "\xFF"}));
}

TEST(BrvCsv, WhatIsWrittenReadsBack)
{
    const std::vector<std::string> cells = {"", "plain", " blank ", "a,b", "\"", "two\nlines", "\r", "é"};
    const CsvTable table = ParseCsv(CsvLine(cells) + CsvLine(cells), "f");
    EXPECT_EQ(table.header, cells);
    ASSERT_EQ(table.rows.size(), 1U);
    EXPECT_EQ(table.rows[0].cells, cells);
    EXPECT_EQ(ParseCsv(CsvLine({"a"}) + CsvLine({""}), "f").rows.size(), 1U) << "no blank line";
}

TEST(BrvText, BytesThatAreNotText)
{
    EXPECT_EQ(ValidUtf8("a\xFF\xC3\xA9"), "a\xEF\xBF\xBD\xC3\xA9");
    EXPECT_EQ(Quoted("\x1b[2J"), "'\\x1B[2J'");
    EXPECT_EQ(Quoted(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
    EXPECT_EQ(FixedNumber(-0.001, 2), "0.00");
    EXPECT_EQ(Printable("a\xC2\x85\x7F\xC2\xA0\xC3\xA9"), "a\\xC2\\x85\\x7F\xC2\xA0\xC3\xA9");
    EXPECT_EQ(Shortened("\xC3\xA9\xC3\xA9\xC3\xA9", 2), "\xC3\xA9\xC3\xA9...");
    EXPECT_EQ(Shortened("ab", 2), "ab");
}

TEST(BrvText, NumbersForPeople)
{
    EXPECT_EQ(SignificantNumber(1234.5678, 6), "1234.57");
    EXPECT_EQ(SignificantNumber(1.5e-300, 6), "1.5e-300");
    EXPECT_EQ(SignificantNumber(std::nan(""), 6), "n/a");
    EXPECT_EQ(ProbabilityText(0.0001), "0.0001");
    EXPECT_EQ(ProbabilityText(0.0), "< 0.0001");
    EXPECT_EQ(ProbabilityText(std::nan("")), "n/a");
}

TEST(BrvText, CellsOfAnyMagnitude)
{
    struct Row
    {
        double value;
        double largest;
        const char* text;
    };
    for (const Row& row : {
             Row{1.5, 999.0, "1.5"},
             Row{0.25, 1e9, "0.25"},
             Row{1234567890.0, 1234567890.0, "1.235e+09"},
             Row{1e300, 1e300, "1e+300"},
             Row{1.5e-5, 1.5e-5, "1.5e-05"},
             Row{1e-4, 1e-4, "0.0001000"},
             Row{0.0, 0.0, "0.00"},
             Row{std::nan(""), 1e300, "n/a"},
         })
        EXPECT_EQ(CellNumber(row.value, row.largest, 4), row.text) << row.value;
}

TEST(BrvText, LinesAsRanges)
{
    struct Row
    {
        std::vector<int> lines;
        std::size_t most;
        const char* text;
    };
    for (const Row& row : {
             Row{{7}, 3, "line 7"},
             Row{{2, 3, 4, 6, 8, 9}, 3, "lines 2-4, 6, 8-9"},
             Row{{2, 3, 4, 6, 8, 9}, 2, "lines 2-4, 6 and 2 more"},
             Row{{2, 4}, 1, "lines 2 and 1 more"},
         })
        EXPECT_EQ(LineRanges(row.lines, row.most), row.text);
}

TEST(BrvChart, ScaleFromTheFirstTickToAboveTheHighest)
{
    const ValueScale scale(1.0, 6.9, 6);   // ticks 1, 2, ..., 6; the end at 6.9 + 0.03 * 5.9
    EXPECT_DOUBLE_EQ(scale.ShareOf(1.0), 0.0);
    EXPECT_DOUBLE_EQ(scale.ShareOf(7.077), 1.0);
    const ValueScale constant(5.0, 5.0, 6);
    EXPECT_GT(constant.ShareOf(5.0), 0.0);
    EXPECT_LT(constant.ShareOf(5.0), 1.0);
}

TEST(BrvChart, RoundTicks)
{
    std::vector<std::string> labels;
    for (const Tick& tick : ValueTicks(-0.35, 0.62, 5))
        labels.push_back(tick.label);
    EXPECT_EQ(labels, (std::vector<std::string>{"-0.4", "-0.2", "0.0", "0.2", "0.4", "0.6"}));
    EXPECT_GE(ValueTicks(3.0, 3.0, 5).size(), 2U) << "a constant series";
    EXPECT_EQ(ValueTicks(2.0, 4.0, 6, 1.0)[1].label, "3") << "steps of one";
    const std::vector<Tick> close = ValueTicks(1e12 + 1.0, 1e12 + 3.0, 2);
    EXPECT_EQ(close[0].label, "1000000000001") << "as many digits as it takes";
    EXPECT_EQ(ValueTicks(1e-12, 3e-12, 2)[1].label, "2e-12");

    // 30 months from November: the labelled years stand at their Januaries.
    const DataValue november = DataValue::FromDateTime(DateTime(2019, 11, 1));
    const std::vector<Tick> years = PeriodTicks(TimeAxis(AggType::MonthTrunc), november, 30, 40);
    ASSERT_EQ(years.size(), 3U);
    EXPECT_EQ(years[0].position, 2.0);
    EXPECT_EQ(years[0].label, "2020");
    EXPECT_EQ(years[2].position, 26.0);
}

TEST(BrvSplitFormula, Pieces)
{
    struct Row
    {
        const char16_t* formula;
        const char16_t* text;
        const char16_t* piece;
    };
    for (const Row& row : {
             Row{u"[F]", u" a ", u" a "},
             Row{u"SPLIT( [F], \"-\", 1 )", u"a-b-c", u"a"},
             Row{u"SPLIT( [F], \"-\", 3 )", u"a-b-c", u"c"},
             Row{u"SPLIT( [F], \"-\", 4 )", u"a-b-c", u""},
             Row{u"SPLIT( [F], \"-\", -1 )", u"a-b-c", u"c"},
             Row{u"SPLIT( [F], \"-\", -3 )", u"a-b-c", u"a"},
             Row{u"SPLIT( [F], \"-\", -4 )", u"a-b-c", u""},
             Row{u"SPLIT( [F], \"-\", -9223372036854775808 )", u"a-b", u""},
             Row{u"SPLIT( [F], \"-\", 2 )", u"-", u""},
             Row{u"SPLIT( [F], \"-\", 1 )", u"none", u"none"},
             Row{u"SPLIT( [F], \"-\", -1 )", u"none", u"none"},
             Row{u"SPLIT( [F], \"-\", 2 )", u"none", u""},
             Row{u"SPLIT( [F], \"-\", 1 )", u"", u""},
             Row{u"SPLIT( [F], \"--\", 2 )", u"a---b", u"-b"},    // read from the left
             Row{u"SPLIT( [F], \"--\", -1 )", u"a---b", u"-b"},   // whichever end counts
             Row{u"SPLIT( [F], \"\"\"\", 2 )", u"say \"hi\"", u"hi"},
             Row{u"SPLIT( [F], \", 2 ) \", 2 )", u"a, 2 ) b", u"b"},
             Row{u"SPLIT( [F], \"\", 1 )", u"ab", u"ab"},
             Row{u"SPLIT( [F], \"\", 2 )", u"ab", u""},
             Row{u"SPLIT([F],\"-\",2)", u"a-b", u"b"},
             Row{u"TRIM( SPLIT( [F], \"-\", 2 ) )", u"a- b \t-c", u"b"},
             Row{u"SPLIT( TRIM( [F] ), \" \", 1 )", u" a b", u"a"},
             Row{u"TRIM( SPLIT( SPLIT( SPLIT( [F], \"/\", -1 ), \"-\", 2 ), \".\", 3 ) )", u"q/a-b.c. d -e", u"d"},
             Row{u"SPLIT( [a]]b], \"-\", 2 )", u"x-y", u"y"},
             Row{u"[TRIM( x ), \"]", u"x", u"x"},
         })
    {
        SCOPED_TRACE(TString(row.formula).ToUTF8() + " of '" + TString(row.text).ToUTF8() + "'");
        const SplitFormula formula(row.formula);
        EXPECT_FALSE(formula.IsNumber());
        const FieldValue value = formula.Evaluate(row.text);
        ASSERT_TRUE(std::holds_alternative<TString>(value));
        EXPECT_EQ(std::get<TString>(value).ToUTF8(), TString(row.piece).ToUTF8());
        EXPECT_EQ(HasContent(value), *row.piece != 0);
    }
    EXPECT_EQ(FieldExpression(u"a]b"), u"[a]]b]");
}

TEST(BrvSplitFormula, Numbers)
{
    const FieldValue none;
    struct Row
    {
        const char16_t* piece;   // behind a "/"
        FieldValue whole;
        FieldValue real;
    };
    using Int = std::int64_t;
    for (const Row& row : {
             Row{u"007", Int{7}, 7.0},
             Row{u" 12 ", Int{12}, 12.0},
             Row{u"0", Int{0}, 0.0},
             Row{u"12.9", Int{12}, 12.9},
             Row{u"+.5", Int{0}, 0.5},
             Row{u"1e3", Int{1000}, 1000.0},
             Row{u"9223372036854775807", Int{9223372036854775807}, 0x1p63},
             Row{u"9223372036854775808", none, 0x1p63},
             Row{u"", none, none},
             Row{u"12a", none, none},
             Row{u"1,5", none, none},
             Row{u"nan", none, none},
             Row{u"inf", none, none},
         })
    {
        SCOPED_TRACE(TString(row.piece).ToUTF8());
        const TString text = TString(u"a/") + TString(row.piece);
        EXPECT_EQ(SplitFormula(u"INT( SPLIT( [F], \"/\", 2 ) )").Evaluate(text), row.whole);
        EXPECT_EQ(SplitFormula(u"FLOAT( SPLIT( [F], \"/\", 2 ) )").Evaluate(text), row.real);
    }
    EXPECT_EQ(SplitFormula(u"INT( [F] )").Evaluate(u"-12.9"), FieldValue(Int{-12})) << "towards zero";
    EXPECT_TRUE(SplitFormula(u"INT( [F] )").IsNumber());
    EXPECT_TRUE(HasContent(Int{0}));
    EXPECT_FALSE(HasContent(none));
}

TEST(BrvSplitFormula, TextsThatAreNoFormula)
{
    for (const char16_t* text : {u"", u"F", u"[F", u"[F]]", u"[F] [G]", u"UPPER( [F] )", u"SPLIT( [F], \"-\", 2",
             u"SPLIT( [F], \"-\", 0 )", u"SPLIT( [F], \"-\", x )", u"SPLIT( [F], \"-\", 99999999999999999999 )",
             u"SPLIT( [F], -, 2 )", u"SPLIT( [F], \"-, 2 )", u"SPLIT( [F] )", u"TRIM( INT( [F] ) )", u"INT [F]"})
        EXPECT_THROW(SplitFormula{text}, std::invalid_argument) << TString(text).ToUTF8();
}
