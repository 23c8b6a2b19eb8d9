#pragma once

#include "host/core/XStorable.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// Names, identifiers and factories of the storable classes, so that an object read from a stream
// can be re-created by name. Classes are registered by explicit calls (one table per library),
// never by static objects, which linkers drop from static libraries.
class XClassRegistry
{
public:
    using XFactory = std::function<std::unique_ptr<XStorable>()>;

    struct XEntry
    {
        std::string name;
        std::uint32_t classId = 0;
        std::uint32_t baseClassId = 0; // 0 when the class names no base
        XFactory factory;
    };

    static XClassRegistry& Get();

    // Registering the same name and identifier again replaces the factory; a name or identifier
    // that is already taken by another class is refused with std::invalid_argument.
    void Register(const std::string& inName, std::uint32_t inClassId, XFactory inFactory,
                  std::uint32_t inBaseClassId = 0);

    // Forgets the classes whose identifiers lie in [inLowest, inHighest]: a module library does
    // this before it is unloaded, since their factories live in it.
    void UnregisterRange(std::uint32_t inLowest, std::uint32_t inHighest);

    bool IsRegistered(const std::string& inName) const;
    // The registered name of a class identifier; empty when unknown.
    std::string GetName(std::uint32_t inClassId) const;
    // A default-constructed object of the class, or null when the name is unknown.
    std::unique_ptr<XStorable> CreateByName(const std::string& inName) const;
    std::unique_ptr<XStorable> CreateByID(std::uint32_t inClassId) const;
    std::vector<XEntry> GetEntries() const;

private:
    XClassRegistry() = default;

    mutable std::mutex itsMutex;
    std::map<std::string, XEntry> itsByName;
    std::map<std::uint32_t, std::string> itsNameByID;
};

// Registers T under inName with its own GetClassID().
template <class T>
void XRegisterClass(const std::string& inName, std::uint32_t inBaseClassId = 0)
{
    XClassRegistry::Get().Register(
        inName, T().GetClassID(), [] { return std::make_unique<T>(); }, inBaseClassId);
}
