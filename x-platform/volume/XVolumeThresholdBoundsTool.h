#pragma once

#include "host/imaging/X3DRect.h"

class XGrey8Volume;
class XVolume;

// Finds the box of the voxels whose value lies strictly above a threshold, so that work on the
// volume (an isosurface) can be confined to it. Only the lower corner is tightened: the result
// runs from the smallest coordinates found to the volume's upper corner (x1, y1, z1), and is the
// empty box at that corner when no voxel is above the threshold.
class XVolumeThresholdBoundsTool
{
public:
    // An optional part of the volume: a box, and optionally a mask over it (voxels where the mask
    // byte is 0, or outside the mask's bounds, are left out).
    struct XRegion
    {
        X3DRect rect;
        XGrey8Volume* mask = nullptr; // read-locked during the scan
    };

    // Scans 8-bit, 16-bit and floating-point volumes, told apart by exact type (subclasses are
    // not accepted). The threshold is truncated to an integer and narrowed to the voxel type for
    // the integer volumes. Colour volumes give a default rectangle and other types the volume's
    // own rectangle, after an internal-error report. Read-locks the volume (and the mask) for
    // the scan and reports progress once per plane.
    static X3DRect Compute(XVolume& inVolume, float inThreshold, const XRegion* inRegion = nullptr);
};
