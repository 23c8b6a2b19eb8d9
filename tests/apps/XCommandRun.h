#pragma once

// Runs the built voltrace command (VOLTRACE_COMMAND) as a user would, capturing its exit code
// and both output streams through files in a scratch folder.

#include "XScratchFolder.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

struct XRun
{
    int code = -1;
    std::string out;
    std::string errors;
};

inline XRun RunCommand(const XScratchFolder& inFolder, const std::string& inArguments)
{
    const std::filesystem::path out = inFolder / "stdout.txt";
    const std::filesystem::path errors = inFolder / "stderr.txt";
    const std::string command = std::string("'") + VOLTRACE_COMMAND + "' " + inArguments + " >'" +
                                out.string() + "' 2>'" + errors.string() + "' </dev/null";
    const int status = std::system(command.c_str());
    XRun run;
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = XReadWholeFile(out);
    run.errors = XReadWholeFile(errors);
    return run;
}

inline std::string Quoted(const std::filesystem::path& inPath)
{
    return "'" + inPath.string() + "'";
}
