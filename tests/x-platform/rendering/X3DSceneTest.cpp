#include "x-platform/rendering/X3DScene.h"
#include "host/core/XInternalError.h"
#include "host/core/XMutexLock.h"
#include "tests/scenes/XBoxTestVolumetric.h"
#include "tests/scenes/XRandomSpheres.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "tests/scenes/XTestMaterial.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XCone.h"
#include "x-platform/geometry/XCylinder.h"
#include "x-platform/geometry/XDisk.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/rendering/XSceneClassTable.h"
#include "x-platform/shading/XPointLight.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

namespace
{
// A sphere that writes its hooks into a log.
class XLoggingSphere : public XSphere
{
public:
    XLoggingSphere(std::vector<std::string>& ioLog, std::string inName)
        : XSphere(1), itsLog(ioLog), itsName(std::move(inName))
    {
    }
    void Prepare() override { itsLog.push_back(itsName + " prepare"); }
    void RenderBegin() override { itsLog.push_back(itsName + " begin"); }
    void RenderEnd() override { itsLog.push_back(itsName + " end"); }

private:
    std::vector<std::string>& itsLog;
    std::string itsName;
};

class XLoggingVolumetric : public XBoxTestVolumetric
{
public:
    explicit XLoggingVolumetric(std::vector<std::string>& ioLog)
        : XBoxTestVolumetric(2, 1, XRGBSpectrum(1, 1, 1)), itsLog(ioLog)
    {
    }
    void RenderBegin() override { itsLog.push_back("volumetric begin"); }
    void RenderEnd() override { itsLog.push_back("volumetric end"); }

private:
    std::vector<std::string>& itsLog;
};

std::unique_ptr<XSurface> MakeSurface(XRef<XGeometry> inGeometry,
                                      const XMatrix_4x4<float>& inTransform,
                                      const XRef<XMaterial>& inMaterial = {})
{
    auto surface = std::make_unique<XSurface>();
    surface->SetGeometries({std::move(inGeometry)});
    surface->SetTransform(inTransform);
    surface->SetMaterial(inMaterial);
    return surface;
}

// A scene with every geometry, two lights, a volumetric and many separated spheres.
std::unique_ptr<X3DScene> MakeFullScene()
{
    auto scene = std::make_unique<X3DScene>();
    scene->SetCamera(XCamera(XMathVectorF3(0.5f, 0.5f, -3), XMathVectorF3(0.5f, 0.5f, 0.5f),
                             XMathVectorF3(0, 1, 0)));
    scene->SetBackground(XRGBSpectrum(0.1f, 0.2f, 0.3f));
    scene->SetAmbientFraction(0.35f);
    const XMutexLock lock(scene->GetMutex());
    std::vector<std::unique_ptr<XLight>> lights;
    lights.push_back(std::make_unique<XPointLight>(XMatrix_4x4<float>::Translation(2, 3, -4),
                                                   XRGBSpectrum(1, 1, 1)));
    lights.push_back(std::make_unique<XPointLight>(XMatrix_4x4<float>::Translation(-1, 0, 0),
                                                   XRGBSpectrum(0.5f, 0, 2)));
    scene->SetLights(std::move(lights));

    const XRef<XMaterial> red = XMakeRef<XTestMaterial>(XRGBSpectrum(1, 0, 0));
    const XRef<XMaterial> blue = XMakeRef<XTestMaterial>(XRGBSpectrum(0, 0, 1));
    std::vector<std::unique_ptr<XSurface>>& surfaces = scene->EditSurfaces();
    surfaces = XMakeSphereSurfaces(XMakeSeparatedSpheres(60, 23));
    for (std::size_t i = 0; i < surfaces.size(); ++i)
    {
        surfaces[i]->SetMaterial(i % 2 == 0 ? red : blue);
    }
    surfaces.push_back(MakeSurface(XMakeRef<XCylinder>(0.2f),
                                   XMatrix_4x4<float>::Translation(-0.5f, 0.5f, 0.5f), red));
    surfaces.push_back(MakeSurface(XMakeRef<XCone>(0.3f, 0.6f),
                                   XMatrix_4x4<float>::Translation(1.5f, 0.5f, 0.5f), blue));
    surfaces.push_back(MakeSurface(XMakeRef<XDisk>(0.4f),
                                   XMatrix_4x4<float>::Translation(0.5f, -0.5f, 0.5f) *
                                       XMatrix_4x4<float>::Rotation(XMathVectorF3(1, 0, 0), 90)));
    auto pair = std::make_unique<XSurface>();
    pair->SetGeometries({XMakeRef<XSphere>(0.1f), XMakeRef<XCylinder>(0.1f)});
    pair->SetTransform(XMatrix_4x4<float>::Translation(0.5f, 1.5f, 0.5f) *
                       XMatrix_4x4<float>::Scale(1, 2, 1));
    pair->SetFlag(1);
    surfaces.push_back(std::move(pair));

    auto volumetric = XMakeRef<XBoxTestVolumetric>(8, 0.25f, XRGBSpectrum(0, 1, 0));
    volumetric->SetVolumeTransform(XMatrix_4x4<float>::Scale(0.25f, 0.25f, 0.25f));
    scene->SetVolumetric(volumetric);
    return scene;
}

// Rays through and around the unit cube from every side.
std::vector<XRay> MakeProbeRays()
{
    std::vector<XRay> rays = XMakePrimaryRays(40, 40);
    XUniformSource random(99);
    for (int i = 0; i < 1500; ++i)
    {
        const XMathVectorF3 from(random.Next(-2, 3), random.Next(-2, 3), random.Next(-2, 3));
        const XMathVectorF3 to(random.Next(-0.5f, 1.5f), random.Next(-0.5f, 1.5f),
                               random.Next(-0.5f, 1.5f));
        rays.emplace_back(from, (to - from).Normalized(), 0.0f, 20.0f);
    }
    return rays;
}

void ExpectSameAnswers(const X3DScene& inExpected, const X3DScene& inActual)
{
    int hits = 0;
    for (const XRay& start : MakeProbeRays())
    {
        XRay expectedRay = start;
        XRay actualRay = start;
        XRayHit expectedHit;
        XRayHit actualHit;
        const bool found = inExpected.Intersect(expectedRay, expectedHit);
        ASSERT_EQ(inActual.Intersect(actualRay, actualHit), found);
        EXPECT_EQ(actualRay.tMax, expectedRay.tMax);
        EXPECT_EQ(actualHit.t, expectedHit.t);
        if (found)
        {
            ++hits;
            EXPECT_EQ(actualHit.point, expectedHit.point);
            EXPECT_EQ(actualHit.normal, expectedHit.normal);
            EXPECT_EQ(actualHit.inside, expectedHit.inside);
            ASSERT_EQ(static_cast<bool>(actualHit.material),
                      static_cast<bool>(expectedHit.material));
            if (expectedHit.material)
            {
                XRGBSpectrum expectedColour;
                XRGBSpectrum actualColour;
                expectedHit.material->GetDiffuseColour(expectedColour, expectedHit);
                actualHit.material->GetDiffuseColour(actualColour, actualHit);
                EXPECT_EQ(actualColour, expectedColour);
            }
        }
        EXPECT_EQ(inActual.IntersectP(start), inExpected.IntersectP(start));
        float expectedT0 = 0;
        float expectedT1 = 0;
        float actualT0 = 0;
        float actualT1 = 0;
        ASSERT_EQ(inActual.IntersectVolumetric(actualRay, &actualT0, &actualT1),
                  inExpected.IntersectVolumetric(expectedRay, &expectedT0, &expectedT1));
        EXPECT_EQ(actualT0, expectedT0);
        EXPECT_EQ(actualT1, expectedT1);
    }
    EXPECT_GT(hits, 100);
}

std::vector<std::uint32_t> NodeIndices(const X3DScene& inScene)
{
    std::vector<std::uint32_t> indices;
    const X3DScene::XHierarchy& hierarchy = *inScene.GetHierarchy();
    for (const auto& node : hierarchy.GetNodes())
    {
        indices.push_back(node.jumpIndex);
        std::uint32_t surface = 0xFFFFFFFF;
        for (std::size_t i = 0; i < inScene.GetSurfaces().size(); ++i)
        {
            if (inScene.GetSurfaces()[i].get() == hierarchy.GetPrimitive(node))
            {
                surface = static_cast<std::uint32_t>(i);
            }
        }
        indices.push_back(surface);
    }
    return indices;
}

class X3DSceneTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        XRegisterSceneClasses();
        XRegisterTestMaterial();
        XRegisterBoxTestVolumetric();
    }
};
} // namespace

TEST_F(X3DSceneTest, DefaultsAndAnEmptyScene)
{
    X3DScene scene;
    EXPECT_EQ(scene.GetCamera().GetPosition(), XMathVectorF3(0, 0, -10));
    EXPECT_EQ(scene.GetCamera().GetLookAt(), XMathVectorF3(0, 0, 0));
    EXPECT_EQ(scene.GetCamera().GetUp(), XMathVectorF3(0, 1, 0));
    EXPECT_EQ(scene.GetBackground(), XRGBSpectrum(0, 0, 0));
    EXPECT_EQ(scene.GetAmbientFraction(), 0.2f);
    EXPECT_FALSE(scene.IsPrepared());
    EXPECT_EQ(scene.GetMutex().GetTimeout(), 4000);
    EXPECT_EQ(scene.GetClassID(), 14912u);

    XRay ray(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    EXPECT_FALSE(scene.Intersect(ray, hit));
    float t0 = 0;
    float t1 = 0;
    EXPECT_FALSE(scene.IntersectVolumetric(ray, &t0, &t1));

    // Preparing an empty scene, or one whose surfaces are all disabled, builds no hierarchy.
    {
        const XMutexLock lock(scene.GetMutex());
        scene.EditSurfaces().push_back(MakeSurface(XMakeRef<XSphere>(1.0f), XMatrix_4x4<float>()));
        scene.EditSurfaces().back()->SetEnabled(false);
    }
    scene.Prepare();
    EXPECT_TRUE(scene.IsPrepared());
    EXPECT_EQ(scene.GetHierarchy(), nullptr);
    EXPECT_FALSE(scene.Intersect(ray, hit));
    EXPECT_FALSE(scene.IntersectP(ray));
    EXPECT_EQ(ray.tMax, 100);
}

TEST_F(X3DSceneTest, PrepareBuildsOverEnabledSurfacesOnce)
{
    std::vector<std::string> log;
    X3DScene scene;
    auto volumetric = XMakeRef<XBoxTestVolumetric>(3, 1, XRGBSpectrum(1, 1, 1));
    {
        const XMutexLock lock(scene.GetMutex());
        auto& surfaces = scene.EditSurfaces();
        surfaces.push_back(MakeSurface(XMakeRef<XLoggingSphere>(log, "a"),
                                       XMatrix_4x4<float>::Translation(0, 0, 10)));
        surfaces.push_back(MakeSurface(XMakeRef<XLoggingSphere>(log, "b"),
                                       XMatrix_4x4<float>::Translation(0, 0, 5)));
        surfaces.back()->SetEnabled(false);
        surfaces.push_back(MakeSurface(XMakeRef<XLoggingSphere>(log, "c"),
                                       XMatrix_4x4<float>::Translation(0, 3, 5)));
        scene.SetVolumetric(volumetric);
    }
    scene.Prepare();
    EXPECT_EQ(log, (std::vector<std::string>{"a prepare", "c prepare"}));
    EXPECT_EQ(volumetric->prepareCount, 1);
    ASSERT_NE(scene.GetHierarchy(), nullptr);
    EXPECT_EQ(scene.GetHierarchy()->GetNodes().size(), 4u);

    // The disabled surface is not in the way.
    XRay ray(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(scene.Intersect(ray, hit));
    EXPECT_EQ(hit.t, 9);
    EXPECT_EQ(ray.tMax, 9);

    // Prepared already: nothing happens.
    scene.Prepare();
    EXPECT_EQ(log.size(), 2u);
    EXPECT_EQ(volumetric->prepareCount, 1);

    // Changing the surfaces asks for a rebuild.
    {
        const XMutexLock lock(scene.GetMutex());
        scene.EditSurfaces()[1]->SetEnabled(true);
    }
    EXPECT_FALSE(scene.IsPrepared());
    scene.Prepare();
    EXPECT_EQ(volumetric->prepareCount, 2);
    EXPECT_EQ(scene.GetHierarchy()->GetNodes().size(), 6u);
    XRay again(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(scene.Intersect(again, hit));
    EXPECT_EQ(hit.t, 4);

    // A disabled volumetric is neither prepared nor asked.
    volumetric->enabled = false;
    {
        const XMutexLock lock(scene.GetMutex());
        scene.SetVolumetric(volumetric);
    }
    scene.Prepare();
    EXPECT_EQ(volumetric->prepareCount, 2);
    float t0 = 0;
    float t1 = 0;
    EXPECT_FALSE(scene.IntersectVolumetric(again, &t0, &t1));
}

TEST_F(X3DSceneTest, VolumetricIntervalEndsAtTheNearestSurface)
{
    X3DScene scene;
    {
        const XMutexLock lock(scene.GetMutex());
        // World box [0, 4]^3, a sphere of radius 1 around (2, 2, 3).
        scene.SetVolumetric(XMakeRef<XBoxTestVolumetric>(5, 1, XRGBSpectrum(1, 1, 1)));
        scene.EditSurfaces().push_back(
            MakeSurface(XMakeRef<XSphere>(1.0f), XMatrix_4x4<float>::Translation(2, 2, 3)));
    }
    scene.Prepare();
    XRay ray(XMathVectorF3(2, 2, -4), XMathVectorF3(0, 0, 1), 0, 100);
    float t0 = 0;
    float t1 = 0;
    ASSERT_TRUE(scene.IntersectVolumetric(ray, &t0, &t1));
    EXPECT_EQ(t0, 4);
    EXPECT_EQ(t1, 8);
    XRayHit hit;
    ASSERT_TRUE(scene.Intersect(ray, hit));
    ASSERT_TRUE(scene.IntersectVolumetric(ray, &t0, &t1));
    EXPECT_EQ(t0, 4);
    EXPECT_EQ(t1, 6);
    // A ray that misses the box.
    EXPECT_FALSE(scene.IntersectVolumetric(
        XRay(XMathVectorF3(9, 9, -4), XMathVectorF3(0, 0, 1), 0, 100), &t0, &t1));
}

TEST_F(X3DSceneTest, NotificationsGoToTheVolumetricThenEverySurface)
{
    std::vector<std::string> log;
    X3DScene scene;
    auto volumetric = XMakeRef<XLoggingVolumetric>(log);
    {
        const XMutexLock lock(scene.GetMutex());
        scene.SetVolumetric(volumetric);
        scene.EditSurfaces().push_back(
            MakeSurface(XMakeRef<XLoggingSphere>(log, "a"), XMatrix_4x4<float>()));
        scene.EditSurfaces().push_back(
            MakeSurface(XMakeRef<XLoggingSphere>(log, "b"), XMatrix_4x4<float>()));
        scene.EditSurfaces().back()->SetEnabled(false);
    }
    scene.RenderBegin();
    scene.RenderEnd();
    EXPECT_EQ(log, (std::vector<std::string>{"volumetric begin", "a begin", "b begin",
                                             "volumetric end", "a end", "b end"}));
    volumetric->enabled = false;
    log.clear();
    scene.RenderBegin();
    EXPECT_EQ(log, (std::vector<std::string>{"a begin", "b begin"}));
}

TEST_F(X3DSceneTest, ContentAccessorsRequireTheLock)
{
    X3DScene scene;
    {
        XInternalErrorCapture capture;
        scene.SetLights({});
        scene.EditSurfaces();
        scene.SetVolumetric({});
        scene.EditVolumetric();
        EXPECT_EQ(capture.GetConditions(),
                  std::vector<std::string>(4, "itsMutex.IsLockedByCurrentThread()"));
        for (const XInternalErrorReport& report : capture.GetReports())
        {
            EXPECT_EQ(report.source, "x-platform/X3DScene");
        }
    }
    XInternalErrorCapture capture;
    const XMutexLock lock(scene.GetMutex());
    scene.SetLights({});
    scene.EditSurfaces();
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(X3DSceneTest, TryCopyCopiesContentsOrGivesUpAtOnce)
{
    std::unique_ptr<X3DScene> scene = MakeFullScene();
    scene->Prepare();
    const XRef<XGeometry> sharedGeometry = scene->GetSurfaces().front()->GetGeometries().front();
    const std::int64_t countBefore = sharedGeometry->GetReferenceCount();

    const std::unique_ptr<X3DScene> copy = X3DScene::TryCopy(*scene);
    ASSERT_NE(copy, nullptr);
    EXPECT_FALSE(copy->IsPrepared());
    EXPECT_EQ(copy->GetHierarchy(), nullptr);
    EXPECT_EQ(copy->GetCamera(), scene->GetCamera());
    EXPECT_EQ(copy->GetBackground(), scene->GetBackground());
    EXPECT_EQ(copy->GetAmbientFraction(), scene->GetAmbientFraction());
    ASSERT_EQ(copy->GetLights().size(), 2u);
    EXPECT_NE(copy->GetLights()[0].get(), scene->GetLights()[0].get());
    EXPECT_EQ(XWrittenBytes(*copy->GetLights()[1]), XWrittenBytes(*scene->GetLights()[1]));
    ASSERT_EQ(copy->GetSurfaces().size(), scene->GetSurfaces().size());
    EXPECT_NE(copy->GetSurfaces()[0].get(), scene->GetSurfaces()[0].get());
    // Copied surfaces share their geometries.
    EXPECT_EQ(sharedGeometry->GetReferenceCount(), countBefore + 1);
    ASSERT_NE(copy->GetVolumetric(), nullptr);
    EXPECT_NE(copy->GetVolumetric(), scene->GetVolumetric());
    EXPECT_EQ(copy->GetVolumetric()->GetBoundingBox(), scene->GetVolumetric()->GetBoundingBox());
    // Prepared again, the copy answers as the original.
    copy->Prepare();
    ExpectSameAnswers(*scene, *copy);

    // While another thread holds the lock, the copy is null at once (Clone too).
    std::mutex mutex;
    std::condition_variable changed;
    bool locked = false;
    bool release = false;
    std::thread holder(
        [&]
        {
            const XMutexLock lock(scene->GetMutex());
            std::unique_lock<std::mutex> guard(mutex);
            locked = true;
            changed.notify_all();
            changed.wait(guard, [&] { return release; });
        });
    {
        std::unique_lock<std::mutex> guard(mutex);
        changed.wait(guard, [&] { return locked; });
    }
    EXPECT_EQ(X3DScene::TryCopy(*scene), nullptr);
    EXPECT_EQ(scene->Clone(), nullptr);
    {
        std::lock_guard<std::mutex> guard(mutex);
        release = true;
    }
    changed.notify_all();
    holder.join();
    const std::unique_ptr<XStorable> clone = scene->Clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetClassID(), X3DScene::kClassID);
}

TEST_F(X3DSceneTest, StreamRoundTripKeepsContentsAndHierarchy)
{
    std::unique_ptr<X3DScene> scene = MakeFullScene();
    // An unprepared scene stores no hierarchy.
    const std::vector<std::uint8_t> unprepared = XWrittenBytes(*scene);
    EXPECT_EQ(unprepared.size(), scene->GetStreamSize());
    scene->Prepare();
    const std::vector<std::uint8_t> bytes = XWrittenBytes(*scene);
    ASSERT_EQ(bytes.size(), scene->GetStreamSize());
    const std::size_t nodeCount = scene->GetHierarchy()->GetNodes().size();
    EXPECT_EQ(bytes.size(), unprepared.size() + 24 + 4 + nodeCount * 33);
    // The version record, the camera (position, point looked at, up), the background colour and
    // the light count lead; the ambient fraction ends the record.
    float leading[12];
    std::memcpy(leading, bytes.data() + 8, sizeof leading);
    EXPECT_EQ(leading[0], 0.5f);
    EXPECT_EQ(leading[2], -3.0f);
    EXPECT_EQ(leading[7], 1.0f);
    EXPECT_EQ(leading[9], 0.1f);
    EXPECT_EQ(leading[11], 0.3f);
    std::uint32_t lightCount = 0;
    std::memcpy(&lightCount, bytes.data() + 8 + sizeof leading, 4);
    EXPECT_EQ(lightCount, 2u);
    float ambient = 0;
    std::memcpy(&ambient, bytes.data() + bytes.size() - 4, 4);
    EXPECT_EQ(ambient, 0.35f);

    X3DScene read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_FALSE(read.IsPrepared());
    EXPECT_EQ(XWrittenBytes(read), bytes);
    EXPECT_EQ(read.GetCamera(), scene->GetCamera());
    EXPECT_EQ(read.GetBackground(), scene->GetBackground());
    EXPECT_EQ(read.GetAmbientFraction(), 0.35f);
    EXPECT_EQ(read.GetLights().size(), 2u);
    EXPECT_EQ(read.GetSurfaces().size(), scene->GetSurfaces().size());
    ASSERT_NE(read.GetVolumetric(), nullptr);
    EXPECT_EQ(read.GetVolumetric()->GetClassID(), XBoxTestVolumetric::kClassID);
    ASSERT_NE(read.GetHierarchy(), nullptr);
    EXPECT_EQ(read.GetHierarchy()->GetBounds(), scene->GetHierarchy()->GetBounds());
    EXPECT_EQ(NodeIndices(read), NodeIndices(*scene));
    for (std::size_t i = 0; i < nodeCount; ++i)
    {
        EXPECT_EQ(read.GetHierarchy()->GetNodes()[i].box, scene->GetHierarchy()->GetNodes()[i].box);
    }
    // The stored hierarchy answers as the built one, and so does a rebuilt one.
    ExpectSameAnswers(*scene, read);
    read.Prepare();
    EXPECT_EQ(NodeIndices(read), NodeIndices(*scene));
    ExpectSameAnswers(*scene, read);

    // Through the registry as an object, too.
    XMemoryStream stream;
    stream.WriteObject(scene.get());
    EXPECT_EQ(stream.GetBytes().size(), XObjectRecordSize(scene.get()));
    const std::unique_ptr<X3DScene> object = stream.ReadObjectAs<X3DScene>();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(XWrittenBytes(*object), bytes);
}

TEST_F(X3DSceneTest, ReadingRejectsWrongAndDamagedStreams)
{
    std::unique_ptr<X3DScene> scene = MakeFullScene();
    scene->Prepare();
    const std::vector<std::uint8_t> bytes = XWrittenBytes(*scene);
    X3DScene read;
    std::vector<std::uint8_t> wrong = bytes;
    XPutWord(wrong, 0, 14913);
    EXPECT_EQ(XReadErrorCode(wrong, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 4, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
    std::vector<std::uint8_t> lastOld = bytes;
    XPutWord(lastOld, 4, 65535);
    EXPECT_EQ(XReadErrorCode(lastOld, read), 0);

    // The last node is the terminal one: ambient (4) before it, then its surface index (4),
    // flag (1) and jump index (4). Naming a surface past the list, or a jump out of the array,
    // is refused.
    const std::size_t terminal = bytes.size() - 4 - 33;
    std::vector<std::uint8_t> badSurface = bytes;
    badSurface[terminal + 28] = 1;
    XPutWord(badSurface, terminal + 29, 100000);
    EXPECT_EQ(XReadErrorCode(badSurface, read), XException::kMalformedStream);
    std::vector<std::uint8_t> badJump = bytes;
    XPutWord(badJump, terminal + 24, 1);
    EXPECT_EQ(XReadErrorCode(badJump, read), XException::kMalformedStream);
    std::vector<std::uint8_t> truncated(bytes.begin(), bytes.end() - 10);
    EXPECT_NE(XReadErrorCode(truncated, read), 0);
}

TEST_F(X3DSceneTest, StoringAHierarchyOverAForeignSurfaceIsReported)
{
    X3DScene scene;
    {
        const XMutexLock lock(scene.GetMutex());
        scene.EditSurfaces().push_back(MakeSurface(XMakeRef<XSphere>(1.0f), XMatrix_4x4<float>()));
    }
    scene.Prepare();
    std::unique_ptr<XSurface> removed;
    {
        const XMutexLock lock(scene.GetMutex());
        removed = std::move(scene.EditSurfaces().front());
        scene.EditSurfaces().front() = MakeSurface(XMakeRef<XSphere>(2.0f), XMatrix_4x4<float>());
    }
    XInternalErrorCapture capture;
    XWrittenBytes(scene);
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"surfSearch != itsSurfaces.end()"});
}
