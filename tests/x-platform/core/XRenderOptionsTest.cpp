#include "x-platform/core/XRenderOptions.h"
#include "host/core/XStream.h"

#include <gtest/gtest.h>

TEST(XRenderOptionsTest, DefaultsAndTheJobStreamFormWithoutTransmission)
{
    const XRenderOptions defaults;
    EXPECT_FALSE(defaults.firstFlag);
    EXPECT_TRUE(defaults.secondFlag);
    EXPECT_TRUE(defaults.thirdFlag);
    EXPECT_TRUE(defaults.reflections);
    EXPECT_FALSE(defaults.transmission);
    EXPECT_EQ(defaults.firstCount, 0u);
    EXPECT_EQ(defaults.samplesPerPixelSide, 1u);
    EXPECT_EQ(defaults.maxDepth, 4u);
    EXPECT_EQ(defaults.secondCount, 8u);

    XRenderOptions options;
    options.firstFlag = true;
    options.reflections = false;
    options.transmission = true;
    options.samplesPerPixelSide = 3;
    options.maxDepth = 0;
    options.secondCount = 0xA1B2C3D4u;
    XMemoryStream stream;
    options.Write(stream);
    // Four flag bytes and four words: the transmission flag has no place in the stream.
    ASSERT_EQ(stream.GetBytes().size(), 4u + 16u);
    EXPECT_EQ(stream.GetBytes()[0], 1);
    EXPECT_EQ(stream.GetBytes()[3], 0);

    XRenderOptions read;
    read.Read(stream);
    EXPECT_FALSE(read.transmission);
    read.transmission = true;
    EXPECT_EQ(read, options);
}
