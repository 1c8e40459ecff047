#include "brvcore/foundation/IProgressReporter.h"

IProgressReporter::~IProgressReporter() = default;
