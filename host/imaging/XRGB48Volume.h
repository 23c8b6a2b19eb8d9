#pragma once

#include "host/imaging/XRGB48Colour.h"
#include "host/imaging/XTypedVolume.h"

// A volume of 48-bit colour voxels (16 bits each of red, green and blue).
class XRGB48Volume final : public XTypedVolume<XRGB48Colour>
{
public:
    explicit XRGB48Volume(const X3DRect& inBounds) : XTypedVolume(inBounds) {}
};
