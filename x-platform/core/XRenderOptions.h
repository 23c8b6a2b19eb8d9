#pragma once

#include <cstdint>

class XStream;

// The render settings that travel unchanged from the distributed renderer into every render job
// and from there into the tracer.
struct XRenderOptions
{
    bool firstFlag = false;       // carried with the settings
    bool secondFlag = true;       // carried with the settings
    bool thirdFlag = true;        // carried with the settings
    bool reflections = true;      // mirror rays; when false camera rays get depth 0
    bool transmission = false;    // not part of the job stream: a streamed job renders without it
    std::uint32_t firstCount = 0; // carried with the settings
    std::uint32_t samplesPerPixelSide = 1;
    std::uint32_t maxDepth = 4;
    std::uint32_t secondCount = 8; // carried with the settings

    // The job stream form: the four flags as bytes, then the four words. Transmission is not
    // written, and Read leaves it as it was.
    void Write(XStream& outStream) const;
    void Read(XStream& inStream);

    bool operator==(const XRenderOptions&) const = default;
};
