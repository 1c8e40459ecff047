#include "brvcore/string/KeyedPool.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// Counts who is alive.
struct Resource
{
    Resource(std::atomic<int>& liveCount, int madeFor) : live(liveCount), origin(madeFor) { ++live; }
    ~Resource() { --live; }
    Resource(const Resource&) = delete;
    Resource& operator=(const Resource&) = delete;

    std::atomic<int>& live;
    int origin;
    int users = 0;   // not atomic: an object handed to two users is a data race
};

constexpr std::size_t kMaxIdle = 3;

class PoolTest : public testing::Test
{
protected:
    std::atomic<int> m_live{0};
    std::atomic<int> m_made{0};
    std::unique_ptr<BoundedPool<Resource>> m_pool = std::make_unique<BoundedPool<Resource>>(
        [this] { return std::make_unique<Resource>(m_live, ++m_made); }, kMaxIdle);
};

}   // namespace

TEST_F(PoolTest, ReusesWhatComesBack)
{
    const Resource* first = m_pool->Get().get();   // given back at once
    EXPECT_EQ(m_pool->CountIdle(), 1u);
    const std::shared_ptr<Resource> again = m_pool->Get();
    EXPECT_EQ(again.get(), first);
    const std::shared_ptr<Resource> sameUser = again;
    EXPECT_NE(m_pool->Get().get(), first);   // still in use
    EXPECT_EQ(m_made, 2);
}

TEST_F(PoolTest, KeepsNoMoreThanTheBound)
{
    std::vector<std::shared_ptr<Resource>> users;
    for (std::size_t i = 0; i < kMaxIdle + 2; ++i)
        users.push_back(m_pool->Get());
    users.clear();
    EXPECT_EQ(m_pool->CountIdle(), kMaxIdle);
    EXPECT_EQ(m_live, static_cast<int>(kMaxIdle));
}

TEST_F(PoolTest, ObjectsMayOutliveThePool)
{
    std::shared_ptr<Resource> user = m_pool->Get();
    m_pool->Get().reset();
    m_pool.reset();
    EXPECT_EQ(m_live, 1);   // the idle one went with the pool
    user.reset();
    EXPECT_EQ(m_live, 0);
}

TEST_F(PoolTest, NothingWaitsAfterShutDown)
{
    std::shared_ptr<Resource> user = m_pool->Get();
    m_pool->ShutDown();
    user.reset();
    EXPECT_EQ(m_live, 0);
    user = m_pool->Get();
    EXPECT_EQ(user->origin, 2);
    user.reset();
    EXPECT_EQ(m_live, 0);
}

TEST_F(PoolTest, RenewedObjectsAreNew)
{
    std::shared_ptr<Resource> user = m_pool->Get();
    m_pool->Get().reset();
    m_pool->Renew();
    EXPECT_EQ(m_live, 1);
    user.reset();   // made before
    EXPECT_EQ(m_live, 0);
    EXPECT_EQ(m_pool->Get()->origin, 3);
    EXPECT_EQ(m_pool->CountIdle(), 1u);
}

TEST(KeyedPool, EveryKeyHasItsOwn)
{
    std::atomic<int> live{0};
    KeyedPool<unsigned, Resource> pool(
        [&](unsigned key) { return std::make_unique<Resource>(live, static_cast<int>(key)); }, kMaxIdle);
    EXPECT_EQ(pool.Get(7)->origin, 7);
    EXPECT_EQ(pool.Get(8)->origin, 8);
    EXPECT_EQ(pool.Get(7)->origin, 7);
    EXPECT_EQ(live, 2);
    pool.ShutDown();
    EXPECT_EQ(pool.Get(9)->origin, 9);   // a key that comes later
    EXPECT_EQ(live, 0);
}

TEST(KeyedPool, AFailedFactoryLeavesThePoolUsable)
{
    std::atomic<int> live{0};
    bool fails = true;
    KeyedPool<unsigned, Resource> pool(
        [&](unsigned key)
        {
            if (fails)
                throw std::runtime_error("no data");
            return std::make_unique<Resource>(live, static_cast<int>(key));
        },
        kMaxIdle);
    EXPECT_THROW(pool.Get(7), std::runtime_error);
    fails = false;
    EXPECT_EQ(pool.Get(7)->origin, 7);
}

// Many threads take, use and give back, while one renews and at last shuts down.
TEST(KeyedPool, ThreadsNeverShareAnObject)
{
    std::atomic<int> live{0};
    std::atomic<int> shared{0};
    {
        KeyedPool<unsigned, Resource> pool(
            [&](unsigned key) { return std::make_unique<Resource>(live, static_cast<int>(key)); }, kMaxIdle);
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int t = 0; t < 4; ++t)
            threads.emplace_back(
                [&]
                {
                    for (unsigned i = 0; i < 5000; ++i)
                    {
                        const std::shared_ptr<Resource> resource = pool.Get(i % 3);
                        if (++resource->users != 1 || resource->origin != static_cast<int>(i % 3))
                            ++shared;
                        --resource->users;
                    }
                });
        for (unsigned i = 0; i < 200; ++i)
            pool.Renew(i % 3);
        pool.ShutDown();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(pool.CountIdle(0), 0u);
        EXPECT_EQ(live, 0);
    }
    EXPECT_EQ(shared, 0);
}
