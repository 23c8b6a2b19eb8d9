#pragma once

#include "host/imaging/XARGB32Colour.h"
#include "host/imaging/XTypedVolume.h"

// A volume of 32-bit colour voxels (alpha, red, green, blue).
class XARGB32Volume final : public XTypedVolume<XARGB32Colour>
{
public:
    explicit XARGB32Volume(const X3DRect& inBounds) : XTypedVolume(inBounds) {}

    // Copies the voxels of inSourceRect in inSource to the region inDestinationRect of this
    // volume. Both rectangles must have the same size and lie inside their volumes; otherwise
    // the mismatch is reported and nothing is copied. The source may be this volume, and the
    // two regions may overlap.
    void CopyRegion(const XARGB32Volume& inSource, const X3DRect& inSourceRect,
                    const X3DRect& inDestinationRect);
};
