#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

// What a user reads about an aggregation, in the language of the message catalogue. Any thread may call.
//
// The message identifiers are "AggType.<kind>.<name in documents>", for example "AggType.User.Month-Trunc". Every named
// value has the kinds "Display", "Pretty" and "User", a date derivation also "Example", an ISO level also "WithoutISO".
// Values without a name in documents have empty texts.

// A short label for headers: "Average", "Month". A part of a date and the cut date of its level share the label.
BRV_EXPORT TString DisplayStrFromAggType(AggType aggType);
// A phrase for menus and tool tips: "Number of distinct values", "Date cut to the month".
BRV_EXPORT TString DisplayStrFromAggTypePretty(AggType aggType);
// What it makes of Thursday 14 March 2024, 09:05:07; empty for what is no date derivation.
BRV_EXPORT TString ExampleStrFromAggType(AggType aggType);

// A name that no other value has, and back. Exact and case-sensitive; None for an unknown name. Should a catalogue give
// two values the same name, the smaller value has it.
BRV_EXPORT TString UserStringFromAggType(AggType aggType);
BRV_EXPORT AggType AggTypeFromUserString(const TString& name);

// The label of an ISO level without "ISO", for a place that says so already; any other value's label as it is.
BRV_EXPORT TString GetDisplayStringForISOAggTypeWithoutISOPrefix(AggType aggType);
