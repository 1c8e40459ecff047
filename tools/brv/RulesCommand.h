#pragma once

#include "Failure.h"
#include "Options.h"

// Judges addresses by lists of rules: prints whether each passes and which rule says so. ExitCode::Refused when one does
// not.
ExitCode RunCommand(const RulesOptions& options);
