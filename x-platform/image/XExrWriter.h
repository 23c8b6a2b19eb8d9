#pragma once

#include <string>

class XHighDynamicRangeImage;

// Writes a floating-point image as an OpenEXR picture of float R, G, B and A channels for grading
// and compositing, upright: the image's row 0 is the bottom of the view, so it becomes the
// picture's last line. Colours are written unchanged (linear, unbounded); alpha is written as 1,
// since every pixel of a rendered frame is covered and the film's own alpha carries no coverage.
class XExrWriter
{
public:
    XExrWriter() = delete;

    // Throws XException (code kIOError) naming the file when the image is empty or the file
    // cannot be written; a partly written regular file is removed.
    static void Write(const XHighDynamicRangeImage& inImage, const std::string& inPath);
};
