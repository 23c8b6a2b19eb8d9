#include "x-platform/core/XObjectRecordSize.h"

#include "host/core/XClassRegistry.h"
#include "host/core/XStorable.h"

std::uint64_t XObjectRecordSize(const XStorable* inObject)
{
    if (inObject == nullptr)
    {
        return 1;
    }
    const std::string name = XClassRegistry::Get().GetName(inObject->GetClassID());
    return 1 + 4 + name.size() + 8 + inObject->GetStreamSize();
}
