#pragma once

#include "host/data/XSample.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

// The samples a process works on, each known by a number from 1 up. Files become
// XDataVolumeSequence samples; other samples can be added directly. Samples live as long as the
// database. All operations are safe to call from several threads.
class XSampleDB
{
public:
    // The process-wide database.
    static XSampleDB& GetDB();

    XSampleDB();
    ~XSampleDB();
    XSampleDB(const XSampleDB&) = delete;
    XSampleDB& operator=(const XSampleDB&) = delete;

    // Opens a TIFF stack and returns its sample number; the same file (by canonical path)
    // opened again gives the same number. Throws XException naming the file when it cannot be
    // read (see XTiffStackReader); nothing is added then.
    std::uint32_t OpenFile(const std::filesystem::path& inPath);
    std::uint32_t AddSample(std::unique_ptr<XSample> inSample);
    // Null for a number that names no sample.
    XSample* GetSample(std::uint32_t inID) const;

    // Stacks whose voxels would need more bytes than this are refused when opened. The default
    // is three quarters of the machine's physical memory.
    void SetMemoryLimit(std::uint64_t inBytes);
    std::uint64_t GetMemoryLimit() const;
    static std::uint64_t GetDefaultMemoryLimit();

private:
    mutable std::mutex itsMutex;
    std::map<std::uint32_t, std::unique_ptr<XSample>> itsSamples;
    std::map<std::string, std::uint32_t> itsFiles; // canonical path → sample number
    std::uint32_t itsNextID = 1;
    std::uint64_t itsMemoryLimit;
};

// The sample with that number if it is a T (or derives from one), else null.
template <class T>
T* XDBGetSample(std::uint32_t inID)
{
    return dynamic_cast<T*>(XSampleDB::GetDB().GetSample(inID));
}
