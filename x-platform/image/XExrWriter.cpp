#include "x-platform/image/XExrWriter.h"

#include "host/core/XException.h"
#include "x-platform/image/XHighDynamicRangeImage.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfStdIO.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <vector>

namespace
{
struct XRGBAFloat
{
    float r;
    float g;
    float b;
    float a;
};

[[noreturn]] void Fail(const std::string& inPath, const std::string& inReason)
{
    // Only a regular file of our own making is removed, never a device such as /dev/full.
    std::error_code error;
    if (std::filesystem::is_regular_file(inPath, error))
    {
        std::filesystem::remove(inPath, error);
    }
    throw XException(XException::kIOError,
                     "Cannot write OpenEXR picture '" + inPath + "': " + inReason);
}
} // namespace

void XExrWriter::Write(const XHighDynamicRangeImage& inImage, const std::string& inPath)
{
    const std::uint32_t width = inImage.GetWidth();
    const std::uint32_t height = inImage.GetHeight();
    if (width == 0 || height == 0)
    {
        throw XException(XException::kIOError,
                         "Cannot write OpenEXR picture '" + inPath + "': the image is empty");
    }

    // Lines top first: picture line r is image row height - 1 - r.
    std::vector<XRGBAFloat> pixels(static_cast<std::size_t>(width) * height);
    {
        const XLock imageLock(const_cast<XHighDynamicRangeImage&>(inImage), XLockMode::kRead);
        for (std::uint32_t line = 0; line < height; ++line)
        {
            for (std::uint32_t x = 0; x < width; ++x)
            {
                const auto& in = inImage.At(x, height - 1 - line);
                pixels[static_cast<std::size_t>(line) * width + x] = {in.r, in.g, in.b, 1.0f};
            }
        }
    }

    std::ofstream stream(inPath, std::ios::binary | std::ios::trunc);
    if (!stream)
    {
        const int error = errno;
        throw XException(XException::kIOError,
                         "Cannot write OpenEXR picture '" + inPath + "': " + std::strerror(error));
    }
    try
    {
        Imf::StdOFStream exrStream(stream, inPath.c_str());
        Imf::Header header(static_cast<int>(width), static_cast<int>(height));
        Imf::FrameBuffer frameBuffer;
        char* const base = reinterpret_cast<char*>(pixels.data());
        const std::size_t xStride = sizeof(XRGBAFloat);
        const std::size_t yStride = xStride * width;
        const struct
        {
            const char* name;
            std::size_t offset;
        } channels[] = {{"R", offsetof(XRGBAFloat, r)},
                        {"G", offsetof(XRGBAFloat, g)},
                        {"B", offsetof(XRGBAFloat, b)},
                        {"A", offsetof(XRGBAFloat, a)}};
        for (const auto& channel : channels)
        {
            header.channels().insert(channel.name, Imf::Channel(Imf::FLOAT));
            frameBuffer.insert(channel.name,
                               Imf::Slice(Imf::FLOAT, base + channel.offset, xStride, yStride));
        }
        Imf::OutputFile file(exrStream, header);
        file.setFrameBuffer(frameBuffer);
        file.writePixels(static_cast<int>(height));
    }
    catch (const std::exception& exception)
    {
        stream.close();
        Fail(inPath, exception.what());
    }
    // The line offset table is written when the OutputFile closes, and a full disk shows up
    // only when the buffered bytes reach the file.
    errno = 0;
    stream.flush();
    const bool flushed = static_cast<bool>(stream);
    const int error = errno;
    stream.close();
    if (!flushed || !stream)
    {
        Fail(inPath, error != 0 ? std::strerror(error) : "the file could not be completed");
    }
}
