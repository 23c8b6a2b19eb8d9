#pragma once

#include <filesystem>
#include <string>

namespace CLI
{
class App;
} // namespace CLI

class XRedisAddress;

// The options that name a farm's Redis server, shared by `render` and `worker`.
struct XRedisOptions
{
    std::string url;                    // empty: no farm
    std::filesystem::path passwordFile; // empty: from the environment

    // Adds --redis and --redis-password-file to inCommand.
    void AddTo(CLI::App& inCommand, bool inRequired);
    // The address with its password loaded. Throws XException naming what is wrong.
    XRedisAddress MakeAddress() const;
};
