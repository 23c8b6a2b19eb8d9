#include "host/ui/XRendererManager.h"
#include "host/core/XInternalError.h"
#include "host/core/XListener.h"
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
    XCountedStrategy(std::string inName, std::int32_t inKind, int& ioDestroyed)
        : itsName(std::move(inName)), itsKind(inKind), itsDestroyed(ioDestroyed)
    {
    }
    ~XCountedStrategy() override { ++itsDestroyed; }

    std::int32_t GetRendererKind() const override { return itsKind; }
    std::string GetName() const override { return itsName; }
    std::unique_ptr<XBaseRenderer> CreateRenderer(const std::filesystem::path&) const override
    {
        return nullptr;
    }
    bool CanRender(const XRendererRequest&) const override { return false; }

private:
    const std::string itsName;
    const std::int32_t itsKind;
    int& itsDestroyed;
};

// Answers the registration message with one strategy, as a module does.
class XAnsweringListener : public XListener
{
public:
    XAnsweringListener(XRendererManager& inManager, std::string inRendererName, int& ioDestroyed)
        : itsManager(inManager), itsRendererName(std::move(inRendererName)),
          itsDestroyed(ioDestroyed)
    {
        Subscribe(inManager);
    }
    ~XAnsweringListener() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (typeid(inMessage) == typeid(XRendererManager::XRegisterRendererMessage))
        {
            itsLastSpeaker = inMessage.GetSpeaker();
            itsManager.RegisterRendererStrategy(
                std::make_unique<XCountedStrategy>(itsRendererName, 9, itsDestroyed));
        }
    }

    const XSpeaker* itsLastSpeaker = nullptr;

private:
    XRendererManager& itsManager;
    const std::string itsRendererName;
    int& itsDestroyed;
};
} // namespace

TEST(XRendererManagerTest, OwnsRegistersFindsAndListsInOrder)
{
    int destroyed = 0;
    {
        XRendererManager manager;
        const auto add = [&](const char* inName, std::int32_t inKind)
        {
            manager.RegisterRendererStrategy(
                std::make_unique<XCountedStrategy>(inName, inKind, destroyed));
        };
        EXPECT_EQ(manager.FindRenderer("Alpha"), nullptr);
        add("Beta", 1);
        add("Alpha", 2);
        add("Beta", 3);
        EXPECT_EQ(manager.GetStrategyCount(), 3u);
        EXPECT_EQ(manager.GetRendererNames(), (std::vector<std::string>{"Beta", "Alpha", "Beta"}));
        const XRendererStrategy* const beta = manager.FindRenderer("Beta");
        const XRendererStrategy* const alpha = manager.FindRenderer("Alpha");
        ASSERT_TRUE(beta != nullptr && alpha != nullptr);
        EXPECT_EQ(beta->GetRendererKind(), 1); // the first of that name
        EXPECT_EQ(alpha->GetRendererKind(), 2);
        EXPECT_EQ(manager.FindRenderer("beta"), nullptr);
        EXPECT_EQ(manager.FindRenderer(""), nullptr);
        // The host's defaults of a strategy.
        EXPECT_EQ(beta->GetDescription(), "");
        EXPECT_FALSE(beta->IsInteractive());

        const XInternalErrorCapture capture;
        manager.RegisterRendererStrategy(nullptr);
        EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"inStrategy != nullptr"});
        EXPECT_EQ(capture.GetReports().front().source, "host/ui/XRendererManager");
        EXPECT_EQ(manager.GetStrategyCount(), 3u);

        manager.ClearRenderers();
        EXPECT_EQ(destroyed, 3);
        EXPECT_EQ(manager.GetStrategyCount(), 0u);
        EXPECT_EQ(manager.FindRenderer("Alpha"), nullptr);
        EXPECT_TRUE(manager.GetRendererNames().empty());
        add("Gamma", 4);
        EXPECT_EQ(destroyed, 3);
    }
    EXPECT_EQ(destroyed, 4);
}

TEST(XRendererManagerTest, CollectReplacesStrategiesWithTheListenersAnswers)
{
    int destroyed = 0; // outlives the manager
    XRendererManager manager;
    manager.RegisterRendererStrategy(std::make_unique<XCountedStrategy>("Stale", 1, destroyed));
    XAnsweringListener listener(manager, "Listener", destroyed);
    manager.CollectRenderers();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(listener.itsLastSpeaker, &manager);
    EXPECT_EQ(manager.GetRendererNames(), std::vector<std::string>{"Listener"});
    // Collecting again forgets the first answer.
    manager.CollectRenderers();
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(manager.GetRendererNames(), std::vector<std::string>{"Listener"});

    // A second listener answers after the first, in subscription order.
    {
        XAnsweringListener second(manager, "Second", destroyed);
        manager.CollectRenderers();
        EXPECT_EQ(manager.GetRendererNames(), (std::vector<std::string>{"Listener", "Second"}));
    }
    // Strategies outlive the listener that registered them until the next collection.
    EXPECT_EQ(manager.GetStrategyCount(), 2u);
    manager.CollectRenderers();
    EXPECT_EQ(manager.GetRendererNames(), std::vector<std::string>{"Listener"});

    const std::unique_ptr<XMessage> copy =
        XRendererManager::XRegisterRendererMessage(&manager).Clone();
    EXPECT_EQ(typeid(*copy), typeid(XRendererManager::XRegisterRendererMessage));
    EXPECT_EQ(copy->GetSpeaker(), &manager);
}
