// A module library for the tests whose entry refuses to load.
extern "C" __attribute__((visibility("default"))) int VoltraceModuleEntry(int inReason)
{
    return inReason == 1 ? 0 : 1;
}
