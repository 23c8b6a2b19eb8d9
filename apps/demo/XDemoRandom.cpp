#include "apps/demo/XDemoRandom.h"

#include <cmath>
#include <numbers>

XDemoRandom::XDemoRandom(std::uint64_t inSeed) : itsEngine(inSeed) {}

double XDemoRandom::Uniform()
{
    constexpr double kTwoToMinus53 = 1.0 / 9007199254740992.0;
    return static_cast<double>(itsEngine() >> 11) * kTwoToMinus53;
}

double XDemoRandom::Uniform(double inLow, double inHigh)
{
    return inLow + (inHigh - inLow) * Uniform();
}

double XDemoRandom::Normal()
{
    if (itsHasSpareNormal)
    {
        itsHasSpareNormal = false;
        return itsSpareNormal;
    }
    // 1 − u lies in (0, 1], so the logarithm is finite.
    const double radius = std::sqrt(-2.0 * std::log(1.0 - Uniform()));
    const double angle = 2.0 * std::numbers::pi * Uniform();
    itsSpareNormal = radius * std::sin(angle);
    itsHasSpareNormal = true;
    return radius * std::cos(angle);
}

std::uint32_t XDemoRandom::Poisson(double inMean)
{
    if (!(inMean > 0.0))
    {
        return 0;
    }
    if (inMean < kNormalApproximationMean)
    {
        const double limit = std::exp(-inMean);
        std::uint32_t count = 0;
        double product = Uniform();
        while (product > limit)
        {
            ++count;
            product *= Uniform();
        }
        return count;
    }
    const double value = std::round(inMean + std::sqrt(inMean) * Normal());
    if (!(value > 0.0))
    {
        return 0;
    }
    return value >= 4294967295.0 ? 4294967295u : static_cast<std::uint32_t>(value);
}
