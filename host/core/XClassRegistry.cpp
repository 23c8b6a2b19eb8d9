#include "host/core/XClassRegistry.h"

#include <stdexcept>

XClassRegistry& XClassRegistry::Get()
{
    static XClassRegistry registry;
    return registry;
}

void XClassRegistry::Register(const std::string& inName, std::uint32_t inClassId,
                              XFactory inFactory, std::uint32_t inBaseClassId)
{
    const std::lock_guard lock(itsMutex);
    const auto byName = itsByName.find(inName);
    if (byName != itsByName.end() && byName->second.classId != inClassId)
    {
        throw std::invalid_argument("class name " + inName + " is already registered with id " +
                                    std::to_string(byName->second.classId));
    }
    const auto byID = itsNameByID.find(inClassId);
    if (byID != itsNameByID.end() && byID->second != inName)
    {
        throw std::invalid_argument("class id " + std::to_string(inClassId) +
                                    " is already registered as " + byID->second);
    }
    itsByName[inName] = XEntry{inName, inClassId, inBaseClassId, std::move(inFactory)};
    itsNameByID[inClassId] = inName;
}

void XClassRegistry::UnregisterRange(std::uint32_t inLowest, std::uint32_t inHighest)
{
    const std::lock_guard lock(itsMutex);
    for (auto iter = itsNameByID.lower_bound(inLowest);
         iter != itsNameByID.end() && iter->first <= inHighest;)
    {
        itsByName.erase(iter->second);
        iter = itsNameByID.erase(iter);
    }
}

bool XClassRegistry::IsRegistered(const std::string& inName) const
{
    const std::lock_guard lock(itsMutex);
    return itsByName.contains(inName);
}

std::string XClassRegistry::GetName(std::uint32_t inClassId) const
{
    const std::lock_guard lock(itsMutex);
    const auto found = itsNameByID.find(inClassId);
    return found == itsNameByID.end() ? std::string() : found->second;
}

std::unique_ptr<XStorable> XClassRegistry::CreateByName(const std::string& inName) const
{
    XFactory factory;
    {
        const std::lock_guard lock(itsMutex);
        const auto found = itsByName.find(inName);
        if (found == itsByName.end())
        {
            return nullptr;
        }
        factory = found->second.factory;
    }
    return factory();
}

std::unique_ptr<XStorable> XClassRegistry::CreateByID(std::uint32_t inClassId) const
{
    const std::string name = GetName(inClassId);
    return name.empty() ? nullptr : CreateByName(name);
}

std::vector<XClassRegistry::XEntry> XClassRegistry::GetEntries() const
{
    const std::lock_guard lock(itsMutex);
    std::vector<XEntry> entries;
    for (const auto& [name, entry] : itsByName)
    {
        entries.push_back(entry);
    }
    return entries;
}
