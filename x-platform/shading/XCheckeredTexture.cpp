#include "x-platform/shading/XCheckeredTexture.h"

template class XCheckeredTexture<XRGBSpectrum, 14945>;
