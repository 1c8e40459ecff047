#include "brvcore/network/StringHTTPRequestor.h"
#include "brvcore/network/TNetworkAccessManager.h"
#include "tests/support/LoopbackServer.h"

#include <QNetworkProxy>
#include <string>

#include <gtest/gtest.h>

namespace
{

// A user who is asked by a proxy, and answers or declines.
struct User : TClientContext
{
    explicit User(bool isWilling) : answers(isWilling) {}

    std::optional<ProxyCredentials> AskForProxyCredentials(const TString& proxyHost) override
    {
        EXPECT_EQ(proxyHost, TString(u"127.0.0.1"));
        ++asked;
        return answers ? std::optional(ProxyCredentials{u"user", u"password"}) : std::nullopt;
    }

    bool answers;
    int asked = 0;
};

}   // namespace

// Through a tunnel (TLS) and without one.
TEST(ProxyAuthentication, AsksOnce)
{
    const LoopbackServer& server = LoopbackServer::Instance();
    for (const bool isTls : {false, true})
        for (const bool isShown : {false, true})
            for (const bool answers : {false, true})
            {
                SCOPED_TRACE(std::string(isTls ? "TLS " : "") + (isShown ? "shown " : "") + (answers ? "answers" : ""));
                User user(answers);
                user.GetNetworkAccessManager().SetProxy(
                    QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", server.GetPort("proxy_auth")));
                StdStringHTTPRequestor requestor(
                    isTls ? server.Https("/bytes?n=3") : server.Http("/bytes?n=3"), u"GET");
                requestor.SetContext(&user);
                requestor.SetShowAuthenticationUI(isShown);
                requestor.SetCAFilename(server.GetCAFile());
                if (isShown && answers)
                    EXPECT_EQ(requestor.GetResult(false).size(), 3U);
                else if (isTls)
                    EXPECT_THROW(requestor.GetResult(false), NetworkException);
                else
                    EXPECT_THROW(requestor.GetResult(false), HTTPException);
                EXPECT_EQ(user.asked, isShown ? 1 : 0);
                EXPECT_EQ(requestor.GetProxyAuthenticationCanceled(), isShown && !answers);
            }
}
