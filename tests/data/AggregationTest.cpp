#include "brvcore/data/Aggregation.h"

#include "tests/support/LogicAssert.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace
{

using Values = std::set<int>;

constexpr int kBeyond = 60;   // a few values above the range
constexpr int kNone = 12;

AggType Agg(int value)
{
    return static_cast<AggType>(value);
}

int Value(AggType agg)
{
    return static_cast<int>(agg);
}

const std::map<int, std::string> kXmlNames = {{0, "Sum"}, {1, "Avg"}, {2, "Min"}, {3, "Max"}, {4, "Stdev"},
    {5, "StdevP"}, {6, "Var"}, {7, "VarP"}, {8, "Count"}, {9, "CountD"}, {10, "Median"}, {11, "Attribute"},
    {12, "None"}, {13, "Percentile"}, {14, "Year"}, {15, "Quarter"}, {16, "Month"}, {17, "Day"}, {18, "Hour"},
    {19, "Minute"}, {20, "Second"}, {21, "Week"}, {22, "Weekday"}, {23, "MY"}, {24, "MDY"}, {26, "ISO-Year"},
    {27, "ISO-Qtr"}, {28, "ISO-Week"}, {29, "ISO-Weekday"}, {30, "Year-Trunc"}, {31, "Quarter-Trunc"},
    {32, "Month-Trunc"}, {33, "Week-Trunc"}, {34, "Day-Trunc"}, {35, "Hour-Trunc"}, {36, "Minute-Trunc"},
    {37, "Second-Trunc"}, {38, "ISO-Year-Trunc"}, {39, "ISO-Qtr-Trunc"}, {40, "ISO-Week-Trunc"},
    {41, "ISO-Weekday-Trunc"}, {46, "InOut"}, {47, "SumXSqr"}, {48, "User"}, {49, "Collect"}, {54, "Concatenate"},
    {55, "Union"}};

const std::map<std::string, int> kFunctions = {{"SUM", 0}, {"AVG", 1}, {"MIN", 2}, {"MAX", 3}, {"STDEV", 4},
    {"STDEVP", 5}, {"VAR", 6}, {"VARP", 7}, {"COUNT", 8}, {"COUNTD", 9}, {"MEDIAN", 10}, {"ATTR", 11},
    {"PERCENTILE", 13}, {"COLLECT", 49}, {"CONCATENATE", 54}, {"UNION", 55}};

const std::map<std::string, int> kDateFunctions = {{"YEAR", 14}, {"QUARTER", 15}, {"MONTH", 16}, {"WEEK", 21},
    {"DAY", 17}, {"HOUR", 18}, {"MINUTE", 19}, {"SECOND", 20}, {"WEEKDAY", 22}, {"ISOYEAR", 26}, {"ISOQUARTER", 27},
    {"ISOWEEK", 28}, {"ISOWEEKDAY", 29}};

const std::map<std::string, int> kTruncations = {{"year", 30}, {"quarter", 31}, {"month", 32}, {"week", 33},
    {"day", 34}, {"hour", 35}, {"minute", 36}, {"second", 37}, {"iso-year", 38}, {"iso-quarter", 39}, {"iso-week", 40},
    {"iso-weekday", 41}};

const std::map<std::string, int> kParts = {{"year", 14}, {"quarter", 15}, {"month", 16}, {"day", 17}, {"hour", 18},
    {"minute", 19}, {"second", 20}, {"week", 21}, {"weekday", 22}, {"iso-year", 26}, {"iso-quarter", 27},
    {"iso-week", 28}, {"iso-weekday", 29}};

int Derivation(const std::string& function, const std::string& datePart)
{
    TString name = TString::FromUTF8(function);
    return Value(DerivationTypeFromFunctionName(name, TString::FromUTF8(datePart)));
}

int Function(const std::string& function)
{
    TString name = TString::FromUTF8(function);
    return Value(AggTypeFromAggFunctionName(name));
}

int Lookup(const std::map<std::string, int>& map, const std::string& key)
{
    const auto entry = map.find(key);
    return entry == map.end() ? kNone : entry->second;
}

}   // namespace

TEST(Aggregation, HasNamesInDocuments)
{
    for (int value = -1; value < kBeyond; ++value)
    {
        SCOPED_TRACE(value);
        const auto entry = kXmlNames.find(value);
        if (entry == kXmlNames.end())
        {
            EXPECT_LOGIC_ASSERT(XMLFromAggType(Agg(value)), 0x61D5A2FA, "Unknown AggType");
            continue;
        }
        EXPECT_EQ(XMLFromAggType(Agg(value)).ToUTF8(), entry->second);
        EXPECT_EQ(Value(AggTypeFromXML(TString::FromUTF8(entry->second))), value);
    }
    for (const char16_t* name : {u"", u"sum", u"SUM", u"Sum ", u"ISO-Quarter", u"Year-"})
        try
        {
            AggTypeFromXML(name);
            ADD_FAILURE() << TString(name).ToUTF8();
        }
        catch (const std::out_of_range& exception)
        {
            EXPECT_STREQ(exception.what(), "map::at:  key not found");
        }
    const std::function<void()> failures[] = {[] { XMLFromAggType(Agg(25)); }, [] { IsDateBinContinuous(Agg(0)); },
        [] { DataTypeFromAggType(Agg(25), DataType::Integer); }};
    for (const std::function<void()>& fail : failures)
        try
        {
            fail();
            ADD_FAILURE();
        }
        catch (const LogicException& exception)
        {
            EXPECT_EQ(exception.GetFile(), "data/Aggregation");
        }
}

// Every name with every date part, of each other's lists as well.
TEST(Aggregation, HasNamesInFormulas)
{
    std::map<std::string, int> functions = kFunctions;
    functions.insert(kDateFunctions.begin(), kDateFunctions.end());
    ASSERT_EQ(functions.size(), 29U);
    for (const auto& [value, name] : kXmlNames)
    {
        EXPECT_EQ(Derivation(name, ""), Lookup(functions, TString::FromUTF8(name).ToUpper().ToUTF8())) << name;
        EXPECT_EQ(Derivation("DATETRUNC", name), kNone) << name;
    }
    for (const auto& [name, value] : functions)
    {
        EXPECT_EQ(Function(name), Lookup(kFunctions, name)) << name;
        EXPECT_EQ(Derivation(name, ""), value) << name;
        EXPECT_EQ(Derivation(name, "month"), kNone) << name;
    }
    for (const std::string part : {"", "my", "mdy", "Month", "MONTH", "iso-qtr", "weekday", "year", "quarter", "month",
             "week", "day", "hour", "minute", "second", "iso-year", "iso-quarter", "iso-week", "iso-weekday"})
    {
        EXPECT_EQ(Derivation("DATETRUNC", part), Lookup(kTruncations, part)) << part;
        EXPECT_EQ(Derivation("DATEPART", part), Lookup(kParts, part)) << part;
    }
}

TEST(Aggregation, RaisesTheGivenNameToUpperCase)
{
    TString name = u"sum";
    EXPECT_EQ(AggTypeFromAggFunctionName(name), AggType::Sum);
    EXPECT_EQ(name, u"SUM");
    name = u"unknown";
    EXPECT_EQ(AggTypeFromAggFunctionName(name), AggType::None);
    EXPECT_EQ(name, u"UNKNOWN");
    name = u"dateTrunc";
    EXPECT_EQ(DerivationTypeFromFunctionName(name, u"minute"), AggType::MinuteTrunc);
    EXPECT_EQ(name, u"DATETRUNC");
    name = u"min";   // stays MIN where the user's language has a dotted capital I
    EXPECT_EQ(AggTypeFromAggFunctionName(name), AggType::Min);
}

TEST(Aggregation, HasCategories)
{
    struct Row
    {
        const char* name;
        bool (*predicate)(AggType) noexcept;
        Values values;
    };
    const Values bins = {14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 26, 27, 28, 29};
    const Values truncations = {30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41};
    const Row rows[] = {
        {"AggFuncIsLocal", AggFuncIsLocal, {11}},
        {"AggFuncIsAggregation", AggFuncIsAggregation, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 47, 48, 49, 54, 55}},
        {"AggFuncIsDateBin", AggFuncIsDateBin, bins},
        {"AggFuncIsDateTrunc", AggFuncIsDateTrunc, truncations},
        {"AggFuncIsTopOfDateTimeHierarchy", AggFuncIsTopOfDateTimeHierarchy, {14, 26, 30, 38}},
        {"IsLinearDateTimeDomain", IsLinearDateTimeDomain, {14, 15, 16, 17, 18, 19, 20, 21, 22, 26, 27, 28, 29}},
        {"IsDateAggregation", IsDateAggregation,
            {14, 15, 16, 17, 21, 22, 23, 24, 26, 27, 28, 29, 30, 31, 32, 33, 34, 38, 39, 40, 41}},
        {"IsISODateAgg", IsISODateAgg, {26, 27, 28, 29, 38, 39, 40, 41}},
    };
    for (int value = -1; value < kBeyond; ++value)
    {
        for (const Row& row : rows)
            EXPECT_EQ(row.predicate(Agg(value)), row.values.contains(value)) << row.name << ' ' << value;
        if (bins.contains(value) || truncations.contains(value))
            EXPECT_EQ(IsDateBinContinuous(Agg(value)), value != 23 && value != 24) << value;
        else
            EXPECT_LOGIC_ASSERT(IsDateBinContinuous(Agg(value)), 0x24F51ACF, "Invalid aggregation type");
    }
}

TEST(Aggregation, SwapsAndRollsUpLevels)
{
    std::map<int, int> swaps = {{14, 30}, {15, 31}, {16, 32}, {21, 33}, {17, 34}, {18, 35}, {19, 36}, {20, 37},
        {26, 38}, {27, 39}, {28, 40}, {29, 41}};
    for (const auto& [bin, truncation] : std::map(swaps))
        swaps[truncation] = bin;
    const std::map<int, int> rollups = {{15, 14}, {16, 15}, {17, 16}, {18, 17}, {19, 18}, {20, 19}, {21, 14}, {27, 26},
        {28, 27}, {29, 28}, {31, 30}, {32, 31}, {33, 30}, {34, 32}, {35, 34}, {36, 35}, {37, 36}, {39, 38}, {40, 39},
        {41, 40}};
    for (int value = -1; value < kBeyond; ++value)
    {
        EXPECT_EQ(Value(SwapDateAggMethod(Agg(value))), swaps.contains(value) ? swaps.at(value) : kNone) << value;
        EXPECT_EQ(Value(RollupDateAgg(Agg(value))), rollups.contains(value) ? rollups.at(value) : kNone) << value;
    }
}

TEST(Aggregation, HasAResultType)
{
    constexpr int kReal = 1;
    constexpr int kUnknown = 8;
    const Values keep = {0, 2, 3, 11, 12, 47, 48, 54};
    const Values means = {1, 4, 5, 6, 7, 10, 13};
    for (int value = -1; value < kBeyond; ++value)
        for (int input = 0; input <= 8; ++input)
        {
            const bool isNumeric = input == 0 || input == 1;
            const bool isTemporal = input == 3 || input == 5;
            int expected = -1;
            if (keep.contains(value))
                expected = input;
            else if (means.contains(value))
                expected = isNumeric ? kReal : kUnknown;
            else if (value == 8 || value == 9)
                expected = 0;
            else if (14 <= value && value <= 29 && value != 25)
                expected = isTemporal ? 0 : kUnknown;
            else if (35 <= value && value <= 37)
                expected = isTemporal ? 3 : kUnknown;
            else if (30 <= value && value <= 41)
                expected = isTemporal ? 5 : kUnknown;
            else if (value == 46)
                expected = 4;
            else if (value == 49 || value == 55)
                expected = 7;
            SCOPED_TRACE(value * 100 + input);
            if (expected >= 0)
                EXPECT_EQ(static_cast<int>(DataTypeFromAggType(Agg(value), static_cast<DataType>(input))), expected);
            else
                EXPECT_LOGIC_ASSERT(DataTypeFromAggType(Agg(value), static_cast<DataType>(input)), 0xAEC37B10,
                    "Invalid aggregation type");
        }
}

namespace
{

// Answers with the identifier itself, except where it has nothing to say.
struct EchoCatalogue : IMessageCatalogue
{
    std::optional<TString> FindText(std::u16string_view messageId) const override
    {
        if (messageId == u"AggType.Display.Sum")
            return std::nullopt;
        return TString(messageId);
    }
};

}   // namespace

TEST(AggTypeUserNames, AreThereForEveryNamedValue)
{
    for (int value = -1; value < kBeyond; ++value)
    {
        SCOPED_TRACE(value);
        const AggType agg = Agg(value);
        const bool isNamed = kXmlNames.contains(value);
        EXPECT_EQ(DisplayStrFromAggType(agg).IsEmpty(), !isNamed);
        EXPECT_EQ(DisplayStrFromAggTypePretty(agg).IsEmpty(), !isNamed);
        EXPECT_EQ(ExampleStrFromAggType(agg).IsEmpty(), !AggFuncIsDateBin(agg) && !AggFuncIsDateTrunc(agg));
        EXPECT_EQ(UserStringFromAggType(agg).IsEmpty(), !isNamed);
        EXPECT_EQ(Value(AggTypeFromUserString(UserStringFromAggType(agg))), isNamed ? value : kNone);
        const TString bare = GetDisplayStringForISOAggTypeWithoutISOPrefix(agg);
        const TString prefixed = IsISODateAgg(agg) ? u"iso " + bare : bare;
        EXPECT_EQ(DisplayStrFromAggType(agg).ToLower(), prefixed.ToLower());
    }
    EXPECT_EQ(AggTypeFromUserString(u"no such name"), AggType::None);
    EXPECT_EQ(AggTypeFromUserString(u""), AggType::None);
}

TEST(AggTypeUserNames, ComeFromTheHostsCatalogue)
{
    EXPECT_EQ(SetMessageCatalogue(std::make_shared<EchoCatalogue>()), nullptr);
    EXPECT_EQ(DisplayStrFromAggType(AggType::ISOQuarterTrunc), u"AggType.Display.ISO-Qtr-Trunc");
    EXPECT_EQ(DisplayStrFromAggType(AggType::Sum), u"Sum") << "English stands in";
    EXPECT_EQ(ExampleStrFromAggType(AggType::MY), u"AggType.Example.MY");
    EXPECT_EQ(GetDisplayStringForISOAggTypeWithoutISOPrefix(AggType::ISOWeek), u"AggType.WithoutISO.ISO-Week");
    EXPECT_EQ(AggTypeFromUserString(u"AggType.User.Month-Trunc"), AggType::MonthTrunc);
    EXPECT_EQ(UserStringFromAggType(AggType::Sum), u"AggType.User.Sum")
        << "asked for, although English has none of its own";
    EXPECT_NE(SetMessageCatalogue(nullptr), nullptr);
    EXPECT_EQ(DisplayStrFromAggType(AggType::MonthTrunc), u"Month");
}

TEST(AggTypeUserNames, SurviveAReplacedCatalogue)
{
    std::atomic<bool> isDone = false;
    std::atomic<int> readCount = 0;
    std::thread reader(
        [&]
        {
            while (!isDone)
            {
                const TString text = DisplayStrFromAggType(AggType::Year);
                EXPECT_TRUE(text == u"Year" || text == u"AggType.Display.Year") << text.ToUTF8();
                ++readCount;
            }
        });
    for (int i = 0; readCount < 1000; ++i)
        SetMessageCatalogue(i % 2 == 0 ? std::make_shared<EchoCatalogue>() : nullptr);
    isDone = true;
    reader.join();
    SetMessageCatalogue(nullptr);
}
