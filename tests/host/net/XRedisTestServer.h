#pragma once

// A private redis-server for one test: a unix socket in a fresh folder, no persistence, and the
// farm's two ACL users (docs/farm.md): "worker" may only take jobs, read shared data and write
// results; "client" submits jobs and reads results (and runs workers of its own). The default
// user stays open for the test's own inspection.

#include "XChildProcess.h"

#include "host/net/XRedisAddress.h"
#include "host/net/XRedisConnection.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

class XRedisTestServer
{
public:
    static constexpr const char* kWorkerPassword = "worker-secret";
    static constexpr const char* kClientPassword = "client-secret";

    // The ACL lines of the farm's users, as docs/farm.md gives them.
    static std::string WorkerACL()
    {
        return std::string("user worker on >") + kWorkerPassword +
               " resetkeys resetchannels -@all +ping +multi +exec +client|setname"
               " ~voltrace:jobs +xreadgroup +xautoclaim +xclaim +xpending +xack"
               " %R~voltrace:data:* +get ~voltrace:workers +hset +hdel"
               " (~voltrace:results:* ~voltrace:quarantine +xadd)";
    }
    static std::string ClientACL()
    {
        return std::string("user client on >") + kClientPassword +
               " resetkeys resetchannels -@all +ping +multi +exec +client|setname"
               " ~voltrace:* +xadd +xdel +xread +xgroup|create +get +set +exists +expire +del"
               " +hgetall +xreadgroup +xautoclaim +xclaim +xpending +xack +hset +hdel";
    }

    XRedisTestServer()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "voltrace-redis-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
        {
            throw std::runtime_error("cannot make a folder for the Redis server");
        }
        itsFolder = pattern;
        itsSocket = itsFolder / "redis.sock";
        std::ofstream config(itsFolder / "redis.conf");
        config << "port 0\n"
               << "unixsocket " << itsSocket.string() << "\n"
               << "unixsocketperm 700\n"
               << "save \"\"\nappendonly no\ndaemonize no\n"
               << "dir " << itsFolder.string() << "\n"
               << WorkerACL() << "\n"
               << ClientACL() << "\n";
        config.close();
        Start();
    }

    ~XRedisTestServer()
    {
        itsProcess.reset();
        std::error_code ignored;
        std::filesystem::remove_all(itsFolder, ignored);
    }
    XRedisTestServer(const XRedisTestServer&) = delete;
    XRedisTestServer& operator=(const XRedisTestServer&) = delete;

    const std::filesystem::path& GetFolder() const { return itsFolder; }

    // "unix://user@/path" (user empty: the open default user).
    std::string GetURL(const std::string& inUser = {}) const
    {
        return "unix://" + (inUser.empty() ? "" : inUser + "@") + itsSocket.string();
    }
    XRedisAddress GetAddress(const std::string& inUser = {}) const
    {
        XRedisAddress address = XRedisAddress::Parse(GetURL(inUser));
        if (inUser == "worker" || inUser == "client")
        {
            const std::filesystem::path file = itsFolder / (inUser + ".password");
            std::ofstream(file) << (inUser == "worker" ? kWorkerPassword : kClientPassword) << "\n";
            address.LoadPasswordFile(file);
        }
        return address;
    }
    std::unique_ptr<XRedisConnection> Connect(const std::string& inUser = {}) const
    {
        return std::make_unique<XRedisConnection>(GetAddress(inUser),
                                                  std::chrono::milliseconds(5000));
    }

    // Ends the server at once, as a crash or a lost machine would.
    void Kill()
    {
        itsProcess.reset();
        std::error_code ignored;
        std::filesystem::remove(itsSocket, ignored);
    }

private:
    void Start()
    {
        itsProcess = std::make_unique<XChildProcess>(
            std::vector<std::string>{"redis-server", (itsFolder / "redis.conf").string()},
            itsFolder / "redis.log");
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end)
        {
            try
            {
                Connect()->Command({"PING"});
                return;
            }
            catch (const std::exception&)
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        }
        throw std::runtime_error("redis-server did not start: " + itsProcess->ReadErrors());
    }

    std::filesystem::path itsFolder;
    std::filesystem::path itsSocket;
    std::unique_ptr<XChildProcess> itsProcess;
};
