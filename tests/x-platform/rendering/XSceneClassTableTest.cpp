#include "x-platform/rendering/XSceneClassTable.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XStream.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace
{
// The module's class identifier range.
constexpr std::uint32_t kFirstClassID = 14900;
constexpr std::uint32_t kLastClassID = 14999;
} // namespace

TEST(XSceneClassTableTest, EveryClassIsRegisteredByNameAndIdAndRoundTrips)
{
    XRegisterSceneClasses();
    XRegisterSceneClasses(); // harmless a second time
    const std::map<std::string, std::uint32_t> expected = {{"X3DScene", 14912},
                                                           {"XSurface", 14932},
                                                           {"XSphere", 14935},
                                                           {"XCone", 14936},
                                                           {"XCylinder", 14937},
                                                           {"XDisk", 14938},
                                                           {"XPointLight", 14931},
                                                           {"XMatteMaterial", 14947},
                                                           {"XPlasticMaterial", 14948},
                                                           {"XGlassMaterial", 14949},
                                                           {"XScalarSolidTexture", 14943},
                                                           {"XRGBSolidTexture", 14944},
                                                           {"XCheckeredTexture", 14945}};
    const XClassRegistry& registry = XClassRegistry::Get();
    std::set<std::uint32_t> ids;
    for (const auto& [name, classId] : expected)
    {
        SCOPED_TRACE(name);
        ASSERT_TRUE(registry.IsRegistered(name));
        EXPECT_EQ(registry.GetName(classId), name);
        const std::unique_ptr<XStorable> object = registry.CreateByName(name);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(object->GetClassID(), classId);
        EXPECT_GE(classId, kFirstClassID);
        EXPECT_LE(classId, kLastClassID);
        ids.insert(classId);

        // A default object survives the stream by name, byte for byte.
        XMemoryStream stream;
        stream.WriteObject(object.get());
        const std::unique_ptr<XStorable> read = stream.ReadObject();
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(read->GetClassID(), classId);
        XMemoryStream first;
        object->Write(first);
        XMemoryStream second;
        read->Write(second);
        EXPECT_EQ(second.GetBytes(), first.GetBytes());
        EXPECT_EQ(first.GetBytes().size(), object->GetStreamSize());
    }
    EXPECT_EQ(ids.size(), expected.size());
    // The geometries, the light, the materials and the textures name their abstract bases.
    for (const XClassRegistry::XEntry& entry : registry.GetEntries())
    {
        if (entry.name == "XSphere" || entry.name == "XCone" || entry.name == "XCylinder" ||
            entry.name == "XDisk")
        {
            EXPECT_EQ(entry.baseClassId, 14933u) << entry.name;
        }
        if (entry.name == "XPointLight")
        {
            EXPECT_EQ(entry.baseClassId, 14930u);
        }
        if (entry.name == "XMatteMaterial" || entry.name == "XPlasticMaterial" ||
            entry.name == "XGlassMaterial")
        {
            EXPECT_EQ(entry.baseClassId, 14946u) << entry.name;
        }
        if (entry.name == "XScalarSolidTexture" || entry.name == "XRGBSolidTexture" ||
            entry.name == "XCheckeredTexture")
        {
            EXPECT_EQ(entry.baseClassId, 14942u) << entry.name;
        }
    }
}
