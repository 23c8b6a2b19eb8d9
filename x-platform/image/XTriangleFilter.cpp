#include "x-platform/image/XTriangleFilter.h"

#include "host/core/XStream.h"

#include <algorithm>
#include <cmath>

float XTriangleFilter::Evaluate(float inX, float inY) const
{
    return std::max(0.0f, itsXWidth - std::fabs(inX)) * std::max(0.0f, itsYWidth - std::fabs(inY));
}

std::unique_ptr<XStorable> XTriangleFilter::Clone() const
{
    return std::make_unique<XTriangleFilter>(itsXWidth, itsYWidth);
}

void XTriangleFilter::Read(XStream& inStream)
{
    XImageSampleFilter::Read(inStream);
    inStream.ReadClassVersion(kClassID);
}

void XTriangleFilter::Write(XStream& outStream) const
{
    XImageSampleFilter::Write(outStream);
    outStream.WriteVersion(kClassID);
}
