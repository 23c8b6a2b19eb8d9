#include "x-platform/image/XBoxFilter.h"

#include "host/core/XStream.h"

float XBoxFilter::Evaluate(float, float) const
{
    return 1.0f;
}

std::unique_ptr<XStorable> XBoxFilter::Clone() const
{
    return std::make_unique<XBoxFilter>(itsXWidth, itsYWidth);
}

void XBoxFilter::Read(XStream& inStream)
{
    XImageSampleFilter::Read(inStream);
    inStream.ReadClassVersion(kClassID);
}

void XBoxFilter::Write(XStream& outStream) const
{
    XImageSampleFilter::Write(outStream);
    outStream.WriteVersion(kClassID);
}
