#include "brvcore/network/UserAgent.h"

#include "brvcore/Version.h"
#include "brvcore/foundation/AppConfig.h"

#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>

TEST(UserAgent, TellsWhatAsks)
{
    utsname system = {};
    ASSERT_EQ(uname(&system), 0);
    const std::string version = BrvcoreLibraryVersion();
    const std::string place3 = std::string(system.sysname) + ' ' + system.release;

    EXPECT_EQ(MakeUserAgent({}).ToUTF8(),
        "Brevion Command Line " + version + "; " + place3 + "; libcurl-client; 64-bit; en; standard;");

    AppConfig::SetHostKind(AppConfig::HostKind::HostedService);
    AppConfig::SetProductEdition(u"%6 edition");   // no placeholder of ours
    AppConfig::SetDefaultLanguage(u"fr");
    AppConfig::SetLegacyHttpClient(true);
    EXPECT_TRUE(AppConfig::GetOnlineServer());
    EXPECT_EQ(MakeUserAgent({}).ToUTF8(),
        "Brevion Online " + version + "; " + place3 + "; legacy-client; 64-bit; fr; %6 edition;");
    AppConfig::SetOemName(u"Vendor");
    EXPECT_THAT(MakeUserAgent(u"de").ToUTF8(), testing::EndsWith("; legacy-client; 64-bit; de; oem (Vendor);"));

    AppConfig::SetOemName({});
    AppConfig::SetProductEdition(u"standard");
    AppConfig::SetDefaultLanguage(u"en");
    AppConfig::SetLegacyHttpClient(false);
    AppConfig::SetHostKind(AppConfig::HostKind::CommandLine);
}

TEST(UserAgent, EveryKindOfHostHasItsName)
{
    using enum AppConfig::HostKind;
    std::set<TString> agents;
    for (const AppConfig::HostKind kind :
        {CommandLine, Desktop, Server, HostedService, SyncClient, SyncClientService, DataPreparation})
    {
        AppConfig::SetHostKind(kind);
        agents.insert(MakeUserAgent({}));
        EXPECT_EQ(AppConfig::GetOnlineServer(), kind == HostedService);
    }
    AppConfig::SetHostKind(CommandLine);
    EXPECT_EQ(agents.size(), 7U);
}
