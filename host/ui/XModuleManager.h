#pragma once

#include <mutex>
#include <vector>

class WModule;

// The process's list of signed-in modules. Modules stay owned by their libraries; a module
// signs out (or is signed out by its destructor) before it is deleted.
class XModuleManager
{
public:
    static XModuleManager& GetModuleManager();

    XModuleManager(const XModuleManager&) = delete;
    XModuleManager& operator=(const XModuleManager&) = delete;

    // Signing in twice keeps one entry. Reports a module whose class id range overlaps one
    // already signed in, and signs it in anyway.
    void SignInModule(WModule& inModule);
    // Unknown modules are ignored.
    void SignOutModule(const WModule& inModule);
    // A snapshot, in sign-in order.
    std::vector<WModule*> GetModules() const;
    // The signed-in module with that identifier, or null.
    WModule* FindModule(std::uint32_t inModuleID) const;

private:
    XModuleManager() = default;

    mutable std::mutex itsMutex;
    std::vector<WModule*> itsModules;
};
