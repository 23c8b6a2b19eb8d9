#include "host/net/XRedisConnection.h"

#include "host/net/XRedisError.h"

#include <csignal>
#include <mutex>
#include <sys/time.h>

namespace
{
timeval ToTimeval(std::chrono::milliseconds inTimeout)
{
    timeval value{};
    value.tv_sec = static_cast<time_t>(inTimeout.count() / 1000);
    value.tv_usec = static_cast<suseconds_t>((inTimeout.count() % 1000) * 1000);
    return value;
}
// Writing to a connection the server has closed raises SIGPIPE, which would end the process
// before the write could report the lost server. A program that talks to servers ignores it (if
// it has not chosen a handler of its own).
void IgnoreBrokenPipes()
{
    static std::once_flag once;
    std::call_once(once,
                   []
                   {
                       struct sigaction current
                       {
                       };
                       if (sigaction(SIGPIPE, nullptr, &current) == 0 &&
                           current.sa_handler == SIG_DFL)
                       {
                           std::signal(SIGPIPE, SIG_IGN);
                       }
                   });
}
} // namespace

XRedisConnection::XRedisConnection(const XRedisAddress& inAddress,
                                   std::chrono::milliseconds inTimeout,
                                   const std::string& inClientName)
    : itsAddress(inAddress)
{
    IgnoreBrokenPipes();
    const timeval timeout = ToTimeval(inTimeout);
    itsContext =
        itsAddress.IsUnixSocket()
            ? redisConnectUnixWithTimeout(itsAddress.GetSocketPath().c_str(), timeout)
            : redisConnectWithTimeout(itsAddress.GetHost().c_str(), itsAddress.GetPort(), timeout);
    if (itsContext == nullptr)
    {
        throw XRedisError(
            "cannot reach the Redis server at " + itsAddress.Describe() + ": out of memory", true);
    }
    if (itsContext->err != 0)
    {
        const std::string reason = itsContext->errstr;
        redisFree(itsContext);
        itsContext = nullptr;
        throw XRedisError(
            "cannot reach the Redis server at " + itsAddress.Describe() + ": " + reason, true);
    }
    redisSetTimeout(itsContext, timeout);
    if (!itsAddress.IsUnixSocket())
    {
        redisEnableKeepAlive(itsContext);
    }

    if (itsAddress.HasPassword() || !itsAddress.GetUser().empty())
    {
        XArguments login{"AUTH"};
        if (!itsAddress.GetUser().empty())
        {
            login.push_back(itsAddress.GetUser());
        }
        login.push_back(itsAddress.GetPassword());
        const XReply reply = TryCommand(login);
        if (IsError(reply.get()))
        {
            const std::string reason(Text(reply.get()));
            redisFree(itsContext);
            itsContext = nullptr;
            throw XRedisError(
                "the Redis server at " + itsAddress.Describe() + " refused the login" +
                    (itsAddress.GetUser().empty() ? std::string()
                                                  : " of user \"" + itsAddress.GetUser() + "\"") +
                    ": " + reason,
                false);
        }
    }
    if (!inClientName.empty())
    {
        // Names the connection in CLIENT LIST; a user not allowed to set it loses nothing.
        TryCommand({"CLIENT", "SETNAME", inClientName});
    }
}

XRedisConnection::~XRedisConnection()
{
    if (itsContext != nullptr)
    {
        redisFree(itsContext);
    }
}

XRedisConnection::XReply XRedisConnection::Command(const XArguments& inArguments)
{
    XReply reply = TryCommand(inArguments);
    ThrowIfError(reply.get(), inArguments);
    return reply;
}

XRedisConnection::XReply XRedisConnection::TryCommand(const XArguments& inArguments)
{
    Append(inArguments);
    return TakeReply();
}

void XRedisConnection::Append(const XArguments& inArguments)
{
    if (itsContext->err != 0)
    {
        ThrowLost("sending a command");
    }
    std::vector<const char*> argv;
    std::vector<std::size_t> lengths;
    argv.reserve(inArguments.size());
    lengths.reserve(inArguments.size());
    for (const std::string_view argument : inArguments)
    {
        argv.push_back(argument.data());
        lengths.push_back(argument.size());
    }
    if (redisAppendCommandArgv(itsContext, static_cast<int>(argv.size()), argv.data(),
                               lengths.data()) != REDIS_OK)
    {
        ThrowLost("sending a command");
    }
}

XRedisConnection::XReply XRedisConnection::TakeReply()
{
    void* reply = nullptr;
    if (redisGetReply(itsContext, &reply) != REDIS_OK || reply == nullptr)
    {
        ThrowLost("waiting for a reply");
    }
    return XReply(static_cast<redisReply*>(reply));
}

std::string_view XRedisConnection::Text(const redisReply* inReply)
{
    if (inReply == nullptr ||
        (inReply->type != REDIS_REPLY_STRING && inReply->type != REDIS_REPLY_STATUS &&
         inReply->type != REDIS_REPLY_ERROR))
    {
        return {};
    }
    return {inReply->str, inReply->len};
}

bool XRedisConnection::IsError(const redisReply* inReply)
{
    return inReply != nullptr && inReply->type == REDIS_REPLY_ERROR;
}

void XRedisConnection::ThrowLost(const char* inDoing) const
{
    const std::string reason = itsContext->errstr[0] != '\0' ? itsContext->errstr : "no reply";
    throw XRedisError("lost the Redis server at " + itsAddress.Describe() + " while " + inDoing +
                          ": " + reason,
                      true);
}

void XRedisConnection::ThrowIfError(const redisReply* inReply, const XArguments& inArguments) const
{
    if (!IsError(inReply))
    {
        return;
    }
    const std::string command = inArguments.empty() ? "" : std::string(inArguments.front());
    throw XRedisError("the Redis server at " + itsAddress.Describe() + " refused " + command +
                          ": " + std::string(Text(inReply)),
                      false);
}
