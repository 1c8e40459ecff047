#include "brvcore/network/UserAgent.h"

#include "brvcore/Version.h"
#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/TFormatString.h"

#include <cerrno>
#include <system_error>

#include <sys/utsname.h>

namespace
{

TString DisplayName(AppConfig::HostKind kind)
{
    switch (kind)
    {
    case AppConfig::HostKind::CommandLine:
        return u"Brevion Command Line";
    case AppConfig::HostKind::Desktop:
        return u"Brevion Desktop";
    case AppConfig::HostKind::Server:
        return u"Brevion Server";
    case AppConfig::HostKind::HostedService:
        return u"Brevion Online";
    case AppConfig::HostKind::SyncClient:
        return u"Brevion Sync";
    case AppConfig::HostKind::SyncClientService:
        return u"Brevion Sync Service";
    case AppConfig::HostKind::DataPreparation:
        return u"Brevion Data Preparation";
    }
    return kBareUserAgent;
}

TString OperatingSystem()
{
    utsname name = {};
    if (uname(&name) != 0)
        throw std::system_error(errno, std::generic_category(), "uname");
    return TString::FromUTF8(name.sysname) + u" " + TString::FromUTF8(name.release);
}

TString Edition()
{
    const TString oemName = AppConfig::GetOemName();
    return oemName.IsEmpty() ? AppConfig::GetProductEdition() : TFormatString(u"oem (%1)").arg(oemName).result();
}

}   // namespace

TString MakeUserAgent(const TString& language)
{
    return TFormatString(u"%1 %2; %3; %4; %5; %6; %7;")
        .arg(DisplayName(AppConfig::GetHostKind()))
        .arg(TString::FromUTF8(BrvcoreLibraryVersion()))
        .arg(OperatingSystem())
        .arg(AppConfig::IsLegacyHttpClient() ? u"legacy-client" : u"libcurl-client")
        .arg(u"64-bit")
        .arg(language.IsEmpty() ? AppConfig::GetDefaultLanguage() : language)
        .arg(Edition())
        .result();
}
