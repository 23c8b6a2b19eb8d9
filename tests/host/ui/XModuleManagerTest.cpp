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

class XModuleManagerTest : public testing::Test
{
protected:
    // The modules signed in after those that were signed in when the test began.
    std::vector<WModule*> Added() const
    {
        const std::vector<WModule*> modules = itsManager.GetModules();
        if (modules.size() < itsBaseline.size() ||
            !std::equal(itsBaseline.begin(), itsBaseline.end(), modules.begin()))
        {
            ADD_FAILURE() << "the modules signed in before the test changed";
            return {};
        }
        return {modules.begin() + static_cast<std::ptrdiff_t>(itsBaseline.size()), modules.end()};
    }

    XModuleManager& itsManager = XModuleManager::GetModuleManager();
    const std::vector<WModule*> itsBaseline = itsManager.GetModules();
    const XInternalErrorCapture itsCapture;
};
} // namespace

TEST_F(XModuleManagerTest, SignsInOnceAndOutInOrderAndDestroyedModulesSignOut)
{
    WIdentifiedModule first(0xA001, 20000, 20099);
    WIdentifiedModule second(0xA002, 20100, 20199); // adjacent ranges do not overlap
    EXPECT_EQ(itsManager.FindModule(0xA001), nullptr);
    itsManager.SignInModule(first);
    itsManager.SignInModule(second);
    itsManager.SignInModule(first);
    EXPECT_EQ(Added(), (std::vector<WModule*>{&first, &second}));
    EXPECT_EQ(itsManager.FindModule(0xA002), &second);
    EXPECT_EQ(itsManager.FindModule(0xA003), nullptr);

    itsManager.SignOutModule(first);
    itsManager.SignOutModule(first); // no longer known: ignored
    EXPECT_EQ(Added(), std::vector<WModule*>{&second});
    EXPECT_EQ(itsManager.FindModule(0xA001), nullptr);
    itsManager.SignInModule(first); // signed in again, it comes last
    EXPECT_EQ(Added(), (std::vector<WModule*>{&second, &first}));
    EXPECT_EQ(itsManager.FindModule(0xA001), &first);
    {
        WIdentifiedModule temporary(0xA003, 20200, 20299);
        itsManager.SignInModule(temporary);
        EXPECT_EQ(itsManager.FindModule(0xA003), &temporary);
    }
    EXPECT_EQ(itsManager.FindModule(0xA003), nullptr);
    EXPECT_EQ(Added(), (std::vector<WModule*>{&second, &first}));
    EXPECT_EQ(WModule(20300, 20399).GetModuleID(), 0u); // the host's default identifier
    EXPECT_TRUE(itsCapture.GetConditions().empty());
}

TEST_F(XModuleManagerTest, ReportsOverlappingRangesAndSignsInAnyway)
{
    WIdentifiedModule base(0xC001, 23100, 23199);
    WIdentifiedModule below(0xC002, 23000, 23099);        // ends just below base
    WIdentifiedModule sharesLastID(0xC003, 23199, 23300); // shares 23199 only
    WIdentifiedModule inside(0xC004, 23150, 23160);
    const std::vector<WModule*> modules{&base, &below, &sharesLastID, &inside};
    std::vector<std::size_t> reports; // after each sign-in
    for (WModule* module : modules)
    {
        itsManager.SignInModule(*module);
        reports.push_back(itsCapture.GetConditions().size());
    }
    EXPECT_EQ(reports, (std::vector<std::size_t>{0, 0, 1, 2}));
    EXPECT_EQ(itsCapture.GetReports().back().condition, "!overlapsSignedInModule");
    EXPECT_EQ(itsCapture.GetReports().back().source, "host/ui/XModuleManager");
    EXPECT_EQ(Added(), modules);
}

TEST_F(XModuleManagerTest, InvertedRangeIsReportedKeptAndOwnsNothing)
{
    WIdentifiedModule inverted(0xD001, 24300, 24200);
    EXPECT_EQ(itsCapture.GetConditions(),
              std::vector<std::string>{"inLowestClassID <= inHighestClassID"});
    EXPECT_EQ(inverted.GetLowestClassID(), 24300u);
    EXPECT_EQ(inverted.GetHighestClassID(), 24200u);
    EXPECT_FALSE(inverted.OwnsClassID(24250) || inverted.OwnsClassID(24300));

    // It spans no class id, so a module whose range covers both its ends overlaps nothing.
    WIdentifiedModule covering(0xD002, 24150, 24350);
    EXPECT_TRUE(covering.OwnsClassID(24150) && covering.OwnsClassID(24350));
    EXPECT_FALSE(covering.OwnsClassID(24351));
    itsManager.SignInModule(covering);
    itsManager.SignInModule(inverted);
    EXPECT_EQ(itsCapture.GetConditions().size(), 1u);
}
