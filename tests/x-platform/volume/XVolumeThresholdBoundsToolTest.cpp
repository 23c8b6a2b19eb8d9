#include "x-platform/volume/XVolumeThresholdBoundsTool.h"

#include "host/core/XInternalError.h"
#include "host/core/XListener.h"
#include "host/core/XProgressCenter.h"
#include "host/core/XProgressMessage.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"
#include "host/imaging/XRGB48Volume.h"

#include <gtest/gtest.h>

namespace
{
const X3DRect kCube(0, 0, 0, 10, 10, 10);

// The percents (and whether done) and delays of the progress messages spoken while it lives.
class XProgressRecorder : public XListener
{
public:
    XProgressRecorder() { Subscribe(XProgressCenter::Get()); }
    ~XProgressRecorder() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (const auto* progress = dynamic_cast<const XProgressMessage*>(&inMessage))
        {
            percents.push_back(progress->IsDone() ? -progress->GetPercent()
                                                  : progress->GetPercent());
            delays.push_back(progress->GetDelayMilliseconds());
        }
    }

    std::vector<int> percents; // done messages negated
    std::vector<int> delays;
};

// Another kind of volume, which the tool does not know.
class XOtherVolume final : public XVolume
{
public:
    explicit XOtherVolume(const X3DRect& inBounds) : XVolume(inBounds) {}
};
} // namespace

TEST(XVolumeThresholdBoundsToolTest, TightensOnlyTheLowerCornerAboveTheThreshold)
{
    XGrey8Volume bytes(kCube);
    // A single voxel above the threshold at (3, 4, 5): lower (3, 4, 5), upper the volume's end.
    bytes.At(3, 4, 5) = 100;
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 50.0f), X3DRect(3, 4, 5, 10, 10, 10));
    // A value equal to the threshold does not count; the fraction of the threshold is dropped.
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 100.0f), X3DRect(10, 10, 10, 10, 10, 10));
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 99.9f), X3DRect(3, 4, 5, 10, 10, 10));
    // Two voxels: the lower corner is the componentwise minimum.
    bytes.At(7, 1, 8) = 60;
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 50.0f), X3DRect(3, 1, 5, 10, 10, 10));
    // A threshold above every voxel: the empty box at the upper corner.
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 250.0f), X3DRect(10, 10, 10, 10, 10, 10));
    // The volume is unlocked again.
    EXPECT_FALSE(bytes.IsLocked());
}

TEST(XVolumeThresholdBoundsToolTest, ScansSixteenBitAndFloatVolumesInTheirOwnType)
{
    const X3DRect box(-2, 0, 1, 6, 5, 4);
    XGrey16Volume words(box);
    words.At(-1, 2, 3) = 40000;
    words.At(4, 1, 2) = 300;
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(words, 30000.5f), X3DRect(-1, 2, 3, 6, 5, 4));
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(words, 299.0f), X3DRect(-1, 1, 2, 6, 5, 4));

    XFPVolume floats(box);
    floats.At(5, 4, 1) = 0.75f;
    floats.At(0, 3, 2) = 0.5f;
    // Float thresholds are used as they are.
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(floats, 0.6f), X3DRect(5, 4, 1, 6, 5, 4));
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(floats, 0.4f), X3DRect(0, 3, 1, 6, 5, 4));
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(floats, 0.75f), X3DRect(6, 5, 4, 6, 5, 4));
}

TEST(XVolumeThresholdBoundsToolTest, ARegionAndItsMaskConfineTheScan)
{
    XGrey8Volume bytes(kCube);
    bytes.At(1, 1, 1) = 200;
    bytes.At(6, 6, 6) = 200;
    bytes.At(8, 7, 6) = 200;
    XVolumeThresholdBoundsTool::XRegion region{X3DRect(5, 5, 5, 20, 20, 20)};
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 10.0f, &region),
              X3DRect(6, 6, 6, 10, 10, 10));
    // A mask that clears (6, 6, 6): only (8, 7, 6) is left.
    XGrey8Volume mask(kCube);
    for (std::int32_t z = 0; z < 10; ++z)
        for (std::int32_t y = 0; y < 10; ++y)
            for (std::int32_t x = 0; x < 10; ++x)
                mask.At(x, y, z) = 1;
    mask.At(6, 6, 6) = 0;
    region.mask = &mask;
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(bytes, 10.0f, &region),
              X3DRect(8, 7, 6, 10, 10, 10));
    EXPECT_FALSE(mask.IsLocked());
}

TEST(XVolumeThresholdBoundsToolTest, ReportsProgressOncePerPlane)
{
    // Four planes, scanned within a region of three.
    XGrey8Volume bytes(X3DRect(0, 0, 0, 2, 2, 4));
    {
        XProgressRecorder recorder;
        XVolumeThresholdBoundsTool::Compute(bytes, 0.0f);
        EXPECT_EQ(recorder.percents, (std::vector<int>{25, 50, 75, 100, -100}));
        EXPECT_EQ(recorder.delays, std::vector<int>(5, 2000));
    }
    XProgressRecorder recorder;
    const XVolumeThresholdBoundsTool::XRegion region{X3DRect(0, 0, 1, 2, 2, 9)};
    XVolumeThresholdBoundsTool::Compute(bytes, 0.0f, &region);
    EXPECT_EQ(recorder.percents, (std::vector<int>{33, 66, 100, -100}));
}

TEST(XVolumeThresholdBoundsToolTest, OtherVolumeTypesAreReported)
{
    const XInternalErrorCapture capture;
    XARGB32Volume colour(kCube);
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(colour, 1.0f), X3DRect());
    XRGB48Volume wide(kCube);
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(wide, 1.0f), X3DRect());
    XOtherVolume other(X3DRect(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(XVolumeThresholdBoundsTool::Compute(other, 1.0f), X3DRect(1, 2, 3, 4, 5, 6));
    const std::vector<XInternalErrorReport> reports = capture.GetReports();
    ASSERT_EQ(reports.size(), 3u);
    for (const XInternalErrorReport& report : reports)
    {
        EXPECT_EQ(report.condition, "false");
        EXPECT_EQ(report.source, "x-platform/XVolumeThresholdBoundsTool");
    }
}
