#include "host/net/XRedisOutbox.h"

#include "host/net/XRedisConnection.h"
#include "host/net/XRedisError.h"
#include "host/net/XRedisKeys.h"
#include "host/net/XRedisSharedDataStore.h"

namespace
{
// Shared data no frame of this client uses any more stays this long for other clients.
constexpr std::chrono::seconds kKeepReleased{600};
} // namespace

std::vector<std::string> XRedisOutbox::Send(XRedisConnection& ioConnection,
                                            const std::string& inClientName) const
{
    for (const XJob& job : itsJobs)
    {
        ioConnection.Append({"XADD", XRedisKeys::kJobs, "*", XRedisKeys::kClientField, inClientName,
                             XRedisKeys::kJobField, std::to_string(job.jobID),
                             XRedisKeys::kDataField, job.dataHashes, XRedisKeys::kBodyField,
                             job.body});
    }
    int deletions = 0;
    for (const auto& [key, entries] :
         {std::pair{std::string(XRedisKeys::kJobs), &itsEntriesToDrop},
          std::pair{XRedisKeys::Results(inClientName), &itsResultsToDrop}})
    {
        if (!entries->empty())
        {
            XRedisConnection::XArguments drop{"XDEL", key};
            drop.insert(drop.end(), entries->begin(), entries->end());
            ioConnection.Append(drop);
            ++deletions;
        }
    }

    std::vector<std::string> entryIDs;
    std::string refused;
    for (std::size_t index = 0; index < itsJobs.size(); ++index)
    {
        const auto reply = ioConnection.TakeReply();
        if (XRedisConnection::IsError(reply.get()))
        {
            refused = XRedisConnection::Text(reply.get());
        }
        entryIDs.emplace_back(XRedisConnection::Text(reply.get()));
    }
    for (int index = 0; index < deletions; ++index)
    {
        (void)ioConnection.TakeReply();
    }
    for (const std::string& hash : itsHashesToExpire)
    {
        XRedisSharedDataStore::Expire(ioConnection, hash, kKeepReleased);
    }
    if (!refused.empty())
    {
        // Treated as a lost server: no job of this client can reach the farm.
        throw XRedisError("the Redis server at " + ioConnection.GetAddress().Describe() +
                              " refused a job: " + refused,
                          true);
    }
    return entryIDs;
}
