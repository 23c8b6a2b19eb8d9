#include "host/data/XSampleDB.h"

#include "host/core/XException.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XTiffStackReader.h"

#include <unistd.h>

#include <limits>
#include <system_error>

XSampleDB& XSampleDB::GetDB()
{
    static XSampleDB theDB;
    return theDB;
}

XSampleDB::XSampleDB() : itsMemoryLimit(GetDefaultMemoryLimit()) {}

XSampleDB::~XSampleDB() = default;

std::uint64_t XSampleDB::GetDefaultMemoryLimit()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0)
    {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return static_cast<std::uint64_t>(pages) / 4 * 3 * static_cast<std::uint64_t>(pageSize);
}

void XSampleDB::SetMemoryLimit(std::uint64_t inBytes)
{
    const std::lock_guard<std::mutex> lock(itsMutex);
    itsMemoryLimit = inBytes;
}

std::uint64_t XSampleDB::GetMemoryLimit() const
{
    const std::lock_guard<std::mutex> lock(itsMutex);
    return itsMemoryLimit;
}

std::uint32_t XSampleDB::OpenFile(const std::filesystem::path& inPath)
{
    std::error_code error;
    std::filesystem::path key = std::filesystem::weakly_canonical(inPath, error);
    if (error)
    {
        key = std::filesystem::absolute(inPath, error).lexically_normal();
    }
    std::unique_lock<std::mutex> lock(itsMutex);
    const auto known = itsFiles.find(key.string());
    if (known != itsFiles.end())
    {
        return known->second;
    }
    const std::uint64_t limit = itsMemoryLimit;
    // Reading the file's structure can take a while: do it without holding the lock.
    lock.unlock();
    std::unique_ptr<XSample> sample = XTiffStackReader::Open(inPath, limit);
    lock.lock();
    const auto raced = itsFiles.find(key.string());
    if (raced != itsFiles.end())
    {
        return raced->second; // another thread opened the same file meanwhile
    }
    const std::uint32_t id = itsNextID++;
    itsSamples.emplace(id, std::move(sample));
    itsFiles.emplace(key.string(), id);
    return id;
}

std::uint32_t XSampleDB::AddSample(std::unique_ptr<XSample> inSample)
{
    if (!inSample)
    {
        throw XException(XException::kMalformedStream, "No sample to add to the sample database");
    }
    const std::lock_guard<std::mutex> lock(itsMutex);
    const std::uint32_t id = itsNextID++;
    itsSamples.emplace(id, std::move(inSample));
    return id;
}

XSample* XSampleDB::GetSample(std::uint32_t inID) const
{
    const std::lock_guard<std::mutex> lock(itsMutex);
    const auto found = itsSamples.find(inID);
    return found == itsSamples.end() ? nullptr : found->second.get();
}
