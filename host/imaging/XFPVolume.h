#pragma once

#include "host/imaging/XTypedVolume.h"

// A volume of 32-bit floating-point voxels.
class XFPVolume final : public XTypedVolume<float>
{
public:
    explicit XFPVolume(const X3DRect& inBounds) : XTypedVolume(inBounds) {}
};
