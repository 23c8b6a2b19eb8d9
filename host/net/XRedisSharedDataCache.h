#pragma once

#include <cstddef>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

class XNetJobSharedData;
class XRedisConnection;

// A worker process's shared data, by content hash: each is fetched and read once, and every
// thread renders from that one read-only object (jobs get clones, which share the scene).
// The most recently used few are kept.
class XRedisSharedDataCache
{
public:
    using XData = std::shared_ptr<const XNetJobSharedData>;

    explicit XRedisSharedDataCache(std::size_t inCapacity = 4);

    // Data this process holds already (a client's own scene), so that its workers read nothing.
    void Seed(const std::string& inHash, XData inData);
    void Forget(const std::string& inHash);

    // The data stored under inHash: read from the server by the first thread that asks; the
    // others wait for that read. A failed read throws to every waiting thread and is tried
    // again by the next caller.
    XData Get(const std::string& inHash, XRedisConnection& ioConnection);

    // How many reads went to the server (for tests and logs).
    std::size_t GetFetchCount() const;

private:
    void Touch(const std::string& inHash); // under itsMutex

    const std::size_t itsCapacity;
    mutable std::mutex itsMutex;
    std::map<std::string, std::shared_future<XData>> itsEntries;
    std::list<std::string> itsRecent; // most recent first
    std::size_t itsFetchCount = 0;
};
