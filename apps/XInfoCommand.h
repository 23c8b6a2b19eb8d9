#pragma once

#include <filesystem>
#include <iosfwd>

namespace CLI
{
class App;
} // namespace CLI

// `voltrace info STACK`: prints the stack's file, axes and shape, channels, time points, voxel
// type, voxel size and each channel's value range per time point on outText. A stack that
// cannot be read gives one line on outErrors naming the file and the trouble. Returns the exit
// code (XExitCode).
int RunInfo(const std::filesystem::path& inPath, std::ostream& outText, std::ostream& outErrors);

// Adds the `info` subcommand to inApp. When it runs, it prints on standard output and error
// and stores its exit code in outExitCode, which must outlive the parsing.
void XAddInfoCommand(CLI::App& inApp, int& outExitCode);
