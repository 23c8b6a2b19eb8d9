#include "host/core/XProgress.h"
#include "host/core/XListener.h"
#include "host/core/XProgressCenter.h"
#include "host/core/XProgressMessage.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace
{
// Keeps a copy of every progress message spoken while it lives.
class XProgressRecorder : public XListener
{
public:
    XProgressRecorder() { Subscribe(XProgressCenter::Get()); }
    ~XProgressRecorder() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (dynamic_cast<const XProgressMessage*>(&inMessage) != nullptr)
        {
            const std::lock_guard lock(itsMutex);
            itsMessages.emplace_back(static_cast<XProgressMessage*>(inMessage.Clone().release()));
        }
    }

    std::vector<std::unique_ptr<XProgressMessage>> Take()
    {
        const std::lock_guard lock(itsMutex);
        return std::move(itsMessages);
    }

private:
    std::mutex itsMutex;
    std::vector<std::unique_ptr<XProgressMessage>> itsMessages;
};

std::vector<int> PercentsOf(const std::vector<std::unique_ptr<XProgressMessage>>& inMessages)
{
    std::vector<int> percents;
    for (const auto& message : inMessages)
    {
        if (!message->IsDone())
        {
            percents.push_back(message->GetPercent());
        }
    }
    return percents;
}
} // namespace

TEST(XProgressTest, EveryWholePercentIsSpokenOnce)
{
    XProgressRecorder recorder;
    std::uint64_t id = 0;
    {
        XProgress progress(10);
        id = progress.GetID();
        EXPECT_EQ(progress.GetTotalSteps(), 10u);
        EXPECT_EQ(progress.GetType(), 3);
        EXPECT_TRUE(recorder.Take().empty()); // nothing to tell yet
        for (int i = 0; i < 10; ++i)
        {
            progress.Increment();
        }
        progress.Increment(); // beyond the total: still 100, not spoken again
        EXPECT_EQ(progress.GetPercent(), 100);
    }
    const auto messages = recorder.Take();
    EXPECT_EQ(PercentsOf(messages), (std::vector<int>{10, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
    ASSERT_EQ(messages.size(), 11u);
    EXPECT_TRUE(messages.back()->IsDone());
    EXPECT_EQ(messages.back()->GetPercent(), 100);
    for (const auto& message : messages)
    {
        EXPECT_EQ(message->GetProgressID(), id);
        EXPECT_EQ(message->GetSpeaker(), &XProgressCenter::Get());
        EXPECT_EQ(message->GetDelayMilliseconds(), 2000);
    }

    // Three steps truncate to 33 and 66; a thousand steps give each percent once.
    {
        XProgress thirds(3, 3, 0);
        thirds.Increment();
        thirds.Increment();
        thirds.Increment();
    }
    EXPECT_EQ(PercentsOf(recorder.Take()), (std::vector<int>{33, 66, 100}));
    {
        XProgress planes(1000);
        for (int i = 0; i < 1000; ++i)
        {
            planes.Increment();
        }
    }
    std::vector<int> expected(100);
    for (int i = 0; i < 100; ++i)
    {
        expected[i] = i + 1;
    }
    EXPECT_EQ(PercentsOf(recorder.Take()), expected);
}

TEST(XProgressTest, MessageChangesAreSpokenWithTheCurrentPercent)
{
    XProgressRecorder recorder;
    {
        XProgress progress(1, 3, 2000, false);
        progress.SetMessage("Preparing data...");
        progress.SetMessage("Preparing data..."); // unchanged: silent
        progress.SetPercent(40);
        progress.SetPercent(40);
        progress.SetMessage("Rendering");
    }
    const auto messages = recorder.Take();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0]->GetText(), "Preparing data...");
    EXPECT_EQ(messages[0]->GetPercent(), 0);
    EXPECT_EQ(messages[1]->GetText(), "Preparing data...");
    EXPECT_EQ(messages[1]->GetPercent(), 40);
    EXPECT_EQ(messages[2]->GetText(), "Rendering");
    EXPECT_EQ(messages[2]->GetPercent(), 40);
    EXPECT_FALSE(messages[2]->IsDone());
    EXPECT_EQ(messages[3]->GetText(), "Rendering");
    EXPECT_TRUE(messages[3]->IsDone());
    EXPECT_EQ(messages[3]->GetPercent(), 40); // an unfinished operation does not claim 100
}

TEST(XProgressTest, PercentIsClampedAndEmptyProgressStaysAtZero)
{
    XProgressRecorder recorder;
    {
        XProgress progress(4);
        progress.SetPercent(150);
        progress.SetPercent(-5);
        EXPECT_EQ(progress.GetPercent(), 0);
    }
    EXPECT_EQ(PercentsOf(recorder.Take()), (std::vector<int>{100, 0}));
    {
        XProgress empty(0);
        empty.Increment(5);
        EXPECT_EQ(empty.GetPercent(), 0);
    }
    const auto messages = recorder.Take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0]->IsDone());
    EXPECT_EQ(messages[0]->GetPercent(), 0);
}

TEST(XProgressTest, ConcurrentIncrementsNeverRepeatAPercent)
{
    XProgressRecorder recorder;
    {
        XProgress progress(1000);
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
        {
            threads.emplace_back(
                [&]
                {
                    for (int i = 0; i < 250; ++i)
                    {
                        progress.Increment();
                    }
                });
        }
        for (auto& thread : threads)
        {
            thread.join();
        }
        EXPECT_EQ(progress.GetPercent(), 100);
    }
    const std::vector<int> percents = PercentsOf(recorder.Take());
    const std::set<int> distinct(percents.begin(), percents.end());
    EXPECT_EQ(distinct.size(), percents.size());
    ASSERT_FALSE(distinct.empty());
    EXPECT_EQ(*distinct.rbegin(), 100);
    EXPECT_GE(*distinct.begin(), 1);
}

TEST(XProgressTest, ProgressesAreToldApartAndMessagesCloneWholly)
{
    const XProgressMessage message(&XProgressCenter::Get(), 7, "Copying planes", 55, true, 250);
    const std::unique_ptr<XMessage> copy = message.Clone();
    const auto* progress = dynamic_cast<const XProgressMessage*>(copy.get());
    ASSERT_NE(progress, nullptr);
    EXPECT_EQ(progress->GetSpeaker(), &XProgressCenter::Get());
    EXPECT_EQ(progress->GetProgressID(), 7u);
    EXPECT_EQ(progress->GetText(), "Copying planes");
    EXPECT_EQ(progress->GetPercent(), 55);
    EXPECT_TRUE(progress->IsDone());
    EXPECT_EQ(progress->GetDelayMilliseconds(), 250);

    const XProgress first(1);
    const XProgress second(1);
    EXPECT_NE(first.GetID(), second.GetID());
}
