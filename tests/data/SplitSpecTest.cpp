#include "brvcore/data/ICUDateFormatInspector.h"
#include "brvcore/data/SplitLibrary.h"
#include "brvcore/data/TextDomains.h"
#include "tests/support/LogicAssert.h"

#include <algorithm>
#include <atomic>
#include <initializer_list>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using Column = std::vector<const char*>;   // UTF-8

std::set<TString> Samples(const Column& column)
{
    std::set<TString> samples;
    for (const char* text : column)
        samples.insert(TString::FromUTF8(text));
    return samples;
}

// "[-]Integer []String": separators and types.
std::string Text(const std::vector<SplitSpec>& specs)
{
    std::string text;
    for (const SplitSpec& spec : specs)
    {
        text += text.empty() ? "[" : " [";
        text += spec.separator.ToUTF8() + "]";
        text += spec.type == DataType::Integer  ? "Integer"
                : spec.type == DataType::Real   ? "Real"
                : spec.type == DataType::String ? "String"
                                                : "";
    }
    return text;
}

std::string Fields(const std::set<TString>& samples, bool withOnePunc = true)
{
    return Text(GenerateSplitSpec(samples, StructureGovernor(), withOnePunc));
}

StructurePtr StructureOf(std::vector<DomainPtr> domains)
{
    return MakeRefCnt<Structure>(std::move(domains));
}
}   // namespace

// Expected fields come from an independent program that follows every step of the inference literally. What a person would
// have done stands beside them where it differs.
TEST(SplitSpec, RealColumns)
{
    struct Row
    {
        Column column;
        const char* fields;
        const char* why;
    };
    for (const Row& row : {
             Row{{"415-555-0132", "212-555-0187", "646-555-0123", "917-555-0178"}, "[-]Integer [555] [-] []Integer",
                 "phones: a person sees three numbers, but 555 is the same in all"},
             Row{{"(415) 555-0132", "(212) 555-0187", "(646) 555-0123", "(917) 555-0178"},
                 "[(] [)]Integer [ ] [555] [-] []Integer", "phones with the area in parentheses"},
             Row{{"+49 30 901820", "+44 20 7946", "+1 212 555", "+33 1 4276"}, "[ ]Real [ ]Integer []Integer",
                 "phones of several countries: a person takes +49 for a code, its sign makes it a decimal"},
             Row{{"AB-1234-X", "CD-5678-Y", "EF-9012-Z", "GH-3456-Q"}, "[-]String [-]Integer []String", "codes"},
             Row{{"US/2021/0042", "DE/2022/1187", "FR/2020/0951", "JP/2021/3307"}, "[/]String [/]Integer []Integer",
                 "codes; a person keeps 0042 as text"},
             Row{{"Smith, John", "Garcia, Maria", "Nguyen, Anh", "Miller, Peter"}, "[,]String [ ] []String", "names"},
             Row{{"Anne-Marie Curie", "John Smith", "Maria Garcia", "Peter Miller"}, "[ ]String []String",
                 "names, one of them with a dash"},
             Row{{"192.168.0.1", "10.0.12.254", "172.16.254.3", "8.8.8.8"},
                 "[.]Integer [.]Integer [.]Integer []Integer", "addresses; a person leaves them whole"},
             Row{{"192.168.0.1:8080", "10.0.12.254:443", "172.16.254.3:22", "8.8.8.8:53"},
                 "[.]Integer [.]Integer [.]Integer [:]Integer []Integer",
                 "addresses with ports; a person cuts at the colon, but the reading as address and port does not come "
                 "up among the first hundred"},
             Row{{"1.0.3", "2.11.0", "3.2.14", "10.0.1"}, "[.]Integer [.]Integer []Integer", "versions"},
             Row{{"v1.0.3", "v2.11.0", "v3.2.14", "v10.0.1"}, "[v] [.]Integer [.]Integer []Integer",
                 "versions with a letter"},
             Row{{"john@example.com", "maria@example.org", "peter@mail.net", "anh@site.com"},
                 "[@]String [.]String []String", "e-mail addresses; a person keeps the host whole"},
             Row{{"john.smith@example.com", "maria.garcia@example.com", "peter.miller@example.com",
                     "anh.nguyen@example.com"},
                 "[.]String [@]String [example] [.] [com]", "e-mail addresses of one host"},
             Row{{"https://www.example.com/shop/12", "https://www.example.com/blog/7",
                     "https://www.example.com/help/431", "https://www.example.com/shop/98"},
                 "[https] [://] [www] [.] [example] [.] [com] [/] [/]String []Integer",
                 "URLs: the common part is literal"},
             Row{{"2023-01-15", "2021-11-02", "2022-07-30", "1999-12-31"}, "[-]Integer [-]Integer []Integer", "dates"},
             Row{{"2023-01-15 10:20:30", "2021-11-02 23:59:01", "2022-07-30 00:00:00", "1999-12-31 12:30:45"},
                 "[-]Integer [-]Integer [ ]Integer [:]Integer [:]Integer []Integer", "dates with times"},
             Row{{"$12.50", "$3.99", "$100.00", "$7.25"}, "[$] []Real", "prices"},
             Row{{"12.50 EUR", "3.99 USD", "100.00 GBP", "7.25 EUR"}, "[ ]Real []String", "prices with currencies"},
             Row{{"12.50 EUR", "3.99 EUR", "100.00 EUR", "7.25 EUR"}, "[ ]Real [EUR]", "prices in one currency"},
             Row{{"12%", "7%", "100%"}, "[%]Integer", "shares"},
             Row{{"12.5,-7.25", "3.75,100.5", "-8.125,44.0", "0.5,-0.25"}, "[.]Integer [.]String []Integer",
                 "coordinates; a person cuts at the comma, which is what single marks push aside"},
             Row{{"a\"1", "b\"2", "c\"3"}, "[\"]String []Integer", "a quotation mark"},
             Row{{"id=12;name=ann", "id=7;name=bob", "id=431;name=cid"}, "[id] [=] [;]Integer [name] [=] []String",
                 "keys and values"},
             Row{{"AB-12", "CD-34", "EF-56", "hello", "77"}, "[-]String []Integer", "most have a shape, some none"},
             Row{{"alpha", "12", "a-b-c", "x@y"}, "", "no two alike"},
             Row{{"A1", "B2", "C37"}, "", "letters and digits: a person cuts between, but there is nothing to cut at"},
             Row{{"alpha", "beta", "gamma"}, "", "words"},
             Row{{"\u6771\u4eac,12", "\u5927\u962a,34", "\u540d\u53e4\u5c4b,56", "\u672d\u5e4c,7"},
                 "[,]String []Integer", "cities in Japanese; only three are of two characters"},
             Row{{"12\u3001\u6771\u4eac", "34\u3001\u5927\u962a", "56\u3001\u672d\u5e4c"}, "[\u3001]Integer []String",
                 "an ideographic comma"},
             Row{{"\U0001F600-12", "\U0001F601-34", "\U0001F389-56", "\U0001F680-78"}, "[-]String []Integer",
                 "emoji in front of a dash"},
             Row{{"12\U0001F600ab", "34\U0001F600cd", "56\U0001F600ef", "78\U0001F600gh"},
                 "[\U0001F600]Integer []String", "an emoji between"},
             Row{{"12\U0001F600ab", "34\U0001F601cd", "56\U0001F602ef", "78\U0001F600gh"}, "",
                 "their common half is no separator"},
             Row{{"12\U0001F600ab", "34\U0001FA00cd", "56\U0001F200ef"}, "", "nor is this one, the second"},
             Row{{"x-1"}, "", "one value: all of it is literal"},
             Row{{""}, "", "one empty value"},
             Row{{}, "", "no values"},
             Row{{"", "a-1", "b-2"}, "[-]String []Integer", "an empty value has no shape"},
         })
        EXPECT_EQ(Fields(Samples(row.column)), row.fields) << row.why;
}

TEST(SplitSpec, SingleMarksAreOptional)
{
    const std::set<TString> coordinates = Samples({"12.5,-7.25", "3.75,100.5", "-8.125,44.0", "0.5,-0.25"});
    EXPECT_EQ(Fields(coordinates, false), "[,]Real []Real");
    const std::set<TString> ports = Samples({"192.168.0.1:8080", "10.0.12.254:443", "172.16.254.3:22", "8.8.8.8:53"});
    EXPECT_EQ(Fields(ports, false), "[:]String []Integer");
    EXPECT_EQ(Fields(Samples({"\U0001F600-12", "\U0001F601-34", "\U0001F389-56"}), false), "")
        << "the dash is part of a run of marks that differ";
}

TEST(SplitSpec, CalculationsOfAColumn)
{
    struct Row
    {
        Column column;
        std::vector<std::string> calculations;
    };
    const std::string time = "SPLIT( [F], \"-\", 3 )";
    for (const Row& row : {
             Row{{"AB-1234-X", "CD-5678-Y", "EF-9012-Z", "GH-3456-Q"},
                 {"TRIM( SPLIT( [F], \"-\", 1 ) )", "INT( SPLIT( [F], \"-\", 2 ) )", "TRIM( SPLIT( [F], \"-\", 3 ) )"}},
             Row{{"Smith, John", "Garcia, Maria", "Nguyen, Anh", "Miller, Peter"},
                 {"TRIM( SPLIT( [F], \",\", 1 ) )", "TRIM( SPLIT( [F], \",\", 2 ) )"}},
             Row{{"Anh Smith", "Maria Garcia", "Peter Miller"},
                 {"TRIM( SPLIT( [F], \" \", 1 ) )", "TRIM( SPLIT( [F], \" \", 2 ) )"}},
             // The space gives way to the dash, so day and hour stay together: "15 10" is what INT gets.
             Row{{"2023-01-15 10:20:30", "2021-11-02 23:59:01", "2022-07-30 00:00:00", "1999-12-31 12:30:45"},
                 {"INT( SPLIT( [F], \"-\", 1 ) )", "INT( SPLIT( [F], \"-\", 2 ) )",
                     "INT( SPLIT( " + time + ", \":\", 1 ) )", "INT( SPLIT( " + time + ", \":\", 2 ) )",
                     "INT( SPLIT( " + time + ", \":\", 3 ) )"}},
             Row{{"12.50 EUR", "3.99 USD", "100.00 GBP", "7.25 EUR"},
                 {"FLOAT( SPLIT( [F], \" \", 1 ) )", "TRIM( SPLIT( [F], \" \", 2 ) )"}},
             Row{{"alpha", "beta"}, {}},
         })
        for (const bool flag : {false, true})
        {
            std::vector<std::string> calculations;
            for (const TString& text : GenerateSplitCalcs(u"[F]", Samples(row.column), flag))
                calculations.push_back(text.ToUTF8());
            EXPECT_EQ(calculations, row.calculations) << row.column.front();
        }
}

TEST(SplitSpec, ObeysItsGovernor)
{
    const std::set<TString> codes = Samples({"AB-1234-X", "CD-5678-Y", "EF-9012-Z"});
    const auto fields = [&codes](std::uint64_t maxEnumerate, std::uint64_t maxDomains)
    { return Text(GenerateSplitSpec(codes, StructureGovernor(maxEnumerate, maxDomains, 20), false)); };
    EXPECT_EQ(fields(100, 5), "[-]String [-]Integer []String");
    EXPECT_EQ(fields(100, 4), "") << "the shape has five domains";
    EXPECT_EQ(fields(0, 20), "") << "none is ranked";

    struct Cancelling : StructureGovernor
    {
        void ThrowIfCancelled() const override { throw std::runtime_error("cancelled"); }
    };
    EXPECT_THROW(GenerateSplitSpec(codes, Cancelling(), true), std::runtime_error);
}

// A number's sign or point is no separator beside a number, in any structure that may be chosen.
TEST(SplitLibrary, DropsLiteralsThatBelongToNumbers)
{
    const StructureGovernor governor;
    const SplitLibrary library(governor, true);
    const DomainPtr decimal = MakeRefCnt<DecimalDomain>();
    const DomainPtr digits = MakeRefCnt<DigitsDomain>();
    const auto literal = [](const char16_t* text) { return DomainPtr(MakeRefCnt<ConstantDomain>(text)); };
    for (const char16_t* const mark : {u".", u"+", u"-"})
    {
        EXPECT_TRUE(library.PruneStructure(StructureOf({decimal, literal(mark), digits})) == nullptr);
        EXPECT_TRUE(library.PruneStructure(StructureOf({literal(mark), literal(u","), decimal})) == nullptr);
        const StructurePtr kept = StructureOf({digits, literal(mark), digits});
        EXPECT_TRUE(library.PruneStructure(kept) == kept);
    }
    const StructurePtr kept = StructureOf({decimal, literal(u","), decimal, literal(u"--"), literal(u"..")});
    EXPECT_TRUE(library.PruneStructure(kept) == kept);
    EXPECT_TRUE(library.PruneIncompatible(kept, u",", u"<digits>") == kept);
    EXPECT_TRUE(library.PruneIncompatible(kept, u",", u"<decimal>") == nullptr);
    EXPECT_TRUE(library.PruneStructure(StructureOf({decimal})) != nullptr);

    std::mt19937 random(5);
    for (int round = 0; round < 60; ++round)
    {
        std::vector<std::u16string> texts(3);
        for (std::u16string& text : texts)
            for (const char16_t c : std::u16string_view(u"1.5-7.2+1").substr(random() % 3, 4 + random() % 4))
                text += c >= u'0' && c <= u'9' ? static_cast<char16_t>(u'0' + random() % 10) : c;
        std::vector<Value> values;
        for (const std::u16string& text : texts)
            values.emplace_back(text);
        for (const auto& [score, structure] : library.RankSamples(values))
        {
            const auto has = [&domains = structure->domains()](const char16_t* id) {
                return std::any_of(
                    domains.begin(), domains.end(), [id](const DomainPtr& domain) { return domain->id() == id; });
            };
            EXPECT_FALSE(has(DecimalDomain::kId) && (has(u".") || has(u"+") || has(u"-")));
        }
    }
}

TEST(SplitLibrary, CatalogueAndPlacement)
{
    // Rows follow columns: which domain may stand directly after which.
    constexpr const char16_t* kIds[] = {
        u"<word>", u"<digits>", u"<onepunc>", u"<punc>", u"<spaces>", u"<decimal>", u"<ip>"};
    constexpr const char* kMayFollow[] = {
        //                w  d  1  p  s  f  i
        /* <word>    */ "-  x  x  x  x  x  x",
        /* <digits>  */ "x  -  x  x  x  -  -",
        /* <onepunc> */ "x  x  x  -  x  x  x",
        /* <punc>    */ "x  x  -  -  x  x  x",
        /* <spaces>  */ "x  x  x  x  -  x  x",
        /* <decimal> */ "x  -  x  x  x  -  -",
        /* <ip>      */ "x  -  x  x  x  -  -",
    };
    const StructureGovernor governor;
    const std::vector<DomainPtr> catalogue = SplitLibrary(governor, true).GetCatalogue();
    ASSERT_EQ(catalogue.size(), 7U);
    for (std::size_t i = 0; i < catalogue.size(); ++i)
    {
        EXPECT_EQ(catalogue[i]->id(), kIds[i]);
        EXPECT_FALSE(catalogue[i]->constant());
        EXPECT_FALSE(catalogue[i]->isRedundantAfter(nullptr));
        for (std::size_t j = 0; j < catalogue.size(); ++j)
        {
            const DomainChain first{nullptr, catalogue[i]};   // a neighbour counts, what is before it does not
            const DomainChain chain{&first, catalogue[j]};
            EXPECT_EQ(catalogue[i]->isRedundantAfter(&chain), kMayFollow[i][3 * j] == '-') << i << " after " << j;
        }
    }
    const SplitLibrary withoutMarks(governor, false);
    std::vector<TString> ids;
    for (const DomainPtr& domain : withoutMarks.GetCatalogue())
        ids.push_back(domain->id());
    EXPECT_EQ(ids, (std::vector<TString>{u"<word>", u"<digits>", u"<punc>", u"<spaces>", u"<decimal>", u"<ip>"}));
}

TEST(SplitRegExp, CountsWholeMatches)
{
    const std::set<TString> samples = Samples({"12", "12a", "", "7", "a7", "\u0664"});
    struct Row
    {
        const char16_t* pattern;
        std::size_t count;
    };
    for (const Row& row : {Row{u"[0-9]+", 2}, Row{u"[0-9]*", 3}, Row{u"\\d+", 3}, Row{u".*", 6}, Row{u"", 1},
             Row{u"b", 0}, Row{u"[0-9]+|[0-9]+a", 3}, Row{u"^a.$", 1}})
        EXPECT_EQ(CountSplitRegExpMatches(row.pattern, samples), row.count) << TString(row.pattern).ToUTF8();
    EXPECT_EQ(CountSplitRegExpMatches(u"[0-9]+", {}), 0U);
    EXPECT_LOGIC_ASSERT(CountSplitRegExpMatches(u"[0-9", samples), 0xB21FCE6B,
        "The regular expression is not valid: U_REGEX_MISSING_CLOSE_BRACKET, line 1, position 4");
    EXPECT_LOGIC_ASSERT(CountSplitRegExpMatches(u"(a*)*b", {TString(64, u'a')}), 0x33E53DA5,
        "The regular expression costs too much on a text: U_REGEX_TIME_OUT");
}
