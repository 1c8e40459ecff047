#include "brvcore/runtime/CacheFreshnessDeterminer.h"

#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/AppOptions.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/runtime/SessionContext.h"
#include "tests/support/CapturingLogSink.h"
#include "tests/support/LogicAssert.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

#include <gmock/gmock.h>

namespace
{

using Freshness = ICacheFreshnessDeterminer;
using Msg = RefCntPtr<Freshness::QueryCacheTsMsg>;
using testing::ElementsAre;
using testing::IsEmpty;

const DateTime kEpoch(1899, 12, 30);
const DateTime kNow(2021, 3, 4, 5, 6, 7);

DateTime At(int hour, int minute = 0)
{
    return {2021, 3, 4, hour, minute};
}

DateTimeSpan Minutes(int count)
{
    return DateTimeSpan::FromSeconds(std::int64_t{60} * count);
}

struct StoppedClock : IClock
{
    std::chrono::steady_clock::time_point SteadyNow() override { return {}; }
    DateTime UniversalNow() override { return kNow; }
    void Sleep(std::chrono::nanoseconds) override {}
};

class CacheFreshness : public testing::Test
{
protected:
    ~CacheFreshness() override
    {
        Clock::Replace(m_clock);
        AppConfig::SetFeatureFlag(0xFC275D5C, false);
        AppConfig::SetHostKind(AppConfig::HostKind::CommandLine);
        AppOptions::Reset(u"ExternalCacheRedisAlwaysSetExSec");
        AppOptions::Reset(u"ExternalCacheMaxDataLifetimeMinutes");
    }

    std::shared_ptr<IClock> m_clock = Clock::Replace(std::make_shared<StoppedClock>());
    std::shared_ptr<Freshness::QueryCacheTsObservable> m_observable =
        std::make_shared<Freshness::QueryCacheTsObservable>();
    std::unique_ptr<CacheFreshnessDeterminer> m_freshness = Freshness::Build(m_observable);
};

TEST_F(CacheFreshness, TurnsAnOffsetIntoATimestamp)
{
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), kEpoch) << "any cached result will do";
    struct Case
    {
        DateTimeSpan offset;
        DateTime lowest;
        const char* why;
    };
    const Case cases[] = {
        {Minutes(30), DateTime(2021, 3, 4, 4, 36, 7), "half an hour old"},
        {DateTimeSpan::FromTicks(1), DateTime(2021, 3, 4, 5, 6, 6, 9'999'999), "the least age"},
        {{}, kNow, "no age"},
        {DateTimeSpan::FromSeconds(-59), kNow, "between none and the mark"},
        {DateTimeSpan::FromTicks(-599'999'999), kNow, "just above the mark of minus one minute"},
        {Minutes(-1), kEpoch, "the mark itself"},
        {Minutes(-2), kEpoch, "below it"},
        {DateTimeSpan::FromTicks(std::numeric_limits<std::int64_t>::min()), kEpoch, "the least offset"},
    };
    for (const Case& c : cases)
    {
        m_freshness->SetLowestQueryCacheTSOffset(c.offset, false);
        EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), c.lowest) << c.why;
    }
    m_freshness->SetLowestQueryCacheTS(At(1), {{u"A", At(2)}}, false);
    EXPECT_THROW(m_freshness->SetLowestQueryCacheTSOffset(DateTimeSpan::FromDays(3000 * 365), true), LogicException);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(2)) << "a failure changes nothing";
}

TEST_F(CacheFreshness, FollowsTheNewestExtract)
{
    m_freshness->SetLowestQueryCacheTS(At(10), {{u"A", At(11)}, {u"B", At(9)}}, false);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(11));
    EXPECT_EQ(m_freshness->GetNewestExtractTimestamp(), At(11));
    EXPECT_EQ(m_freshness->GetExtractTimestamp(u"B"), At(9));
    EXPECT_EQ(m_freshness->GetExtractTimestamp(u"b"), std::nullopt);

    m_freshness->SetLowestQueryCacheTSOffset(Minutes(-2), false);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(11)) << "an offset leaves the extracts as they are";
    EXPECT_EQ(m_freshness->GetExtractTimestamp(u"B"), At(9));

    m_freshness->SetLowestQueryCacheTS(At(10), {{u"B", At(9)}}, false);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(10));
    EXPECT_EQ(m_freshness->GetExtractTimestamp(u"A"), std::nullopt) << "replaced as a whole";
    m_freshness->SetLowestQueryCacheTS(At(8), {}, false);
    EXPECT_EQ(m_freshness->GetNewestExtractTimestamp(), std::nullopt);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(8)) << "earlier than before";
}

TEST_F(CacheFreshness, CountsOnlyTheNamedDataSources)
{
    const CapturedLog log;
    const auto lowest = [this](const std::vector<TString>& names)
    { return m_freshness->GetLowestQueryCacheTimeForDatasources(names); };
    m_freshness->SetLowestQueryCacheTS(At(10), {}, false);
    EXPECT_EQ(lowest({u"A"}), At(10)) << "no extracts";
    m_freshness->SetLowestQueryCacheTS(At(12), {{u"A", At(11)}}, false);
    EXPECT_EQ(lowest({u"A"}), At(12)) << "later than every extract";

    const DateTime half(2021, 3, 4, 10, 30, 0, 7'009'999);   // 0.7009999 s: cut to the millisecond
    m_freshness->SetLowestQueryCacheTS(At(10), {{u"A", At(11)}, {u"B", At(9)}, {u"C%1", half}, {u"D", At(11)}}, false);
    EXPECT_EQ(lowest({}), At(10));
    EXPECT_EQ(lowest({u"B", u"unknown"}), At(10));
    EXPECT_THAT(log.GetMessages(), IsEmpty());

    EXPECT_EQ(lowest({u"A", u"B"}), At(11));
    EXPECT_EQ(lowest({u"C%1"}), half);
    EXPECT_EQ(lowest({u"C%1", u"D", u"A"}), At(11));
    const std::string start = "Debug: CacheFreshnessDeterminer::GetLowestQueryCacheTimeForDatasources using ";
    EXPECT_THAT(
        log.GetMessages(), ElementsAre(start + "newestTimestamp=2021-03-04 11:00:00.000 from newestDatasource=A.",
                               start + "newestTimestamp=2021-03-04 10:30:00.700 from newestDatasource=C%1.",
                               start + "newestTimestamp=2021-03-04 11:00:00.000 from newestDatasource=D."));
}

TEST_F(CacheFreshness, TellsObserversOfALaterTimestamp)
{
    int messages = 0;
    const auto registration = m_observable->Register([&](const Msg& message) { messages += message ? 1 : 0; });
    struct Step
    {
        DateTime lowest;
        Freshness::ExtractTimestamps extracts;
        bool notify;
        int messages;
        const char* why;
    };
    const Step steps[] = {
        {At(10), {}, true, 1, "later"},
        {At(10), {}, true, 1, "as before"},
        {At(9), {{u"A", At(10)}}, true, 1, "as before, through an extract"},
        {At(9), {{u"A", At(11)}}, true, 2, "a newer extract"},
        {At(8), {}, true, 2, "earlier"},
        {At(12), {}, false, 2, "later, but not to be told"},
        {At(11, 59), {}, true, 2, "earlier than what was not told"},
    };
    for (const Step& step : steps)
    {
        m_freshness->SetLowestQueryCacheTS(step.lowest, step.extracts, step.notify);
        EXPECT_EQ(messages, step.messages) << step.why;
    }
    const auto alone = Freshness::Build(nullptr);
    alone->SetLowestQueryCacheTS(At(10), {}, true);
    EXPECT_EQ(alone->GetLowestQueryCacheTS(), At(10)) << "without an observable";
}

TEST_F(CacheFreshness, ObserversMayChangeEverything)
{
    // One ends its own registration, begins another, and moves the timestamp on; each sees the state that is stored.
    std::vector<DateTime> seen;
    Freshness::QueryCacheTsObservable::Registration first, second;
    first = m_observable->Register(
        [&](const Msg&)
        {
            seen.push_back(m_freshness->GetLowestQueryCacheTS());
            second =
                m_observable->Register([&](const Msg&) { seen.push_back(*m_freshness->GetExtractTimestamp(u"A")); });
            first = {};
            m_freshness->SetLowestQueryCacheTS(At(12), {{u"A", At(13)}}, true);
        });
    m_freshness->SetLowestQueryCacheTS(At(10), {{u"A", At(11)}}, true);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(13));
    m_freshness->SetLowestQueryCacheTS(At(14), {{u"A", At(9)}}, true);
    EXPECT_THAT(seen, ElementsAre(At(11), At(13), At(9)));
}

TEST_F(CacheFreshness, KeepsItsNewStateWhenAnObserverThrows)
{
    const auto registration = m_observable->Register([](const Msg&) { throw std::runtime_error("observer"); });
    EXPECT_THROW(m_freshness->SetLowestQueryCacheTS(At(4), {{u"A", At(5)}}, true), std::runtime_error);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), At(5));
    EXPECT_EQ(m_freshness->GetExtractTimestamp(u"A"), At(5));
    EXPECT_THROW(m_freshness->SetLowestQueryCacheTSOffset({}, true), std::runtime_error);
    EXPECT_EQ(m_freshness->GetLowestQueryCacheTS(), kNow);
    EXPECT_EQ(m_freshness->GetExtractTimestamp(u"A"), At(5));
}

// With the session goes the last owner of the observable that is calling; the observers behind are still told.
TEST_F(CacheFreshness, AnObserverMayEndTheSession)
{
    int messages = 0;
    auto session = std::make_unique<SessionContext>(m_observable);
    const auto first = m_observable->Register([&](const Msg&) { session.reset(); });
    const auto second = m_observable->Register([&](const Msg&) { ++messages; });
    m_freshness.reset();
    m_observable.reset();
    session->GetCacheFreshnessDeterminer().SetLowestQueryCacheTS(At(10), {}, true);
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(messages, 1);
}

TEST_F(CacheFreshness, StoresAsLongAsTheWorkbookSays)
{
    constexpr std::int64_t kMany = std::numeric_limits<std::int64_t>::max();
    constexpr int kMostMinutes = std::numeric_limits<std::int32_t>::max();
    struct Case
    {
        int customMinutes;
        std::int64_t always;
        std::int64_t maxMinutes;
        bool flag;
        bool online;
        std::int64_t seconds;
        const char* why;
    };
    const Case cases[] = {
        {-1, 86400, 0, false, false, 86400, "the option's default"},
        {-5, 7200, 0, false, false, 7200, "negative minutes say nothing"},
        {0, 7200, 0, false, false, 0, "no minutes are an answer"},
        {2000, 86400, 0, false, true, 120000, "flag off"},
        {2000, 86400, 0, true, false, 120000, "not the online server"},
        {2000, 86400, 0, true, true, 86400, "a day at most"},
        {2000, 86400, -3, true, true, 86400, "a day at most, for any limit below 1"},
        {2000, 86400, 1, true, true, 60, "the option's limit"},
        {2000, 86400, 2000, true, true, 120000, "just within the limit"},
        {-1, 172800, 0, true, true, 86400, "the option's time is limited too"},
        {0, 86400, 0, true, true, 0, "0 is below every limit"},
        {kMostMinutes, 86400, 0, false, false, 128849018820, "4000 years of minutes"},
        {2000, 86400, kMany, true, true, 120000, "a limit beyond all seconds"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.why);
        AppOptions::Override(u"ExternalCacheRedisAlwaysSetExSec", c.always);
        AppOptions::Override(u"ExternalCacheMaxDataLifetimeMinutes", c.maxMinutes);
        AppConfig::SetFeatureFlag(0xFC275D5C, c.flag);
        AppConfig::SetHostKind(c.online ? AppConfig::HostKind::HostedService : AppConfig::HostKind::Server);
        m_freshness->SetWorkbookCustomFreshnessMinutes(c.customMinutes);
        const CapturedLog log;
        EXPECT_EQ(m_freshness->GetTTLSecToStoreInExternalCache(), c.seconds);
        const std::int64_t asked = c.customMinutes < 0 ? c.always : std::int64_t{60} * c.customMinutes;
        if (c.seconds == asked)
            EXPECT_THAT(log.GetMessages(), IsEmpty());
        else
            EXPECT_THAT(log.GetMessages(),
                ElementsAre("Info: External Query Cache TTL is capped to " + std::to_string(c.seconds) + "s seconds"));
    }
}

TEST_F(CacheFreshness, TheOptionsHaveDefaults)
{
    EXPECT_EQ(m_freshness->GetTTLSecToStoreInExternalCache(), 86400);
    m_freshness->SetWorkbookCustomFreshnessMinutes(1441);
    AppConfig::SetHostKind(AppConfig::HostKind::HostedService);
    EXPECT_EQ(m_freshness->GetTTLSecToStoreInExternalCache(), 86460);
    AppConfig::SetFeatureFlag(0xFC275D5C, true);
    EXPECT_EQ(m_freshness->GetTTLSecToStoreInExternalCache(), 86400);
}

}   // namespace
