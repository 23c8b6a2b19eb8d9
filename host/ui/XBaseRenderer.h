#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class XARGB32Volume;
class XNetJobQueueBackend;

// What the host asks of a renderer that a renderer strategy created: the frame's size and
// sampling, one frame at a time, and the pictures of the last frame.
class XBaseRenderer
{
public:
    virtual ~XBaseRenderer() = default;

    virtual std::uint32_t GetWidth() const = 0;
    virtual std::uint32_t GetHeight() const = 0;
    // Throws XException naming the value for a size the renderer cannot render.
    virtual void SetResolution(std::uint32_t inWidth, std::uint32_t inHeight) = 0;
    virtual void SetSamplesPerPixelSide(std::uint32_t inSamples) = 0;

    // Renders one frame on the calling thread's behalf and returns when it is complete. The jobs
    // run on inBackend (null: a pool of worker threads on this machine, one per core). A
    // cancellation of the calling thread (XThread::TestCancelCurrentThread) cancels the frame
    // promptly and throws XThreadCancelled; other failures throw XException.
    virtual void RenderFrame(std::unique_ptr<XNetJobQueueBackend> inBackend) = 0;
    // Tiles of the last frame that failed to render, one line each ("tile (x, y) pass p: why");
    // empty when the frame is complete.
    virtual std::vector<std::string> GetFrameFailures() const = 0;
    // The last frame as 8-bit ARGB, or null before the first frame; the caller owns the copy.
    virtual std::unique_ptr<XARGB32Volume> GetFrameBufferCopy() const = 0;
    // Writes the last frame: an 8-bit RGB PNG, and a floating-point OpenEXR picture unless
    // inExrPath is empty. Throws XException (code kIOError) naming a file that cannot be written.
    virtual void WriteFrame(const std::filesystem::path& inPngPath,
                            const std::filesystem::path& inExrPath) const = 0;

protected:
    XBaseRenderer() = default;
};
