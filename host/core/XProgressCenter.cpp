#include "host/core/XProgressCenter.h"

XProgressCenter& XProgressCenter::Get()
{
    static XProgressCenter center;
    return center;
}
