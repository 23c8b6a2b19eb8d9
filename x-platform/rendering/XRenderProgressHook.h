#pragma once

// Told by the tracer when it starts and finishes rendering a region. End is not called for a
// region that was cancelled. Called on the rendering thread; implementations must not throw.
class XRenderProgressHook
{
public:
    virtual ~XRenderProgressHook() = default;

    virtual void Begin() = 0;
    virtual void End() = 0;

protected:
    XRenderProgressHook() = default;
    XRenderProgressHook(const XRenderProgressHook&) = default;
    XRenderProgressHook& operator=(const XRenderProgressHook&) = default;
};
