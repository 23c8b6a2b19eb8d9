#include "host/data/XTiffStackReader.h"

#include "host/core/XException.h"
#include "host/core/XThread.h"
#include "host/data/XStackLayout.h"
#include "host/data/XTiffFile.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <vector>

namespace
{
constexpr std::uint16_t kPhotometricRGB = 2;
constexpr std::uint16_t kUnsignedSamples = 1;
constexpr std::uint16_t kFloatSamples = 3;

[[noreturn]] void Fail(const XTiffFile& inFile, const std::string& inWhat)
{
    throw XException(XException::kMalformedStream, inFile.GetName() + ": " + inWhat);
}

std::string SampleText(const XTiffFile::XPage& inPage)
{
    const std::string kind = inPage.sampleFormat == kUnsignedSamples ? "unsigned integer"
                             : inPage.sampleFormat == 2              ? "signed integer"
                             : inPage.sampleFormat == kFloatSamples  ? "floating-point"
                                                                     : "untyped";
    return std::to_string(inPage.bitsPerSample) + "-bit " + kind;
}

XVoxelType TypeOf(const XTiffFile& inFile, const XTiffFile::XPage& inPage)
{
    const std::string supported = "; only 8-bit and 16-bit unsigned, 32-bit floating-point and "
                                  "8-bit RGB samples are supported";
    if (inPage.width == 0 || inPage.height == 0)
    {
        Fail(inFile, "the first page has no pixels");
    }
    if (inPage.samplesPerPixel == 3)
    {
        if (inPage.photometric != kPhotometricRGB || inPage.bitsPerSample != 8 ||
            inPage.sampleFormat != kUnsignedSamples)
        {
            Fail(inFile, "the pages hold 3 " + SampleText(inPage) +
                             " samples per pixel that are not RGB" + supported);
        }
        return XVoxelType::kRGB24;
    }
    if (inPage.samplesPerPixel != 1)
    {
        Fail(inFile, "the pages hold " + std::to_string(inPage.samplesPerPixel) +
                         " samples per pixel" + supported);
    }
    if (inPage.sampleFormat == kUnsignedSamples && inPage.bitsPerSample == 8)
    {
        return XVoxelType::kGrey8;
    }
    if (inPage.sampleFormat == kUnsignedSamples && inPage.bitsPerSample == 16)
    {
        return XVoxelType::kGrey16;
    }
    if (inPage.sampleFormat == kFloatSamples && inPage.bitsPerSample == 32)
    {
        return XVoxelType::kFloat32;
    }
    Fail(inFile, "the pages hold " + SampleText(inPage) + " samples" + supported);
}

bool SameFormat(const XTiffFile::XPage& inA, const XTiffFile::XPage& inB)
{
    return inA.width == inB.width && inA.height == inB.height &&
           inA.bitsPerSample == inB.bitsPerSample && inA.samplesPerPixel == inB.samplesPerPixel &&
           inA.sampleFormat == inB.sampleFormat;
}

std::string Megabytes(std::uint64_t inBytes)
{
    const double tenths = std::round(static_cast<double>(inBytes) / 1e5);
    return std::to_string(static_cast<std::uint64_t>(tenths) / 10) + "." +
           std::to_string(static_cast<std::uint64_t>(tenths) % 10) + " MB";
}

// Reads the planes of one channel at one time point into a volume of the type's class.
void LoadChannel(XTiffFile& inFile, const std::vector<std::uint32_t>& inPages, XVoxelType inType,
                 XVolume& outVoxels)
{
    const std::size_t pixels = std::size_t{outVoxels.GetWidth()} * outVoxels.GetHeight();
    std::vector<std::byte> colourPlane(inType == XVoxelType::kRGB24 ? pixels * 3 : 0);
    for (std::size_t z = 0; z < inPages.size(); ++z)
    {
        XThread::TestCancelCurrentThread();
        const auto plane = static_cast<std::int32_t>(z);
        switch (inType)
        {
        case XVoxelType::kGrey8:
            inFile.ReadPlane(inPages[z],
                             std::as_writable_bytes(std::span(
                                 static_cast<XGrey8Volume&>(outVoxels).GetPlane(plane), pixels)));
            break;
        case XVoxelType::kGrey16:
            inFile.ReadPlane(inPages[z],
                             std::as_writable_bytes(std::span(
                                 static_cast<XGrey16Volume&>(outVoxels).GetPlane(plane), pixels)));
            break;
        case XVoxelType::kFloat32:
            inFile.ReadPlane(inPages[z],
                             std::as_writable_bytes(std::span(
                                 static_cast<XFPVolume&>(outVoxels).GetPlane(plane), pixels)));
            break;
        case XVoxelType::kRGB24:
        {
            inFile.ReadPlane(inPages[z], colourPlane);
            XARGB32Colour* target = static_cast<XARGB32Volume&>(outVoxels).GetPlane(plane);
            for (std::size_t pixel = 0; pixel < pixels; ++pixel)
            {
                target[pixel] = {255, std::to_integer<std::uint8_t>(colourPlane[pixel * 3]),
                                 std::to_integer<std::uint8_t>(colourPlane[pixel * 3 + 1]),
                                 std::to_integer<std::uint8_t>(colourPlane[pixel * 3 + 2])};
            }
            break;
        }
        }
    }
}
} // namespace

std::unique_ptr<XDataVolumeSequence> XTiffStackReader::Open(const std::filesystem::path& inPath,
                                                            std::uint64_t inMemoryLimit)
{
    const auto file = std::make_shared<XTiffFile>(inPath);
    const XTiffFile::XPage& first = file->GetPage(0);
    const XVoxelType type = TypeOf(*file, first);

    XStackLayout::XFacts facts;
    facts.fileName = file->GetName();
    facts.description = file->GetDescription();
    facts.pageCount = static_cast<std::uint32_t>(file->GetPageCount());
    facts.width = first.width;
    facts.height = first.height;
    facts.type = type;
    facts.xResolution = file->GetXResolution();
    facts.yResolution = file->GetYResolution();
    const XStackLayout layout = XStackLayout::Describe(facts);

    const std::uint32_t channels = layout.GetChannelCount();
    const std::uint32_t timePoints = layout.GetTimePointCount();
    const std::uint32_t depth = layout.GetSizeZ();

    // Refuse before anything is allocated: the whole stack as it would sit in memory.
    const std::uint64_t voxelBytes = type == XVoxelType::kRGB24 ? 4 : XVoxelTypeSize(type);
    const long double bytes = static_cast<long double>(first.width) * first.height * depth *
                              channels * timePoints * voxelBytes;
    if (bytes > static_cast<long double>(inMemoryLimit))
    {
        throw XException(XException::kIOError,
                         file->GetName() + ": its voxels need " +
                             Megabytes(static_cast<std::uint64_t>(std::min<long double>(
                                 bytes, static_cast<long double>(UINT64_MAX)))) +
                             " of memory, more than the limit of " + Megabytes(inMemoryLimit));
    }

    std::vector<std::unique_ptr<XDataVolume>> volumes;
    volumes.reserve(std::size_t{channels} * timePoints);
    for (std::uint32_t t = 0; t < timePoints; ++t)
    {
        for (std::uint32_t c = 0; c < channels; ++c)
        {
            std::vector<std::uint32_t> pages(depth);
            for (std::uint32_t z = 0; z < depth; ++z)
            {
                pages[z] = layout.GetPage(z, c, t);
                const XTiffFile::XPage& page = file->GetPage(pages[z]);
                if (!SameFormat(page, first))
                {
                    Fail(*file,
                         "page " + std::to_string(pages[z]) + " holds " +
                             std::to_string(page.width) + " × " + std::to_string(page.height) +
                             " " + SampleText(page) + " pixels but the first page holds " +
                             std::to_string(first.width) + " × " + std::to_string(first.height) +
                             " " + SampleText(first) + " pixels");
                }
            }
            volumes.push_back(std::make_unique<XDataVolume>(
                type, first.width, first.height, depth, layout.GetXScale(), layout.GetYScale(),
                layout.GetZScale(),
                [file, pages = std::move(pages), type](XVolume& outVoxels)
                { LoadChannel(*file, pages, type, outVoxels); }));
        }
    }
    return std::make_unique<XDataVolumeSequence>(channels, timePoints, std::move(volumes),
                                                 layout.GetAxes());
}
