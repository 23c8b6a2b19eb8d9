#include "host/core/XException.h"
#include "host/imaging/XARGB32Volume.h"
#include "x-platform/image/XExrWriter.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/image/XPngWriter.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <png.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
// A fresh directory per test, removed afterwards.
class XPictureWriterTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        itsDirectory = std::filesystem::temp_directory_path() /
                       ("voltrace-pictures-" + std::to_string(::getpid()) + "-" + info->name());
        std::filesystem::remove_all(itsDirectory);
        std::filesystem::create_directories(itsDirectory);
    }
    void TearDown() override { std::filesystem::remove_all(itsDirectory); }

    std::string PathOf(const std::string& inName) const { return (itsDirectory / inName).string(); }

    std::filesystem::path itsDirectory;
};

void ExpectIOErrorNaming(const std::function<void()>& inWrite, const std::string& inPath)
{
    try
    {
        inWrite();
        ADD_FAILURE() << "writing " << inPath << " succeeded";
    }
    catch (const XException& exception)
    {
        EXPECT_EQ(exception.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(exception.what()).find(inPath), std::string::npos)
            << exception.what();
    }
}
} // namespace

TEST_F(XPictureWriterTest, PngHoldsTheFrameBytesUpright)
{
    // Frame row 0 is the bottom of the view.
    XARGB32Volume frame(X3DRect(0, 0, 0, 3, 2, 1));
    for (std::int32_t y = 0; y < 2; ++y)
    {
        for (std::int32_t x = 0; x < 3; ++x)
        {
            const auto base = static_cast<std::uint8_t>(40 * (3 * y + x));
            frame.At(x, y, 0) = XARGB32Colour{7, base, static_cast<std::uint8_t>(base + 1),
                                              static_cast<std::uint8_t>(255 - base)};
        }
    }
    const std::string path = PathOf("frame.png");
    XPngWriter::Write(frame, path);

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << image.message;
    EXPECT_EQ(image.width, 3u);
    EXPECT_EQ(image.height, 2u);
    EXPECT_EQ(image.format, static_cast<png_uint_32>(PNG_FORMAT_RGB)) << "8-bit RGB, no alpha";
    std::vector<png_byte> rgb(PNG_IMAGE_SIZE(image));
    ASSERT_NE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr), 0) << image.message;
    ASSERT_EQ(rgb.size(), 3u * 2u * 3u);

    for (std::int32_t row = 0; row < 2; ++row)
    {
        for (std::int32_t x = 0; x < 3; ++x)
        {
            const XARGB32Colour& expected = frame.At(x, 1 - row, 0);
            const std::size_t at = static_cast<std::size_t>(row * 3 + x) * 3;
            EXPECT_EQ(rgb[at], expected.r) << x << ", " << row;
            EXPECT_EQ(rgb[at + 1], expected.g) << x << ", " << row;
            EXPECT_EQ(rgb[at + 2], expected.b) << x << ", " << row;
        }
    }
}

TEST_F(XPictureWriterTest, ExrHoldsTheFloatingPointImageUpright)
{
    XHighDynamicRangeImage image(3, 2);
    for (std::uint32_t y = 0; y < 2; ++y)
    {
        for (std::uint32_t x = 0; x < 3; ++x)
        {
            const float v = static_cast<float>(3 * y + x);
            image.At(x, y) = {0.0f, 0.1f * v, 7.5f + v, 1.0e-6f * v};
        }
    }
    const std::string path = PathOf("frame.exr");
    XExrWriter::Write(image, path);

    Imf::InputFile file(path.c_str());
    const Imath::Box2i window = file.header().dataWindow();
    ASSERT_EQ(window.max.x - window.min.x + 1, 3);
    ASSERT_EQ(window.max.y - window.min.y + 1, 2);
    for (const char* name : {"R", "G", "B", "A"})
    {
        const Imf::Channel* channel = file.header().channels().findChannel(name);
        ASSERT_NE(channel, nullptr) << name;
        EXPECT_EQ(channel->type, Imf::FLOAT) << name;
    }
    std::vector<float> channels[4];
    Imf::FrameBuffer frameBuffer;
    const char* names[4] = {"R", "G", "B", "A"};
    for (int c = 0; c < 4; ++c)
    {
        channels[c].assign(6, -1.0f);
        char* base = reinterpret_cast<char*>(channels[c].data()) -
                     (window.min.x + window.min.y * 3) * static_cast<int>(sizeof(float));
        frameBuffer.insert(names[c],
                           Imf::Slice(Imf::FLOAT, base, sizeof(float), 3 * sizeof(float)));
    }
    file.setFrameBuffer(frameBuffer);
    file.readPixels(window.min.y, window.max.y);

    for (std::uint32_t line = 0; line < 2; ++line)
    {
        for (std::uint32_t x = 0; x < 3; ++x)
        {
            const auto& expected = image.At(x, 1 - line);
            const std::size_t at = line * 3 + x;
            EXPECT_EQ(channels[0][at], expected.r) << x << ", " << line;
            EXPECT_EQ(channels[1][at], expected.g) << x << ", " << line;
            EXPECT_EQ(channels[2][at], expected.b) << x << ", " << line;
            EXPECT_EQ(channels[3][at], 1.0f) << x << ", " << line;
        }
    }
}

TEST_F(XPictureWriterTest, WriteFailuresNameTheFile)
{
    const XARGB32Volume frame(X3DRect(0, 0, 0, 2, 2, 1));
    const XHighDynamicRangeImage image(2, 2);

    const std::string missing = PathOf("no/such/folder/frame.png");
    ExpectIOErrorNaming([&] { XPngWriter::Write(frame, missing); }, missing);
    const std::string missingExr = PathOf("no/such/folder/frame.exr");
    ExpectIOErrorNaming([&] { XExrWriter::Write(image, missingExr); }, missingExr);

    // A directory where the file should be.
    const std::string directory = PathOf("taken");
    std::filesystem::create_directory(directory);
    ExpectIOErrorNaming([&] { XPngWriter::Write(frame, directory); }, directory);
    ExpectIOErrorNaming([&] { XExrWriter::Write(image, directory); }, directory);

    // Empty pictures cannot be written.
    const std::string empty = PathOf("empty.png");
    ExpectIOErrorNaming([&] { XPngWriter::Write(XARGB32Volume(X3DRect(0, 0, 0, 0, 4, 1)), empty); },
                        empty);
    ExpectIOErrorNaming([&] { XExrWriter::Write(XHighDynamicRangeImage(4, 0), empty); }, empty);

    // A full device: the failure shows only when the bytes reach it. The device is not removed.
    if (std::filesystem::exists("/dev/full"))
    {
        ExpectIOErrorNaming([&] { XPngWriter::Write(frame, "/dev/full"); }, "/dev/full");
        ExpectIOErrorNaming([&] { XExrWriter::Write(image, "/dev/full"); }, "/dev/full");
        EXPECT_TRUE(std::filesystem::exists("/dev/full"));
    }
}
