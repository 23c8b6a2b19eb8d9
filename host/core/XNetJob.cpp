#include "host/core/XNetJob.h"

#include "host/core/XException.h"
#include "host/core/XNetJobContext.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"

#include <algorithm>

namespace
{
// Forgets the context when a run ends, normally or by an exception.
class XContextReset
{
public:
    explicit XContextReset(const XNetJobContext*& ioContext) : itsContext(ioContext) {}
    ~XContextReset() { itsContext = nullptr; }
    XContextReset(const XContextReset&) = delete;
    XContextReset& operator=(const XContextReset&) = delete;

private:
    const XNetJobContext*& itsContext;
};
} // namespace

XNetJob::XNetJob() = default;

XNetJob::XNetJob(const XNetJob& inJob)
    : XStorable(inJob), itsSharedDataIDs(inJob.itsSharedDataIDs),
      itsSharedDataFlags(inJob.itsSharedDataFlags)
{
}

XNetJob::~XNetJob() = default;

void XNetJob::RegisterSharedData(std::uint32_t inSharedDataID, std::uint32_t inFlags)
{
    if (std::find(itsSharedDataIDs.begin(), itsSharedDataIDs.end(), inSharedDataID) !=
        itsSharedDataIDs.end())
    {
        return; // the first registration and its flags stand
    }
    itsSharedDataIDs.push_back(inSharedDataID);
    itsSharedDataFlags.push_back(inFlags);
}

void XNetJob::Execute(const XNetJobContext& inContext)
{
    itsContext = &inContext;
    const XContextReset reset(itsContext);
    Run();
}

std::unique_ptr<XNetJobResult> XNetJob::TakeJobResult()
{
    return std::move(itsResult);
}

std::unique_ptr<XNetJobSharedData> XNetJob::GetSharedDataCopy(std::uint32_t inID) const
{
    if (itsContext == nullptr ||
        std::find(itsSharedDataIDs.begin(), itsSharedDataIDs.end(), inID) == itsSharedDataIDs.end())
    {
        return nullptr;
    }
    return itsContext->CopySharedData(inID);
}

void XNetJob::StoreJobResult(std::unique_ptr<XNetJobResult> inResult)
{
    itsResult = std::move(inResult);
}

std::uint64_t XNetJob::GetStreamSize() const
{
    return 8 + 4 + 8 * std::uint64_t(itsSharedDataIDs.size());
}

void XNetJob::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kBaseClassID);
    const std::uint64_t position = inStream.GetPosition();
    const std::uint32_t count = inStream.ReadCount(8);
    if (count > kMaxSharedData)
    {
        throw XException(XException::kMalformedStream, "malformed stream: job at byte " +
                                                           std::to_string(position) +
                                                           " registers " + std::to_string(count) +
                                                           " shared data, more than the limit of " +
                                                           std::to_string(kMaxSharedData));
    }
    std::vector<std::uint32_t> ids;
    std::vector<std::uint32_t> flags;
    ids.reserve(count);
    flags.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        const std::uint32_t id = inStream.Read32();
        const std::uint32_t flag = inStream.Read32();
        if (std::find(ids.begin(), ids.end(), id) == ids.end())
        {
            ids.push_back(id);
            flags.push_back(flag);
        }
    }
    itsSharedDataIDs = std::move(ids);
    itsSharedDataFlags = std::move(flags);
}

void XNetJob::Write(XStream& outStream) const
{
    outStream.WriteVersion(kBaseClassID);
    outStream.Write32(static_cast<std::uint32_t>(itsSharedDataIDs.size()));
    for (std::size_t index = 0; index < itsSharedDataIDs.size(); ++index)
    {
        outStream.Write32(itsSharedDataIDs[index]);
        outStream.Write32(itsSharedDataFlags[index]);
    }
}
