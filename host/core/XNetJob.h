#pragma once

#include "host/core/XStorable.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class XNetJobContext;
class XNetJobResult;
class XNetJobSharedData;

// A unit of work for a job queue: it may run on this machine or, written to a stream and read
// back there, on another. A job names the shared data it needs (RegisterSharedData), reads
// copies of it while it runs, and stores one result.
//
// Stored form of this base part, written first by every derived class: the version record of
// the base (class id 1200), the number of registered shared data (uint32), then for each its id
// and its flags (uint32 each).
class XNetJob : public XStorable
{
public:
    static constexpr std::uint32_t kBaseClassID = 1200;
    // More registrations than this in a stream are refused as malformed.
    static constexpr std::uint32_t kMaxSharedData = 1024;

    ~XNetJob() override;

    // The job's name, for progress and logs.
    virtual std::string GetJobName() const = 0;

    // The shared data this job needs, in registration order (an id registered twice counts once).
    void RegisterSharedData(std::uint32_t inSharedDataID, std::uint32_t inFlags = 0);
    const std::vector<std::uint32_t>& GetSharedDataIDs() const { return itsSharedDataIDs; }

    // Runs the job once (called by queue backends, on a worker thread): the context answers
    // GetSharedDataCopy during the run. Exceptions from the job pass through, XThreadCancelled
    // included; the context is forgotten either way.
    void Execute(const XNetJobContext& inContext);
    // The result stored by the last run, or null; the caller owns it.
    std::unique_ptr<XNetJobResult> TakeJobResult();

    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    XNetJob();
    // Copies the registrations; not the context or a stored result.
    XNetJob(const XNetJob& inJob);
    XNetJob& operator=(const XNetJob&) = delete;

    // The work itself.
    virtual void Run() = 0;

    // During a run: a copy of the shared data registered under inID, owned by the caller. Null
    // when the job did not register the id, the backend does not have it, or outside a run.
    std::unique_ptr<XNetJobSharedData> GetSharedDataCopy(std::uint32_t inID) const;
    // Keeps the result for the backend; a second call replaces the first result.
    void StoreJobResult(std::unique_ptr<XNetJobResult> inResult);

private:
    std::vector<std::uint32_t> itsSharedDataIDs;
    std::vector<std::uint32_t> itsSharedDataFlags;
    const XNetJobContext* itsContext = nullptr;
    std::unique_ptr<XNetJobResult> itsResult;
};
