#include "host/core/XSubscription.h"

#include "host/core/XListener.h"

void XSubscription::Deliver(const XMessage& inMessage)
{
    const std::lock_guard call(itsCallMutex);
    if (itsListener != nullptr)
    {
        itsListener->HandleMessage(inMessage);
    }
}

void XSubscription::Cut()
{
    const std::lock_guard call(itsCallMutex);
    itsListener = nullptr;
    itsCut.store(true);
}
