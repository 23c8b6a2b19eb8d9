#pragma once

// A farm client for the tests: a backend connected to its own sink, with the test's shared data
// attached under id 1. The backend goes first, so no report reaches a sink that is gone.

#include "XFarmTestJob.h"
#include "XFarmTestSink.h"

#include "host/net/XRedisNetJobQueueBackend.h"

struct XFarmTestClient
{
    XFarmTestClient(const XRedisAddress& inAddress, std::uint32_t inPayload,
                    XRedisNetJobQueueBackend::XOptions inOptions = {})
        : backend(inAddress, std::move(inOptions))
    {
        backend.Connect(sink);
        backend.AttachSharedData(1, std::make_unique<XFarmTestData>(inPayload));
    }

    XFarmTestSink sink;
    XRedisNetJobQueueBackend backend;
};
