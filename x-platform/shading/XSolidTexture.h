#pragma once

#include "x-platform/shading/XTextureT.h"

// A constant texture: the same value at every hit. The concrete classes (one per value type)
// write their own record and the value after the texture record.
template <class T>
class XSolidTexture : public XTextureT<T>
{
public:
    T Evaluate(const XRayHit&) const override { return itsValue; }

    const T& GetValue() const { return itsValue; }
    void SetValue(const T& inValue) { itsValue = inValue; }

protected:
    XSolidTexture() = default;
    explicit XSolidTexture(const T& inValue) : itsValue(inValue) {}
    XSolidTexture(const XSolidTexture&) = default;
    XSolidTexture& operator=(const XSolidTexture&) = default;

    T itsValue{};
};
