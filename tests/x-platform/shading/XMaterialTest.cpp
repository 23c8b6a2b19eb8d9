#include "x-platform/shading/XMaterial.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "tests/scenes/XTestMaterial.h"

#include <gtest/gtest.h>

TEST(XMaterialTest, BaseRecordComesFirstAndIsChecked)
{
    XRegisterTestMaterial();
    const XTestMaterial material(XRGBSpectrum(0.1f, 0.2f, 0.3f));
    const std::vector<std::uint8_t> bytes = XWrittenBytes(material);
    ASSERT_EQ(bytes.size(), material.GetStreamSize());
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data(), 4);
    EXPECT_EQ(word, 14946u);
    EXPECT_EQ(XMaterial::kClassID, 14946u);

    XTestMaterial read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetColour(), XRGBSpectrum(0.1f, 0.2f, 0.3f));
    std::vector<std::uint8_t> wrong = bytes;
    XPutWord(wrong, 0, 14947);
    EXPECT_EQ(XReadErrorCode(wrong, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 4, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);

    // Shared by reference count: a clone starts with its own count.
    const XRef<XMaterial> shared = XMakeRef<XTestMaterial>();
    const XRef<XMaterial> other = shared;
    EXPECT_EQ(shared->GetReferenceCount(), 2);
    const XRef<XMaterial> clone = XRef<XMaterial>::Adopt(XClone<XMaterial>(*shared).release());
    EXPECT_EQ(clone->GetReferenceCount(), 1);
}
