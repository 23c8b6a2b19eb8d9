#pragma once

// A matte sphere lit from the eye: a unit sphere at the origin with a solid-colour matte
// material, seen by the default camera from (0, 0, -10) and lit by one point light at the camera
// position. Along the viewing axis the sphere is met head on at (0, 0, -1), where the normal,
// the direction to the light and the direction to the eye coincide, so the colour there is
// kd T I (1 - a) + kd T I a (T the texture colour, I the light's intensity, a the scene's ambient
// fraction), with nothing in the way of the shadow ray.

#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XRGBSolidTexture.h"

struct XLitMatteSphereScene
{
    XRGBSpectrum colour{0.75f, 0.5f, 0.25f};
    float materialAmbient = 0.25f; // the matte material's ambient a: ka = a, kd = (1 - a) scale
    float materialScale = 2.0f;
    XRGBSpectrum intensity{2.0f, 1.0f, 4.0f};
    float ambientFraction = 0.2f;
    XRGBSpectrum background{0.125f, 0.25f, 0.5f};

    static constexpr float kEyeDistance = 10.0f;

    XSharedHandle<X3DScene> Build() const
    {
        return XTestSceneBuilder()
            .AddSphere(XMathVectorF3(0, 0, 0), 1.0f,
                       XMakeRef<XMatteMaterial>(std::make_unique<XRGBSolidTexture>(colour),
                                                materialAmbient, materialScale))
            .AddLight(XMathVectorF3(0, 0, -kEyeDistance), intensity)
            .SetBackground(background)
            .SetAmbientFraction(ambientFraction)
            .Build();
    }

    float GetKd() const { return (1.0f - materialAmbient) * materialScale; }

    // The colour at the point met head on, in the integrator's float order with a cosine of 1:
    // the direct share f I (1 - a) with f = T kd, then the ambient share kd T I a.
    XRGBSpectrum ExpectedHeadOn() const
    {
        const XRGBSpectrum reflected = colour * 1.0f * GetKd();
        XRGBSpectrum expected;
        expected += reflected * intensity * XRGBSpectrum(1, 1, 1) * (1.0f / 1.0f) *
                    (1.0f - ambientFraction);
        expected += GetKd() * colour * intensity * ambientFraction;
        return expected;
    }
};
