#include "apps/demo/XDemoStack.h"

#include "apps/demo/XDemoCellCluster.h"
#include "apps/demo/XDemoRandom.h"
#include "apps/demo/XDemoSliceRenderer.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XProgress.h"

#include <tiffio.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <memory>
#include <system_error>
#include <utility>

X_SOURCE_NAME("apps/demo/XDemoStack");

namespace
{
// The optics, in micrometres: standard deviations of the point spread across and along z.
constexpr double kLateralSpread = 0.12;
constexpr double kAxialSpread = 0.6;
// Objects are sampled this many times per plane along z before the axial blur, so that thin
// structures between two planes are not lost.
constexpr std::int32_t kFinePlanesPerPlane = 3;

// Photons per voxel at full signal and of the dim background, channel by channel; read noise
// in counts.
constexpr double kPeakPhotons[XDemoStack::kChannelCount] = {2400.0, 2000.0, 1800.0};
constexpr double kBackgroundPhotons[XDemoStack::kChannelCount] = {30.0, 25.0, 25.0};
constexpr double kReadNoise = 4.0;

std::int32_t FloorDivide(std::int32_t inNumerator, std::int32_t inDenominator)
{
    return inNumerator >= 0 ? inNumerator / inDenominator
                            : -((-inNumerator + inDenominator - 1) / inDenominator);
}

// Normalised Gaussian weights at offsets −radius..radius of a unit lattice.
std::vector<float> GaussianKernel(double inSigma, std::int32_t inRadius)
{
    std::vector<double> weights(static_cast<std::size_t>(2 * inRadius + 1));
    double sum = 0.0;
    for (std::int32_t offset = -inRadius; offset <= inRadius; ++offset)
    {
        const double weight = std::exp(-0.5 * offset * offset / (inSigma * inSigma));
        weights[static_cast<std::size_t>(offset + inRadius)] = weight;
        sum += weight;
    }
    std::vector<float> kernel;
    for (const double weight : weights)
    {
        kernel.push_back(static_cast<float>(weight / sum));
    }
    return kernel;
}

// Blurs a plane along x, then along y, repeating the edge pixels beyond the borders.
void BlurPlane(float* ioPlane, std::vector<float>& ioScratch, std::uint32_t inWidth,
               std::uint32_t inHeight, const std::vector<float>& inKernelX,
               const std::vector<float>& inKernelY)
{
    const auto width = static_cast<std::int64_t>(inWidth);
    const auto height = static_cast<std::int64_t>(inHeight);
    ioScratch.resize(static_cast<std::size_t>(width * height));
    // One pass over inCount values inStride apart, from inFrom into outTo.
    const auto blurLine = [](const float* inFrom, float* outTo, std::int64_t inCount,
                             std::int64_t inStride, const std::vector<float>& inKernel)
    {
        const auto radius = static_cast<std::int64_t>(inKernel.size() / 2);
        const float* kernel = inKernel.data() + radius;
        for (std::int64_t i = 0; i < inCount; ++i)
        {
            float sum = 0.0f;
            if (i >= radius && i + radius < inCount)
            {
                const float* centre = inFrom + i * inStride;
                for (std::int64_t k = -radius; k <= radius; ++k)
                {
                    sum += kernel[k] * centre[k * inStride];
                }
            }
            else
            {
                for (std::int64_t k = -radius; k <= radius; ++k)
                {
                    const std::int64_t at = std::clamp<std::int64_t>(i + k, 0, inCount - 1);
                    sum += kernel[k] * inFrom[at * inStride];
                }
            }
            outTo[i * inStride] = sum;
        }
    };
    for (std::int64_t y = 0; y < height; ++y)
    {
        blurLine(ioPlane + y * width, ioScratch.data() + y * width, width, 1, inKernelX);
    }
    for (std::int64_t x = 0; x < width; ++x)
    {
        blurLine(ioScratch.data() + x, ioPlane + x, height, width, inKernelY);
    }
}

std::string ShortestText(double inValue)
{
    char text[64];
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), inValue);
    return error == std::errc() ? std::string(text, end) : std::string("0");
}

std::string FixedText(double inValue, int inDecimals)
{
    char text[64];
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), inValue,
                                            std::chars_format::fixed, inDecimals);
    return error == std::errc() ? std::string(text, end) : std::string("0");
}

int KeepQuiet(TIFF*, void*, const char*, const char*, va_list)
{
    return 1;
}

int CollectError(TIFF*, void* inErrors, const char* inModule, const char* inFormat,
                 va_list inArguments)
{
    char buffer[512];
    std::vsnprintf(buffer, sizeof buffer, inFormat, inArguments);
    std::string& errors = *static_cast<std::string*>(inErrors);
    errors += (errors.empty() ? "" : "; ") +
              (inModule != nullptr && *inModule != '\0' ? std::string(inModule) + ": " : "") +
              buffer;
    return 1;
}

void CheckSettings(const XDemoStack::XSettings& inSettings)
{
    const auto fail = [](const std::string& inWhat)
    { throw XException(XException::kInvalidArgument, "Demo stack settings: " + inWhat); };
    if (inSettings.width < 8 || inSettings.height < 8 || inSettings.depth < 2 ||
        inSettings.width > 4096 || inSettings.height > 4096 || inSettings.depth > 4096)
    {
        fail("the size must be at least 8 × 8 × 2 and at most 4096 along each axis");
    }
    for (const double size : inSettings.voxelSize)
    {
        if (!std::isfinite(size) || size <= 0.0)
        {
            fail("voxel sizes must be positive numbers");
        }
    }
    if (inSettings.cellCount == 0 || inSettings.cellCount > 64)
    {
        fail("the number of cells must lie between 1 and 64");
    }
}
} // namespace

std::string XDemoStack::GetChannelName(std::uint32_t inChannel)
{
    switch (inChannel)
    {
    case kNucleiChannel:
        return "Nuclei";
    case kMembraneChannel:
        return "Membranes";
    case kFilamentChannel:
        return "Filaments";
    default:
        return "Channel " + std::to_string(inChannel);
    }
}

std::uint32_t XDemoStack::GetChannelColour(std::uint32_t inChannel)
{
    switch (inChannel)
    {
    case kNucleiChannel:
        return 0x3080FF; // blue, as Hoechst is usually shown
    case kMembraneChannel:
        return 0xFF40A0;
    case kFilamentChannel:
        return 0x40FF60;
    default:
        return 0xFFFFFF;
    }
}

XDemoStack::XDemoStack(const XSettings& inSettings) : itsSettings(inSettings)
{
    CheckSettings(itsSettings);
    Generate();
}

XDemoStack::XDemoStack() : XDemoStack(XSettings()) {}

void XDemoStack::Generate()
{
    const XSettings& settings = itsSettings;
    const std::uint32_t width = settings.width;
    const std::uint32_t height = settings.height;
    const std::uint32_t depth = settings.depth;
    const std::size_t planeSize = std::size_t{width} * height;
    const std::size_t channelSize = planeSize * depth;

    XDemoRandom layoutRandom(settings.seed);
    const XDemoCellCluster cluster(settings, layoutRandom);
    const std::vector<XDemoCellCluster::XFilamentPoint>& filaments = cluster.GetFilamentPoints();
    itsNuclei.clear();
    for (const XDemoCellCluster::XCell& cell : cluster.GetCells())
    {
        const XDemoVector& centre = cell.nucleus.centre;
        const XDemoVector& radii = cell.nucleus.radii;
        itsNuclei.push_back(
            {{centre.x, centre.y, centre.z}, std::cbrt(radii.x * radii.y * radii.z)});
    }

    // Slices kFinePlanesPerPlane times finer than the planes along z, far enough beyond the
    // first and last plane for the axial blur; each slice adds into the planes near it.
    const double sliceStep = settings.voxelSize[2] / kFinePlanesPerPlane;
    const auto axialRadius = static_cast<std::int32_t>(std::ceil(3.0 * kAxialSpread / sliceStep));
    const std::vector<float> axialKernel = GaussianKernel(kAxialSpread / sliceStep, axialRadius);
    const std::int32_t firstSlice = -axialRadius;
    const std::int32_t lastSlice =
        static_cast<std::int32_t>(depth - 1) * kFinePlanesPerPlane + axialRadius;
    const auto sliceCount = static_cast<std::size_t>(lastSlice - firstSlice + 1);

    // The filament points near each slice.
    std::vector<std::vector<std::uint32_t>> slicePoints(sliceCount);
    for (std::size_t point = 0; point < filaments.size(); ++point)
    {
        const double z = filaments[point].position.z;
        const auto from = std::max<std::int64_t>(
            firstSlice, static_cast<std::int64_t>(
                            std::ceil((z - 3.0 * XDemoSliceRenderer::kFilamentSigma) / sliceStep)));
        const auto to = std::min<std::int64_t>(
            lastSlice, static_cast<std::int64_t>(
                           std::floor((z + 3.0 * XDemoSliceRenderer::kFilamentSigma) / sliceStep)));
        for (std::int64_t slice = from; slice <= to; ++slice)
        {
            slicePoints[static_cast<std::size_t>(slice - firstSlice)].push_back(
                static_cast<std::uint32_t>(point));
        }
    }

    XProgress progress(sliceCount + depth);
    progress.SetMessage("Generating the demo stack");

    std::vector<float> signal(kChannelCount * channelSize, 0.0f);
    XDemoSliceRenderer renderer(settings, cluster);
    for (std::int32_t slice = firstSlice; slice <= lastSlice; ++slice)
    {
        renderer.Render(slice * sliceStep,
                        slicePoints[static_cast<std::size_t>(slice - firstSlice)]);
        // Most of a slice is empty in some channel: only the stretch from the first to the last
        // pixel that is not 0 is added.
        std::pair<std::size_t, std::size_t> occupied[kChannelCount];
        for (std::uint32_t channel = 0; channel < kChannelCount; ++channel)
        {
            const float* values = renderer.GetChannel(channel);
            std::size_t first = 0;
            std::size_t last = planeSize;
            while (first < last && values[first] == 0.0f)
            {
                ++first;
            }
            while (last > first && values[last - 1] == 0.0f)
            {
                --last;
            }
            occupied[channel] = {first, last};
        }
        // The planes k with |slice − k × kFinePlanesPerPlane| ≤ axialRadius.
        const std::int32_t firstPlane =
            std::max<std::int32_t>(0, -FloorDivide(axialRadius - slice, kFinePlanesPerPlane));
        const std::int32_t lastPlane =
            std::min<std::int32_t>(static_cast<std::int32_t>(depth) - 1,
                                   FloorDivide(slice + axialRadius, kFinePlanesPerPlane));
        for (std::int32_t plane = firstPlane; plane <= lastPlane; ++plane)
        {
            const std::int32_t offset = slice - plane * kFinePlanesPerPlane;
            X_ASSERT(offset >= -axialRadius && offset <= axialRadius);
            const float weight = axialKernel[static_cast<std::size_t>(offset + axialRadius)];
            for (std::uint32_t channel = 0; channel < kChannelCount; ++channel)
            {
                const float* from = renderer.GetChannel(channel);
                float* to = signal.data() + channel * channelSize + plane * planeSize;
                const auto [first, last] = occupied[channel];
                for (std::size_t pixel = first; pixel < last; ++pixel)
                {
                    to[pixel] += weight * from[pixel];
                }
            }
        }
        progress.Increment();
    }

    // The lateral blur, then photons, shot noise, the camera offset and read noise. Each channel
    // draws from a generator of its own, in voxel order.
    const auto lateralRadius = [](double inSigma)
    { return std::max<std::int32_t>(1, static_cast<std::int32_t>(std::ceil(3.0 * inSigma))); };
    const double sigmaX = kLateralSpread / settings.voxelSize[0];
    const double sigmaY = kLateralSpread / settings.voxelSize[1];
    const std::vector<float> kernelX = GaussianKernel(sigmaX, lateralRadius(sigmaX));
    const std::vector<float> kernelY = GaussianKernel(sigmaY, lateralRadius(sigmaY));
    std::vector<XDemoRandom> noise;
    for (std::uint32_t channel = 0; channel < kChannelCount; ++channel)
    {
        noise.emplace_back(settings.seed + 0x9e3779b97f4a7c15ull * (channel + 1));
    }
    itsVoxels.assign(kChannelCount * channelSize, 0);
    std::vector<float> scratch;
    for (std::uint32_t plane = 0; plane < depth; ++plane)
    {
        for (std::uint32_t channel = 0; channel < kChannelCount; ++channel)
        {
            float* values = signal.data() + channel * channelSize + plane * planeSize;
            BlurPlane(values, scratch, width, height, kernelX, kernelY);
            std::uint16_t* voxels = itsVoxels.data() + channel * channelSize + plane * planeSize;
            XDemoRandom& random = noise[channel];
            for (std::size_t pixel = 0; pixel < planeSize; ++pixel)
            {
                const double photons = kBackgroundPhotons[channel] +
                                       kPeakPhotons[channel] * std::max(0.0f, values[pixel]);
                const double counts =
                    kCameraOffset + random.Poisson(photons) + kReadNoise * random.Normal();
                voxels[pixel] =
                    static_cast<std::uint16_t>(std::clamp(std::round(counts), 0.0, 65535.0));
            }
        }
        progress.Increment();
    }
}

std::span<const std::uint16_t> XDemoStack::GetChannel(std::uint32_t inChannel) const
{
    X_ASSERT(inChannel >= 1 && inChannel <= kChannelCount);
    const std::size_t channelSize =
        std::size_t{itsSettings.width} * itsSettings.height * itsSettings.depth;
    const std::uint32_t index = std::clamp<std::uint32_t>(inChannel, 1, kChannelCount) - 1;
    return {itsVoxels.data() + index * channelSize, channelSize};
}

std::uint16_t XDemoStack::GetVoxel(std::uint32_t inChannel, std::uint32_t inX, std::uint32_t inY,
                                   std::uint32_t inZ) const
{
    X_ASSERT(inX < itsSettings.width && inY < itsSettings.height && inZ < itsSettings.depth);
    const std::span<const std::uint16_t> channel = GetChannel(inChannel);
    const std::size_t index =
        (std::size_t{inZ} * itsSettings.height + inY) * itsSettings.width + inX;
    return index < channel.size() ? channel[index] : 0;
}

std::uint16_t XDemoStack::GetQuantile(std::uint32_t inChannel, double inFraction) const
{
    const std::span<const std::uint16_t> channel = GetChannel(inChannel);
    std::vector<std::uint64_t> histogram(65536, 0);
    for (const std::uint16_t value : channel)
    {
        ++histogram[value];
    }
    const double wanted = std::clamp(inFraction, 0.0, 1.0) * static_cast<double>(channel.size());
    std::uint64_t count = 0;
    for (std::size_t value = 0; value < histogram.size(); ++value)
    {
        count += histogram[value];
        if (count > 0 && static_cast<double>(count) >= wanted)
        {
            return static_cast<std::uint16_t>(value);
        }
    }
    return 65535;
}

std::string XDemoStack::GetOmeXml() const
{
    const XSettings& settings = itsSettings;
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xsi:schemaLocation=\"http://www.openmicroscopy.org/Schemas/OME/2016-06 "
        "http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd\" Creator=\"voltrace demo\">\n"
        "  <Image ID=\"Image:0\" Name=\"voltrace demo cells\">\n"
        "    <Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint16\" "
        "SignificantBits=\"16\" BigEndian=\"false\" Interleaved=\"false\" SizeX=\"" +
        std::to_string(settings.width) + "\" SizeY=\"" + std::to_string(settings.height) +
        "\" SizeZ=\"" + std::to_string(settings.depth) + "\" SizeC=\"" +
        std::to_string(kChannelCount) + "\" SizeT=\"1\"";
    const char* const axes[3] = {"X", "Y", "Z"};
    for (int axis = 0; axis < 3; ++axis)
    {
        xml += std::string(" PhysicalSize") + axes[axis] + "=\"" +
               ShortestText(settings.voxelSize[static_cast<std::size_t>(axis)]) +
               "\" PhysicalSize" + axes[axis] + "Unit=\"µm\"";
    }
    xml += ">\n";
    for (std::uint32_t channel = 1; channel <= kChannelCount; ++channel)
    {
        // OME colours are RGBA words read as signed 32-bit integers.
        const auto rgba = static_cast<std::int32_t>(GetChannelColour(channel) << 8 | 0xFFu);
        xml += "      <Channel ID=\"Channel:0:" + std::to_string(channel - 1) + "\" Name=\"" +
               GetChannelName(channel) + "\" SamplesPerPixel=\"1\" Color=\"" +
               std::to_string(rgba) + "\"/>\n";
    }
    xml += "      <TiffData IFD=\"0\" PlaneCount=\"" +
           std::to_string(std::uint64_t{kChannelCount} * settings.depth) + "\"/>\n";
    xml += "    </Pixels>\n  </Image>\n</OME>\n";
    return xml;
}

void XDemoStack::WriteOmeTiff(const std::filesystem::path& inPath) const
{
    const std::string name = inPath.filename().string();
    std::string errors;
    struct XOptionsDeleter
    {
        void operator()(TIFFOpenOptions* inOptions) const { TIFFOpenOptionsFree(inOptions); }
    };
    const std::unique_ptr<TIFFOpenOptions, XOptionsDeleter> options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), CollectError, &errors);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), KeepQuiet, nullptr);
    // "l": little-endian whatever the machine, so the bytes are the same everywhere.
    TIFF* tiff = TIFFOpenExt(inPath.c_str(), "wl", options.get());
    if (tiff == nullptr)
    {
        throw XException(XException::kIOError, name + ": cannot be written" +
                                                   (errors.empty() ? "" : ": " + errors) + " (" +
                                                   inPath.string() + ")");
    }

    const XSettings& settings = itsSettings;
    const std::string description = GetOmeXml();
    const std::size_t planeSize = std::size_t{settings.width} * settings.height;
    std::vector<std::uint16_t> plane(planeSize); // libtiff may swap bytes in place
    bool written = true;
    for (std::uint32_t channel = 1; channel <= kChannelCount && written; ++channel)
    {
        const std::span<const std::uint16_t> voxels = GetChannel(channel);
        for (std::uint32_t z = 0; z < settings.depth && written; ++z)
        {
            TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, settings.width);
            TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, settings.height);
            TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
            TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
            TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
            TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
            TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
            TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, settings.height);
            // Pixels per centimetre, for viewers that do not read OME-XML.
            TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
            TIFFSetField(tiff, TIFFTAG_XRESOLUTION,
                         static_cast<float>(1e4 / settings.voxelSize[0]));
            TIFFSetField(tiff, TIFFTAG_YRESOLUTION,
                         static_cast<float>(1e4 / settings.voxelSize[1]));
            if (channel == 1 && z == 0)
            {
                TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
            }
            std::copy_n(voxels.begin() + static_cast<std::ptrdiff_t>(z * planeSize), planeSize,
                        plane.begin());
            const auto bytes = static_cast<tmsize_t>(planeSize * sizeof(std::uint16_t));
            written = TIFFWriteEncodedStrip(tiff, 0, plane.data(), bytes) == bytes &&
                      TIFFWriteDirectory(tiff) == 1;
        }
    }
    written = TIFFFlush(tiff) == 1 && written;
    TIFFClose(tiff);
    if (!written || !errors.empty())
    {
        std::error_code ignored;
        std::filesystem::remove(inPath, ignored);
        throw XException(XException::kIOError,
                         name + ": cannot be written" + (errors.empty() ? "" : ": " + errors));
    }
}

void XDemoStack::WriteSpots(const std::filesystem::path& inPath, double inSpotRadius) const
{
    const std::string name = inPath.filename().string();
    std::ofstream file(inPath, std::ios::binary | std::ios::trunc);
    if (!file)
    {
        throw XException(XException::kIOError,
                         name + ": cannot be written (" + inPath.string() + ")");
    }
    file << "x,y,z,radius\n";
    for (const XNucleus& nucleus : itsNuclei)
    {
        file << FixedText(nucleus.centre[0], 3) << ',' << FixedText(nucleus.centre[1], 3) << ','
             << FixedText(nucleus.centre[2], 3) << ',' << FixedText(inSpotRadius, 3) << '\n';
    }
    file.flush();
    if (!file)
    {
        throw XException(XException::kIOError, name + ": cannot be written");
    }
}
