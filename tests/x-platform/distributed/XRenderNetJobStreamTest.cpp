#include "host/core/XInternalError.h"
#include "host/core/XNetJobContext.h"
#include "host/core/XStream.h"
#include "tests/scenes/XLitMatteSphereScene.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "tests/x-platform/distributed/XRegisterRenderClasses.h"
#include "x-platform/distributed/XRayTracerNetJobSharedData.h"
#include "x-platform/distributed/XRenderNetJob.h"
#include "x-platform/distributed/XRenderNetJobResult.h"
#include "x-platform/image/XFilm.h"

#include <gtest/gtest.h>

namespace
{
class XRenderNetJobStreamTest : public ::testing::Test
{
protected:
    void SetUp() override { XRegisterRenderClasses(); }

    static std::unique_ptr<XFilm> MakeTile(const XRect& inRect)
    {
        const XFilm frame(100.0f, 70.0f, nullptr);
        return frame.CreateSubFilm(inRect);
    }

    template <class T>
    static std::unique_ptr<T> RoundTrip(const T& inObject)
    {
        XMemoryStream stream;
        stream.WriteObject(&inObject);
        XMemoryStream reader(stream.TakeBytes());
        return reader.ReadObjectAs<T>();
    }
};
} // namespace

TEST_F(XRenderNetJobStreamTest, JobKeepsEverythingButTransmission)
{
    XRenderOptions options;
    options.firstFlag = true;
    options.secondFlag = false;
    options.reflections = false;
    options.transmission = true;
    options.firstCount = 7;
    options.samplesPerPixelSide = 3;
    options.maxDepth = 2;
    options.secondCount = 11;
    const XRect tile(64, 32, 100, 70);
    const XRenderNetJob job(42, options, MakeTile(tile), 9, 3, 4, 1);
    ASSERT_EQ(job.GetSharedDataIDs(), std::vector<std::uint32_t>{42});

    const std::unique_ptr<XRenderNetJob> copy = RoundTrip(job);
    ASSERT_NE(copy, nullptr);
    XRenderOptions expected = options;
    expected.transmission = false; // not in the stream: a read job keeps the default
    EXPECT_EQ(copy->GetRenderOptions(), expected);
    EXPECT_EQ(copy->GetSharedDataID(), 42u);
    EXPECT_EQ(copy->GetSharedDataIDs(), std::vector<std::uint32_t>{42});
    EXPECT_EQ(copy->GetFrameID(), 9u);
    EXPECT_EQ(copy->GetPass(), 3u);
    EXPECT_EQ(copy->GetStep(), 4u);
    EXPECT_EQ(copy->GetOffset(), 1u);
    ASSERT_NE(copy->GetTileFilm(), nullptr);
    EXPECT_EQ(copy->GetTileFilm()->GetSampleRect(), tile);
    EXPECT_EQ(copy->GetTileFilm()->GetResolutionX(), 100.0f);
    EXPECT_EQ(copy->GetJobName(), "Render Net Job");

    // The stored form: the job base part, then 14900, the four flag bytes and the four words.
    const std::vector<std::uint8_t> bytes = XWrittenBytes(job);
    XMemoryStream reader(bytes);
    EXPECT_EQ(reader.ReadVersion().classId, XNetJob::kBaseClassID);
    EXPECT_EQ(reader.Read32(), 1u); // one registration: id 42, flags 0
    EXPECT_EQ(reader.Read32(), 42u);
    EXPECT_EQ(reader.Read32(), 0u);
    EXPECT_EQ(reader.ReadVersion().classId, XRenderNetJob::kClassID);
    EXPECT_EQ(reader.Read8(), 1u);
    EXPECT_EQ(reader.Read8(), 0u);
    EXPECT_EQ(reader.Read8(), 1u);
    EXPECT_EQ(reader.Read8(), 0u);
    EXPECT_EQ(reader.Read32(), 7u);
    EXPECT_EQ(reader.Read32(), 3u);
    EXPECT_EQ(reader.Read32(), 2u);
    EXPECT_EQ(reader.Read32(), 11u);
    EXPECT_EQ(reader.Read32(), 42u);
}

TEST_F(XRenderNetJobStreamTest, ResultKeepsOffsetAndStepApartAndRefusesOtherRecords)
{
    const XRenderNetJobResult result(MakeTile(XRect(0, 0, 32, 32)), 5, 2, 3, 8);
    const std::unique_ptr<XRenderNetJobResult> copy = RoundTrip(result);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetFrameID(), 5u);
    EXPECT_EQ(copy->GetPass(), 2u);
    EXPECT_EQ(copy->GetOffset(), 3u);
    EXPECT_EQ(copy->GetStep(), 8u);
    ASSERT_NE(copy->GetFilm(), nullptr);
    EXPECT_EQ(copy->GetFilm()->GetSampleRect(), XRect(0, 0, 32, 32));

    // A default result is frame 0, pass 1, offset 0, step 1, without a film.
    const XRenderNetJobResult empty;
    EXPECT_EQ(empty.GetFilm(), nullptr);
    EXPECT_EQ(empty.GetPass(), 1u);
    EXPECT_EQ(empty.GetStep(), 1u);

    // The result's own record carries 14901 after the base record; 14900 there is refused.
    std::vector<std::uint8_t> bytes = XWrittenBytes(result);
    XMemoryStream probe(bytes);
    probe.ReadVersion();
    const std::size_t ownRecord = probe.GetPosition();
    XPutWord(bytes, ownRecord, XRenderNetJob::kClassID);
    XRenderNetJobResult target;
    EXPECT_EQ(XReadErrorCode(bytes, target), XException::kWrongClass);

    bytes = XWrittenBytes(result);
    XPutWord(bytes, ownRecord + 4, XStream::kFirstUnknownVersion);
    EXPECT_EQ(XReadErrorCode(bytes, target), XException::kVersionTooNew);
}

TEST_F(XRenderNetJobStreamTest, MissingFilmIsReportedAndRefused)
{
    {
        const XRenderNetJob job(1, XRenderOptions(), nullptr, 1, 1, 8, 7);
        const XInternalErrorCapture capture;
        XRenderNetJob target;
        EXPECT_EQ(XReadErrorCode(XWrittenBytes(job), target), XException::kMalformedStream);
        EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"itsFilm"});
    }

    // A job run without shared data reports "data" and stores no result.
    const XInternalErrorCapture runCapture;
    struct XNoData final : XNetJobContext
    {
        std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t) const override
        {
            return nullptr;
        }
    } context;
    XRenderNetJob orphan(1, XRenderOptions(), MakeTile(XRect(0, 0, 32, 32)), 1, 1, 8, 7);
    orphan.Execute(context);
    EXPECT_EQ(orphan.TakeJobResult(), nullptr);
    EXPECT_EQ(runCapture.GetConditions(), std::vector<std::string>{"data"});
}

TEST_F(XRenderNetJobStreamTest, SharedDataReadBackHoldsAPreparedSceneOfItsOwn)
{
    const XSharedHandle<X3DScene> scene = XLitMatteSphereScene().Build();
    const XRayTracerNetJobSharedData data(scene);
    EXPECT_EQ(scene.GetReferenceCount(), 2);
    EXPECT_EQ(data.GetStreamSize(), scene->GetStreamSize() + 24);
    {
        const auto copy = XClone(data);
        EXPECT_EQ(copy->GetScene().Get(), scene.Get()); // copies share the scene
    }

    const std::unique_ptr<XRayTracerNetJobSharedData> read = RoundTrip(data);
    ASSERT_NE(read, nullptr);
    const XSharedHandle<X3DScene> readScene = read->GetScene();
    ASSERT_TRUE(readScene);
    EXPECT_NE(readScene.Get(), scene.Get());
    EXPECT_TRUE(readScene->IsPrepared());
    EXPECT_EQ(readScene->GetSurfaces().size(), scene->GetSurfaces().size());
    EXPECT_EQ(XWrittenBytes(*readScene), XWrittenBytes(*scene));

    const XInternalErrorCapture capture;
    const XRayTracerNetJobSharedData empty;
    EXPECT_FALSE(empty.GetScene());
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"itsScene"});
}
