#pragma once

#include <string>

class XARGB32Volume;

// Writes a 32-bit ARGB frame as an 8-bit RGB PNG holding exactly its red, green and blue bytes
// (no gamma, no dithering), upright: the frame's row 0 is the bottom of the view, so it becomes
// the picture's last row.
class XPngWriter
{
public:
    XPngWriter() = delete;

    // Writes the first plane of inFrame. Throws XException (code kIOError) naming the file when
    // the frame is empty or the file cannot be written; a partly written regular file is removed.
    static void Write(const XARGB32Volume& inFrame, const std::string& inPath);
};
