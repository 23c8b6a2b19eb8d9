#include "apps/XDemoCommand.h"

#include "apps/XExitCode.h"
#include "apps/XRenderCommand.h"
#include "apps/demo/XDemoScene.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

std::filesystem::path RunDemo(const std::filesystem::path& inFolder, std::ostream& outText)
{
    const XDemoScene::XFiles files = XDemoScene::WriteDemo(inFolder);
    outText << files.stack.string() << '\n'
            << files.spots.string() << '\n'
            << files.scene.string() << '\n';
    return files.scene;
}

void XAddDemoCommand(CLI::App& inApp, int& outExitCode)
{
    CLI::App* command = inApp.add_subcommand(
        "demo",
        "Write a synthetic three-channel stack of cells, its spots table and a scene file, and "
        "render it to demo.png");
    auto folder = std::make_shared<std::string>(kDefaultDemoFolder);
    command->add_option("DIR", *folder, "The folder to write into")->capture_default_str();
    auto size = std::make_shared<XRenderRequest>();
    command->add_option("--width", size->width, "Picture width in pixels (at least 32)");
    command->add_option("--height", size->height, "Picture height in pixels (at least 32)");
    command->add_option("--threads", size->threads, "Render threads (0: one per core)");
    command->callback(
        [folder, size, &outExitCode]
        {
            XRenderRequest request = *size;
            try
            {
                request.scene = RunDemo(*folder, std::cout);
            }
            catch (const std::exception& inError)
            {
                std::cerr << "voltrace demo: " << inError.what() << '\n';
                outExitCode = XExitCode::kFailure;
                return;
            }
            request.png = request.scene.parent_path() / "demo.png";
            outExitCode = RunRender(request, std::cerr);
            if (outExitCode == XExitCode::kDone)
            {
                std::cout << "Wrote the demo picture " << request.png.string() << '\n';
            }
        });
}
