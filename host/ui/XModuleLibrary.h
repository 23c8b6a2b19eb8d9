#pragma once

#include <filesystem>
#include <string>

// A module library loaded into the process: opening it calls its entry with reason 1 (load),
// closing calls it with reason 0 (unload) and unloads the library.
class XModuleLibrary
{
public:
    // The exported entry every module library has: int VoltraceModuleEntry(int inReason).
    static constexpr const char* kEntryName = "VoltraceModuleEntry";
    // The module library's file name, looked for beside the voltrace program.
    static constexpr const char* kDefaultFileName = "libvoltrace_raytracer.so";

    // Throws XException (kIOError) naming the file and the loader's reason when the library
    // cannot be loaded, has no entry, or its entry does not answer 1.
    explicit XModuleLibrary(const std::filesystem::path& inPath);
    // Calls the entry with 0, then unloads.
    ~XModuleLibrary();
    XModuleLibrary(const XModuleLibrary&) = delete;
    XModuleLibrary& operator=(const XModuleLibrary&) = delete;

    const std::filesystem::path& GetPath() const { return itsPath; }
    // Calls the entry with another reason (the entry ignores reasons other than 0 and 1).
    int CallEntry(int inReason) const;

    // The library to load: inRequested when not empty, else $VOLTRACE_MODULE when set, else
    // kDefaultFileName in the folder of the running program (/proc/self/exe).
    static std::filesystem::path FindLibrary(const std::filesystem::path& inRequested);

private:
    using XEntry = int (*)(int);

    std::filesystem::path itsPath;
    void* itsHandle = nullptr;
    XEntry itsEntry = nullptr;
};
