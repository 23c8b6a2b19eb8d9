#pragma once

#include "host/core/XException.h"

#include <string>

// A Redis call that failed: either the connection is gone (the server stopped, the network
// broke, a read timed out) or the server refused the command (no permission, wrong type ...).
class XRedisError : public XException
{
public:
    XRedisError(const std::string& inMessage, bool inConnectionLost)
        : XException(kIOError, inMessage), itsConnectionLost(inConnectionLost)
    {
    }

    bool IsConnectionLost() const noexcept { return itsConnectionLost; }

private:
    bool itsConnectionLost;
};
