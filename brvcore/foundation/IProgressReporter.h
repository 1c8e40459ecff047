#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

// Told by long work how far it is. Lent by the host for the length of the call; called on the thread that works, with
// values that do not decrease. What it throws ends the work and reaches the caller.
class BRV_EXPORT IProgressReporter
{
public:
    virtual ~IProgressReporter();

    // `fraction` of the work is done, in [0, 1]; `step` names the stage and may be empty.
    virtual void ReportProgress(double fraction, const TString& step) = 0;
};
