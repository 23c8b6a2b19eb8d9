#pragma once

#include "x-platform/shading/XTextureBase.h"

struct XRayHit;

// A texture giving a value of type T (a colour or a scalar) at a surface hit. Textures are owned
// by the material or texture that holds them and are read-only while rays are traced.
template <class T>
class XTextureT : public XTextureBase
{
public:
    // The value at the hit; uses only the hit record (u, v, points), allocates nothing.
    virtual T Evaluate(const XRayHit& inHit) const = 0;

protected:
    XTextureT() = default;
    XTextureT(const XTextureT&) = default;
    XTextureT& operator=(const XTextureT&) = default;
};
