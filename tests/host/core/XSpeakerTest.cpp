#include "host/core/XSpeaker.h"
#include "host/core/WEvent.h"
#include "host/core/XListener.h"
#include "host/core/XMessage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace
{
// A message with fields of its own, nested in its speaker as the renderer's messages are.
class XTestSpeaker : public XSpeaker
{
public:
    class XValueMessage : public XMessage
    {
    public:
        XValueMessage(const XSpeaker* inSpeaker, int inValue, std::string inLabel)
            : XMessage(inSpeaker), itsValue(inValue), itsLabel(std::move(inLabel))
        {
        }
        std::unique_ptr<XMessage> Clone() const override
        {
            return std::make_unique<XValueMessage>(*this);
        }
        int itsValue;
        std::string itsLabel;
    };

    void Say(int inValue) { SpeakMessage(XValueMessage(this, inValue, "value"), false); }
};

// Writes "name:value" for every value message it hears into a shared journal.
class XJournalListener : public XListener
{
public:
    XJournalListener(std::string inName, std::vector<std::string>& outJournal)
        : itsName(std::move(inName)), itsJournal(outJournal)
    {
    }
    ~XJournalListener() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (const auto* message = dynamic_cast<const XTestSpeaker::XValueMessage*>(&inMessage))
        {
            itsJournal.push_back(itsName + ":" + std::to_string(message->itsValue));
        }
    }

private:
    std::string itsName;
    std::vector<std::string>& itsJournal;
};

// Unsubscribes from its speaker on the first message it hears.
class XOneShotListener : public XJournalListener
{
public:
    XOneShotListener(std::vector<std::string>& outJournal, XSpeaker& inSpeaker)
        : XJournalListener("once", outJournal), itsSpeaker(inSpeaker)
    {
    }
    void HandleMessage(const XMessage& inMessage) override
    {
        XJournalListener::HandleMessage(inMessage);
        Unsubscribe(itsSpeaker);
    }

private:
    XSpeaker& itsSpeaker;
};

// Destroys itself (through its owner) inside HandleMessage.
class XSelfDestroyingListener : public XJournalListener
{
public:
    XSelfDestroyingListener(std::vector<std::string>& outJournal,
                            std::unique_ptr<XSelfDestroyingListener>& inOwner)
        : XJournalListener("self", outJournal), itsOwner(inOwner)
    {
    }
    void HandleMessage(const XMessage& inMessage) override
    {
        XJournalListener::HandleMessage(inMessage);
        itsOwner.reset();
    }

private:
    std::unique_ptr<XSelfDestroyingListener>& itsOwner;
};

// Counts messages and notes whether two deliveries ever overlapped.
class XCountingListener : public XListener
{
public:
    ~XCountingListener() override { UnsubscribeAll(); }
    void HandleMessage(const XMessage&) override
    {
        if (itsInCall.exchange(true))
        {
            itsOverlapped = true;
        }
        ++itsCount;
        itsInCall = false;
    }
    std::atomic<int> itsCount{0};
    std::atomic<bool> itsInCall{false};
    std::atomic<bool> itsOverlapped{false};
};
} // namespace

TEST(XSpeakerTest, MessagesCloneWithTheirFields)
{
    const XTestSpeaker speaker;
    const XTestSpeaker::XValueMessage message(&speaker, 42, "answer");
    const std::unique_ptr<XMessage> copy = message.Clone();
    const auto* value = dynamic_cast<const XTestSpeaker::XValueMessage*>(copy.get());
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->itsValue, 42);
    EXPECT_EQ(value->itsLabel, "answer");
    EXPECT_EQ(value->GetSpeaker(), &speaker);

    const XMessage plain(&speaker);
    const std::unique_ptr<XMessage> plainCopy = plain.Clone();
    EXPECT_EQ(plainCopy->GetSpeaker(), &speaker);
    EXPECT_EQ(dynamic_cast<const XTestSpeaker::XValueMessage*>(plainCopy.get()), nullptr);
    EXPECT_EQ(XMessage().GetSpeaker(), nullptr);
}

TEST(XSpeakerTest, ListenersHearInSubscriptionOrder)
{
    std::vector<std::string> journal;
    XTestSpeaker speaker;
    XJournalListener a("a", journal);
    XJournalListener b("b", journal);
    XJournalListener c("c", journal);
    XListener deaf; // the default handler ignores everything

    b.Subscribe(speaker);
    a.Subscribe(speaker);
    c.Subscribe(speaker);
    deaf.Subscribe(speaker);
    a.Subscribe(speaker); // already subscribed: no second delivery
    EXPECT_EQ(speaker.GetListenerCount(), 4u);
    speaker.Say(1);
    EXPECT_EQ(journal, (std::vector<std::string>{"b:1", "a:1", "c:1"}));

    journal.clear();
    a.Unsubscribe(speaker);
    a.Unsubscribe(speaker); // not subscribed: nothing happens
    EXPECT_FALSE(a.IsSubscribed(speaker));
    EXPECT_TRUE(b.IsSubscribed(speaker));
    speaker.Say(2);
    a.Subscribe(speaker); // comes back at the end
    speaker.Say(3);
    EXPECT_EQ(journal, (std::vector<std::string>{"b:2", "c:2", "b:3", "c:3", "a:3"}));
    EXPECT_EQ(speaker.GetListenerCount(), 4u);
}

TEST(XSpeakerTest, ListenersMayLeaveInsideHandleMessage)
{
    std::vector<std::string> journal;
    XTestSpeaker speaker;
    XJournalListener first("first", journal);
    XOneShotListener once(journal, speaker);
    std::unique_ptr<XSelfDestroyingListener> self;
    self = std::make_unique<XSelfDestroyingListener>(journal, self);
    XJournalListener last("last", journal);
    first.Subscribe(speaker);
    once.Subscribe(speaker);
    self->Subscribe(speaker);
    last.Subscribe(speaker);

    speaker.Say(1);
    speaker.Say(2);
    EXPECT_EQ(self, nullptr);
    EXPECT_FALSE(once.IsSubscribed(speaker));
    EXPECT_EQ(journal, (std::vector<std::string>{"first:1", "once:1", "self:1", "last:1", "first:2",
                                                 "last:2"}));
    EXPECT_EQ(speaker.GetListenerCount(), 2u);
}

TEST(XSpeakerTest, EitherSideMayGoFirst)
{
    std::vector<std::string> journal;
    XTestSpeaker speaker;
    auto early = std::make_unique<XJournalListener>("early", journal);
    early->Subscribe(speaker);
    EXPECT_EQ(speaker.GetListenerCount(), 1u);
    early.reset();
    EXPECT_EQ(speaker.GetListenerCount(), 0u);
    speaker.Say(1);
    EXPECT_TRUE(journal.empty());

    XJournalListener survivor("survivor", journal);
    {
        XTestSpeaker shortLived;
        survivor.Subscribe(shortLived);
        survivor.Subscribe(speaker);
        shortLived.Say(2);
        EXPECT_TRUE(survivor.IsSubscribed(shortLived));
    }
    speaker.Say(3);
    XTestSpeaker another;
    survivor.Subscribe(another);
    another.Say(4);
    EXPECT_EQ(journal, (std::vector<std::string>{"survivor:2", "survivor:3", "survivor:4"}));
    survivor.Unsubscribe(speaker);
    EXPECT_EQ(speaker.GetListenerCount(), 0u);
}

TEST(XSpeakerTest, SeveralThreadsMaySpeakWhileListenersComeAndGo)
{
    constexpr int kThreads = 4;
    constexpr int kMessages = 500;
    XTestSpeaker speaker;
    XCountingListener steady;
    XCountingListener second;
    steady.Subscribe(speaker);
    second.Subscribe(speaker);

    std::atomic<bool> speaking{true};
    std::thread churn(
        [&]
        {
            while (speaking)
            {
                XCountingListener visitor;
                visitor.Subscribe(speaker);
                std::this_thread::yield();
                if (visitor.itsCount % 2 == 0)
                {
                    visitor.Unsubscribe(speaker);
                }
            }
        });
    std::vector<std::thread> speakers;
    for (int t = 0; t < kThreads; ++t)
    {
        speakers.emplace_back(
            [&speaker, t]
            {
                for (int i = 0; i < kMessages; ++i)
                {
                    speaker.Say(t * kMessages + i);
                }
            });
    }
    for (auto& thread : speakers)
    {
        thread.join();
    }
    speaking = false;
    churn.join();

    EXPECT_EQ(steady.itsCount, kThreads * kMessages);
    EXPECT_EQ(second.itsCount, kThreads * kMessages);
    // One speaker's messages reach one listener one at a time.
    EXPECT_FALSE(steady.itsOverlapped);
    EXPECT_FALSE(second.itsOverlapped);
    EXPECT_EQ(speaker.GetListenerCount(), 2u);
}

TEST(XSpeakerTest, UnsubscribeWaitsForADeliveryOnAnotherThread)
{
    class XBlockingListener : public XListener
    {
    public:
        ~XBlockingListener() override { UnsubscribeAll(); }
        void HandleMessage(const XMessage&) override
        {
            itsEntered.Set();
            itsProceed.Wait(-1);
            itsFinished = true;
        }
        WEvent itsEntered;
        WEvent itsProceed;
        std::atomic<bool> itsFinished{false};
    };

    XTestSpeaker speaker;
    XBlockingListener listener;
    listener.Subscribe(speaker);
    std::thread talker([&] { speaker.Say(1); });
    ASSERT_TRUE(listener.itsEntered.Wait(-1));

    std::atomic<bool> finishedWhenUnsubscribed{false};
    std::thread leaver(
        [&]
        {
            listener.Unsubscribe(speaker);
            finishedWhenUnsubscribed = listener.itsFinished.load();
        });
    listener.itsProceed.Set();
    leaver.join();
    talker.join();
    EXPECT_TRUE(finishedWhenUnsubscribed);
    EXPECT_FALSE(listener.IsSubscribed(speaker));
}
