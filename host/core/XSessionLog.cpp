#include "host/core/XSessionLog.h"

#include "host/core/XTime.h"

XSessionLogManager& XSessionLogManager::GetManager()
{
    static XSessionLogManager manager;
    return manager;
}

void XSessionLogManager::AddEntry(const std::string& inText)
{
    AddEntry(inText, GetMicroSecondTime());
}

void XSessionLogManager::AddEntry(const std::string& inText, std::int64_t inTimeMicroseconds)
{
    XEntry entry{inTimeMicroseconds, inText};
    XSink sink;
    {
        const std::lock_guard lock(itsMutex);
        itsEntries.push_back(entry);
        sink = itsSink;
    }
    if (sink)
    {
        sink(entry);
    }
}

std::vector<XSessionLogManager::XEntry> XSessionLogManager::GetEntries() const
{
    const std::lock_guard lock(itsMutex);
    return itsEntries;
}

void XSessionLogManager::Clear()
{
    const std::lock_guard lock(itsMutex);
    itsEntries.clear();
}

void XSessionLogManager::SetSink(XSink inSink)
{
    const std::lock_guard lock(itsMutex);
    itsSink = std::move(inSink);
}
