#pragma once

#include "host/imaging/XTypedVolume.h"

#include <cstdint>

// A volume of 16-bit grey voxels.
class XGrey16Volume final : public XTypedVolume<std::uint16_t>
{
public:
    explicit XGrey16Volume(const X3DRect& inBounds) : XTypedVolume(inBounds) {}
};
