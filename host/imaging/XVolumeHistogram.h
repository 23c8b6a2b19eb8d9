#pragma once

#include <cstdint>
#include <vector>

// Counts of values in equal-width buckets over [low, high]. Values outside the range are counted
// in the first or last bucket.
class XVolumeHistogram
{
public:
    // Throws XException unless low < high (both finite) and there is at least one bucket.
    XVolumeHistogram(double inLow, double inHigh, std::uint32_t inBucketCount);

    // Linear over [low, high]: high itself goes into the last bucket, values below low into the
    // first, values above high into the last, NaN into the first.
    std::uint32_t ValueToBucketIndex(double inValue) const;

    void Increment(std::uint32_t inBucket);
    std::uint64_t GetCount(std::uint32_t inBucket) const;
    std::uint32_t GetBucketCount() const { return static_cast<std::uint32_t>(itsCounts.size()); }
    double GetLow() const { return itsLow; }
    double GetHigh() const { return itsHigh; }
    // The sum of all bucket counts.
    std::uint64_t GetTotal() const { return itsTotal; }

private:
    double itsLow;
    double itsHigh;
    std::vector<std::uint64_t> itsCounts;
    std::uint64_t itsTotal = 0;
};
