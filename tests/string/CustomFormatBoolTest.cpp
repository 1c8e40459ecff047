#include "brvcore/string/CustomFormat.h"
#include "tests/support/UserSettingsGuard.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace
{

constexpr unsigned kEnglishUS = 1033;

std::string Render(const TString& format, bool value, unsigned locale)
{
    return CustomFormat::CreateBooleanFormatter(format, locale)->Format(value).ToUTF8();
}

}   // namespace

TEST(CustomFormatBool, KindsAreNamedInAnyCase)
{
    struct Case
    {
        const char16_t* format;
        const char* whenTrue;
        const char* whenFalse;
    };
    for (const Case& c : {
             Case{u"true/false", "True", "False"}, Case{u"YES/No", "Yes", "No"}, Case{u"on/OFF", "On", "Off"},
             Case{u"", "True", "False"}, Case{u"&", "True", "False"},   // nothing tells its kind: the caller's
         })
    {
        EXPECT_EQ(Render(c.format, true, kEnglishUS), c.whenTrue);
        EXPECT_EQ(Render(c.format, false, kEnglishUS), c.whenFalse);
    }
}

// Identifiers of the languages' chief regions; words from dictionaries.
TEST(CustomFormatBool, WordsAreTheLanguages)
{
    struct Case
    {
        unsigned locale;
        const char* yes;
        const char* no;
    };
    for (const Case& c : {
             Case{1031, "Ja", "Nein"},
             Case{2055, "Ja", "Nein"},
             Case{1036, "Oui", "Non"},
             Case{3082, "Sí", "No"},
             Case{1040, "Sì", "No"},
             Case{1046, "Sim", "Não"},
             Case{1043, "Ja", "Nee"},
             Case{1053, "Ja", "Nej"},
             Case{1030, "Ja", "Nej"},
             Case{1044, "Ja", "Nei"},
             Case{1035, "Kyllä", "Ei"},
             Case{1045, "Tak", "Nie"},
             Case{1029, "Ano", "Ne"},
             Case{1049, "Да", "Нет"},
             Case{1055, "Evet", "Hayır"},
             Case{1032, "Ναι", "Όχι"},
             Case{1041, "はい", "いいえ"},
             Case{2052, "是", "否"},
             Case{1028, "是", "否"},
             Case{1042, "예", "아니요"},
             Case{3073, "نعم", "لا"},
             Case{1037, "כן", "לא"},
             Case{1081, "हाँ", "नहीं"},
             Case{1054, "ใช่", "ไม่ใช่"},
             Case{1058, "Так", "Ні"},
             Case{1038, "Igen", "Nem"},
             Case{1048, "Da", "Nu"},
             Case{1026, "Да", "Не"},
             Case{1027, "Sí", "No"},
             Case{1051, "Áno", "Nie"},
             Case{1057, "Ya", "Tidak"},
             Case{1060, "Da", "Ne"},
             Case{1061, "Jah", "Ei"},
             Case{1062, "Jā", "Nē"},
             Case{1063, "Taip", "Ne"},
             Case{1065, "بله", "خیر"},
             Case{1066, "Có", "Không"},
             Case{1039, "Yes", "No"},
             Case{99999, "Yes", "No"},
         })
    {
        EXPECT_EQ(Render(u"yes/no", true, c.locale), c.yes) << c.locale;
        EXPECT_EQ(Render(u"yes/no", false, c.locale), c.no) << c.locale;
        for (const TString format : {u"true/false", u"yes/no", u"on/off"})
            EXPECT_NE(Render(format, true, c.locale), Render(format, false, c.locale)) << c.locale;
    }
}

TEST(CustomFormatBool, OtherPairs)
{
    struct Case
    {
        unsigned locale;
        const char* whenTrue;
        const char* whenFalse;
        const char* on;
        const char* off;
    };
    for (const Case& c : {
             Case{1031, "Wahr", "Falsch", "Ein", "Aus"},
             Case{1036, "Vrai", "Faux", "Activé", "Désactivé"},
             Case{3082, "Verdadero", "Falso", "Activado", "Desactivado"},
             Case{1049, "Истина", "Ложь", "Включено", "Выключено"},
             Case{1041, "真", "偽", "オン", "オフ"},
             Case{1043, "Waar", "Onwaar", "Aan", "Uit"},
             Case{1066, "Đúng", "Sai", "Bật", "Tắt"},
         })
    {
        EXPECT_EQ(Render(u"true/false", true, c.locale), c.whenTrue) << c.locale;
        EXPECT_EQ(Render(u"true/false", false, c.locale), c.whenFalse) << c.locale;
        EXPECT_EQ(Render(u"on/off", true, c.locale), c.on) << c.locale;
        EXPECT_EQ(Render(u"on/off", false, c.locale), c.off) << c.locale;
    }
}

TEST(CustomFormatBool, TwoScriptsOfChinese)
{
    for (const unsigned simplified : {2052U, 4100U, 4U, 0x20804U})
        EXPECT_EQ(Render(u"on/off", false, simplified), "关") << simplified;
    for (const unsigned traditional : {1028U, 3076U, 5124U, 0x7C04U, 0x30404U})
        EXPECT_EQ(Render(u"on/off", false, traditional), "關") << traditional;
}

TEST(CustomFormatBool, UsersLanguage)
{
    const auto settingsOf = [](const TString& tag) {
        return UserLocaleSettings{tag, u" ", u",", SOWValue::SystemDefault, FirstWeekBehaviour::SystemDefault};
    };
    const SettingsGuard french(settingsOf(u"fr-CA"));
    for (const unsigned locale : {0U, kUserDefaultLocale, kSystemDefaultLocale})
    {
        EXPECT_EQ(Render(u"true/false", true, locale), "Vrai") << locale;
        const auto compiled = CustomFormat::CreateBooleanFormatter(u"true/false", locale);
        const SettingsGuard german(settingsOf(u"de-DE"));
        EXPECT_EQ(compiled->Format(false).ToUTF8(), "Faux") << "keeps what it was compiled with";
        EXPECT_EQ(Render(u"true/false", false, locale), "Falsch") << locale;
    }
}
