#include "x-platform/distributed/XRenderNetJob.h"

#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "x-platform/distributed/XRayTracerNetJobSharedData.h"
#include "x-platform/distributed/XRenderNetJobResult.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/rendering/XTracer.h"

#include <utility>

X_SOURCE_NAME("x-platform/XRenderNetJob");

XRenderNetJob::XRenderNetJob() = default;

XRenderNetJob::XRenderNetJob(std::uint32_t inSharedDataID, const XRenderOptions& inOptions,
                             std::unique_ptr<XFilm> inTileFilm, std::uint32_t inFrameID,
                             std::uint32_t inPass, std::uint32_t inStep, std::uint32_t inOffset)
    : itsSharedDataID(inSharedDataID), itsOptions(inOptions), itsTileFilm(std::move(inTileFilm)),
      itsFrameID(inFrameID), itsPass(inPass), itsStep(inStep), itsOffset(inOffset)
{
    RegisterSharedData(inSharedDataID, 0);
}

XRenderNetJob::XRenderNetJob(const XRenderNetJob& inJob)
    : XNetJob(inJob), itsSharedDataID(inJob.itsSharedDataID), itsOptions(inJob.itsOptions),
      itsTileFilm(inJob.itsTileFilm ? XClone(*inJob.itsTileFilm) : nullptr),
      itsFrameID(inJob.itsFrameID), itsPass(inJob.itsPass), itsStep(inJob.itsStep),
      itsOffset(inJob.itsOffset)
{
}

XRenderNetJob::~XRenderNetJob() = default;

std::unique_ptr<XStorable> XRenderNetJob::Clone() const
{
    return std::make_unique<XRenderNetJob>(*this);
}

std::uint64_t XRenderNetJob::GetStreamSize() const
{
    return (itsTileFilm ? itsTileFilm->GetStreamSize() : 0) + 252;
}

void XRenderNetJob::Read(XStream& inStream)
{
    XNetJob::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsOptions.Read(inStream);
    itsSharedDataID = inStream.Read32();
    itsTileFilm = XRenderNetJobResult::ReadTileFilm(inStream);
    itsFrameID = inStream.Read32();
    itsPass = inStream.Read32();
    itsStep = inStream.Read32();
    itsOffset = inStream.Read32();
}

void XRenderNetJob::Write(XStream& outStream) const
{
    XNetJob::Write(outStream);
    outStream.WriteVersion(kClassID);
    itsOptions.Write(outStream);
    outStream.Write32(itsSharedDataID);
    outStream.WriteObject(itsTileFilm.get());
    outStream.Write32(itsFrameID);
    outStream.Write32(itsPass);
    outStream.Write32(itsStep);
    outStream.Write32(itsOffset);
}

void XRenderNetJob::Run()
{
    X_ASSERT(itsTileFilm);
    if (!itsTileFilm)
    {
        return;
    }
    XTracer tracer(itsOptions);
    const std::unique_ptr<XNetJobSharedData> copy = GetSharedDataCopy(itsSharedDataID);
    const auto* data = dynamic_cast<const XRayTracerNetJobSharedData*>(copy.get());
    X_ASSERT(data);
    if (data == nullptr)
    {
        return;
    }
    tracer.SetScene(data->GetScene());
    // The region loop selects the columns left + offset, left + offset + step, ... of the tile.
    tracer.RenderRegion(*itsTileFilm, static_cast<std::int32_t>(itsOffset), itsStep);
    StoreJobResult(std::make_unique<XRenderNetJobResult>(XClone(*itsTileFilm), itsFrameID, itsPass,
                                                         itsOffset, itsStep));
}
