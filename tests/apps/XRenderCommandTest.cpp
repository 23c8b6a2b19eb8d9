// Runs `voltrace render` as a user would: good scene files give pictures of the asked size, the
// same for any number of threads; bad ones end with exit code 2, a message that names the
// offending place and no picture; a picture that cannot be written ends with exit code 1.

#include "XCommandRun.h"
#include "XScratchFolder.h"
#include "tests/x-platform/module/XTestStack.h"

#include <gtest/gtest.h>
#include <png.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace
{

// An 8-bit RGB picture read back with libpng, rows top first.
struct XPicture
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<png_byte> rgb;

    const png_byte* At(std::uint32_t inX, std::uint32_t inY) const
    {
        return &rgb[(std::size_t{inY} * width + inX) * 3];
    }
};

XPicture ReadPicture(const std::filesystem::path& inPath)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    XPicture picture;
    if (png_image_begin_read_from_file(&image, inPath.c_str()) == 0)
    {
        ADD_FAILURE() << inPath << ": " << image.message;
        return picture;
    }
    image.format = PNG_FORMAT_RGB;
    picture.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) == 0)
    {
        ADD_FAILURE() << inPath << ": " << image.message;
        return picture;
    }
    picture.width = image.width;
    picture.height = image.height;
    return picture;
}

// A small scene: a white sphere above the view's centre, lit from the camera, and a one-channel
// magenta volume below it.
constexpr const char* kGoodScene = R"({
  "image": {"width": 32, "height": 32},
  "camera": {"position": [0, 0, -6], "lookAt": [0, 0, 0], "up": [0, 1, 0]},
  "background": [0.1, 0.1, 0.1],
  "lights": [{"position": [0, 0, -6], "intensity": [1, 1, 1]}],
  "surfaces": [{"geometry": {"type": "sphere", "radius": 0.5},
                "transform": {"translate": [0, 1.2, -1]}}],
  "volume": {"file": "one.tif", "voxelSize": [0.25, 0.25, 0.25], "origin": [-0.875, -2, -0.875],
             "channels": [{"channel": 1, "colour": "#FF00FF", "opacity": 0.6}]}
})";

void WriteOneChannelStack(const std::filesystem::path& inPath)
{
    XTestStack stack;
    stack.value = [](std::uint32_t inX, std::uint32_t inY, std::uint32_t inZ, std::uint32_t)
    { return static_cast<std::uint8_t>(60 + 10 * inX + 5 * inY + inZ); };
    stack.Write(inPath);
}
} // namespace

TEST(XRenderCommandTest, RendersThePictureOfTheAskedSizeWhateverTheThreads)
{
    XScratchFolder folder;
    WriteOneChannelStack(folder / "one.tif");
    XWriteWholeFile(folder / "scene.json", kGoodScene);
    const std::string scene = Quoted(folder / "scene.json");

    const XRun one =
        RunCommand(folder, "render " + scene + " -o " + Quoted(folder / "one.png") + " --exr " +
                               Quoted(folder / "one.exr") + " --threads 1");
    ASSERT_EQ(one.code, 0) << one.errors;
    EXPECT_NE(one.errors.find("Frame took "), std::string::npos) << one.errors;
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / "one.exr"));
    const XRun three = RunCommand(folder, "render " + scene + " -o " +
                                              Quoted(folder / "three.png") + " --threads 3");
    ASSERT_EQ(three.code, 0) << three.errors;
    EXPECT_EQ(XReadWholeFile(folder / "one.png"), XReadWholeFile(folder / "three.png"));

    // Upright: the sphere above the view's centre is near the top of the picture, the volume
    // below it near the bottom, and the corners show the background (0.1 → byte 25).
    const XPicture picture = ReadPicture(folder / "one.png");
    ASSERT_EQ(picture.width, 32u);
    ASSERT_EQ(picture.height, 32u);
    for (const auto& [x, y] : {std::pair{2u, 5u}, std::pair{2u, 25u}, std::pair{29u, 25u}})
    {
        const png_byte* corner = picture.At(x, y);
        EXPECT_EQ(corner[0], 25) << x << ", " << y;
        EXPECT_EQ(corner[1], 25) << x << ", " << y;
        EXPECT_EQ(corner[2], 25) << x << ", " << y;
    }
    const png_byte* sphere = picture.At(16, 5);
    EXPECT_GT(sphere[1], 150) << "the white sphere, lit face on";
    const png_byte* volume = picture.At(16, 25);
    EXPECT_GT(volume[0], volume[1] + 20) << "the magenta volume";
    EXPECT_GT(volume[2], volume[1] + 20) << "the magenta volume";

    // The command line overrides the scene file's film size, one side or both.
    const XRun resized =
        RunCommand(folder, "render " + scene + " -o " + Quoted(folder / "resized.png") +
                               " --width 40 --height 36 --threads 2");
    ASSERT_EQ(resized.code, 0) << resized.errors;
    const XPicture larger = ReadPicture(folder / "resized.png");
    EXPECT_EQ(larger.width, 40u);
    EXPECT_EQ(larger.height, 36u);
    const XRun wider = RunCommand(folder, "render " + scene + " -o " +
                                              Quoted(folder / "wider.png") + " --width 48");
    ASSERT_EQ(wider.code, 0) << wider.errors;
    const XPicture wide = ReadPicture(folder / "wider.png");
    EXPECT_EQ(wide.width, 48u);
    EXPECT_EQ(wide.height, 32u);
}

TEST(XRenderCommandTest, BadSceneFilesNameThePlaceAndWriteNothing)
{
    XScratchFolder folder;
    WriteOneChannelStack(folder / "one.tif");
    XWriteWholeFile(folder / "notes.tif", "not a stack\n");
    XWriteWholeFile(folder / "broken.csv", "x,y,z\n0,0,0\n1,oops,2\n");

    struct XCase
    {
        const char* scene;
        std::vector<std::string> fragments;
    };
    const XCase cases[] = {
        {R"({"camera": {"positon": [0, 0, -5]}})", {"camera.positon", "unknown key"}},
        {R"({"surfaces": [{"geometry": {"type": "sphere", "radius": 1},
                           "material": {"type": "plastic", "kd": "0.5"}}]})",
         {"surfaces[0].material.kd", "expected a number"}},
        {R"({"lights": [{"position": [0, 1e300, 0], "intensity": [1, 1, 1]}]})",
         {"lights[0].position[1]", "out of its range"}},
        {R"({"ambient": 1.5})", {"ambient", "out of its range"}},
        // Beyond the range of a double: JSON has no infinity, and the parser refuses it.
        {R"({"ambient": 1e400})", {"scene.json", "1e400"}},
        {R"({"volume": {"file": "absent.tif"}})", {"volume.file", "absent.tif"}},
        {R"({"volume": {"file": "notes.tif"}})", {"volume.file", "notes.tif"}},
        {R"({"spots": [{"file": "broken.csv", "radius": 0.5}]})", {"broken.csv:3", "oops"}},
        {R"({"image": {"width": 16, "height": 64}})", {"image.width", "32"}},
        {R"({"image": {"width": 64, "height": 31}})", {"image.height", "32"}},
        {R"({"volume": {"file": "one.tif", "channels": [{"channel": 2}]}})",
         {"volume.channels[0].channel"}},
        {R"({"volume": {"file": "one.tif", "channels": [{"channel": 1}, {"channel": 1}]}})",
         {"volume.channels[1].channel", "twice"}},
        {R"({"volume": {"file": "one.tif", "channels": [{"channel": 1, "range": [90, 90]}]}})",
         {"volume.channels[0].range"}},
        {R"({"volume": {"file": "one.tif", "channels": [{"channel": 1, "colour": "#12G456"}]}})",
         {"volume.channels[0].colour", "#12G456"}},
        {R"({"camera": {"position": [1, 2, 3], "lookAt": [1, 2, 3]}})", {"camera: "}},
        {R"({"camera": {"position": [0, 0, -5], "lookAt": [0, 0, 0], "up": [0, 0, 2]}})",
         {"camera: "}},
        {R"({"renderScale": "big"})", {"renderScale"}},
        {R"({"renderScale": 1e-30})", {"renderScale: ", "no view"}},
        {R"({"image": {"width": 64, )", {"scene.json", "JSON"}},
    };
    for (const XCase& badCase : cases)
    {
        SCOPED_TRACE(badCase.scene);
        XWriteWholeFile(folder / "scene.json", badCase.scene);
        const XRun run = RunCommand(folder, "render " + Quoted(folder / "scene.json") + " -o " +
                                                Quoted(folder / "out.png") + " --exr " +
                                                Quoted(folder / "out.exr"));
        EXPECT_EQ(run.code, 2) << run.errors;
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        for (const std::string& fragment : badCase.fragments)
        {
            EXPECT_NE(run.errors.find(fragment), std::string::npos)
                << "\"" << fragment << "\" not in: " << run.errors;
        }
        EXPECT_FALSE(std::filesystem::exists(folder / "out.png"));
        EXPECT_FALSE(std::filesystem::exists(folder / "out.exr"));
    }

    // Bad overrides of a good scene are bad input too.
    XWriteWholeFile(folder / "scene.json", kGoodScene);
    for (const char* overrides : {"--width 16", "--height 8", "--spp 0"})
    {
        SCOPED_TRACE(overrides);
        const XRun run = RunCommand(folder, "render " + Quoted(folder / "scene.json") + " -o " +
                                                Quoted(folder / "out.png") + " " + overrides);
        EXPECT_EQ(run.code, 2) << run.errors;
        EXPECT_FALSE(std::filesystem::exists(folder / "out.png"));
    }
}

TEST(XRenderCommandTest, APictureThatCannotBeWrittenEndsWithOne)
{
    XScratchFolder folder;
    WriteOneChannelStack(folder / "one.tif");
    XWriteWholeFile(folder / "scene.json", kGoodScene);
    const std::filesystem::path picture = folder / "missing" / "out.png";
    const XRun run =
        RunCommand(folder, "render " + Quoted(folder / "scene.json") + " -o " + Quoted(picture) +
                               " --exr " + Quoted(folder / "out.exr"));
    EXPECT_EQ(run.code, 1) << run.errors;
    EXPECT_NE(run.errors.find(picture.string()), std::string::npos) << run.errors;
    EXPECT_FALSE(std::filesystem::exists(picture));
    EXPECT_FALSE(std::filesystem::exists(folder / "out.exr"));
}

TEST(XRenderCommandTest, CtrlCStopsTheFrameAndWritesNothing)
{
    XScratchFolder folder;
    WriteOneChannelStack(folder / "one.tif");
    XWriteWholeFile(folder / "scene.json", kGoodScene);
    // A frame of minutes, interrupted after two seconds. If the jobs did not stop, the guard
    // kills the command after another minute and the exit code is not 130.
    const std::string command =
        std::string("timeout --preserve-status -k 60 -s INT 2 '") + VOLTRACE_COMMAND + "' render " +
        Quoted(folder / "scene.json") + " -o " + Quoted(folder / "out.png") +
        " --width 2048 --height 2048 --spp 16 >/dev/null 2>" + Quoted(folder / "errors.txt");
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130) << XReadWholeFile(folder / "errors.txt");
    EXPECT_NE(XReadWholeFile(folder / "errors.txt").find("interrupted"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder / "out.png"));

    // A module library that is not there ends with 1 and names it.
    const XRun run = RunCommand(folder, "render " + Quoted(folder / "scene.json") + " -o " +
                                            Quoted(folder / "out.png") + " --module " +
                                            Quoted(folder / "no-such-module.so"));
    EXPECT_EQ(run.code, 1) << run.errors;
    EXPECT_NE(run.errors.find("no-such-module.so"), std::string::npos) << run.errors;
}
