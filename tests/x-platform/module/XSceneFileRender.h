#pragma once

#include "host/imaging/XARGB32Volume.h"
#include "tests/apps/XScratchFolder.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/module/XRayTracerRenderer.h"
#include "x-platform/module/XVolumeRayTracerTool.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

// Renders the renderer's prepared scene on inThreads threads into the 32-bit frame that the
// command writes as a PNG (raster row 0, the bottom of the view, first).
inline std::unique_ptr<XARGB32Volume> XRenderPicture(XRayTracerRenderer& ioRenderer,
                                                     std::uint32_t inThreads = 1)
{
    const std::unique_ptr<XFilm> film = ioRenderer.CreateFilm();
    XVolumeRayTracerTool::RenderFilm(ioRenderer.GetScene(), ioRenderer.GetRenderOptions(), *film,
                                     inThreads);
    float statistic = 0.0f;
    return film->ConvertToImage(statistic)->ConvertToARGB32();
}

// Writes the scene file inName into the folder and returns its path.
inline std::filesystem::path XWriteScene(const XScratchFolder& inFolder, const std::string& inName,
                                         const nlohmann::json& inScene)
{
    const std::filesystem::path path = inFolder / inName;
    XWriteWholeFile(path, inScene.dump(2));
    return path;
}
