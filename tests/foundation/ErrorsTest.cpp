#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/RefCntObject.h"
#include "tests/support/LogicAssert.h"

#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

static_assert(std::is_nothrow_copy_constructible_v<LogicException>, "an exception is copied while another flies");

TEST(LogicException, CarriesWhatSupportNeeds)
{
    const BrevionError error = BrevionError::MakeError(0x12345678, u"caf\u00E9 is closed");
    try
    {
        ThrowLogicException("transforms/LinearAlgebra", 42, "Open", error);
        FAIL();
    }
    catch (const std::exception& exception)
    {
        EXPECT_STREQ(exception.what(), "caf\xC3\xA9 is closed");
        const auto& logic = dynamic_cast<const LogicException&>(exception);
        EXPECT_EQ(logic.GetError(), error);
        EXPECT_EQ(logic.GetErrorInfo().GetSource(), TError::ErrorSource::Library);
        EXPECT_EQ(logic.GetFile(), "transforms/LinearAlgebra");
        EXPECT_EQ(logic.GetLine(), 42);
        EXPECT_EQ(logic.GetFunction(), "Open");
    }
    LogicException original("data/Aggregation", 1, "f", error);
    const LogicException moved = std::move(original);
    EXPECT_STREQ(original.what(), moved.what()) << "also after a move";
    EXPECT_EQ(TError::ErrorInfo::NoError(), TError::ErrorInfo());
    EXPECT_FALSE(TError::ErrorInfo::NoError().IsError());
}

namespace
{

struct Node : RefCntObject
{
    explicit Node(int& count) : alive(count) { ++alive; }
    ~Node() override { --alive; }
    int& alive;
};

}   // namespace

TEST(RefCntPtr, EndsTheObjectWithTheLastReference)
{
    int alive = 0;
    {
        RefCntPtr<Node> a = MakeRefCnt<Node>(alive);
        RefCntPtr<RefCntObject> base = a;
        RefCntPtr<Node> b = std::move(a);
        EXPECT_EQ(a, nullptr);
        b = RefCntPtr<Node>(b);   // to itself
        EXPECT_EQ(alive, 1);
        EXPECT_EQ(b->GetRefCount(), 2U);
        b = nullptr;
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(RefCntPtr, NullIsNotDereferenced)
{
    const RefCntPtr<Node> null;
    EXPECT_LOGIC_ASSERT(null->alive, 0x5B1E7C02, "pointer != nullptr");
    EXPECT_LOGIC_ASSERT(*null, 0x5B1E7C02, "pointer != nullptr");
}

TEST(RefCntPtr, CountsOnManyThreads)
{
    int alive = 0;
    RefCntPtr<Node> shared = MakeRefCnt<Node>(alive);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [shared]
            {
                for (int i = 0; i < 5000; ++i)
                    RefCntPtr<Node> copy = shared;
            });
    shared = nullptr;
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(alive, 0);
}
