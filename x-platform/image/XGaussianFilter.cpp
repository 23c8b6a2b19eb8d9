#include "x-platform/image/XGaussianFilter.h"

#include "host/core/XException.h"
#include "host/core/XStream.h"

#include <cmath>
#include <string>

namespace
{
void CheckAlpha(float inAlpha)
{
    if (!std::isfinite(inAlpha))
    {
        throw XException(XException::kMalformedStream,
                         "Gaussian filter alpha must be finite (got " + std::to_string(inAlpha) +
                             ")");
    }
}
} // namespace

XGaussianFilter::XGaussianFilter(float inXWidth, float inYWidth, float inAlpha)
    : XImageSampleFilter(inXWidth, inYWidth), itsAlpha(inAlpha)
{
    CheckAlpha(inAlpha);
}

float XGaussianFilter::Evaluate(float inX, float inY) const
{
    return std::exp(-itsAlpha * (inX * inX + inY * inY));
}

std::unique_ptr<XStorable> XGaussianFilter::Clone() const
{
    return std::make_unique<XGaussianFilter>(itsXWidth, itsYWidth, itsAlpha);
}

void XGaussianFilter::Read(XStream& inStream)
{
    XImageSampleFilter::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    const float alpha = inStream.ReadFloat32S();
    CheckAlpha(alpha);
    itsAlpha = alpha;
}

void XGaussianFilter::Write(XStream& outStream) const
{
    XImageSampleFilter::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsAlpha);
}
