#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

class XBaseRenderer;

// What the host asks a strategy to render: the range of planes of the volume in view.
struct XRendererRequest
{
    std::uint32_t lower = 0;
    std::uint32_t upper = 0;
};

// A kind of renderer that a module offers the host: its kind and name, whether it can render a
// request, and a factory for the renderer itself.
class XRendererStrategy
{
public:
    virtual ~XRendererStrategy() = default;

    virtual std::int32_t GetRendererKind() const = 0;
    virtual std::string GetName() const = 0;
    // A line of help for lists of renderers; the host's default is empty.
    virtual std::string GetDescription() const;
    // Whether the renderer draws into the host's interactive view; the host's default is false.
    virtual bool IsInteractive() const;
    // A renderer for the scene file. Throws XException naming the file and what is wrong.
    virtual std::unique_ptr<XBaseRenderer>
    CreateRenderer(const std::filesystem::path& inSceneFile) const = 0;
    virtual bool CanRender(const XRendererRequest& inRequest) const = 0;

protected:
    XRendererStrategy() = default;
};
