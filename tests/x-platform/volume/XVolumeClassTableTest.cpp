#include "x-platform/volume/XVolumeClassTable.h"

#include "host/XHostClassTable.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XStream.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

TEST(XVolumeClassTableTest, ClassesHaveTheirIdsAndBasesAndRoundTripByName)
{
    XRegisterHostClasses();
    XRegisterVolumeClasses();
    XRegisterVolumeClasses(); // a second call is harmless

    const std::map<std::string, std::pair<std::uint32_t, std::uint32_t>> expected = {
        {"X1ChannelVolumetric", {14923, 14922}},      {"X2ChannelVolumetric", {14924, 14922}},
        {"X3ChannelVolumetric", {14925, 14922}},      {"XNScalarChannelVolumetric", {14926, 14922}},
        {"XNMixedChannelVolumetric", {14927, 14922}}, {"X1ColourChannelVolumetric", {14928, 14922}},
        {"XFluoScalarVoxelShader", {14941, 14940}}};
    std::map<std::string, std::uint32_t> bases;
    for (const XClassRegistry::XEntry& entry : XClassRegistry::Get().GetEntries())
    {
        bases[entry.name] = entry.baseClassId;
    }
    std::set<std::uint32_t> ids;
    for (const auto& [name, id] : expected)
    {
        EXPECT_TRUE(ids.insert(id.first).second) << name;
        EXPECT_EQ(XClassRegistry::Get().GetName(id.first), name);
        EXPECT_EQ(bases[name], id.second) << name;

        const std::unique_ptr<XStorable> object = XClassRegistry::Get().CreateByName(name);
        ASSERT_NE(object, nullptr) << name;
        EXPECT_EQ(object->GetClassID(), id.first);
        XMemoryStream stream;
        stream.WriteObject(object.get());
        const std::unique_ptr<XStorable> read = stream.ReadObject();
        ASSERT_NE(read, nullptr) << name;
        EXPECT_EQ(read->GetClassID(), id.first);
        EXPECT_EQ(stream.GetRemaining(), 0u);
        // The stream size estimate is exact for these objects.
        EXPECT_EQ(stream.GetBytes().size(), 1 + 4 + name.size() + 8 + object->GetStreamSize())
            << name;
    }
    // The abstract bases are not creatable.
    for (const std::uint32_t id : {14922u, 14939u, 14940u})
    {
        EXPECT_EQ(XClassRegistry::Get().CreateByID(id), nullptr) << id;
    }
}
