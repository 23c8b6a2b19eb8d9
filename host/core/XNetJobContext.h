#pragma once

#include <cstdint>
#include <memory>

class XNetJobSharedData;

// Where a running job finds the shared data it registered: given by the queue backend that runs
// the job, for the time of one run.
class XNetJobContext
{
public:
    // A copy (Clone) of the shared data attached under inID, owned by the caller, or null when
    // the backend has none under that id. Safe to call from any worker thread.
    virtual std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t inID) const = 0;

protected:
    ~XNetJobContext() = default;
};
