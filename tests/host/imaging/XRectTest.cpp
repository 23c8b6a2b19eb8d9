#include "host/imaging/XRect.h"

#include "host/core/XInternalError.h"
#include "host/imaging/XMatrix_4x4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace
{
// The four stored values, in the order the stream writes them.
template <class T>
std::vector<T> StoredValues(const XRectT<T>& inRect)
{
    XMemoryStream stream;
    inRect.Write(stream);
    EXPECT_EQ(stream.GetBytes().size(), 16u);
    XMemoryStream in(stream.GetBytes());
    std::vector<T> values;
    for (int i = 0; i < 4; ++i)
    {
        if constexpr (std::is_integral_v<T>)
        {
            values.push_back(static_cast<T>(in.Read32()));
        }
        else
        {
            values.push_back(in.ReadFloat32S());
        }
    }
    return values;
}
} // namespace

TEST(XRectTest, ConstructorTakesLeftTopRightBottomAndStoresLeftTopBottomRight)
{
    const XRect rect(1, 2, 30, 40);
    EXPECT_EQ(rect.left, 1);
    EXPECT_EQ(rect.top, 2);
    EXPECT_EQ(rect.right, 30);
    EXPECT_EQ(rect.bottom, 40);
    EXPECT_EQ(rect.GetWidth(), 29);
    EXPECT_EQ(rect.GetHeight(), 38);
    EXPECT_EQ(StoredValues(rect), (std::vector<std::int32_t>{1, 2, 40, 30}));

    const float a = 1.5f;
    const XRectF screen(-a, -1, a, 1);
    EXPECT_EQ(screen.left, -a);
    EXPECT_EQ(screen.top, -1);
    EXPECT_EQ(screen.bottom, 1);
    EXPECT_EQ(screen.right, a);
    EXPECT_EQ(StoredValues(screen), (std::vector<float>{-a, -1, 1, a}));

    const XRect zero;
    EXPECT_EQ(zero, XRect(0, 0, 0, 0));
    EXPECT_TRUE(zero.IsEmpty());
    EXPECT_FALSE(rect.IsEmpty());
    EXPECT_TRUE(XRect(5, 0, 4, 10).IsEmpty());
    EXPECT_TRUE(rect.IsEqual(XRect(1, 2, 30, 40)));
    EXPECT_FALSE(rect.IsEqual(XRect(1, 2, 40, 30)));
}

// The screen rectangle of the tracer's camera, built from (-a, -1, a, 1), with the screen-to-raster
// transform built from its values w1..w4 in storage order, takes raster (0, 0) to screen (-a, -1)
// and raster (xres, yres) to (a, 1).
TEST(XRectTest, ScreenRectangleMapsRasterCornersToOppositeScreenCorners)
{
    using M = XMatrix_4x4<float>;
    const float xres = 640;
    const float yres = 480;
    const float a = xres / yres;
    const std::vector<float> w = StoredValues(XRectF(-a, -1, a, 1));
    const M screenToRaster = M::Scale(xres, yres, 1) *
                             M::Scale(1 / (w[3] - w[0]), 1 / (w[2] - w[1]), 1) *
                             M::Translation(-w[0], -w[1], 0);
    const M rasterToScreen = screenToRaster.Inverse();
    const XMathVectorF3 origin = rasterToScreen.TransformPoint({0, 0, 0});
    const XMathVectorF3 far = rasterToScreen.TransformPoint({xres, yres, 0});
    EXPECT_NEAR(origin.x, -a, 1e-5);
    EXPECT_NEAR(origin.y, -1, 1e-5);
    EXPECT_NEAR(far.x, a, 1e-5);
    EXPECT_NEAR(far.y, 1, 1e-5);

    // Map gives the same correspondence for rectangles.
    const XRectF raster(0, 0, xres, yres);
    const XRectF screen(-a, -1, a, 1);
    EXPECT_EQ(raster.Map(raster, screen), screen);
    const XRectF firstPixel = XRectF(0, 0, 1, 1).Map(raster, screen);
    EXPECT_FLOAT_EQ(firstPixel.left, -a);
    EXPECT_FLOAT_EQ(firstPixel.top, -1);
    EXPECT_NEAR(firstPixel.right, -a + 2 * a / xres, 1e-6);
    EXPECT_NEAR(firstPixel.bottom, -1 + 2 / yres, 1e-6);
}

TEST(XRectTest, ContainsIsHalfOpen)
{
    const XRect rect(2, 3, 5, 7);
    EXPECT_TRUE(rect.Contains(2, 3));
    EXPECT_TRUE(rect.Contains(4, 6));
    EXPECT_FALSE(rect.Contains(5, 6));
    EXPECT_FALSE(rect.Contains(4, 7));
    EXPECT_FALSE(rect.Contains(1, 3));
    EXPECT_FALSE(rect.Contains(2, 2));
    EXPECT_FALSE(XRect(2, 3, 2, 7).Contains(2, 3));

    EXPECT_TRUE(rect.Contains(rect));
    EXPECT_TRUE(rect.Contains(XRect(3, 4, 5, 7)));
    EXPECT_FALSE(rect.Contains(XRect(3, 4, 6, 7)));
    EXPECT_FALSE(rect.Contains(XRect(1, 4, 4, 5)));
    EXPECT_FALSE(XRect(3, 4, 5, 7).Contains(rect));

    const XRectF f(-1, -1, 1, 1);
    EXPECT_TRUE(f.Contains(-1.0f, 0.999f));
    EXPECT_FALSE(f.Contains(0.0f, 1.0f));
}

TEST(XRectTest, SectGivesTheOverlapOrAnEmptyRectangle)
{
    const XRect a(0, 0, 10, 8);
    EXPECT_EQ(a.Sect(XRect(5, -3, 20, 4)), XRect(5, 0, 10, 4));
    EXPECT_EQ(XRect(5, -3, 20, 4).Sect(a), XRect(5, 0, 10, 4));
    EXPECT_EQ(a.Sect(XRect(2, 2, 3, 3)), XRect(2, 2, 3, 3));
    EXPECT_EQ(a.Sect(a), a);

    // Disjoint on x, touching on y, and disjoint on both.
    const XRect apart = a.Sect(XRect(12, 1, 15, 5));
    EXPECT_TRUE(apart.IsEmpty());
    EXPECT_EQ(apart.GetWidth(), 0);
    const XRect touching = a.Sect(XRect(0, 8, 10, 12));
    EXPECT_TRUE(touching.IsEmpty());
    EXPECT_EQ(touching.GetHeight(), 0);
    const XRect far = a.Sect(XRect(-10, -10, -5, -5));
    EXPECT_EQ(far.GetWidth(), 0);
    EXPECT_EQ(far.GetHeight(), 0);

    const XRectF f = XRectF(0, 0, 1, 1).Sect(XRectF(0.5f, 0.25f, 2, 2));
    EXPECT_EQ(f, XRectF(0.5f, 0.25f, 1, 1));
}

TEST(XRectTest, MapScalesAndShiftsAndRoundsIntegersOutward)
{
    const XRect frame(0, 0, 10, 10);
    EXPECT_EQ(XRect(1, 2, 3, 4).Map(frame, frame), XRect(1, 2, 3, 4));
    EXPECT_EQ(XRect(1, 2, 3, 4).Map(frame, XRect(0, 0, 20, 20)), XRect(2, 4, 6, 8));
    EXPECT_EQ(XRect(10, 20, 30, 40).Map(XRect(10, 20, 30, 40), XRect(0, 0, 10, 10)),
              XRect(0, 0, 10, 10));
    EXPECT_EQ(XRect(1, 2, 3, 4).Map(frame, XRect(100, 200, 110, 210)), XRect(101, 202, 103, 204));
    // Shrinking by 3: 1/3 rounds down to 0, 5/3 and 4/3 round up to 2.
    EXPECT_EQ(XRect(1, 1, 5, 4).Map(XRect(0, 0, 9, 9), XRect(0, 0, 3, 3)), XRect(0, 0, 2, 2));
    // Scale 1.5 onto a frame at negative coordinates: -3 + 1.5 -> -2, -3 + 3 -> 0.
    EXPECT_EQ(XRect(1, 1, 2, 2).Map(XRect(0, 0, 4, 4), XRect(-3, -3, 3, 3)), XRect(-2, -2, 0, 0));
    // Negative offsets round toward the enclosing rectangle too: -1.5 -> -2, 1.5 -> 2.
    EXPECT_EQ(XRect(-1, -1, 1, 1).Map(XRect(0, 0, 4, 4), XRect(0, 0, 6, 6)), XRect(-2, -2, 2, 2));

    // Integer results always enclose the exact image.
    std::mt19937 random(5);
    std::uniform_int_distribution<int> value(-50, 50);
    std::uniform_int_distribution<int> size(1, 40);
    for (int trial = 0; trial < 2000; ++trial)
    {
        const XRect from(value(random), value(random), 0, 0);
        XRect fromFrame = from;
        fromFrame.SetDimensions(size(random), size(random));
        XRect toFrame(value(random), value(random), 0, 0);
        toFrame.SetDimensions(size(random), size(random));
        XRect rect(value(random), value(random), 0, 0);
        rect.SetDimensions(size(random), size(random));
        const XRect mapped = rect.Map(fromFrame, toFrame);
        const auto exact = [&](std::int32_t inValue, std::int32_t inFrom, std::int32_t inFromSize,
                               std::int32_t inTo, std::int32_t inToSize)
        { return inTo + double(inValue - inFrom) * inToSize / inFromSize; };
        const double left = exact(rect.left, fromFrame.left, fromFrame.GetWidth(), toFrame.left,
                                  toFrame.GetWidth());
        const double right = exact(rect.right, fromFrame.left, fromFrame.GetWidth(), toFrame.left,
                                   toFrame.GetWidth());
        const double top =
            exact(rect.top, fromFrame.top, fromFrame.GetHeight(), toFrame.top, toFrame.GetHeight());
        const double bottom = exact(rect.bottom, fromFrame.top, fromFrame.GetHeight(), toFrame.top,
                                    toFrame.GetHeight());
        EXPECT_EQ(mapped.left, std::floor(left));
        EXPECT_EQ(mapped.right, std::ceil(right));
        EXPECT_EQ(mapped.top, std::floor(top));
        EXPECT_EQ(mapped.bottom, std::ceil(bottom));
    }

    EXPECT_EQ(XRectF(1, 2, 3, 4).Map(XRectF(0, 0, 4, 8), XRectF(-1, -1, 1, 1)),
              XRectF(-0.5f, -0.5f, 0.5f, 0));
}

TEST(XRectTest, MapFromAnEmptyFrameIsReported)
{
    XInternalErrorCapture capture;
    const XRect mapped = XRect(1, 2, 3, 4).Map(XRect(0, 0, 0, 10), XRect(5, 5, 10, 10));
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"!inFrom.IsEmpty()"});
    EXPECT_EQ(mapped.left, 5);
    EXPECT_EQ(mapped.right, 5);
    EXPECT_EQ(mapped.top, 6);
    EXPECT_EQ(mapped.bottom, 7);
}

TEST(XRectTest, SettersKeepTheDocumentedEdges)
{
    XRect rect(1, 2, 4, 8); // 3 x 6
    rect.SetPosition(10, 20);
    EXPECT_EQ(rect, XRect(10, 20, 13, 26));
    rect.SetDimensions(32, 40);
    EXPECT_EQ(rect, XRect(10, 20, 42, 60));
    rect.SetWidth(5);
    EXPECT_EQ(rect, XRect(10, 20, 15, 60));
    rect.SetHeight(1);
    EXPECT_EQ(rect, XRect(10, 20, 15, 21));
    rect.SetPosition(-3, -4);
    EXPECT_EQ(rect, XRect(-3, -4, 2, -3));
}

TEST(XRectTest, StreamRoundTrip)
{
    for (const XRect rect : {XRect(-5, -7, 100, 2000000000), XRect()})
    {
        XMemoryStream stream;
        rect.Write(stream);
        XMemoryStream in(stream.GetBytes());
        XRect read(9, 9, 9, 9);
        read.Read(in);
        EXPECT_EQ(read, rect);
    }
    XMemoryStream stream;
    const XRectF rect(-1.25f, 0.5f, 3, 7.75f);
    rect.Write(stream);
    XMemoryStream in(stream.GetBytes());
    XRectF read;
    read.Read(in);
    EXPECT_EQ(read, rect);

    XMemoryStream truncated(std::vector<std::uint8_t>(12, 0));
    XRect untouched(1, 2, 3, 4);
    EXPECT_THROW(untouched.Read(truncated), XException);
    EXPECT_EQ(untouched, XRect(1, 2, 3, 4));
}
