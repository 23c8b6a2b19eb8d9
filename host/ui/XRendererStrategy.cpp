#include "host/ui/XRendererStrategy.h"

std::string XRendererStrategy::GetDescription() const
{
    return {};
}

bool XRendererStrategy::IsInteractive() const
{
    return false;
}
