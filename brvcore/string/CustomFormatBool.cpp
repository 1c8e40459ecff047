#include "brvcore/string/CustomFormatBool.h"

#include "brvcore/string/UserLocaleSettings.h"

#include <algorithm>
#include <array>
#include <string_view>

// Capitalised where the script has capitals: they are whole texts, mostly of a table's cell.
struct BooleanWords
{
    unsigned language;   // of a locale identifier, below its region
    std::u16string_view trueWord, falseWord;
    std::u16string_view yes, no;
    std::u16string_view on, off;
};

namespace
{

using Row = BooleanWords;

constexpr unsigned kEnglish = 0x09;
constexpr unsigned kChinese = 0x04;
constexpr unsigned kTraditionalChinese = 0x7C04;   // whatever the region

// clang-format off
constexpr std::array kRows = {
//  language             true             false        yes         no          on            off
Row{kEnglish,            u"True",         u"False",    u"Yes",     u"No",      u"On",        u"Off"},
Row{0x01,                u"صحيح",         u"خطأ",      u"نعم",     u"لا",      u"تشغيل",     u"إيقاف"},           // Arabic
Row{0x02,                u"Истина",       u"Лъжа",     u"Да",      u"Не",      u"Включено",  u"Изключено"},       // Bulgarian
Row{0x03,                u"Cert",         u"Fals",     u"Sí",      u"No",      u"Activat",   u"Desactivat"},      // Catalan
Row{kChinese,            u"真",           u"假",       u"是",      u"否",      u"开",        u"关"},
Row{kTraditionalChinese, u"真",           u"假",       u"是",      u"否",      u"開",        u"關"},
Row{0x05,                u"Pravda",       u"Nepravda", u"Ano",     u"Ne",      u"Zapnuto",   u"Vypnuto"},         // Czech
Row{0x06,                u"Sand",         u"Falsk",    u"Ja",      u"Nej",     u"Til",       u"Fra"},             // Danish
Row{0x07,                u"Wahr",         u"Falsch",   u"Ja",      u"Nein",    u"Ein",       u"Aus"},             // German
Row{0x08,                u"Αληθές",       u"Ψευδές",   u"Ναι",     u"Όχι",     u"Ενεργό",    u"Ανενεργό"},        // Greek
Row{0x0A,                u"Verdadero",    u"Falso",    u"Sí",      u"No",      u"Activado",  u"Desactivado"},     // Spanish
Row{0x0B,                u"Tosi",         u"Epätosi",  u"Kyllä",   u"Ei",      u"Päällä",    u"Pois"},            // Finnish
Row{0x0C,                u"Vrai",         u"Faux",     u"Oui",     u"Non",     u"Activé",    u"Désactivé"},       // French
Row{0x0D,                u"אמת",          u"שקר",      u"כן",      u"לא",      u"פועל",      u"כבוי"},            // Hebrew
Row{0x0E,                u"Igaz",         u"Hamis",    u"Igen",    u"Nem",     u"Be",        u"Ki"},              // Hungarian
Row{0x10,                u"Vero",         u"Falso",    u"Sì",      u"No",      u"Attivato",  u"Disattivato"},     // Italian
Row{0x11,                u"真",           u"偽",       u"はい",    u"いいえ",  u"オン",      u"オフ"},            // Japanese
Row{0x12,                u"참",           u"거짓",     u"예",      u"아니요",  u"켜짐",      u"꺼짐"},            // Korean
Row{0x13,                u"Waar",         u"Onwaar",   u"Ja",      u"Nee",     u"Aan",       u"Uit"},             // Dutch
Row{0x14,                u"Sann",         u"Usann",    u"Ja",      u"Nei",     u"På",        u"Av"},              // Norwegian
Row{0x15,                u"Prawda",       u"Fałsz",    u"Tak",     u"Nie",     u"Włączone",  u"Wyłączone"},       // Polish
Row{0x16,                u"Verdadeiro",   u"Falso",    u"Sim",     u"Não",     u"Ligado",    u"Desligado"},       // Portuguese
Row{0x18,                u"Adevărat",     u"Fals",     u"Da",      u"Nu",      u"Activat",   u"Dezactivat"},      // Romanian
Row{0x19,                u"Истина",       u"Ложь",     u"Да",      u"Нет",     u"Включено",  u"Выключено"},       // Russian
Row{0x1B,                u"Pravda",       u"Nepravda", u"Áno",     u"Nie",     u"Zapnuté",   u"Vypnuté"},         // Slovak
Row{0x1D,                u"Sant",         u"Falskt",   u"Ja",      u"Nej",     u"På",        u"Av"},              // Swedish
Row{0x1E,                u"จริง",          u"เท็จ",      u"ใช่",      u"ไม่ใช่",    u"เปิด",       u"ปิด"},              // Thai
Row{0x1F,                u"Doğru",        u"Yanlış",   u"Evet",    u"Hayır",   u"Açık",      u"Kapalı"},          // Turkish
Row{0x21,                u"Benar",        u"Salah",    u"Ya",      u"Tidak",   u"Aktif",     u"Nonaktif"},        // Indonesian
Row{0x22,                u"Істина",       u"Хибність", u"Так",     u"Ні",      u"Увімкнено", u"Вимкнено"},        // Ukrainian
Row{0x24,                u"Resnično",     u"Neresnično", u"Da",      u"Ne",      u"Vklopljeno", u"Izklopljeno"},     // Slovene
Row{0x25,                u"Tõene",        u"Väär",     u"Jah",     u"Ei",      u"Sees",      u"Väljas"},          // Estonian
Row{0x26,                u"Patiess",      u"Aplams",   u"Jā",      u"Nē",      u"Ieslēgts",  u"Izslēgts"},        // Latvian
Row{0x27,                u"Tiesa",        u"Netiesa",  u"Taip",    u"Ne",      u"Įjungta",   u"Išjungta"},        // Lithuanian
Row{0x29,                u"درست",         u"نادرست",   u"بله",     u"خیر",     u"روشن",      u"خاموش"},           // Persian
Row{0x2A,                u"Đúng",         u"Sai",      u"Có",      u"Không",   u"Bật",       u"Tắt"},             // Vietnamese
Row{0x39,                u"सत्य",          u"असत्य",     u"हाँ",      u"नहीं",     u"चालू",       u"बंद"},              // Hindi
};
// clang-format on
static_assert(kRows.front().language == kEnglish, "the words of every other language");

// The key of the table for a locale.
unsigned LanguageOf(unsigned locale)
{
    constexpr unsigned kLanguageBits = 0x3FF;
    constexpr unsigned kWithoutSortOrder = 0xFFFF;
    constexpr std::array kTraditionalLocales = {0x0404U, 0x0C04U, 0x1404U, kTraditionalChinese};   // TW, HK, MO, none
    if (IsUserLocale(locale))
        locale = LocaleIdentifierFromTag(GetUserLocaleSettings().localeTag).value_or(kEnglish);
    locale &= kWithoutSortOrder;
    return std::ranges::count(kTraditionalLocales, locale) != 0 ? kTraditionalChinese : locale & kLanguageBits;
}

}   // namespace

const BooleanWords& FindBooleanWords(unsigned locale)
{
    const auto* const row = std::ranges::find(kRows, LanguageOf(locale), &Row::language);
    return row == kRows.end() ? kRows.front() : *row;
}

TString FormatBool(BooleanKind kind, bool value, const BooleanWords& words)
{
    switch (kind)
    {
    case BooleanKind::YesNo:
        return value ? words.yes : words.no;
    case BooleanKind::OnOff:
        return value ? words.on : words.off;
    case BooleanKind::None:
    case BooleanKind::TrueFalse:
        break;
    }
    return value ? words.trueWord : words.falseWord;
}
