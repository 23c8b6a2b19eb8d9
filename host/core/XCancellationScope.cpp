#include "host/core/XCancellationScope.h"

#include "host/core/XThread.h"

XCancellationScope::XCancellationScope(const std::atomic<bool>& inFlag)
    : itsPrevious(XThread::ExchangeCancelFlag(&inFlag))
{
}

XCancellationScope::~XCancellationScope()
{
    XThread::ExchangeCancelFlag(itsPrevious);
}
