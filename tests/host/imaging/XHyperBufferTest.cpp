#include "host/imaging/XHyperBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace
{
using XByteBuffer = XHyperBuffer<3, unsigned char>;

// A 4 × 3 × 2 box of 3 components starting at (-2, 5, 10).
constexpr XByteBuffer::Coordinates kOrigin{-2, 5, 10};
constexpr XByteBuffer::Extents kExtents{4, 3, 2};
constexpr std::uint32_t kComponents = 3;

unsigned char Tag(int inX, int inY, int inZ, std::uint32_t inComponent)
{
    return static_cast<unsigned char>(1 + (inX + 2) + 4 * (inY - 5) + 12 * (inZ - 10) +
                                      24 * static_cast<int>(inComponent));
}

void FillThroughViews(XByteBuffer& ioBuffer)
{
    const auto view = ioBuffer.GetView();
    for (std::uint32_t c = 0; c < kComponents; ++c)
    {
        const auto component = view.SelectComponent(c);
        for (int z = 10; z < 12; ++z)
            for (int y = 5; y < 8; ++y)
                for (int x = -2; x < 2; ++x)
                    component.At({x, y, z}) = Tag(x, y, z, c);
    }
}
} // namespace

TEST(XHyperBufferTest, InterleavedStridesAndAddressing)
{
    XByteBuffer buffer(kOrigin, kExtents, kComponents, true);
    EXPECT_EQ(buffer.GetOrigin(), kOrigin);
    EXPECT_EQ(buffer.GetExtents(), kExtents);
    EXPECT_EQ(buffer.GetComponents(), 3u);
    EXPECT_TRUE(buffer.IsInterleaved());
    ASSERT_EQ(buffer.GetElementCount(), 72u);
    EXPECT_EQ(buffer.GetStrides(), (XByteBuffer::Strides{3, 12, 36}));
    EXPECT_EQ(buffer.GetComponentStride(), 1);

    FillThroughViews(buffer);
    const unsigned char* data = buffer.GetData();
    // (x, y, z, c) lives at ((z - 10) * 12 + (y - 5) * 4 + (x + 2)) * 3 + c.
    EXPECT_EQ(data[0], Tag(-2, 5, 10, 0));
    EXPECT_EQ(data[1], Tag(-2, 5, 10, 1));
    EXPECT_EQ(data[2], Tag(-2, 5, 10, 2));
    EXPECT_EQ(data[3], Tag(-1, 5, 10, 0));
    EXPECT_EQ(data[12], Tag(-2, 6, 10, 0));
    EXPECT_EQ(data[36], Tag(-2, 5, 11, 0));
    EXPECT_EQ(data[59], Tag(1, 6, 11, 2)); // 3·3 + 1·12 + 1·36 + 2
    EXPECT_EQ(data[71], Tag(1, 7, 11, 2));
    for (int z = 10; z < 12; ++z)
        for (int y = 5; y < 8; ++y)
            for (int x = -2; x < 2; ++x)
                for (std::uint32_t c = 0; c < 3; ++c)
                {
                    const int offset = (((z - 10) * 3 + (y - 5)) * 4 + (x + 2)) * 3 + int(c);
                    ASSERT_EQ(data[offset], Tag(x, y, z, c)) << x << " " << y << " " << z;
                }
}

TEST(XHyperBufferTest, PlanarStridesAndAddressing)
{
    XByteBuffer buffer(kOrigin, kExtents, kComponents, false);
    EXPECT_FALSE(buffer.IsInterleaved());
    ASSERT_EQ(buffer.GetElementCount(), 72u);
    EXPECT_EQ(buffer.GetStrides(), (XByteBuffer::Strides{1, 4, 12}));
    EXPECT_EQ(buffer.GetComponentStride(), 24);

    FillThroughViews(buffer);
    const unsigned char* data = buffer.GetData();
    // (x, y, z, c) lives at (x + 2) + (y - 5) * 4 + (z - 10) * 12 + c * 24.
    EXPECT_EQ(data[0], Tag(-2, 5, 10, 0));
    EXPECT_EQ(data[1], Tag(-1, 5, 10, 0));
    EXPECT_EQ(data[24], Tag(-2, 5, 10, 1));
    EXPECT_EQ(data[67], Tag(1, 6, 11, 2)); // 3 + 4 + 12 + 48
    for (int z = 10; z < 12; ++z)
        for (int y = 5; y < 8; ++y)
            for (int x = -2; x < 2; ++x)
                for (std::uint32_t c = 0; c < 3; ++c)
                {
                    const int offset = (x + 2) + (y - 5) * 4 + (z - 10) * 12 + int(c) * 24;
                    ASSERT_EQ(data[offset], Tag(x, y, z, c)) << x << " " << y << " " << z;
                }
}

TEST(XHyperBufferTest, RestrictAndSelectComponentAddressTheRightElements)
{
    for (const bool interleaved : {true, false})
    {
        SCOPED_TRACE(interleaved ? "interleaved" : "planar");
        XByteBuffer buffer(kOrigin, kExtents, kComponents, interleaved);
        unsigned char* data = buffer.GetData();
        const auto sub = buffer.GetView().Restrict({0, 6, 11}, {2, 2, 1}).SelectComponent(1);
        EXPECT_EQ(sub.GetOrigin(), (XByteBuffer::Coordinates{0, 6, 11}));
        EXPECT_EQ(sub.GetExtents(), (XByteBuffer::Extents{2, 2, 1}));
        EXPECT_EQ(sub.GetComponents(), 2u);
        // Offsets of (0, 6, 11, 1), (1, 7, 11, 1) and (1, 7, 11, 2), worked out by hand.
        const int base = interleaved ? 2 * 3 + 12 + 36 + 1 : 2 + 4 + 12 + 24;
        const int far = interleaved ? 3 * 3 + 2 * 12 + 36 + 1 : 3 + 8 + 12 + 24;
        const int farNext = interleaved ? far + 1 : far + 24;
        EXPECT_EQ(sub.GetBaseAddress(), data + base);
        EXPECT_EQ(&sub.At({0, 6, 11}), data + base);
        EXPECT_EQ(&sub.At({1, 7, 11}), data + far);
        EXPECT_EQ(&sub.SelectComponent(1).At({1, 7, 11}), data + farNext);

        sub.At({1, 6, 11}) = 200;
        const int written = interleaved ? 3 * 3 + 12 + 36 + 1 : 3 + 4 + 12 + 24;
        for (int i = 0; i < 72; ++i)
        {
            ASSERT_EQ(data[i], i == written ? 200 : 0) << i;
        }
    }
}

TEST(XHyperBufferTest, ViewMisuseIsReported)
{
    XByteBuffer buffer(kOrigin, kExtents, kComponents);
    const XInternalErrorCapture capture;
    const auto view = buffer.GetView();
    (void)view.Restrict({-2, 5, 10}, {4, 3, 2});
    EXPECT_TRUE(capture.GetReports().empty());
    (void)view.Restrict({-3, 5, 10}, {1, 1, 1});
    (void)view.Restrict({1, 5, 10}, {2, 1, 1});
    (void)view.SelectComponent(3);
    EXPECT_EQ(capture.GetConditions().size(), 3u);
}

TEST(XHyperBufferTest, TwoDimensionalPixelBufferIsZeroedAndRowMajor)
{
    struct XPixel
    {
        float a, r, g, b;
    };
    XHyperBuffer<2, XPixel> image({0, 0}, {5, 3});
    ASSERT_EQ(image.GetElementCount(), 15u);
    EXPECT_EQ(image.GetStrides(), (XHyperBuffer<2, XPixel>::Strides{1, 5}));
    for (std::size_t i = 0; i < 15; ++i)
    {
        const XPixel& p = image.GetData()[i];
        ASSERT_TRUE(p.a == 0 && p.r == 0 && p.g == 0 && p.b == 0);
    }
    image.GetView().At({4, 2}).g = 0.5f;
    EXPECT_EQ(image.GetData()[14].g, 0.5f);
    const auto& constImage = image;
    EXPECT_EQ(constImage.GetView().At({4, 2}).g, 0.5f);
}

TEST(XHyperBufferTest, ElementCountOverflowIsRejected)
{
    try
    {
        XByteBuffer buffer({0, 0, 0}, {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu});
        FAIL() << "an overflowing size was accepted";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), XException::kInvalidArgument);
    }
    // Components count too: 2^32 · 2^31 elements of 2 bytes exceed the addressable range.
    EXPECT_THROW((XHyperBuffer<1, std::uint16_t>({0}, {0x80000000u}, 0xFFFFFFFFu)), XException);
    // A zero extent makes the buffer empty however large the others are.
    const XByteBuffer empty({0, 0, 0}, {0xFFFFFFFFu, 0, 0xFFFFFFFFu}, 7);
    EXPECT_EQ(empty.GetElementCount(), 0u);
}

TEST(XHyperBufferTest, ReadLocksNestAndExcludeWriters)
{
    XByteBuffer buffer(kOrigin, kExtents, kComponents);
    buffer.LockFor(XLockMode::kRead);
    buffer.LockFor(XLockMode::kRead);
    EXPECT_FALSE(buffer.TryLockFor(XLockMode::kWrite));
    buffer.UnlockFor(XLockMode::kRead);
    EXPECT_TRUE(buffer.IsLocked());
    EXPECT_FALSE(buffer.TryLockFor(XLockMode::kWrite));
    buffer.UnlockFor(XLockMode::kRead);
    EXPECT_FALSE(buffer.IsLocked());
    ASSERT_TRUE(buffer.TryLockFor(XLockMode::kWrite));
    buffer.UnlockFor(XLockMode::kWrite);
}

TEST(XHyperBufferTest, LockRestoresStorageOfTheBoxSize)
{
    XByteBuffer source(kOrigin, kExtents, kComponents);
    FillThroughViews(source);
    const XByteBuffer moved(std::move(source));
    EXPECT_EQ(moved.GetElementCount(), 72u);
    EXPECT_EQ(moved.GetData()[59], Tag(1, 6, 11, 2));

    // Moving took the storage; the box stayed, and the next lock makes zeroed storage for it.
    EXPECT_EQ(source.GetElementCount(), 0u); // NOLINT(bugprone-use-after-move)
    {
        const XLock lock(source, XLockMode::kWrite);
        ASSERT_EQ(source.GetElementCount(), 72u);
        for (std::size_t i = 0; i < 72; ++i)
        {
            ASSERT_EQ(source.GetData()[i], 0);
        }
        source.GetView().At({1, 7, 11}) = 9;
    }
    // A buffer whose storage already fits keeps its contents across locks.
    const XLock again(source, XLockMode::kRead);
    EXPECT_EQ(source.GetData()[69], 9);
}
