#include "x-platform/module/XStorableClassTable.h"

#include <CLI/CLI.hpp>

#include <iostream>

int main(int argc, char** argv)
{
    CLI::App app{"voltrace: a ray tracer for multi-channel fluorescence microscopy volumes"};
    app.set_version_flag("--version", "voltrace 0.1.0");
    CLI11_PARSE(app, argc, argv);

    XRegisterStorableClasses();
    std::cout << app.help();
    return 0;
}
