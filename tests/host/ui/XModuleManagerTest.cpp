#include "host/ui/XModuleManager.h"
#include "host/core/XInternalError.h"
#include "host/ui/WModule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{
class WIdentifiedModule : public WModule
{
public:
    WIdentifiedModule(std::uint32_t inModuleID, std::uint32_t inLowest, std::uint32_t inHighest)
        : WModule(inLowest, inHighest), itsModuleID(inModuleID)
    {
    }
    std::uint32_t GetModuleID() const override { return itsModuleID; }

private:
    const std::uint32_t itsModuleID;
};

// A module that keeps the host's default identifier.
class WPlainModule : public WModule
{
public:
    using WModule::WModule;
};

// The modules signed in after those that were signed in when the test began.
std::vector<WModule*> ModulesAfter(const std::vector<WModule*>& inBaseline)
{
    std::vector<WModule*> modules = XModuleManager::GetModuleManager().GetModules();
    EXPECT_TRUE(std::equal(inBaseline.begin(), inBaseline.end(), modules.begin()));
    modules.erase(modules.begin(), modules.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                         inBaseline.size(), modules.size())));
    return modules;
}

const std::string kOverlapReport = "!overlapsSignedInModule";
} // namespace

TEST(XModuleManagerTest, OneInstancePerProcess)
{
    EXPECT_EQ(&XModuleManager::GetModuleManager(), &XModuleManager::GetModuleManager());
}

TEST(XModuleManagerTest, SignsInOnceAndOutInOrder)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    const std::vector<WModule*> baseline = manager.GetModules();
    const XInternalErrorCapture capture;

    WIdentifiedModule first(0xA001, 20000, 20099);
    WIdentifiedModule second(0xA002, 20100, 20199);
    EXPECT_EQ(manager.FindModule(0xA001), nullptr);

    manager.SignInModule(first);
    manager.SignInModule(second);
    manager.SignInModule(first);
    EXPECT_EQ(ModulesAfter(baseline), (std::vector<WModule*>{&first, &second}));
    EXPECT_EQ(manager.FindModule(0xA001), &first);
    EXPECT_EQ(manager.FindModule(0xA002), &second);
    EXPECT_EQ(manager.FindModule(0xA003), nullptr);

    manager.SignOutModule(first);
    manager.SignOutModule(first); // no longer known: ignored
    EXPECT_EQ(ModulesAfter(baseline), (std::vector<WModule*>{&second}));
    EXPECT_EQ(manager.FindModule(0xA001), nullptr);

    // Signing in again puts the module last.
    manager.SignInModule(first);
    EXPECT_EQ(ModulesAfter(baseline), (std::vector<WModule*>{&second, &first}));

    manager.SignOutModule(first);
    manager.SignOutModule(second);
    EXPECT_EQ(manager.GetModules(), baseline);
    // Adjacent ranges and a repeated sign-in are not overlaps.
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST(XModuleManagerTest, DestructorSignsOut)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    const std::vector<WModule*> baseline = manager.GetModules();
    {
        WIdentifiedModule module(0xB001, 21000, 21099);
        manager.SignInModule(module);
        ASSERT_EQ(manager.FindModule(0xB001), &module);
    }
    EXPECT_EQ(manager.FindModule(0xB001), nullptr);
    EXPECT_EQ(manager.GetModules(), baseline);
}

TEST(XModuleManagerTest, DefaultIdentifierIsZero)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    WPlainModule module(22000, 22099);
    EXPECT_EQ(module.GetModuleID(), 0u);
    manager.SignInModule(module);
    // Another module of identifier 0 may have signed in earlier; ours must be found by it.
    const WModule* const found = manager.FindModule(0);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->GetModuleID(), 0u);
}

TEST(XModuleManagerTest, ReportsOverlappingRangesAndSignsInAnyway)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    const std::vector<WModule*> baseline = manager.GetModules();
    const XInternalErrorCapture capture;

    WIdentifiedModule base(0xC001, 23100, 23199);
    WIdentifiedModule below(0xC002, 23000, 23099);        // ends just below base
    WIdentifiedModule sharesLastID(0xC003, 23199, 23300); // shares 23199 only
    WIdentifiedModule inside(0xC004, 23150, 23160);
    manager.SignInModule(base);
    manager.SignInModule(below);
    EXPECT_TRUE(capture.GetConditions().empty());

    manager.SignInModule(sharesLastID);
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{kOverlapReport});
    manager.SignInModule(inside);
    EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{kOverlapReport, kOverlapReport}));
    EXPECT_EQ(capture.GetReports().back().source, "host/ui/XModuleManager");

    EXPECT_EQ(ModulesAfter(baseline),
              (std::vector<WModule*>{&base, &below, &sharesLastID, &inside}));
    EXPECT_EQ(manager.FindModule(0xC004), &inside);
}

TEST(XModuleManagerTest, InvertedRangeIsReportedKeptAndOwnsNothing)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    const XInternalErrorCapture capture;

    WIdentifiedModule inverted(0xD001, 24300, 24200);
    EXPECT_EQ(capture.GetConditions(),
              std::vector<std::string>{"inLowestClassID <= inHighestClassID"});
    EXPECT_EQ(inverted.GetLowestClassID(), 24300u);
    EXPECT_EQ(inverted.GetHighestClassID(), 24200u);
    EXPECT_FALSE(inverted.OwnsClassID(24250));
    EXPECT_FALSE(inverted.OwnsClassID(24300));

    // It spans no class id, so a module whose range covers both its ends overlaps nothing.
    WIdentifiedModule covering(0xD002, 24150, 24350);
    EXPECT_TRUE(covering.OwnsClassID(24150));
    EXPECT_TRUE(covering.OwnsClassID(24350));
    EXPECT_FALSE(covering.OwnsClassID(24351));
    manager.SignInModule(covering);
    manager.SignInModule(inverted);
    EXPECT_EQ(capture.GetConditions().size(), 1u);
}
