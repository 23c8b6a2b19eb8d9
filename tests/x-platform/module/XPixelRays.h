#pragma once

#include "host/imaging/XCamera.h"
#include "host/imaging/XRect.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XPerspectiveCamera.h"

#include <cstdint>

// The camera rays through the pixel centres of a film, made as the region render loop makes
// them: hither 1e-6, yon 50, 40 degrees, screen (-a, -1) to (a, 1) with a = width / height, one
// sample per pixel at its centre. Raster row 0 is the bottom of the view.
class XPixelRays
{
public:
    XPixelRays(const XCamera& inCamera, std::uint32_t inWidth, std::uint32_t inHeight)
        : itsFilm(static_cast<float>(inWidth), static_cast<float>(inHeight), nullptr),
          itsCamera(inCamera.GetCameraToWorld(),
                    XRectF(-Aspect(inWidth, inHeight), -1.0f, Aspect(inWidth, inHeight), 1.0f),
                    1.0e-6f, 50.0f, 1.0f, 1.0f, 40.0f, itsFilm)
    {
    }

    XRay Get(std::uint32_t inX, std::uint32_t inY) const
    {
        ImageSample sample;
        sample.imageX = static_cast<float>(inX) + 0.5f;
        sample.imageY = static_cast<float>(inY) + 0.5f;
        XRay ray;
        itsCamera.GenerateRay(sample, ray);
        return ray;
    }

private:
    static float Aspect(std::uint32_t inWidth, std::uint32_t inHeight)
    {
        return static_cast<float>(inWidth) / static_cast<float>(inHeight);
    }

    XFilm itsFilm;
    XPerspectiveCamera itsCamera;
};
