#include "x-platform/module/XStorableClassTable.h"

// The load and unload entry that the host calls: reason 1 when the library is loaded, 0 before it
// is unloaded; every call answers 1.
extern "C" __attribute__((visibility("default"))) int VoltraceModuleEntry(int inReason)
{
    if (inReason == 1)
    {
        XRegisterStorableClasses();
    }
    return 1;
}
