#include "apps/XDemoCommand.h"
#include "apps/XExitCode.h"
#include "apps/XInfoCommand.h"
#include "apps/XProgressPrinter.h"
#include "apps/XRenderCommand.h"
#include "apps/XWorkerCommand.h"

#include <CLI/CLI.hpp>

#include <iostream>

// Each subcommand lives in a file of its own (apps/X<Name>Command.cpp) with a function that adds
// it to the app; its callback runs it and sets the exit code.
int main(int argc, char** argv)
{
    CLI::App app{"voltrace: a ray tracer for multi-channel fluorescence microscopy volumes"};
    app.set_version_flag("--version", "voltrace 0.1.0");
    app.require_subcommand(0, 1);
    int exitCode = XExitCode::kDone;
    XAddRenderCommand(app, exitCode);
    XAddInfoCommand(app, exitCode);
    XAddDemoCommand(app, exitCode);
    XAddWorkerCommand(app, exitCode);

    const XProgressPrinter printer(std::cerr, XProgressPrinter::GetStyleForStandardError());
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& inError)
    {
        // Help and version end well; any other parse error is bad input.
        return app.exit(inError) == 0 ? XExitCode::kDone : XExitCode::kBadInput;
    }
    if (app.get_subcommands().empty())
    {
        std::cout << app.help();
    }
    return exitCode;
}
