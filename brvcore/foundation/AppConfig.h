#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>

// What kind of program has loaded the library, what product it is part of, and which optional features it has switched on.
// Set once at start by the host; may be set and read from any thread.
namespace AppConfig
{

enum class HostKind
{
    CommandLine,
    Desktop,
    Server,
    HostedService,       // the maker's own service, for many customers
    SyncClient,          // keeps copies of remote data up to date, seen by the user
    SyncClientService,   // the same without a user
    DataPreparation,
};

BRV_EXPORT void SetHostKind(HostKind kind) noexcept;   // CommandLine until set
BRV_EXPORT HostKind GetHostKind() noexcept;
BRV_EXPORT bool GetOnlineServer() noexcept;   // true in the hosted service

// Of the product, for people and for servers' statistics; "standard" until set.
BRV_EXPORT void SetProductEdition(const TString& edition);
BRV_EXPORT TString GetProductEdition();
// Who sells the product under a name of his own; empty, as at the start, when nobody does.
BRV_EXPORT void SetOemName(const TString& name);
BRV_EXPORT TString GetOemName();
// The language tag of users who chose none; "en" until set.
BRV_EXPORT void SetDefaultLanguage(const TString& tag);
BRV_EXPORT TString GetDefaultLanguage();
// What servers are told of the HTTP client: the one before this library's. The transfers do not change.
BRV_EXPORT void SetLegacyHttpClient(bool isEnabled) noexcept;   // off until set
BRV_EXPORT bool IsLegacyHttpClient() noexcept;

// Features are off until switched on. Throws LogicException 0xC35D218F "!name.IsEmpty()" for an empty name.
BRV_EXPORT void SetFeature(const TString& name, bool isEnabled);
BRV_EXPORT bool IsFeatureEnabled(const TString& name);

// Features that a remote service switches by number. Off until switched on.
BRV_EXPORT void SetFeatureFlag(std::uint32_t identifier, bool isOn);
BRV_EXPORT bool IsFeatureFlagOn(std::uint32_t identifier);

}   // namespace AppConfig
