#pragma once

#include <filesystem>
#include <memory>

class XBaseRenderer;
class XModuleLibrary;
class XRendererStrategy;

// The program's side of the module: loads the module library, collects the renderers it offers
// and picks the ray tracer by name. Everything made by the module is let go before the library
// is unloaded.
class XRendererHost
{
public:
    static constexpr const char* kRendererName = "3D Ray Tracer";

    // inLibrary empty: the library found by XModuleLibrary::FindLibrary. Throws XException
    // (kIOError) when the library cannot be loaded or offers no "3D Ray Tracer".
    explicit XRendererHost(const std::filesystem::path& inLibrary);
    ~XRendererHost();
    XRendererHost(const XRendererHost&) = delete;
    XRendererHost& operator=(const XRendererHost&) = delete;

    // A renderer for the scene file; it must be gone before the host is.
    std::unique_ptr<XBaseRenderer> CreateRenderer(const std::filesystem::path& inSceneFile) const;

private:
    std::unique_ptr<XModuleLibrary> itsLibrary;
    const XRendererStrategy* itsStrategy = nullptr;
};
