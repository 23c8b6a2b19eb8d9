#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

// Where a Redis server listens and who we are to it, from a `--redis` URL:
//   redis://[user@]host[:port]     (port 6379 by default)
//   unix:///path/to/redis.sock  or  unix://user@/path/to/redis.sock
// A password is never part of the URL (it would show in process listings): it comes from the
// environment variable VOLTRACE_REDIS_PASSWORD, or from the file named by
// VOLTRACE_REDIS_PASSWORD_FILE (its first line), or from an explicit file.
class XRedisAddress
{
public:
    static constexpr const char* kPasswordVariable = "VOLTRACE_REDIS_PASSWORD";
    static constexpr const char* kPasswordFileVariable = "VOLTRACE_REDIS_PASSWORD_FILE";

    // Throws XException (kInvalidArgument) naming the URL and what is wrong with it.
    static XRedisAddress Parse(const std::string& inURL);

    // Reads the password from the environment (see above); a password file that cannot be read
    // throws XException (kIOError) naming it.
    void LoadPasswordFromEnvironment();
    // Reads the first line of inFile as the password.
    void LoadPasswordFile(const std::filesystem::path& inFile);

    bool IsUnixSocket() const { return !itsSocketPath.empty(); }
    const std::string& GetHost() const { return itsHost; }
    std::uint16_t GetPort() const { return itsPort; }
    const std::string& GetSocketPath() const { return itsSocketPath; }
    const std::string& GetUser() const { return itsUser; }
    const std::string& GetPassword() const { return itsPassword; }
    bool HasPassword() const { return itsHasPassword; }

    // The address for messages, without the password: "redis://host:6379", "unix:/path".
    std::string Describe() const;

private:
    std::string itsHost;
    std::uint16_t itsPort = 6379;
    std::string itsSocketPath;
    std::string itsUser;
    std::string itsPassword;
    bool itsHasPassword = false;
};
