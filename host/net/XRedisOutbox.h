#pragma once

#include <cstdint>
#include <string>
#include <vector>

class XRedisConnection;

// What a farm client sends in one go: new jobs for the job stream, job entries to delete
// (answered or cancelled), its handled result entries, and shared data to let go. Collected under
// the client's lock, sent without it, pipelined in one round trip.
class XRedisOutbox
{
public:
    struct XJob
    {
        std::uint32_t jobID = 0;
        std::string dataHashes; // the entry's data field
        std::string body;
    };

    std::vector<XJob> itsJobs;
    std::vector<std::string> itsEntriesToDrop;
    std::vector<std::string> itsResultsToDrop;
    std::vector<std::string> itsHashesToExpire;

    bool IsEmpty() const
    {
        return itsJobs.empty() && itsEntriesToDrop.empty() && itsResultsToDrop.empty() &&
               itsHashesToExpire.empty();
    }

    // Sends everything for the client inClientName and returns the new jobs' entry ids, in
    // order. Throws XRedisError when the server is gone or refuses a job.
    std::vector<std::string> Send(XRedisConnection& ioConnection,
                                  const std::string& inClientName) const;
};
