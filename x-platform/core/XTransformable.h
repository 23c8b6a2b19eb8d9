#pragma once

#include "host/imaging/XMatrix_4x4.h"

#include <cstdint>

class XStream;

// An object placed in the world by an object-to-world transform, kept together with its inverse.
// Setting the transform notifies the object, which recomputes whatever depends on its placement.
class XTransformable
{
public:
    // Bytes of the transform record: object-to-world, then world-to-object, 16 float32 each.
    static constexpr std::uint64_t kTransformStreamSize = 2 * 16 * 4;

    virtual ~XTransformable() = default;

    // Stores the transform and its inverse, then calls OnTransformChanged.
    void SetTransform(const XMatrix_4x4<float>& inObjectToWorld);
    const XMatrix_4x4<float>& GetObjectToWorld() const { return itsObjectToWorld; }
    const XMatrix_4x4<float>& GetWorldToObject() const { return itsWorldToObject; }

    // Called after the transform changed; does nothing here.
    virtual void OnTransformChanged() {}

    // The transform record: the object-to-world matrix, then its inverse, each as 16 float32 in
    // the host matrix order. Reading restores both as stored and sends no notification.
    void WriteTransform(XStream& outStream) const;
    void ReadTransform(XStream& inStream);

protected:
    XTransformable() = default; // the identity placement
    XTransformable(const XTransformable&) = default;
    XTransformable& operator=(const XTransformable&) = default;

    // Sets both matrices as given, without a notification (for readers of other record forms).
    void AssignTransform(const XMatrix_4x4<float>& inObjectToWorld,
                         const XMatrix_4x4<float>& inWorldToObject);

private:
    XMatrix_4x4<float> itsObjectToWorld;
    XMatrix_4x4<float> itsWorldToObject;
};
