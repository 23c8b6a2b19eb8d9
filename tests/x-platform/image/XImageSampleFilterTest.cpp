#include "host/core/XException.h"
#include "host/core/XStream.h"
#include "x-platform/image/XBoxFilter.h"
#include "x-platform/image/XGaussianFilter.h"
#include "x-platform/image/XImageClassTable.h"
#include "x-platform/image/XTriangleFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace
{
// Checks that every filter class meets: symmetry, non-negative weights, clones and stream copies
// of the same class that weigh alike, and refusal of unusable widths.
template <class T>
class XImageSampleFilterContractTest : public testing::Test
{
protected:
    void SetUp() override { XRegisterImageClasses(); }
};

using XFilterClasses = testing::Types<XBoxFilter, XTriangleFilter, XGaussianFilter>;
TYPED_TEST_SUITE(XImageSampleFilterContractTest, XFilterClasses);

// A 3 x 1.5 filter of the class; the Gaussian gets a fall-off other than its default.
template <class T>
std::unique_ptr<T> MakeFilter()
{
    if constexpr (std::is_same_v<T, XGaussianFilter>)
    {
        return std::make_unique<T>(3.0f, 1.5f, 0.75f);
    }
    else
    {
        return std::make_unique<T>(3.0f, 1.5f);
    }
}

const float kOffsets[][2] = {{0.0f, 0.0f}, {0.5f, 0.5f},  {1.25f, -0.75f},
                             {2.9f, 1.4f}, {-3.5f, 0.0f}, {0.0f, 7.0f}};
} // namespace

TYPED_TEST(XImageSampleFilterContractTest, IsSymmetricAndNonNegative)
{
    const auto filter = MakeFilter<TypeParam>();
    for (const auto& offset : kOffsets)
    {
        const float x = offset[0];
        const float y = offset[1];
        const float weight = filter->Evaluate(x, y);
        EXPECT_GE(weight, 0.0f) << x << ", " << y;
        EXPECT_EQ(filter->Evaluate(-x, y), weight) << x << ", " << y;
        EXPECT_EQ(filter->Evaluate(x, -y), weight) << x << ", " << y;
    }
}

TYPED_TEST(XImageSampleFilterContractTest, CloneAndStreamCopyKeepClassWidthsAndWeights)
{
    const auto filter = MakeFilter<TypeParam>();
    EXPECT_EQ(filter->GetStreamSize(), 8u);

    const std::unique_ptr<XImageSampleFilter> clone = XClone<XImageSampleFilter>(*filter);
    XMemoryStream stream;
    stream.WriteObject(filter.get());
    const std::unique_ptr<XImageSampleFilter> read = stream.ReadObjectAs<XImageSampleFilter>();
    EXPECT_EQ(stream.GetRemaining(), 0u);

    for (const XImageSampleFilter* copy : {clone.get(), read.get()})
    {
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(typeid(*copy), typeid(TypeParam));
        EXPECT_EQ(copy->GetClassID(), filter->GetClassID());
        EXPECT_EQ(copy->GetXWidth(), 3.0f);
        EXPECT_EQ(copy->GetYWidth(), 1.5f);
        // Inverses are recomputed from the widths, never carried.
        EXPECT_EQ(copy->GetInvXWidth(), 1.0f / 3.0f);
        EXPECT_EQ(copy->GetInvYWidth(), 1.0f / 1.5f);
        for (const auto& offset : kOffsets)
        {
            EXPECT_EQ(copy->Evaluate(offset[0], offset[1]), filter->Evaluate(offset[0], offset[1]));
        }
    }
}

TYPED_TEST(XImageSampleFilterContractTest, RefusesUnusableWidths)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float width : {0.0f, -1.0f, nan, std::numeric_limits<float>::infinity(), 257.0f})
    {
        if constexpr (std::is_same_v<TypeParam, XGaussianFilter>)
        {
            EXPECT_THROW(TypeParam(width, 1.0f, 1.0f), XException) << width;
            EXPECT_THROW(TypeParam(1.0f, width, 1.0f), XException) << width;
        }
        else
        {
            EXPECT_THROW(TypeParam(width, 1.0f), XException) << width;
            EXPECT_THROW(TypeParam(1.0f, width), XException) << width;
        }
    }

    // The same limits hold for widths read from a stream.
    XMemoryStream stream;
    stream.WriteVersion(XImageSampleFilter::kClassID);
    stream.WriteFloat32S(1.0e6f);
    stream.WriteFloat32S(1.0f);
    stream.WriteVersion(TypeParam::kClassID);
    stream.WriteFloat32S(1.0f);
    TypeParam read;
    try
    {
        read.Read(stream);
        FAIL() << "a width of 1e6 was accepted";
    }
    catch (const XException& exception)
    {
        EXPECT_EQ(exception.GetCode(), XException::kMalformedStream);
    }
}

TEST(XImageSampleFilterTest, WeightsOfEachClass)
{
    // The box ignores its extent.
    const XBoxFilter box(2.0f, 2.0f);
    EXPECT_EQ(box.Evaluate(100.0f, 100.0f), 1.0f);
    EXPECT_EQ(box.Evaluate(0.0f, 0.0f), 1.0f);

    // Two unnormalised tents.
    const XTriangleFilter triangle(2.0f, 3.0f);
    EXPECT_EQ(triangle.Evaluate(0.0f, 0.0f), 6.0f);
    EXPECT_EQ(triangle.Evaluate(1.0f, 0.5f), 1.0f * 2.5f);
    EXPECT_EQ(triangle.Evaluate(2.0f, 0.0f), 0.0f);
    EXPECT_EQ(triangle.Evaluate(-2.5f, 0.0f), 0.0f);
    EXPECT_EQ(triangle.Evaluate(0.0f, 3.0f), 0.0f);

    // The renderer's default Gaussian: 16 x 16, alpha 1.5625, no edge subtraction.
    const XGaussianFilter gaussian;
    EXPECT_EQ(gaussian.GetXWidth(), 16.0f);
    EXPECT_EQ(gaussian.GetYWidth(), 16.0f);
    EXPECT_EQ(gaussian.GetInvXWidth(), 0.0625f);
    EXPECT_EQ(gaussian.GetInvYWidth(), 0.0625f);
    EXPECT_EQ(gaussian.GetAlpha(), 1.5625f);
    EXPECT_FLOAT_EQ(gaussian.Evaluate(0.5f, 0.5f), std::exp(-1.5625f * 0.5f));
    EXPECT_EQ(gaussian.Evaluate(0.0f, 0.0f), 1.0f);
    EXPECT_FLOAT_EQ(gaussian.Evaluate(1.0f, 2.0f), std::exp(-1.5625f * 5.0f));
    // At the edge of its extent the weight is not pulled down to 0.
    EXPECT_FLOAT_EQ(XGaussianFilter(2.0f, 2.0f, 0.5f).Evaluate(2.0f, 0.0f), std::exp(-2.0f));
}

TEST(XImageSampleFilterTest, StoredLayoutIsBaseRecordWidthsThenClassRecord)
{
    XMemoryStream stream;
    XGaussianFilter(4.0f, 2.0f, 0.25f).Write(stream);
    const XVersion base = stream.ReadVersion();
    EXPECT_EQ(base.classId, 14904u);
    EXPECT_EQ(stream.ReadFloat32S(), 4.0f);
    EXPECT_EQ(stream.ReadFloat32S(), 2.0f);
    EXPECT_EQ(stream.ReadVersion().classId, 14907u);
    EXPECT_EQ(stream.ReadFloat32S(), 0.25f);
    EXPECT_EQ(stream.GetRemaining(), 0u);

    XMemoryStream boxStream;
    XBoxFilter(4.0f, 2.0f).Write(boxStream);
    EXPECT_EQ(boxStream.GetBytes().size(), 8u + 8u + 8u);
    boxStream.ReadVersion();
    boxStream.ReadFloat32S();
    boxStream.ReadFloat32S();
    EXPECT_EQ(boxStream.ReadVersion().classId, 14905u);

    XMemoryStream triangleStream;
    XTriangleFilter(4.0f, 2.0f).Write(triangleStream);
    triangleStream.ReadVersion();
    triangleStream.ReadFloat32S();
    triangleStream.ReadFloat32S();
    EXPECT_EQ(triangleStream.ReadVersion().classId, 14906u);
}

TEST(XImageSampleFilterTest, ReadingAnotherClassOrANewerVersionThrows)
{
    XMemoryStream box;
    XBoxFilter(2.0f, 2.0f).Write(box);
    XTriangleFilter triangle;
    try
    {
        triangle.Read(box);
        FAIL() << "a box record was read as a triangle";
    }
    catch (const XException& exception)
    {
        EXPECT_EQ(exception.GetCode(), XException::kWrongClass);
    }

    XMemoryStream newer;
    newer.WriteVersion(XImageSampleFilter::kClassID, 65536);
    newer.WriteFloat32S(2.0f);
    newer.WriteFloat32S(2.0f);
    newer.WriteVersion(XBoxFilter::kClassID);
    XBoxFilter boxRead;
    try
    {
        boxRead.Read(newer);
        FAIL() << "version 65536 was accepted";
    }
    catch (const XException& exception)
    {
        EXPECT_EQ(exception.GetCode(), XException::kVersionTooNew);
    }
}
