#pragma once

#include "brvcore/foundation/DataType.h"
#include "brvcore/foundation/TString.h"

// The calculation that takes one field of a split: SPLIT with the quoted separator and the number of the field, counted from
// 1, or from -1 backwards when fromEnd. Texts are trimmed when `trim` is set; the types Integer and Real wrap the call in
// INT and FLOAT.
TString GenerateOneSplitCalc(
    const TString& fieldExpression, const TString& separator, DataType type, int index, bool trim, bool fromEnd);
