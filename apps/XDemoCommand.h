#pragma once

#include <filesystem>
#include <iosfwd>

namespace CLI
{
class App;
} // namespace CLI

// The folder `voltrace demo` writes into when none is given.
inline constexpr const char* kDefaultDemoFolder = "voltrace-demo";

// `voltrace demo [DIR]`: writes the demo stack, its spots table and its scene file into
// inFolder (made if need be) and prints the three paths on outText, one per line. Returns the
// scene file's path. Throws XException (kIOError) when the folder or a file cannot be written.
std::filesystem::path RunDemo(const std::filesystem::path& inFolder, std::ostream& outText);

// Adds the `demo` subcommand to inApp: it writes the demo files and renders them to demo.png in
// the same folder. When it runs, it stores its exit code in outExitCode,
// which must outlive the parsing; errors go to standard error.
void XAddDemoCommand(CLI::App& inApp, int& outExitCode);
