#include "apps/XRedisOptions.h"

#include "host/net/XRedisAddress.h"

#include <CLI/CLI.hpp>

void XRedisOptions::AddTo(CLI::App& inCommand, bool inRequired)
{
    CLI::Option* option = inCommand.add_option(
        "--redis", url,
        "The farm's Redis server: redis://[user@]host[:port] or unix:///path/to/socket (the "
        "password comes from $VOLTRACE_REDIS_PASSWORD or a password file)");
    if (inRequired)
    {
        option->required();
    }
    inCommand.add_option("--redis-password-file", passwordFile,
                         "Read the Redis password from the first line of this file");
}

XRedisAddress XRedisOptions::MakeAddress() const
{
    XRedisAddress address = XRedisAddress::Parse(url);
    if (!passwordFile.empty())
    {
        address.LoadPasswordFile(passwordFile);
    }
    else
    {
        address.LoadPasswordFromEnvironment();
    }
    return address;
}
