#include "host/imaging/XVolumeHistogram.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"

#include <cmath>
#include <string>

X_SOURCE_NAME("host/imaging/XVolumeHistogram");

XVolumeHistogram::XVolumeHistogram(double inLow, double inHigh, std::uint32_t inBucketCount)
    : itsLow(inLow), itsHigh(inHigh)
{
    if (!std::isfinite(inLow) || !std::isfinite(inHigh) || !(inLow < inHigh))
    {
        throw XException(XException::kInvalidArgument, "Histogram range [" + std::to_string(inLow) +
                                                           ", " + std::to_string(inHigh) +
                                                           "] must be finite with low < high");
    }
    if (inBucketCount == 0)
    {
        throw XException(XException::kInvalidArgument, "Histogram needs at least one bucket");
    }
    itsCounts.assign(inBucketCount, 0);
}

std::uint32_t XVolumeHistogram::ValueToBucketIndex(double inValue) const
{
    const std::uint32_t last = GetBucketCount() - 1;
    if (!(inValue > itsLow)) // also NaN
    {
        return 0;
    }
    if (inValue >= itsHigh)
    {
        return last;
    }
    const double position =
        (inValue - itsLow) / (itsHigh - itsLow) * static_cast<double>(GetBucketCount());
    // Rounding can carry a value just below high up to the bucket count itself.
    const double bucket = std::floor(position);
    return bucket >= static_cast<double>(last) ? last : static_cast<std::uint32_t>(bucket);
}

void XVolumeHistogram::Increment(std::uint32_t inBucket)
{
    X_ASSERT(inBucket < itsCounts.size());
    if (inBucket < itsCounts.size())
    {
        ++itsCounts[inBucket];
        ++itsTotal;
    }
}

std::uint64_t XVolumeHistogram::GetCount(std::uint32_t inBucket) const
{
    X_ASSERT(inBucket < itsCounts.size());
    return inBucket < itsCounts.size() ? itsCounts[inBucket] : 0;
}
