#pragma once

#include "host/imaging/XTypedVolume.h"

#include <cstdint>

// A volume of 8-bit grey voxels.
class XGrey8Volume final : public XTypedVolume<std::uint8_t>
{
public:
    explicit XGrey8Volume(const X3DRect& inBounds) : XTypedVolume(inBounds) {}
};
