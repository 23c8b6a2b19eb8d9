#include "host/data/XStackLayout.h"

#include "host/core/XException.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
XStackLayout::XFacts Facts(const std::string& inDescription, std::uint32_t inPages,
                           XVoxelType inType = XVoxelType::kGrey16)
{
    XStackLayout::XFacts facts;
    facts.fileName = "cells.tif";
    facts.description = inDescription;
    facts.pageCount = inPages;
    facts.width = 7;
    facts.height = 4;
    facts.type = inType;
    return facts;
}

// The message of the XException that describing the facts throws, or "" when none is thrown.
std::string Failure(const XStackLayout::XFacts& inFacts,
                    std::int32_t inCode = XException::kMalformedStream)
{
    try
    {
        XStackLayout::Describe(inFacts);
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), inCode);
        return error.what();
    }
    return "";
}

std::string OME(const std::string& inPixelsAttributes, const std::string& inChildren = "")
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
           "<Image ID=\"Image:0\"><Pixels ID=\"Pixels:0\" SizeX=\"7\" SizeY=\"4\" " +
           inPixelsAttributes + ">" + inChildren + "</Pixels></Image></OME>";
}
} // namespace

TEST(XStackLayoutTest, ImageJHyperstackOrdersChannelThenSliceThenFrame)
{
    const XStackLayout layout = XStackLayout::Describe(
        Facts("ImageJ=1.54f\nimages=24\nchannels=2\nslices=3\nframes=4\nhyperstack=true\n", 24));
    EXPECT_EQ(layout.GetKind(), XStackLayout::XKind::kImageJ);
    EXPECT_EQ(layout.GetSizeZ(), 3u);
    EXPECT_EQ(layout.GetChannelCount(), 2u);
    EXPECT_EQ(layout.GetTimePointCount(), 4u);
    EXPECT_EQ(layout.GetAxes().names, "TZCYX");
    EXPECT_EQ(layout.GetAxes().shape, (std::vector<std::uint32_t>{4, 3, 2, 4, 7}));
    for (std::uint32_t t = 0; t < 4; ++t)
    {
        for (std::uint32_t z = 0; z < 3; ++z)
        {
            for (std::uint32_t c = 0; c < 2; ++c)
            {
                EXPECT_EQ(layout.GetPage(z, c, t), (t * 3 + z) * 2 + c);
            }
        }
    }
    // Uncalibrated: no unit.
    EXPECT_EQ(layout.GetXScale(), 1.0);
    EXPECT_EQ(layout.GetZScale(), 1.0);

    // A plain ImageJ stack without slices= spends every image on z.
    const XStackLayout stack = XStackLayout::Describe(Facts("ImageJ=1.11a\nimages=10\n", 10));
    EXPECT_EQ(stack.GetSizeZ(), 10u);
    EXPECT_EQ(stack.GetChannelCount(), 1u);
    EXPECT_EQ(stack.GetAxes().names, "ZYX");
    EXPECT_EQ(stack.GetPage(9, 0, 0), 9u);
}

TEST(XStackLayoutTest, ImageJCalibrationFromResolutionSpacingAndUnit)
{
    XStackLayout::XFacts facts =
        Facts("ImageJ=1.54f\nimages=2\nslices=2\nunit=micron\nspacing=0.75\n", 2);
    facts.xResolution = 4.0; // pixels per micron
    facts.yResolution = 2.0;
    XStackLayout layout = XStackLayout::Describe(facts);
    EXPECT_DOUBLE_EQ(layout.GetXScale(), 0.25);
    EXPECT_DOUBLE_EQ(layout.GetYScale(), 0.5);
    EXPECT_DOUBLE_EQ(layout.GetZScale(), 0.75);

    facts.description = "ImageJ=1.54f\nimages=2\nslices=2\nunit=nm\nspacing=300\n";
    layout = XStackLayout::Describe(facts);
    EXPECT_DOUBLE_EQ(layout.GetXScale(), 0.25e-3);
    EXPECT_DOUBLE_EQ(layout.GetZScale(), 0.3);

    facts.description = "ImageJ=1.54f\nimages=2\nslices=2\nunit=\\u00B5m\n";
    layout = XStackLayout::Describe(facts);
    EXPECT_DOUBLE_EQ(layout.GetYScale(), 0.5);
    EXPECT_DOUBLE_EQ(layout.GetZScale(), 1.0); // spacing defaults to one unit

    // Pixel units are no calibration at all.
    facts.description = "ImageJ=1.54f\nimages=2\nslices=2\nunit=pixel\nspacing=5\n";
    layout = XStackLayout::Describe(facts);
    EXPECT_EQ(layout.GetXScale(), 1.0);
    EXPECT_EQ(layout.GetZScale(), 1.0);

    facts.description = "ImageJ=1.54f\nimages=2\nslices=2\nunit=micron\nspacing=-1\n";
    EXPECT_NE(Failure(facts).find("spacing"), std::string::npos);
}

TEST(XStackLayoutTest, ImageJCountsThatDoNotAddUpAreRefused)
{
    EXPECT_EQ(Failure(Facts("ImageJ=1.54f\nimages=60\nchannels=2\nslices=30\n", 59)),
              "cells.tif: ImageJ metadata says 30 slices × 2 channels = 60 planes but the file "
              "has 59");
    EXPECT_NE(Failure(Facts("ImageJ=1.54f\nimages=61\nchannels=2\nslices=30\n", 61))
                  .find("images=61 but 30 slices × 2 channels = 60 planes"),
              std::string::npos);
    EXPECT_NE(Failure(Facts("ImageJ=1.54f\nslices=4\nframes=2\n", 4))
                  .find("4 slices × 2 frames = 8 planes but the file has 4"),
              std::string::npos);
    EXPECT_NE(Failure(Facts("ImageJ=1.54f\nimages=x\n", 1)).find("images"), std::string::npos);
    EXPECT_NE(Failure(Facts("ImageJ=1.54f\nslices=0\n", 1)).find("slices"), std::string::npos);
}

TEST(XStackLayoutTest, OMEPlanesFollowDimensionOrder)
{
    const std::string sizes = "SizeZ=\"3\" SizeC=\"2\" SizeT=\"2\" Type=\"uint16\"";
    // XYZCT: z fastest, then c, then t.
    const XStackLayout zct =
        XStackLayout::Describe(Facts(OME("DimensionOrder=\"XYZCT\" " + sizes), 12));
    // XYCZT: c fastest, then z, then t.
    const XStackLayout czt =
        XStackLayout::Describe(Facts(OME("DimensionOrder=\"XYCZT\" " + sizes), 12));
    // XYTCZ: t fastest, then c, then z.
    const XStackLayout tcz =
        XStackLayout::Describe(Facts(OME("DimensionOrder=\"XYTCZ\" " + sizes), 12));
    for (std::uint32_t t = 0; t < 2; ++t)
    {
        for (std::uint32_t c = 0; c < 2; ++c)
        {
            for (std::uint32_t z = 0; z < 3; ++z)
            {
                EXPECT_EQ(zct.GetPage(z, c, t), z + 3 * (c + 2 * t));
                EXPECT_EQ(czt.GetPage(z, c, t), c + 2 * (z + 3 * t));
                EXPECT_EQ(tcz.GetPage(z, c, t), t + 2 * (c + 2 * z));
            }
        }
    }
    EXPECT_EQ(zct.GetKind(), XStackLayout::XKind::kOME);
    EXPECT_EQ(zct.GetAxes().names, "TCZYX");
    EXPECT_EQ(czt.GetAxes().names, "TZCYX");
    EXPECT_EQ(tcz.GetAxes().names, "ZCTYX");
    EXPECT_EQ(czt.GetAxes().shape, (std::vector<std::uint32_t>{2, 3, 2, 4, 7}));
    // No calibration given.
    EXPECT_EQ(zct.GetXScale(), 1.0);
}

TEST(XStackLayoutTest, OMETiffDataAndPhysicalSizes)
{
    // One TiffData for all planes, starting at page 1 (page 0 is something else).
    const std::string pixels = "DimensionOrder=\"XYCZT\" SizeZ=\"2\" SizeC=\"2\" SizeT=\"1\" "
                               "Type=\"uint16\" PhysicalSizeX=\"250\" PhysicalSizeXUnit=\"nm\" "
                               "PhysicalSizeY=\"0.5\" PhysicalSizeZ=\"0.002\" "
                               "PhysicalSizeZUnit=\"mm\"";
    const XStackLayout shifted =
        XStackLayout::Describe(Facts(OME(pixels, "<TiffData IFD=\"1\" PlaneCount=\"4\"/>"), 5));
    EXPECT_EQ(shifted.GetPage(0, 0, 0), 1u);
    EXPECT_EQ(shifted.GetPage(0, 1, 0), 2u);
    EXPECT_EQ(shifted.GetPage(1, 1, 0), 4u);
    EXPECT_DOUBLE_EQ(shifted.GetXScale(), 0.25);
    EXPECT_DOUBLE_EQ(shifted.GetYScale(), 0.5); // micrometres by default
    EXPECT_DOUBLE_EQ(shifted.GetZScale(), 2.0);

    // One TiffData per plane, in an order of their own.
    const std::string perPlane = "<TiffData IFD=\"0\" FirstZ=\"1\" FirstC=\"1\"/>"
                                 "<TiffData IFD=\"1\" FirstZ=\"0\" FirstC=\"0\"/>"
                                 "<TiffData IFD=\"2\" FirstZ=\"1\" FirstC=\"0\"/>"
                                 "<TiffData IFD=\"3\" FirstZ=\"0\" FirstC=\"1\"/>";
    const XStackLayout scattered = XStackLayout::Describe(Facts(OME(pixels, perPlane), 4));
    EXPECT_EQ(scattered.GetPage(1, 1, 0), 0u);
    EXPECT_EQ(scattered.GetPage(0, 0, 0), 1u);
    EXPECT_EQ(scattered.GetPage(1, 0, 0), 2u);
    EXPECT_EQ(scattered.GetPage(0, 1, 0), 3u);

    // A plane that no TiffData maps.
    EXPECT_NE(Failure(Facts(OME(pixels, "<TiffData IFD=\"0\" PlaneCount=\"3\"/>"), 4))
                  .find("no page for plane (z 1, c 1, t 0)"),
              std::string::npos);
    // A TiffData that reaches past the last page.
    EXPECT_NE(Failure(Facts(OME(pixels, "<TiffData IFD=\"2\" PlaneCount=\"4\"/>"), 4))
                  .find("on page 4 but the file has 4 pages"),
              std::string::npos);
    // Planes in another file.
    EXPECT_NE(Failure(Facts(OME(pixels, "<TiffData><UUID FileName=\"other.ome.tif\">u</UUID>"
                                        "</TiffData>"),
                            4))
                  .find("other.ome.tif"),
              std::string::npos);
}

TEST(XStackLayoutTest, OMEWithPrefixesAndColourChannels)
{
    const std::string prefixed =
        "<?xml version=\"1.0\"?><ome:OME xmlns:ome=\"http://www.openmicroscopy.org/Schemas/OME/"
        "2016-06\"><ome:Image><ome:Pixels DimensionOrder=\"XYZCT\" SizeX=\"7\" SizeY=\"4\" "
        "SizeZ=\"2\" SizeC=\"3\" SizeT=\"1\" Type=\"uint8\"><ome:Channel SamplesPerPixel=\"3\"/>"
        "</ome:Pixels></ome:Image></ome:OME>";
    const XStackLayout layout = XStackLayout::Describe(Facts(prefixed, 2, XVoxelType::kRGB24));
    EXPECT_EQ(layout.GetKind(), XStackLayout::XKind::kOME);
    EXPECT_EQ(layout.GetChannelCount(), 1u); // three samples make one colour channel
    EXPECT_EQ(layout.GetSizeZ(), 2u);
    EXPECT_EQ(layout.GetAxes().names, "ZYXS");
    EXPECT_EQ(layout.GetAxes().shape, (std::vector<std::uint32_t>{2, 4, 7, 3}));
}

TEST(XStackLayoutTest, OMEMetadataThatDisagreesWithThePagesIsRefused)
{
    const std::string sizes = "DimensionOrder=\"XYZCT\" SizeZ=\"3\" SizeC=\"2\" SizeT=\"1\" ";
    EXPECT_EQ(Failure(Facts(OME(sizes + "Type=\"uint16\""), 5)),
              "cells.tif: OME-XML says 3 z × 2 channels × 1 time points = 6 planes but the file "
              "has 5 pages");
    EXPECT_NE(Failure(Facts(OME(sizes + "Type=\"uint16\""), 7)).find("6 planes"),
              std::string::npos);
    EXPECT_NE(Failure(Facts(OME(sizes + "Type=\"uint8\""), 6)).find("pixel type is \"uint8\""),
              std::string::npos);
    EXPECT_NE(Failure(Facts(OME("DimensionOrder=\"XYZZT\" SizeZ=\"1\" SizeC=\"1\" SizeT=\"1\" "
                                "Type=\"uint16\""),
                            1))
                  .find("DimensionOrder"),
              std::string::npos);
    EXPECT_NE(Failure(Facts(OME(sizes + "Type=\"uint16\" PhysicalSizeX=\"-2\""), 6))
                  .find("PhysicalSizeX"),
              std::string::npos);
    XStackLayout::XFacts wide = Facts(OME(sizes + "Type=\"uint16\""), 6);
    wide.width = 8;
    EXPECT_NE(Failure(wide).find("7 × 4 but the first page is 8 × 4"), std::string::npos);
    EXPECT_NE(Failure(Facts("<?xml version=\"1.0\"?><OME><Image>", 1)).find("OME-XML"),
              std::string::npos);
}

TEST(XStackLayoutTest, PlainPagesAreZPlanesAndUnitsConvert)
{
    const XStackLayout plain = XStackLayout::Describe(Facts("a scanner's note", 5));
    EXPECT_EQ(plain.GetKind(), XStackLayout::XKind::kPlain);
    EXPECT_EQ(plain.GetSizeZ(), 5u);
    EXPECT_EQ(plain.GetChannelCount(), 1u);
    EXPECT_EQ(plain.GetTimePointCount(), 1u);
    EXPECT_EQ(plain.GetPage(3, 0, 0), 3u);
    EXPECT_EQ(plain.GetAxes().names, "ZYX");
    EXPECT_EQ(XStackLayout::Describe(Facts("", 1)).GetAxes().names, "YX");

    EXPECT_EQ(XStackLayout::MicrometresPer("µm"), 1.0);
    EXPECT_EQ(XStackLayout::MicrometresPer("μm"), 1.0);
    EXPECT_EQ(XStackLayout::MicrometresPer("micron"), 1.0);
    EXPECT_EQ(XStackLayout::MicrometresPer("nm"), 1e-3);
    EXPECT_EQ(XStackLayout::MicrometresPer("mm"), 1e3);
    EXPECT_EQ(XStackLayout::MicrometresPer("Å"), 1e-4);
    EXPECT_EQ(XStackLayout::MicrometresPer("pixel"), 0.0);
}
