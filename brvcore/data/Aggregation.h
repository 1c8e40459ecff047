#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/data/AggTypeUserNames.h"
#include "brvcore/data/MessageCatalogue.h"
#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DataType.h"
#include "brvcore/foundation/TString.h"

// Names, categories and levels of the aggregations and date derivations. Any thread may call.
//
// Values without a meaning (25, 42 to 45, 50 to 53, and all outside 0 to 55) belong to no category, and their swap and roll-up
// are None. Letter case is changed by the rules of the root locale, whatever the user's language.

// The name in saved documents. Throws LogicException 0x61D5A2FA "Unknown AggType" for a value without one.
BRV_EXPORT TString XMLFromAggType(AggType aggType);
// Exact and case-sensitive. Throws std::out_of_range "map::at:  key not found" for an unknown name.
BRV_EXPORT AggType AggTypeFromXML(const TString& name);

// The aggregation of a formula function, such as "SUM"; None for an unknown one. Both functions change the given name to
// upper case.
BRV_EXPORT AggType AggTypeFromAggFunctionName(TString& name);
// Without a date part: an aggregation as above or the part of a date that a function such as "YEAR" takes. With one:
// "DATETRUNC" and "DATEPART" of it, which is in lower case ("month", "iso-week"). None for everything else.
BRV_EXPORT AggType DerivationTypeFromFunctionName(TString& functionName, const TString& datePart);

// Computed from the answer of a query rather than by the source of the data: Attribute.
BRV_EXPORT bool AggFuncIsLocal(AggType aggType) noexcept;
// Makes one value of many. A date derivation, None and InOut do not.
BRV_EXPORT bool AggFuncIsAggregation(AggType aggType) noexcept;
// A part of a date, as a number.
BRV_EXPORT bool AggFuncIsDateBin(AggType aggType) noexcept;
// A date cut to a level.
BRV_EXPORT bool AggFuncIsDateTrunc(AggType aggType) noexcept;
// A year of any kind.
BRV_EXPORT bool AggFuncIsTopOfDateTimeHierarchy(AggType aggType) noexcept;
// A part of a date whose numbers lie in one row, which month with year (MY) and the full date (MDY) do not.
BRV_EXPORT bool IsLinearDateTimeDomain(AggType aggType) noexcept;
// A part of a date or a cut date of at least a day: hours, minutes and seconds are left out.
BRV_EXPORT bool IsDateAggregation(AggType aggType) noexcept;
BRV_EXPORT bool IsISODateAgg(AggType aggType) noexcept;
// Whether a part of a date or a cut date may label a continuous axis: all but MY and MDY.
// Throws LogicException 0x24F51ACF "Invalid aggregation type" for everything else.
BRV_EXPORT bool IsDateBinContinuous(AggType aggType);

// The cut date of the same level for a part of a date, and the reverse; None where there is no counterpart.
BRV_EXPORT AggType SwapDateAggMethod(AggType aggType) noexcept;
// The next coarser level of the same kind; None for a year and where there is none. A day rolls up to its month.
BRV_EXPORT AggType RollupDateAgg(AggType aggType) noexcept;

// The type of an aggregation's values. Integers and reals are numeric, dates and date-times temporal; an aggregation that
// needs the one and gets something else has the type Unknown.
// Throws LogicException 0xAEC37B10 "Invalid aggregation type" for a value without a meaning.
BRV_EXPORT DataType DataTypeFromAggType(AggType aggType, DataType inputType);
