#include "host/net/XRedisSharedDataCache.h"

#include "host/core/XException.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"
#include "host/net/XRedisSharedDataStore.h"

#include <algorithm>

XRedisSharedDataCache::XRedisSharedDataCache(std::size_t inCapacity)
    : itsCapacity(std::max<std::size_t>(1, inCapacity))
{
}

void XRedisSharedDataCache::Seed(const std::string& inHash, XData inData)
{
    std::promise<XData> ready;
    ready.set_value(std::move(inData));
    const std::lock_guard lock(itsMutex);
    itsEntries[inHash] = ready.get_future().share();
    Touch(inHash);
}

void XRedisSharedDataCache::Forget(const std::string& inHash)
{
    const std::lock_guard lock(itsMutex);
    itsEntries.erase(inHash);
    itsRecent.remove(inHash);
}

XRedisSharedDataCache::XData XRedisSharedDataCache::Get(const std::string& inHash,
                                                        XRedisConnection& ioConnection)
{
    std::promise<XData> reading;
    std::shared_future<XData> future;
    {
        const std::lock_guard lock(itsMutex);
        const auto found = itsEntries.find(inHash);
        if (found != itsEntries.end())
        {
            future = found->second;
            Touch(inHash);
        }
        else
        {
            itsEntries.emplace(inHash, reading.get_future().share());
            Touch(inHash);
            ++itsFetchCount;
        }
    }
    if (future.valid())
    {
        return future.get(); // read (or being read) by another thread
    }
    try
    {
        XMemoryStream stream(XRedisSharedDataStore::Fetch(ioConnection, inHash));
        std::unique_ptr<XNetJobSharedData> data = stream.ReadObjectAs<XNetJobSharedData>();
        if (!data)
        {
            throw XException(XException::kMalformedStream,
                             "shared data " + inHash + " reads as null");
        }
        XData shared(std::move(data));
        reading.set_value(shared);
        return shared;
    }
    catch (...)
    {
        reading.set_exception(std::current_exception());
        Forget(inHash);
        throw;
    }
}

std::size_t XRedisSharedDataCache::GetFetchCount() const
{
    const std::lock_guard lock(itsMutex);
    return itsFetchCount;
}

void XRedisSharedDataCache::Touch(const std::string& inHash)
{
    itsRecent.remove(inHash);
    itsRecent.push_front(inHash);
    while (itsRecent.size() > itsCapacity)
    {
        itsEntries.erase(itsRecent.back()); // jobs still running hold their own reference
        itsRecent.pop_back();
    }
}
