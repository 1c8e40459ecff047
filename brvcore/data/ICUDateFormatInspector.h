#pragma once

#include "brvcore/data/StructureGovernor.h"
#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataType.h"
#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <set>
#include <vector>

// How to cut the values of a string field into typed fields, inferred from samples or given by a user, and the calculations
// of the formula language that do it. Values and separators may hold any UTF-16, lone surrogates too. The functions keep no
// state and may be called by several threads at once; the inference uses several threads itself and rethrows what one of
// them threw.

// One field, in order from the start of the value.
struct SplitSpec
{
    TString separator;                   // the literal text that ends the field; empty for the last field
    DataType type = DataType::Unknown;   // Integer, Real, String; Unknown: no data before the separator
};

// The fields of the best structure that has a separator; empty when there is none. Separators are whole characters that all
// samples of that structure share. `withOnePunc` also considers single punctuation marks. Equal samples give equal fields on
// every machine. Throws what the governor throws. O(total length of the samples) on columns of ordinary values.
BRV_EXPORT std::vector<SplitSpec> GenerateSplitSpec(
    const std::set<TString>& samples, const StructureGovernor& governor, bool withOnePunc);

// The calculations for the fields that the samples show, at most 10, with the default limits of the inference and no
// cancellation; `fieldExpression` stands in them as it is. The flag has no effect.
BRV_EXPORT std::vector<TString> GenerateSplitCalcs(
    const TString& fieldExpression, const std::set<TString>& samples, bool flag);

// The first `count` fields between separators, as text, counted from the end of the value when fromEnd. At most 10; none for
// a count of 0 or less. Throws LogicException 0x524FBD5D for an empty separator with a count above 1.
BRV_EXPORT std::vector<TString> GenerateCustomSplitCalcs(
    const TString& fieldExpression, const TString& separator, int count, bool fromEnd);

// Appends the calculations for the specs until `result` holds 10, those that it held before included. White-space separators
// beside others are removed from the specs. Throws LogicException 0x524FBD5D "separatorIndex == splitSpecs.size() - 1", or
// 0x2828EABB "separatorIndex == specs.size() - 1" within a nested split, for an empty separator before the last spec;
// what was appended until then stays.
BRV_EXPORT void GenerateSplitCalcsUsingSplitFunc(
    const TString& fieldExpression, std::vector<SplitSpec>& specs, std::vector<TString>& result, bool fromEnd);

// How many samples the ICU regular expression matches from end to end. Throws LogicException with ICU's name of the error:
// 0xB21FCE6B for a pattern that is none, 0x33E53DA5 for one that costs too much on a sample, by a count of steps or
// its memory, the same on every machine. A pattern is judged even when there are no samples. Takes up to the samples times that count and
// asks nobody in between: a host that wants to cancel calls it on slices of the samples.
BRV_EXPORT std::size_t CountSplitRegExpMatches(const TString& pattern, const std::set<TString>& samples);
