#include "host/core/XInternalError.h"

#include "host/core/XSessionLog.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <mutex>

namespace
{
std::mutex gCaptureMutex;
int gCaptureDepth = 0;
std::vector<XInternalErrorReport> gCaptured;

// Linux shows an attached tracer (a debugger) in /proc/self/status.
bool IsDebuggerPresent()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
    {
        if (line.rfind("TracerPid:", 0) == 0)
        {
            return std::stoi(line.substr(10)) != 0;
        }
    }
    return false;
}
} // namespace

void XReportInternalError(std::string_view inCondition, std::string_view inSource, int inLine)
{
    XInternalErrorReport report{std::string(inCondition), std::string(inSource), inLine};
    const std::string text = "Internal error: \"" + report.condition + "\" in " + report.source +
                             ", line " + std::to_string(inLine);
    XSessionLogManager::GetManager().AddEntry(text);

    {
        const std::lock_guard lock(gCaptureMutex);
        if (gCaptureDepth > 0)
        {
            gCaptured.push_back(std::move(report));
            return;
        }
    }
    if (IsDebuggerPresent())
    {
        std::raise(SIGTRAP);
    }
    std::fprintf(stderr, "voltrace: %s\n", text.c_str());
}

XInternalErrorCapture::XInternalErrorCapture()
{
    const std::lock_guard lock(gCaptureMutex);
    if (gCaptureDepth++ == 0)
    {
        gCaptured.clear();
    }
}

XInternalErrorCapture::~XInternalErrorCapture()
{
    const std::lock_guard lock(gCaptureMutex);
    --gCaptureDepth;
}

std::vector<XInternalErrorReport> XInternalErrorCapture::GetReports() const
{
    const std::lock_guard lock(gCaptureMutex);
    return gCaptured;
}

std::vector<std::string> XInternalErrorCapture::GetConditions() const
{
    const std::lock_guard lock(gCaptureMutex);
    std::vector<std::string> conditions;
    for (const auto& report : gCaptured)
    {
        conditions.push_back(report.condition);
    }
    return conditions;
}
