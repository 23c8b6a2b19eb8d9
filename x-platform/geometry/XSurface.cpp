#include "x-platform/geometry/XSurface.h"

#include "host/core/XStream.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <utility>

void XSurface::SetGeometries(std::vector<XRef<XGeometry>> inGeometries)
{
    itsGeometries = std::move(inGeometries);
    UpdateBounds();
}

void XSurface::OnTransformChanged()
{
    UpdateBounds();
}

void XSurface::UpdateBounds()
{
    if (itsGeometries.empty())
    {
        itsBounds = XBoundingBox(XMathVectorF3(), XMathVectorF3());
        return;
    }
    XBoundingBox objectBounds = itsGeometries.front()->GetBoundingBox();
    for (std::size_t i = 1; i < itsGeometries.size(); ++i)
    {
        objectBounds =
            XBoundingBox::MakeSurroundingBox(objectBounds, itsGeometries[i]->GetBoundingBox());
    }
    itsBounds = objectBounds.MakeTransformedBox(GetObjectToWorld());
}

XRay XSurface::ToObjectSpace(const XRay& inRay, float& outScale) const
{
    const XMatrix_4x4<float>& worldToObject = GetWorldToObject();
    const XMathVectorF3 direction = worldToObject.TransformVector(inRay.direction);
    // Geometries take the direction as unit length; a scaling placement changes its length, so
    // the interval is scaled with it and the hit parameter is scaled back.
    outScale = direction.Length();
    return XRay(worldToObject.TransformPoint(inRay.origin), direction / outScale,
                inRay.tMin * outScale, inRay.tMax * outScale);
}

bool XSurface::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    float scale = 1.0f;
    XRay objectRay = ToObjectSpace(ioRay, scale);
    bool hit = false;
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        if (geometry->Intersect(objectRay, outHit))
        {
            hit = true;
            break;
        }
    }
    if (!hit)
    {
        return false;
    }
    outHit.point = GetObjectToWorld().TransformPoint(outHit.point);
    // Normals go by the transpose of the world-to-object matrix.
    const XMatrix_4x4<float>& m = GetWorldToObject();
    const XMathVectorF3& n = outHit.normal;
    const XMathVectorF3 normal(m[0] * n.x + m[1] * n.y + m[2] * n.z,
                               m[4] * n.x + m[5] * n.y + m[6] * n.z,
                               m[8] * n.x + m[9] * n.y + m[10] * n.z);
    outHit.normal = normal * (1.0f / normal.Length());
    const float t = outHit.t / scale;
    outHit.t = t;
    ioRay.tMax = t;
    if (!(outHit.material == itsMaterial))
    {
        outHit.material = itsMaterial;
    }
    return true;
}

bool XSurface::IntersectP(const XRay& inRay) const
{
    float scale = 1.0f;
    XRay objectRay = ToObjectSpace(inRay, scale);
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        if (geometry->TestIntersection(objectRay))
        {
            return true;
        }
    }
    return false;
}

void XSurface::Prepare()
{
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        geometry->Prepare();
    }
}

void XSurface::RenderBegin()
{
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        geometry->RenderBegin();
    }
}

void XSurface::RenderEnd()
{
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        geometry->RenderEnd();
    }
}

std::unique_ptr<XStorable> XSurface::Clone() const
{
    return std::make_unique<XSurface>(*this);
}

std::uint64_t XSurface::GetStreamSize() const
{
    std::uint64_t size = 8 + kTransformStreamSize + 6 * 4 + 4;
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        size += XObjectRecordSize(geometry.Get());
    }
    return size + XObjectRecordSize(itsMaterial.Get()) + 1;
}

void XSurface::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
    WriteTransform(outStream);
    itsBounds.WriteStream(outStream);
    outStream.Write32(static_cast<std::uint32_t>(itsGeometries.size()));
    for (const XRef<XGeometry>& geometry : itsGeometries)
    {
        outStream.WriteObject(geometry.Get());
    }
    outStream.WriteObject(itsMaterial.Get());
    outStream.Write8(itsFlag);
}

void XSurface::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
    ReadTransform(inStream);
    itsBounds.ReadStream(inStream);
    const std::uint32_t count = inStream.ReadCount(1);
    std::vector<XRef<XGeometry>> geometries;
    geometries.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const std::uint64_t position = inStream.GetPosition();
        std::unique_ptr<XGeometry> geometry = inStream.ReadObjectAs<XGeometry>();
        if (!geometry)
        {
            throw XException(XException::kMalformedStream,
                             "surface geometry at byte " + std::to_string(position) + " is null");
        }
        geometries.push_back(XRef<XGeometry>::Adopt(geometry.release()));
    }
    itsGeometries = std::move(geometries);
    std::unique_ptr<XMaterial> material = inStream.ReadObjectAs<XMaterial>();
    itsMaterial = XRef<XMaterial>::Adopt(material.release());
    itsFlag = inStream.Read8();
}
