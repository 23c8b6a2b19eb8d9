#pragma once

#include "host/core/XNetJob.h"
#include "x-platform/core/XRenderOptions.h"

#include <cstdint>
#include <memory>
#include <string>

class XFilm;

// One tile of one refinement pass of a frame: wherever it runs, it takes the frame's scene from
// the shared data it registered, renders the tile's columns of its pass (left + offset, then in
// steps of step) into its tile film and stores a clone of that film as an XRenderNetJobResult.
//
// Stored form: the job base part, the version record 14900, the four flags of the render
// options (one byte each), its four words (uint32 each; transmission is not written, so a job
// read from a stream renders without it), the shared-data id, the tile film as an object, then
// frame id, pass, step and offset (uint32 each).
class XRenderNetJob final : public XNetJob
{
public:
    static constexpr std::uint32_t kClassID = 14900;

    // Default options and no film: the state that Read fills.
    XRenderNetJob();
    // Registers the shared-data id with the job.
    XRenderNetJob(std::uint32_t inSharedDataID, const XRenderOptions& inOptions,
                  std::unique_ptr<XFilm> inTileFilm, std::uint32_t inFrameID, std::uint32_t inPass,
                  std::uint32_t inStep, std::uint32_t inOffset);
    // Clones the tile film.
    XRenderNetJob(const XRenderNetJob& inJob);
    ~XRenderNetJob() override;

    std::string GetJobName() const override { return "Render Net Job"; }

    std::uint32_t GetSharedDataID() const { return itsSharedDataID; }
    const XRenderOptions& GetRenderOptions() const { return itsOptions; }
    const XFilm* GetTileFilm() const { return itsTileFilm.get(); }
    std::uint32_t GetFrameID() const { return itsFrameID; }
    std::uint32_t GetPass() const { return itsPass; }
    std::uint32_t GetStep() const { return itsStep; }
    std::uint32_t GetOffset() const { return itsOffset; }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    // The film's estimate plus 252.
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    // Renders the tile (see the class comment). Reports "data" and stores nothing when the
    // shared data is missing or of another kind; reports "itsFilm" without a tile film.
    void Run() override;

private:
    std::uint32_t itsSharedDataID = 0;
    XRenderOptions itsOptions;
    std::unique_ptr<XFilm> itsTileFilm;
    std::uint32_t itsFrameID = 0;
    std::uint32_t itsPass = 1;
    std::uint32_t itsStep = 1;
    std::uint32_t itsOffset = 0;
};
