#include "host/imaging/X3DRect.h"

#include "host/XHostClassTable.h"
#include "host/core/XStream.h"

#include <algorithm>

namespace
{
// The overlap of [inA0, inA1) and [inB0, inB1), written to outLower and outUpper; an empty
// overlap has outUpper = outLower.
void SectAxis(std::int32_t inA0, std::int32_t inA1, std::int32_t inB0, std::int32_t inB1,
              std::int32_t& outLower, std::int32_t& outUpper)
{
    outLower = std::max(inA0, inB0);
    outUpper = std::max(outLower, std::min(inA1, inB1));
}
} // namespace

X3DRect::X3DRect(std::int32_t inX0, std::int32_t inY0, std::int32_t inZ0, std::int32_t inX1,
                 std::int32_t inY1, std::int32_t inZ1)
    : itsX0(inX0), itsY0(inY0), itsZ0(inZ0), itsX1(inX1), itsY1(inY1), itsZ1(inZ1)
{
}

X3DRect::X3DRect(const XRect& inXY, std::int32_t inZ0, std::int32_t inZ1)
    : X3DRect(inXY.left, inXY.top, inZ0, inXY.right, inXY.bottom, inZ1)
{
}

X3DRect X3DRect::Sect(const X3DRect& inOther) const
{
    X3DRect result;
    SectAxis(itsX0, itsX1, inOther.itsX0, inOther.itsX1, result.itsX0, result.itsX1);
    SectAxis(itsY0, itsY1, inOther.itsY0, inOther.itsY1, result.itsY0, result.itsY1);
    SectAxis(itsZ0, itsZ1, inOther.itsZ0, inOther.itsZ1, result.itsZ0, result.itsZ1);
    return result;
}

bool X3DRect::operator==(const X3DRect& inOther) const
{
    return itsX0 == inOther.itsX0 && itsY0 == inOther.itsY0 && itsZ0 == inOther.itsZ0 &&
           itsX1 == inOther.itsX1 && itsY1 == inOther.itsY1 && itsZ1 == inOther.itsZ1;
}

std::uint32_t X3DRect::GetClassID() const
{
    return kX3DRectClassID;
}

std::unique_ptr<XStorable> X3DRect::Clone() const
{
    return std::make_unique<X3DRect>(*this);
}

std::uint64_t X3DRect::GetStreamSize() const
{
    return 8 + 6 * 4;
}

void X3DRect::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kX3DRectClassID);
    inStream.CheckRemaining(6 * 4);
    for (std::int32_t* value : {&itsX0, &itsY0, &itsZ0, &itsX1, &itsY1, &itsZ1})
    {
        *value = static_cast<std::int32_t>(inStream.Read32());
    }
}

void X3DRect::Write(XStream& outStream) const
{
    outStream.WriteVersion(kX3DRectClassID);
    for (const std::int32_t value : {itsX0, itsY0, itsZ0, itsX1, itsY1, itsZ1})
    {
        outStream.Write32(static_cast<std::uint32_t>(value));
    }
}
