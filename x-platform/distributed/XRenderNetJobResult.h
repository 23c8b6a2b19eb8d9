#pragma once

#include "host/core/XNetJobResult.h"

#include <cstdint>
#include <memory>

class XFilm;

// The rendered tile of one render job, sent back to the machine that submitted the job.
//
// Stored form: the result base part, the version record 14901, the film as an object, then
// frame id, pass, offset and step (uint32 each; offset before step, unlike the job).
class XRenderNetJobResult final : public XNetJobResult
{
public:
    static constexpr std::uint32_t kClassID = 14901;

    // No film, frame id 0, pass 1, offset 0, step 1: the state that Read fills.
    XRenderNetJobResult();
    XRenderNetJobResult(std::unique_ptr<XFilm> inFilm, std::uint32_t inFrameID,
                        std::uint32_t inPass, std::uint32_t inOffset, std::uint32_t inStep);
    // Clones the film.
    XRenderNetJobResult(const XRenderNetJobResult& inResult);
    ~XRenderNetJobResult() override;

    const XFilm* GetFilm() const { return itsFilm.get(); }
    std::uint32_t GetFrameID() const { return itsFrameID; }
    std::uint32_t GetPass() const { return itsPass; }
    std::uint32_t GetOffset() const { return itsOffset; }
    std::uint32_t GetStep() const { return itsStep; }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    // The film's estimate plus 32.
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Reads the tile film of a job or result: a missing film, or an object of another class,
    // reports "itsFilm" and throws XException (malformed stream).
    static std::unique_ptr<XFilm> ReadTileFilm(XStream& inStream);

private:
    std::unique_ptr<XFilm> itsFilm;
    std::uint32_t itsFrameID = 0;
    std::uint32_t itsPass = 1;
    std::uint32_t itsOffset = 0;
    std::uint32_t itsStep = 1;
};
