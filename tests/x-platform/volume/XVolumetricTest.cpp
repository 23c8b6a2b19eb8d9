#include "x-platform/volume/XVolumetric.h"
#include "host/core/XException.h"
#include "host/core/XStream.h"
#include "tests/scenes/XBoxTestVolumetric.h"
#include "x-platform/core/XRay.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace
{
void ExpectNear(const XMathVectorF3& inActual, const XMathVectorF3& inExpected, float inTolerance)
{
    EXPECT_NEAR(inActual.x, inExpected.x, inTolerance);
    EXPECT_NEAR(inActual.y, inExpected.y, inTolerance);
    EXPECT_NEAR(inActual.z, inExpected.z, inTolerance);
}

std::vector<std::uint8_t> Bytes(const XStorable& inObject)
{
    XMemoryStream stream;
    inObject.Write(stream);
    return stream.TakeBytes();
}

void PutWord(std::vector<std::uint8_t>& ioBytes, std::size_t inOffset, std::uint32_t inValue)
{
    std::memcpy(ioBytes.data() + inOffset, &inValue, 4);
}

// A neighbourhood with value inValue at offset (dx, dy, dz) and 0 elsewhere.
std::array<float, 27> Neighbourhood(std::initializer_list<std::array<int, 4>> inCells)
{
    std::array<float, 27> values{};
    for (const auto& cell : inCells)
    {
        values[(cell[2] + 1) * 9 + (cell[1] + 1) * 3 + (cell[0] + 1)] = static_cast<float>(cell[3]);
    }
    return values;
}
} // namespace

TEST(XVolumetricTest, UpdatePlacesTheVoxelBoxInTheWorld)
{
    // Identity transforms: the world box is the voxel box.
    XBoxTestVolumetric volumetric(5, 0.5f, XRGBSpectrum(1, 0, 0));
    EXPECT_EQ(volumetric.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(0, 0, 0), XMathVectorF3(4, 4, 4)));
    EXPECT_EQ(volumetric.GetVoxelToWorld(), XMatrix_4x4<float>());

    // Volume transform translate(origin) x scale(voxel size), then a world translation.
    const XMatrix_4x4<float> volumeTransform =
        XMatrix_4x4<float>::Translation(10, 20, 30) * XMatrix_4x4<float>::Scale(0.5f, 2, 1);
    volumetric.SetVolumeTransform(volumeTransform);
    EXPECT_EQ(volumetric.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(10, 20, 30), XMathVectorF3(12, 28, 34)));
    volumetric.SetTransform(XMatrix_4x4<float>::Translation(1, 0, -1));
    EXPECT_EQ(volumetric.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(11, 20, 29), XMathVectorF3(13, 28, 33)));
    EXPECT_EQ(volumetric.GetVoxelToWorld(),
              XMatrix_4x4<float>::Translation(1, 0, -1) * volumeTransform);
    // World-to-voxel undoes voxel-to-world.
    const XMathVectorF3 voxel(2, 3, 4);
    ExpectNear(volumetric.GetWorldToVoxel().TransformPoint(
                   volumetric.GetVoxelToWorld().TransformPoint(voxel)),
               voxel, 1e-5f);
    ExpectNear(volumetric.GetInverseVolumeTransform().TransformPoint(XMathVectorF3(10, 20, 30)),
               XMathVectorF3(0, 0, 0), 1e-6f);
}

TEST(XVolumetricTest, DefaultStepAndChannelValues)
{
    const XBoxTestVolumetric volumetric;
    EXPECT_FLOAT_EQ(volumetric.GetStepSize(), 0.01f);
    EXPECT_TRUE(volumetric.IsEnabled());
    EXPECT_EQ(volumetric.GetOffset(), XMathVectorF3(0, 0, 0));

    std::vector<float> values{7, 8, 9};
    volumetric.GetChannelValues(XMathVectorF3(1, 1, 1), values);
    EXPECT_EQ(values, (std::vector<float>{0, 0, 0}));
    std::vector<float> guard{5};
    volumetric.GetChannelValues(XMathVectorF3(1, 1, 1), std::span<float>(guard.data(), 0));
    EXPECT_EQ(guard[0], 5);
}

TEST(XVolumetricTest, GradientEstimate)
{
    // A uniform neighbourhood gives the zero vector, not a normalised one.
    std::array<float, 27> uniform{};
    uniform.fill(3.5f);
    EXPECT_EQ(XVolumetric::EstimateGradient(uniform), XMathVectorF3(0, 0, 0));

    // A bright face neighbour on +x: the gradient points away from it.
    ExpectNear(XVolumetric::EstimateGradient(Neighbourhood({{1, 0, 0, 1}})),
               XMathVectorF3(-1, 0, 0), 1e-6f);
    // A bright corner: the three axes are weighted alike.
    const float third = 1.0f / std::sqrt(3.0f);
    ExpectNear(XVolumetric::EstimateGradient(Neighbourhood({{1, 1, 1, 4}})),
               XMathVectorF3(-third, -third, -third), 1e-6f);
    // An edge neighbour weighs 1/sqrt(2) per axis against a face neighbour's 1: the unnormalised
    // gradient is -(1/sqrt(2), 1/sqrt(2), 1) times the common normaliser.
    const float edge = 1.0f / std::sqrt(2.0f);
    const float length = std::sqrt(edge * edge * 2 + 1);
    ExpectNear(XVolumetric::EstimateGradient(Neighbourhood({{1, 1, 0, 1}, {0, 0, 1, 1}})),
               XMathVectorF3(-edge / length, -edge / length, -1 / length), 1e-6f);
    // A linear ramp along y, whatever its offset, points down the ramp.
    std::array<float, 27> ramp{};
    for (int cell = 0; cell < 27; ++cell)
    {
        ramp[cell] = 10.0f + 2.0f * static_cast<float>((cell / 3) % 3 - 1);
    }
    ExpectNear(XVolumetric::EstimateGradient(ramp), XMathVectorF3(0, -1, 0), 1e-6f);
}

TEST(XVolumetricTest, RayIntervalIsTheWorldBoxClippedToTheRay)
{
    XBoxTestVolumetric volumetric(3, 1, XRGBSpectrum(1, 1, 1)); // world box [0, 2]^3
    float t0 = -1;
    float t1 = -1;

    // Straight through along +x from x = -3: enters at t = 3, leaves at t = 5.
    EXPECT_TRUE(
        volumetric.IntersectP(XRay(XMathVectorF3(-3, 1, 1), XMathVectorF3(1, 0, 0)), &t0, &t1));
    EXPECT_FLOAT_EQ(t0, 3);
    EXPECT_FLOAT_EQ(t1, 5);
    // A shortened tMax (a surface in front) ends the interval there.
    EXPECT_TRUE(volumetric.IntersectP(XRay(XMathVectorF3(-3, 1, 1), XMathVectorF3(1, 0, 0), 0, 4),
                                      &t0, &t1));
    EXPECT_FLOAT_EQ(t1, 4);
    // A ray starting inside starts at tMin.
    EXPECT_TRUE(volumetric.IntersectP(
        XRay(XMathVectorF3(1, 1, 1), XMathVectorF3(0, 0, -2), 0.25f, 100), &t0, &t1));
    EXPECT_FLOAT_EQ(t0, 0.25f);
    EXPECT_FLOAT_EQ(t1, 0.5f);
    // A surface before the box empties the interval: a miss.
    EXPECT_FALSE(volumetric.IntersectP(
        XRay(XMathVectorF3(-3, 1, 1), XMathVectorF3(1, 0, 0), 0, 2.5f), &t0, &t1));
    // Parallel to a slab: inside it (also on its plane) counts, outside it misses.
    EXPECT_TRUE(
        volumetric.IntersectP(XRay(XMathVectorF3(2, 0, -5), XMathVectorF3(0, 0, 1)), &t0, &t1));
    EXPECT_FLOAT_EQ(t0, 5);
    EXPECT_FLOAT_EQ(t1, 7);
    EXPECT_FALSE(
        volumetric.IntersectP(XRay(XMathVectorF3(2.5f, 1, -5), XMathVectorF3(0, 0, 1)), &t0, &t1));
    // Pointing away.
    EXPECT_FALSE(
        volumetric.IntersectP(XRay(XMathVectorF3(-3, 1, 1), XMathVectorF3(-1, 0, 0)), &t0, &t1));
}

TEST(XVolumetricTest, StreamHoldsTheTransformsBoxAndFlagAndReadingRecomputesInverses)
{
    XRegisterBoxTestVolumetric();
    XBoxTestVolumetric volumetric(4, 0.25f, XRGBSpectrum(0.5f, 1, 0));
    volumetric.SetVolumeTransform(XMatrix_4x4<float>::Translation(1, 2, 3) *
                                  XMatrix_4x4<float>::Scale(2, 2, 0.5f));
    volumetric.SetTransform(XMatrix_4x4<float>::Rotation(XMathVectorF3(0, 0, 1), 90));
    volumetric.SetFlag(3);

    const std::vector<std::uint8_t> bytes = Bytes(volumetric);
    ASSERT_EQ(bytes.size(), volumetric.GetStreamSize());
    // Object-to-world, volume transform, voxel-to-world, box, flag; then the derived class.
    ASSERT_EQ(volumetric.XVolumetric::GetStreamSize(), 3u * 64 + 24 + 1);
    float first[16];
    std::memcpy(first, bytes.data(), sizeof first);
    EXPECT_EQ(XMatrix_4x4<float>(first), volumetric.GetObjectToWorld());
    float voxelToWorld[16];
    std::memcpy(voxelToWorld, bytes.data() + 128, sizeof voxelToWorld);
    EXPECT_EQ(XMatrix_4x4<float>(voxelToWorld), volumetric.GetVoxelToWorld());
    EXPECT_EQ(bytes[3 * 64 + 24], 3);

    XMemoryStream stream(bytes);
    XBoxTestVolumetric read;
    read.Read(stream);
    EXPECT_EQ(read.GetObjectToWorld(), volumetric.GetObjectToWorld());
    EXPECT_EQ(read.GetWorldToObject(), volumetric.GetObjectToWorld().Inverse());
    EXPECT_EQ(read.GetVolumeTransform(), volumetric.GetVolumeTransform());
    EXPECT_EQ(read.GetInverseVolumeTransform(), volumetric.GetVolumeTransform().Inverse());
    EXPECT_EQ(read.GetVoxelToWorld(), volumetric.GetVoxelToWorld());
    EXPECT_EQ(read.GetWorldToVoxel(), volumetric.GetVoxelToWorld().Inverse());
    EXPECT_EQ(read.GetBoundingBox(), volumetric.GetBoundingBox());
    EXPECT_EQ(read.GetFlag(), 3);
    EXPECT_EQ(read.GetExtent(), 4);
    EXPECT_EQ(Bytes(read), bytes);

    // The derived record after the base fields: a wrong class and a too new version fail.
    const std::size_t record = 3 * 64 + 24 + 1;
    std::vector<std::uint8_t> wrongClass = bytes;
    PutWord(wrongClass, record, 14935);
    XMemoryStream wrongClassStream(wrongClass);
    try
    {
        XBoxTestVolumetric().Read(wrongClassStream);
        ADD_FAILURE() << "a wrong class was read";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), 1005);
    }
    std::vector<std::uint8_t> tooNew = bytes;
    PutWord(tooNew, record + 4, 65536);
    XMemoryStream tooNewStream(tooNew);
    try
    {
        XBoxTestVolumetric().Read(tooNewStream);
        ADD_FAILURE() << "a too new version was read";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), 1015);
    }
}

TEST(XVolumetricTest, CopiesKeepEveryFieldAsItStands)
{
    XBoxTestVolumetric volumetric(6, 0.75f, XRGBSpectrum(0, 0, 1));
    volumetric.SetVolumeTransform(XMatrix_4x4<float>::Scale(2, 3, 4));
    volumetric.SetTransform(XMatrix_4x4<float>::Translation(5, 6, 7));
    volumetric.SetFlag(1);
    const XRef<XVolumetric> copy =
        XRef<XVolumetric>::Adopt(XClone(static_cast<const XVolumetric&>(volumetric)).release());
    EXPECT_EQ(copy->GetReferenceCount(), 1);
    EXPECT_EQ(copy->GetVoxelToWorld(), volumetric.GetVoxelToWorld());
    EXPECT_EQ(copy->GetWorldToVoxel(), volumetric.GetWorldToVoxel());
    EXPECT_EQ(copy->GetInverseVolumeTransform(), volumetric.GetInverseVolumeTransform());
    EXPECT_EQ(copy->GetWorldToObject(), volumetric.GetWorldToObject());
    EXPECT_EQ(copy->GetBoundingBox(), volumetric.GetBoundingBox());
    EXPECT_EQ(copy->GetFlag(), 1);
    EXPECT_FLOAT_EQ(copy->GetDensity(XMathVectorF3(1, 1, 1)), 0.75f);
    EXPECT_FALSE(copy->IsLocked());
}
