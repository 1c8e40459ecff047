#pragma once

#include "brvcore/foundation/TString.h"
#include "brvcore/string/IcuLocale.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

// The symbols with which one locale writes numbers. Costly to make and never changed once made: formats take them from a
// pool that lasts as long as the process.
class CustomFormatNumberResources
{
public:
    // Where each symbol stands; the digits 0 to 9 come first.
    enum class Symbol : std::size_t
    {
        Grouping = 10,
        Decimal = 11,
        Exponent = 12,
        Plus = 13,
        Minus = 14,
        Currency = 15,
        Percent = 16,
        PerMill = 17,
    };

    CustomFormatNumberResources() { AssignDefaults(); }
    // The symbols of a locale, without what a user may have changed.
    static CustomFormatNumberResources OfLocaleName(const std::string& localeName);

    // A resource for a locale identifier (1024 for the user's), which goes back to the pool when the last user lets go. No
    // lock is held while a resource is made or used; only the first use of an identifier takes a mutex.
    static std::shared_ptr<const CustomFormatNumberResources> GetPooled(unsigned locale);
    // Forgets what the pool holds for a locale, so that the next resource is made anew.
    static void RenewPooled(unsigned locale);

    // Plain English: ASCII digits, "," groups, "." separates, "$".
    void AssignDefaults();
    // The symbols of a locale identifier; an unknown one, or one without locale data, keeps what is there.
    void Initialize(unsigned locale);

    const TString& GetSymbol(Symbol symbol) const noexcept { return m_symbols[static_cast<std::size_t>(symbol)]; }
    // Empty for an index outside 0 to 9.
    const TString& GetDigit(int digit) const noexcept;
    // The zero where the ten digits are code units that follow each other, else 0.
    char16_t GetZeroUnit() const noexcept { return m_zeroUnit; }
    const TString& GetLowerCaseExponent() const noexcept { return m_lowerCaseExponent; }

private:
    void AssignSymbol(Symbol symbol, const TString& text) { m_symbols[static_cast<std::size_t>(symbol)] = text; }
    void AssignSymbols(const std::optional<NumberSymbols>& symbols);
    void Derive();

    NumberSymbols m_symbols;
    // Derived from the symbols.
    TString m_lowerCaseExponent;
    char16_t m_zeroUnit = 0;
};
