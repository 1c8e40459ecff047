#include "tests/support/LogicAssert.h"
#include "tests/transforms/MatrixTestTools.h"

#include <cfloat>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

TEST(MatrixCsv, ReadsFiles)
{
    using namespace std::string_literals;
    struct Case
    {
        const char* why;
        std::string bytes;
        bool hasHeader;
        std::vector<TString> names;
        Rows expected;
    };
    const Case cases[] = {
        {"a plain file", "1,2.5\n-3,4e2\n", false, {}, {{1, 2.5}, {-3, 400}}},
        {"no last line feed", "1,2\n3,4", false, {}, {{1, 2}, {3, 4}}},
        {"no last line feed but a carriage return", "a\r\n\r\n1\r", true, {u"a"}, {{1}}},
        {"empty lines", "\n\n1\n\n2\n\n", false, {}, {{1}, {2}}},
        {"carriage returns", "a,b\r\n1,2\r\n\r\n3,4\r\n", true, {u"a", u"b"}, {{1, 2}, {3, 4}}},
        {"a line of spaces is a row", "1\n \n", false, {}, {{1}, {kNaN}}},
        {"names as they stand", " a ,\"b\",,\xC3\xA4\n1,2,3,4\n", true, {u" a ", u"\"b\"", u"", u"\u00E4"},
            {{1, 2, 3, 4}}},
        {"short and long rows", "1,2,3\n4\n5,6,7,8\n,,\n", false, {},
            {{1, 2, 3}, {4, kNaN, kNaN}, {5, 6, 7}, {kNaN, kNaN, kNaN}}},
        {"what is no number", "NaN,x,1x,1 2,\"1\",0x10,1.2.3,--1,+-1,-,.,e5\n", false, {}, {Values(12, kNaN)}},
        {"white space around", " 1 ,\t2\t,\v3\f\n", false, {}, {{1, 2, 3}}},
        {"no-break space is none",
            "\xC2\xA0"
            "1,2\n",
            false, {}, {{kNaN, 2}}},
        {"forms of numbers", "+1,.5,5.,-0,007,1E+2,inf,-Infinity,nan,-0.0e5\n", false, {},
            {{1, 0.5, 5, -0.0, 7, 100, kInf, -kInf, kNaN, -0.0}}},
        {"beyond the range",
            "1e400,-1e400,1e-400,-1e-400,0.1e310,0.001e311,1e99999999999999999999,1e-99999999999999999999\n", false, {},
            {{kInf, -kInf, 0, -0.0, kInf, 1e308, kInf, 0}}},
        {"at the edge", "4.9406564584124654e-324,2.2250738585072011e-308,1.7976931348623157e308,0e999\n", false, {},
            {{4.9406564584124654e-324, 2.2250738585072011e-308, DBL_MAX, 0}}},
        {"many digits", "9007199254740993,0.1000000000000000055511151231257827,123456789012345678901234567890\n", false,
            {}, {{9007199254740992.0, 0.1, 123456789012345678901234567890.0}}},
        {"zeros in front and behind", std::string(100, '0') + "1." + std::string(400, '0') + "1\n", false, {}, {{1}}},
        {"400 zeros behind the point", "0." + std::string(400, '0') + "1e401\n", false, {}, {{1}}},
        {"a header alone", "a,b\n", true, {}, {}},
        {"a header and empty lines", "a,b\n\n", true, {}, {}},
        {"an empty file", "", true, {}, {}},
        {"line feeds alone", "\n\r\n\n", false, {}, {}},
        {"UTF-8 mark",
            "\xEF\xBB\xBF"
            "1,2\n",
            false, {}, {{1, 2}}},
        {"UTF-16, small end first",
            "\xFF\xFE"
            "\xE4\0\n\0"
            "1\0.\0"
            "5\0\r\0\n\0"s,
            true, {u"\u00E4"}, {{1.5}}},
        {"UTF-16, big end first",
            "\xFE\xFF"
            "\0"
            "7\0,\0"
            "8"s,
            false, {}, {{7, 8}}},
        {"a zero byte is no digit", "1\0,2\n"s, false, {}, {{kNaN, 2}}},
    };
    for (const Case& test : cases)
    {
        SCOPED_TRACE(test.why);
        const CsvFile file(test.bytes);
        const Matrix m(file.GetPath(), test.hasHeader);
        ExpectMatrix(m, test.expected);
        EXPECT_EQ(m.GetColNames(), test.names);
    }
}

TEST(MatrixCsv, FindsColumnsByName)
{
    const CsvFile file("a,b,a\n1,2,3\n4,5,6\n");
    Matrix m(file.GetPath(), true);
    EXPECT_EQ(m.GetColumn(u"b"), (Values{2, 5}));
    EXPECT_EQ(m.GetColumn(u"a"), (Values{1, 4})) << "the first of two";
    EXPECT_EQ(m.GetColumn(u"A"), Values());
    m.SetSize(1, 3);
    EXPECT_EQ(m.GetColumn(u"b"), Values{2});
    m.SetSize(1, 2);
    EXPECT_EQ(m.GetColumn(u"a"), Values()) << "names go with the number of columns";
}

TEST(MatrixCsv, NamesTheFileThatCannotBeRead)
{
    const std::string folder = std::filesystem::temp_directory_path().native();
    EXPECT_LOGIC_ASSERT(
        Matrix(TString::FromUTF8(folder)), 0x2C7F48BA, ("Cannot read \"" + folder + "\": Is a directory").c_str());
    EXPECT_LOGIC_ASSERT(Matrix(u"/no/such/f\u00EFle.csv"), 0x2C7F48BA,
        "Cannot read \"/no/such/f\u00EFle.csv\": No such file or directory");
}

TEST(MatrixCsv, WritesSixDigits)
{
    EXPECT_EQ(Matrix().ToCsvString(), TString());
    EXPECT_EQ(Make({{1.0 / 3.0, -2e-7, 1234567}, {kNaN, -kInf, -0.0}}).ToCsvString(),
        TString(u"0.333333,-2e-07,1.23457e+06\nnan,-inf,-0\n"));
    const TString text = FromCsv("a, b\n1,x\n").ToCsvString();
    EXPECT_EQ(text, TString(u"a, b\n1,nan\n"));
    EXPECT_EQ(FromCsv(text.ToUTF8()).ToCsvString(), text);
}

}   // namespace
