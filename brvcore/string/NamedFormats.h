#pragma once

#include "brvcore/foundation/DataType.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/string/CustomFormatBool.h"

#include <optional>
#include <string_view>

// What a named format stands for.
struct NamedFormat
{
    DataType kind = DataType::Real;
    TString format;   // what is compiled in the name's place; empty for a boolean format
    BooleanKind booleanKind = BooleanKind::None;
    bool isGeneralNumber = false;   // sets the three format-wide flags, as the empty format does
};

// Finds a name in any letter case; nothing for any other format. The patterns of numbers come from the locale, at the cost
// of some 20 microseconds.
std::optional<NamedFormat> FindNamedFormat(std::u16string_view format, unsigned locale);

// The general number of a format without text: one digit of fraction more than the one called "general number".
constexpr std::u16string_view kGeneralNumberOfEmptyFormat = u"0.#############;;;0.00###e+00";
constexpr std::u16string_view kGeneralDateTime = u"c";
