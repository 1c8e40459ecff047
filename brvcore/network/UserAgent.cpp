#include "brvcore/network/UserAgent.h"

#include "brvcore/Version.h"
#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/TFormatString.h"

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

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

// What the text is made of, besides what stays the same as long as the process runs.
struct Facts
{
    AppConfig::HostKind hostKind;
    bool isLegacyClient;
    TString language;
    TString oemName;
    TString edition;

    bool operator==(const Facts&) const = default;
};

TString Format(const Facts& facts)
{
    return TFormatString(u"%1 %2; %3; %4; %5; %6; %7;")
        .arg(DisplayName(facts.hostKind))
        .arg(TString::FromUTF8(BrvcoreLibraryVersion()))
        .arg(OperatingSystem())
        .arg(facts.isLegacyClient ? u"legacy-client" : u"libcurl-client")
        .arg(u"64-bit")
        .arg(facts.language)
        .arg(facts.oemName.IsEmpty() ? facts.edition : TFormatString(u"oem (%1)").arg(facts.oemName).result())
        .result();
}

}   // namespace

// The text costs several times what the rest of a request's head does, and is the same for one request after another.
TString MakeUserAgent(const TString& language)
{
    struct Last
    {
        Facts facts;
        TString text;
    };
    thread_local std::optional<Last> last;
    Facts facts{AppConfig::GetHostKind(), AppConfig::IsLegacyHttpClient(),
        language.IsEmpty() ? AppConfig::GetDefaultLanguage() : language, AppConfig::GetOemName(),
        AppConfig::GetProductEdition()};
    if (!last || last->facts != facts)
    {
        TString text = Format(facts);
        last = Last{std::move(facts), std::move(text)};
    }
    return last->text;
}
