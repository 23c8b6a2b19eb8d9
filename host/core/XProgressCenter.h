#pragma once

#include "host/core/XSpeaker.h"

// The one speaker of every XProgress's XProgressMessage; displays subscribe to it.
class XProgressCenter : public XSpeaker
{
public:
    static XProgressCenter& Get();

private:
    XProgressCenter() = default;
};
