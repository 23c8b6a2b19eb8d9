#pragma once

// Anything the sample database holds. Callers ask for a concrete kind with XDBGetSample<T>,
// which answers null when the sample is of another kind.
class XSample
{
public:
    virtual ~XSample() = default;

protected:
    XSample() = default;
    XSample(const XSample&) = default;
    XSample& operator=(const XSample&) = default;
};
