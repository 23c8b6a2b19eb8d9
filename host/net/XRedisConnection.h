#pragma once

#include "host/net/XRedisAddress.h"

#include <hiredis/hiredis.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// One connection to a Redis server, authenticated as the address's user. Not thread-safe: each
// thread that talks to Redis owns a connection of its own.
class XRedisConnection
{
public:
    struct XReplyDeleter
    {
        void operator()(redisReply* inReply) const { freeReplyObject(inReply); }
    };
    using XReply = std::unique_ptr<redisReply, XReplyDeleter>;
    using XArguments = std::vector<std::string_view>;

    // Connects and authenticates; every later read or write gives up after inTimeout. Throws
    // XRedisError naming the address when the server cannot be reached or refuses the login.
    XRedisConnection(const XRedisAddress& inAddress, std::chrono::milliseconds inTimeout,
                     const std::string& inClientName = {});
    ~XRedisConnection();
    XRedisConnection(const XRedisConnection&) = delete;
    XRedisConnection& operator=(const XRedisConnection&) = delete;

    // Runs one command; an error reply or a lost connection throws XRedisError.
    XReply Command(const XArguments& inArguments);
    // As Command, but an error reply is returned rather than thrown.
    XReply TryCommand(const XArguments& inArguments);

    // Pipelining: queue commands, then take their replies in order (error replies returned).
    void Append(const XArguments& inArguments);
    XReply TakeReply();

    const XRedisAddress& GetAddress() const { return itsAddress; }

    // Reply helpers: the text of a string, status or error reply ("" otherwise).
    static std::string_view Text(const redisReply* inReply);
    static bool IsError(const redisReply* inReply);

private:
    [[noreturn]] void ThrowLost(const char* inDoing) const;
    void ThrowIfError(const redisReply* inReply, const XArguments& inArguments) const;

    const XRedisAddress itsAddress;
    redisContext* itsContext = nullptr;
};
