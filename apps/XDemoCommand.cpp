#include "apps/XDemoCommand.h"

#include "apps/XExitCode.h"
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
        "demo", "Write a synthetic three-channel stack of cells, its spots table and a scene file");
    auto folder = std::make_shared<std::string>(kDefaultDemoFolder);
    command->add_option("DIR", *folder, "The folder to write into")->capture_default_str();
    command->callback(
        [folder, &outExitCode]
        {
            try
            {
                RunDemo(*folder, std::cout);
                outExitCode = XExitCode::kDone;
            }
            catch (const std::exception& inError)
            {
                std::cerr << "voltrace demo: " << inError.what() << '\n';
                outExitCode = XExitCode::kFailure;
            }
        });
}
