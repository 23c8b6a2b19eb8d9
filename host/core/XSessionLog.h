#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

// The session log: timestamped entries that a user can read after a render ("Frame took 0.42
// seconds", internal-error reports). One log per process; an optional sink echoes new entries.
class XSessionLogManager
{
public:
    struct XEntry
    {
        std::int64_t timeMicroseconds; // GetMicroSecondTime() when the entry was added
        std::string text;
    };

    static XSessionLogManager& GetManager();

    void AddEntry(const std::string& inText, std::int64_t inTimeMicroseconds);
    void AddEntry(const std::string& inText);

    std::vector<XEntry> GetEntries() const;
    void Clear();

    // Called with every new entry, outside the log's lock; an empty function removes the sink.
    using XSink = std::function<void(const XEntry&)>;
    void SetSink(XSink inSink);

private:
    XSessionLogManager() = default;

    mutable std::mutex itsMutex;
    std::vector<XEntry> itsEntries;
    XSink itsSink;
};
