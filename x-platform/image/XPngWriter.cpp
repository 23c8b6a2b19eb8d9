#include "x-platform/image/XPngWriter.h"

#include "host/core/XException.h"
#include "host/imaging/XARGB32Volume.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

namespace
{
[[noreturn]] void Fail(const std::string& inPath, const std::string& inReason)
{
    // Only a regular file of our own making is removed, never a device such as /dev/full.
    std::error_code error;
    if (std::filesystem::is_regular_file(inPath, error))
    {
        std::filesystem::remove(inPath, error);
    }
    throw XException(XException::kIOError,
                     "Cannot write PNG picture '" + inPath + "': " + inReason);
}

struct XFileCloser
{
    void operator()(std::FILE* inFile) const { std::fclose(inFile); }
};
} // namespace

void XPngWriter::Write(const XARGB32Volume& inFrame, const std::string& inPath)
{
    const std::uint32_t width = inFrame.GetWidth();
    const std::uint32_t height = inFrame.GetHeight();
    if (width == 0 || height == 0 || inFrame.GetDepth() == 0)
    {
        throw XException(XException::kIOError,
                         "Cannot write PNG picture '" + inPath + "': the frame is empty");
    }

    // Rows top first: picture row r is frame row height - 1 - r.
    std::vector<png_byte> rgb(static_cast<std::size_t>(width) * height * 3);
    {
        const XLock frameLock(const_cast<XARGB32Volume&>(inFrame), XLockMode::kRead);
        const XARGB32Colour* plane = inFrame.GetBaseAddress();
        png_byte* out = rgb.data();
        for (std::uint32_t row = 0; row < height; ++row)
        {
            const XARGB32Colour* in =
                plane + static_cast<std::ptrdiff_t>(height - 1 - row) * inFrame.GetRowStride();
            for (std::uint32_t x = 0; x < width; ++x, ++in)
            {
                *out++ = in->r;
                *out++ = in->g;
                *out++ = in->b;
            }
        }
    }

    std::unique_ptr<std::FILE, XFileCloser> file(std::fopen(inPath.c_str(), "wb"));
    if (!file)
    {
        const int error = errno;
        throw XException(XException::kIOError,
                         "Cannot write PNG picture '" + inPath + "': " + std::strerror(error));
    }

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    const bool written = png_image_write_to_stdio(&image, file.get(), 0, rgb.data(),
                                                  static_cast<png_int_32>(width * 3), nullptr) != 0;
    const std::string message = image.message;
    png_image_free(&image);
    if (!written)
    {
        file.reset();
        Fail(inPath, message.empty() ? "libpng failed" : message);
    }
    // Full disks show up only when the buffered bytes reach the file.
    if (std::fflush(file.get()) != 0 || std::ferror(file.get()) != 0)
    {
        const int error = errno;
        file.reset();
        Fail(inPath, std::strerror(error));
    }
    if (std::fclose(file.release()) != 0)
    {
        const int error = errno;
        Fail(inPath, std::strerror(error));
    }
}
