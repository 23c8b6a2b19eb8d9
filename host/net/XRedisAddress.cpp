#include "host/net/XRedisAddress.h"

#include "host/core/XException.h"

#include <charconv>
#include <cstdlib>
#include <fstream>

namespace
{
[[noreturn]] void Refuse(const std::string& inURL, const std::string& inWhy)
{
    throw XException(XException::kInvalidArgument,
                     "bad Redis address \"" + inURL + "\": " + inWhy +
                         " (expected redis://[user@]host[:port] or unix://[user@]/path)");
}

// Splits "user@rest" into the user and the rest; no '@' leaves the user empty.
std::string TakeUser(std::string& ioRest)
{
    const std::size_t at = ioRest.find('@');
    if (at == std::string::npos)
    {
        return {};
    }
    std::string user = ioRest.substr(0, at);
    ioRest.erase(0, at + 1);
    return user;
}
} // namespace

XRedisAddress XRedisAddress::Parse(const std::string& inURL)
{
    XRedisAddress address;
    std::string rest;
    if (inURL.starts_with("redis://"))
    {
        rest = inURL.substr(8);
        address.itsUser = TakeUser(rest);
        if (address.itsUser.find(':') != std::string::npos)
        {
            Refuse(inURL, "a password does not belong in the URL; set " +
                              std::string(kPasswordVariable) + " or " + kPasswordFileVariable);
        }
        if (!rest.empty() && rest.back() == '/')
        {
            rest.pop_back();
        }
        std::string host = rest;
        const std::size_t colon = rest.rfind(':');
        if (colon != std::string::npos && rest.find(']') == std::string::npos)
        {
            host = rest.substr(0, colon);
            const std::string port = rest.substr(colon + 1);
            unsigned value = 0;
            const auto [end, error] =
                std::from_chars(port.data(), port.data() + port.size(), value);
            if (error != std::errc() || end != port.data() + port.size() || value == 0 ||
                value > 65535)
            {
                Refuse(inURL, "the port \"" + port + "\" is not a number from 1 to 65535");
            }
            address.itsPort = static_cast<std::uint16_t>(value);
        }
        if (host.empty() || host.find('/') != std::string::npos)
        {
            Refuse(inURL, "no host name");
        }
        address.itsHost = host;
    }
    else if (inURL.starts_with("unix://") || inURL.starts_with("unix:/"))
    {
        rest = inURL.substr(inURL.starts_with("unix://") ? 7 : 5);
        address.itsUser = TakeUser(rest);
        if (rest.empty() || rest.front() != '/')
        {
            Refuse(inURL, "the socket path must be absolute");
        }
        address.itsSocketPath = rest;
    }
    else
    {
        Refuse(inURL, "unknown scheme");
    }
    if (address.itsUser.find_first_of(" \t:/") != std::string::npos)
    {
        Refuse(inURL, "the user name \"" + address.itsUser + "\" is not valid");
    }
    return address;
}

void XRedisAddress::LoadPasswordFromEnvironment()
{
    if (const char* password = std::getenv(kPasswordVariable); password != nullptr)
    {
        itsPassword = password;
        itsHasPassword = true;
    }
    else if (const char* file = std::getenv(kPasswordFileVariable); file != nullptr && *file)
    {
        LoadPasswordFile(file);
    }
}

void XRedisAddress::LoadPasswordFile(const std::filesystem::path& inFile)
{
    std::ifstream stream(inFile);
    std::string line;
    if (!stream || (!std::getline(stream, line) && !stream.eof()))
    {
        throw XException(XException::kIOError,
                         "cannot read the Redis password file " + inFile.string());
    }
    if (!line.empty() && line.back() == '\r')
    {
        line.pop_back();
    }
    itsPassword = line;
    itsHasPassword = true;
}

std::string XRedisAddress::Describe() const
{
    if (IsUnixSocket())
    {
        return "unix:" + itsSocketPath;
    }
    return "redis://" + (itsUser.empty() ? "" : itsUser + "@") + itsHost + ":" +
           std::to_string(itsPort);
}
