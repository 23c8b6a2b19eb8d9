#include "x-platform/image/XImageClassTable.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XStream.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

TEST(XImageClassTableTest, ClassesHaveUniqueIdsInTheModuleRangeAndRoundTripByName)
{
    XRegisterImageClasses();
    XRegisterImageClasses(); // a second call is harmless

    const std::map<std::string, std::uint32_t> expected = {{"XFilm", 14903},
                                                           {"XBoxFilter", 14905},
                                                           {"XTriangleFilter", 14906},
                                                           {"XGaussianFilter", 14907}};
    std::set<std::uint32_t> ids;
    for (const auto& [name, id] : expected)
    {
        EXPECT_TRUE(ids.insert(id).second) << name;
        EXPECT_GE(id, 14900u);
        EXPECT_LE(id, 14999u);
        EXPECT_EQ(XClassRegistry::Get().GetName(id), name);

        const std::unique_ptr<XStorable> object = XClassRegistry::Get().CreateByName(name);
        ASSERT_NE(object, nullptr) << name;
        EXPECT_EQ(object->GetClassID(), id);

        XMemoryStream stream;
        stream.WriteObject(object.get());
        const std::unique_ptr<XStorable> read = stream.ReadObject();
        ASSERT_NE(read, nullptr) << name;
        EXPECT_EQ(read->GetClassID(), id);
        EXPECT_EQ(stream.GetRemaining(), 0u);
    }
    for (const XClassRegistry::XEntry& entry : XClassRegistry::Get().GetEntries())
    {
        if (entry.name.ends_with("Filter"))
        {
            EXPECT_EQ(entry.baseClassId, 14904u) << entry.name;
        }
    }
}
