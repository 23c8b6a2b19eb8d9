#pragma once

// Registers the storable classes of the image layer with the class registry, by name and id:
//   XBoxFilter 14905, XTriangleFilter 14906, XGaussianFilter 14907 (base XImageSampleFilter,
//   14904, which is abstract and so has no factory), and XFilm 14903. The film travels inside
//   render jobs and results; the module's fixed identifiers name no film, so it takes 14903,
//   which is free in the module's range 14900 to 14999. Calling this again is harmless.
void XRegisterImageClasses();
