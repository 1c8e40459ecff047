#pragma once

#include "brvcore/foundation/TString.h"

#include <memory>
#include <string_view>

// A compiled regular expression in ICU's notation. This is the folder's adaptor of ICU: nothing of it shows here. Text is
// matched where it lies, without a copy. Steps and memory per text are limited by counts, not by the clock, so a pattern
// that backtracks without end fails the same way on every machine. An object serves one thread; copies share the compiled
// pattern and may be made by several threads at once.
class RegularExpression
{
public:
    // The empty pattern matches the empty text. Throws LogicException 0xB21FCE6B with ICU's name of the error for a pattern
    // that is none.
    explicit RegularExpression(const TString& pattern);
    ~RegularExpression();
    RegularExpression(const RegularExpression& other);
    RegularExpression(RegularExpression&& other) noexcept;
    RegularExpression& operator=(RegularExpression other) noexcept;

    // Whether the expression matches the text from its first to its last code unit. Throws LogicException 0x33E53DA5 with
    // ICU's name of the error when that takes too many steps or too much memory.
    bool MatchesWhole(std::u16string_view text);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
