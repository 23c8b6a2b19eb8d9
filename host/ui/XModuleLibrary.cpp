#include "host/ui/XModuleLibrary.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"

#include <cstdlib>
#include <dlfcn.h>
#include <system_error>

X_SOURCE_NAME("host/ui/XModuleLibrary");

namespace
{
// The loader's last error, or a fallback when it has none to give.
std::string LoaderError()
{
    const char* error = dlerror();
    return error != nullptr ? error : "no reason given";
}
} // namespace

XModuleLibrary::XModuleLibrary(const std::filesystem::path& inPath) : itsPath(inPath)
{
    dlerror(); // forget an earlier error, so the messages below are this load's
    itsHandle = dlopen(itsPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (itsHandle == nullptr)
    {
        throw XException(XException::kIOError, "Cannot load the module library " +
                                                   itsPath.string() + ": " + LoaderError());
    }

    void* const entry = dlsym(itsHandle, kEntryName);
    if (entry == nullptr)
    {
        const std::string reason = LoaderError();
        dlclose(itsHandle);
        throw XException(XException::kIOError, "The module library " + itsPath.string() +
                                                   " has no entry " + kEntryName + ": " + reason);
    }
    itsEntry = reinterpret_cast<XEntry>(entry);

    const int answer = itsEntry(1);
    if (answer != 1)
    {
        dlclose(itsHandle);
        throw XException(XException::kIOError, "The module library " + itsPath.string() +
                                                   " refused to load: its entry answered " +
                                                   std::to_string(answer));
    }
}

XModuleLibrary::~XModuleLibrary()
{
    itsEntry(0);
    const int closed = dlclose(itsHandle);
    X_ASSERT(closed == 0);
}

int XModuleLibrary::CallEntry(int inReason) const
{
    return itsEntry(inReason);
}

std::filesystem::path XModuleLibrary::FindLibrary(const std::filesystem::path& inRequested)
{
    if (!inRequested.empty())
    {
        return inRequested;
    }
    // An empty variable counts as unset, so that VOLTRACE_MODULE= restores the default.
    if (const char* fromEnvironment = std::getenv("VOLTRACE_MODULE");
        fromEnvironment != nullptr && *fromEnvironment != '\0')
    {
        return fromEnvironment;
    }
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
    {
        throw XException(XException::kIOError,
                         "Cannot find the running program's folder to look for " +
                             std::string(kDefaultFileName) +
                             " in: /proc/self/exe: " + error.message());
    }
    return program.parent_path() / kDefaultFileName;
}
