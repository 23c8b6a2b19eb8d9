#pragma once

#include "host/core/XException.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// A private folder under the system's temporary folder for a benchmark's data, removed with
// everything in it when the object goes.
class XBenchScratchFolder
{
public:
    explicit XBenchScratchFolder(const std::string& inPrefix)
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / (inPrefix + "-XXXXXX")).string();
        if (::mkdtemp(pattern.data()) == nullptr)
        {
            throw XException(XException::kIOError,
                             "cannot create a scratch folder from " + pattern);
        }
        itsPath = pattern;
    }
    ~XBenchScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(itsPath, ignored);
    }
    XBenchScratchFolder(const XBenchScratchFolder&) = delete;
    XBenchScratchFolder& operator=(const XBenchScratchFolder&) = delete;

    const std::filesystem::path& GetPath() const { return itsPath; }

private:
    std::filesystem::path itsPath;
};
