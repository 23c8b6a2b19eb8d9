// Renders of scene files whose every pixel is worked out here from the shading formulas, in
// float32 as the renderer computes them: a matte sphere under one light, a volume of constant
// voxels alone, and a sphere inside that volume. Each rendered byte must lie within one of the
// byte that the worked-out colour gives.

#include "XPixelRays.h"
#include "XSceneFileRender.h"
#include "XTestStack.h"

#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XCamera.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/volume/XVolumetric.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace
{
using nlohmann::json;

constexpr std::uint32_t kSide = 32;

json Vector(const XMathVectorF3& inVector)
{
    return json::array({inVector.x, inVector.y, inVector.z});
}

json Colour(const XRGBSpectrum& inColour)
{
    return json::array({inColour.r, inColour.g, inColour.b});
}

// The byte a colour component becomes on the way film → float image → 32-bit frame.
int ExpectedByte(float inComponent)
{
    const float clamped = 1.0f > inComponent ? inComponent : 1.0f;
    return static_cast<int>(clamped * 255.0);
}

// Checks one pixel of the frame against a colour, within one byte per component.
void ExpectPixel(const XARGB32Volume& inPicture, std::uint32_t inX, std::uint32_t inY,
                 const XRGBSpectrum& inExpected)
{
    const XARGB32Colour actual =
        inPicture.At(static_cast<std::int32_t>(inX), static_cast<std::int32_t>(inY), 0);
    const float components[3] = {inExpected.r, inExpected.g, inExpected.b};
    const int got[3] = {actual.r, actual.g, actual.b};
    for (int c = 0; c < 3; ++c)
    {
        const int expected = ExpectedByte(components[c]);
        EXPECT_LE(std::abs(got[c] - expected), 1)
            << "pixel (" << inX << ", " << inY << ") component "
            << "RGB"[c] << ": expected " << expected << " from " << components[c] << ", rendered "
            << got[c];
    }
}

// The fluorescence classification of one byte for the settings a scene file gives a channel.
struct XClassifiedVoxel
{
    float opacity = 0.0f;
    XRGBSpectrum colour; // channel colour × emission
};

XClassifiedVoxel Classify(std::uint8_t inByte, float inThreshold, float inBrightness,
                          float inOpacity, const XRGBSpectrum& inChannelColour)
{
    const float threshold = inThreshold * 0.99f + 0.01f;
    const float gain = inBrightness * 1.5f;
    const float absorption = std::exp2(13.0f * inOpacity - 6.0f);
    const float difference = static_cast<float>(inByte) / 256.0f - threshold;
    XClassifiedVoxel voxel;
    if (difference > 0.0f)
    {
        voxel.opacity = 1.0f - std::exp2(-difference * absorption);
        voxel.colour = inChannelColour * (difference * gain);
    }
    return voxel;
}

struct XLightPlacement
{
    XMathVectorF3 position;
    XRGBSpectrum intensity;
};

// The colour along a camera ray of a scene of matte surfaces (no ambient share of their own, so
// they cast full shadows) and one volume of constant classified voxels, following the tracer
// step by step in float32: L = Ls × Tr + Lv, where the volume terms are marched on the lattice of
// multiples of the step from the ray's origin in voxel space and stop at the nearest surface.
// The nearest surface and its shading normal come from the scene; the volume's placement (world
// box and transforms) too, so that the marching lattice is the same to the last bit.
class XReferenceTracer
{
public:
    XReferenceTracer(const X3DScene& inScene, const XRGBSpectrum& inTexture,
                     std::vector<XLightPlacement> inLights, const XClassifiedVoxel& inVoxel,
                     const XMathVectorF3& inDataMaximum)
        : itsScene(inScene), itsTexture(inTexture), itsLights(std::move(inLights)),
          itsVoxel(inVoxel), itsDataBounds(XMathVectorF3(0, 0, 0), inDataMaximum)
    {
    }

    XRGBSpectrum Trace(const XRay& inRay) const
    {
        XRay ray = inRay;
        const XRGBSpectrum surface = SurfaceLi(ray);
        return surface * VolumeTransmittance(ray) + VolumeLi(ray);
    }

private:
    struct XMarch
    {
        XMathVectorF3 origin;
        XMathVectorF3 direction;
        float step = 0.0f;
        float first = 0.0f;
        std::uint32_t count = 0;
    };

    static std::uint32_t Truncate(float inValue)
    {
        return inValue >= 1.0f ? static_cast<std::uint32_t>(inValue) : 0u;
    }

    bool SetUp(const XRay& inRay, XMarch& outMarch) const
    {
        const XVolumetric* volumetric = itsScene.GetVolumetric();
        if (volumetric == nullptr)
        {
            return false;
        }
        // The stretch of the ray inside the volume's world box, within [tMin, tMax].
        const XBoundingBox& box = volumetric->GetBoundingBox();
        float t0 = inRay.tMin;
        float t1 = inRay.tMax;
        for (int axis = 0; axis < 3; ++axis)
        {
            const float inverse = 1.0f / inRay.direction[axis];
            float near = (box.GetMin()[axis] - inRay.origin[axis]) * inverse;
            float far = (box.GetMax()[axis] - inRay.origin[axis]) * inverse;
            if (near > far)
            {
                std::swap(near, far);
            }
            t0 = std::max(t0, near);
            t1 = std::min(t1, far);
        }
        if (!(t0 <= t1))
        {
            return false;
        }
        // Voxel-space distances along the normalised voxel-space direction.
        const XMatrix_4x4<float>& toVoxel = volumetric->GetWorldToVoxel();
        outMarch.origin = toVoxel.TransformPoint(inRay.origin);
        outMarch.direction = toVoxel.TransformVector(inRay.direction).Normalized();
        const float d0 = (toVoxel.TransformPoint(inRay.At(t0)) - outMarch.origin).Length();
        const float d1 = (toVoxel.TransformPoint(inRay.At(t1)) - outMarch.origin).Length();
        const float length = d1 - d0;
        const std::uint32_t n = Truncate(std::ceil(length) / 0.75f);
        outMarch.step = length / static_cast<float>(n);
        outMarch.first = std::ceil(d0 / outMarch.step) * outMarch.step;
        outMarch.count = Truncate(((outMarch.first + length) - outMarch.first) / outMarch.step);
        return true;
    }

    XRGBSpectrum VolumeLi(const XRay& inRay) const
    {
        XMarch march;
        XRGBSpectrum radiance;
        if (!SetUp(inRay, march))
        {
            return radiance;
        }
        const float ambient = itsScene.GetAmbientFraction();
        const XMatrix_4x4<float>& toWorld = itsScene.GetVolumetric()->GetVoxelToWorld();
        float transmittance = 1.0f;
        float opacity = 0.0f;
        float t = march.first;
        for (std::uint32_t i = 0; i < march.count; ++i, t += march.step)
        {
            const XMathVectorF3 p = march.origin + march.direction * t;
            if (!itsDataBounds.Contains(p))
            {
                continue;
            }
            // The previous sample's opacity dims this one.
            transmittance *= 1.0f - opacity;
            if (transmittance < 1.0e-8f)
            {
                break;
            }
            opacity = itsVoxel.opacity;
            radiance += itsVoxel.colour * opacity * transmittance * ambient;
            const XMathVectorF3 world = toWorld.TransformPoint(p);
            for (const XLightPlacement& light : itsLights)
            {
                const XMathVectorF3 toLight = light.position - world;
                const float distance = toLight.Length();
                const XRay shadowRay(world, toLight / distance, 0.001f, distance - 0.001f);
                radiance += ShadowTransmittance(shadowRay) * itsVoxel.colour * transmittance *
                            (1.0f - ambient) * opacity;
            }
        }
        return radiance;
    }

    XRGBSpectrum VolumeTransmittance(const XRay& inRay) const
    {
        XRGBSpectrum transmittance(1.0f, 1.0f, 1.0f);
        XMarch march;
        if (!SetUp(inRay, march))
        {
            return transmittance;
        }
        float t = march.first;
        for (std::uint32_t i = 0; i < march.count; ++i, t += march.step)
        {
            const XMathVectorF3 p = march.origin + march.direction * t;
            if (itsDataBounds.Contains(p) && itsVoxel.opacity > 0.0f)
            {
                transmittance *= 1.0f - itsVoxel.opacity * march.step;
            }
            if ((transmittance.r + transmittance.g + transmittance.b) / 3.0f < 1.0e-8f)
            {
                break;
            }
        }
        return transmittance;
    }

    // A matte surface without ambient share blocks a shadow ray; the volume dims it up to the
    // nearest surface.
    XRGBSpectrum ShadowTransmittance(const XRay& inRay) const
    {
        XRay ray = inRay;
        XRayHit hit;
        if (itsScene.Intersect(ray, hit))
        {
            return XRGBSpectrum();
        }
        return VolumeTransmittance(ray);
    }

    XRGBSpectrum SurfaceLi(XRay& ioRay) const
    {
        XRayHit hit;
        if (!itsScene.Intersect(ioRay, hit))
        {
            return itsScene.GetBackground();
        }
        const float ambient = itsScene.GetAmbientFraction();
        XRGBSpectrum radiance;
        for (const XLightPlacement& light : itsLights)
        {
            const XMathVectorF3 toLight = light.position - hit.point;
            const float distance = toLight.Length();
            const XMathVectorF3 wi = toLight / distance;
            const float cosine = Dot(wi, hit.normal);
            // Matte: texture × (n · wi) × kd with kd = 1, times the cosine again.
            const XRGBSpectrum reflected = itsTexture * Dot(hit.normal, wi);
            if (cosine > 0.0f)
            {
                const XRay shadowRay(hit.point, wi, 1.0e-5f, distance - 1.0e-5f);
                radiance += reflected * light.intensity * ShadowTransmittance(shadowRay) * cosine *
                            (1.0f - ambient);
            }
            radiance += itsTexture * light.intensity * ambient;
        }
        return radiance;
    }

    const X3DScene& itsScene;
    XRGBSpectrum itsTexture;
    std::vector<XLightPlacement> itsLights;
    XClassifiedVoxel itsVoxel;
    XBoundingBox itsDataBounds;
};

// The parameter at which a ray meets a sphere first, in double precision; negative on a miss.
// outMargin is how far (relative to the radius) the ray passes from the silhouette.
double HitSphere(const XRay& inRay, const XMathVectorF3& inCentre, float inRadius,
                 double& outMargin)
{
    const double o[3] = {inRay.origin.x - double(inCentre.x), inRay.origin.y - double(inCentre.y),
                         inRay.origin.z - double(inCentre.z)};
    const double d[3] = {inRay.direction.x, inRay.direction.y, inRay.direction.z};
    const double a = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    const double b = o[0] * d[0] + o[1] * d[1] + o[2] * d[2];
    const double c = o[0] * o[0] + o[1] * o[1] + o[2] * o[2] - double(inRadius) * inRadius;
    // Distance of the sphere's centre from the ray's line.
    const double closest =
        std::sqrt(std::max(0.0, (o[0] * o[0] + o[1] * o[1] + o[2] * o[2]) - b * b / a));
    outMargin = std::fabs(closest - inRadius) / inRadius;
    const double discriminant = b * b - a * c;
    if (discriminant < 0.0)
    {
        return -1.0;
    }
    return (-b - std::sqrt(discriminant)) / a;
}

// A stack of kVoxels³ voxels that all hold the same byte.
constexpr std::uint32_t kVoxels = 10;

void WriteConstantStack(const std::filesystem::path& inPath, std::uint8_t inByte)
{
    XTestStack stack;
    stack.width = stack.height = stack.depth = kVoxels;
    stack.value = [inByte](std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t)
    { return inByte; };
    stack.Write(inPath);
}

// The volume of the prepared scene sits where the scene file puts it: data bounds [0, n - 1] in
// voxel coordinates, world box from the origin to origin + (n - 1) × voxel size.
void ExpectPlacement(const X3DScene& inScene, const XMathVectorF3& inOrigin,
                     const XMathVectorF3& inVoxelSize)
{
    const XVolumetric* volumetric = inScene.GetVolumetric();
    ASSERT_NE(volumetric, nullptr);
    const float last = static_cast<float>(kVoxels - 1);
    EXPECT_EQ(volumetric->GetVolumeBounds().GetMin(), XMathVectorF3(0, 0, 0));
    EXPECT_EQ(volumetric->GetVolumeBounds().GetMax(), XMathVectorF3(last, last, last));
    for (int axis = 0; axis < 3; ++axis)
    {
        EXPECT_NEAR(volumetric->GetBoundingBox().GetMin()[axis], inOrigin[axis], 1e-5);
        EXPECT_NEAR(volumetric->GetBoundingBox().GetMax()[axis],
                    inOrigin[axis] + last * inVoxelSize[axis], 1e-5);
    }
    // The centre of voxel (i, j, k) lies at origin + (i sx, j sy, k sz).
    const XMathVectorF3 centre =
        volumetric->GetVoxelToWorld().TransformPoint(XMathVectorF3(3.0f, 4.0f, 5.0f));
    EXPECT_NEAR(centre.x, inOrigin.x + 3.0f * inVoxelSize.x, 1e-5);
    EXPECT_NEAR(centre.y, inOrigin.y + 4.0f * inVoxelSize.y, 1e-5);
    EXPECT_NEAR(centre.z, inOrigin.z + 5.0f * inVoxelSize.z, 1e-5);
}
} // namespace

TEST(XSceneFilePixelTest, MatteSphereUnderOneLight)
{
    XScratchFolder folder;
    const XMathVectorF3 eye(0.0f, 0.0f, -5.0f);
    const XMathVectorF3 centre(0.6f, 0.3f, 0.0f);
    const float radius = 1.0f;
    const float ambient = 0.25f;
    const XRGBSpectrum texture(0.8f, 0.6f, 0.35f);
    const XRGBSpectrum intensity(0.9f, 1.0f, 0.7f);
    const XRGBSpectrum background(0.1f, 0.2f, 0.3f);
    const json scene = {
        {"image", {{"width", kSide}, {"height", kSide}}},
        {"camera", {{"position", Vector(eye)}, {"lookAt", {0, 0, 0}}, {"up", {0, 1, 0}}}},
        {"background", Colour(background)},
        {"ambient", ambient},
        // The light sits at the camera, so the whole visible half of the sphere is lit.
        {"lights", {{{"position", Vector(eye)}, {"intensity", Colour(intensity)}}}},
        {"surfaces",
         {{{"geometry", {{"type", "sphere"}, {"radius", radius}}},
           {"transform", {{"translate", Vector(centre)}}},
           {"material", {{"type", "matte"}, {"texture", Colour(texture)}}}}}}};
    XRayTracerRenderer renderer(XWriteScene(folder, "sphere.json", scene));
    ASSERT_EQ(renderer.GetRenderScale(), 1.0f);
    const std::unique_ptr<XARGB32Volume> picture = XRenderPicture(renderer);
    ASSERT_EQ(picture->GetWidth(), kSide);
    ASSERT_EQ(picture->GetHeight(), kSide);

    const XPixelRays rays(XCamera(eye, XMathVectorF3(0, 0, 0), XMathVectorF3(0, 1, 0)), kSide,
                          kSide);
    const XARGB32Colour backgroundBytes{0, static_cast<std::uint8_t>(ExpectedByte(background.r)),
                                        static_cast<std::uint8_t>(ExpectedByte(background.g)),
                                        static_cast<std::uint8_t>(ExpectedByte(background.b))};
    int spherePixels = 0;
    int backgroundPixels = 0;
    int leftTop = 0; // sphere pixels left of and above the picture's centre
    for (std::uint32_t y = 0; y < kSide; ++y)
    {
        for (std::uint32_t x = 0; x < kSide; ++x)
        {
            const XRay ray = rays.Get(x, y);
            double margin = 0.0;
            const double t = HitSphere(ray, centre, radius, margin);
            if (margin < 0.02)
            {
                continue; // the silhouette: hit or miss hangs on rounding
            }
            if (t < 0.0)
            {
                // A miss gives exactly the background, bytes and all.
                const XARGB32Colour actual =
                    picture->At(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 0);
                EXPECT_EQ(actual.r, backgroundBytes.r) << x << ", " << y;
                EXPECT_EQ(actual.g, backgroundBytes.g) << x << ", " << y;
                EXPECT_EQ(actual.b, backgroundBytes.b) << x << ", " << y;
                ++backgroundPixels;
                continue;
            }
            const XMathVectorF3 point = ray.At(static_cast<float>(t));
            const XMathVectorF3 normal = (point - centre) / radius;
            const XMathVectorF3 toLight = eye - point;
            const XMathVectorF3 wi = toLight / toLight.Length();
            const float cosine = Dot(wi, normal);
            ASSERT_GT(cosine, 0.0f);
            // kd·T·(n·wi) × I × cos × (1 − a) + kd·T × I × a, with kd = 1.
            const XRGBSpectrum expected = texture * cosine * intensity * cosine * (1.0f - ambient) +
                                          texture * intensity * ambient;
            ExpectPixel(*picture, x, y, expected);
            ++spherePixels;
            leftTop += (x < kSide / 2 && y >= kSide / 2) ? 1 : 0;
        }
    }
    // The sphere covers a fair part of the picture, and the test looked at nearly every pixel.
    EXPECT_GT(spherePixels, 150);
    EXPECT_GT(backgroundPixels, 500);
    EXPECT_GT(spherePixels + backgroundPixels, 950);
    // The camera looks along +z with +y up, so its right is world -x (right = up × back): moved
    // along +x and +y, the sphere lies left and up in the picture (row 0 is the bottom).
    EXPECT_GT(leftTop, spherePixels / 2);
}

TEST(XSceneFilePixelTest, ConstantVolumeWithoutLightsGivesItsAmbientShare)
{
    XScratchFolder folder;
    constexpr std::uint8_t byte = 200;
    WriteConstantStack(folder / "constant.tif", byte);
    // Anisotropic voxels: the march runs in voxel-space distances.
    const XMathVectorF3 voxelSize(0.5f, 0.4f, 0.6f);
    const XMathVectorF3 origin(-2.25f, -1.8f, -2.7f);
    const XMathVectorF3 eye(1.2f, 0.9f, -6.0f);
    const float ambient = 0.5f;
    const XRGBSpectrum background(0.4f, 0.6f, 0.8f);
    const json scene = {
        {"image", {{"width", kSide}, {"height", kSide}}},
        {"camera", {{"position", Vector(eye)}, {"lookAt", {0, 0, 0}}, {"up", {0, 1, 0}}}},
        {"background", Colour(background)},
        {"ambient", ambient},
        {"volume",
         {{"file", "constant.tif"},
          {"voxelSize", Vector(voxelSize)},
          {"origin", Vector(origin)},
          {"channels",
           {{{"channel", 1},
             {"colour", "#FF8040"},
             {"threshold", 0.2},
             {"brightness", 2.0},
             {"opacity", 0.3}}}}}}};
    XRayTracerRenderer renderer(XWriteScene(folder, "volume.json", scene));
    ASSERT_EQ(renderer.GetRenderScale(), 1.0f);
    const std::unique_ptr<XARGB32Volume> picture = XRenderPicture(renderer);
    const X3DScene& prepared = *renderer.GetScene();
    ExpectPlacement(prepared, origin, voxelSize);
    ASSERT_TRUE(prepared.GetLights().empty());

    const XClassifiedVoxel voxel =
        Classify(byte, 0.2f, 2.0f, 0.3f, XRGBSpectrum(1.0f, 128.0f / 255.0f, 64.0f / 255.0f));
    ASSERT_GT(voxel.opacity, 0.05f);
    const float last = static_cast<float>(kVoxels - 1);
    const XReferenceTracer reference(prepared, XRGBSpectrum(), {}, voxel,
                                     XMathVectorF3(last, last, last));
    const XPixelRays rays(XCamera(eye, XMathVectorF3(0, 0, 0), XMathVectorF3(0, 1, 0)), kSide,
                          kSide);
    int volumePixels = 0;
    for (std::uint32_t y = 0; y < kSide; ++y)
    {
        for (std::uint32_t x = 0; x < kSide; ++x)
        {
            const XRGBSpectrum expected = reference.Trace(rays.Get(x, y));
            ExpectPixel(*picture, x, y, expected);
            volumePixels += ExpectedByte(expected.r) != ExpectedByte(background.r) ? 1 : 0;
        }
    }
    EXPECT_GT(volumePixels, 200);

    // Along the centre ray the red glow outshines the background, while the blue background is
    // dimmed by more than the volume's little blue adds.
    const XARGB32Colour centreBytes = picture->At(kSide / 2, kSide / 2, 0);
    EXPECT_GT(centreBytes.r, ExpectedByte(background.r));
    EXPECT_LT(centreBytes.b, ExpectedByte(background.b));
}

TEST(XSceneFilePixelTest, VolumeInFrontOfASphereDimsItAndAddsItsGlow)
{
    XScratchFolder folder;
    constexpr std::uint8_t byte = 200;
    WriteConstantStack(folder / "constant.tif", byte);
    const XMathVectorF3 voxelSize(0.5f, 0.5f, 0.5f);
    const XMathVectorF3 origin(-2.25f, -2.25f, -2.25f);
    const XMathVectorF3 eye(1.2f, 0.9f, -6.0f);
    const float radius = 1.0f;
    const float ambient = 0.3f;
    const XRGBSpectrum texture(0.9f, 0.7f, 0.5f);
    const XRGBSpectrum intensity(1.0f, 1.0f, 1.0f);
    const XRGBSpectrum background(0.05f, 0.1f, 0.15f);
    const json scene = {
        {"image", {{"width", kSide}, {"height", kSide}}},
        {"camera", {{"position", Vector(eye)}, {"lookAt", {0, 0, 0}}, {"up", {0, 1, 0}}}},
        {"background", Colour(background)},
        {"ambient", ambient},
        {"lights", {{{"position", Vector(eye)}, {"intensity", Colour(intensity)}}}},
        {"surfaces",
         {{{"geometry", {{"type", "sphere"}, {"radius", radius}}},
           {"material", {{"type", "matte"}, {"texture", Colour(texture)}}}}}},
        {"volume",
         {{"file", "constant.tif"},
          {"voxelSize", Vector(voxelSize)},
          {"origin", Vector(origin)},
          {"channels",
           {{{"channel", 1},
             {"colour", "#40C0FF"},
             {"threshold", 0.1},
             {"brightness", 1.0},
             {"opacity", 0.25}}}}}}};
    XRayTracerRenderer renderer(XWriteScene(folder, "inside.json", scene));
    ASSERT_EQ(renderer.GetRenderScale(), 1.0f);
    const std::unique_ptr<XARGB32Volume> picture = XRenderPicture(renderer);
    const X3DScene& prepared = *renderer.GetScene();
    ExpectPlacement(prepared, origin, voxelSize);

    const XClassifiedVoxel voxel =
        Classify(byte, 0.1f, 1.0f, 0.25f, XRGBSpectrum(64.0f / 255.0f, 192.0f / 255.0f, 1.0f));
    const float last = static_cast<float>(kVoxels - 1);
    const XReferenceTracer reference(prepared, texture, {{eye, intensity}}, voxel,
                                     XMathVectorF3(last, last, last));
    const XPixelRays rays(XCamera(eye, XMathVectorF3(0, 0, 0), XMathVectorF3(0, 1, 0)), kSide,
                          kSide);
    int spherePixels = 0;
    for (std::uint32_t y = 0; y < kSide; ++y)
    {
        for (std::uint32_t x = 0; x < kSide; ++x)
        {
            const XRay ray = rays.Get(x, y);
            ExpectPixel(*picture, x, y, reference.Trace(ray));

            // The scene's sphere is where the scene file puts it.
            double margin = 0.0;
            const double t = HitSphere(ray, XMathVectorF3(0, 0, 0), radius, margin);
            XRay query = ray;
            XRayHit hit;
            const bool hits = prepared.Intersect(query, hit);
            if (margin > 0.02)
            {
                EXPECT_EQ(hits, t > 0.0) << x << ", " << y;
                if (hits && t > 0.0)
                {
                    EXPECT_NEAR(hit.t, t, 1e-4) << x << ", " << y;
                    ++spherePixels;
                }
            }
        }
    }
    EXPECT_GT(spherePixels, 60);
}
