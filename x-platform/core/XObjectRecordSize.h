#pragma once

#include <cstdint>

class XStorable;

// The bytes that XStream::WriteObject produces for inObject: the record tag, the registered class
// name with its length, the body length and the body (the object's GetStreamSize), or the one tag
// byte of a null object. Used by stored-size queries of objects that hold other objects.
std::uint64_t XObjectRecordSize(const XStorable* inObject);
