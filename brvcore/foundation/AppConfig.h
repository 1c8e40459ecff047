#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

// What kind of program has loaded the library, and which optional features it has switched on. Set once at start by the
// host, read from any thread.
namespace AppConfig
{

enum class HostKind
{
    CommandLine,
    Desktop,
    Server,
};

BRV_EXPORT void SetHostKind(HostKind kind) noexcept;   // CommandLine until set
BRV_EXPORT HostKind GetHostKind() noexcept;

// Features are off until switched on. Throws LogicException 0xC35D218F "!name.IsEmpty()" for an empty name.
BRV_EXPORT void SetFeature(const TString& name, bool isEnabled);
BRV_EXPORT bool IsFeatureEnabled(const TString& name);

}   // namespace AppConfig
