#include "host/core/XRefCountable.h"
#include "host/core/XSharedHandle.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{
struct XCounted : XRefCountable
{
    explicit XCounted(int* inDeaths) : itsDeaths(inDeaths) {}
    ~XCounted() override { ++*itsDeaths; }
    int* itsDeaths;
};

struct XPlain
{
    explicit XPlain(int* inDeaths) : itsDeaths(inDeaths) {}
    ~XPlain() { ++*itsDeaths; }
    int* itsDeaths;
};
} // namespace

TEST(XSharedOwnershipTest, ReferencesCountCopiesAndTheLastReleaseDeletes)
{
    int deaths = 0;
    {
        XRef<XCounted> first = XMakeRef<XCounted>(&deaths);
        EXPECT_EQ(first->GetReferenceCount(), 1);
        XRef<XCounted> second = first;
        EXPECT_EQ(first->GetReferenceCount(), 2);
        second = second; // self-assignment keeps the object alive
        EXPECT_EQ(first->GetReferenceCount(), 2);
        XRef<XCounted> moved = std::move(second);
        EXPECT_FALSE(second);
        EXPECT_EQ(first->GetReferenceCount(), 2);
        first = nullptr;
        EXPECT_EQ(deaths, 0);
        EXPECT_EQ(moved->GetReferenceCount(), 1);

        // A copy of the object itself is a new object with its own count of 1.
        XRef<XCounted> copy = XMakeRef<XCounted>(*moved);
        EXPECT_EQ(copy->GetReferenceCount(), 1);
        EXPECT_EQ(moved->GetReferenceCount(), 1);
    }
    EXPECT_EQ(deaths, 2);
}

TEST(XSharedOwnershipTest, CountsStayExactUnderConcurrentCopies)
{
    int deaths = 0;
    XRef<XCounted> object = XMakeRef<XCounted>(&deaths);
    XSharedHandle<XPlain> handle(std::make_unique<XPlain>(&deaths));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 20000; ++i)
                {
                    XRef<XCounted> copy = object;
                    XSharedHandle<XPlain> handleCopy = handle;
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(object->GetReferenceCount(), 1);
    EXPECT_EQ(handle.GetReferenceCount(), 1);
    EXPECT_EQ(deaths, 0);
    object = nullptr;
    handle.Reset();
    EXPECT_EQ(deaths, 2);
}

TEST(XSharedOwnershipTest, SharedHandleDeletesHolderAndObjectWithTheLastHandle)
{
    int deaths = 0;
    XSharedHandle<XPlain> empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.GetReferenceCount(), 0);
    {
        XSharedHandle<XPlain> first(std::make_unique<XPlain>(&deaths));
        XSharedHandle<XPlain> second = first;
        EXPECT_EQ(second.GetReferenceCount(), 2);
        EXPECT_EQ(first.Get(), second.Get());
        first = empty;
        EXPECT_EQ(second.GetReferenceCount(), 1);
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 1);
}
