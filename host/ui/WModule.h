#pragma once

#include <cstdint>

// A loadable module as the host knows it: the range of storable class ids its classes use and
// its identifier. A module signs itself in with the module manager when its library is loaded.
class WModule
{
public:
    // Reports an inverted range and keeps it as given.
    WModule(std::uint32_t inLowestClassID, std::uint32_t inHighestClassID);
    virtual ~WModule();
    WModule(const WModule&) = delete;
    WModule& operator=(const WModule&) = delete;

    // The module's identifier; the host's default is 0.
    virtual std::uint32_t GetModuleID() const;

    std::uint32_t GetLowestClassID() const { return itsLowestClassID; }
    std::uint32_t GetHighestClassID() const { return itsHighestClassID; }
    bool OwnsClassID(std::uint32_t inClassID) const
    {
        return inClassID >= itsLowestClassID && inClassID <= itsHighestClassID;
    }

    // The handle of the library the module came from (the host's instance handle), if recorded.
    void SetInstanceHandle(void* inHandle) { itsInstanceHandle = inHandle; }
    void* GetInstanceHandle() const { return itsInstanceHandle; }

private:
    const std::uint32_t itsLowestClassID;
    const std::uint32_t itsHighestClassID;
    void* itsInstanceHandle = nullptr;
};
