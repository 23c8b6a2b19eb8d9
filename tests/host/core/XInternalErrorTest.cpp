#include "host/core/XInternalError.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XSessionLog.h"

#include <gtest/gtest.h>

X_SOURCE_NAME("tests/XInternalErrorTest");

TEST(XInternalErrorTest, ReportsCarryConditionSourceAndLineAndExecutionGoesOn)
{
    XInternalErrorCapture capture;
    const int itsLockCount = 1;
    int after = 0;
    X_ASSERT(itsLockCount == 0);
    const int line = __LINE__ - 1;
    X_ASSERT(itsLockCount != 0); // holds: no report
    X_ASSERT(false);
    after = 1;

    const auto reports = capture.GetReports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].condition, "itsLockCount == 0");
    EXPECT_EQ(reports[0].source, "tests/XInternalErrorTest");
    EXPECT_EQ(reports[0].line, line);
    EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"itsLockCount == 0", "false"}));
    EXPECT_EQ(after, 1);

    // The report also reaches the session log, with its place.
    const auto entries = XSessionLogManager::GetManager().GetEntries();
    ASSERT_FALSE(entries.empty());
    EXPECT_NE(entries.back().text.find("\"false\" in tests/XInternalErrorTest"), std::string::npos);
}

TEST(XInternalErrorTest, SessionLogKeepsEntriesInOrderAndFeedsItsSink)
{
    auto& log = XSessionLogManager::GetManager();
    log.Clear();
    std::vector<std::string> echoed;
    log.SetSink([&](const XSessionLogManager::XEntry& inEntry) { echoed.push_back(inEntry.text); });
    log.AddEntry("Frame took 1.5 seconds", 42);
    log.AddEntry("second");
    log.SetSink({});
    log.AddEntry("third");

    const auto entries = log.GetEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].text, "Frame took 1.5 seconds");
    EXPECT_EQ(entries[0].timeMicroseconds, 42);
    EXPECT_EQ(entries[2].text, "third");
    EXPECT_EQ(echoed, (std::vector<std::string>{"Frame took 1.5 seconds", "second"}));
}

namespace
{
struct XRegistered : XStorable
{
    std::uint32_t GetClassID() const override { return 64500; }
    std::unique_ptr<XStorable> Clone() const override { return std::make_unique<XRegistered>(); }
    std::uint64_t GetStreamSize() const override { return 0; }
    void Read(XStream&) override {}
    void Write(XStream&) const override {}
};
} // namespace

TEST(XClassRegistryTest, CreatesByNameAndIdAndRefusesConflicts)
{
    auto& registry = XClassRegistry::Get();
    XRegisterClass<XRegistered>("XRegistered");
    XRegisterClass<XRegistered>("XRegistered"); // again: harmless
    EXPECT_TRUE(registry.IsRegistered("XRegistered"));
    EXPECT_EQ(registry.GetName(64500), "XRegistered");
    EXPECT_EQ(registry.CreateByName("XRegistered")->GetClassID(), 64500u);
    EXPECT_EQ(registry.CreateByID(64500)->GetClassID(), 64500u);
    EXPECT_EQ(registry.CreateByName("XMissing"), nullptr);
    EXPECT_EQ(registry.CreateByID(64501), nullptr);

    EXPECT_THROW(registry.Register("XRegistered", 64501, [] { return nullptr; }),
                 std::invalid_argument);
    EXPECT_THROW(registry.Register("XOtherName", 64500, [] { return nullptr; }),
                 std::invalid_argument);
}
