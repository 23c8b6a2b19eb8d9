#include "x-platform/image/XImageClassTable.h"

#include "host/core/XClassRegistry.h"
#include "x-platform/image/XBoxFilter.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XGaussianFilter.h"
#include "x-platform/image/XTriangleFilter.h"

void XRegisterImageClasses()
{
    XRegisterClass<XBoxFilter>("XBoxFilter", XImageSampleFilter::kClassID);
    XRegisterClass<XTriangleFilter>("XTriangleFilter", XImageSampleFilter::kClassID);
    XRegisterClass<XGaussianFilter>("XGaussianFilter", XImageSampleFilter::kClassID);
    XRegisterClass<XFilm>("XFilm");
}
