#include "x-platform/distributed/XRenderNetJobResult.h"

#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "x-platform/image/XFilm.h"

#include <string>
#include <utility>

X_SOURCE_NAME("x-platform/XRenderNetJobResult");

XRenderNetJobResult::XRenderNetJobResult() = default;

XRenderNetJobResult::XRenderNetJobResult(std::unique_ptr<XFilm> inFilm, std::uint32_t inFrameID,
                                         std::uint32_t inPass, std::uint32_t inOffset,
                                         std::uint32_t inStep)
    : itsFilm(std::move(inFilm)), itsFrameID(inFrameID), itsPass(inPass), itsOffset(inOffset),
      itsStep(inStep)
{
}

XRenderNetJobResult::XRenderNetJobResult(const XRenderNetJobResult& inResult)
    : XNetJobResult(inResult), itsFilm(inResult.itsFilm ? XClone(*inResult.itsFilm) : nullptr),
      itsFrameID(inResult.itsFrameID), itsPass(inResult.itsPass), itsOffset(inResult.itsOffset),
      itsStep(inResult.itsStep)
{
}

XRenderNetJobResult::~XRenderNetJobResult() = default;

std::unique_ptr<XStorable> XRenderNetJobResult::Clone() const
{
    return std::make_unique<XRenderNetJobResult>(*this);
}

std::uint64_t XRenderNetJobResult::GetStreamSize() const
{
    return (itsFilm ? itsFilm->GetStreamSize() : 0) + 32;
}

void XRenderNetJobResult::Read(XStream& inStream)
{
    XNetJobResult::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsFilm = ReadTileFilm(inStream);
    itsFrameID = inStream.Read32();
    itsPass = inStream.Read32();
    itsOffset = inStream.Read32();
    itsStep = inStream.Read32();
}

void XRenderNetJobResult::Write(XStream& outStream) const
{
    XNetJobResult::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteObject(itsFilm.get());
    outStream.Write32(itsFrameID);
    outStream.Write32(itsPass);
    outStream.Write32(itsOffset);
    outStream.Write32(itsStep);
}

std::unique_ptr<XFilm> XRenderNetJobResult::ReadTileFilm(XStream& inStream)
{
    const std::uint64_t position = inStream.GetPosition();
    std::unique_ptr<XStorable> object = inStream.ReadObject();
    std::unique_ptr<XFilm> itsFilm(dynamic_cast<XFilm*>(object.get()));
    if (itsFilm)
    {
        object.release();
    }
    X_ASSERT(itsFilm);
    if (!itsFilm)
    {
        throw XException(XException::kMalformedStream,
                         "a render job or result without a tile film at byte " +
                             std::to_string(position));
    }
    return itsFilm;
}
