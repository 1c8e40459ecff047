#include "brvcore/string/CustomFormatNumberResources.h"

#include "brvcore/string/KeyedPool.h"
#include "brvcore/string/UserLocaleSettings.h"

#include <cstdlib>

namespace
{

constexpr unsigned kEnglishSouthAfrica = 7177;   // its separators are fixed, whatever the locale data says
constexpr int kDigits = 10;
constexpr std::size_t kMaxIdle = 8;   // resources per locale that wait for their next user

using Pool = KeyedPool<unsigned, CustomFormatNumberResources>;

// Never destroyed: static objects may format while the process ends. What waits then is.
Pool& PoolOfProcess()
{
    static Pool* const pool = []
    {
        auto* const result = new Pool(
            [](unsigned locale)
            {
                auto resources = std::make_unique<CustomFormatNumberResources>();
                resources->Initialize(locale);
                return resources;
            },
            kMaxIdle);
        std::atexit([] { PoolOfProcess().ShutDown(); });
        return result;
    }();
    return *pool;
}

}   // namespace

CustomFormatNumberResources CustomFormatNumberResources::OfLocaleName(const std::string& localeName)
{
    CustomFormatNumberResources result;
    result.AssignSymbols(FindIcuNumberSymbols(localeName));
    result.Derive();
    return result;
}

std::shared_ptr<const CustomFormatNumberResources> CustomFormatNumberResources::GetPooled(unsigned locale)
{
    return PoolOfProcess().Get(locale);
}

void CustomFormatNumberResources::RenewPooled(unsigned locale)
{
    PoolOfProcess().Renew(locale);
}

void CustomFormatNumberResources::AssignDefaults()
{
    for (int digit = 0; digit < kDigits; ++digit)
        m_symbols[static_cast<std::size_t>(digit)] = TString(1, static_cast<char16_t>(u'0' + digit));
    AssignSymbol(Symbol::Grouping, u",");
    AssignSymbol(Symbol::Decimal, u".");
    AssignSymbol(Symbol::Exponent, u"E");
    AssignSymbol(Symbol::Plus, u"+");
    AssignSymbol(Symbol::Minus, u"-");
    AssignSymbol(Symbol::Currency, u"$");
    AssignSymbol(Symbol::Percent, u"%");
    AssignSymbol(Symbol::PerMill, u"\u2030");
    Derive();
}

void CustomFormatNumberResources::Initialize(unsigned locale)
{
    if (locale == kUserDefaultLocale)
    {
        const UserLocaleSettings settings = GetUserLocaleSettings();
        AssignSymbols(FindIcuNumberSymbols(IcuLocaleNameOfTag(settings.localeTag)));
        AssignSymbol(Symbol::Grouping, settings.groupingSeparator);
        AssignSymbol(Symbol::Decimal, settings.decimalSeparator);
    }
    else
    {
        AssignSymbols(FindIcuNumberSymbols(IcuLocaleName(locale)));
    }
    if (locale == kEnglishSouthAfrica)
    {
        AssignSymbol(Symbol::Grouping, u"\u00A0");
        AssignSymbol(Symbol::Decimal, u",");
    }
    Derive();
}

const TString& CustomFormatNumberResources::GetDigit(int digit) const noexcept
{
    static const TString empty;
    return digit < 0 || digit >= kDigits ? empty : m_symbols[static_cast<std::size_t>(digit)];
}

void CustomFormatNumberResources::AssignSymbols(const std::optional<NumberSymbols>& symbols)
{
    if (symbols)
        m_symbols = *symbols;
}

void CustomFormatNumberResources::Derive()
{
    m_lowerCaseExponent = GetSymbol(Symbol::Exponent).ToLower();
    m_zeroUnit = m_symbols[0].Length() == 1 ? m_symbols[0].View().front() : u'\0';
    for (int digit = 0; digit < kDigits; ++digit)
        if (m_symbols[static_cast<std::size_t>(digit)] != TString(1, static_cast<char16_t>(m_zeroUnit + digit)))
            m_zeroUnit = u'\0';
}
