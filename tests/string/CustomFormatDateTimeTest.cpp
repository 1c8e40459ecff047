#include "brvcore/string/CustomFormat.h"
#include "tests/support/UserSettingsGuard.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr unsigned kEnglishUS = 1033;
constexpr unsigned kGermanGermany = 1031;
constexpr unsigned kFrenchCanada = 3084;
constexpr unsigned kJapaneseJapan = 1041;
constexpr unsigned kKoreanKorea = 1042;
constexpr unsigned kArabicEgypt = 3073;
constexpr unsigned kFinnishFinland = 1035;
constexpr unsigned kRussianRussia = 1049;
constexpr unsigned kChineseTaiwan = 1028;
constexpr unsigned kInuktitutCanada = 1117;
constexpr unsigned kUnknownLocale = 99999;

std::string Render(const TString& format, const TString& moment, unsigned locale = kEnglishUS)
{
    return CustomFormat::CreateDateTimeFormatter(format, locale)->Format(DateTime::FromISO(moment).value()).ToUTF8();
}

struct Rendering
{
    const char16_t* format;
    const char16_t* moment;
    const char* text;
    const char* why;
};

void ExpectRenderings(std::initializer_list<Rendering> rows, unsigned locale = kEnglishUS)
{
    for (const Rendering& row : rows)
    {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(Render(row.format, row.moment, locale), row.text) << TString(row.format).ToUTF8();
    }
}

constexpr auto kAfternoon = u"2020-12-31 15:04:05";   // a Thursday

}   // namespace

// Nineteen locales as the locale library itself renders them.
TEST(CustomFormatDateTime, AgreesWithTheLocaleLibrary)
{
    std::ifstream file(BRV_TEST_DATA_DIR "/date_formats.csv");
    std::string line;
    ASSERT_TRUE(std::getline(file, line)) << "cannot read tests/data/date_formats.csv";
    int rows = 0;
    for (; std::getline(file, line); ++rows)
    {
        const std::vector<TString> cells = TString::FromUTF8(line).Split(u"|");
        ASSERT_EQ(cells.size(), 4U) << line;
        const auto locale = static_cast<unsigned>(cells[0].ToInt().value());
        EXPECT_EQ(Render(cells[1], cells[2], locale), cells[3].ToUTF8()) << line;
    }
    EXPECT_GT(rows, 1500);
}

TEST(CustomFormatDateTime, EveryTokenInEveryLength)
{
    ExpectRenderings({
        {u"d dd ddd dddd", u"2021-03-05", "5 05 Fri Friday", "days"},
        {u"m mm mmm mmmm", u"2021-03-05", "3 03 Mar March", "months"},
        {u"y yy yyyy", u"2021-03-05", "64 21 2021", "day of the year, years"},
        {u"q", u"2021-03-31", "1", "quarter"},
        {u"h hh n nn s ss", u"2021-03-05 04:06:08", "4 04 6 06 8 08", "time"},
        {u"D DD MMM YYYY HH NN SS Q", u"2021-03-05 04:06:08", "5 05 Mar 2021 04 06 08 1", "capitals"},
        {u"ddddddd hhh nnnn sss mmmmm yyyyy www qq", u"2021-03-05 04:06:08", "March 5, 2021 04 06 08 March 2021 10 1",
            "a longer run is the longest token"},
        {u"yyy", u"0033-03-05", "0033", "three letters are the four-digit year"},
        {u"ss", u"2021-03-05 04:06:08.9999999", "08", "fractions are cut off"},
        {u"ss.0 s.000", u"2021-03-05 04:06:08.0569999", "08.0 8.056", "or written in part"},
        {u"nn:ss.0000000", u"2021-03-05 04:06:08.0000012", "06:08.0000012", "down to the tick"},
        {u"s.000000000", u"2021-03-05 04:06:08.5", "8.5000000", "a longer run is the longest token here too"},
        {u"hh.00 s. s.d", u"2021-03-05 04:06:08", "04.00 8. 8.5", "only zeros, only behind seconds"},
        {u"short time", kAfternoon, "15:04", "names"},
        {u"LONG TIME", kAfternoon, "3:04:05\u202FPM", "in any case"},
    });
}

TEST(CustomFormatDateTime, MonthsBesideATimeAreMinutes)
{
    ExpectRenderings({
        {u"h:mm", kAfternoon, "15:04", "behind hours"},
        {u"m:ss", kAfternoon, "4:05", "in front of seconds"},
        {u"hh \"o'clock\" m", kAfternoon, "15 o'clock 4", "with text between"},
        {u"hh:mm:ss mm/dd", kAfternoon, "15:04:05 12/31", "not behind seconds"},
        {u"mm/dd hh:mm", kAfternoon, "12/31 15:04", "both kinds"},
        {u"mm hh", kAfternoon, "12 15", "not in front of hours"},
        {u"hh mmm", kAfternoon, "15 Dec", "never a name"},
        {u"hh d mm", kAfternoon, "15 31 12", "not with another token between"},
        {u"h AM/PM:mm", kAfternoon, "3 PM:04", "the half of the day may stand between"},
        {u"h AMPM mm", kAfternoon, "3 PM 04", "in any form"},
        {u"[h]:mm:[ss]", kAfternoon, "15:04:05", "brackets change nothing"},
        {u"[mm]:ss [H] [m] [nn]", kAfternoon, "04:05 15 4 04", "but that they never hold months"},
    });
    EXPECT_EQ(Render(u"ss.00", u"2020-12-31 15:04:05.5", kGermanGermany), "05,50");
}

TEST(CustomFormatDateTime, HalvesOfTheDay)
{
    ExpectRenderings({
        {u"h:nn AM/PM", kAfternoon, "3:04 PM", "twelve hours"},
        {u"hh am/pm", u"2020-12-31", "12 am", "midnight is 12"},
        {u"h a/p", u"2020-12-31 12:00:00", "12 p", "noon too"},
        {u"h A/P", u"2020-12-31 11:59:59", "11 A", "the last second in front of noon"},
        {u"h Am/pM", kAfternoon, "3 pM", "the text as it stands in the format"},
        {u"AMPM h h", kAfternoon, "PM 3 3", "in front of the hours as well"},
        {u"h ttttt", kAfternoon, "15 3:04:05\u202FPM", "the locale's time leaves other hours alone"},
        {u"aampm", kAfternoon, "aPM", "behind another letter"},
        {u"a/m d", kAfternoon, "a/12 31", "none of the kinds"},
    });
    EXPECT_EQ(Render(u"AMPM h", kAfternoon, kKoreanKorea), "오후 3");
    EXPECT_EQ(Render(u"h AM/PM", kAfternoon, kKoreanKorea), "3 PM");
}

TEST(CustomFormatDateTime, TextStandsForItself)
{
    ExpectRenderings({
        {u"\"day\" d", u"2021-03-05", "day 5", "quoted"},
        {u"\\d\\\\d\\", u"2021-03-05", "d\\5", "escaped; nothing behind the last backslash"},
        {u"d\"dd", u"2021-03-05", "5dd", "a quotation without end takes the rest"},
        {u"[$-409]d[red", u"2021-03-05", "5", "brackets are left out"},
        {u"[$-409]d[hd][]", u"2021-03-05", "5", "brackets of other things"},
        {u"d. 'x' {0} , #", u"2021-03-05", "5. 'x' {0} , #", "everything else, what locale patterns quote included"},
        {u"d\";\"\\;d;@", u"2021-03-05", "5;;5", "a semicolon ends the format"},
        {u"d_m*\U0001F4C5@ d*", u"2021-03-05", "5 5", "widths, fillings and text of a spreadsheet"},
        {u"tttt d", u"2021-03-05", "tttt 5", "less than five t"},
        {u"\U0001F4C5 d日", u"2021-03-05", "\U0001F4C5 5日", "any script"},
    });
}

TEST(CustomFormatDateTime, SeparatorsAreTheLocales)
{
    struct Case
    {
        unsigned locale;
        const char* text;
        const char* why;
    };
    for (const Case& c : {
             Case{kEnglishUS, "31/12/2020 15:04", "as they stand"},
             Case{kGermanGermany, "31.12.2020 15:04", "d.M.y"},
             Case{kFinnishFinland, "31.12.2020 15.04", "H.mm"},
             Case{kFrenchCanada, "31-12-2020 15:04", "the time has words between its parts"},
             Case{kKoreanKorea, "31.12.2020 15:04", "without the blank of `y. M. d.`"},
             Case{kArabicEgypt, "٣١\u200F/١٢\u200F/٢٠٢٠ ١٥:٠٤", "a mark of direction belongs to it"},
             Case{kUnknownLocale, "31/12/2020 15:04", "plain English"},
         })
        EXPECT_EQ(Render(u"dd/mm/yyyy hh:nn", kAfternoon, c.locale), c.text) << c.why;
    // A real language without data must not take the words of the process's locale.
    EXPECT_EQ(Render(u"dddddd", kAfternoon, kInuktitutCanada), "December 31, 2020");
}

TEST(CustomFormatDateTime, GeneralDateHasATimeUnlessItIsMidnight)
{
    ExpectRenderings({
        {u"c", u"2020-12-31", "12/31/20", "midnight"},
        {u"", u"2020-12-31", "12/31/20", "the empty format"},
        {u"general date", kAfternoon, "12/31/20, 3:04:05\u202FPM", "with time"},
        {u"c", u"2020-12-31 00:00:00.0000001",
            "12/31/20, 12:00:00\u202F"
            "AM",
            "a tick behind midnight"},
        {u"(c) h", u"2020-12-31", "(12/31/20) 0", "inside other tokens"},
    });
    EXPECT_EQ(Render(u"c", u"2020-12-31 00:30:05", kChineseTaiwan), "2020/12/31 凌晨12:30:05");
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(u"c", kEnglishUS)->Format(true).ToUTF8(), "12/31/99");   // serial 1
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(u"yyyy-mm-dd", kEnglishUS)->Format(false).ToUTF8(), "1899-12-30");
}

TEST(CustomFormatDateTime, NamesFitTheirSurroundings)
{
    EXPECT_EQ(Render(u"d mmmm yyyy", u"2020-12-05", kRussianRussia), "5 декабря 2020");
    EXPECT_EQ(Render(u"mmmm yyyy", u"2020-12-05", kRussianRussia), "декабрь 2020");
    EXPECT_EQ(Render(u"dddd", u"2020-12-05", kFinnishFinland), "lauantai");
    EXPECT_EQ(Render(u"yyyy年m月d日 dddd", u"2020-12-05", kJapaneseJapan), "2020年12月5日 土曜日");
}

// By the calendars of 2020 and 2021: 2020-12-31 is a Thursday, 2021-01-03 a Sunday.
TEST(CustomFormatDateTime, WeeksFollowTheSettings)
{
    using enum SOWValue;
    constexpr auto ContainsJanuary1 = FirstWeekBehaviour::ContainsJanuary1;
    constexpr auto FirstFourDays = FirstWeekBehaviour::FirstFourDays;
    constexpr auto FirstFullWeek = FirstWeekBehaviour::FirstFullWeek;
    struct Case
    {
        SOWValue start;
        FirstWeekBehaviour first;
        const char16_t* moment;
        const char* text;
    };
    for (const Case& c : {
             Case{Monday, FirstFourDays, u"2020-12-31", "4 53 2020"},
             Case{Monday, FirstFourDays, u"2021-01-01", "5 53 2020"},
             Case{Monday, FirstFourDays, u"2021-01-03", "7 53 2020"},
             Case{Monday, FirstFourDays, u"2021-01-04", "1 1 2021"},
             Case{Monday, FirstFourDays, u"2018-12-31", "1 1 2019"},
             Case{Sunday, ContainsJanuary1, u"2020-12-26", "7 52 2020"},
             Case{Sunday, ContainsJanuary1, u"2020-12-27", "1 1 2021"},
             Case{Sunday, ContainsJanuary1, u"2021-01-03", "1 2 2021"},
             Case{Sunday, FirstFullWeek, u"2021-01-02", "7 52 2020"},
             Case{Sunday, FirstFullWeek, u"2021-01-03", "1 1 2021"},
             Case{Saturday, ContainsJanuary1, u"2021-01-01", "7 1 2021"},
             Case{Sunday, FirstFullWeek, u"0001-01-01", "2 53 0000"},      // the week began in the year before
             Case{Monday, ContainsJanuary1, u"9999-12-31", "5 1 10000"},   // and ends in the year after
             Case{SystemDefault, FirstWeekBehaviour::SystemDefault, u"2021-01-01", "6 1 2021"},   // en-US
         })
        EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(u"w ww yyyy", kEnglishUS, c.start, c.first)
                      ->Format(DateTime::FromISO(c.moment).value())
                      .ToUTF8(),
            c.text)
            << TString(c.moment).ToUTF8();
    ExpectRenderings({
        {u"ww yyyy-mm", u"2020-12-31", "1 2020-12", "with a month the year is the calendar's"},
        {u"yyyy q ww", u"2020-12-31", "2020 4 1", "with a quarter too"},
    });
}

// All 21 settings against counting: the first week of a year is the one with 1, 4 or 7 January.
TEST(CustomFormatDateTime, WeeksOfEverySettingAreCounted)
{
    constexpr int kDaysInWeek = 7;
    const DateTime firstDay(2014, 12, 20);
    constexpr int kDays = 366 * 7;
    for (int start = 1; start <= kDaysInWeek; ++start)
        for (const auto& [first, dayInFirstWeek] : {std::pair(FirstWeekBehaviour::ContainsJanuary1, 1),
                 std::pair(FirstWeekBehaviour::FirstFourDays, 4), std::pair(FirstWeekBehaviour::FirstFullWeek, 7)})
        {
            const auto startOfWeek = [start](DateTime day)
            {
                while (day.GetDayOfWeek() + 1 != start)
                    day = day - DateTimeSpan::FromDays(1);
                return day;
            };
            const auto format =
                CustomFormat::CreateDateTimeFormatter(u"yyyy ww w", kEnglishUS, static_cast<SOWValue>(start), first);
            for (int i = 0; i < kDays; ++i)
            {
                const DateTime day = firstDay + DateTimeSpan::FromDays(i);
                int year = day.GetYear() + 1;
                while (startOfWeek(DateTime(year, 1, dayInFirstWeek)) > day)
                    --year;
                const std::int64_t days =
                    (day - startOfWeek(DateTime(year, 1, dayInFirstWeek))).GetTicks() / DateTimeSpan::kTicksPerDay;
                ASSERT_EQ(format->Format(day).ToUTF8(), std::to_string(year) + " " +
                                                            std::to_string(days / kDaysInWeek + 1) + " " +
                                                            std::to_string(days % kDaysInWeek + 1))
                    << day.ToISO().ToUTF8() << ", week starts on day " << start << ", first holds " << dayInFirstWeek;
            }
        }
}

// Germany's weeks begin on Monday, and the first has four days.
TEST(CustomFormatDateTime, ASettingLeftOpenIsTheLocales)
{
    const auto render = [](SOWValue start, FirstWeekBehaviour first, const TString& moment)
    {
        return CustomFormat::CreateDateTimeFormatter(u"w ww yyyy", kGermanGermany, start, first)
            ->Format(DateTime::FromISO(moment).value())
            .ToUTF8();
    };
    EXPECT_EQ(render(SOWValue::Sunday, FirstWeekBehaviour::SystemDefault, u"2021-01-01"), "6 53 2020");
    EXPECT_EQ(render(SOWValue::SystemDefault, FirstWeekBehaviour::ContainsJanuary1, u"2021-01-03"), "7 1 2021");
    EXPECT_EQ(render(SOWValue::SystemDefault, FirstWeekBehaviour::SystemDefault, u"2021-01-03"), "7 53 2020");
}

TEST(CustomFormatDateTime, UsersWeekSettingsStandInFrontOfTheLocales)
{
    const SettingsGuard guard({u"de-DE", u".", u"'", SOWValue::Tuesday, FirstWeekBehaviour::ContainsJanuary1});
    EXPECT_EQ(Render(u"w ww", u"2021-01-01"), "4 1");
    for (const unsigned locale : {0U, kUserDefaultLocale, kSystemDefaultLocale})
    {
        EXPECT_EQ(Render(u"dddddd", u"2021-01-01", locale), "1. Januar 2021");
        EXPECT_EQ(Render(u"ddddd", u"2021-01-01", locale), "01.01.21");
        EXPECT_EQ(Render(u"s.0", u"2021-01-01", locale), "0'0");
    }
}

TEST(CustomFormatDateTime, FiscalYearsBearTheNumberOfTheirEnd)
{
    struct Case
    {
        FYSValues start;
        const char16_t* format;
        const char16_t* moment;
        const char* text;
    };
    for (const Case& c :
        {
            Case{FYSValues::January, u"yyyy \"Q\"q", u"2020-12-31", "2020 Q4"},
            Case{FYSValues::April, u"yyyy \"Q\"q", u"2020-03-31", "2020 Q4"},
            Case{FYSValues::April, u"yyyy \"Q\"q", u"2020-04-01", "2021 Q1"},
            Case{FYSValues::October, u"\"FY\"yy", u"2020-10-01", "FY21"},
            Case{FYSValues::December, u"q yyyy", u"2020-11-30", "4 2020"},
            Case{FYSValues::October, u"y", u"2020-10-01", "275"},
            // A quarter is one of the year beside it, and of the fiscal year without one.
            Case{FYSValues::October, u"q", u"2020-10-05", "1"}, Case{FYSValues::October, u"q m", u"2020-10-05", "1 10"},
            Case{FYSValues::October, u"yyyy q", u"2020-10-05", "2021 1"},
            Case{FYSValues::October, u"q yyyy-mm", u"2020-10-05", "4 2020-10"},
            Case{FYSValues::October, u"yyyy q ww", u"2020-10-05", "2020 4 41"},
            Case{FYSValues::October, u"yyyy q w", u"2020-10-05", "2020 4 2"},
            Case{FYSValues::October, u"yyyy q dddd", u"2020-10-05", "2020 4 Monday"},
            Case{FYSValues::October, u"q ddddd", u"2020-10-05", "4 10/5/20"},
            Case{FYSValues::October, u"ww yyyy", u"2020-10-05", "41 2020"},   // weeks know no fiscal year
        })
        EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(
                      c.format, kEnglishUS, SOWValue::Sunday, FirstWeekBehaviour::ContainsJanuary1, c.start)
                      ->Format(DateTime::FromISO(c.moment).value())
                      .ToUTF8(),
            c.text);
}

TEST(CustomFormatDateTime, RendersAnyFormat)
{
    const DateTime moment = DateTime::FromISO(kAfternoon).value();
    const std::u16string lone = {u'd', char16_t{0xD800}, u'\\', char16_t{0xDC00}, u'"', char16_t{0xDFFF}};
    const std::u16string loneText = {u'3', u'1', char16_t{0xD800}, char16_t{0xDC00}, char16_t{0xDFFF}};
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(lone, kEnglishUS)->Format(moment), loneText);
    std::u16string nul = u"d-m";
    nul[1] = u'\0';
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(nul, kEnglishUS)->Format(moment).Length(), 5U);
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(TString(100'000, u'd'), kEnglishUS)->Format(moment).ToUTF8(),
        "December 31, 2020");
    std::u16string manyTokens;
    for (int i = 0; i < 25'000; ++i)
        manyTokens += u"yyq ";
    EXPECT_EQ(CustomFormat::CreateDateTimeFormatter(manyTokens, kEnglishUS)->Format(moment).Length(), 100'000U);
    std::u16string manyDates;
    std::u16string manyTexts;
    for (int i = 0; i < 50'000; ++i)
    {
        manyDates += u"c/";
        manyTexts += u"2020/12/31 下午3:04:05/";
    }
    EXPECT_TRUE(CustomFormat::CreateDateTimeFormatter(manyDates, kChineseTaiwan)->Format(moment) == manyTexts);
    for (const std::u16string_view token : {u"d", u"c", u"mmmm", u"AMPM", u"AM/PM", u"ss.0", u"[h]", u"w", u"/", u"_"})
        for (const char16_t surrogate : {char16_t{0xD800}, char16_t{0xDFFF}})
        {
            const std::u16string alone(1, surrogate);
            const std::u16string tokenText(
                CustomFormat::CreateDateTimeFormatter(std::u16string(token), kEnglishUS)->Format(moment));
            const std::u16string expected = token == u"_" ? std::u16string(u"31") : alone + tokenText + alone + u"31";
            const std::u16string format =
                token == u"_" ? u"_" + alone + u"d" : alone + std::u16string(token) + alone + u"d";
            EXPECT_EQ(
                std::u16string(CustomFormat::CreateDateTimeFormatter(format, kEnglishUS)->Format(moment)), expected)
                << TString(token).ToUTF8();
        }

    constexpr std::size_t kLongestToken = 40;   // code units that one letter can stand for
    std::mt19937 generator(1);
    constexpr std::u16string_view kAlphabet = u"cdhmnqstwyAaPpM/:\"\\[];'\xD800\xDC00 ";
    for (int round = 0; round < 2000; ++round)
    {
        std::u16string format(1 + generator() % 40, u' ');
        for (char16_t& c : format)
            c = kAlphabet[generator() % kAlphabet.size()];
        const auto compiled =
            CustomFormat::CreateDateTimeFormatter(format, round % 2 == 0 ? kChineseTaiwan : kArabicEgypt);
        if (compiled->GetKind() == DataType::DateTime)
        {
            EXPECT_TRUE(compiled->IsValid());
            EXPECT_LE(compiled->Format(moment).Length(), format.size() * kLongestToken);
            const TString behindDay =
                CustomFormat::CreateDateTimeFormatter(u"yyyy\\|" + format, kEnglishUS)->Format(moment);
            EXPECT_TRUE(behindDay.StartsWith(u"202")) << behindDay.ToUTF8();   // 2021 beside a week
        }
    }
}

TEST(CustomFormatDateTime, OneFormatServesManyThreads)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    const auto format =
        CustomFormat::CreateDateTimeFormatter(u"c dddd", kChineseTaiwan);   // with the locale library's part
    std::vector<std::thread> threads;
    std::array<int, kThreads> wrong{};
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&format, &failures = wrong[static_cast<std::size_t>(t)], t]
            {
                for (int i = 0; i < kRounds; ++i)
                {
                    const int hour = 3 * t + 1;
                    const TString text = format->Format(DateTime(2020, 12, t + 1, hour, 7, 9));
                    const TString day = TString(u"2020/12/") + TString::FromInt(t + 1) + u" ";
                    const TString time = TString::FromInt(hour) + u":07:09 ";
                    failures += text.StartsWith(day) && text.Contains(time) ? 0 : 1;
                    failures += Render(u"dddddd", u"2020-12-31", kGermanGermany) == "31. Dezember 2020" ? 0 : 1;
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, (std::array<int, kThreads>{}));
}
