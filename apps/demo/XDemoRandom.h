#pragma once

#include <cstdint>
#include <random>

// A fixed-seed source of random numbers that gives the same sequence with every standard
// library: the engine is std::mt19937_64, whose output the C++ standard fixes, and the
// distributions are written here (the standard library's distributions are free to differ
// between implementations).
class XDemoRandom
{
public:
    explicit XDemoRandom(std::uint64_t inSeed);

    // Uniform in [0, 1), from the top 53 bits of one engine output.
    double Uniform();
    // Uniform in [inLow, inHigh).
    double Uniform(double inLow, double inHigh);
    // Standard normal, by the Box-Muller transform; the second value of each pair is kept for
    // the next call.
    double Normal();
    // A photon count with mean and variance inMean (≥ 0): Poisson by Knuth's product method for
    // small means, the rounded normal approximation (never below 0) for larger ones.
    std::uint32_t Poisson(double inMean);

    // Means from this one up use the normal approximation.
    static constexpr double kNormalApproximationMean = 16.0;

private:
    std::mt19937_64 itsEngine;
    double itsSpareNormal = 0.0;
    bool itsHasSpareNormal = false;
};
