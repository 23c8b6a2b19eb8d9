#include "x-platform/core/XTransformable.h"

#include "host/core/XStream.h"

void XTransformable::SetTransform(const XMatrix_4x4<float>& inObjectToWorld)
{
    itsObjectToWorld = inObjectToWorld;
    itsWorldToObject = inObjectToWorld.Inverse();
    OnTransformChanged();
}

void XTransformable::WriteTransform(XStream& outStream) const
{
    itsObjectToWorld.Write(outStream);
    itsWorldToObject.Write(outStream);
}

void XTransformable::ReadTransform(XStream& inStream)
{
    XMatrix_4x4<float> objectToWorld;
    XMatrix_4x4<float> worldToObject;
    objectToWorld.Read(inStream);
    worldToObject.Read(inStream);
    AssignTransform(objectToWorld, worldToObject);
}

void XTransformable::AssignTransform(const XMatrix_4x4<float>& inObjectToWorld,
                                     const XMatrix_4x4<float>& inWorldToObject)
{
    itsObjectToWorld = inObjectToWorld;
    itsWorldToObject = inWorldToObject;
}
