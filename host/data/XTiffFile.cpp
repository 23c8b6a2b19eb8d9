#include "host/data/XTiffFile.h"

#include "host/core/XException.h"

#include <tiffio.h>

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <system_error>

#if TIFFLIB_VERSION < 20221213
#error "libtiff 4.5 or later is needed for per-file message handlers"
#endif

struct XTiffFile::XMessages
{
    std::vector<std::string> errors;
    std::vector<std::string> warnings;

    // The errors as one clause for a message. Warnings are kept for debugging only: files
    // with private tags (ImageJ's, for one) raise them routinely.
    std::string Summary() const
    {
        std::string text;
        for (const std::string& line : errors)
        {
            text += (text.empty() ? "" : "; ") + line;
        }
        return text;
    }
};

namespace
{
std::string Format(const char* inModule, const char* inFormat, va_list inArguments)
{
    char buffer[1024];
    std::vsnprintf(buffer, sizeof buffer, inFormat, inArguments);
    std::string text = buffer;
    if (inModule != nullptr && *inModule != '\0')
    {
        text = std::string(inModule) + ": " + text;
    }
    return text;
}

// libtiff calls these on the thread that called it, with the file's own message store.
int CollectError(TIFF*, void* inMessages, const char* inModule, const char* inFormat,
                 va_list inArguments)
{
    static_cast<XTiffFile::XMessages*>(inMessages)
        ->errors.push_back(Format(inModule, inFormat, inArguments));
    return 1; // handled: libtiff's global handler stays quiet
}

int CollectWarning(TIFF*, void* inMessages, const char* inModule, const char* inFormat,
                   va_list inArguments)
{
    auto& warnings = static_cast<XTiffFile::XMessages*>(inMessages)->warnings;
    if (warnings.size() < 16)
    {
        warnings.push_back(Format(inModule, inFormat, inArguments));
    }
    return 1;
}

// libtiff hands resolutions over as single-precision floats; the shortest decimal that gives
// back the same float recovers the value as written (a rational 1/40 becomes exactly 0.025).
double Widen(float inValue)
{
    char text[64];
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), inValue);
    double value = inValue;
    if (error == std::errc())
    {
        std::from_chars(std::begin(text), end, value);
    }
    return value;
}

struct XOptionsDeleter
{
    void operator()(TIFFOpenOptions* inOptions) const { TIFFOpenOptionsFree(inOptions); }
};
} // namespace

XTiffFile::XTiffFile(const std::filesystem::path& inPath)
    : itsName(inPath.filename().string()), itsMessages(std::make_unique<XMessages>())
{
    std::error_code error;
    const bool isFile = std::filesystem::is_regular_file(inPath, error);
    if (!isFile)
    {
        throw XException(
            XException::kIOError,
            itsName + ": " +
                (std::filesystem::exists(inPath, error) ? "not a regular file" : "no such file") +
                " (" + inPath.string() + ")");
    }
    const std::uint64_t fileSize = std::filesystem::file_size(inPath, error);
    if (error)
    {
        throw XException(XException::kIOError, itsName + ": cannot be read: " + error.message());
    }

    const std::unique_ptr<TIFFOpenOptions, XOptionsDeleter> options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), CollectError, itsMessages.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), CollectWarning, itsMessages.get());
    itsTiff = TIFFOpenExt(inPath.c_str(), "r", options.get());
    if (itsTiff == nullptr)
    {
        Fail(fileSize < 8 ? "not a TIFF file (too short)" : "not a readable TIFF file");
    }

    try
    {
        do
        {
            XPage page;
            page.offset = TIFFCurrentDirOffset(itsTiff);
            TIFFGetField(itsTiff, TIFFTAG_IMAGEWIDTH, &page.width);
            TIFFGetField(itsTiff, TIFFTAG_IMAGELENGTH, &page.height);
            TIFFGetFieldDefaulted(itsTiff, TIFFTAG_BITSPERSAMPLE, &page.bitsPerSample);
            TIFFGetFieldDefaulted(itsTiff, TIFFTAG_SAMPLESPERPIXEL, &page.samplesPerPixel);
            TIFFGetFieldDefaulted(itsTiff, TIFFTAG_SAMPLEFORMAT, &page.sampleFormat);
            TIFFGetField(itsTiff, TIFFTAG_PHOTOMETRIC, &page.photometric);
            std::uint16_t planar = PLANARCONFIG_CONTIG;
            TIFFGetFieldDefaulted(itsTiff, TIFFTAG_PLANARCONFIG, &planar);
            page.separatePlanes = planar == PLANARCONFIG_SEPARATE && page.samplesPerPixel > 1;
            page.tiled = TIFFIsTiled(itsTiff) != 0;

            // Data that would lie past the end of the file: the file was cut short.
            const std::uint32_t chunks = TIFFNumberOfStrips(itsTiff);
            for (std::uint32_t chunk = 0; chunk < chunks; ++chunk)
            {
                int failed = 0;
                const std::uint64_t offset = TIFFGetStrileOffsetWithErr(itsTiff, chunk, &failed);
                const std::uint64_t bytes =
                    failed ? 0 : TIFFGetStrileByteCountWithErr(itsTiff, chunk, &failed);
                if (failed || offset > fileSize || bytes > fileSize - offset)
                {
                    Fail("page " + std::to_string(itsPages.size()) + " is cut short: its data " +
                         "runs past the end of the file (" + std::to_string(fileSize) + " bytes)");
                }
            }

            if (itsPages.empty())
            {
                const char* description = nullptr;
                if (TIFFGetField(itsTiff, TIFFTAG_IMAGEDESCRIPTION, &description) &&
                    description != nullptr)
                {
                    itsDescription = description;
                }
                float resolution = 0.0f;
                if (TIFFGetField(itsTiff, TIFFTAG_XRESOLUTION, &resolution))
                {
                    itsXResolution = Widen(resolution);
                }
                if (TIFFGetField(itsTiff, TIFFTAG_YRESOLUTION, &resolution))
                {
                    itsYResolution = Widen(resolution);
                }
            }
            itsPages.push_back(page);
            itsMessages->errors.clear();
        } while (TIFFReadDirectory(itsTiff));
        if (!itsMessages->errors.empty())
        {
            Fail("the directory of page " + std::to_string(itsPages.size()) + " cannot be read");
        }
    }
    catch (...)
    {
        TIFFClose(itsTiff);
        throw;
    }
}

XTiffFile::~XTiffFile()
{
    TIFFClose(itsTiff);
}

void XTiffFile::Fail(const std::string& inWhat) const
{
    const std::string detail = itsMessages->Summary();
    throw XException(XException::kIOError,
                     itsName + ": " + inWhat +
                         (detail.empty() ? "" : " (libtiff: " + detail + ")"));
}

void XTiffFile::ReadPlane(std::size_t inPage, std::span<std::byte> outPlane)
{
    const std::lock_guard<std::mutex> lock(itsMutex);
    if (inPage >= itsPages.size())
    {
        Fail("there is no page " + std::to_string(inPage));
    }
    const XPage& page = itsPages[inPage];
    const std::uint64_t expected =
        std::uint64_t{page.width} * page.height * page.samplesPerPixel * (page.bitsPerSample / 8u);
    if ((page.bitsPerSample != 8 && page.bitsPerSample != 16 && page.bitsPerSample != 32) ||
        expected != outPlane.size())
    {
        Fail("page " + std::to_string(inPage) + " does not hold the plane asked for");
    }
    itsMessages->errors.clear();
    if (!TIFFSetSubDirectory(itsTiff, page.offset))
    {
        Fail("page " + std::to_string(inPage) + " cannot be read");
    }
    if (page.tiled)
    {
        ReadTiles(inPage, outPlane);
    }
    else
    {
        ReadStrips(inPage, outPlane);
    }
}

namespace
{
// Copies a run of pixels from a chunk (inChunkSamples samples per pixel, the first being sample
// inSample of the plane's) into the plane (inPlaneSamples samples per pixel).
void CopyPixels(const std::byte* inChunk, std::byte* outPlane, std::uint32_t inPixels,
                std::size_t inSampleBytes, std::size_t inChunkSamples, std::size_t inPlaneSamples,
                std::size_t inSample)
{
    if (inChunkSamples == inPlaneSamples)
    {
        std::memcpy(outPlane, inChunk, inPixels * inSampleBytes * inPlaneSamples);
        return;
    }
    for (std::uint32_t pixel = 0; pixel < inPixels; ++pixel)
    {
        std::memcpy(outPlane + (pixel * inPlaneSamples + inSample) * inSampleBytes,
                    inChunk + pixel * inChunkSamples * inSampleBytes,
                    inChunkSamples * inSampleBytes);
    }
}
} // namespace

void XTiffFile::ReadStrips(std::size_t inPage, std::span<std::byte> outPlane)
{
    const XPage& page = itsPages[inPage];
    const std::string where = "page " + std::to_string(inPage) + ": ";
    std::uint32_t rowsPerStrip = page.height;
    TIFFGetFieldDefaulted(itsTiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    rowsPerStrip = std::clamp<std::uint32_t>(rowsPerStrip, 1, std::max(page.height, 1u));
    const std::size_t sampleBytes = page.bitsPerSample / 8u;
    const std::size_t planeSamples = page.samplesPerPixel;
    const std::size_t chunkSamples = page.separatePlanes ? 1 : planeSamples;
    const std::size_t planeRowBytes = std::size_t{page.width} * planeSamples * sampleBytes;
    const std::size_t chunkRowBytes = std::size_t{page.width} * chunkSamples * sampleBytes;
    const std::uint32_t stripsPerSample = (page.height + rowsPerStrip - 1) / rowsPerStrip;
    const std::size_t sampleCount = page.separatePlanes ? planeSamples : 1;

    for (std::size_t sample = 0; sample < sampleCount; ++sample)
    {
        for (std::uint32_t strip = 0; strip < stripsPerSample; ++strip)
        {
            const std::uint32_t firstRow = strip * rowsPerStrip;
            const std::uint32_t rows = std::min(rowsPerStrip, page.height - firstRow);
            const std::size_t bytes = rows * chunkRowBytes;
            const auto index = static_cast<std::uint32_t>(sample * stripsPerSample + strip);
            std::byte* target = outPlane.data() + firstRow * planeRowBytes;
            if (!page.separatePlanes)
            {
                const tmsize_t read =
                    TIFFReadEncodedStrip(itsTiff, index, target, static_cast<tmsize_t>(bytes));
                if (read != static_cast<tmsize_t>(bytes))
                {
                    Fail(where + "strip " + std::to_string(index) + " cannot be decoded");
                }
                continue;
            }
            itsChunk.resize(bytes);
            const tmsize_t read =
                TIFFReadEncodedStrip(itsTiff, index, itsChunk.data(), static_cast<tmsize_t>(bytes));
            if (read != static_cast<tmsize_t>(bytes))
            {
                Fail(where + "strip " + std::to_string(index) + " cannot be decoded");
            }
            for (std::uint32_t row = 0; row < rows; ++row)
            {
                CopyPixels(itsChunk.data() + row * chunkRowBytes, target + row * planeRowBytes,
                           page.width, sampleBytes, chunkSamples, planeSamples, sample);
            }
        }
    }
}

void XTiffFile::ReadTiles(std::size_t inPage, std::span<std::byte> outPlane)
{
    const XPage& page = itsPages[inPage];
    const std::string where = "page " + std::to_string(inPage) + ": ";
    std::uint32_t tileWidth = 0;
    std::uint32_t tileHeight = 0;
    TIFFGetField(itsTiff, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(itsTiff, TIFFTAG_TILELENGTH, &tileHeight);
    const tmsize_t tileBytes = TIFFTileSize(itsTiff);
    if (tileWidth == 0 || tileHeight == 0 || tileBytes <= 0)
    {
        Fail(where + "the tiles' size is not valid");
    }
    const std::size_t sampleBytes = page.bitsPerSample / 8u;
    const std::size_t planeSamples = page.samplesPerPixel;
    const std::size_t chunkSamples = page.separatePlanes ? 1 : planeSamples;
    const std::size_t planeRowBytes = std::size_t{page.width} * planeSamples * sampleBytes;
    const std::size_t tileRowBytes = std::size_t{tileWidth} * chunkSamples * sampleBytes;
    if (static_cast<std::uint64_t>(tileBytes) < std::uint64_t{tileHeight} * tileRowBytes)
    {
        Fail(where + "the tiles' size is not valid");
    }
    const std::size_t sampleCount = page.separatePlanes ? planeSamples : 1;
    itsChunk.resize(static_cast<std::size_t>(tileBytes));

    for (std::size_t sample = 0; sample < sampleCount; ++sample)
    {
        for (std::uint32_t y = 0; y < page.height; y += tileHeight)
        {
            for (std::uint32_t x = 0; x < page.width; x += tileWidth)
            {
                const std::uint32_t tile =
                    TIFFComputeTile(itsTiff, x, y, 0, static_cast<std::uint16_t>(sample));
                if (TIFFReadEncodedTile(itsTiff, tile, itsChunk.data(), tileBytes) != tileBytes)
                {
                    Fail(where + "tile " + std::to_string(tile) + " cannot be decoded");
                }
                const std::uint32_t rows = std::min(tileHeight, page.height - y);
                const std::uint32_t columns = std::min(tileWidth, page.width - x);
                for (std::uint32_t row = 0; row < rows; ++row)
                {
                    CopyPixels(itsChunk.data() + row * tileRowBytes,
                               outPlane.data() + (y + row) * planeRowBytes +
                                   x * planeSamples * sampleBytes,
                               columns, sampleBytes, chunkSamples, planeSamples, sample);
                }
            }
        }
    }
}
