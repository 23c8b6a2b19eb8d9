#include "x-platform/image/XImageSampleFilter.h"

#include "host/core/XException.h"
#include "host/core/XStream.h"

#include <cmath>
#include <string>

namespace
{
void CheckWidths(float inXWidth, float inYWidth)
{
    const auto valid = [](float inWidth) {
        return std::isfinite(inWidth) && inWidth > 0.0f && inWidth <= XImageSampleFilter::kMaxWidth;
    };
    if (!valid(inXWidth) || !valid(inYWidth))
    {
        throw XException(XException::kMalformedStream,
                         "image sample filter widths must be finite, above 0 and at most " +
                             std::to_string(XImageSampleFilter::kMaxWidth) + " (got " +
                             std::to_string(inXWidth) + " x " + std::to_string(inYWidth) + ")");
    }
}
} // namespace

XImageSampleFilter::XImageSampleFilter(float inXWidth, float inYWidth)
    : itsXWidth(inXWidth), itsYWidth(inYWidth), itsInvXWidth(1.0f / inXWidth),
      itsInvYWidth(1.0f / inYWidth)
{
    CheckWidths(inXWidth, inYWidth);
}

void XImageSampleFilter::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
    const float xWidth = inStream.ReadFloat32S();
    const float yWidth = inStream.ReadFloat32S();
    CheckWidths(xWidth, yWidth);
    itsXWidth = xWidth;
    itsYWidth = yWidth;
    itsInvXWidth = 1.0f / xWidth;
    itsInvYWidth = 1.0f / yWidth;
}

void XImageSampleFilter::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsXWidth);
    outStream.WriteFloat32S(itsYWidth);
}
