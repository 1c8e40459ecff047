#include "brvcore/string/CustomFormat.h"

#include "tests/support/LogicAssert.h"

#include <cmath>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/uloc.h>

namespace
{

constexpr unsigned kEnglishUS = 1033;
constexpr unsigned kGermanGermany = 1031;
constexpr unsigned kFrenchFrance = 1036;
constexpr unsigned kFrenchSwitzerland = 4108;
constexpr unsigned kGermanSwitzerland = 2055;
constexpr unsigned kHindiIndia = 1081;
constexpr unsigned kArabicEgypt = 3073;
constexpr unsigned kSwedishSweden = 1053;
constexpr unsigned kJapaneseJapan = 1041;
constexpr unsigned kTurkishTurkey = 1055;
constexpr unsigned kEnglishSouthAfrica = 7177;
constexpr unsigned kMalayMalaysia = 1086;
constexpr unsigned kIndonesianIndonesia = 1057;
constexpr unsigned kLatin = 1142;   // known by identifier, but without locale data
constexpr unsigned kInvariant = 127;
constexpr unsigned kUnknownLocale = 99999;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kUnknownPower = 2147483647;

template <class Value> std::string Render(const TString& format, Value value, unsigned locale = kEnglishUS)
{
    return CustomFormat::CreateNumberFormatter(format, locale)->Format(value).ToUTF8();
}

struct Rendering
{
    const char16_t* format;
    double value;
    const char* text;
    const char* why;
};

void ExpectRenderings(std::initializer_list<Rendering> rows, unsigned locale = kEnglishUS)
{
    for (const Rendering& row : rows)
    {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(Render(row.format, row.value, locale), row.text) << TString(row.format).ToUTF8() << ", " << row.value;
    }
}

// Settings as a host would install them, for the time of a test.
struct FixedSettings : IUserLocaleSettings
{
    explicit FixedSettings(UserLocaleSettings values) : settings(std::move(values)) {}
    UserLocaleSettings GetSettings() const override { return settings; }
    UserLocaleSettings settings;
};

class ScopedSettings
{
public:
    explicit ScopedSettings(UserLocaleSettings settings)
        : m_before(SetUserLocaleSettings(std::make_shared<FixedSettings>(std::move(settings))))
    {
    }
    ~ScopedSettings() { SetUserLocaleSettings(m_before); }
    ScopedSettings(const ScopedSettings&) = delete;
    ScopedSettings& operator=(const ScopedSettings&) = delete;

private:
    std::shared_ptr<const IUserLocaleSettings> m_before;
};

// The process's locale as the locale library has it, for the time of a test.
class ScopedProcessLocale
{
public:
    explicit ScopedProcessLocale(const char* name) { Set(name); }
    ~ScopedProcessLocale() { Set(m_before.c_str()); }
    ScopedProcessLocale(const ScopedProcessLocale&) = delete;
    ScopedProcessLocale& operator=(const ScopedProcessLocale&) = delete;

private:
    static void Set(const char* name)
    {
        UErrorCode status = U_ZERO_ERROR;
        uloc_setDefault(name, &status);
    }

    std::string m_before = uloc_getDefault();
};

// "0." and so many zeros.
std::string FractionOfZeros(std::size_t zeros)
{
    return std::string("0.").append(zeros, '0');
}

TString Repeated(std::u16string_view text, int count)
{
    TString result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

}   // namespace

// The renderings of a spreadsheet-format package, where its rules are ours.
TEST(CustomFormatNumber, AgreesWithASpreadsheetPackage)
{
    std::ifstream file(BRV_TEST_DATA_DIR "/number_formats.csv");
    std::string line;
    ASSERT_TRUE(std::getline(file, line)) << "cannot read tests/data/number_formats.csv";
    int rows = 0;
    for (; std::getline(file, line); ++rows)
    {
        const std::size_t first = line.find('|');
        const std::size_t second = line.find('|', first + 1);
        const TString format = TString::FromUTF8(line.substr(0, first));
        const TString value = TString::FromUTF8(line.substr(first + 1, second - first - 1));
        EXPECT_EQ(Render(format, value.ToDouble().value()), line.substr(second + 1)) << line;
    }
    EXPECT_GT(rows, 1000);
}

TEST(CustomFormatNumber, ChoosesTheSection)
{
    constexpr auto kThree = u"0.00;(0.00);\"none\"";
    ExpectRenderings({
        {kThree, 1.5, "1.50", "positive"},
        {kThree, -1.5, "(1.50)", "the negative section writes its own sign"},
        {kThree, 0.004, "none", "a value that rounds to zero is zero"},
        {kThree, -0.004, "none", "from below too"},
        {kThree, 0.005, "0.01", "the smallest value that does not"},
        {u"0.0;(0.0)", -0.01, "0.0", "without a zero section zero is in the first, without sign"},
        {u"0.0;;", -2.5, "-2.5", "an absent section falls back to the first, with the minus sign"},
        {u"0.0;;", 0, "", "a section that the end of the text leaves empty is there and prints nothing"},
        {u"0;", -3, "", "so does an empty negative section"},
        {u";0", 3, "", "the first section is never absent"},
        {u"0;-0;z;n", 1e20, "100000000000000000000", "the fourth section serves no ordinary format"},
        {u"0;-0;z;n;rest\"", 0, "z", "what follows the fourth section is not read"},
        {u"\"a\"", -5, "-a", "no placeholders: the minus sign and the text"},
    });
    EXPECT_EQ(Render(u"0.00", -0.0), "0.00");
}

TEST(CustomFormatNumber, CommasScaleGroupOrStandForThemselves)
{
    ExpectRenderings({
        {u"#,##0,", 1234567, "1,235", "behind the last placeholder: thousands"},
        {u"0,,.00", 1234567, "1.23", "in front of the point"},
        {u"0.0,", 12345, "12.3", "behind the fraction"},
        {u".0,", 12345, "12.3", "behind a fraction without integer placeholders"},
        {u"0.0,0", 1234.5, "1,234.50", "between placeholders of the fraction it groups"},
        {u"#,,##0", 1234567, "1,234,567", "several between placeholders still only group"},
        {u",0", 1234567, "1,234,567", "directly in front of a placeholder it groups"},
        {u"0,\"k\"0", 1234, "1,23k4", "text between the placeholders makes no difference"},
        {u"0\"k\",", 1234, "1234k,", "not directly behind a placeholder: text"},
        {u"a,b0", 7, "a,b7", "in front of the placeholders: text"},
        {u"0.,", 1234, "1234.,", "behind the point, but behind no placeholder of the fraction: text"},
        {u"0E+0,", 12345, "1E+4,", "behind the digits of an exponent: text"},
        {u"#,##0", 123, "123", "no separator in front of the first digit"},
        {u"0,000,000", 12, "0,000,012", "zeros that are written count"},
        {u"#,##0.00", -1e15, "-1,000,000,000,000,000.00", "every third digit"},
        {u"0,0\"-\"00", 1234567, "1,234,5-67", "text between the digits does not move the groups"},
        {u"0,,,,,,,,,,,,,,,,,,,,", 5e-324, "0", "scaled far below the last digit"},
    });
    EXPECT_EQ(Render(TString(u"0.") + Repeated(u"0", 250) + Repeated(u",", 255), 1e300), FractionOfZeros(250));
    EXPECT_EQ(Render(TString(u"0") + Repeated(u",", 100), 1e302), "100");
}

TEST(CustomFormatNumber, WritesPlaceholders)
{
    ExpectRenderings({
        {u".00", 12.5, "12.50", "without integer placeholders the integer digits stand before the point"},
        {u"#.#", 0.04, ".", "nothing but the separator is left"},
        {u"0#", 5, "05", "a # to the right of a zero"},
        {u"0.#0", 1, "1.0", "a # without a digit leaves no gap"},
        {u"0.0.0", 1.25, "1.2.5", "the second point is text"},
        {u"00-00", 12345, "123-45", "digits beyond the placeholders stand in front"},
        {u"0.000", 0.0456, "0.046", "zeros behind the point are digits"},
        {u"0.###", 0.05, "0.05", "for # too"},
        {u"0", 5e-324, "0", "the smallest"},
    });
    const std::string largest = Render(u"0", std::numeric_limits<double>::max());
    EXPECT_EQ(largest, std::string("179769313486232").append(294, '0'));
    EXPECT_EQ(Render(u"0%", std::numeric_limits<double>::max()), std::string(largest).append("00%"));
    EXPECT_EQ(Render(TString(u"0.") + Repeated(u"0", 255), 5e-324), FractionOfZeros(255));
    EXPECT_EQ(Render(TString(u"0.") + Repeated(u"0", 255), 1.5e-254), FractionOfZeros(253).append("15"));
    EXPECT_EQ(Render(Repeated(u"0", 255), 7.0), std::string(254, '0').append("7"));
}

TEST(CustomFormatNumber, MultipliesForPercentAndPermille)
{
    ExpectRenderings({
        {u"0%", 0.125, "13%", "half up"},
        {u"0%%", 0.5, "50%%", "a second sign does not multiply again"},
        {u"0\u2030", 0.0125, "13\u2030", "permille"},
        {u"0%", 0.004, "0%", "rounds to zero after the multiplication"},
        {u"%0", 0.5, "%50", "in front of the digits"},
    });
}

TEST(CustomFormatNumber, WritesExponents)
{
    ExpectRenderings({
        {u"0.00E+00", 12345, "1.23E+04", "plus and padding"},
        {u"0.00E-00", 12345, "1.23E04", "the minus form writes no plus"},
        {u"0.00e-00", 0.00012345, "1.23e-04", "but a minus, and a small letter"},
        {u"0.0E+0", 9.96, "1.0E+1", "a carry goes to the exponent"},
        {u".0E+0", 9.4, ".9E+1", "no integer digits at all: 0.94 times ten"},
        {u".0E+0", 9.96, ".1E+2", "where a carry stays behind the point"},
        {u"##0.0E+0", 12345, "123.5E+2", "as many integer digits as placeholders"},
        {u"0E+##", 5, "5E+0", "a run without zeros still writes a digit"},
        {u"0E+", 500, "5E+2", "and so does no run at all"},
        {u"0.0E+000", 1e-300, "1.0E-300", "three digits"},
        {u"0.00E+00", 0, "0.00E+00", "zero"},
        {u"E+0", 5, "E+5", "without placeholders in front the letter is text"},
        {u"0E0", 5, "0E5", "without a sign too"},
        {u"0.0E+0%", 0.5, "5.0E+1%", "percent moves the exponent"},
    });
}

TEST(CustomFormatNumber, PicksUnits)
{
    ExpectRenderings({
        {u"0.0[scale]", 12345, "12.3k", "thousands"},
        {u"0.0[scale]", 999, "999.0", "none for power 0"},
        {u"0.0[scale]", 999950, "1000.0k", "the unit is chosen before rounding"},
        {u"0.0[scale]", 5e9, "5.0G", "billions"},
        {u"0.0[scale]", 3e30, "3000000.0Y", "no unit beyond yotta"},
        {u"0.0[scale]", 0.05, "50.0m", "thousandths"},
        {u"0.0[scale]", 0.0000005, "500.0n", "and on"},
        {u"0.0[scale]", 0.00005, "50.0\u00B5", "the micro sign"},
        {u"0.0[scale]", 1e-26, "0.0", "rounds to zero below the last unit, which goes with the digits"},
        {u"0[SCALE]", 12345, "12345", "other brackets are skipped"},
        {u"0[scale", 12345, "12345", "an open one takes the rest"},
        {u"0.0[scale]", -12345, "-12.3k", "negative"},
        {u"0.0E+0[scale]", 12345, "1.2E+1k", "the exponent is of what the unit leaves, 12.345"},
    });
}

TEST(CustomFormatNumber, GeneralNumber)
{
    constexpr auto kGeneral = u"General Number";
    ExpectRenderings({
        {kGeneral, 5, "5", "no trailing separator"},
        {kGeneral, 0.1 + 0.2, "0.3", "12 digits of fraction"},
        {kGeneral, 999999999999999, "999999999999999", "the largest without exponent"},
        {kGeneral, 1e15, "1.00e+15", "extreme magnitude: the fourth section"},
        {kGeneral, -1.23456e20, "-1.23456e+20", "with a minus"},
        {kGeneral, 999999999999999.9, "999999999999999.875", "judged on the digits before rounding"},
        {kGeneral, 1e-15, "0", "not yet extreme"},
        {kGeneral, 1e-16, "1.00e-16", "extreme"},
        {kGeneral, -0.0, "-0", "keeps the sign of zero"},
        {kGeneral, -4e-13, "-0", "and of what rounds to it"},
        {u"", 1.5, "1.5", "the empty format is another general number"},
        {u"", 0.1234567890123, "0.1234567890123", "with 13 digits of fraction"},
        {u"", 1e300, "1.00e+300", "and the same fourth section"},
    });
    EXPECT_EQ(Render(kGeneral, 999'999'999'999'999LL), "999999999999999");
    EXPECT_EQ(Render(kGeneral, 1'000'000'000'000'000LL), "1.00e+15");   // integers are no exception
}

TEST(CustomFormatNumber, ReadsTextInTheFormat)
{
    ExpectRenderings({
        {u"0\\\"", 5, "5\"", "an escaped quote"},
        {u"0\\", 5, "5", "a lone escape at the end"},
        {u"0 \"open", 5, "5 open", "an open quote takes the rest"},
        {u"*x0_)", 5, "5", "fill and space are skipped with their character"},
        {u"_\U0001F600"
         u"0",
            5, "5", "which may be a surrogate pair"},
        {u"0\U0001F600", 5, "5\U0001F600", "a pair as text"},
        {u"@0@", 5, "5", "the text placeholder is skipped"},
        {u"[Red]0[>1]", 5, "5", "conditions and colours are skipped"},
        {u"0 d", 5, "5 d", "the first telling character decides: later date letters are text"},
        {u"(0)", 5, "(5)", "everything else"},
        {u"\"\"0", 5, "5", "no text at all"},
        {u"\"a;b\"0", -5, "-a;b5", "a section does not end inside text"},
        {u"[a;b]0", -5, "-5", "nor inside brackets"},
    });
}

TEST(CustomFormatNumber, SpecialValuesAndIntegers)
{
    EXPECT_EQ(Render(u"0.00;(0.00)", -kInfinity), "-inf");
    EXPECT_EQ(Render(u"\"x\"", kInfinity), "inf");
    EXPECT_EQ(Render(u"0", std::copysign(std::nan(""), -1.0)), "nan");
    EXPECT_EQ(Render(u"#,##0", std::numeric_limits<long long>::min()), "-9,223,372,036,854,775,808");
    EXPECT_EQ(Render(u"0.0", std::numeric_limits<long long>::max()), "9223372036854775807.0");
    EXPECT_EQ(Render(u"0", 9007199254740993.0), "9007199254740992");           // the double itself, 18 digits
    EXPECT_EQ(Render(u"0", 12345678901234567890.0), "12345678901234600000");   // 15 digits from 1e16 on
    EXPECT_EQ(Render(u"0.0", true), "1.0");
    EXPECT_EQ(Render(u"0.0", false), "0.0");
}

TEST(CustomFormatNumber, SymbolsOfTheLocale)
{
    constexpr auto kAll = u"#,##0.0;-#,##0.0";
    EXPECT_EQ(Render(kAll, 1234567.25, kGermanGermany), "1.234.567,3");
    EXPECT_EQ(Render(kAll, 1234567.25, kFrenchFrance), "1\u202F234\u202F567,3");
    EXPECT_EQ(Render(kAll, 1234567.25, kFrenchSwitzerland), "1\u202F234\u202F567,3");
    EXPECT_EQ(Render(kAll, 1234567.25, kHindiIndia), "1,234,567.3");   // groups of three in every locale
    EXPECT_EQ(
        Render(kAll, 1234567.25, kArabicEgypt), "\u0661\u066C\u0662\u0663\u0664\u066C\u0665\u0666\u0667\u066B\u0663");
    EXPECT_EQ(Render(kAll, 1234567.25, kSwedishSweden), "1\u00A0234\u00A0567,3");
    EXPECT_EQ(Render(kAll, 1234567.25, kJapaneseJapan), "1,234,567.3");
    EXPECT_EQ(Render(kAll, 1234567.25, kEnglishSouthAfrica), "1\u00A0234\u00A0567,3");
    EXPECT_EQ(Render(u"$0", 5.0, kUnknownLocale), "$5");                      // plain English
    EXPECT_EQ(Render(u"0.0e+0", 1234.0, kSwedishSweden), "1,2\u00D710^+3");   // a symbol of several units
    EXPECT_EQ(Render(u"0E-0", 0.01, kSwedishSweden), "1\u00D710^\u22122");    // the minus of the locale
    EXPECT_EQ(Render(u"0", -5.0, kSwedishSweden), "\u22125");
    EXPECT_EQ(Render(u"0$", 5.0, kFrenchSwitzerland), "5CHF");
    EXPECT_EQ(Render(u"0%", 0.5, kArabicEgypt), "\u0665\u0660\u066A\u061C");
    EXPECT_EQ(Render(u"#,##0.0$", 1234.5, kInvariant), "1,234.5$");
}

// Where the locale library would take the process's locale.
TEST(CustomFormatNumber, NoSymbolsOfTheProcessForALocaleWithoutData)
{
    const ScopedProcessLocale german("de_DE");
    EXPECT_EQ(Render(u"#,##0.0$", 1234.5, kLatin), "1,234.5$");
    EXPECT_EQ(Render(u"currency", 1234.5, kLatin), "$1,234.50");
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(u"mmmm", kLatin)->Format(DateTime::FromSerial(1.0)),
        CustomFormat::CreateDateTimeFormatter(u"mmmm", kUnknownLocale)->Format(DateTime::FromSerial(1.0)));
    EXPECT_EQ(TagFromLocaleIdentifier(kLatin), u"");
}

// The expected texts are those of the locales' own patterns.
TEST(CustomFormatNumber, NamedFormats)
{
    EXPECT_EQ(Render(u"Standard", -1234.5), "-1,234.50");
    EXPECT_EQ(Render(u"FIXED", 1234.5, kGermanGermany), "1.234,50");
    EXPECT_EQ(Render(u"percent", 0.125), "12.50%");
    EXPECT_EQ(Render(u"percent", 0.125, kGermanGermany), "12,50\u00A0%");
    EXPECT_EQ(Render(u"percent", 0.125, kTurkishTurkey), "%12,50");
    EXPECT_EQ(Render(u"scientific", 12345.0), "1.23E+04");
    EXPECT_EQ(Render(u"currency", -1234.5), "-$1,234.50");
    EXPECT_EQ(Render(u"currency", 1234.5, kGermanGermany), "1.234,50\u00A0\u20AC");
    EXPECT_EQ(Render(u"currency", 1234.5, kJapaneseJapan), "\uFFE51,235");              // the yen has no decimals
    EXPECT_EQ(Render(u"currency", -1234.5, kGermanSwitzerland), "CHF-1\u2019234.50");   // a negative pattern of its own
    EXPECT_EQ(Render(u"currency", 1234.5, kMalayMalaysia), "RM\u00A01,234.50");   // letters stand apart from digits
    EXPECT_EQ(Render(u"currency", 1234.5, kIndonesianIndonesia), "Rp\u00A01.234,50");
    EXPECT_EQ(Render(u"currency", -1234567.5, kEnglishSouthAfrica), "-R\u00A01\u00A0234\u00A0567,50");
    EXPECT_EQ(Render(u"standard", 1234.5, kInvariant), "1,234.50");
    EXPECT_EQ(Render(u"currencyx", 5.0), "");   // no name, and "y" makes it a date format
}

// Digits beyond the basic plane, and separators of the host's own.
TEST(CustomFormatNumber, SettingsOfTheUser)
{
    const UserLocaleSettings before = GetUserLocaleSettings();
    const std::string renderedBefore = Render(u"#,##0.0", 1234.5, 0);
    EXPECT_EQ(
        renderedBefore, (TString(u"1") + before.groupingSeparator + u"234" + before.decimalSeparator + u"5").ToUTF8());
    {
        const ScopedSettings settings(
            {u"ff-Adlm-GN", u"<>", u"::", SOWValue::SystemDefault, FirstWeekBehaviour::SystemDefault});
        EXPECT_EQ(Render(u"#,##0.0", 1234.5, 0), "\U0001E951<>\U0001E952\U0001E953\U0001E954::\U0001E955");
        EXPECT_EQ(
            Render(u"0.0E+00", 1234.0, kSystemDefaultLocale), "\U0001E951::\U0001E952\U0001E909+\U0001E950\U0001E953");
        EXPECT_EQ(Render(u"general number", 5.0, 0), "\U0001E955");   // a separator of two units is dropped whole
        EXPECT_EQ(Render(u"0", 1e300, 0).size(), 301u * 4);
    }
    {
        const ScopedSettings settings({u"ko-KR", u"", u",", SOWValue::Monday, FirstWeekBehaviour::FirstFourDays});
        EXPECT_EQ(Render(u"#,##0.0", 1234.5, 0), "1234,5");   // made anew after the change
        EXPECT_TRUE(CustomFormat::CreateNumberFormatter(u"0", 0)->IsKoreanLocale());
        EXPECT_EQ(TagFromLocaleIdentifier(0), u"ko-KR");
        EXPECT_EQ(Render(u"#,##0.0", 1234.5, kUserDefaultLocale), "1234,5");
    }
    const UserLocaleSettings after = GetUserLocaleSettings();
    EXPECT_EQ(after.localeTag, before.localeTag);
    EXPECT_EQ(after.groupingSeparator, before.groupingSeparator);
    EXPECT_EQ(after.decimalSeparator, before.decimalSeparator);
    EXPECT_EQ(Render(u"#,##0.0", 1234.5, 0), renderedBefore);
}

TEST(CustomFormat, LocaleIdentifiers)
{
    EXPECT_EQ(LocaleIdentifierFromTag(u"de-DE"), 1031u);
    EXPECT_EQ(LocaleIdentifierFromTag(u"fr_ch"), 4108u);
    EXPECT_EQ(LocaleIdentifierFromTag(u"no such tag"), std::nullopt);
    EXPECT_EQ(LocaleIdentifierFromTag(u""), std::nullopt);
    EXPECT_EQ(TagFromLocaleIdentifier(3073), u"ar-EG");
    EXPECT_EQ(TagFromLocaleIdentifier(kUnknownLocale), u"");
    EXPECT_EQ(TagFromLocaleIdentifier(kInvariant), u"en-US");
    EXPECT_EQ(TagFromLocaleIdentifier(kSystemDefaultLocale), TagFromLocaleIdentifier(kUserDefaultLocale));
    EXPECT_TRUE(CustomFormat::CreateNumberFormatter(u"0", 1042)->IsKoreanLocale());
    EXPECT_FALSE(CustomFormat::CreateNumberFormatter(u"0", kEnglishUS)->IsKoreanLocale());
}

TEST(CustomFormat, FindsTheKind)
{
    struct Case
    {
        const char16_t* format;
        DataType caller;
        DataType kind;
        const char* why;
    };
    for (const Case& c : {
             Case{u"yEs/nO", DataType::Real, DataType::Boolean, "names are found in any letter case"},
             Case{u"general date", DataType::Real, DataType::DateTime, "a name"},
             Case{u"", DataType::Date, DataType::DateTime, "the empty format is what the caller formats"},
             Case{u"", DataType::Boolean, DataType::Boolean, "of each kind"},
             Case{u"", DataType::Integer, DataType::Real, "integers are numbers"},
             Case{u"0.0", DataType::String, DataType::Real, "a digit tells, whatever the caller formats"},
             Case{u"\"0\" [0] \\0;;y", DataType::Real, DataType::DateTime, "not inside text or brackets"},
             Case{u"aM/Pm", DataType::Real, DataType::DateTime, "AM/PM"},
             Case{u"ttttt", DataType::Real, DataType::DateTime, "the long time"},
             Case{u"tttt", DataType::Real, DataType::Real, "one t short"},
             Case{u"$ %", DataType::DateTime, DataType::DateTime, "signs do not tell"},
             Case{u"\\", DataType::Real, DataType::Real, "nothing behind the escape"},
         })
    {
        SCOPED_TRACE(c.why);
        CustomFormat format(c.caller);
        EXPECT_EQ(format.Parse(c.format, kEnglishUS), 0);
        EXPECT_EQ(format.GetKind(), c.kind);
    }
    EXPECT_LOGIC_ASSERT(CustomFormat(DataType::String).Parse(u"", kEnglishUS), 0xA5F86AD5, "Invalid type encountered");
    EXPECT_LOGIC_ASSERT(
        CustomFormat(DataType::Spatial).Parse(u"x", kEnglishUS), 0xA5F86AD5, "Invalid type encountered");
}

TEST(CustomFormat, RendersNothingOfAnotherKind)
{
    EXPECT_EQ(CustomFormat::CreateBooleanFormatter(u"yes/no", kEnglishUS)->Format(1.0), u"");
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(u"yyyy", kEnglishUS)->Format(1.0), u"");
    EXPECT_EQ(CustomFormat::CreateNumberFormatter(u"0", kEnglishUS)->Format(DateTime()), u"");
    EXPECT_EQ(CustomFormat(DataType::Real).Format(1.0), u"");   // not parsed
}

TEST(CustomFormat, RefusesWhatTheStreamCannotHold)
{
    struct Case
    {
        TString format;
        bool isValid;
        const char* why;
    };
    for (const Case& c : {
             Case{Repeated(u"\\x", 80) + u"0", true, "81 tokens: 242 of 243 bytes"},
             Case{Repeated(u"\\x", 80) + u"0$", true, "243 bytes"},
             Case{Repeated(u"\\x", 80) + u"0$$", false, "244 bytes"},
             Case{TString(u"0") + TString(254, u'x'), true, "text up to the 255th code unit"},
             Case{TString(u"0") + TString(255, u'x'), false, "and beyond"},
             Case{TString(u"0") + TString(1000, u'@'), true, "skipped characters cost nothing"},
             Case{TString(u"0") + TString(1000, u'@') + u"x", false, "but move the text out of reach"},
             Case{TString(255, u'0'), true, "a run of 255"},
             Case{TString(256, u'0'), false, "and one more"},
             Case{TString(200, u'0') + TString(100, u'#'), false, "300 placeholders in two runs"},
             Case{TString(u"0") + TString(255, u','), true, "255 scalings"},
             Case{TString(u"0") + TString(256, u','), false, "and one more"},
             Case{TString(u"0E+") + TString(255, u'0'), true, "255 digits of exponent"},
             Case{TString(u"0E+") + TString(256, u'0'), false, "and one more"},
             Case{TString(u"0") + TString(100'000, u'"'), true, "empty quotes"},
             Case{TString(100'000, u'0'), false, "a very long one"},
             Case{TString(u"0\xD800\xDC00\xDC00"), true, "lone surrogates are text"},
         })
    {
        SCOPED_TRACE(c.why);
        CustomFormat format(DataType::Real);
        EXPECT_EQ(format.Parse(c.format, kEnglishUS), c.isValid ? 0 : -1);
        EXPECT_EQ(format.IsValid(), c.isValid);
        EXPECT_EQ(format.Format(std::nan("")), c.isValid ? u"nan" : u"");
        EXPECT_EQ(format.Format(1.0).IsEmpty(), !c.isValid);
    }
}

TEST(CustomFormat, SmallestVisiblePowerOfTen)
{
    struct Case
    {
        const char16_t* format;
        int power;
    };
    for (const Case& c :
        {Case{u"0.00", -2}, Case{u"0.0#%", -4}, Case{u"#,##0,,", 6}, Case{u"0.0,", 2}, Case{u"0;0.000", 0},
            Case{u"general number", -12}, Case{u"0\u2030", 0}, Case{u"", kUnknownPower}, Case{u"\"x\"", kUnknownPower},
            Case{u"0.0E+0", kUnknownPower}, Case{u"yes/no", kUnknownPower}, Case{u"yyyy", kUnknownPower}})
    {
        EXPECT_EQ(CustomFormat::CreateNumberFormatter(c.format, kEnglishUS)->GetSmallestVisiblePowerOfTen(), c.power)
            << TString(c.format).ToUTF8();
    }
}

TEST(CustomFormat, YearLettersOfPatterns)
{
    EXPECT_EQ(CustomFormat::UpdateToYear(u"w 'Year' YYYY"), u"w 'Year' yyyy");
    EXPECT_EQ(CustomFormat::UpdateToYearOfWeek(u"ww/yyyy''y"), u"ww/YYYY''Y");
}

// One format from many threads, and threads that compile for the same locale.
TEST(CustomFormat, MayBeSharedByThreads)
{
    const auto shared = CustomFormat::CreateNumberFormatter(u"#,##0.00", kGermanGermany);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 500; ++i)
                {
                    EXPECT_EQ(shared->Format(1234.5 + t), TString(u"1.23") + TString::FromInt(4 + t) + u",50");
                    EXPECT_EQ(Render(u"0.0", i + 0.5, kGermanGermany), std::to_string(i) + ",5");
                }
            });
    for (std::thread& thread : threads)
        thread.join();
}
