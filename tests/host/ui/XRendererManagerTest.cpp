#include "host/ui/XRendererManager.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XListener.h"
#include "host/ui/WModule.h"
#include "host/ui/XBaseRenderer.h"
#include "host/ui/XRendererStrategy.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

namespace
{
// A strategy known by name and kind that counts its own destruction.
class XCountedStrategy : public XRendererStrategy
{
public:
    XCountedStrategy(std::string inName, std::int32_t inKind, int* outDestroyed = nullptr)
        : itsName(std::move(inName)), itsKind(inKind), itsDestroyed(outDestroyed)
    {
    }
    ~XCountedStrategy() override
    {
        if (itsDestroyed != nullptr)
        {
            ++*itsDestroyed;
        }
    }

    std::int32_t GetRendererKind() const override { return itsKind; }
    std::string GetName() const override { return itsName; }
    std::unique_ptr<XBaseRenderer>
    CreateRenderer(const std::filesystem::path& inSceneFile) const override
    {
        throw XException(XException::kInvalidArgument,
                         "The test strategy renders nothing: " + inSceneFile.string());
    }
    bool CanRender(const XRendererRequest&) const override { return false; }

private:
    const std::string itsName;
    const std::int32_t itsKind;
    int* const itsDestroyed;
};

// A module that answers the registration message with one strategy, as a module library does.
class WListeningModule : public WModule, public XListener
{
public:
    WListeningModule(XRendererManager& inManager, std::string inRendererName)
        : WModule(25000, 25099), itsManager(inManager), itsRendererName(std::move(inRendererName))
    {
        Subscribe(inManager);
    }
    ~WListeningModule() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (typeid(inMessage) != typeid(XRendererManager::XRegisterRendererMessage))
        {
            return;
        }
        ++itsRequests;
        itsLastSpeaker = inMessage.GetSpeaker();
        itsManager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>(itsRendererName, 9));
    }

    int itsRequests = 0;
    const XSpeaker* itsLastSpeaker = nullptr;

private:
    XRendererManager& itsManager;
    const std::string itsRendererName;
};
} // namespace

TEST(XRendererManagerTest, OneInstancePerProcess)
{
    EXPECT_EQ(&XRendererManager::sRendererManager(), &XRendererManager::sRendererManager());
}

TEST(XRendererManagerTest, RegistersFindsAndListsInOrder)
{
    XRendererManager manager;
    EXPECT_EQ(manager.GetStrategyCount(), 0u);
    EXPECT_EQ(manager.FindRenderer("Alpha"), nullptr);

    manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("Beta", 1));
    manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("Alpha", 2));
    manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("Beta", 3));

    EXPECT_EQ(manager.GetStrategyCount(), 3u);
    EXPECT_EQ(manager.GetRendererNames(), (std::vector<std::string>{"Beta", "Alpha", "Beta"}));
    const XRendererStrategy* const beta = manager.FindRenderer("Beta");
    ASSERT_NE(beta, nullptr);
    EXPECT_EQ(beta->GetRendererKind(), 1); // the first of that name
    ASSERT_NE(manager.FindRenderer("Alpha"), nullptr);
    EXPECT_EQ(manager.FindRenderer("Alpha")->GetRendererKind(), 2);
    EXPECT_EQ(manager.FindRenderer("beta"), nullptr);
    EXPECT_EQ(manager.FindRenderer(""), nullptr);

    // The host's defaults of a strategy.
    EXPECT_EQ(beta->GetDescription(), "");
    EXPECT_FALSE(beta->IsInteractive());
}

TEST(XRendererManagerTest, OwnsItsStrategies)
{
    int destroyed = 0;
    {
        XRendererManager manager;
        manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("A", 1, &destroyed));
        manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("B", 1, &destroyed));
        manager.ClearRenderers();
        EXPECT_EQ(destroyed, 2);
        EXPECT_EQ(manager.GetStrategyCount(), 0u);
        EXPECT_EQ(manager.FindRenderer("A"), nullptr);
        EXPECT_TRUE(manager.GetRendererNames().empty());

        manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("C", 1, &destroyed));
        EXPECT_EQ(destroyed, 2);
    }
    EXPECT_EQ(destroyed, 3);
}

TEST(XRendererManagerTest, NullStrategyIsReportedAndIgnored)
{
    XRendererManager manager;
    manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("A", 1));
    const XInternalErrorCapture capture;
    manager.RegisterRendererStrategy(nullptr);
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"inStrategy != nullptr"});
    EXPECT_EQ(capture.GetReports().front().source, "host/ui/XRendererManager");
    EXPECT_EQ(manager.GetStrategyCount(), 1u);
    EXPECT_EQ(manager.GetRendererNames(), std::vector<std::string>{"A"});
}

TEST(XRendererManagerTest, CollectReplacesStrategiesWithTheListenersAnswers)
{
    XRendererManager manager;
    int destroyed = 0;
    manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("Stale", 1, &destroyed));

    WListeningModule module(manager, "Listener");
    manager.CollectRenderers();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(module.itsRequests, 1);
    EXPECT_EQ(module.itsLastSpeaker, &manager);
    EXPECT_EQ(manager.GetRendererNames(), std::vector<std::string>{"Listener"});

    // Collecting again forgets the first answer: still exactly one strategy.
    manager.CollectRenderers();
    EXPECT_EQ(module.itsRequests, 2);
    EXPECT_EQ(manager.GetStrategyCount(), 1u);
    ASSERT_NE(manager.FindRenderer("Listener"), nullptr);
    EXPECT_EQ(manager.FindRenderer("Listener")->GetRendererKind(), 9);

    // A second listener answers after the first, in subscription order.
    {
        WListeningModule second(manager, "Second");
        manager.CollectRenderers();
        EXPECT_EQ(manager.GetRendererNames(), (std::vector<std::string>{"Listener", "Second"}));
    }
    // Strategies outlive the module that registered them until the next collection.
    EXPECT_EQ(manager.GetStrategyCount(), 2u);
    manager.CollectRenderers();
    EXPECT_EQ(manager.GetRendererNames(), std::vector<std::string>{"Listener"});

    // Other messages of the manager register nothing.
    manager.SpeakMessage(XMessage(&manager));
    EXPECT_EQ(manager.GetStrategyCount(), 1u);
    EXPECT_EQ(module.itsRequests, 4);
}

TEST(XRendererManagerTest, RegistrationMessageClonesItsKindAndSpeaker)
{
    XRendererManager manager;
    const XRendererManager::XRegisterRendererMessage message(&manager);
    const std::unique_ptr<XMessage> copy = message.Clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(typeid(*copy), typeid(XRendererManager::XRegisterRendererMessage));
    EXPECT_EQ(copy->GetSpeaker(), &manager);
}
