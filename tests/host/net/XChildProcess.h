#pragma once

// A program started by a test (a Redis server, a voltrace worker), with its standard error in a
// file; killed (SIGKILL unless stopped earlier) when the object goes.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

class XChildProcess
{
public:
    XChildProcess(const std::vector<std::string>& inArguments,
                  const std::filesystem::path& inErrorFile,
                  const std::vector<std::string>& inExtraEnvironment = {})
        : itsErrorFile(inErrorFile)
    {
        std::vector<char*> argv;
        for (const std::string& argument : inArguments)
        {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::vector<std::string> environment(inExtraEnvironment);
        for (char** entry = environ; *entry != nullptr; ++entry)
        {
            environment.emplace_back(*entry);
        }
        std::vector<char*> envp;
        for (std::string& entry : environment)
        {
            envp.push_back(entry.data());
        }
        envp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, inErrorFile.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int error =
            posix_spawnp(&itsPid, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0)
        {
            throw std::runtime_error("cannot start " + inArguments.front());
        }
    }

    ~XChildProcess()
    {
        if (itsPid > 0)
        {
            Signal(SIGKILL);
            Wait();
        }
    }
    XChildProcess(const XChildProcess&) = delete;
    XChildProcess& operator=(const XChildProcess&) = delete;

    void Signal(int inSignal) const
    {
        if (itsPid > 0)
        {
            ::kill(itsPid, inSignal);
        }
    }

    // The exit code, or 128 + the signal that ended it.
    int Wait()
    {
        int status = 0;
        waitpid(itsPid, &status, 0);
        itsPid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::string ReadErrors() const
    {
        std::ifstream file(itsErrorFile);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // Waits until the standard error contains inText; false after inLimit.
    bool WaitForError(const std::string& inText, std::chrono::milliseconds inLimit) const
    {
        const auto end = std::chrono::steady_clock::now() + inLimit;
        while (std::chrono::steady_clock::now() < end)
        {
            if (ReadErrors().find(inText) != std::string::npos)
            {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

private:
    std::filesystem::path itsErrorFile;
    pid_t itsPid = -1;
};
