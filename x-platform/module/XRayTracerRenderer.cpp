#include "x-platform/module/XRayTracerRenderer.h"

#include "host/core/XException.h"
#include "host/core/XMutexLock.h"
#include "host/core/XNetJobQueueBackend.h"
#include "host/core/XThreadCancelled.h"
#include "host/imaging/XARGB32Volume.h"
#include "x-platform/geometry/XCone.h"
#include "x-platform/geometry/XCylinder.h"
#include "x-platform/geometry/XDisk.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/image/XBoxFilter.h"
#include "x-platform/image/XExrWriter.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XGaussianFilter.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/image/XPngWriter.h"
#include "x-platform/image/XTriangleFilter.h"
#include "x-platform/module/XSceneJson.h"
#include "x-platform/module/XSceneVolume.h"
#include "x-platform/module/XSpotTable.h"
#include "x-platform/module/XVolumeRayTracerTool.h"
#include "x-platform/shading/XCheckeredTexture.h"
#include "x-platform/shading/XGlassMaterial.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XPlasticMaterial.h"
#include "x-platform/shading/XPointLight.h"
#include "x-platform/shading/XRGBSolidTexture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <sstream>

namespace
{
using XMatrix = XMatrix_4x4<float>;

// A surface of the scene file before render units are applied.
struct XSurfaceEntry
{
    std::vector<XRef<XGeometry>> geometries;
    XMatrix objectToWorld;
    XRef<XMaterial> material;
    bool enabled = true;
};
} // namespace

// Reads one scene file into the renderer. Everything is checked before anything is built, so
// that a bad file builds nothing.
class XRayTracerRenderer::XBuilder
{
public:
    XBuilder(XRayTracerRenderer& inRenderer, const std::filesystem::path& inSceneFile)
        : itsRenderer(inRenderer), itsFolder(inSceneFile.parent_path()),
          itsFileName(inSceneFile.string())
    {
        std::ifstream in(inSceneFile, std::ios::binary);
        if (!in)
        {
            throw XException(XException::kIOError, itsFileName + ": cannot open the scene file");
        }
        std::stringstream text;
        text << in.rdbuf();
        try
        {
            itsJson = nlohmann::json::parse(text.str());
        }
        // A syntax error, or a number too large for a double (an out_of_range error).
        catch (const nlohmann::json::exception& error)
        {
            throw XException(XException::kInvalidArgument,
                             itsFileName + ": not a valid JSON file (" + error.what() + ")");
        }
    }

    void Build()
    {
        const XSceneJson root(itsJson, "", itsFileName);
        root.CheckKeys({"image", "camera", "background", "ambient", "render", "filter", "lights",
                        "surfaces", "spots", "volume", "renderScale"});
        ReadImage(root);
        ReadRenderOptions(root);
        ReadFilter(root);
        const XCamera camera = ReadCamera(root);
        const XRGBSpectrum background =
            root.Has("background") ? root["background"].GetColour() : XRGBSpectrum();
        const float ambient = root.GetFloat("ambient", 0.2f, 0.0, 1.0);
        ReadLights(root);
        ReadSurfaces(root);
        ReadSpots(root);
        std::unique_ptr<XSceneVolume> volume;
        if (root.Has("volume"))
        {
            volume = std::make_unique<XSceneVolume>(root["volume"], itsFolder);
        }
        const float scale = ReadRenderScale(root, camera, volume.get());
        itsRenderer.itsRenderScale = scale;
        const XCamera scaledCamera = ScaleCamera(root, camera, scale);

        auto scene = std::make_unique<X3DScene>();
        {
            XMutexLock lock(scene->GetMutex());
            scene->SetCamera(scaledCamera);
            scene->SetBackground(background);
            scene->SetAmbientFraction(ambient);
            std::vector<std::unique_ptr<XLight>> lights;
            for (const auto& [position, intensity] : itsLights)
            {
                lights.push_back(std::make_unique<XPointLight>(
                    XMatrix::Translation(position.x * scale, position.y * scale,
                                         position.z * scale),
                    intensity));
            }
            scene->SetLights(std::move(lights));
            const XMatrix scaling = XMatrix::Scale(scale, scale, scale);
            for (XSurfaceEntry& entry : itsSurfaces)
            {
                auto surface = std::make_unique<XSurface>();
                surface->SetGeometries(std::move(entry.geometries));
                surface->SetMaterial(entry.material);
                surface->SetEnabled(entry.enabled);
                surface->SetTransform(scaling * entry.objectToWorld);
                scene->EditSurfaces().push_back(std::move(surface));
            }
            if (volume)
            {
                scene->SetVolumetric(volume->CreateVolumetric(scale));
            }
        }
        scene->Prepare();
        itsRenderer.itsScene = XSharedHandle<X3DScene>(std::move(scene));
    }

private:
    void ReadImage(const XSceneJson& inRoot)
    {
        if (!inRoot.Has("image"))
        {
            return;
        }
        const XSceneJson image = inRoot["image"];
        image.CheckKeys({"width", "height"});
        if (image.Has("width"))
        {
            itsRenderer.itsWidth = image["width"].GetUnsigned(kMinimumFilmSide, kMaximumFilmSide);
        }
        if (image.Has("height"))
        {
            itsRenderer.itsHeight = image["height"].GetUnsigned(kMinimumFilmSide, kMaximumFilmSide);
        }
    }

    void ReadRenderOptions(const XSceneJson& inRoot)
    {
        if (!inRoot.Has("render"))
        {
            return;
        }
        const XSceneJson render = inRoot["render"];
        render.CheckKeys({"samplesPerPixelSide", "maxDepth", "reflections", "transmission"});
        XRenderOptions& options = itsRenderer.itsOptions;
        if (render.Has("samplesPerPixelSide"))
        {
            options.samplesPerPixelSide = render["samplesPerPixelSide"].GetUnsigned(1, 64);
        }
        if (render.Has("maxDepth"))
        {
            options.maxDepth = render["maxDepth"].GetUnsigned(0, 64);
        }
        options.reflections = render.GetBool("reflections", options.reflections);
        options.transmission = render.GetBool("transmission", options.transmission);
    }

    void ReadFilter(const XSceneJson& inRoot)
    {
        if (!inRoot.Has("filter"))
        {
            itsRenderer.itsFilter = std::make_unique<XGaussianFilter>(16.0f, 16.0f, 1.5625f);
            return;
        }
        const XSceneJson filter = inRoot["filter"];
        filter.CheckKeys({"type", "width", "height", "alpha"});
        const std::string type = filter["type"].GetString();
        const float width = filter.GetFloat("width", 16.0f, 1.0, 256.0);
        const float height = filter.GetFloat("height", 16.0f, 1.0, 256.0);
        if (type != "gaussian" && filter.Has("alpha"))
        {
            filter["alpha"].Fail("only a Gaussian filter has an alpha");
        }
        if (type == "box")
        {
            itsRenderer.itsFilter = std::make_unique<XBoxFilter>(width, height);
        }
        else if (type == "triangle")
        {
            itsRenderer.itsFilter = std::make_unique<XTriangleFilter>(width, height);
        }
        else if (type == "gaussian")
        {
            itsRenderer.itsFilter = std::make_unique<XGaussianFilter>(
                width, height, filter.GetFloat("alpha", 1.5625f, 0.0, 1e6));
        }
        else
        {
            filter["type"].Fail("expected \"box\", \"triangle\" or \"gaussian\", found \"" + type +
                                "\"");
        }
    }

    XCamera ReadCamera(const XSceneJson& inRoot) const
    {
        if (!inRoot.Has("camera"))
        {
            return XCamera();
        }
        const XSceneJson camera = inRoot["camera"];
        camera.CheckKeys({"position", "lookAt", "up"});
        const XCamera defaults;
        const XMathVectorF3 position =
            camera.Has("position") ? camera["position"].GetVector() : defaults.GetPosition();
        const XMathVectorF3 lookAt =
            camera.Has("lookAt") ? camera["lookAt"].GetVector() : defaults.GetLookAt();
        const XMathVectorF3 up = camera.Has("up") ? camera["up"].GetVector() : defaults.GetUp();
        try
        {
            return XCamera(position, lookAt, up);
        }
        catch (const XException&)
        {
            camera.Fail("the position, the point looked at and the up vector give no view "
                        "(the position equals the point looked at, or up is zero or parallel "
                        "to the view)");
        }
    }

    // The camera in render units. A render scale so small (or large) that the position and the
    // point looked at coincide (or leave the float range) leaves no view.
    static XCamera ScaleCamera(const XSceneJson& inRoot, const XCamera& inCamera, float inScale)
    {
        try
        {
            return XCamera(inCamera.GetPosition() * inScale, inCamera.GetLookAt() * inScale,
                           inCamera.GetUp());
        }
        catch (const XException&)
        {
            char text[32];
            std::snprintf(text, sizeof text, "%.9g", static_cast<double>(inScale));
            const std::string what = std::string("the render scale ") + text +
                                     " leaves the camera no view in render units";
            if (inRoot.Has("renderScale"))
            {
                inRoot["renderScale"].Fail(what);
            }
            inRoot.Fail(what);
        }
    }

    void ReadLights(const XSceneJson& inRoot)
    {
        if (!inRoot.Has("lights"))
        {
            return;
        }
        const XSceneJson lights = inRoot["lights"];
        for (std::size_t i = 0, n = lights.ExpectArray(); i < n; ++i)
        {
            const XSceneJson light = lights[i];
            light.CheckKeys({"position", "intensity"});
            itsLights.emplace_back(light["position"].GetVector(), light["intensity"].GetColour());
        }
    }

    void ReadSurfaces(const XSceneJson& inRoot)
    {
        if (!inRoot.Has("surfaces"))
        {
            return;
        }
        const XSceneJson surfaces = inRoot["surfaces"];
        for (std::size_t i = 0, n = surfaces.ExpectArray(); i < n; ++i)
        {
            const XSceneJson surface = surfaces[i];
            surface.CheckKeys({"geometry", "geometries", "transform", "material", "enabled"});
            XSurfaceEntry entry;
            if (surface.Has("geometry") == surface.Has("geometries"))
            {
                surface.Fail("needs exactly one of \"geometry\" and \"geometries\"");
            }
            if (surface.Has("geometry"))
            {
                entry.geometries.push_back(ReadGeometry(surface["geometry"]));
            }
            else
            {
                const XSceneJson geometries = surface["geometries"];
                for (std::size_t g = 0, count = geometries.ExpectArray(); g < count; ++g)
                {
                    entry.geometries.push_back(ReadGeometry(geometries[g]));
                }
            }
            entry.objectToWorld =
                surface.Has("transform") ? ReadTransform(surface["transform"]) : XMatrix();
            entry.material = ReadMaterial(surface, "material");
            entry.enabled = surface.GetBool("enabled", true);
            itsSurfaces.push_back(std::move(entry));
        }
    }

    void ReadSpots(const XSceneJson& inRoot)
    {
        if (!inRoot.Has("spots"))
        {
            return;
        }
        const XSceneJson sets = inRoot["spots"];
        for (std::size_t i = 0, n = sets.ExpectArray(); i < n; ++i)
        {
            const XSceneJson set = sets[i];
            set.CheckKeys({"file", "radius", "material", "columns"});
            const double radius = set.Has("radius") ? set["radius"].GetNumber(1e-30, 1e30) : 0.0;
            XSpotTable::XColumns columns;
            if (set.Has("columns"))
            {
                const XSceneJson names = set["columns"];
                names.CheckKeys({"x", "y", "z", "radius"});
                const auto name = [&](const char* inKey, std::string& outName)
                {
                    if (names.Has(inKey))
                    {
                        outName = names[inKey].GetString();
                    }
                };
                name("x", columns.x);
                name("y", columns.y);
                name("z", columns.z);
                name("radius", columns.radius);
            }
            const XRef<XMaterial> material = ReadMaterial(set, "material");
            const std::filesystem::path file = itsFolder / set["file"].GetString();
            const auto spots = XSpotTable::Read(file, columns, radius);
            for (const auto& spot : spots)
            {
                XSurfaceEntry entry;
                entry.geometries.push_back(XMakeRef<XSphere>(static_cast<float>(spot.radius)));
                entry.objectToWorld =
                    XMatrix::Translation(static_cast<float>(spot.x), static_cast<float>(spot.y),
                                         static_cast<float>(spot.z));
                entry.material = material;
                itsSurfaces.push_back(std::move(entry));
            }
        }
    }

    static XRef<XGeometry> ReadGeometry(const XSceneJson& inGeometry)
    {
        inGeometry.ExpectObject();
        const std::string type = inGeometry["type"].GetString();
        const auto radius = [&] { return inGeometry["radius"].GetFloat(0.0, 1e30); };
        if (type == "sphere")
        {
            inGeometry.CheckKeys({"type", "radius"});
            return XMakeRef<XSphere>(radius());
        }
        if (type == "cylinder")
        {
            inGeometry.CheckKeys({"type", "radius"});
            return XMakeRef<XCylinder>(radius());
        }
        if (type == "cone")
        {
            inGeometry.CheckKeys({"type", "radius", "height"});
            const float coneRadius = inGeometry["radius"].GetFloat(1e-30, 1e30);
            return XMakeRef<XCone>(coneRadius, inGeometry["height"].GetFloat(0.0, 1e30));
        }
        if (type == "disk")
        {
            inGeometry.CheckKeys({"type", "radius", "z"});
            return XMakeRef<XDisk>(radius(), inGeometry.GetFloat("z", 0.0f));
        }
        inGeometry["type"].Fail(
            "expected \"sphere\", \"cylinder\", \"cone\" or \"disk\", found \"" + type + "\"");
    }

    static XMatrix ReadTransform(const XSceneJson& inTransform)
    {
        inTransform.CheckKeys({"translate", "rotate", "scale", "matrix"});
        if (inTransform.Has("matrix"))
        {
            if (inTransform.Has("translate") || inTransform.Has("rotate") ||
                inTransform.Has("scale"))
            {
                inTransform.Fail("\"matrix\" cannot be combined with translate, rotate or scale");
            }
            const XSceneJson elements = inTransform["matrix"];
            if (elements.ExpectArray() != 16)
            {
                elements.Fail("expected 16 numbers");
            }
            std::array<float, 16> values{};
            for (std::size_t i = 0; i < 16; ++i)
            {
                values[i] = elements[i].GetFloat();
            }
            const XMatrix matrix(values);
            if (!(std::fabs(matrix.Determinant()) > 0.0f))
            {
                elements.Fail("the matrix is singular");
            }
            return matrix;
        }
        XMatrix translate, rotate, scale;
        if (inTransform.Has("translate"))
        {
            const XMathVectorF3 t = inTransform["translate"].GetVector();
            translate = XMatrix::Translation(t.x, t.y, t.z);
        }
        if (inTransform.Has("rotate"))
        {
            const XSceneJson rotation = inTransform["rotate"];
            rotation.CheckKeys({"axis", "degrees"});
            const XMathVectorF3 axis = rotation["axis"].GetVector();
            if (!(axis.LengthSquared() > 0.0f))
            {
                rotation["axis"].Fail("the rotation axis must not be zero");
            }
            rotate = XMatrix::Rotation(axis, rotation["degrees"].GetFloat());
        }
        if (inTransform.Has("scale"))
        {
            const XSceneJson factor = inTransform["scale"];
            XMathVectorF3 s;
            if (factor.IsNumber())
            {
                const float uniform = factor.GetFloat();
                s = XMathVectorF3(uniform, uniform, uniform);
            }
            else
            {
                s = factor.GetVector();
            }
            if (s.x == 0.0f || s.y == 0.0f || s.z == 0.0f)
            {
                factor.Fail("a scale factor of 0 flattens the surface");
            }
            scale = XMatrix::Scale(s.x, s.y, s.z);
        }
        return translate * rotate * scale;
    }

    // The material at inKey of inOwner, or the default white matte material.
    static XRef<XMaterial> ReadMaterial(const XSceneJson& inOwner, std::string_view inKey)
    {
        if (!inOwner.Has(inKey))
        {
            return XMakeRef<XMatteMaterial>(
                std::make_unique<XRGBSolidTexture>(XRGBSpectrum(1, 1, 1)), 0.0f, 1.0f);
        }
        const XSceneJson material = inOwner[inKey];
        material.ExpectObject();
        const std::string type = material["type"].GetString();
        if (type == "matte")
        {
            material.CheckKeys({"type", "texture", "ambient", "scale"});
            auto texture = material.Has("texture")
                               ? ReadTexture(material["texture"])
                               : std::make_unique<XRGBSolidTexture>(XRGBSpectrum(1, 1, 1));
            return XMakeRef<XMatteMaterial>(std::move(texture),
                                            material.GetFloat("ambient", 0.0f, 0.0, 1.0),
                                            material.GetFloat("scale", 1.0f, 0.0, 1e30));
        }
        if (type == "plastic")
        {
            material.CheckKeys({"type", "colour", "exponent", "kd", "ks", "ka", "scale"});
            const XRGBSpectrum colour =
                material.Has("colour") ? material["colour"].GetColour() : XRGBSpectrum(1, 1, 1);
            return XMakeRef<XPlasticMaterial>(
                colour, material.GetFloat("exponent", 20.0f, 0.0, 1e6),
                material.GetFloat("kd", 0.6f, 0.0, 1e30), material.GetFloat("ks", 0.4f, 0.0, 1e30),
                material.GetFloat("ka", 0.0f, 0.0, 1.0),
                material.GetFloat("scale", 1.0f, 0.0, 1e30));
        }
        if (type == "glass")
        {
            material.CheckKeys({"type", "colours"});
            auto glass = XMakeRef<XGlassMaterial>();
            if (material.Has("colours"))
            {
                const XSceneJson colours = material["colours"];
                colours.CheckKeys({"a", "b", "c", "d"});
                XRGBSpectrum a = glass->GetColourA(), b = glass->GetColourB(),
                             c = glass->GetColourC(), d = glass->GetColourD();
                a = colours.Has("a") ? colours["a"].GetColour() : a;
                b = colours.Has("b") ? colours["b"].GetColour() : b;
                c = colours.Has("c") ? colours["c"].GetColour() : c;
                d = colours.Has("d") ? colours["d"].GetColour() : d;
                glass->SetColours(a, b, c, d);
            }
            return glass;
        }
        material["type"].Fail("expected \"matte\", \"plastic\" or \"glass\", found \"" + type +
                              "\"");
    }

    static std::unique_ptr<XTextureT<XRGBSpectrum>> ReadTexture(const XSceneJson& inTexture)
    {
        if (inTexture.IsArray())
        {
            return std::make_unique<XRGBSolidTexture>(inTexture.GetColour());
        }
        inTexture.ExpectObject();
        const std::string type = inTexture["type"].GetString();
        if (type == "solid")
        {
            inTexture.CheckKeys({"type", "colour"});
            return std::make_unique<XRGBSolidTexture>(inTexture["colour"].GetColour());
        }
        if (type == "checkered")
        {
            inTexture.CheckKeys({"type", "first", "second"});
            return std::make_unique<XCheckeredTexture<XRGBSpectrum, 14945>>(
                ReadTexture(inTexture["first"]), ReadTexture(inTexture["second"]));
        }
        inTexture["type"].Fail("expected \"solid\" or \"checkered\", found \"" + type + "\"");
    }

    // renderScale: a positive number, or "auto" (the default): 1 when every corner of the
    // volume's data box and of the enabled surfaces' world boxes lies within 10 units of the
    // camera, else 10 / D for the largest such distance D, computed in double precision.
    float ReadRenderScale(const XSceneJson& inRoot, const XCamera& inCamera,
                          const XSceneVolume* inVolume) const
    {
        if (inRoot.Has("renderScale") && !inRoot["renderScale"].IsString())
        {
            return inRoot["renderScale"].GetFloat(1e-30, 1e30);
        }
        if (inRoot.Has("renderScale") && inRoot["renderScale"].GetString() != "auto")
        {
            inRoot["renderScale"].Fail("expected a number greater than 0 or \"auto\"");
        }
        const XMathVectorF3 eye = inCamera.GetPosition();
        double farthest = 0.0;
        const auto consider = [&](const XMathVectorF3& inMin, const XMathVectorF3& inMax)
        {
            for (int corner = 0; corner < 8; ++corner)
            {
                const double x = (corner & 1) ? inMax.x : inMin.x;
                const double y = (corner & 2) ? inMax.y : inMin.y;
                const double z = (corner & 4) ? inMax.z : inMin.z;
                const double dx = x - eye.x, dy = y - eye.y, dz = z - eye.z;
                farthest = std::max(farthest, std::sqrt(dx * dx + dy * dy + dz * dz));
            }
        };
        for (const XSurfaceEntry& entry : itsSurfaces)
        {
            if (entry.enabled)
            {
                XSurface surface;
                surface.SetGeometries(entry.geometries);
                surface.SetTransform(entry.objectToWorld);
                consider(surface.GetBoundingBox().GetMin(), surface.GetBoundingBox().GetMax());
            }
        }
        if (inVolume != nullptr)
        {
            const auto [low, high] = inVolume->GetWorldDataBox();
            consider(low, high);
        }
        return farthest <= 10.0 ? 1.0f : static_cast<float>(10.0 / farthest);
    }

    XRayTracerRenderer& itsRenderer;
    std::filesystem::path itsFolder;
    std::string itsFileName;
    nlohmann::json itsJson;
    std::vector<std::pair<XMathVectorF3, XRGBSpectrum>> itsLights;
    std::vector<XSurfaceEntry> itsSurfaces;
};

XRayTracerRenderer::XRayTracerRenderer(const std::filesystem::path& inSceneFile)
{
    XBuilder(*this, inSceneFile).Build();
}

XRayTracerRenderer::~XRayTracerRenderer() = default;

void XRayTracerRenderer::SetResolution(std::uint32_t inWidth, std::uint32_t inHeight)
{
    const auto check = [](std::uint32_t inSide, const char* inName)
    {
        if (inSide < kMinimumFilmSide || inSide > kMaximumFilmSide)
        {
            throw XException(XException::kInvalidArgument,
                             std::string("the film ") + inName + " must lie in [" +
                                 std::to_string(kMinimumFilmSide) + ", " +
                                 std::to_string(kMaximumFilmSide) + "] pixels (got " +
                                 std::to_string(inSide) + ")");
        }
    };
    check(inWidth, "width");
    check(inHeight, "height");
    itsWidth = inWidth;
    itsHeight = inHeight;
}

void XRayTracerRenderer::SetSamplesPerPixelSide(std::uint32_t inSamples)
{
    if (inSamples < 1 || inSamples > 64)
    {
        throw XException(XException::kInvalidArgument,
                         "samples per pixel side must lie in [1, 64] (got " +
                             std::to_string(inSamples) + ")");
    }
    itsOptions.samplesPerPixelSide = inSamples;
}

const XSharedHandle<X3DScene>& XRayTracerRenderer::GetScene()
{
    return itsScene;
}

std::unique_ptr<XFilm> XRayTracerRenderer::CreateFilm() const
{
    return std::make_unique<XFilm>(static_cast<float>(itsWidth), static_cast<float>(itsHeight),
                                   XClone(*itsFilter));
}

void XRayTracerRenderer::RenderFrame(std::unique_ptr<XNetJobQueueBackend> inBackend)
{
    itsTool.reset();
    auto tool = std::make_unique<XVolumeRayTracerTool>(std::move(inBackend));
    tool->SetScene(itsScene);
    tool->SetRenderOptions(itsOptions);
    tool->SetFrameSize(itsWidth, itsHeight);
    tool->SetSampleFilter(XClone(*itsFilter));
    tool->StartFrame();
    if (!tool->WaitForFrame())
    {
        tool->CancelFrame();
        throw XThreadCancelled();
    }
    if (const std::string failure = tool->GetStartFailure(); !failure.empty())
    {
        throw XException(XException::kInvalidArgument, failure);
    }
    itsTool = std::move(tool);
}

std::unique_ptr<XARGB32Volume> XRayTracerRenderer::GetFrameBufferCopy() const
{
    if (!itsTool)
    {
        return nullptr;
    }
    const XMutexLock lock(itsTool->GetFrameBufferLock());
    const XARGB32Volume* frame = itsTool->GetFrameBuffer();
    if (frame == nullptr)
    {
        return nullptr;
    }
    auto copy = std::make_unique<XARGB32Volume>(frame->GetBounds());
    copy->CopyRegion(*frame, frame->GetBounds(), frame->GetBounds());
    return copy;
}

std::vector<std::string> XRayTracerRenderer::GetFrameFailures() const
{
    return itsTool ? itsTool->GetFrameFailures() : std::vector<std::string>{};
}

void XRayTracerRenderer::WriteFrame(const std::filesystem::path& inPngPath,
                                    const std::filesystem::path& inExrPath) const
{
    if (!itsTool)
    {
        throw XException(XException::kInvalidArgument, "no frame has been rendered yet");
    }
    const XMutexLock lock(itsTool->GetFrameBufferLock());
    const XARGB32Volume* frame = itsTool->GetFrameBuffer();
    const XHighDynamicRangeImage* image = itsTool->GetFrameImage();
    if (frame == nullptr || image == nullptr)
    {
        throw XException(XException::kInvalidArgument, "the last frame did not finish");
    }
    XPngWriter::Write(*frame, inPngPath.string());
    if (!inExrPath.empty())
    {
        XExrWriter::Write(*image, inExrPath.string());
    }
}
